#include <gtest/gtest.h>

#include "test_machine.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "orvane/qx_filesource.h"
#include "orvane/qx_machine.h"
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

const std::string kPackage = QX_PACKAGE_DIR;
const std::string kTemplate = kPackage + "/not.quorix.dat";
const std::string kMergeDir = QX_MERGE_DIR;
const std::string kHostileDir = QX_HOSTILE_DIR;

using qxtestfiles::test_machine;

class QxdatMerge : public testing::Test {
protected:
    void SetUp() override { orvane::qx_machine::replace(&machine); }
    void TearDown() override { orvane::qx_machine::replace(nullptr); }

    // A fresh folder for one case, so that a leftover file shows.
    std::string caseDir(const std::string& name)
    {
        std::string d = dir() + "/" + name;
        fs::remove_all(d);
        fs::create_directories(d);
        return d;
    }

    test_machine machine;
};

std::vector<std::string> entries(const std::string& d)
{
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(d)) names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// $T the package's template, $D the case's folder.
std::vector<std::string> expand(std::vector<std::string> args, const std::string& caseDir)
{
    for (std::string& a : args) {
        for (auto [key, value] : {std::pair<std::string, std::string>{"$T", kTemplate}, {"$D", caseDir}}) {
            const size_t at = a.find(key);
            if (at != std::string::npos) a.replace(at, key.size(), value);
        }
    }
    return args;
}

// The settings the library's golden files were made with; the groups are
// the defaults.
const std::vector<std::string> kGoldenSettings = {"--root", "C:\\Quorix\\", "--url", "http://qxhost/quorix/",
                                                  "--seq", "D:\\seq\\"};

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
        {{"merge"}, "merge needs a TEMPLATE"},
        {{"merge", "t", ""}, "empty file name"},
        {{"merge", "t", "e", "x"}, "unexpected argument 'x'"},
        {{"merge", "t", "--diff"}, "--diff needs EXISTING"},
        {{"merge", "t", "--fast"}, "unknown option '--fast' for merge"},
        {{"merge", "t", "-o"}, "-o needs a file name"},
        {{"merge", "t", "--root"}, "--root needs a value"},
        {{"merge", "t", "--url", ""}, "--url needs a value"},
        {{"merge", "t", "--seq", "a", "--seq", "b"}, "--seq given twice"},
        {{"merge", "t", "--admins"}, "--admins needs a value"},
        {{"merge", "t", "--cluster"}, "--cluster takes on or off"},
        {{"merge", "t", "--cluster", "yes"}, "--cluster takes on or off"},
        {{"merge", "t", "--cluster", "on", "--cluster", "off"}, "--cluster given twice"},
        {{"merge", "t", "e", "--users", "U"}, "--users and --admins are for a first install only"},
        {{"merge", "t", "e", "--admins", "A"}, "--users and --admins are for a first install only"},
        {{"merge", "t", "--root", "C:/Program Files/Q/"}, "Path name may not contain spaces: C:/Program Files/Q/"},
        {{"merge", "t", "--seq", "D:/my seq"}, "Path name may not contain spaces: D:/my seq"},
        {{"merge", kTemplate, "-o", kPackage + "/../package/not.quorix.dat"}, "-o must not name TEMPLATE or EXISTING"},
        {{"merge", kTemplate, kMergeDir + "/admin.dat", "-o", kMergeDir + "/admin.dat"},
         "-o must not name TEMPLATE or EXISTING"},
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
    EXPECT_NE(help.out.find("qxdat merge TEMPLATE [EXISTING [--diff]] [-o OUT]"), std::string::npos);
}

