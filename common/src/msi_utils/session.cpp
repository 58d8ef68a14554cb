#include "msiu/session.h"

#include <comdef.h>

#include <new>

#include "msiu/log.h"
#include "pal/atlexception.h"
#include "pal/exception.h"
#include "pal/strings.h"
#include "wca.h"

namespace msiu {

void InitAction(MSIHANDLE session, const wchar_t* actionName, bool uiMode)
{
    const std::string narrow = PAL::NarrowText(actionName, CP_ACP);
    HRESULT hr = wca::Initialize(session, narrow.c_str());
    if (FAILED(hr)) throw MSIError(hr, L"Call to WcaInitialize() failed");
    wca::Ctx().uiMode = uiMode;
}

UINT FinishAction(UINT result)
{
    wca::Finish();
    const HRESULT cancel = wca::Ctx().cancel;
    return cancel != 0 ? static_cast<UINT>(cancel) : result;
}

MSIHANDLE GetSessionHandle() { return wca::Ctx().session; }
MSIHANDLE GetDatabaseHandle() { return wca::Ctx().database; }
bool IsUIMode() { return wca::Ctx().uiMode; }

std::wstring ActionName()
{
    return PAL::WideText(wca::Ctx().logName, CP_ACP);
}

UINT HandleActionFailure() noexcept
{
    // The order matters: WindowsError before its base Exception.
    try {
        throw;
    } catch (const MSIError& e) {
        LogError(e, kMsgFatal);
    } catch (const PAL::WindowsError& e) {
        LogComError(_com_error(HResultFromWin32(e.Code())), kMsgFatal);
    } catch (const PAL::Exception& e) {
        try {
            LogTextNoThrow(e.Text(), kMsgFatal);
        } catch (...) {
        }
    } catch (const ATL::CAtlException& e) {
        LogComError(_com_error(e.m_hr), kMsgFatal);
    } catch (const _com_error& e) {
        LogComError(e, kMsgFatal);
    } catch (const std::bad_alloc&) {
        LogComError(_com_error(kOutOfMemory), kMsgFatal);
    } catch (...) {
        LogTextNoThrow(L"Unhandled exception", kMsgFatal);
    }
    return ERROR_INSTALL_FAILURE;
}

void ReportInvalidInput(const wchar_t* invalidProperty, const std::wstring& text)
{
    SetIntProperty(invalidProperty, 1);
    SetProperty(L"_NotifyUserDlgText", text);
}

}  // namespace msiu
