// The dialog layer without a template: what the handler guard shows for each
// kind of failure, and how the owner of a custom dialog is found.
#include <new>

#include "cases.h"
#include "msiu/dialog.h"
#include "msiu/session.h"
#include "pal/exception.h"

namespace {

std::vector<std::wstring> g_shown;  // owner | text | caption | style
int WINAPI Record(HWND owner, LPCWSTR text, LPCWSTR caption, UINT style)
{
    g_shown.push_back(msiu::Format(L"%p | %s | %s | %u", owner, text, caption, style));
    return IDOK;
}

TEST(HandlerGuard, EachKindOfFailureBecomesOneErrorBox)
{
    const std::wstring noMemory = qxtest::SystemText(static_cast<HRESULT>(0x8007000E));
    const std::wstring accessDenied = qxtest::SystemText(static_cast<HRESULT>(0x80070005));
    const std::pair<std::function<void()>, std::wstring> cases[] = {
        {[] { throw msiu::MSIError(static_cast<HRESULT>(0x80070057), L"Library text"); }, L"Library text"},
        {[] { throw PAL::WindowsError(1, "f", 5); }, accessDenied},
        {[] { throw PAL::AssertFailure(1, "f", L"x > 0"); }, L"Assert Failure: x > 0"},
        {[] { throw ATL::CAtlException(static_cast<int32_t>(0x80070005)); }, accessDenied},
        {[] { throw _com_error(static_cast<HRESULT>(0x80070005)); }, accessDenied},
        {[] { throw std::bad_alloc(); }, noMemory},
        {[] { throw 42; }, L"Unhandled exception"},
    };
    msiu::detail::SetDialogMessageBox(&Record);
    const HWND owner = reinterpret_cast<HWND>(0x1234);
    for (const auto& c : cases) {
        g_shown.clear();
        LRESULT result = 0;
        try {
            c.first();
        } catch (...) {
            result = msiu::ShowHandlerFailure(owner);
        }
        EXPECT_EQ(result, -1);
        EXPECT_EQ(g_shown, std::vector<std::wstring>{msiu::Format(L"%p | ", owner) + c.second + L" | Error | 16"});
    }
    msiu::detail::SetDialogMessageBox(nullptr);
}

TEST(DialogLayer, TextsAndTheParentWindowFoundByTitleOrNone)
{
    EXPECT_EQ(msiu::TrimSpace(L" \t\r\n a b \n"), L"a b");
    EXPECT_EQ(msiu::TrimSpace(L"   "), L"");
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
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(msiu::FindParentDialogWindow(), window);
    DestroyWindow(window);
    msiu::FinishAction(0);
}

}  // namespace
