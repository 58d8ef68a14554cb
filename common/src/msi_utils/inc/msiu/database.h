// Views on the session's database, conditions, and feature and component
// states. Every platform failure becomes an MSIError with a fixed text.
#pragma once

#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <string>

namespace msiu {

class DBRecord;

// Scoped owner of an installer handle: setting it closes what it held.
class ViewHandle {
public:
    ViewHandle() = default;
    explicit ViewHandle(MSIHANDLE h) : handle_(h) {}
    ~ViewHandle() { Close(); }
    ViewHandle(const ViewHandle&) = delete;
    ViewHandle& operator=(const ViewHandle&) = delete;

    void Set(MSIHANDLE h)
    {
        Close();
        handle_ = h;
    }
    MSIHANDLE Get() const { return handle_; }
    operator MSIHANDLE() const { return handle_; }

private:
    void Close()
    {
        if (handle_) MsiCloseHandle(handle_);
        handle_ = 0;
    }
    MSIHANDLE handle_ = 0;
};

// Installed state and action state, in the installer's INSTALLSTATE numbers.
struct StatePair {
    INSTALLSTATE installed = INSTALLSTATE_UNKNOWN;
    INSTALLSTATE action = INSTALLSTATE_UNKNOWN;
};

void OpenView(const std::wstring& query, ViewHandle& view);
void ViewModify(const ViewHandle& view, MSIMODIFY mode, const DBRecord& record);

// True only for MSICONDITION_TRUE; a syntax error is a failure.
bool EvaluateCondition(const std::wstring& condition);

StatePair GetFeatureState(const std::wstring& feature);
StatePair GetComponentState(const std::wstring& component);

// Whether the item is on the machine after this install. The two are not
// opposites: an action state of 0 is neither.
bool WillBePresent(const StatePair& state);
bool WillBeAbsent(const StatePair& state);

}  // namespace msiu
