// The dialog layer without a template: what the handler guard shows for each
// kind of failure, and how the owner of a custom dialog is found.
#include <comdef.h>
#include <gtest/gtest.h>

#include <functional>
#include <new>

#include "msiu/dialog.h"
#include "msiu/session.h"
#include "pal/atlexception.h"
#include "pal/exception.h"
#include "qxtest/session.h"

namespace {

struct Shown {
    HWND owner = nullptr;
    std::wstring text, caption;
    UINT style = 0;
    int count = 0;
};
Shown g_shown;

int WINAPI Record(HWND owner, LPCWSTR text, LPCWSTR caption, UINT style)
{
    g_shown = {owner, text, caption, style, g_shown.count + 1};
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
        g_shown = {};
        LRESULT result = 0;
        try {
            c.first();
        } catch (...) {
            result = msiu::ShowHandlerFailure(owner);
        }
        EXPECT_EQ(result, -1);
        EXPECT_EQ(g_shown.count, 1);
        EXPECT_EQ(g_shown.text, c.second);
        EXPECT_EQ(g_shown.caption, L"Error");
        EXPECT_EQ(g_shown.style, 0x10u);
        EXPECT_EQ(g_shown.owner, owner);
    }
    msiu::detail::SetDialogMessageBox(nullptr);
}

TEST(DialogText, TrimmingAndNumbersWithoutGrouping)
{
    EXPECT_EQ(msiu::TrimSpace(L" \t\r\n a b \n"), L"a b");
    EXPECT_EQ(msiu::TrimSpace(L"   "), L"");
    std::wostringstream out;
    out.imbue(msiu::DialogLocale());
    out << 65535;
    EXPECT_EQ(out.str(), L"65535");
}

TEST(ParentDialogWindow, FoundByTitleOrNone)
{
    qxtest::Session s;
    msiu::InitAction(s.Handle(), L"OwnerTest", true);
    EXPECT_EQ(msiu::FindParentDialogWindow(), nullptr) << "no title: no owner";
    s.SetProperty(L"_ParentDialogWindowTitle", L"Quorix owner test window");
    EXPECT_EQ(msiu::FindParentDialogWindow(), nullptr) << "no window of that title";
    HWND window = CreateWindowExW(0, L"STATIC", L"Quorix owner test window", WS_POPUP, 0, 0, 10, 10, nullptr,
                                  nullptr, nullptr, nullptr);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(msiu::FindParentDialogWindow(), window);
    DestroyWindow(window);
    msiu::FinishAction(0);
}

}  // namespace
