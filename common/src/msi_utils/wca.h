// The session layer: the process-wide session context and thin wrappers of
// the installer calls, which log their own narrow "Error 0x%x: %s" lines.
#pragma once

#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <string>

namespace msiu::wca {

struct Context {
    MSIHANDLE session = 0;
    MSIHANDLE database = 0;
    bool initialized = false;
    char logName[32] = {};
    HRESULT cancel = 0;
    bool uiMode = false;
};

// One per loaded library; the installer runs one action at a time.
Context& Ctx();
HMODULE& Module();

HRESULT Initialize(MSIHANDLE session, const char* actionName);
void Finish();

// Writes "Error 0x%x: <message>" behind the log name, at type 0x4000000.
void LogFailure(HRESULT hr, const char* format, ...);

bool IsPropertySet(const std::wstring& name);
HRESULT GetProperty(const std::wstring& name, std::wstring& value);
HRESULT GetFormattedString(const std::wstring& text, std::wstring& value);
HRESULT GetFormattedProperty(const std::wstring& name, std::wstring& value);
HRESULT SetProperty(const std::wstring& name, const std::wstring& value);
int ProcessMessage(INSTALLMESSAGE type, MSIHANDLE record);
HRESULT DoDeferredAction(const std::wstring& action, const std::wstring& data);

}  // namespace msiu::wca
