// The dialog layer without a template: its texts and how the owner of a
// custom dialog is found (the handler guard's box is shown in frame_test).
#include <new>

#include "cases.h"
#include "msiu/dialog.h"
#include "msiu/session.h"
#include "pal/exception.h"

namespace {

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
