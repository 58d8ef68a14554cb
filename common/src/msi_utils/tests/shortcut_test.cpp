// One Internet shortcut: Wine's own shortcut object, which has no
// IShellLinkW, shows the failure path; the stand-in class, registered for
// the same class id for the current user, shows the file that is written
// and the failures of the single steps.
#include <gtest/gtest.h>

#include <objbase.h>

#include <thread>

#include "msiu/session.h"
#include "msiu/shortcut.h"
#include "qxtest/session.h"
#include "qxtest/standins.h"

namespace {

struct Outcome {
    UINT result = 0;
    std::vector<std::wstring> info, fatal;
};

Outcome Create(const std::wstring& path, const std::wstring& url, const std::wstring& description, bool com = true)
{
    qxtest::Session s;
    Outcome o;
    o.result = msiu::RunAction(s.Handle(), L"Url", false, [&] {
        if (com) CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        struct Uninit {
            bool on;
            ~Uninit() { if (on) CoUninitialize(); }
        } uninit{com};
        msiu::CreateURLShortcut(path, url, description);
    });
    o.info = s.capture.Texts(0x4000000);
    o.fatal = s.capture.Texts(0);
    return o;
}

TEST(UrlShortcutWineObject, LacksIShellLinkAndWritesNothing)
{
    qxtest::ShortcutClassLock wineObject;
    qxtest::TempDir dir;
    const std::wstring path = dir.File(L"Home.url");
    const Outcome o = Create(path, L"http://h/home.html", L"Home");
    EXPECT_EQ(o.result, 1603u);
    EXPECT_EQ(o.info, std::vector<std::wstring>{L"Url:  Creating URL shortcut for \"http://h/home.html\" in: " + path});
    EXPECT_EQ(o.fatal, std::vector<std::wstring>{L"Url:  Interface IShellLink not available  (0x80004002)"});
    EXPECT_FALSE(qxtest::Exists(path));
}

class UrlShortcutStandIn : public ::testing::Test {
protected:
    qxtest::ShortcutStandIn standIn_;
    qxtest::TempDir dir_;
};

TEST_F(UrlShortcutStandIn, WritesUrlAndDescriptionAndReplacesAnOldFile)
{
    const std::wstring path = dir_.File(L"Search log.url");
    qxtest::WriteFileBytes(path, std::string(500, 'x'));
    const Outcome o = Create(path, L"http://h:81/q/x-cgi/qx-review.exe", L"Quorix search log");
    EXPECT_EQ(o.result, 0u);
    EXPECT_TRUE(o.fatal.empty());
    EXPECT_EQ(qxtest::ReadFileBytes(path),
              "[{000214A0-0000-0000-C000-000000000046}]\r\nProp12=31,Quorix search log\r\n"
              "[InternetShortcut]\r\nURL=http://h:81/q/x-cgi/qx-review.exe\r\n");
}

TEST_F(UrlShortcutStandIn, EachFailingStepHasItsText)
{
    const std::wstring path = dir_.File(L"a.url");
    const std::wstring inMissingDir = dir_.File(L"missing\\a.url");
    struct Case {
        const char* name;
        std::wstring path, description;
        bool com;
        std::wstring fatal;
    };
    const Case cases[] = {
        {"NoCom", path, L"d", false,
         L"Url:  Failed to get IUniformResourceLocator interface to create shortcut: " + path + L"  (0x800401f0)"},
        {"DescriptionRefused", path, std::wstring(1024, L'd'), true,
         L"Url:  Failed to set Description for shortcut: " + path + L"  (0x80070057)"},
        {"SaveFails", inMissingDir, L"d", true,
         L"Url:  Failed to save shortcut: " + inMissingDir + L"  (0x80070003)"},
    };
    for (const auto& c : cases) {
        Outcome o;
        // A fresh thread has no COM unless the case starts it.
        std::thread([&] { o = Create(c.path, L"http://h/", c.description, c.com); }).join();
        EXPECT_EQ(o.result, 1603u) << c.name;
        EXPECT_EQ(o.fatal, std::vector<std::wstring>{c.fatal}) << c.name;
        EXPECT_FALSE(qxtest::Exists(c.path)) << c.name;
    }
}

}  // namespace
