// The six URL shortcuts: written by the stand-in shortcut class against
// golden files, the failure path of Wine's own object, a failure in the
// middle of the run, and the two exported actions on real sessions.
#include <gtest/gtest.h>

#include <cwchar>

#include "msiu/session.h"
#include "qxtest/session.h"
#include "qxtest/standins.h"
#include "shortcuts/shortcuts.h"

namespace {

const wchar_t kUrl[] = L"http://localhost:8080/quorix";

struct Frame {
    UINT result = 0;
    std::vector<std::wstring> info, fatal;
};

Frame RunShortcuts(const std::wstring& folder)
{
    qxtest::Session s;
    Frame f;
    f.result = msiu::RunAction(s.Handle(), L"Links", false,
                               [&] { quorix::shortcuts::CreateShortcuts(folder, kUrl); });
    f.info = s.capture.Texts(0x4000000);
    f.fatal = s.capture.Texts(0);
    return f;
}

std::wstring GoldenDir() { return qxtest::SourceDir() + L"\\custom_actions\\shortcuts\\tests\\golden\\"; }

std::vector<std::wstring> ExpectedInfo(const std::wstring& folder, size_t count)
{
    std::vector<std::wstring> lines{L"Links:  Creating directory: " + folder};
    const auto& table = quorix::shortcuts::Table();
    for (size_t i = 0; i < count; ++i)
        lines.push_back(L"Links:  Creating URL shortcut for \"" + std::wstring(kUrl) + table[i].urlPath +
                        L"\" in: " + folder + table[i].fileName);
    return lines;
}

class Shortcuts : public ::testing::Test {
protected:
    qxtest::ShortcutStandIn standIn_;
    qxtest::TempDir dir_;
};

TEST_F(Shortcuts, SixFilesWithTheirNamesUrlsAndDescriptions)
{
    const std::wstring folder = dir_.File(L"Start Menu\\Quorix\\");  // two levels are missing
    const Frame f = RunShortcuts(folder);
    ASSERT_EQ(f.result, 0u);
    EXPECT_EQ(f.info, ExpectedInfo(folder, 6));
    for (const auto& s : quorix::shortcuts::Table())
        EXPECT_EQ(qxtest::ReadFileBytes(folder + s.fileName), qxtest::ReadFileBytes(GoldenDir() + s.fileName))
            << std::string(s.fileName, s.fileName + wcslen(s.fileName));
    WIN32_FIND_DATAW found;
    HANDLE h = FindFirstFileW((folder + L"*").c_str(), &found);
    int files = 0;
    do {
        if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) ++files;
    } while (FindNextFileW(h, &found));
    FindClose(h);
    EXPECT_EQ(files, 6);
}

TEST_F(Shortcuts, ExistingFolderAndFilesAreTakenOver)
{
    const std::wstring folder = dir_.Path();
    qxtest::WriteFileBytes(folder + L"Quorix.url", "[InternetShortcut]\r\nURL=http://old.example/with/a/long/path\r\n");
    const Frame f = RunShortcuts(folder);
    ASSERT_EQ(f.result, 0u);
    EXPECT_EQ(qxtest::ReadFileBytes(folder + L"Quorix.url"), qxtest::ReadFileBytes(GoldenDir() + L"Quorix.url"));
}

TEST_F(Shortcuts, FailureStopsTheRunAndKeepsWhatWasWritten)
{
    const std::wstring folder = dir_.Path();
    // A directory where the fourth shortcut belongs: its save fails.
    ASSERT_TRUE(CreateDirectoryW((folder + L"Search Form - MS-MS.url").c_str(), nullptr));
    const Frame f = RunShortcuts(folder);
    EXPECT_EQ(f.result, 1603u);
    EXPECT_EQ(f.info, ExpectedInfo(folder, 4));
    EXPECT_EQ(f.fatal, std::vector<std::wstring>{L"Links:  Failed to save shortcut: " + folder +
                                                 L"Search Form - MS-MS.url  (0x80070005)"});
    const auto& table = quorix::shortcuts::Table();
    for (size_t i = 0; i < 3; ++i) EXPECT_TRUE(qxtest::Exists(folder + table[i].fileName)) << i;
    for (size_t i = 4; i < 6; ++i) EXPECT_FALSE(qxtest::Exists(folder + table[i].fileName)) << i;
}

