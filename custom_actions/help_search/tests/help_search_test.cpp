// htdig.conf rewriting against golden files, the five index runs against
// stand-in tools, and the two immediate actions on real sessions.
#include <gtest/gtest.h>

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

std::string Narrow(const std::wstring& w) { return std::string(w.begin(), w.end()); }

std::wstring Golden(const std::string& name)
{
    const std::wstring file(name.begin(), name.end());
    if (name == "package_sample.in") return qxtest::SourceDir() + L"\\package\\payload\\htdig\\htdig.conf";
    return qxtest::SourceDir() + L"\\custom_actions\\help_search\\tests\\golden\\" + file;
}

struct Frame {
    UINT result = 0;
    std::vector<std::wstring> info, warnings, fatal;
    std::vector<qxtest::Message> all;
};

template <class Body>
Frame InFrame(const wchar_t* name, Body&& body)
{
    qxtest::Session s;
    Frame f;
    f.result = msiu::RunAction(s.Handle(), name, false, body);
    f.info = s.capture.Texts(0x4000000);
    f.warnings = s.capture.Texts(0x2000000);
    f.fatal = s.capture.Texts(0);
    f.all = s.capture.messages;
    return f;
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

TEST(Conf, TheThreeLinesStartInColumnOneWithOneTab)
{
    using namespace quorix::help_search;
    EXPECT_EQ(DatabaseDirLine("C:/db"), "database_dir:\tC:/db");
    EXPECT_EQ(StartUrlLine("http://h:8080/q"), "start_url:\thttp://h:8080/q/home.html");
    EXPECT_EQ(LimitUrlsLine("http://h:8080/q"), "limit_urls_to:\thttp://h:8080/q");
}

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

// ---- the exported actions --------------------------------------------------

TEST(HelpSearchDeferred, DataMustHaveTheRightFieldCount)
{
    const std::tuple<const char*, const wchar_t*, std::wstring> cases[] = {
        {"UpdateHtDigConfDeferred", L"UpdateHtDigConfDeferred", L"F|db"},
        {"UpdateHtDigConfDeferred", L"UpdateHtDigConfDeferred", L"F|db|url|x"},
        {"RebuildHtDigIndexDeferred", L"RebuildHtDigIndexDeferred", L"a|b|c|d|e"},
        {"RebuildHtDigIndexDeferred", L"RebuildHtDigIndexDeferred", L"a|b|c|d|e|f|g"},
    };
    for (const auto& c : cases) {
        qxtest::Session s(qxtest::Props{{L"CustomActionData", std::get<2>(c)}});
        EXPECT_EQ(qxtest::Action(std::get<0>(c))(s.Handle()), 1603u);
        EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{std::wstring(std::get<1>(c)) +
                                                                L":  Missing or incomplete CA data  (0x80070057)"});
    }
}

TEST(HelpSearchDeferred, OutsideTheInstallScriptNothingRuns)
{
    qxtest::TempDir dir;
    const std::wstring F = dir.File(L"htdig.conf");
    qxtest::WriteFileBytes(F, "start_url: x\r\n");
    const auto fields = IndexFields(dir);
    std::wstring data;
    for (const auto& field : fields) data += (data.empty() ? L"" : L"|") + field;
    {
        qxtest::Session s(qxtest::Props{{L"CustomActionData", F + L"|C:\\db|http://h"}});
        EXPECT_EQ(qxtest::Action("UpdateHtDigConfDeferred")(s.Handle()), 0u);
    }
    {
        qxtest::Session s(qxtest::Props{{L"CustomActionData", data}});
        EXPECT_EQ(qxtest::Action("RebuildHtDigIndexDeferred")(s.Handle()), 0u);
        EXPECT_TRUE(s.capture.messages.empty());
    }
    EXPECT_EQ(qxtest::ReadFileBytes(F), "start_url: x\r\n");
    EXPECT_FALSE(qxtest::Exists(F + L".tmp"));
    EXPECT_FALSE(qxtest::Exists(dir.File(L"standin-calls.txt")));
}

