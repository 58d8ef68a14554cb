// htdig.conf rewriting against golden files and the five index runs against
// stand-in tools (the actions' scheduling is in testing/kit/schedule.txt).
#include "qxtest/kit.h"

#include <cstring>
#include <sstream>
#include <streambuf>

#include "help_search/help_search.h"
#include "msiu/error.h"
#include "msiu/files.h"
#include "msiu/session.h"
#include "qxtest/session.h"
#include "qxtest/standins.h"

namespace {

using quorix::help_search::IndexCommandLines;
using quorix::help_search::RebuildIndex;
using quorix::help_search::RewriteConfLines;
using quorix::help_search::UpdateConfFile;

using qxkit::Frame;
using qxkit::InFrame;
std::string Narrow(const std::wstring& w) { return qxkit::N(w); }

std::wstring Golden(const std::string& name)
{
    const std::wstring file(name.begin(), name.end());
    if (name == "package_sample.in") return qxtest::SourceDir() + L"\\package\\payload\\htdig\\htdig.conf";
    return qxtest::SourceDir() + L"\\custom_actions\\help_search\\tests\\golden\\" + file;
}

// ---- htdig.conf ------------------------------------------------------------

class ConfGolden : public ::testing::TestWithParam<const char*> {};

TEST_P(ConfGolden, RewritesExactlyTheThreeKeyLines)
{
    const std::string name = GetParam();
    qxtest::TempDir dir;
    const std::wstring F = dir.File(L"htdig.conf");
    const std::string original = qxtest::ReadFileBytes(Golden(name + ".in"));
    qxtest::WriteFileBytes(F, original);

    const Frame f = InFrame(L"Conf", [&] { UpdateConfFile(F, L"C:/Quorix/help/db", L"http://localhost/quorix"); });
    ASSERT_EQ(f.result, 0u) << Narrow(f.fatal.empty() ? L"" : f.fatal[0]);
    EXPECT_EQ(qxtest::ReadFileBytes(F), qxtest::ReadFileBytes(Golden(name + ".out")));
    EXPECT_EQ(qxtest::ReadFileBytes(F + L".tmp"), original) << "the old file is kept as T";
    EXPECT_EQ(f.info, (std::vector<std::wstring>{L"Conf:  Copying file \"" + F + L"\" to \"" + F + L".tmp\"",
                                                 L"Conf:  Updating htdig configuration file: " + F}));
}

INSTANTIATE_TEST_SUITE_P(EdgeCases, ConfGolden,
                         ::testing::Values("blank_lines", "indented_keys", "keys_later_in_line", "repeated_keys",
                                           "no_final_line_end", "no_keys", "unix_line_ends", "empty_file",
                                           "package_sample"));

// F missing; F that another program holds open (refused before the copy);
// a name planted at N after the clean-up, which is neither written
// nor removed by the failing execute, and the rollback restores F.
TEST(Conf, FilesThatCannotBeWrittenFailAndLeaveFAsItWas)
{
    const auto reason = [](const std::wstring& text, unsigned long hr) {
        wchar_t code[16];
        swprintf(code, 16, L"  (0x%08lx)", hr);
        return text + L".  Reason: " + qxtest::SystemText(static_cast<HRESULT>(hr)) + code;
    };
    enum { missing, held, planted };
    for (const int c : {missing, held, planted}) {
        SCOPED_TRACE(c);
        qxtest::TempDir dir;
        const std::wstring F = dir.File(L"htdig.conf");
        const std::string old = "start_url: x\r\n";
        if (c != missing) qxtest::WriteFileBytes(F, old);
        // Readable for the copy, but nobody else may write it.
        HANDLE holder = c != held ? INVALID_HANDLE_VALUE
                                  : CreateFileW(F.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0,
                                                nullptr);
        msiu::detail::SetFileStepHook(c != planted ? nullptr : +[](const wchar_t* step, const std::wstring& path) {
            // T, F.tmp, is renamed into place after the clean-up of N.
            if (std::wstring(step) == L"rename")
                qxtest::WriteFileBytes(path.substr(0, path.size() - 4) + L".new", "planted");
        });
        const Frame f = InFrame(L"Conf", [&] { UpdateConfFile(F, L"C:/db", L"http://h"); });
        msiu::detail::SetFileStepHook(nullptr);
        if (holder != INVALID_HANDLE_VALUE) CloseHandle(holder);
        EXPECT_EQ(f.result, 1603u);
        const std::wstring want[] = {
            reason(L"Conf:  Failed to copy \"" + F + L"\" to \"" + F + L".tmp\"", 0x80070002),
            reason(L"Conf:  Can't change \"" + F + L"\"", 0x80070020),
            L"Conf:  Can't open file for writing: " + F + L"  (0x80004005)"};
        EXPECT_EQ(f.fatal, std::vector<std::wstring>{want[c]});
        EXPECT_EQ(qxtest::Exists(F + L".tmp"), c == planted);
        if (c == planted) EXPECT_EQ(qxtest::ReadFileBytes(F + L".new"), "planted");
        msiu::FileTransaction(F).Rollback();
        EXPECT_EQ(qxtest::Exists(F), c != missing);
        if (c != missing) EXPECT_EQ(qxtest::ReadFileBytes(F), old);
    }
}

// A source that gives some text and then breaks, and a sink that takes a
// number of characters and then refuses.
class BrokenSource : public std::streambuf {
public:
    explicit BrokenSource(std::string text) : text_(std::move(text))
    {
        setg(&text_[0], &text_[0], &text_[0] + text_.size());
    }

protected:
    int_type underflow() override { throw std::ios_base::failure("device gone"); }

private:
    std::string text_;
};

class FullSink : public std::streambuf {
public:
    explicit FullSink(size_t room) : room_(room) {}
    std::string taken;

protected:
    int_type overflow(int_type c) override
    {
        if (c == traits_type::eof()) return traits_type::not_eof(c);
        if (taken.size() >= room_) return traits_type::eof();
        taken += traits_type::to_char_type(c);
        return c;
    }

private:
    size_t room_;
};

TEST(Conf, StreamFailuresNameTheirFile)
{
    {
        BrokenSource source("start_url: a\nkept: 1\npartial");
        std::istream in(&source);
        std::ostringstream out;
        const Frame f = InFrame(L"Conf", [&] { RewriteConfLines(in, out, "C:/db", "http://h", L"T.tmp", L"F"); });
        EXPECT_EQ(f.fatal, std::vector<std::wstring>{L"Conf:  Failed reading file: T.tmp  (0x80004005)"});
        EXPECT_EQ(out.str(), "start_url:\thttp://h/home.html\nkept: 1\n") << "lines read before the failure stay";
    }
    {
        std::istringstream in("a: 1\nb: 2\n");
        FullSink sink(7);
        std::ostream out(&sink);
        const Frame f = InFrame(L"Conf", [&] { RewriteConfLines(in, out, "C:/db", "http://h", L"T.tmp", L"F"); });
        EXPECT_EQ(f.fatal, std::vector<std::wstring>{L"Conf:  Failed writing file: F  (0x80004005)"});
    }
}

// ---- index rebuild ---------------------------------------------------------

// The six fields of RebuildHtDigIndex: the tools are the stand-ins, the
// ht://Dig directory is a fresh one.
std::vector<std::wstring> IndexFields(const qxtest::TempDir& dir)
{
    return {dir.Path(),
            dir.File(L"htdig.conf"),
            qxtest::IndexTool(L"htdig.exe"),
            qxtest::IndexTool(L"htmerge.exe"),
            qxtest::IndexTool(L"htnotify.exe"),
            qxtest::IndexTool(L"htfuzzy.exe")};
}

TEST(Index, FiveCommandLinesInOrder)
{
    const std::vector<std::wstring> fields = {L"C:\\ht\\", L"C:\\ht\\conf\\htdig.conf", L"C:\\ht\\bin\\htdig.exe",
                                              L"C:\\ht\\bin\\htmerge.exe", L"C:\\ht\\bin\\htnotify.exe",
                                              L"C:\\ht\\bin\\htfuzzy.exe"};
    EXPECT_EQ(IndexCommandLines(fields),
              (std::vector<std::wstring>{
                  L"\"C:\\ht\\bin\\htdig.exe\" -i -v -s -c \"C:\\ht\\conf\\htdig.conf\"",
                  L"\"C:\\ht\\bin\\htmerge.exe\" -v -s -c \"C:\\ht\\conf\\htdig.conf\"",
                  L"\"C:\\ht\\bin\\htnotify.exe\" -v -c \"C:\\ht\\conf\\htdig.conf\"",
                  L"\"C:\\ht\\bin\\htfuzzy.exe\" -v -c \"C:\\ht\\conf\\htdig.conf\" endings",
                  L"\"C:\\ht\\bin\\htfuzzy.exe\" -v -c \"C:\\ht\\conf\\htdig.conf\" synonyms",
              }));
}

const std::wstring kIndexWarning =
    L"Rebuilding the help indexes did not complete successfully. The online help text search facility may not "
    L"function correctly.";

std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        out.push_back(line);
    }
    return out;
}

