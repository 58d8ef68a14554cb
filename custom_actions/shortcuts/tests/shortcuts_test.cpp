// The six URL shortcuts: written by the stand-in shortcut class against golden
// files, taken over, or stopped at the first failure with what came before
// kept, and the failure of Wine's own object (the exported actions'
// scheduling is in testing/kit/schedule.txt).
#include "qxtest/kit.h"
#include "qxtest/standins.h"
#include "shortcuts/shortcuts.h"

#include <memory>

namespace {

TEST(Shortcuts, WrittenOrStoppedAtTheFirstFailure)
{
    const std::wstring url = L"http://localhost:8080/quorix";
    const std::wstring golden = qxtest::SourceDir() + L"\\custom_actions\\shortcuts\\tests\\golden\\";
    const auto& table = quorix::shortcuts::Table();
    const struct {
        const char* name;
        const wchar_t* sub;      // the folder under the test's own
        const char* plant;       // a file or, ending in \, a directory put there first
        size_t tried;            // shortcuts begun
        const wchar_t* fatal;    // the failure's text, $F for the folder; only its start unless it ends in )
        bool wineObject;
    } cases[] = {
        {"two levels of the folder missing", L"Start Menu\\Quorix\\", nullptr, 6, nullptr, false},
        {"an existing file is taken over", L"", "Quorix.url", 6, nullptr, false},
        {"a directory where the fourth belongs", L"", "Search Form - MS-MS.url\\", 4,
         L"Links:  Failed to save shortcut: $FSearch Form - MS-MS.url  (0x80070005)", false},
        {"a file where the folder belongs", L"plain\\Quorix\\", "plain", 0, L"Links:  Can't create directory: $F  (0x8007",
         false},
        {"Wine's own object", L"", nullptr, 1, L"Links:  Interface IShellLink not available  (0x80004002)", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::unique_ptr<qxtest::ShortcutClassLock> wine(c.wineObject ? new qxtest::ShortcutClassLock : nullptr);
        std::unique_ptr<qxtest::ShortcutStandIn> standIn(c.wineObject ? nullptr : new qxtest::ShortcutStandIn);
        qxtest::TempDir dir;
        const std::wstring folder = dir.File(c.sub), plant = c.plant ? dir.File(qxkit::W(c.plant)) : L"";
        if (!plant.empty() && plant.back() == L'\\') CreateDirectoryW(plant.c_str(), nullptr);
        else if (!plant.empty()) qxtest::WriteFileBytes(plant, "[InternetShortcut]\r\nURL=http://old.example/a/long/path\r\n");
        const auto f = qxkit::InFrame(L"Links", [&] { quorix::shortcuts::CreateShortcuts(folder, url.c_str()); });
        qxkit::Lines info{L"Links:  Creating directory: " + folder};
        for (size_t i = 0; i < c.tried; ++i)
            info.push_back(L"Links:  Creating URL shortcut for \"" + url + table[i].urlPath + L"\" in: " + folder +
                           table[i].fileName);
        EXPECT_EQ(f.info, info) << qxkit::Diff(info, f.info);
        EXPECT_EQ(f.result, c.fatal ? 1603u : 0u);
        std::wstring fatal = c.fatal ? c.fatal : L"";
        if (fatal.find(L"$F") != std::wstring::npos) fatal.replace(fatal.find(L"$F"), 2, folder);
        ASSERT_EQ(f.fatal.size(), c.fatal ? 1u : 0u);
        if (c.fatal) { EXPECT_EQ(fatal.back() != L')' ? f.fatal[0].substr(0, fatal.size()) : f.fatal[0], fatal); }
        // The failed one may be the directory in its way, never a file.
        const size_t written = c.fatal ? c.tried - (c.tried > 0) : c.tried;
        for (size_t i = 0; i < table.size(); ++i) {
            const DWORD a = GetFileAttributesW((folder + table[i].fileName).c_str());
            EXPECT_TRUE(i < written ? qxtest::ReadFileBytes(folder + table[i].fileName) ==
                                          qxtest::ReadFileBytes(golden + table[i].fileName)
                                    : a == INVALID_FILE_ATTRIBUTES || (a & FILE_ATTRIBUTE_DIRECTORY)) << i;
        }
    }
}

}  // namespace
