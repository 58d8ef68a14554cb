// The install-time merge: first install and upgrade against golden files,
// its edge cases on small files, and each way it fails.
#include <gtest/gtest.h>

#include "test_machine.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "orvane/qx_datfile.h"
#include "orvane/qx_machine.h"

using orvane::qx_datfile;
using orvane::qx_errorlist;

namespace {

const std::string kPackage = QX_PACKAGE_DIR;
const std::string kMergeDir = std::string(QX_CORPUS_DIR) + "/../merge/";

using qxtestfiles::test_machine;

std::string readAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

void writeAll(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

// Text of the file as the platform writes text files: compare without CRs.
std::string unixLines(std::string text)
{
    std::string out;
    for (char c : text)
        if (c != '\r') out += c;
    return out;
}

struct merge_args {
    std::string root = "C:\\Quorix\\";
    std::string url = "http://qxhost/quorix/";
    std::string sequence = "D:\\seq\\";
    bool clusterMode = false;
    int32_t noApache = 0;
    std::string users;
    std::string admins;
    uint32_t flags = 136;
};

class MergeTest : public testing::Test {
protected:
    void SetUp() override { orvane::qx_machine::replace(&machine); }
    void TearDown() override
    {
        orvane::qx_machine::replace(nullptr);
        for (const auto& f : files) std::remove(f.c_str());
    }

    std::string file(const std::string& name, const std::string& text)
    {
        const std::string path = "merge_" + std::string(testing::UnitTest::GetInstance()->current_test_info()->name()) +
                                 "_" + name;
        writeAll(path, text);
        files.push_back(path);
        return path;
    }

    // Merges and saves; gives the saved text, or "" when the merge failed.
    std::string merge(const std::string& templ, const std::string& existing, const merge_args& a)
    {
        errors = qx_errorlist();
        errors.setLoggingLevel(orvane::QX_SEV_INFO);
        qx_datfile dat;
        result = dat.mergeInstalledDefaults(errors, templ, existing, a.root, a.url, a.sequence, a.clusterMode,
                                            a.noApache, a.users, a.admins, a.flags);
        if (!errors.isValid()) return "";
        const std::string out = file("out.dat", "");
        dat.setFileName(out);
        EXPECT_TRUE(dat.save());
        return unixLines(readAll(out));
    }

    std::vector<std::string> messages() const
    {
        std::vector<std::string> out;
        for (int n = 1; n <= errors.getMessageCount(); ++n) out.push_back(errors.getMessage(n));
        return out;
    }

    void expectGolden(const std::string& actual, const std::string& golden)
    {
        const std::string want = unixLines(readAll(kMergeDir + golden));
        EXPECT_EQ(actual, want);
        if (actual != want) writeAll(golden + ".actual", actual);
    }

    test_machine machine;
    qx_errorlist errors;
    bool result = false;
    std::vector<std::string> files;
};

TEST_F(MergeTest, FirstInstallMakesTheFileFromTheTemplate)
{
    merge_args a;
    a.users = "Users";
    a.admins = "Administrators";
    const std::string out = merge(kPackage + "/not.quorix.dat", "", a);
    EXPECT_TRUE(result);
    expectGolden(out, "first_install.expected");
    const std::vector<std::string> want = {
        "Successfully loaded not.quorix.dat from " + kPackage + "/not.quorix.dat",
        "Detected 2 logical processors per physical CPU",
        "Setting number of threads to 4",
        "Set the value of ForkForUnixApache to 1 in the options section of quorix.dat",
        "Set the value of NTIUserGroup to Users in the options section of quorix.dat",
        "Set the value of NTMonitorGroup to Administrators in the options section of quorix.dat",
        "Set the value of ResultsFullURL to http://qxhost/quorix/cgi/master_results.pl in the options section of quorix.dat",
        "Set the value of Enabled to 0 in the cluster section of quorix.dat",
        "Set the value of SubClusterSet to 0 4 in the cluster section of quorix.dat",
        "Set the value of DefaultNodeOS to Windows_NT in the cluster section of quorix.dat",
        "Set the value of DefaultNodeHomeDir to C:/QuorixNode in the cluster section of quorix.dat",
    };
    EXPECT_EQ(messages(), want);
}

TEST_F(MergeTest, UpgradeKeepsTheAdministratorsWork)
{
    merge_args a;
    a.flags = 243;
    const std::string existing = kMergeDir + "admin.dat";
    const std::string out = merge(kPackage + "/not.quorix.dat", existing, a);
    EXPECT_TRUE(result);
    expectGolden(out, "admin_upgrade.expected");
    const std::vector<std::string> want = {
        "Successfully loaded not.quorix.dat from " + kPackage + "/not.quorix.dat",
        "Successfully loaded existing quorix.dat from " + existing,
        "Detected 2 logical processors per physical CPU",
        "Setting number of threads to 4",
        "Appended taxonomy section 2",
        "Appended taxonomy section 10",
        "Appended taxonomy section 11",
        "Added parse rule number 4",
        "Added parse rule number 5",
        "Changed taxonomy entry for EST_human",
        "Set the value of ForkForUnixApache to 1 in the options section of quorix.dat",
        "Set the value of ResultsFullURL to http://qxhost/quorix/cgi/master_results.pl in the options section of quorix.dat",
        "Added SearchLogFile ../logs/searches.log to the options section of quorix.dat",
        "Added MonitorLogFile ../logs/monitor.log to the options section of quorix.dat",
        "Added InterFileRelPath ../data to the options section of quorix.dat",
        "Added QuorixControlFile ../data/quorix.control to the options section of quorix.dat",
        "Added QuorixNodeControlFile ../data/quorixnode.control to the options section of quorix.dat",
        "Added ResultsPerlScript ../cgi/master_results.pl to the options section of quorix.dat",
        "Added MaxConcurrentSearches 10 to the options section of quorix.dat",
        "Added MaxSearchesPerUser 0 to the options section of quorix.dat",
        "Added MailTransport 2 to the options section of quorix.dat",
        "Added EmailTimeOutPeriod 120 to the options section of quorix.dat",
        "Added SeparateLockMem 0 to the options section of quorix.dat",
        "Added MaxQueries 10000 to the options section of quorix.dat",
        "Set the value of ReportNumberChoices to AUTO,10,20,50 in the options section of quorix.dat",
    };
    EXPECT_EQ(messages(), want);
}

// A template and an existing file small enough to read in the test.
const char* const kSmallTemplate =
    "Databases\n"
    "SwissProt\t###ROOT###/sequence/sp.fasta\tAA\t1234\t1\t1\t1\t1\t0\t1\t6\t7\t8\t3\n"
    "end\n"
    "PARSE\n"
    "RULE_6\t\">\\([^ ]*\\)\"\n"
    "RULE_7\t\">[^ ]* \\(.*\\)\"\n"
    "RULE_8\t\">[^|]*|\\([^ ]*\\)\"\n"
    "end\n"
    "WWW\n"
    "SwissProt_SEQ\t\"1\"\t\"###HOSTNAME###\"\t\"80\"\t\"/getseq\"\n"
    "SwissProt_REP\t\"1\"\t\"###HOSTNAME###\"\t\"80\"\t\"/getrep\"\n"
    "end\n"
    "Taxonomy_10\nEnabled\t1\nend\n"
    "Cluster\n"
    "Enabled 0\n"
    "SubClusterSet 0 ###THREADS###\n"
    "# DefaultNodeHomeDirFromMaster x\n"
    "end\n"
    "Options\n"
    "InterFileBasePath ###ROOT###/data\n"
    "ReportNumberChoices AUTO,10\n"
    "MaxQueries 10000\n"
    "end\n";

struct edge_case {
    const char* name;
    const char* existing;  // "" for a first install
    merge_args args;
    std::vector<std::string> present;  // lines the saved file holds
    std::vector<std::string> absent;   // lines it must not hold
};

merge_args with(uint32_t flags, std::string url = "http://qxhost/quorix/", bool cluster = false,
                std::string root = "C:\\Quorix\\")
{
    merge_args a;
    a.flags = flags;
    a.url = std::move(url);
    a.clusterMode = cluster;
    a.root = std::move(root);
    return a;
}

const char* const kEnabledCluster =
    "Databases\nX\tx.fasta\tAA\t1234\t1\t1\t1\t4\t0\t0\t6\t7\t0\nend\n"
    "PARSE\nRULE_6\t\">\\([^ ]*\\)\"\nRULE_7\t\">[^ ]* \\(.*\\)\"\nend\n"
    "Cluster\nEnabled 1\nSubClusterSet 0 9\nDefaultNodeHomeDir D:/node\nend\n";

std::vector<edge_case> edgeCases()
{
    return {
        {"auto_is_put_in_front", "Options\nReportNumberChoices 10,20\nend\n", with(64 | 128),
         {"ReportNumberChoices AUTO,10,20"}, {}},
        {"auto_already_there", "Options\nReportNumberChoices 10,auto,AUTO\nend\n", with(64 | 128),
         {"ReportNumberChoices 10,auto,AUTO"}, {"ReportNumberChoices AUTO,10,auto,AUTO"}},
        {"url_with_trailing_slashes", "", with(136, "http://h/q//"),
         {"ResultsFullURL http://h/q/cgi/master_results.pl"}, {}},
        {"empty_url_leaves_the_key", "Options\nResultsFullURL http://old/x\nend\n", with(128, ""),
         {"ResultsFullURL http://old/x"}, {}},
        {"root_with_backslashes", "", with(136, "", false, "C:\\a\\b\\\\"),
         {"InterFileBasePath C:/a/b/data", "# SwissProt\tD:/seq/sp.fasta\tAA\t1234\t1\t1\t1\t4\t0\t1\t6\t7\t8\t3"}, {}},
        {"path_without_placeholder_keeps_it_and_gets_threads",
         "Databases\nOwn   E:/own/own.fasta AA 1234 1 1 1 9 0 0 6 7 0 -1\nend\n", with(128),
         {"Own\tE:/own/own.fasta\tAA\t1234\t1\t1\t1\t4\t0\t0\t6\t7\t0\t-1"}, {}},
        {"commented_home_from_master_becomes_active", "", with(136),
         {"DefaultNodeHomeDirFromMaster x", "Enabled 0", "SubClusterSet 0 4", "DefaultNodeOS Windows_NT",
          "DefaultNodeHomeDir C:/QuorixNode"},
         {"# DefaultNodeHomeDirFromMaster x"}},
        {"cluster_choice_on_gives_one_thread", "", with(136, "", true),
         {"Enabled 1", "SubClusterSet 0 1", "# SwissProt\tD:/seq/sp.fasta\tAA\t1234\t1\t1\t1\t1\t0\t1\t6\t7\t8\t3"}, {}},
        {"no_cluster_choice_keeps_an_enabled_cluster", kEnabledCluster, with(243),
         {"Enabled 1", "SubClusterSet 0 9", "DefaultNodeHomeDir D:/node", "X\tx.fasta\tAA\t1234\t1\t1\t1\t1\t0\t0\t6\t7\t0\t-1"},
         {"SubClusterSet 0 1"}},
        // Fuzz find: the uncomment took a setting's name away at every merge.
        {"setting_mentioning_home_from_master_keeps_its_name",
         "Options\nend\nCluster\nEnabled 0\nSubClusterSet 0 9\nNote see DefaultNodeHomeDirFromMaster x\nend\n", with(8),
         {"Note see DefaultNodeHomeDirFromMaster x"}, {"see DefaultNodeHomeDirFromMaster x"}},
        {"commented_home_from_master_in_the_file_becomes_active",
         "Options\nend\nCluster\nEnabled 0\nSubClusterSet 0 9\n#  DefaultNodeHomeDirFromMaster y\nend\n", with(8),
         {"DefaultNodeHomeDirFromMaster y"}, {"#  DefaultNodeHomeDirFromMaster y"}},
        {"option_under_a_comment_only_is_appended", "Options\n# MaxQueries 50\nend\n", with(32),
         {"# MaxQueries 50", "MaxQueries 10000"}, {}},
        {"what_is_added_is_saved_without_its_section", "Databases\nend\n", with(32 | 2),
         {"MaxQueries 10000", "RULE_8\t\">[^|]*|\\([^ ]*\\)\""}, {}},
        {"first_install_leaves_swissprot_commented", "", with(136),
         {"# SwissProt\tD:/seq/sp.fasta\tAA\t1234\t1\t1\t1\t4\t0\t1\t6\t7\t8\t3"}, {}},
    };
}

TEST_F(MergeTest, EdgeCases)
{
    const std::string templ = file("template.dat", kSmallTemplate);
    for (const edge_case& c : edgeCases()) {
        SCOPED_TRACE(c.name);
        const std::string existing = *c.existing ? file(std::string(c.name) + ".dat", c.existing) : "";
        const std::string out = merge(templ, existing, c.args);
        ASSERT_TRUE(errors.isValid()) << errors.getMessage(-1);
        std::vector<std::string> lines;
        std::istringstream in(out);
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        for (const auto& want : c.present)
            EXPECT_NE(std::find(lines.begin(), lines.end(), want), lines.end()) << want << "\n" << out;
        for (const auto& gone : c.absent)
            EXPECT_EQ(std::find(lines.begin(), lines.end(), gone), lines.end()) << gone << "\n" << out;
    }
}

TEST_F(MergeTest, EstTaxonomyChangesOnlyWhenTheSectionIsNew)
{
    // Human takes rule 10 and mouse rule 11, each only when its section comes
    // new from the template and the entry had no rule.
    const std::string templ = file("template.dat", std::string(kSmallTemplate) + "Taxonomy_11\nEnabled\t1\nend\n");
    const struct {
        const char* name;
        const char* section;
        const char* rule;
    } cases[] = {{"EST_human", "Taxonomy_10", "10"}, {"EST_mouse", "Taxonomy_11", "11"}};
    for (const auto& c : cases) {
        for (bool had : {false, true}) {
            SCOPED_TRACE(std::string(c.name) + (had ? " with its section" : ""));
            const std::string head = std::string(c.name) + "\th.fasta\tNA\t1234\t1\t1\t1\t";
            std::string text = "Databases\n" + head + "1\t0\t0\t6\t7\t0\t0\nend\n";
            if (had) text += std::string(c.section) + "\nEnabled\t0\nend\n";
            const std::string out = merge(templ, file("est.dat", text), with(1 | 16));
            const std::string want = had ? "0" : c.rule;
            EXPECT_NE(out.find(head + "4\t0\t0\t6\t7\t0\t" + want + "\n"), std::string::npos) << out;
        }
    }
}

TEST_F(MergeTest, SwissProtIsAddedWithItsRulesAndPages)
{
    const std::string templ = file("template.dat", kSmallTemplate);
    // Rule 6 holds another text; 7 is the template's 6; 8 is taken.
    const std::string existing = file("nosp.dat",
                                      "Databases\nOwn\to.fasta\tAA\t1234\t1\t1\t1\t1\t0\t0\t1\t1\t0\nend\n"
                                      "PARSE\n"
                                      "RULE_1\t\">[^ ]* \\(.*\\)\"\n"
                                      "RULE_6\t\"x\\(.*\\)\"\n"
                                      "RULE_7\t\">\\([^ ]*\\)\"\n"
                                      "end\n"
                                      "WWW\nOther_SEQ\t\"1\"\t\"h\"\t\"80\"\t\"/s\"\nend\n");
    const std::string out = merge(templ, existing, with(4));
    ASSERT_TRUE(errors.isValid()) << errors.getMessage(-1);
    EXPECT_NE(out.find("# SwissProt\tD:/seq/sp.fasta\tAA\t1234\t1\t1\t1\t4\t0\t1\t7\t1\t2\t3\n"), std::string::npos)
        << out;
    EXPECT_NE(out.find("SwissProt_SEQ \"1\"\t\"QXHOST\"\t\"80\"\t\"/getseq\"\n"), std::string::npos) << out;
    EXPECT_NE(out.find("SwissProt_REP \"1\"\t\"QXHOST\"\t\"80\"\t\"/getrep\"\n"), std::string::npos) << out;
    EXPECT_NE(out.find("RULE_2\t\">[^|]*|\\([^ ]*\\)\"\n"), std::string::npos) << out;
    const std::vector<std::string> all = messages();
    const std::vector<std::string> tail(all.begin() + 4, all.end());
    const std::vector<std::string> want = {
        "Adding entry for SwissProt to quorix.dat",
        "Changed accession parse rule from rule 6 to 7",
        "Changed description parse rule from rule 7 to 1",
        "Changed accession reference  parse rule from rule 8 to 2",
        "Added parse rule number 2",
        "Set the value of ResultsFullURL to http://qxhost/quorix/cgi/master_results.pl in the options section of quorix.dat",
    };
    EXPECT_EQ(tail, want);
}

TEST_F(MergeTest, TheHigherOfTwoMatchingRulesWins)
{
    const std::string templ = file("template.dat", kSmallTemplate);
    const std::string existing = file("two.dat",
                                      "Databases\n"
                                      "SwissProt\tsp.fasta\tAA\t1234\t1\t1\t1\t1\t0\t1\t6\t7\t8\t3\n"
                                      "end\n"
                                      "PARSE\n"
                                      "RULE_6\t\">\\([^ ]*\\)\"\n"
                                      "RULE_7\t\">[^ ]* \\(.*\\)\"\n"
                                      "RULE_8\t\">[^|]*|\\([^ ]*\\)\"\n"
                                      "RULE_30\t\">\\([^ ]*\\)\"\n"
                                      "end\n");
    const std::string out = merge(templ, existing, with(4));
    ASSERT_TRUE(errors.isValid());
    EXPECT_NE(out.find("# SwissProt\tsp.fasta\tAA\t1234\t1\t1\t1\t4\t0\t1\t30\t7\t8\t3\n"), std::string::npos) << out;
    EXPECT_EQ(messages()[4], "Changed accession parse rule from rule 6 to 30");
}

TEST_F(MergeTest, ProcessorsUnknownMeansOneThread)
{
    machine.processors.fails = true;
    const std::string out = merge(file("template.dat", kSmallTemplate), "", with(136));
    EXPECT_EQ(messages()[1], "Failed to get CPU information. Assuming single core and no hyper-threading");
    EXPECT_EQ(messages()[2], "Setting number of threads to 1");
    EXPECT_NE(out.find("SubClusterSet 0 1\n"), std::string::npos);
}

struct failure_case {
    const char* name;
    const char* existing;
    uint32_t flags;
    bool nameFails;
    const char* hostName;
    std::string last;  // the text the installer shows
};

TEST_F(MergeTest, FailuresEndInTheirMessage)
{
    std::string full = "PARSE\n";
    for (int r = 1; r <= 255; ++r) full += "RULE_" + std::to_string(r) + "\t\"r" + std::to_string(r) + "\\(.*\\)\"\n";
    full += "end\n";
    const std::vector<failure_case> cases = {
        {"no_computer_name", "", 136, true, "QXHOST", "Failed to determine the hostname"},
        {"empty_computer_name", "", 136, false, "", "Failed to determine the hostname"},
        {"no_free_rule", full.c_str(), 4, false, "QXHOST",
         "Failed to added parse rule required for SwissProt - too many rules already in quorix.dat?"},
        {"no_subclusterset", "Options\nend\nCluster\nEnabled 0\nend\n", 8, false, "QXHOST", "No SubClusterSet entry in quorix.dat"},
    };
    const std::string templ = file("template.dat", kSmallTemplate);
    for (const failure_case& c : cases) {
        SCOPED_TRACE(c.name);
        machine.nameFails = c.nameFails;
        machine.name = c.hostName;
        const std::string existing = *c.existing ? file("existing.dat", c.existing) : "";
        merge(templ, existing, with(c.flags, ""));
        EXPECT_FALSE(errors.isValid());
        EXPECT_EQ(errors.getMessage(-1), c.last);
        if (std::string(c.name) != "no_free_rule") {
            EXPECT_FALSE(result);
        }
    }
}

TEST_F(MergeTest, UnreadableTemplateGivesTheReadsOwnError)
{
    merge("no/such/not.quorix.dat", "", with(136));
    EXPECT_FALSE(result);
    EXPECT_FALSE(errors.isValid());
    EXPECT_EQ(errors.getMessage(-1),
              "Cannot find file 'quorix.dat'. It contains the most important configuration parameters");
}

TEST_F(MergeTest, TemplateWithoutActiveSwissProtIsOnlyAWarning)
{
    const std::string templ = file("template.dat", "Databases\n#SwissProt\tsp\tAA\t1\t1\t1\t1\t1\t0\t0\t1\t2\t0\nend\n"
                                                   "Cluster\nSubClusterSet 0 ###THREADS###\nend\n");
    merge(templ, "", with(4 | 136));
    EXPECT_TRUE(errors.isValid());
    const auto all = messages();
    EXPECT_NE(std::find(all.begin(), all.end(), "No entry for SwissProt found in not.quorix.dat"), all.end());
}

}  // namespace
