// htdig.conf rewriting against golden files, its failures, and the five
// index runs against stand-in tools from index.txt (the actions' scheduling
// is in testing/kit/schedule.txt).
#include "qxtest/kit.h"

#include "help_search/help_search.h"
#include "msiu/files.h"
#include "qxtest/standins.h"

namespace {

using quorix::help_search::RebuildIndex;
using quorix::help_search::RewriteConfLines;
using quorix::help_search::UpdateConfFile;

using qxkit::Frame;
using qxkit::InFrame;

// Each golden file's input rewritten, its old text kept as T.
TEST(Conf, RewritesExactlyTheThreeKeyLines)
{
    for (const std::wstring name : {L"blank_lines", L"indented_keys", L"keys_later_in_line", L"repeated_keys",
                                    L"no_final_line_end", L"no_keys", L"unix_line_ends", L"empty_file", L"package_sample"}) {
        SCOPED_TRACE(qxkit::N(name));
        const std::wstring golden = qxtest::SourceDir() + L"\\custom_actions\\help_search\\tests\\golden\\" + name;
        const std::string original = qxtest::ReadFileBytes(
            name == L"package_sample" ? qxtest::SourceDir() + L"\\package\\payload\\htdig\\htdig.conf" : golden + L".in");
        qxtest::TempDir dir;
        const std::wstring F = dir.File(L"htdig.conf");
        qxtest::WriteFileBytes(F, original);
        const Frame f = InFrame(L"Conf", [&] { UpdateConfFile(F, L"C:/Quorix/help/db", L"http://localhost/quorix"); });
        EXPECT_EQ(f.fatal, qxkit::Lines{});
        EXPECT_EQ(qxtest::ReadFileBytes(F), qxtest::ReadFileBytes(golden + L".out"));
        EXPECT_EQ(qxtest::ReadFileBytes(F + L".tmp"), original);
        EXPECT_EQ(f.info, (qxkit::Lines{L"Conf:  Copying file \"" + F + L"\" to \"" + F + L".tmp\"",
                                        L"Conf:  Updating htdig configuration file: " + F}));
    }
}

// A name planted at N after the clean-up is neither written nor removed by
// the failing execute, and the rollback restores F (a missing or held F is
// the file transaction's, in the installer layer's cases).
TEST(Conf, AFileThatCannotBeWrittenFailsAndLeavesFAsItWas)
{
    qxtest::TempDir dir;
    const std::wstring F = dir.File(L"htdig.conf");
    qxtest::WriteFileBytes(F, "start_url: x\r\n");
    msiu::detail::SetFileStepHook(+[](const wchar_t* step, const std::wstring& path) {
        // T, F.tmp, is renamed into place after the clean-up of N.
        if (std::wstring(step) == L"rename") qxtest::WriteFileBytes(path.substr(0, path.size() - 4) + L".new", "planted");
    });
    const Frame f = InFrame(L"Conf", [&] { UpdateConfFile(F, L"C:/db", L"http://h"); });
    msiu::detail::SetFileStepHook(nullptr);
    EXPECT_EQ(f.result, 1603u);
    EXPECT_EQ(f.fatal, std::vector<std::wstring>{L"Conf:  Can't open file for writing: " + F + L"  (0x80004005)"});
    EXPECT_EQ(qxtest::ReadFileBytes(F + L".new"), "planted");
    msiu::FileTransaction(F).Rollback();
    EXPECT_EQ(qxtest::ReadFileBytes(F), "start_url: x\r\n");
}

// A source that gives some text and then breaks, and a sink with room for
// seven characters.
struct Broken : std::streambuf {
    explicit Broken(std::string t) : text(std::move(t)) { setg(&text[0], &text[0], &text[0] + text.size()), setp(room, room + 7); }
    int_type underflow() override { throw std::ios_base::failure("device gone"); }
    std::string text;
    char room[7];
};

TEST(Conf, StreamFailuresNameTheirFile)
{
    Broken source("start_url: a\nkept: 1\npartial"), sink("");
    std::istream broken(&source);
    std::ostringstream out;
    Frame f = InFrame(L"Conf", [&] { RewriteConfLines(broken, out, "C:/db", "http://h", L"T.tmp", L"F"); });
    EXPECT_EQ(f.fatal, qxkit::Lines{L"Conf:  Failed reading file: T.tmp  (0x80004005)"});
    EXPECT_EQ(out.str(), "start_url:\thttp://h/home.html\nkept: 1\n") << "lines read before the failure stay";
    std::istringstream in("a: 1\nb: 2\n");
    std::ostream full(&sink);
    f = InFrame(L"Conf", [&] { RewriteConfLines(in, full, "C:/db", "http://h", L"T.tmp", L"F"); });
    EXPECT_EQ(f.fatal, qxkit::Lines{L"Conf:  Failed writing file: F  (0x80004005)"});
}

// index.txt: the five runs against the stand-in tools in a fresh folder.
TEST(Index, EachCaseOfIndexTxt)
{
    const std::wstring file = qxtest::SourceDir() + L"\\custom_actions\\help_search\\tests\\index.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) {
        qxtest::TempDir dir;
        std::vector<std::wstring> fields = {dir.Path(), dir.File(L"htdig.conf")};
        for (const wchar_t* tool : {L"htdig.exe", L"htmerge.exe", L"htnotify.exe", L"htfuzzy.exe"})
            fields.push_back(qxtest::IndexTool(tool));
        for (const auto& line : c.in) {
            const std::string arg = line.substr(line.find(' ') + 1);
            if (line.rfind("file ", 0) == 0)
                qxtest::WriteFileBytes(dir.File(qxkit::W(arg.substr(0, arg.find('=')))), arg.substr(arg.find('=') + 1) + "\r\n");
            if (line.rfind("missing ", 0) == 0) fields[std::stoi(arg)] = dir.File(L"absent\\" + qxkit::W(arg.substr(2)));
        }
        auto got = qxkit::Transcript(InFrame(L"Index", [&] { RebuildIndex(fields); }));
        for (const std::wstring name : {L"standin-calls.txt", L"build.log"}) {
            std::istringstream in(qxtest::Exists(dir.File(name)) ? qxtest::ReadFileBytes(dir.File(name)) : "");
            for (std::string l; std::getline(in, l);) got.push_back(qxkit::N(name) + ": " + l.substr(0, l.find('\r')));
        }
        for (auto& l : got)
            for (const auto& [path, key] : {std::pair{qxkit::N(dir.Path()), "$D\\"}, {qxkit::N(qxtest::IndexTool(L"")), "$TOOLS\\"}})
                for (size_t at; (at = l.find(path)) != std::string::npos;) l.replace(at, path.size(), key);
        qxkit::ExpectCase(file, c, got);
    }
}

}  // namespace
