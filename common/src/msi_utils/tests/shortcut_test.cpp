// One Internet shortcut: Wine's own shortcut object, which has no
// IShellLinkW, shows the failure path; the stand-in class, registered for
// the same class id for the current user, shows the file that is written
// and the failures of the single steps.
#include <objbase.h>

#include <thread>

#include "cases.h"
#include "msiu/session.h"
#include "msiu/shortcut.h"
#include "qxtest/standins.h"

namespace {

// The frame's result and every line, made on a fresh thread: no COM unless the case starts it.
std::wstring Create(const std::wstring& path, const std::wstring& url, const std::wstring& description, bool com = true)
{
    std::wstring r;
    std::thread([&] {
        qxtest::Session s;
        r = std::to_wstring(msiu::RunAction(s.Handle(), L"Url", false, [&] {
            if (com) CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
            struct Uninit {
                bool on;
                ~Uninit() { if (on) CoUninitialize(); }
            } uninit{com};
            msiu::CreateURLShortcut(path, url, description);
        }));
        for (const auto& m : s.capture.messages) r += L" | " + m.text;
    }).join();
    return r;
}

TEST(UrlShortcut, WineObjectLacksIShellLinkAndWritesNothing)
{
    qxtest::ShortcutClassLock wineObject;
    qxtest::TempDir dir;
    const std::wstring path = dir.File(L"Home.url");
    EXPECT_EQ(Create(path, L"http://h/home.html", L"Home"), L"1603 | Url:  Creating URL shortcut for \"http://h/home.html\" in: " +
                                                                path + L" | Url:  Interface IShellLink not available  (0x80004002)");
    EXPECT_FALSE(qxtest::Exists(path));
}

TEST(UrlShortcut, StandInWritesUrlAndDescriptionOrEachStepFailsWithItsText)
{
    qxtest::ShortcutStandIn standIn;
    qxtest::TempDir dir;
    const std::wstring path = dir.File(L"Search log.url"), a = dir.File(L"a.url"), inMissingDir = dir.File(L"missing\\a.url");
    qxtest::WriteFileBytes(path, std::string(500, 'x'));
    EXPECT_EQ(Create(path, L"http://h:81/q/x-cgi/qx-review.exe", L"Quorix search log").substr(0, 2), L"0 ");
    EXPECT_EQ(qxtest::ReadFileBytes(path), "[{000214A0-0000-0000-C000-000000000046}]\r\nProp12=31,Quorix search log\r\n"
                                           "[InternetShortcut]\r\nURL=http://h:81/q/x-cgi/qx-review.exe\r\n");
    const struct {
        std::wstring path, description;
        bool com;
        std::wstring fatal;
    } cases[] = {
        {a, L"d", false, L"Failed to get IUniformResourceLocator interface to create shortcut: " + a + L"  (0x800401f0)"},
        {a, std::wstring(1024, L'd'), true, L"Failed to set Description for shortcut: " + a + L"  (0x80070057)"},
        {inMissingDir, L"d", true, L"Failed to save shortcut: " + inMissingDir + L"  (0x80070003)"},
    };
    for (const auto& c : cases) {
        const std::wstring r = Create(c.path, L"http://h/", c.description, c.com);
        EXPECT_EQ(r.substr(0, 5) + r.substr(r.rfind(L" | ")), L"1603  | Url:  " + c.fatal);
        EXPECT_FALSE(qxtest::Exists(c.path));
    }
}

}  // namespace