std::string ToolName(const std::wstring& command)
{
    const std::string c = Narrow(command);
    const size_t slash = c.find_last_of('\\', c.find(".exe"));
    return c.substr(slash + 1, c.find(".exe") - slash - 1);
}

TEST(Index, AllFiveRunsCollectInANewBuildLog)
{
    qxtest::TempDir dir;
    const auto fields = IndexFields(dir);
    qxtest::WriteFileBytes(dir.File(L"build.log"), "left by an earlier install\r\n");
    const Frame f = InFrame(L"Index", [&] { RebuildIndex(fields); });
    EXPECT_EQ(f.result, 0u);
    EXPECT_TRUE(f.warnings.empty());

    const auto commands = IndexCommandLines(fields);
    std::vector<std::string> calls, expectedLog;
    for (const auto& c : commands) {
        calls.push_back(Narrow(c));
        expectedLog.push_back(ToolName(c) + ": indexing with " + Narrow(c));
        expectedLog.push_back(ToolName(c) + ": done");
    }
    EXPECT_EQ(LinesOf(qxtest::ReadFileBytes(dir.File(L"standin-calls.txt"))), calls);
    EXPECT_EQ(LinesOf(qxtest::ReadFileBytes(dir.File(L"build.log"))), expectedLog);

    ASSERT_EQ(f.info.size(), 20u);
    for (size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(f.info[4 * i], L"Index:  Opening file for command output: " + dir.File(L"build.log") + L"  (append 1)");
        EXPECT_EQ(f.info[4 * i + 1], L"Index:  Running command: " + commands[i]);
        EXPECT_EQ(f.info[4 * i + 2], L"Index:  Current directory for child process: " + dir.Path());
        EXPECT_EQ(f.info[4 * i + 3], L"Index:  Exit code of child process was: 0x0");
    }
}

