// Views, conditions and the feature and component states of real installer
// sessions, and the rules that read a state pair.
#include <gtest/gtest.h>

#include "msiu/database.h"
#include "msiu/error.h"
#include "msiu/log.h"
#include "msiu/record.h"
#include "msiu/session.h"
#include "qxtest/session.h"

namespace {

std::vector<std::wstring> FeatureTables(const std::vector<std::pair<std::wstring, int>>& features)
{
    return qxtest::FeatureTables(features, L"{6A1C0E52-9B7D-4F3A-8C21-5D4E3F2A1B");
}

void Cost(MSIHANDLE h)
{
    for (const wchar_t* a : {L"CostInitialize", L"FileCost", L"CostFinalize"})
        ASSERT_EQ(MsiDoActionW(h, a), 0u) << a;
}

struct Failure {
    HRESULT code = 0;
    std::wstring text;
};

// Runs `body` inside an action frame of the session and gives the MSIError
// it raised, if any.
template <class Body>
Failure Within(qxtest::Session& s, Body body)
{
    Failure f;
    UINT r = msiu::RunAction(s.Handle(), L"DbTest", false, [&] {
        try {
            body();
        } catch (const msiu::MSIError& e) {
            f = {e.Code(), e.Text()};
        }
    });
    EXPECT_EQ(r, 0u);
    return f;
}

using msiu::StatePair;

TEST(StateRules, PresentAndAbsentAfterThisInstall)
{
    struct Case {
        int installed, action;
        bool present, absent;
    };
    const Case cases[] = {
        // nothing is to change: the installed state decides
        {2, -1, false, true},  {3, -1, true, false},   {4, -1, true, false},   {-4, -1, true, false},
        {1, -1, false, false}, {-1, -1, false, false}, {2, 5, false, true},    {3, 5, true, false},
        {-4, 5, true, false},
        // a change: the action state decides, whatever is there now
        {2, 3, true, false},   {2, 4, true, false},    {3, 2, false, true},    {4, 1, false, true},
        {3, 0, false, false},  {2, 0, false, false},   {3, -4, false, false},
    };
    for (const auto& c : cases) {
        const StatePair p{static_cast<INSTALLSTATE>(c.installed), static_cast<INSTALLSTATE>(c.action)};
        EXPECT_EQ(msiu::WillBePresent(p), c.present) << c.installed << "/" << c.action;
        EXPECT_EQ(msiu::WillBeAbsent(p), c.absent) << c.installed << "/" << c.action;
    }
}

TEST(FeatureStates, ReadFromTheSessionAfterSelection)
{
    qxtest::Session s({}, FeatureTables({{L"ApacheWeb", 1}, {L"IISWeb", 200}}));
    Cost(s.Handle());
    struct Step {
        const wchar_t* feature;
        int select;  // 0: leave as costed
        int installed, action;
        bool present, absent;
    };
    const Step steps[] = {
        {L"ApacheWeb", 0, 2, 3, true, false},  {L"IISWeb", 0, 2, -1, false, true},
        {L"IISWeb", 4, 2, 4, true, false},     {L"IISWeb", 1, 2, 1, false, true},
        {L"ApacheWeb", 2, 2, 2, false, true},  {L"ApacheWeb", 3, 2, 3, true, false},
    };
    for (const auto& st : steps) {
        if (st.select) ASSERT_EQ(MsiSetFeatureStateW(s.Handle(), st.feature, static_cast<INSTALLSTATE>(st.select)), 0u);
        StatePair p;
        Failure f = Within(s, [&] { p = msiu::GetFeatureState(st.feature); });
        EXPECT_EQ(f.text, L"");
        EXPECT_EQ(p.installed, st.installed) << st.feature << " " << st.select;
        EXPECT_EQ(p.action, st.action) << st.feature << " " << st.select;
        EXPECT_EQ(msiu::WillBePresent(p), st.present);
        EXPECT_EQ(msiu::WillBeAbsent(p), st.absent);
    }
    StatePair c;
    EXPECT_EQ(Within(s, [&] { c = msiu::GetComponentState(L"C_ApacheWeb"); }).text, L"");
    EXPECT_EQ(c.installed, INSTALLSTATE_ABSENT);
    EXPECT_EQ(c.action, INSTALLSTATE_LOCAL);
}

TEST(FeatureStates, UnknownNamesFailWithTheirTexts)
{
    qxtest::Session s({}, FeatureTables({{L"ApacheWeb", 1}}));
    Cost(s.Handle());
    Failure f = Within(s, [] { msiu::GetFeatureState(L"NoSuchFeature"); });
    EXPECT_EQ(static_cast<uint32_t>(f.code), 0x80070646u);  // 1606, unknown feature
    EXPECT_EQ(f.text, L"Failed to get state of feature \"NoSuchFeature\"");
    f = Within(s, [] { msiu::GetComponentState(L"NoSuchComponent"); });
    EXPECT_EQ(static_cast<uint32_t>(f.code), 0x80070647u);  // 1607, unknown component
    EXPECT_EQ(f.text, L"Failed to get state of component \"NoSuchComponent\"");
}

TEST(Conditions, TrueOnlyForTrueAndASyntaxErrorFails)
{
    qxtest::Session s(qxtest::Props{{L"PerlVersion", L"5008"}});
    struct Case {
        const wchar_t* condition;
        bool value;
    };
    const Case cases[] = {
        {L"", false},  // no expression at all is not true
        {L"1 = 1", true},
        {L"1 = 2", false},
        {L"(PerlVersion = 5006) OR (PerlVersion = 5008)", true},
        {L"PerlVersion = 5006", false},
        {L"NotSet", false},
    };
    for (const auto& c : cases) {
        bool got = !c.value;
        EXPECT_EQ(Within(s, [&] { got = msiu::EvaluateCondition(c.condition); }).text, L"") << c.condition;
        EXPECT_EQ(got, c.value) << c.condition;
    }
    for (const wchar_t* bad : {L"((", L"PerlVersion ="}) {
        Failure f = Within(s, [&] { msiu::EvaluateCondition(bad); });
        EXPECT_EQ(static_cast<uint32_t>(f.code), 0x80004005u);
        EXPECT_EQ(f.text, std::wstring(L"Syntax error in conditional expression: ") + bad);
    }
}

std::vector<std::wstring> FetchColumn(MSIHANDLE view)
{
    std::vector<std::wstring> out;
    MSIHANDLE row = 0;
    while (MsiViewFetch(view, &row) == ERROR_SUCCESS) {
        wchar_t buf[256];
        DWORD n = 256;
        MsiRecordGetStringW(row, 1, buf, &n);
        out.emplace_back(buf, n);
        MsiCloseHandle(row);
    }
    return out;
}

TEST(Views, OpenExecuteAndReplaceTheHandle)
{
    qxtest::Session s(qxtest::Props{{L"QX_A", L"1"}});
    Within(s, [&] {
        msiu::ViewHandle view;
        msiu::OpenView(L"SELECT `Value` FROM `Property` WHERE `Property` = 'QX_A'", view);
        const MSIHANDLE first = view.Get();
        ASSERT_NE(first, 0u);
        EXPECT_EQ(FetchColumn(view), std::vector<std::wstring>{L"1"});
        msiu::OpenView(L"SELECT `Property` FROM `Property` WHERE `Property` = 'ProductName'", view);
        EXPECT_EQ(FetchColumn(view), std::vector<std::wstring>{L"ProductName"});
        EXPECT_EQ(MsiCloseHandle(first), static_cast<UINT>(ERROR_INVALID_HANDLE)) << "the old view is closed";
    });
}

TEST(Views, FailuresNameTheQueryAndTheSessionLayerLogsItsLine)
{
    struct Case {
        const wchar_t* query;
        uint32_t code;
        const wchar_t* logLine;  // the session layer's own line, if any
    };
    const Case cases[] = {
        {L"", 0x80070057u, nullptr},
        {L"SELECT FROM WHERE", 0x8007064Fu, L"DbTest:  Error 0x8007064f: failed to open view on database"},
        {L"SELECT * FROM `NoSuchTable`", 0x8007064Fu, L"DbTest:  Error 0x8007064f: failed to open view on database"},
    };
    for (const auto& c : cases) {
        qxtest::Session s;
        msiu::ViewHandle view;
        Failure f = Within(s, [&] { msiu::OpenView(c.query, view); });
        EXPECT_EQ(static_cast<uint32_t>(f.code), c.code) << c.query;
        EXPECT_EQ(f.text, std::wstring(L"Failed to execute view query: ") + c.query);
        EXPECT_EQ(view.Get(), 0u);
        const auto info = s.capture.Texts(msiu::kMsgInfo);
        if (c.logLine)
            EXPECT_EQ(info, std::vector<std::wstring>{c.logLine}) << c.query;
        else
            EXPECT_TRUE(info.empty());
    }
}

TEST(Views, TemporaryRowsAndARefusedModification)
{
    qxtest::Session s;
    Within(s, [&] {
        msiu::ViewHandle view;
        msiu::OpenView(L"SELECT `Property`, `Value` FROM `Property`", view);
        msiu::DBRecord row(3);
        row.SetField(1, std::wstring(L"QX_TEMP")).SetField(2, std::wstring(L"yes"));
        msiu::ViewModify(view, MSIMODIFY_INSERT_TEMPORARY, row);

        msiu::ViewHandle check;
        msiu::OpenView(L"SELECT `Value` FROM `Property` WHERE `Property` = 'QX_TEMP'", check);
        EXPECT_EQ(FetchColumn(check), std::vector<std::wstring>{L"yes"});

        // The same key twice is refused.
        try {
            msiu::ViewModify(view, MSIMODIFY_INSERT_TEMPORARY, row);
            ADD_FAILURE() << "a duplicate key must be refused";
        } catch (const msiu::MSIError& e) {
            EXPECT_EQ(e.Text(), L"Failed to modify view with data: ??? (mode 7)");
            EXPECT_EQ(static_cast<uint32_t>(e.Code()) & 0xFFFF0000u, 0x80070000u);
        }
    });
}

}  // namespace