TEST_F(Shortcuts, FolderThatCannotBeMadeFails)
{
    qxtest::WriteFileBytes(dir_.File(L"plain"), "a file, not a folder");
    const std::wstring folder = dir_.File(L"plain\\Quorix\\");
    const Frame f = RunShortcuts(folder);
    EXPECT_EQ(f.result, 1603u);
    ASSERT_EQ(f.fatal.size(), 1u);
    EXPECT_EQ(f.fatal[0].rfind(L"Links:  Can't create directory: " + folder + L"  (0x8007", 0), 0u);
    EXPECT_EQ(f.info.size(), 1u);
}

TEST(ShortcutsWineObject, FirstShortcutFailsForWantOfIShellLink)
{
    qxtest::ShortcutClassLock wineObject;
    qxtest::TempDir dir;
    const Frame f = RunShortcuts(dir.Path());
    EXPECT_EQ(f.result, 1603u);
    EXPECT_EQ(f.info, ExpectedInfo(dir.Path(), 1));
    EXPECT_EQ(f.fatal, std::vector<std::wstring>{L"Links:  Interface IShellLink not available  (0x80004002)"});
    EXPECT_FALSE(qxtest::Exists(dir.File(L"Quorix.url")));
}

// ---- the exported actions --------------------------------------------------

const std::vector<std::wstring> kTriple = {
    L"CREATE TABLE `CustomAction` (`Action` CHAR(72) NOT NULL, `Type` SHORT NOT NULL, `Source` CHAR(72), "
    L"`Target` CHAR(255), `ExtendedType` LONG PRIMARY KEY `Action`)",
    L"INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) VALUES "
    L"('CreateURLShortcutsRollback', 3329, 'QuorixCA', 'CreateURLShortcutsDeferred')",
    L"INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) VALUES "
    L"('CreateURLShortcutsExec', 3073, 'QuorixCA', 'CreateURLShortcutsDeferred')",
    L"INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) VALUES "
    L"('CreateURLShortcutsCommit', 3585, 'QuorixCA', 'CreateURLShortcutsDeferred')",
};

TEST(CreateURLShortcuts, PacksFolderThenAddressForAllThreeNames)
{
    qxtest::Session s({{L"QuorixShortcutsDir", L"C:\\Menu\\Quorix\\"}, {L"QUORIX_WEB_URL", kUrl}}, kTriple);
    ASSERT_EQ(qxtest::Action("CreateURLShortcuts")(s.Handle()), 0u);
    for (const wchar_t* name : {L"CreateURLShortcutsRollback", L"CreateURLShortcutsExec", L"CreateURLShortcutsCommit"})
        EXPECT_EQ(s.Property(name), L"C:\\Menu\\Quorix\\|" + std::wstring(kUrl));
}

TEST(CreateURLShortcuts, MissingPropertiesFailByNameInOrder)
{
    const std::pair<std::vector<const wchar_t*>, const wchar_t*> cases[] = {
        {{L"QUORIX_WEB_URL", L"QuorixShortcutsDir"}, L"QUORIX_WEB_URL"},
        {{L"QuorixShortcutsDir"}, L"QuorixShortcutsDir"},
    };
    for (const auto& c : cases) {
        qxtest::Session s({{L"QuorixShortcutsDir", L"C:\\Menu\\"}, {L"QUORIX_WEB_URL", kUrl}}, kTriple);
        for (const wchar_t* name : c.first) s.SetProperty(name, L"");
        EXPECT_EQ(qxtest::Action("CreateURLShortcuts")(s.Handle()), 1603u);
        EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{L"CreateURLShortcuts:  Property \"" +
                                                                std::wstring(c.second) +
                                                                L"\" does not exist  (0x80070057)"});
    }
}

TEST(CreateURLShortcutsDeferred, TwoFieldsAndNothingOutsideTheScript)
{
    qxtest::TempDir dir;
    const std::pair<std::wstring, UINT> cases[] = {
        {dir.Path() + L"|" + kUrl, 0u},
        {dir.Path(), 1603u},
        {dir.Path() + L"|" + kUrl + L"|x", 1603u},
    };
    for (const auto& c : cases) {
        qxtest::Session s(qxtest::Props{{L"CustomActionData", c.first}});
        EXPECT_EQ(qxtest::Action("CreateURLShortcutsDeferred")(s.Handle()), c.second);
        if (c.second)
            EXPECT_EQ(s.capture.Texts(0),
                      std::vector<std::wstring>{L"CreateURLShortcutsDeferred:  Missing or incomplete CA data  (0x80070057)"});
        else
            EXPECT_TRUE(s.capture.messages.empty());
        EXPECT_FALSE(qxtest::Exists(dir.File(L"Quorix.url")));
    }
}

}  // namespace