TEST(Index, ToolEndingWithAnErrorCodeIsNoFailure)
{
    qxtest::TempDir dir;
    qxtest::WriteFileBytes(dir.File(L"standin-fail.txt"), "endings\r\n");
    const Frame f = InFrame(L"Index", [&] { RebuildIndex(IndexFields(dir)); });
    EXPECT_EQ(f.result, 0u);
    EXPECT_TRUE(f.warnings.empty());
    EXPECT_EQ(f.info.at(15), L"Index:  Exit code of child process was: 0x3");
    const auto log = LinesOf(qxtest::ReadFileBytes(dir.File(L"build.log")));
    ASSERT_EQ(log.size(), 10u);
    EXPECT_EQ(log[7], "htfuzzy: failing on request");
    EXPECT_EQ(log[9], "htfuzzy: done") << "the synonyms run went on";
}

struct MissingToolCase {
    const char* name;
    std::vector<size_t> missing;  // indexes of fields 2..5 whose tool is absent
};

class IndexMissingTools : public ::testing::TestWithParam<MissingToolCase> {};

TEST_P(IndexMissingTools, EveryRunIsTriedAndOneWarningComesAtTheEnd)
{
    qxtest::TempDir dir;
    auto fields = IndexFields(dir);
    for (size_t k : GetParam().missing) fields[k] = dir.File(L"absent\\tool" + std::to_wstring(k) + L".exe");
    const auto commands = IndexCommandLines(fields);

    const Frame f = InFrame(L"Index", [&] { RebuildIndex(fields); });
    EXPECT_EQ(f.result, 0u);
    EXPECT_EQ(f.warnings, std::vector<std::wstring>{kIndexWarning}) << "once, without the action's name";

    std::vector<std::string> ran;
    std::vector<std::wstring> failures;
    for (const auto& c : commands) {
        const bool absent = c.find(L"\\absent\\") != std::wstring::npos;
        // Wine gives "file not found" also for a missing directory.
        if (absent) failures.push_back(L"Index:  Failed to run command: " + c + L"  (0x80070002)");
        else ran.push_back(Narrow(c));
    }
    std::vector<std::wstring> logged;
    for (const auto& line : f.info)
        if (line.find(L"Failed to run command") != std::wstring::npos) logged.push_back(line);
    EXPECT_EQ(logged, failures);
    const std::wstring calls = dir.File(L"standin-calls.txt");
    EXPECT_EQ(qxtest::Exists(calls) ? LinesOf(qxtest::ReadFileBytes(calls)) : std::vector<std::string>{}, ran);
    // The warning is the last thing the action says.
    ASSERT_FALSE(f.all.empty());
    EXPECT_EQ(f.all.back().type, 0x2000000u);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, IndexMissingTools,
    ::testing::Values(MissingToolCase{"SecondRunCannotStart", {3}}, MissingToolCase{"BothFuzzyRuns", {5}},
                      MissingToolCase{"NoToolAtAll", {2, 3, 4, 5}}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