// A package whose File table knows the configuration file and the four
// tools in the ht://Dig directory, costed so that [#key] gives their paths.
const std::vector<std::wstring> kFileTables = {
    L"CREATE TABLE `Directory` (`Directory` CHAR(72) NOT NULL, `Directory_Parent` CHAR(72), "
    L"`DefaultDir` CHAR(255) NOT NULL PRIMARY KEY `Directory`)",
    L"CREATE TABLE `Component` (`Component` CHAR(72) NOT NULL, `ComponentId` CHAR(38), `Directory_` CHAR(72) "
    L"NOT NULL, `Attributes` SHORT NOT NULL, `Condition` CHAR(255), `KeyPath` CHAR(72) PRIMARY KEY `Component`)",
    L"CREATE TABLE `File` (`File` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL, `FileName` CHAR(255) NOT "
    L"NULL, `FileSize` LONG NOT NULL, `Version` CHAR(72), `Language` CHAR(20), `Attributes` SHORT, `Sequence` "
    L"SHORT NOT NULL PRIMARY KEY `File`)",
    L"CREATE TABLE `Feature` (`Feature` CHAR(38) NOT NULL, `Feature_Parent` CHAR(38), `Title` CHAR(64), "
    L"`Description` CHAR(255), `Display` SHORT, `Level` SHORT NOT NULL, `Directory_` CHAR(72), `Attributes` "
    L"SHORT NOT NULL PRIMARY KEY `Feature`)",
    L"CREATE TABLE `FeatureComponents` (`Feature_` CHAR(38) NOT NULL, `Component_` CHAR(72) NOT NULL "
    L"PRIMARY KEY `Feature_`, `Component_`)",
    L"CREATE TABLE `CustomAction` (`Action` CHAR(72) NOT NULL, `Type` SHORT NOT NULL, `Source` CHAR(72), "
    L"`Target` CHAR(255), `ExtendedType` LONG PRIMARY KEY `Action`)",
    L"INSERT INTO `Directory` (`Directory`, `Directory_Parent`, `DefaultDir`) VALUES ('TARGETDIR', '', "
    L"'SourceDir')",
    L"INSERT INTO `Directory` (`Directory`, `Directory_Parent`, `DefaultDir`) VALUES ('htdig', 'TARGETDIR', "
    L"'htdig')",
    L"INSERT INTO `Directory` (`Directory`, `Directory_Parent`, `DefaultDir`) VALUES ('htbin', 'htdig', 'bin')",
    L"INSERT INTO `Component` (`Component`, `ComponentId`, `Directory_`, `Attributes`, `KeyPath`) VALUES "
    L"('HtConf', '{6F1A2B3C-4D5E-4F60-8172-93A4B5C6D7A1}', 'htdig', 0, 'htdig.conf')",
    L"INSERT INTO `Component` (`Component`, `ComponentId`, `Directory_`, `Attributes`, `KeyPath`) VALUES "
    L"('HtTools', '{6F1A2B3C-4D5E-4F60-8172-93A4B5C6D7A2}', 'htbin', 0, 'htdig.exe')",
    L"INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Sequence`) VALUES "
    L"('htdig.conf', 'HtConf', 'htdig.conf', 10, 1)",
    L"INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Sequence`) VALUES "
    L"('htdig.exe', 'HtTools', 'htdig.exe', 10, 2)",
    L"INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Sequence`) VALUES "
    L"('htmerge.exe', 'HtTools', 'htmerge.exe', 10, 3)",
    L"INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Sequence`) VALUES "
    L"('htnotify.exe', 'HtTools', 'htnotify.exe', 10, 4)",
    L"INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Sequence`) VALUES "
    L"('htfuzzy.exe', 'HtTools', 'htfuzzy.exe', 10, 5)",
    L"INSERT INTO `Feature` (`Feature`, `Level`, `Attributes`) VALUES ('Help', 1, 0)",
    L"INSERT INTO `FeatureComponents` (`Feature_`, `Component_`) VALUES ('Help', 'HtConf')",
    L"INSERT INTO `FeatureComponents` (`Feature_`, `Component_`) VALUES ('Help', 'HtTools')",
    L"INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) VALUES "
    L"('UpdateHtDigConfRollback', 3329, 'QuorixCA', 'UpdateHtDigConfDeferred')",
    L"INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) VALUES "
    L"('UpdateHtDigConfExec', 3073, 'QuorixCA', 'UpdateHtDigConfDeferred')",
    L"INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) VALUES "
    L"('UpdateHtDigConfCommit', 3585, 'QuorixCA', 'UpdateHtDigConfDeferred')",
    L"INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) VALUES "
    L"('RebuildHtDigIndexExec', 3073, 'QuorixCA', 'RebuildHtDigIndexDeferred')",
};

