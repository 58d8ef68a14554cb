// Views, conditions and the feature and component states of real installer
// sessions, and the rules that read a state pair. The cases are in
// cases/database.txt.
#include "cases.h"
#include "msiu/database.h"
#include "msiu/log.h"
#include "msiu/record.h"
#include "msiu/session.h"

namespace {

using cases::Args;
using cases::B;

// Runs body in action DbTest of the session: what it gave or raised, then the session layer's own lines.
std::wstring Within(qxtest::Session& s, const std::function<std::wstring()>& body)
{
    s.capture.messages.clear();
    std::wstring r;
    msiu::RunAction(s.Handle(), L"DbTest", false, [&] { r = cases::Outcome(body); });
    for (const auto& line : s.capture.Texts(msiu::kMsgInfo)) r += L" | " + line;
    return r;
}

std::wstring Pair(const msiu::StatePair& p)
{
    return std::to_wstring(p.installed) + L" " + std::to_wstring(p.action) + L" " + B(msiu::WillBePresent(p)) + L" " +
           B(msiu::WillBeAbsent(p));
}

std::wstring FetchColumn(MSIHANDLE view)
{
    std::wstring out;
    for (MSIHANDLE row = 0; MsiViewFetch(view, &row) == ERROR_SUCCESS; MsiCloseHandle(row)) {
        wchar_t buf[256];
        DWORD n = 256;
        MsiRecordGetStringW(row, 1, buf, &n);
        out += L"[" + std::wstring(buf, n) + L"]";
    }
    return out;
}

TEST(Database, Cases)
{
    qxtest::Session s(qxtest::Props{{L"PerlVersion", L"5008"}, {L"QX_A", L"1"}},
                      qxtest::FeatureTables({{L"ApacheWeb", 1}, {L"IISWeb", 200}}, L"{6A1C0E52-9B7D-4F3A-8C21-5D4E3F2A1B"));
    for (const wchar_t* a : {L"CostInitialize", L"FileCost", L"CostFinalize"}) ASSERT_EQ(MsiDoActionW(s.Handle(), a), 0u);
    cases::Run("database.txt", {
        {"state", [](const Args& a) {
             return Pair({static_cast<INSTALLSTATE>(std::stoi(a[0])), static_cast<INSTALLSTATE>(std::stoi(a[1]))});
         }},
        // feature | name | state to select, 0 none => installed, action, present, absent
        {"feature", [&](const Args& a) {
             if (a[1] != L"0") MsiSetFeatureStateW(s.Handle(), a[0].c_str(), static_cast<INSTALLSTATE>(std::stoi(a[1])));
             return Within(s, [&] { return Pair(msiu::GetFeatureState(a[0])); });
         }},
        {"component", [&](const Args& a) { return Within(s, [&] { return Pair(msiu::GetComponentState(a[0])); }); }},
        // insert | property | value: a temporary row through a view of the Property table
        {"insert", [&](const Args& a) {
             return Within(s, [&] {
                 msiu::ViewHandle view;
                 msiu::OpenView(L"SELECT `Property`, `Value` FROM `Property`", view);
                 msiu::DBRecord row(3);
                 row.SetField(1, a[0]).SetField(2, a[1]);
                 msiu::ViewModify(view, MSIMODIFY_INSERT_TEMPORARY, row);
                 return std::wstring();
             });
         }},
        {"condition", [&](const Args& a) { return Within(s, [&] { return B(msiu::EvaluateCondition(a[0])); }); }},
        // view | query => the first column of each row; a failing one leaves no handle
        {"view", [](const Args& a) {
             qxtest::Session fresh(qxtest::Props{{L"QX_A", L"1"}});
             msiu::ViewHandle view;
             const std::wstring r = Within(fresh, [&] { msiu::OpenView(a[0], view); return FetchColumn(view.Get()); });
             return r + (view.Get() ? L"" : L" (no view)");
         }},
        // reopen | query | query => what closing the first view's handle gave after the second opened
        {"reopen", [&](const Args& a) {
             return Within(s, [&] {
                 msiu::ViewHandle view;
                 msiu::OpenView(a[0], view);
                 const MSIHANDLE first = view.Get();
                 msiu::OpenView(a[1], view);
                 return std::to_wstring(MsiCloseHandle(first));
             });
         }},
        {"query", [&](const Args& a) {
             return Within(s, [&] { msiu::ViewHandle view; msiu::OpenView(a[0], view); return FetchColumn(view.Get()); });
         }},
    });
}

}  // namespace
