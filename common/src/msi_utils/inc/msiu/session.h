// The session context of the running action and the frame around every action.
#pragma once

#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <string>

namespace msiu {

void InitAction(MSIHANDLE session, const wchar_t* actionName, bool uiMode);
UINT FinishAction(UINT result);

MSIHANDLE GetSessionHandle();
MSIHANDLE GetDatabaseHandle();
bool IsUIMode();
std::wstring ActionName();

// Logs whatever exception is in flight by the failure ladder and gives 1603.
// Call it only from inside a catch block.
UINT HandleActionFailure() noexcept;

// The frame of every exported action: init, body, ladder, finish.
template <class Body>
UINT RunAction(MSIHANDLE session, const wchar_t* actionName, bool uiMode, Body&& body)
{
    UINT result = ERROR_SUCCESS;
    try {
        InitAction(session, actionName, uiMode);
        body();
    } catch (...) {
        result = HandleActionFailure();
    }
    return FinishAction(result);
}

// The UI-action pattern: invalid input reported through properties, result 0.
void ReportInvalidInput(const wchar_t* invalidProperty, const std::wstring& text);

template <class Check>
UINT RunUICheck(MSIHANDLE session, const wchar_t* actionName, const wchar_t* invalidProperty,
                Check&& check);

}  // namespace msiu

#include "msiu/error.h"
#include "msiu/property.h"

namespace msiu {

template <class Check>
UINT RunUICheck(MSIHANDLE session, const wchar_t* actionName, const wchar_t* invalidProperty,
                Check&& check)
{
    return RunAction(session, actionName, true, [&] {
        ClearProperty(invalidProperty);
        try {
            check();
        } catch (const MSIError& e) {
            ReportInvalidInput(invalidProperty, e.Text());
        }
    });
}

}  // namespace msiu
