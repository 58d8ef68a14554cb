// The table actions on real sessions, from tables.txt: the rows they add to
// the session's temporary tables, read back in the same session, and their
// refusals.
#include "qxtest/kit.h"

#include <regex>

namespace {

TEST(TableActions, EachCaseOfTablesTxt)
{
    const std::wstring file = qxtest::SourceDir() + L"\\custom_actions\\install_tables\\tests\\tables.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) {
        qxtest::TempDir dir;
        for (const auto& line : c.in) {
            const std::wstring path = line.rfind("file ", 0) ? L"" : dir.File(qxkit::W(line.substr(5)));
            if (!path.empty() && path.back() == L'\\') CreateDirectoryW(path.c_str(), nullptr);
            else if (!path.empty()) qxtest::WriteFileBytes(path, "x");
        }
        auto got = qxkit::RunActions(c, {}, {{"{dir}", qxkit::N(dir.Path())}});
        if (std::count(c.in.begin(), c.in.end(), "unordered")) {
            for (auto& l : got) l = std::regex_replace(l, std::regex("__current[1-9][0-9]*"), "__current#");
            std::sort(got.begin(), got.end());
        }
        qxkit::ExpectCase(file, c, got);
    }
}

}  // namespace