const qxtest::Props kHelpProps = {{L"TARGETDIR", L"C:\\Srv\\"},
                                  {L"QUORIX_WEB_URL", L"http://localhost/quorix"},
                                  {L"db", L"C:\\Srv\\help\\db\\"}};

class CostedSession : public qxtest::Session {
public:
    explicit CostedSession(const qxtest::Props& props) : qxtest::Session(props, kFileTables)
    {
        for (const wchar_t* action : {L"CostInitialize", L"FileCost", L"CostFinalize"})
            EXPECT_EQ(MsiDoActionW(Handle(), action), 0u) << Narrow(action);
        capture.messages.clear();
    }
};

TEST(UpdateHtDigConf, PacksFileDatabaseAndAddressForAllThreeNames)
{
    CostedSession s(kHelpProps);
    ASSERT_EQ(qxtest::Action("UpdateHtDigConf")(s.Handle()), 0u);
    const std::wstring data = L"C:\\Srv\\htdig\\htdig.conf|C:\\Srv\\help\\db\\|http://localhost/quorix";
    for (const wchar_t* name : {L"UpdateHtDigConfRollback", L"UpdateHtDigConfExec", L"UpdateHtDigConfCommit"})
        EXPECT_EQ(s.Property(name), data);
}

TEST(RebuildHtDigIndex, PacksTheDirectoryAndTheFivePaths)
{
    qxtest::Props props = kHelpProps;
    props.push_back({L"htdig", L"C:\\Srv\\htdig\\"});
    CostedSession s(props);
    ASSERT_EQ(qxtest::Action("RebuildHtDigIndex")(s.Handle()), 0u);
    EXPECT_EQ(s.Property(L"RebuildHtDigIndexExec"),
              L"C:\\Srv\\htdig\\|C:\\Srv\\htdig\\htdig.conf|C:\\Srv\\htdig\\bin\\htdig.exe|"
              L"C:\\Srv\\htdig\\bin\\htmerge.exe|C:\\Srv\\htdig\\bin\\htnotify.exe|C:\\Srv\\htdig\\bin\\htfuzzy.exe");
}

TEST(HelpSearchImmediate, MissingPropertiesFailByNameInOrder)
{
    struct Case {
        const char* action;
        std::vector<const wchar_t*> cleared;
        const wchar_t* named;
    };
    const Case cases[] = {
        {"UpdateHtDigConf", {L"QUORIX_WEB_URL", L"db"}, L"QUORIX_WEB_URL"},
        {"UpdateHtDigConf", {L"db"}, L"db"},
        {"RebuildHtDigIndex", {L"htdig"}, L"htdig"},
    };
    for (const auto& c : cases) {
        CostedSession s(kHelpProps);
        for (const wchar_t* name : c.cleared) s.SetProperty(name, L"");
        EXPECT_EQ(qxtest::Action(c.action)(s.Handle()), 1603u);
        EXPECT_EQ(s.capture.Texts(0),
                  std::vector<std::wstring>{std::wstring(c.action, c.action + std::strlen(c.action)) +
                                            L":  Property \"" + c.named + L"\" does not exist  (0x80070057)"});
    }
}

}  // namespace
