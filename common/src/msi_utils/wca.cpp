#include "wca.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "msiu/error.h"

namespace msiu::wca {

Context& Ctx()
{
    static Context context;
    return context;
}

HMODULE& Module()
{
    static HMODULE module = nullptr;
    return module;
}

namespace {

bool g_inLogFailure = false;

// Both installer string reads share one protocol: ask for the length, then
// read, once more if the value grew in between. A failing length query logs
// `sizeFailure` and sets `logged`, so that the caller adds no second line.
template <class Call>
UINT ReadString(std::wstring& value, Call call, bool& allocFailed, bool& logged, const char* sizeFailure)
{
    allocFailed = false;
    logged = false;
    std::vector<wchar_t> buffer(1, L'\0');
    DWORD cch = 0;
    UINT er = call(buffer.data(), &cch);
    if (er != ERROR_MORE_DATA && er != ERROR_SUCCESS) {
        LogFailure(HResultFromWin32(static_cast<long>(er)), "%s", sizeFailure);
        logged = true;
        return er;
    }
    for (int attempt = 0; attempt < 2 && (er == ERROR_MORE_DATA || (attempt == 0 && er == ERROR_SUCCESS));
         ++attempt) {
        ++cch;
        try {
            buffer.assign(cch, L'\0');
        } catch (const std::bad_alloc&) {
            allocFailed = true;
            return ERROR_OUTOFMEMORY;
        }
        er = call(buffer.data(), &cch);
    }
    if (er == ERROR_SUCCESS) value.assign(buffer.data(), cch);
    return er;
}

}  // namespace

HRESULT Initialize(MSIHANDLE session, const char* actionName)
{
    Context& c = Ctx();
    c.cancel = 0;
    c.initialized = true;
    c.session = session;
    c.logName[0] = '\0';
    c.database = MsiGetActiveDatabase(session);
    if (std::strlen(actionName) >= sizeof(c.logName)) {
        HRESULT hr = kBufferTooSmall;
        LogFailure(hr, "Failed to copy CustomAction log name: %s", actionName);
        if (c.database) MsiCloseHandle(c.database);
        c.database = 0;
        c.session = 0;
        c.initialized = false;
        return hr;
    }
    std::strcpy(c.logName, actionName);
    return S_OK;
}

void Finish()
{
    Context& c = Ctx();
    if (c.database) MsiCloseHandle(c.database);
    c.database = 0;
    c.session = 0;
    c.initialized = false;
}

void LogFailure(HRESULT hr, const char* format, ...)
{
    Context& c = Ctx();
    if (!c.initialized || g_inLogFailure) return;
    g_inLogFailure = true;
    char message[2048];
    va_list args;
    va_start(args, format);
    _vsnprintf(message, sizeof(message) - 1, format, args);
    va_end(args);
    message[sizeof(message) - 1] = '\0';

    char line[2048 + 64];
    snprintf(line, sizeof(line), "Error 0x%x: %s", static_cast<unsigned>(hr), message);
    char full[sizeof(line) + sizeof(c.logName) + 4];
    if (c.logName[0])
        snprintf(full, sizeof(full), "%s:  %s", c.logName, line);
    else
        snprintf(full, sizeof(full), "%s", line);

    MSIHANDLE record = MsiCreateRecord(1);
    if (record) {
        MsiRecordSetStringA(record, 0, full);
        MsiProcessMessage(c.session, INSTALLMESSAGE_INFO, record);
        MsiCloseHandle(record);
    }
    g_inLogFailure = false;
}

bool IsPropertySet(const std::wstring& name)
{
    int n = WideCharToMultiByte(CP_ACP, 0, name.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string narrow(n > 0 ? n : 1, '\0');
    if (n > 0) WideCharToMultiByte(CP_ACP, 0, name.c_str(), -1, &narrow[0], n, nullptr, nullptr);
    char empty[1] = "";
    DWORD cch = 0;
    MsiGetPropertyA(Ctx().session, narrow.c_str(), empty, &cch);
    return cch > 0;
}

HRESULT GetProperty(const std::wstring& name, std::wstring& value)
{
    if (name.empty()) return kInvalidArg;
    bool allocFailed = false, logged = false;
    UINT er = ReadString(value, [&](wchar_t* buf, DWORD* cch) {
        return MsiGetPropertyW(Ctx().session, name.c_str(), buf, cch);
    }, allocFailed, logged, "Failed to get previous size of property data string.");
    if (allocFailed) {
        LogFailure(kOutOfMemory, "Failed to allocate string for Property '%S'", name.c_str());
        return kOutOfMemory;
    }
    if (er != ERROR_SUCCESS) {
        HRESULT hr = HResultFromWin32(static_cast<long>(er));
        if (!logged) LogFailure(hr, "Failed to get data for property '%S'", name.c_str());
        return hr;
    }
    return S_OK;
}

HRESULT GetFormattedString(const std::wstring& text, std::wstring& value)
{
    if (text.empty()) return kInvalidArg;
    MSIHANDLE record = MsiCreateRecord(1);
    if (!record) return kOutOfMemory;
    UINT er = MsiRecordSetStringW(record, 0, text.c_str());
    if (er != ERROR_SUCCESS) {
        HRESULT hr = HResultFromWin32(static_cast<long>(er));
        LogFailure(hr, "Failed to set record field 0 with '%S'", text.c_str());
        MsiCloseHandle(record);
        return hr;
    }
    bool allocFailed = false, logged = false;
    er = ReadString(value, [&](wchar_t* buf, DWORD* cch) {
        return MsiFormatRecordW(Ctx().session, record, buf, cch);
    }, allocFailed, logged, "Failed to get previous size of property data string");
    MsiCloseHandle(record);
    if (allocFailed) {
        LogFailure(kOutOfMemory, "Failed to allocate string for formatted string: '%S'", text.c_str());
        return kOutOfMemory;
    }
    if (er != ERROR_SUCCESS) {
        HRESULT hr = HResultFromWin32(static_cast<long>(er));
        if (!logged) LogFailure(hr, "Failed to get formatted string: '%S'", text.c_str());
        return hr;
    }
    return S_OK;
}

HRESULT GetFormattedProperty(const std::wstring& name, std::wstring& value)
{
    std::wstring raw;
    HRESULT hr = GetProperty(name, raw);
    if (FAILED(hr)) {
        LogFailure(hr, "failed to get %S", name.c_str());
        return hr;
    }
    hr = GetFormattedString(raw, value);
    if (FAILED(hr))
        LogFailure(hr, "failed to get formatted value for property: '%S' with value: '%S'",
                   name.c_str(), raw.c_str());
    return hr;
}

HRESULT SetProperty(const std::wstring& name, const std::wstring& value)
{
    if (name.empty()) return kInvalidArg;
    UINT er = MsiSetPropertyW(Ctx().session, name.c_str(), value.c_str());
    if (er != ERROR_SUCCESS) {
        HRESULT hr = HResultFromWin32(static_cast<long>(er));
        LogFailure(hr, "failed to set property: %S", name.c_str());
        return hr;
    }
    return S_OK;
}

int ProcessMessage(INSTALLMESSAGE type, MSIHANDLE record)
{
    return MsiProcessMessage(Ctx().session, type, record);
}

HRESULT DoDeferredAction(const std::wstring& action, const std::wstring& data)
{
    if (!data.empty()) {
        UINT er = MsiSetPropertyW(Ctx().session, action.c_str(), data.c_str());
        if (er != ERROR_SUCCESS) {
            HRESULT hr = HResultFromWin32(static_cast<long>(er));
            LogFailure(hr, "Failed to set CustomActionData for deferred action");
            return hr;
        }
    }
    UINT er = MsiDoActionW(Ctx().session, action.c_str());
    if (er != ERROR_SUCCESS) {
        HRESULT hr = HResultFromWin32(static_cast<long>(er));
        LogFailure(hr, "Failed MsiDoAction on deferred action");
        return hr;
    }
    return S_OK;
}

}  // namespace msiu::wca
