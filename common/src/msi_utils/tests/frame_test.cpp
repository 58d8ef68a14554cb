// The action frame: failure ladder, cancel, UI mode, the UI-check pattern and
// the line form of the log.
#include <new>

#include "cases.h"
#include "msiu/dialog.h"
#include "msiu/log.h"
#include "msiu/session.h"
#include "pal/exception.h"

namespace {

std::wstring ComText(uint32_t code, const std::wstring& fallback = L"")
{
    const std::wstring system = qxtest::SystemText(static_cast<HRESULT>(code));
    return L"COM/ATL exception caught: " + (system.empty() ? fallback : system);
}

// The action's result, then each message as type:text.
std::wstring Act(qxtest::Session& s, const wchar_t* action, const std::function<void()>& body, bool ui = false)
{
    s.capture.messages.clear();
    std::wstring r = std::to_wstring(msiu::RunAction(s.Handle(), action, ui, body));
    for (const auto& m : s.capture.messages) r += msiu::Format(L" | %x:", m.type) + m.text;
    return r;
}

std::wstring g_shown;
int WINAPI Record(HWND owner, LPCWSTR text, LPCWSTR caption, UINT style)
{
    g_shown += msiu::Format(L"[%p | %s | %s | %u]", owner, text, caption, style);
    return IDOK;
}

// Each kind of failure: one fatal line of the action frame, and one "Error"
// box of the dialog handler guard, owned by the dialog, with result -1.
TEST(Frame, EachKindOfFailureLogsOneFatalLineAndShowsOneErrorBox)
{
    const std::wstring denied = qxtest::SystemText(static_cast<HRESULT>(0x80070005));
    const struct {
        std::function<void()> raise;
        std::wstring logged, shown;
    } ladder[] = {
        {[] { msiu::ThrowError(static_cast<HRESULT>(0x80070005), L"Access to %s", L"x"); }, L"Access to x  (0x80070005)", L"Access to x"},
        {[] { PAL_THROW(PAL::WindowsError, 5); }, ComText(0x80070005), denied},
        {[] { PAL_THROW(PAL::StrCvtError, 2); }, L"Conversion error: Parsing of input incomplete", L"Conversion error: Parsing of input incomplete"},
        {[] { PAL_ASSERT(1 + 1 == 3); }, L"Assert Failure: 1 + 1 == 3", L"Assert Failure: 1 + 1 == 3"},
        {[] { throw ATL::CAtlException(static_cast<int32_t>(0x80004005)); }, ComText(0x80004005), qxtest::SystemText(static_cast<HRESULT>(0x80004005))},
        {[] { throw _com_error(static_cast<HRESULT>(0x80070005)); }, ComText(0x80070005), denied},
        {[] { throw _com_error(static_cast<HRESULT>(0x80040205)); }, ComText(0x80040205, L"IDispatch error #5"), L"IDispatch error #5"},
        {[] { throw _com_error(static_cast<HRESULT>(0xA0001234)); }, ComText(0xA0001234, L"Unknown error 0xA0001234"), L"Unknown error 0xA0001234"},
        {[] { throw std::bad_alloc(); }, ComText(0x8007000E), qxtest::SystemText(static_cast<HRESULT>(0x8007000E))},
        {[] { throw 42; }, L"Unhandled exception", L"Unhandled exception"},
        {[] { msiu::LogText(0x3000000, L"x", true); }, L"Invalid message type  (0x80070057)", L""},
    };
    qxtest::Session s;
    msiu::detail::SetDialogMessageBox(&Record);
    const HWND owner = reinterpret_cast<HWND>(0x1234);
    for (const auto& c : ladder) {
        EXPECT_EQ(Act(s, L"LadderTest", c.raise), L"1603 | 0:LadderTest:  " + c.logged);
        if (c.shown.empty()) continue;
        g_shown.clear();
        try {
            c.raise();
        } catch (...) {
            EXPECT_EQ(msiu::ShowHandlerFailure(owner), -1);
        }
        EXPECT_EQ(g_shown, msiu::Format(L"[%p | ", owner) + c.shown + L" | Error | 16]");
    }
    msiu::detail::SetDialogMessageBox(nullptr);
}

TEST(Frame, LinesCancelAndTheLimitOfTheActionName)
{
    qxtest::Session s;
    EXPECT_EQ(Act(s, L"Quiet", [] {}), L"0");
    EXPECT_EQ(msiu::GetSessionHandle() + msiu::GetDatabaseHandle(), 0u);
    EXPECT_EQ(Act(s, L"Lines", [] {
                  msiu::LogMessage(msiu::kMsgInfo, L"value %d of %s", 3, L"x");
                  msiu::LogMessageBare(msiu::kMsgWarning, L"a finished sentence.");
                  msiu::LogText(msiu::kMsgError, L"plain", true);
              }),
              L"0 | 4000000:Lines:  value 3 of x | 2000000:a finished sentence. | 1000000:Lines:  plain");
    // 32 characters fail the start: the session layer's own line; the ladder's goes nowhere in the idle context.
    const std::wstring name(32, L'N');
    EXPECT_EQ(Act(s, name.c_str(), [] { ADD_FAILURE() << "ran"; }), L"1603 | 4000000:Error 0x8007007a: Failed to copy CustomAction log name: " + name);
    EXPECT_EQ(Act(s, std::wstring(31, L'n').c_str(), [] {}), L"0");
    // Cancel answered during a log line gives 1602; the next action starts with a clear cancel result.
    s.capture.cancelOn = L"progress";
    for (bool fails : {false, true}) {
        EXPECT_EQ(msiu::RunAction(s.Handle(), L"Cancelled", false, [fails] {
                      msiu::LogMessage(msiu::kMsgInfo, L"progress");
                      if (fails) throw 1;
                  }),
                  1602u);
        EXPECT_EQ(Act(s, L"Next", [] {}), L"0");
    }
}

std::wstring g_boxes;
int WINAPI RecordBox(HWND, LPCWSTR text, LPCWSTR caption, UINT style)
{
    g_boxes += msiu::Format(L"[%s | %s | %u]", text, caption, style);
    return IDOK;
}

TEST(Frame, UIModeShowsFailuresInABoxAndTheCheckReportsThroughProperties)
{
    msiu::detail::SetMessageBoxFunction(&RecordBox);
    qxtest::Session s;
    EXPECT_EQ(Act(s, L"UITest", [] { msiu::ThrowError(static_cast<HRESULT>(0x80070005), L"No access"); }, true), L"1603");
    EXPECT_EQ(g_boxes, L"[No access  (0x80070005) | UITest | 16]");
    EXPECT_EQ(s.Property(L"OrvaneLastDoActionLogMsg"), L"UITest:  No access  (0x80070005)");
    // An info line shows no box but replaces the last message.
    EXPECT_EQ(Act(s, L"UITest", [] { msiu::LogMessage(msiu::kMsgInfo, L"first"); msiu::LogMessage(msiu::kMsgInfo, L"second"); }, true), L"0");
    EXPECT_EQ(s.Property(L"OrvaneLastDoActionLogMsg"), L"UITest:  second");

    s.SetProperty(L"_InvalidTest", L"stale");
    EXPECT_EQ(msiu::RunUICheck(s.Handle(), L"CheckUI", L"_InvalidTest", [] { msiu::ThrowError(msiu::kInvalidArg, L"Web path may not be empty."); }), 0u);
    EXPECT_EQ(s.Property(L"_InvalidTest") + L" " + s.Property(L"_NotifyUserDlgText"), L"1 Web path may not be empty.");
    EXPECT_EQ(msiu::RunUICheck(s.Handle(), L"CheckUI", L"_InvalidTest", [] {}), 0u);
    EXPECT_EQ(s.Property(L"_InvalidTest"), L"");
    // Other failures reach the ladder.
    EXPECT_EQ(msiu::RunUICheck(s.Handle(), L"CheckUI", L"_InvalidTest", [] { throw std::bad_alloc(); }), 1603u);
    EXPECT_EQ(s.Property(L"_InvalidTest"), L"");
    EXPECT_EQ(g_boxes, L"[No access  (0x80070005) | UITest | 16][" + ComText(0x8007000E) + L" | CheckUI | 16]");
    EXPECT_TRUE(s.capture.messages.empty());
    msiu::detail::SetMessageBoxFunction(nullptr);
}

}  // namespace
