// Properties, formatting and the record cursor, on a real installer session.
#include <gtest/gtest.h>

#include <memory>

#include "msiu/error.h"
#include "msiu/property.h"
#include "msiu/record.h"
#include "msiu/session.h"
#include "qxtest/imports.h"
#include "qxtest/session.h"

namespace {

// Runs `body` inside the frame and gives the fatal line it logged, if any.
template <class Body>
std::wstring Failure(qxtest::Session& s, Body body)
{
    s.capture.messages.clear();
    msiu::RunAction(s.Handle(), L"T", false, body);
    auto fatal = s.capture.Texts(0);
    return fatal.empty() ? L"" : fatal.front();
}

struct IntCase {
    std::wstring value;
    int expected;
};

TEST(IntProperty, ReadsLikeTheRuntimeConversion)
{
    const IntCase cases[] = {
        {L"#5", 5}, {L"5", 5}, {L"", 0}, {L"abc", 0}, {L"  -12x", -12}, {L"#", 0}, {L"##3", 0}, {L"+7", 7},
    };
    qxtest::Session s;
    for (const auto& c : cases) {
        s.SetProperty(L"N", c.value);
        int got = -999;
        msiu::RunAction(s.Handle(), L"T", false, [&] { got = msiu::GetIntProperty(L"N", false); });
        EXPECT_EQ(got, c.expected) << "value '" << std::string(c.value.begin(), c.value.end()) << "'";
    }
}

TEST(Property, ReadWriteAndExistence)
{
    qxtest::Session s(qxtest::Props{{L"GIVEN", L"value"}, {L"REF", L"[GIVEN]/x"}});
    msiu::RunAction(s.Handle(), L"T", false, [] {
        EXPECT_TRUE(msiu::PropertyExists(L"GIVEN"));
        EXPECT_FALSE(msiu::PropertyExists(L"ABSENT"));
        EXPECT_EQ(msiu::GetProperty(L"GIVEN", true), L"value");
        EXPECT_EQ(msiu::GetProperty(L"ABSENT", false), L"");
        EXPECT_EQ(msiu::GetFormattedProperty(L"REF", true), L"value/x");
        EXPECT_EQ(msiu::FormatString(L"[GIVEN]\\httpd.conf"), L"value\\httpd.conf");

        const std::wstring big(5000, L'z');
        msiu::SetProperty(L"BIG", big);
        EXPECT_EQ(msiu::GetProperty(L"BIG", true), big);
        msiu::SetIntProperty(L"NUM", -42);
        EXPECT_EQ(msiu::GetProperty(L"NUM", true), L"-42");
        msiu::ClearProperty(L"NUM");
        EXPECT_FALSE(msiu::PropertyExists(L"NUM"));
    });
    EXPECT_TRUE(s.capture.Texts(0).empty());
}

TEST(Property, FailureTexts)
{
    qxtest::Session s(qxtest::Props{{L"EMPTY", L""}});
    const std::pair<std::function<void()>, std::wstring> cases[] = {
        {[] { msiu::GetProperty(L"EMPTY", true); }, L"T:  Property \"EMPTY\" does not exist  (0x80070057)"},
        {[] { msiu::GetFormattedProperty(L"ABSENT", true); },
         L"T:  Property \"ABSENT\" does not exist  (0x80070057)"},
        {[] { msiu::GetFormattedProperty(L"ABSENT", false); },
         L"T:  Failed to get formatted value for property \"ABSENT\"  (0x80070057)"},
        {[] { msiu::FormatString(L""); }, L"T:  Failed to format string \"\"  (0x80070057)"},
        {[] { msiu::SetProperty(L"", L"v"); }, L"T:  Failed to set property \"\" to value \"v\"  (0x80070057)"},
        {[] { msiu::GetProperty(L"", false); }, L"T:  Failed to get value for property \"\"  (0x80070057)"},
    };
    for (const auto& c : cases) EXPECT_EQ(Failure(s, c.first), c.second);
}

// A first length query fails only on a handle the installer no longer knows.
UINT WINAPI RefuseGetProperty(MSIHANDLE, LPCWSTR, LPWSTR, LPDWORD) { return ERROR_INVALID_HANDLE; }
UINT WINAPI RefuseFormat(MSIHANDLE, MSIHANDLE, LPWSTR, LPDWORD) { return ERROR_INVALID_HANDLE; }

TEST(Property, SessionLayerLogsItsOwnLineBeforeTheFailure)
{
    struct Case {
        std::function<void()> body;
        const char* refused;  // the installer call made to fail, if any
        const void* stub;
        std::wstring line;
    };
    const Case cases[] = {
        {[] { msiu::GetFormattedProperty(L"ABSENT", false); }, nullptr, nullptr,
         L"T:  Error 0x80070057: failed to get formatted value for property: 'ABSENT' with value: ''"},
        {[] { msiu::GetProperty(L"P", false); }, "MsiGetPropertyW", reinterpret_cast<const void*>(&RefuseGetProperty),
         L"T:  Error 0x80070006: Failed to get previous size of property data string."},
        {[] { msiu::FormatString(L"[P]"); }, "MsiFormatRecordW", reinterpret_cast<const void*>(&RefuseFormat),
         L"T:  Error 0x80070006: Failed to get previous size of property data string"},
    };
    qxtest::Session s;
    for (const auto& c : cases) {
        std::unique_ptr<qxtest::ImportSwap> swap;
        if (c.refused) swap = std::make_unique<qxtest::ImportSwap>("msi.dll", c.refused, c.stub);
        s.capture.messages.clear();
        msiu::RunAction(s.Handle(), L"T", false, c.body);
        swap.reset();
        EXPECT_EQ(s.capture.Texts(0x4000000), std::vector<std::wstring>{c.line});
    }
}

TEST(Record, CursorRules)
{
    qxtest::Session s;
    const std::pair<std::function<void()>, std::wstring> cases[] = {
        {[] { msiu::DBRecord r(0); }, L"T:  Invalid number of record fields  (0x80070057)"},
        {[] { msiu::DBRecord(1).Add(L"a").Add(L"b"); }, L"T:  Field index out of range.  (0x80070057)"},
        {[] { msiu::DBRecord(3).SetField(3, 1); }, L"T:  Field index out of range.  (0x80070057)"},
        {[] { msiu::DBRecord(2).Skip(3); }, L"T:  Field index out of range.  (0x80070057)"},
        {[] {
             msiu::DBRecord r(7);
             r.Skip(1).Add(L"a").Add(2).Skip(1).Add(L"c").Skip(1).Add(7);
             EXPECT_EQ(r.Cursor(), 7u);
             r.Skip(0);
             r.Skip(1);
         },
         L"T:  Field index out of range.  (0x80070057)"},
    };
    for (const auto& c : cases) EXPECT_EQ(Failure(s, c.first), c.second);
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
