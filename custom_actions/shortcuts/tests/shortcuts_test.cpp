// The six URL shortcuts, from shortcuts.txt: written by the stand-in shortcut
// class against golden files, taken over, or stopped at the first failure
// with what came before kept, and the failure of Wine's own object (the
// exported actions' scheduling is in testing/kit/schedule.txt).
#include "qxtest/kit.h"
#include "qxtest/standins.h"
#include "shortcuts/shortcuts.h"

#include <memory>

namespace {

TEST(Shortcuts, EachCaseOfShortcutsTxt)
{
    const std::wstring here = qxtest::SourceDir() + L"\\custom_actions\\shortcuts\\tests\\", file = here + L"shortcuts.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) {
        const bool wineObject = std::count(c.in.begin(), c.in.end(), "Wine's own object");
        std::unique_ptr<qxtest::ShortcutClassLock> wine(wineObject ? new qxtest::ShortcutClassLock : nullptr);
        std::unique_ptr<qxtest::ShortcutStandIn> standIn(wineObject ? nullptr : new qxtest::ShortcutStandIn);
        qxtest::TempDir dir;
        std::wstring folder = dir.Path();
        for (const auto& line : c.in) {
            const std::wstring path = dir.File(qxkit::W(line.substr(line.find(' ') + 1)));
            if (line.rfind("folder ", 0) == 0) folder = path;
            if (line.rfind("plant ", 0) == 0 && path.back() == L'\\') CreateDirectoryW(path.c_str(), nullptr);
            else if (line.rfind("plant ", 0) == 0) qxtest::WriteFileBytes(path, "[InternetShortcut]\r\nURL=http://old.example/a/long/path\r\n");
        }
        auto got = qxkit::Transcript(
            qxkit::InFrame(L"Links", [&] { quorix::shortcuts::CreateShortcuts(folder, L"http://localhost:8080/quorix"); }));
        for (const auto& s : quorix::shortcuts::Table()) {
            const DWORD a = GetFileAttributesW((folder + s.fileName).c_str());
            got.push_back(qxkit::N(s.fileName) + ": " +
                          (a == INVALID_FILE_ATTRIBUTES                 ? "none"
                           : a & FILE_ATTRIBUTE_DIRECTORY               ? "a directory"
                           : qxtest::ReadFileBytes(folder + s.fileName) ==
                                   qxtest::ReadFileBytes(here + L"golden\\" + s.fileName) ? "golden" : "other"));
        }
        const std::string root = qxkit::N(dir.Path());
        for (auto& line : got)
            for (size_t at; (at = line.find(root)) != std::string::npos;) line.replace(at, root.size(), "{dir}");
        qxkit::ExpectCase(file, c, got);
    }
}

}  // namespace