TEST(Qxdat, CheckPrintsMessagesInTheInstallLogsFormAndFailsOnErrors)
{
    std::string warn = write("warn.dat", "Databases\nBad p AA 1\nBad p AA 1\nBad p AA 1\nend\n");
    Result r = run({"check", warn});
    EXPECT_EQ(r.code, qxdat::kExitLossy);
    std::string text = "Error in the configuration file " + warn + " - database Bad doesn't have enough parameters";
    // The log folds repeats; the dropped lines are each named all the same.
    std::string dropped;
    for (int line : {2, 3, 4})
        dropped += warn + ":" + std::to_string(line) + ": warning: dropped: a database entry without enough parameters\n";
    EXPECT_EQ(r.out, "qxparser [2:0] -- " + text + "\nqxparser [2:1] -- " + text + " (Error repeated 2 times)\n" + dropped);

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
    EXPECT_EQ(bad.err, "qxdat: can't write " + dir() + "/no/dir/x.dat: No such file or directory\n");

    // A full disk in the middle of an in-place save: the file stays as it was.
    const std::string rtDir = dir() + "/rt-full";
    fs::create_directories(rtDir);
    const std::string big = rtDir + "/big.dat", before = "Options\n# " + std::string(1000, 'x') + "\nend\n";
    std::ofstream(big, std::ios::binary) << before;
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{}, small{};
    ::getrlimit(RLIMIT_FSIZE, &old);
    small = old;
    small.rlim_cur = 100;
    ::setrlimit(RLIMIT_FSIZE, &small);
    Result full = run({"roundtrip", big});
    ::setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_EQ(full.code, qxdat::kExitInvalid);
    EXPECT_NE(full.out.find("qxparser [1:0] -- Failed to wtite to file"), std::string::npos) << full.out;
    EXPECT_EQ(read(big), before);
    EXPECT_EQ(entries(rtDir), std::vector<std::string>{"big.dat"});
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

TEST_F(QxdatMerge, GoldenFilesByFileAndOnStandardOutput)
{
    struct Case {
        const char* name;
        const char* existing;  // a file of the merge's test folder, or "" for a first install
        const char* golden;
        size_t messages;
    };
    const Case cases[] = {
        {"first_install", "", "first_install.expected", 11},
        {"upgrade", "admin.dat", "admin_upgrade.expected", 25},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string d = caseDir(c.name);
        std::vector<std::string> args = {"merge", kTemplate};
        std::string existing, before;
        if (*c.existing) {
            existing = d + "/quorix.dat";
            before = read(kMergeDir + "/" + c.existing);
            std::ofstream(existing, std::ios::binary) << before;
            args.push_back(existing);
        }
        args.insert(args.end(), kGoldenSettings.begin(), kGoldenSettings.end());
        const std::string golden = read(kMergeDir + "/" + c.golden);
        ASSERT_FALSE(golden.empty());

        std::vector<std::string> toFile = args;
        toFile.insert(toFile.end(), {"-o", d + "/out.dat"});
        Result file = run(toFile);
        EXPECT_EQ(file.code, 0) << file.out;
        EXPECT_EQ(read(d + "/out.dat"), golden);
        EXPECT_EQ(file.err, "");
        EXPECT_EQ(file.out.rfind("qxparser [3:0] -- Successfully loaded not.quorix.dat from " + kTemplate + "\n", 0), 0u)
            << file.out;
        EXPECT_EQ(std::count(file.out.begin(), file.out.end(), '\n'), static_cast<long>(c.messages)) << file.out;

        // Standard output carries the same text, and the messages move aside.
        Result stdOut = run(args);
        EXPECT_EQ(stdOut.code, 0) << stdOut.err;
        EXPECT_EQ(stdOut.out, golden);
        EXPECT_EQ(stdOut.err, file.out);

        if (*c.existing) {
            EXPECT_EQ(read(existing), before);
        }
        const std::vector<std::string> left = *c.existing ? std::vector<std::string>{"out.dat", "quorix.dat"}
                                                          : std::vector<std::string>{"out.dat"};
        EXPECT_EQ(entries(d), left);
    }
}

TEST_F(QxdatMerge, OptionsAreTheInstallersChoices)
{
    const std::string admin = kMergeDir + "/admin.dat";
    const std::string sp = "SwissProt\tC:/Quorix/sequence/SwissProt/current/SwissProt_*.fasta\tAA\t1234\t1\t1\t1\t";
    struct Case {
        const char* name;
        std::vector<std::string> args;  // after "merge TEMPLATE"
        std::vector<std::string> present, absent;
    };
    const Case cases[] = {
        {"defaults",
         {},
         {"# " + sp + "4\t0\t1\t6\t7\t8\t3", "InterFileBasePath C:/Quorix/data",
          "ResultsFullURL http://localhost/quorix/cgi/master_results.pl", "NTIUserGroup Users",
          "NTMonitorGroup Administrators", "ForkForUnixApache 1", "Enabled 0", "SubClusterSet 0 4",
          "MasterComputerName QXHOST"},
         {}},
        {"cluster_on_gives_one_thread", {"--cluster", "on"}, {"Enabled 1", "SubClusterSet 0 1", "# " + sp + "1\t0\t1\t6\t7\t8\t3"}, {}},
        {"cluster_off_is_the_first_installs_default", {"--cluster", "off"}, {"Enabled 0", "SubClusterSet 0 4"}, {}},
        {"no_apache", {"--no-apache"}, {"ForkForUnixApache 0"}, {"ForkForUnixApache 1"}},
        {"swissprot_is_made_active", {"--swissprot"}, {sp + "4\t0\t1\t6\t7\t8\t3"}, {"# " + sp + "4\t0\t1\t6\t7\t8\t3"}},
        {"own_groups", {"--users", "qxusers", "--admins", "qxadmins"}, {"NTIUserGroup qxusers", "NTMonitorGroup qxadmins"}, {}},
        {"upgrade_keeps_its_cluster_and_groups", {admin},
         {"Enabled 0", "SubClusterSet 0 2", "SwissProt\tD:/sequence/SwissProt/current/SwissProt_*.fasta\tAA\t1234\t1\t1\t1\t4\t0\t1\t6\t7\t8\t3"},
         {"NTIUserGroup Users", "SubClusterSet 0 4"}},
        {"upgrade_with_a_cluster_choice", {admin, "--cluster", "on"}, {"Enabled 1", "SubClusterSet 0 1"}, {"SubClusterSet 0 2"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<std::string> args = {"merge", kTemplate};
        args.insert(args.end(), c.args.begin(), c.args.end());
        Result r = run(args);
        ASSERT_EQ(r.code, 0) << r.err;
        std::vector<std::string> lines;
        std::istringstream in(r.out);
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        for (const std::string& want : c.present)
            EXPECT_NE(std::find(lines.begin(), lines.end(), want), lines.end()) << want << "\n" << r.out;
        for (const std::string& gone : c.absent)
            EXPECT_EQ(std::find(lines.begin(), lines.end(), gone), lines.end()) << gone << "\n" << r.out;
    }
}

TEST_F(QxdatMerge, AFailureWritesNothing)
{
    const std::string missing = "qxparser [1:0] -- Cannot find file 'quorix.dat'. It contains the most important "
                                "configuration parameters\n";
    const std::string loaded = "qxparser [3:0] -- Successfully loaded not.quorix.dat from " + kTemplate + "\n";
    const std::string lastSet =
        "qxparser [3:0] -- Set the value of DefaultNodeHomeDir to C:/QuorixNode in the cluster section of quorix.dat\n";
    struct Case {
        const char* name;
        std::vector<std::string> args;  // $T the package's template, $D the case's folder
        const char* existing;           // written to $D/quorix.dat if not null
        const char* templ;              // written to $D/t.dat if not null
        bool nameFails;
        std::string logEnd;  // how the merge's messages end
        std::string ownLine;  // qxdat's own last word, on standard error
    };
    const Case cases[] = {
        {"template_missing", {"$D/none.dat"}, nullptr, nullptr, false, missing, ""},
        {"template_missing_with_out", {"$D/none.dat", "-o", "$D/out.dat"}, nullptr, nullptr, false, missing, ""},
        {"existing_missing", {"$T", "$D/none.dat"}, nullptr, nullptr, false, loaded + missing, ""},
        {"no_computer_name", {"$T"}, nullptr, nullptr, true, "qxparser [1:0] -- Failed to determine the hostname\n", ""},
        {"no_subclusterset", {"$T", "$D/quorix.dat", "--cluster", "off", "-o", "$D/out.dat"},
         "Options\nend\nCluster\nEnabled 0\nend\n", nullptr, false, "qxparser [1:0] -- No SubClusterSet entry in quorix.dat\n", ""},
        {"no_swissprot_to_activate", {"$D/t.dat", "--swissprot"}, nullptr,
         "Databases\nNCBInr\tx.fasta\tAA\t1234\t1\t1\t1\t1\t0\t0\t1\t2\t0\nend\nCluster\nSubClusterSet 0 ###THREADS###\nend\n",
         false, lastSet, "qxdat: Can't locate SwissProt entry in quorix.dat\n"},
        {"out_folder_missing", {"$T", "-o", "$D/no/x.dat"}, nullptr, nullptr, false, "",
         "qxdat: can't write $D/no/x.dat: No such file or directory\n"},
        {"out_is_a_folder", {"$T", "-o", "$D/sub"}, nullptr, nullptr, false, lastSet,
         "qxdat: can't write $D/sub: Is a directory\n"},
    };
    auto endsWith = [](const std::string& text, const std::string& end) {
        return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string d = caseDir(c.name);
        fs::create_directory(d + "/sub");
        if (c.existing) std::ofstream(d + "/quorix.dat", std::ios::binary) << c.existing;
        if (c.templ) std::ofstream(d + "/t.dat", std::ios::binary) << c.templ;
        const std::vector<std::string> before = entries(d);
        machine.nameFails = c.nameFails;
        std::vector<std::string> args = {"merge"};
        const std::vector<std::string> rest = expand(c.args, d);
        args.insert(args.end(), rest.begin(), rest.end());
        Result r = run(args);
        EXPECT_EQ(r.code, qxdat::kExitInvalid);
        const std::string ownLine = expand({c.ownLine}, d)[0];
        if (std::find(args.begin(), args.end(), "-o") != args.end()) {
            EXPECT_TRUE(endsWith(r.out, c.logEnd)) << r.out;
            EXPECT_EQ(r.err, ownLine);
        } else {
            EXPECT_EQ(r.out, "");
            EXPECT_TRUE(endsWith(r.err, c.logEnd + ownLine)) << r.err;
        }
        EXPECT_EQ(entries(d), before);
        EXPECT_TRUE(fs::is_empty(d + "/sub"));
        if (c.existing) {
            EXPECT_EQ(read(d + "/quorix.dat"), c.existing);
        }
    }
}

// Every file of hostile/ goes through check, an in-place roundtrip and an
// upgrade. NAME.check is what check prints; with NAME.saved the file is
// kept, and that is its saved form, and NAME.diff what merge --diff shows; without, the file is refused and neither
// command changes or writes anything. In all three $D is the case's folder
// and $F the file; $LONG in a .dat is a line one byte over the limit.
TEST_F(QxdatMerge, HostileFilesAreKeptWholeOrRefusedWithTheirMessage)
{
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(kHostileDir))
        if (e.path().extension() == ".dat") names.push_back(e.path().stem().string());
    ASSERT_GE(names.size(), 10u);
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        const std::string d = caseDir("hostile-" + name), f = d + "/" + name + ".dat";
        auto subst = [&](std::string text) {
            for (auto [key, value] : {std::pair<std::string, std::string>{"$D", d}, {"$F", f},
                                      {"$LONG", std::string(orvane::kMaxLineBytes + 1, 'x')}})
                for (size_t at; (at = text.find(key)) != std::string::npos;) text.replace(at, key.size(), value);
            return text;
        };
        // What the files may point at.
        ASSERT_EQ(::mkfifo((d + "/fifo").c_str(), 0600), 0);
        std::ofstream(d + "/included") << "SubClusterSet 0 2\n";
        std::ofstream(d + "/big").close();
        fs::resize_file(d + "/big", orvane::kMaxIncludeBytes + 1);
        fs::create_symlink(d + "/included", d + "/link");
        const std::string input = subst(read(kHostileDir + "/" + name + ".dat"));
        std::ofstream(f, std::ios::binary) << input;

        const std::string check = subst(read(kHostileDir + "/" + name + ".check"));
        Result r = run({"check", f});
        EXPECT_EQ(r.out, check);
        const bool refused = check.find("qxparser [1:") != std::string::npos;
        const bool lossy = check.find(": warning: dropped: ") != std::string::npos;
        EXPECT_EQ(r.code, refused ? qxdat::kExitInvalid : lossy ? qxdat::kExitLossy : qxdat::kExitOk);
        EXPECT_EQ(fs::exists(kHostileDir + "/" + name + ".saved"), !refused);

        Result merged = run({"merge", kTemplate, f, "-o", d + "/out.dat"});
        EXPECT_EQ(merged.code, refused ? qxdat::kExitInvalid : qxdat::kExitOk) << merged.out << merged.err;
        if (refused) {
            EXPECT_NE(merged.out.find(check.substr(check.rfind("qxparser [1:"))), std::string::npos) << merged.out;
            EXPECT_FALSE(fs::exists(d + "/out.dat"));
            EXPECT_EQ(run({"roundtrip", f}).code, qxdat::kExitInvalid);
            EXPECT_EQ(read(f), input);
        } else {
            if (fs::exists(kHostileDir + "/" + name + ".diff")) {
                Result shown = run({"merge", kTemplate, f, "--diff", "-o", d + "/diffed.dat"});
                EXPECT_EQ(shown.out, subst(read(kHostileDir + "/" + name + ".diff")));
                EXPECT_EQ(read(d + "/diffed.dat"), read(d + "/out.dat"));
            }
            EXPECT_EQ(run({"roundtrip", f}).code, qxdat::kExitOk);
            EXPECT_EQ(read(f), subst(read(kHostileDir + "/" + name + ".saved")));
        }
    }
}
