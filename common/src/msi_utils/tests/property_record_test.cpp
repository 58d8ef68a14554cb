// Properties, formatting and the record cursor, on a real installer session.
// The cases are in cases/property.txt.
#include <memory>

#include "cases.h"
#include "msiu/property.h"
#include "msiu/record.h"
#include "msiu/session.h"
#include "qxtest/imports.h"

namespace {

using cases::Args;

// A first length query fails only on a handle the installer no longer knows.
UINT WINAPI RefuseGetProperty(MSIHANDLE, LPCWSTR, LPWSTR, LPDWORD) { return ERROR_INVALID_HANDLE; }
UINT WINAPI RefuseFormat(MSIHANDLE, MSIHANDLE, LPWSTR, LPDWORD) { return ERROR_INVALID_HANDLE; }

TEST(Property, Cases)
{
    qxtest::Session s(qxtest::Props{{L"GIVEN", L"value"}, {L"REF", L"[GIVEN]/x"}, {L"EMPTY", L""}});
    // Each call runs in action T: what it gave, then every line logged.
    const auto in = [&](const std::function<std::wstring()>& body) {
        s.capture.messages.clear();
        std::wstring r;
        msiu::RunAction(s.Handle(), L"T", false, [&] { r = body(); });
        for (const auto& m : s.capture.messages) r += L" | " + m.text;
        return r;
    };
    const auto call = [](const Args& a) -> std::wstring {
        const std::wstring& f = a[0];
        if (f == L"get") return msiu::GetProperty(a[1], a[2] == L"1");
        if (f == L"formatted") return msiu::GetFormattedProperty(a[1], a[2] == L"1");
        if (f == L"format") return msiu::FormatString(a[1]);
        if (f == L"int") return std::to_wstring(msiu::GetIntProperty(a[1], false));
        if (f == L"exists") return cases::B(msiu::PropertyExists(a[1]));
        if (f == L"clear") msiu::ClearProperty(a[1]);
        if (f == L"setint") msiu::SetIntProperty(a[1], std::stoi(a[2]));
        if (f == L"set") msiu::SetProperty(a[1], a[2] == L"5000z" ? std::wstring(5000, L'z') : a[2]);
        if (f == L"record") {  // record | fields | steps: s skip, a add text, i add number, f set field, t set field 0
            msiu::DBRecord r(std::stoi(a[1]));
            for (size_t i = 2; i < a.size(); ++i) {
                const wchar_t op = a[i][0];
                const std::wstring arg = a[i].substr(1);
                if (op == L's') r.Skip(std::stoi(arg));
                if (op == L'a') r.Add(arg);
                if (op == L'i') r.Add(std::stoi(arg));
                if (op == L'f') r.SetField(std::stoi(arg), 1);
                if (op == L't') r.SetField(0, arg);
            }
            std::wstring out = std::to_wstring(r.Cursor()) + L" of " + std::to_wstring(MsiRecordGetFieldCount(r.Handle()));
            for (UINT i = 0; i <= MsiRecordGetFieldCount(r.Handle()); ++i) {
                wchar_t text[64] = L"~";
                DWORD n = 64;
                if (!MsiRecordIsNull(r.Handle(), i)) MsiRecordGetStringW(r.Handle(), i, text, &n);
                out += L" [" + std::wstring(text) + L"]";
            }
            return out;
        }
        return L"";
    };
    cases::Run("property.txt", {
        {"call", [&](const Args& a) { return in([&] { return call(a); }); }},
        {"refused", [&](const Args& a) {
             const bool get = a[0] == L"MsiGetPropertyW";
             qxtest::ImportSwap swap("msi.dll", get ? "MsiGetPropertyW" : "MsiFormatRecordW",
                                     get ? reinterpret_cast<const void*>(&RefuseGetProperty)
                                         : reinterpret_cast<const void*>(&RefuseFormat));
             return in([&] { return call(Args(a.begin() + 1, a.end())); });
         }},
    });
    const std::wstring big(5000, L'z');
    EXPECT_EQ(in([&] { return msiu::GetProperty(L"BIG", true); }), big);
}

}  // namespace
