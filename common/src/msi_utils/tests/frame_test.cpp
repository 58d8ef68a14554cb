// The action frame: failure ladder, cancel, UI mode, the UI-check pattern and
// the line form of the log.
#include <comdef.h>
#include <gtest/gtest.h>

#include <new>

#include "msiu/error.h"
#include "msiu/log.h"
#include "msiu/session.h"
#include "pal/atlexception.h"
#include "pal/exception.h"
#include "qxtest/session.h"

namespace {

std::wstring ComText(HRESULT code, const std::wstring& fallback = L"")
{
    std::wstring system = qxtest::SystemText(code);
    return L"COM/ATL exception caught: " + (system.empty() ? fallback : system);
}

struct LadderCase {
    const char* name;
    std::function<void()> raise;
    std::wstring logged;
};

class FailureLadder : public ::testing::TestWithParam<LadderCase> {};

TEST_P(FailureLadder, LogsOneFatalLineAndFails)
{
    qxtest::Session s;
    const UINT result = msiu::RunAction(s.Handle(), L"LadderTest", false, GetParam().raise);
    EXPECT_EQ(result, 1603u);
    EXPECT_EQ(s.capture.Texts(msiu::kMsgFatal), std::vector<std::wstring>{L"LadderTest:  " + GetParam().logged});
}

INSTANTIATE_TEST_SUITE_P(
    EachKind, FailureLadder,
    ::testing::Values(
        LadderCase{"MSIError", [] { msiu::ThrowError(static_cast<HRESULT>(0x80070005), L"Access to %s", L"x"); },
                   L"Access to x  (0x80070005)"},
        LadderCase{"WindowsError", [] { PAL_THROW(PAL::WindowsError, 5); }, ComText(static_cast<HRESULT>(0x80070005))},
        LadderCase{"PalException", [] { PAL_THROW(PAL::StrCvtError, 2); },
                   L"Conversion error: Parsing of input incomplete"},
        LadderCase{"AssertFailure", [] { PAL_ASSERT(1 + 1 == 3); }, L"Assert Failure: 1 + 1 == 3"},
        LadderCase{"AtlException", [] { throw ATL::CAtlException(static_cast<int32_t>(0x80004005)); },
                   ComText(static_cast<HRESULT>(0x80004005))},
        LadderCase{"ComError", [] { throw _com_error(static_cast<HRESULT>(0x80040205)); },
                   ComText(static_cast<HRESULT>(0x80040205), L"IDispatch error #5")},
        LadderCase{"UnknownCode", [] { throw _com_error(static_cast<HRESULT>(0xA0001234)); },
                   ComText(static_cast<HRESULT>(0xA0001234), L"Unknown error 0xA0001234")},
        LadderCase{"BadAlloc", [] { throw std::bad_alloc(); }, ComText(static_cast<HRESULT>(0x8007000E))},
        LadderCase{"ForeignType", [] { throw 42; }, L"Unhandled exception"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Frame, SuccessLogsNothingAndReturnsZero)
{
    qxtest::Session s;
    EXPECT_EQ(msiu::RunAction(s.Handle(), L"Quiet", false, [] {}), 0u);
    EXPECT_TRUE(s.capture.messages.empty());
    EXPECT_EQ(msiu::GetSessionHandle(), 0u);
    EXPECT_EQ(msiu::GetDatabaseHandle(), 0u);
}

TEST(Frame, LogLinesHaveTheActionPrefixUnlessBare)
{
    qxtest::Session s;
    msiu::RunAction(s.Handle(), L"Lines", false, [] {
        msiu::LogMessage(msiu::kMsgInfo, L"value %d of %s", 3, L"x");
        msiu::LogMessageBare(msiu::kMsgWarning, L"a finished sentence.");
        msiu::LogText(msiu::kMsgError, L"plain", true);
    });
    ASSERT_EQ(s.capture.messages.size(), 3u);
    EXPECT_EQ(s.capture.messages[0].type, 0x4000000u);
    EXPECT_EQ(s.capture.messages[0].text, L"Lines:  value 3 of x");
    EXPECT_EQ(s.capture.messages[1].type, 0x2000000u);
    EXPECT_EQ(s.capture.messages[1].text, L"a finished sentence.");
    EXPECT_EQ(s.capture.messages[2].text, L"Lines:  plain");
}

TEST(Frame, UnknownMessageTypeFails)
{
    qxtest::Session s;
    EXPECT_EQ(msiu::RunAction(s.Handle(), L"BadType", false, [] { msiu::LogText(0x3000000, L"x", true); }), 1603u);
    EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{L"BadType:  Invalid message type  (0x80070057)"});
}

TEST(Frame, ActionNameOfMoreThan31CharactersFailsInit)
{
    qxtest::Session s;
    bool ran = false;
    const std::wstring name(32, L'N');
    EXPECT_EQ(msiu::RunAction(s.Handle(), name.c_str(), false, [&] { ran = true; }), 1603u);
    EXPECT_FALSE(ran);
    // The session layer's own line; the ladder's line goes nowhere in the idle context.
    EXPECT_EQ(s.capture.AllTexts(),
              std::vector<std::wstring>{L"Error 0x8007007a: Failed to copy CustomAction log name: " + name});
    EXPECT_EQ(msiu::RunAction(s.Handle(), std::wstring(31, L'n').c_str(), false, [] {}), 0u);
}

struct CancelCase {
    const char* name;
    bool bodyFails;
};

class Cancel : public ::testing::TestWithParam<CancelCase> {};

TEST_P(Cancel, AnsweredDuringALogLineGives1602)
{
    qxtest::Session s;
    s.capture.cancelOn = L"progress";
    const bool fails = GetParam().bodyFails;
    const UINT result = msiu::RunAction(s.Handle(), L"Cancelled", false, [fails] {
        msiu::LogMessage(msiu::kMsgInfo, L"progress");
        if (fails) throw 1;
    });
    EXPECT_EQ(result, 1602u);
    // The next action starts with a clear cancel result.
    EXPECT_EQ(msiu::RunAction(s.Handle(), L"Next", false, [] {}), 0u);
}

INSTANTIATE_TEST_SUITE_P(Both, Cancel, ::testing::Values(CancelCase{"BodySucceeds", false}, CancelCase{"BodyFails", true}),
                         [](const auto& info) { return std::string(info.param.name); });

struct Box {
    std::wstring text, caption;
    UINT style;
};
std::vector<Box> g_boxes;
int WINAPI RecordBox(HWND, LPCWSTR text, LPCWSTR caption, UINT style)
{
    g_boxes.push_back({text, caption, style});
    return IDOK;
}

class UIMode : public ::testing::Test {
protected:
    void SetUp() override
    {
        g_boxes.clear();
        msiu::detail::SetMessageBoxFunction(&RecordBox);
    }
    void TearDown() override { msiu::detail::SetMessageBoxFunction(nullptr); }
};

TEST_F(UIMode, FailureShowsABoxAndSetsTheLastMessage)
{
    qxtest::Session s;
    EXPECT_EQ(msiu::RunAction(s.Handle(), L"UITest", true,
                              [] { msiu::ThrowError(static_cast<HRESULT>(0x80070005), L"No access"); }),
              1603u);
    ASSERT_EQ(g_boxes.size(), 1u);
    EXPECT_EQ(g_boxes[0].text, L"No access  (0x80070005)");
    EXPECT_EQ(g_boxes[0].caption, L"UITest");
    EXPECT_EQ(g_boxes[0].style, 0x10u);
    EXPECT_EQ(s.Property(L"OrvaneLastDoActionLogMsg"), L"UITest:  No access  (0x80070005)");
    EXPECT_TRUE(s.capture.messages.empty());
}

TEST_F(UIMode, InfoLineShowsNoBoxButReplacesTheLastMessage)
{
    qxtest::Session s;
    EXPECT_EQ(msiu::RunAction(s.Handle(), L"UITest", true, [] {
                  msiu::LogMessage(msiu::kMsgInfo, L"first");
                  msiu::LogMessage(msiu::kMsgInfo, L"second");
              }),
              0u);
    EXPECT_TRUE(g_boxes.empty());
    EXPECT_EQ(s.Property(L"OrvaneLastDoActionLogMsg"), L"UITest:  second");
}

TEST_F(UIMode, CheckReportsInvalidInputThroughProperties)
{
    qxtest::Session s;
    s.SetProperty(L"_InvalidTest", L"stale");
    EXPECT_EQ(msiu::RunUICheck(s.Handle(), L"CheckUI", L"_InvalidTest",
                               [] { msiu::ThrowError(msiu::kInvalidArg, L"Web path may not be empty."); }),
              0u);
    EXPECT_EQ(s.Property(L"_InvalidTest"), L"1");
    EXPECT_EQ(s.Property(L"_NotifyUserDlgText"), L"Web path may not be empty.");
    EXPECT_TRUE(g_boxes.empty());
    EXPECT_TRUE(s.capture.messages.empty());

    EXPECT_EQ(msiu::RunUICheck(s.Handle(), L"CheckUI", L"_InvalidTest", [] {}), 0u);
    EXPECT_EQ(s.Property(L"_InvalidTest"), L"");
}

TEST_F(UIMode, CheckLetsOtherFailuresReachTheLadder)
{
    qxtest::Session s;
    EXPECT_EQ(msiu::RunUICheck(s.Handle(), L"CheckUI", L"_InvalidTest", [] { throw std::bad_alloc(); }), 1603u);
    EXPECT_EQ(g_boxes.size(), 1u);
    EXPECT_EQ(s.Property(L"_InvalidTest"), L"");
}

}  // namespace
