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
        if (f == L"record") {  // record | fields | steps: s skip, a add text, i add number, f set field
            msiu::DBRecord r(std::stoi(a[1]));
            for (size_t i = 2; i < a.size(); ++i) {
                const wchar_t op = a[i][0];
                const std::wstring arg = a[i].substr(1);
                if (op == L's') r.Skip(std::stoi(arg));
                if (op == L'a') r.Add(arg);
                if (op == L'i') r.Add(std::stoi(arg));
                if (op == L'f') r.SetField(std::stoi(arg), 1);
            }
            return std::to_wstring(r.Cursor());
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

TEST(Record, FieldsHoldWhatWasSet)
{
    msiu::DBRecord r(4);
    r.Skip(1).Add(L"text").Add(-3).SetField(0, L"[1] and [2]");
    EXPECT_EQ(r.Cursor(), 1u);
    EXPECT_EQ(MsiRecordGetFieldCount(r.Handle()), 3u);
    EXPECT_EQ(MsiRecordGetInteger(r.Handle(), 2), -3);
    EXPECT_TRUE(MsiRecordIsNull(r.Handle(), 3));
}

}  // namespace
