#include <windows.h>

#include "msiu/deferred.h"

#include <msi.h>
#include <msiquery.h>

#include <sstream>

#include "msiu/error.h"
#include "msiu/property.h"
#include "msiu/session.h"
#include "wca.h"

namespace msiu {

namespace {
bool IsTrimmed(wchar_t c)
{
    return c == L' ' || c == L'\t' || c == L'\n' || c == L'\r';
}

std::wstring TrimField(const std::wstring& s)
{
    size_t b = 0, e = s.size();
    while (b < e && IsTrimmed(s[b])) ++b;
    while (e > b && IsTrimmed(s[e - 1])) --e;
    return s.substr(b, e - b);
}
}  // namespace

void SplitFields(const std::wstring& text, std::vector<std::wstring>& fields, wchar_t separator)
{
    fields.clear();
    const size_t n = text.size();
    size_t i = 0;
    while (i < n) {
        size_t p = text.find(separator, i);
        std::wstring field;
        if (p != std::wstring::npos) {
            field = text.substr(i, p - i);
            i = p + 1;
        } else {
            field = text.substr(i);
            i = n;
        }
        fields.push_back(TrimField(field));
        if (p != std::wstring::npos && p == n - 1) fields.emplace_back();
    }
}

void GetPropertyFields(const std::wstring& name, std::vector<std::wstring>& fields, bool required,
                       bool formatted, wchar_t separator)
{
    fields.clear();
    const std::wstring value = formatted ? GetFormattedProperty(name, required) : GetProperty(name, required);
    SplitFields(value, fields, separator);
}

void ScheduleDeferredAction(const std::wstring& actionName, const std::wstring& data)
{
    HRESULT hr = wca::DoDeferredAction(actionName, data);
    if (FAILED(hr)) ThrowError(hr, L"Failed to schedule deferred CA: %s", actionName.c_str());
}

bool GetRunMode(int mode)
{
    MSIHANDLE h = GetSessionHandle();
    if (mode == MSIRUNMODE_SCHEDULED) {
        // Windows reports only the commit mode during a commit action and only
        // the rollback mode during a rollback action; Wine also reports the
        // scheduled mode in both. Read the modes as exclusive so that execute
        // is never run again in place of commit or rollback.
        return MsiGetMode(h, MSIRUNMODE_SCHEDULED) && !MsiGetMode(h, MSIRUNMODE_COMMIT) &&
               !MsiGetMode(h, MSIRUNMODE_ROLLBACK);
    }
    return MsiGetMode(h, static_cast<MSIRUNMODE>(mode)) != FALSE;
}

std::vector<std::wstring> GetDeferredFields(size_t count)
{
    std::vector<std::wstring> fields;
    GetPropertyFields(L"CustomActionData", fields, true, false, L'|');
    if (fields.size() != count) ThrowError(kInvalidArg, L"Missing or incomplete CA data");
    return fields;
}

namespace {
Phase g_phaseOverride = Phase::None;
}

void detail::SetPhaseOverride(Phase phase)
{
    g_phaseOverride = phase;
}

Phase CurrentPhase()
{
    if (g_phaseOverride != Phase::None) return g_phaseOverride;
    if (GetRunMode(MSIRUNMODE_SCHEDULED)) return Phase::Execute;
    if (GetRunMode(MSIRUNMODE_COMMIT)) return Phase::Commit;
    if (GetRunMode(MSIRUNMODE_ROLLBACK)) return Phase::Rollback;
    return Phase::None;
}

std::wstring JoinFields(const std::vector<std::wstring>& fields)
{
    std::wostringstream s;
    for (size_t i = 0; i < fields.size(); ++i) {
        if (i) s << L'|';
        s << fields[i];
    }
    return s.str();
}

}  // namespace msiu
