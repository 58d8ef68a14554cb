#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "qxdat_cli.h"

namespace fs = std::filesystem;

namespace {

struct Result {
    int code;
    std::string out, err;
};

Result run(const std::vector<std::string>& args)
{
    std::ostringstream out, err;
    int code = qxdat::run(args, out, err);
    return {code, out.str(), err.str()};
}

std::string dir()
{
    static const std::string d = [] {
        fs::path p = fs::temp_directory_path() / ("qxdat-tests-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()));
        fs::create_directories(p);
        return p.string();
    }();
    return d;
}

std::string write(const std::string& name, const std::string& text)
{
    std::string path = dir() + "/" + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

std::string read(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

}  // namespace

TEST(Qxdat, BadArgumentsAreUsageErrors)
{
    struct Case {
        std::vector<std::string> args;
        const char* text;
    };
    const Case cases[] = {
        {{}, "no command given"},
        {{"frobnicate"}, "unknown command 'frobnicate'"},
        {{"check"}, "check needs a FILE"},
        {{"check", "a", "b"}, "unexpected argument 'b'"},
        {{"check", "-o", "x", "a"}, "unknown option '-o' for check"},
        {{"roundtrip", "a", "-o"}, "-o needs a file name"},
        {{"roundtrip", "a", "-o", "x", "-o", "y"}, "-o given twice"},
        {{"roundtrip", "--fast", "a"}, "unknown option '--fast' for roundtrip"},
    };
    for (const Case& c : cases) {
        Result r = run(c.args);
        EXPECT_EQ(r.code, qxdat::kExitUsage) << c.text;
        EXPECT_EQ(r.err.rfind(std::string("qxdat: ") + c.text + "\nusage:", 0), 0u) << r.err;
        EXPECT_EQ(r.out, "");
    }
    Result help = run({"--help"});
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.out.find("qxdat roundtrip FILE [-o OUT]"), std::string::npos);
}

TEST(Qxdat, CheckPrintsMessagesInTheInstallLogsFormAndFailsOnErrors)
{
    std::string warn = write("warn.dat", "Databases\nBad p AA 1\nBad p AA 1\nBad p AA 1\nend\n");
    Result r = run({"check", warn});
    EXPECT_EQ(r.code, 0);
    std::string text = "Error in the configuration file " + warn + " - database Bad doesn't have enough parameters";
    EXPECT_EQ(r.out, "qxparser [2:0] -- " + text + "\nqxparser [2:1] -- " + text + " (Error repeated 2 times)\n");

    Result missing = run({"check", dir() + "/missing.dat"});
    EXPECT_EQ(missing.code, qxdat::kExitInvalid);
    EXPECT_EQ(missing.out,
              "qxparser [1:0] -- Cannot find file 'quorix.dat'. It contains the most important configuration parameters\n");
}

TEST(Qxdat, RoundtripWritesInPlaceOrToOut)
{
    std::string in = write("rt.dat", "Cron\nA 1\nend\n  # c\nDatabases\nend\n");
    std::string out = dir() + "/rt.out";
    Result r = run({"roundtrip", in, "-o", out});
    EXPECT_EQ(r.code, 0) << r.out;
    EXPECT_EQ(read(out), "Databases\nend\n# c\nCron\nA 1\nend\n");
    EXPECT_EQ(read(in), "Cron\nA 1\nend\n  # c\nDatabases\nend\n");
    EXPECT_EQ(run({"roundtrip", in}).code, 0);
    EXPECT_EQ(read(in), read(out));

    Result bad = run({"roundtrip", in, "-o", dir() + "/no/dir/x.dat"});
    EXPECT_EQ(bad.code, qxdat::kExitInvalid);
    EXPECT_NE(bad.out.find("qxparser [1:0] -- Failed to open file "), std::string::npos) << bad.out;
}

TEST(Qxdat, CheckShowsTheMessagesOfEverySectionReader)
{
    std::string file = write("sections.dat",
                             "PARSE\nRULE_1 \"x\\(.*\\)\"\nRULE_1 \"y\"\nend\n"
                             "Taxonomy_2\nErrorLevel -1\nend\n"
                             "Cluster\nIPCTimeout 0\nend\n"
                             "Options\nMailTransport 9\nICATFilter\nend\n"
                             "Cron\n* 1 * * * x\nend\n"
                             "WWW\nDB_SEQ \"1\"\nend\n");
    Result r = run({"check", file});
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.out,
              "qxparser [2:0] -- In the file " + file + ": parsing rule 1 has been defined twice: Second one is: RULE_1 \"y\"\n"
              "qxparser [2:0] -- Invalid entry in the configuration file " + file + " - taxonomy section: ErrorLevel -1\n"
              "qxparser [2:0] -- Invalid entry in Cluster section of the configuration file " + file + ": IPCTimeout 0\n"
              "qxparser [2:0] -- Error in line in Options section of the configuration file " + file + ": MailTransport 9\n"
              "qxparser [2:0] -- Empty ICAT filter is not allowed. Specify simply 'C' if you are not sure.\n"
              "qxparser [2:0] -- Invalid * in cron section of " + file + ". Line is: * 1 * * * x\n"
              "qxparser [2:0] -- Error in WWW section of " + file + ": DB_SEQ \"1\"\n");
}
