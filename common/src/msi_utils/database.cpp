#include "msiu/database.h"

#include "msiu/error.h"
#include "msiu/record.h"
#include "msiu/session.h"
#include "wca.h"

namespace msiu {

namespace {

// The session layer's part: it logs its own line and gives an HRESULT.
HRESULT OpenAndExecute(const std::wstring& query, MSIHANDLE& view)
{
    if (query.empty()) return kInvalidArg;
    UINT er = MsiDatabaseOpenViewW(GetDatabaseHandle(), query.c_str(), &view);
    if (er != ERROR_SUCCESS) {
        HRESULT hr = HResultFromWin32(static_cast<long>(er));
        wca::LogFailure(hr, "failed to open view on database");
        return hr;
    }
    er = MsiViewExecute(view, 0);
    if (er != ERROR_SUCCESS) {
        HRESULT hr = HResultFromWin32(static_cast<long>(er));
        wca::LogFailure(hr, "failed to execute view");
        return hr;
    }
    return S_OK;
}

}  // namespace

void OpenView(const std::wstring& query, ViewHandle& view)
{
    MSIHANDLE opened = 0;
    HRESULT hr = OpenAndExecute(query, opened);
    if (FAILED(hr)) {
        if (opened) MsiCloseHandle(opened);
        ThrowError(hr, L"Failed to execute view query: %s", query.c_str());
    }
    view.Set(opened);
}

void ViewModify(const ViewHandle& view, MSIMODIFY mode, const DBRecord& record)
{
    UINT er = MsiViewModify(view.Get(), mode, record.Handle());
    if (er != ERROR_SUCCESS)
        ThrowError(HResultFromWin32(static_cast<long>(er)), L"Failed to modify view with data: %s (mode %d)",
                   L"???", static_cast<int>(mode));
}

bool EvaluateCondition(const std::wstring& condition)
{
    MSICONDITION c = MsiEvaluateConditionW(GetSessionHandle(), condition.c_str());
    if (c == MSICONDITION_ERROR)
        ThrowError(kFail, L"Syntax error in conditional expression: %s", condition.c_str());
    return c == MSICONDITION_TRUE;
}

StatePair GetFeatureState(const std::wstring& feature)
{
    StatePair s;
    UINT er = MsiGetFeatureStateW(GetSessionHandle(), feature.c_str(), &s.installed, &s.action);
    if (er != ERROR_SUCCESS)
        ThrowError(HResultFromWin32(static_cast<long>(er)), L"Failed to get state of feature \"%s\"",
                   feature.c_str());
    return s;
}

StatePair GetComponentState(const std::wstring& component)
{
    StatePair s;
    UINT er = MsiGetComponentStateW(GetSessionHandle(), component.c_str(), &s.installed, &s.action);
    if (er != ERROR_SUCCESS)
        ThrowError(HResultFromWin32(static_cast<long>(er)), L"Failed to get state of component \"%s\"",
                   component.c_str());
    return s;
}

namespace {
// Action state DEFAULT or UNKNOWN: nothing about the item changes.
bool Unchanged(INSTALLSTATE action)
{
    return action == INSTALLSTATE_DEFAULT || action == INSTALLSTATE_UNKNOWN;
}
}  // namespace

bool WillBePresent(const StatePair& s)
{
    if (!Unchanged(s.action)) return s.action == INSTALLSTATE_LOCAL || s.action == INSTALLSTATE_SOURCE;
    // A source that has gone still counts: the item is installed.
    return s.installed == INSTALLSTATE_LOCAL || s.installed == INSTALLSTATE_SOURCE ||
           s.installed == INSTALLSTATE_SOURCEABSENT;
}

bool WillBeAbsent(const StatePair& s)
{
    if (Unchanged(s.action)) return s.installed == INSTALLSTATE_ABSENT;
    return s.action == INSTALLSTATE_ADVERTISED || s.action == INSTALLSTATE_ABSENT;
}

}  // namespace msiu
