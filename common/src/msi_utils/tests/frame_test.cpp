// The action frame: failure ladder, cancel, UI mode, the UI-check pattern and
// the line form of the log; the dialog layer's texts and owner window. The
// cases are in cases/frame.txt.
#include <new>

#include "qxtest/kit.h"
#include "cases.h"
#include "msiu/dialog.h"
#include "msiu/log.h"
#include "msiu/session.h"
#include "pal/exception.h"

namespace {

// Every kind of failure a body can raise, and the lines it can log.
const std::map<std::wstring, std::function<void()>> kSteps{
    {L"msi", [] { msiu::ThrowError(static_cast<HRESULT>(0x80070005), L"Access to %s", L"x"); }},
    {L"windows", [] { PAL_THROW(PAL::WindowsError, 5); }},
    {L"conversion", [] { PAL_THROW(PAL::StrCvtError, 2); }},
    {L"assert", [] { PAL_ASSERT(1 + 1 == 3); }},
    {L"atl", [] { throw ATL::CAtlException(static_cast<int32_t>(0x80004005)); }},
    {L"com", [] { throw _com_error(static_cast<HRESULT>(0x80070005)); }},
    {L"dispatch", [] { throw _com_error(static_cast<HRESULT>(0x80040205)); }},
    {L"unknown", [] { throw _com_error(static_cast<HRESULT>(0xA0001234)); }},
    {L"alloc", [] { throw std::bad_alloc(); }},
    {L"int", [] { throw 42; }},
    {L"badtype", [] { msiu::LogText(0x3000000, L"x", true); }},
    {L"noaccess", [] { msiu::ThrowError(static_cast<HRESULT>(0x80070005), L"No access"); }},
    {L"invalid", [] { msiu::ThrowError(msiu::kInvalidArg, L"Web path may not be empty."); }},
    {L"formatted", [] { msiu::LogMessage(msiu::kMsgInfo, L"value %d of %s", 3, L"x"); }},
    {L"ran", [] { ADD_FAILURE() << "ran"; }},
    {L"-", [] {}},
};

// Runs the steps as one body: a name from above, or info:, warning: (bare) or error: and the text.
void Steps(const cases::Args& a, size_t from)
{
    for (size_t i = from; i < a.size(); ++i) {
        const std::wstring text = a[i].substr(a[i].find(L':') + 1);
        if (a[i].rfind(L"info:", 0) == 0) msiu::LogMessage(msiu::kMsgInfo, L"%s", text.c_str());
        else if (a[i].rfind(L"warning:", 0) == 0) msiu::LogMessageBare(msiu::kMsgWarning, text.c_str());
        else if (a[i].rfind(L"error:", 0) == 0) msiu::LogText(msiu::kMsgError, text.c_str(), true);
        else kSteps.at(a[i])();
    }
}

TEST(Frame, Cases)
{
    qxtest::Session s;
    qxkit::Boxes boxes;
    // Every box shown since the last call, its owner first when it has one; the system's texts as <code>.
    const auto shown = [](std::wstring r) {
        for (const auto& b : qxkit::Boxes::All())
            r += L" | [" + (b.owner ? msiu::Format(L"%p | ", b.owner) : L"") + msiu::Format(L"%s | %s | %u]", b.text.c_str(), b.caption.c_str(), b.style);
        qxkit::Boxes::All().clear();
        for (uint32_t code : {0x80070005u, 0x80004005u, 0x8007000Eu})
            for (const std::wstring t = qxtest::SystemText(static_cast<HRESULT>(code)); !t.empty() && r.find(t) != std::wstring::npos;)
                r.replace(r.find(t), t.size(), msiu::Format(L"<0x%08X>", code));
        return r;
    };
    cases::Run("frame.txt", {
        // act | name | ui | answer cancel to the line with | steps...
        {"act", [&](const cases::Args& a) {
             s.capture.messages.clear();
             s.capture.cancelOn = a[2] == L"-" ? L"" : a[2];
             std::wstring r = std::to_wstring(msiu::RunAction(s.Handle(), a[0].c_str(), a[1] == L"1", [&] { Steps(a, 3); }));
             for (const auto& m : s.capture.messages) r += msiu::Format(L" | %x:", m.type) + m.text;
             if (msiu::GetSessionHandle() + msiu::GetDatabaseHandle() != 0) r += L" | handles left open";
             return shown(r + (a[1] == L"1" ? L" | last " + s.Property(L"OrvaneLastDoActionLogMsg") : L""));
         }},
        // guard | step: the dialog handler guard's result, and its box
        {"guard", [&](const cases::Args& a) {
             LRESULT r = 0;
             try {
                 Steps(a, 0);
             } catch (...) {
                 r = msiu::ShowHandlerFailure(reinterpret_cast<HWND>(0x1234));
             }
             return shown(std::to_wstring(r));
         }},
        // uicheck | step: the result, the invalid flag and the text for the user, the lines, the boxes
        {"uicheck", [&](const cases::Args& a) {
             s.capture.messages.clear();
             s.SetProperty(L"_InvalidTest", L"stale");
             std::wstring r = std::to_wstring(msiu::RunUICheck(s.Handle(), L"CheckUI", L"_InvalidTest", [&] { Steps(a, 0); }));
             r += L" | " + s.Property(L"_InvalidTest") + L" " + s.Property(L"_NotifyUserDlgText") + L" | lines " + std::to_wstring(s.capture.messages.size());
             return shown(r);
         }},
    });
}

TEST(DialogLayer, TextsAndTheParentWindowFoundByTitleOrNone)
{
    EXPECT_EQ(msiu::TrimSpace(L" \t\r\n a b \n") + L"|" + msiu::TrimSpace(L"   "), L"a b|");
    std::wostringstream out;
    out.imbue(msiu::DialogLocale());
    out << 65535;
    EXPECT_EQ(out.str(), L"65535");
    qxtest::Session s;
    msiu::InitAction(s.Handle(), L"OwnerTest", true);
    EXPECT_EQ(msiu::FindParentDialogWindow(), nullptr) << "no title: no owner";
    s.SetProperty(L"_ParentDialogWindowTitle", L"Quorix owner test window");
    EXPECT_EQ(msiu::FindParentDialogWindow(), nullptr) << "no window of that title";
    HWND window = CreateWindowExW(0, L"STATIC", L"Quorix owner test window", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(msiu::FindParentDialogWindow(), window);
    DestroyWindow(window);
    msiu::FinishAction(0);
}

}  // namespace
