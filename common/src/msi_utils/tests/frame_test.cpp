// The action frame: failure ladder, cancel, UI mode, the UI-check pattern and
// the line form of the log.
#include <new>

#include "cases.h"
#include "msiu/log.h"
#include "msiu/session.h"
#include "pal/exception.h"

namespace {

std::wstring ComText(HRESULT code, const std::wstring& fallback = L"")
{
    const std::wstring system = qxtest::SystemText(code);
    return L"COM/ATL exception caught: " + (system.empty() ? fallback : system);
}

TEST(Frame, EachKindOfFailureLogsOneFatalLineAndFails)
{
    const std::pair<std::function<void()>, std::wstring> ladder[] = {
        {[] { msiu::ThrowError(static_cast<HRESULT>(0x80070005), L"Access to %s", L"x"); }, L"Access to x  (0x80070005)"},
        {[] { PAL_THROW(PAL::WindowsError, 5); }, ComText(static_cast<HRESULT>(0x80070005))},
        {[] { PAL_THROW(PAL::StrCvtError, 2); }, L"Conversion error: Parsing of input incomplete"},
        {[] { PAL_ASSERT(1 + 1 == 3); }, L"Assert Failure: 1 + 1 == 3"},
        {[] { throw ATL::CAtlException(static_cast<int32_t>(0x80004005)); }, ComText(static_cast<HRESULT>(0x80004005))},
        {[] { throw _com_error(static_cast<HRESULT>(0x80040205)); }, ComText(static_cast<HRESULT>(0x80040205), L"IDispatch error #5")},
        {[] { throw _com_error(static_cast<HRESULT>(0xA0001234)); },
         ComText(static_cast<HRESULT>(0xA0001234), L"Unknown error 0xA0001234")},
        {[] { throw std::bad_alloc(); }, ComText(static_cast<HRESULT>(0x8007000E))},
        {[] { throw 42; }, L"Unhandled exception"},
        {[] { msiu::LogText(0x3000000, L"x", true); }, L"Invalid message type  (0x80070057)"},
    };
    for (const auto& c : ladder) {
        qxtest::Session s;
        EXPECT_EQ(msiu::RunAction(s.Handle(), L"LadderTest", false, c.first), 1603u);
        EXPECT_EQ(s.capture.Texts(msiu::kMsgFatal), std::vector<std::wstring>{L"LadderTest:  " + c.second});
    }
}

TEST(Frame, SuccessLogLinesAndTheLimitOfTheActionName)
{
    qxtest::Session s;
    EXPECT_EQ(msiu::RunAction(s.Handle(), L"Quiet", false, [] {}), 0u);
    EXPECT_TRUE(s.capture.messages.empty());
    EXPECT_EQ(msiu::GetSessionHandle(), 0u);
    EXPECT_EQ(msiu::GetDatabaseHandle(), 0u);
    msiu::RunAction(s.Handle(), L"Lines", false, [] {
        msiu::LogMessage(msiu::kMsgInfo, L"value %d of %s", 3, L"x");
        msiu::LogMessageBare(msiu::kMsgWarning, L"a finished sentence.");
        msiu::LogText(msiu::kMsgError, L"plain", true);
    });
    ASSERT_EQ(s.capture.messages.size(), 3u);
    EXPECT_EQ(s.capture.messages[0].type, 0x4000000u);
    EXPECT_EQ(s.capture.messages[1].type, 0x2000000u);
    EXPECT_EQ(s.capture.AllTexts(), (std::vector<std::wstring>{L"Lines:  value 3 of x", L"a finished sentence.", L"Lines:  plain"}));

    // 32 characters fail the start; the session layer's own line, the ladder's goes nowhere in the idle context.
    s.capture.messages.clear();
    bool ran = false;
    const std::wstring name(32, L'N');
    EXPECT_EQ(msiu::RunAction(s.Handle(), name.c_str(), false, [&] { ran = true; }), 1603u);
    EXPECT_FALSE(ran);
    EXPECT_EQ(s.capture.AllTexts(), std::vector<std::wstring>{L"Error 0x8007007a: Failed to copy CustomAction log name: " + name});
    EXPECT_EQ(msiu::RunAction(s.Handle(), std::wstring(31, L'n').c_str(), false, [] {}), 0u);
}

TEST(Frame, CancelAnsweredDuringALogLineGives1602)
{
    for (bool fails : {false, true}) {
        qxtest::Session s;
        s.capture.cancelOn = L"progress";
        EXPECT_EQ(msiu::RunAction(s.Handle(), L"Cancelled", false, [fails] {
                      msiu::LogMessage(msiu::kMsgInfo, L"progress");
                      if (fails) throw 1;
                  }),
                  1602u);
        // The next action starts with a clear cancel result.
        EXPECT_EQ(msiu::RunAction(s.Handle(), L"Next", false, [] {}), 0u);
    }
}

std::vector<std::wstring> g_boxes;  // text | caption | style
int WINAPI RecordBox(HWND, LPCWSTR text, LPCWSTR caption, UINT style)
{
    g_boxes.push_back(std::wstring(text) + L" | " + caption + L" | " + std::to_wstring(style));
    return IDOK;
}

TEST(Frame, UIModeShowsFailuresInABoxAndTheCheckReportsThroughProperties)
{
    msiu::detail::SetMessageBoxFunction(&RecordBox);
    qxtest::Session s;
    EXPECT_EQ(msiu::RunAction(s.Handle(), L"UITest", true, [] { msiu::ThrowError(static_cast<HRESULT>(0x80070005), L"No access"); }),
              1603u);
    EXPECT_EQ(g_boxes, std::vector<std::wstring>{L"No access  (0x80070005) | UITest | 16"});
    EXPECT_EQ(s.Property(L"OrvaneLastDoActionLogMsg"), L"UITest:  No access  (0x80070005)");
    // An info line shows no box but replaces the last message.
    EXPECT_EQ(msiu::RunAction(s.Handle(), L"UITest", true, [] {
                  msiu::LogMessage(msiu::kMsgInfo, L"first");
                  msiu::LogMessage(msiu::kMsgInfo, L"second");
              }),
              0u);
    EXPECT_EQ(s.Property(L"OrvaneLastDoActionLogMsg"), L"UITest:  second");

    s.SetProperty(L"_InvalidTest", L"stale");
    EXPECT_EQ(msiu::RunUICheck(s.Handle(), L"CheckUI", L"_InvalidTest",
                               [] { msiu::ThrowError(msiu::kInvalidArg, L"Web path may not be empty."); }),
              0u);
    EXPECT_EQ(s.Property(L"_InvalidTest"), L"1");
    EXPECT_EQ(s.Property(L"_NotifyUserDlgText"), L"Web path may not be empty.");
    EXPECT_EQ(msiu::RunUICheck(s.Handle(), L"CheckUI", L"_InvalidTest", [] {}), 0u);
    EXPECT_EQ(s.Property(L"_InvalidTest"), L"");
    EXPECT_EQ(g_boxes.size(), 1u);
    EXPECT_TRUE(s.capture.messages.empty());
    // Other failures reach the ladder.
    EXPECT_EQ(msiu::RunUICheck(s.Handle(), L"CheckUI", L"_InvalidTest", [] { throw std::bad_alloc(); }), 1603u);
    EXPECT_EQ(g_boxes.size(), 2u);
    EXPECT_EQ(s.Property(L"_InvalidTest"), L"");
    msiu::detail::SetMessageBoxFunction(nullptr);
}

}  // namespace
