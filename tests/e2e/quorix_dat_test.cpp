// End-to-end installs that make and merge quorix.dat under Wine's msiexec:
// a first install from the package's template, an upgrade of an
// administrator's file with SwissProt selected and the cluster on, and a late
// failure that restores the old file; the node list of a cluster setup is
// carried into the configuration directory on the way.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include <string>
#include <vector>

#include "msiexec.h"
#include "run.h"

namespace {

using qxnative::Exists;
using qxnative::Install;
using qxnative::LogHas;
using qxnative::ReadFile;

const std::string kDir = "qx-dat";  // C:\qx-dat\ in the prefix
std::string At(const std::string& relative) { return qxnative::DriveC(kDir + "/" + relative); }
std::string Merged() { return At("config/quorix.dat"); }
std::string MergeGolden(const std::string& name)
{
    return qxnative::SourceDir() + "/common/src/qxparser/tests/merge/" + name;
}

// What every install here is given: the same web address and directories the
// merge's own golden files were made with.
const std::string kProperties = "QUORIXDIR=C:\\" + kDir +
                                "\\ QUORIX_APACHE_WEB_VDIR=quorix QUORIX_WEB_URL=http://qxhost/quorix/ "
                                "QUORIX_WEB_ROOT_DIR=C:\\Quorix\\ QUORIX_SEQ_DB_DIR=D:\\seq\\";

std::string WithoutCR(const std::string& text)
{
    std::string out;
    for (char c : text)
        if (c != '\r') out += c;
    return out;
}

// The merged file with this machine's facts put back to those of the golden
// files: the computer name (QXHOST) and the thread count of the sub cluster.
std::string Normalised(std::string text)
{
    text = WithoutCR(text);
    const std::string nameKey = "\nMasterComputerName ";
    const size_t at = text.find(nameKey);
    if (at != std::string::npos) {
        const size_t from = at + nameKey.size();
        const std::string name = text.substr(from, text.find('\n', from) - from);
        if (!name.empty() && name != "QXHOST" && name != "oldhost") {
            for (size_t p = text.find(name); p != std::string::npos; p = text.find(name, p + 6))
                text.replace(p, name.size(), "QXHOST");
        }
    }
    // The thread count stands in the sub cluster and in each database line.
    const std::string setKey = "\nSubClusterSet 0 ";
    const size_t set = text.find(setKey);
    if (set != std::string::npos) {
        const size_t from = set + setKey.size();
        const size_t end = text.find('\n', from);
        const std::string threads = "\t1\t1\t1\t" + text.substr(from, end - from) + "\t";
        text.replace(from, end - from, "4");
        for (size_t p = text.find(threads); p != std::string::npos; p = text.find(threads, p + 1))
            text.replace(p, threads.size(), "\t1\t1\t1\t4\t");
    }
    return text;
}

// The merge's lines reach the engine with their brackets escaped (the
// in-process tests show that), so the log file holds "qxparser [3:0] -- text".
bool LogHasStart(const Install& install, const std::string& start)
{
    for (const auto& line : qxnative::Lines(install.log))
        if (line.rfind(start, 0) == 0) return true;
    return false;
}

class QuorixDat : public ::testing::Test {
protected:
    void SetUp() override
    {
        qxnative::Msiexec("/x", "", "e2e-dat-reset");
        qxnative::Run("rm -rf '" + qxnative::DriveC(kDir) + "' && mkdir -p '" + At("config") + "'");
    }
    void TearDown() override
    {
        if (installed_) EXPECT_EQ(qxnative::Msiexec("/x", "", "e2e-dat-remove").exitCode, 0);
        qxnative::Run("rm -rf '" + qxnative::DriveC(kDir) + "'");
    }
    Install Run(const std::string& extra, const std::string& log)
    {
        Install i = qxnative::Msiexec("/i", kProperties + " " + extra, log);
        installed_ = i.exitCode == 0;
        return i;
    }
    bool installed_ = false;
};

TEST_F(QuorixDat, FirstInstallMakesItFromTheTemplate)
{
    const Install i = Run("", "e2e-dat-first");
    ASSERT_EQ(i.exitCode, 0) << i.output;
    ASSERT_TRUE(Exists(Merged()));
    EXPECT_EQ(Normalised(ReadFile(Merged())), WithoutCR(ReadFile(MergeGolden("first_install.expected"))));
    EXPECT_FALSE(Exists(Merged() + ".tmp"));
    // SwissProt not selected: its entry stays commented out; no cluster answer.
    EXPECT_NE(ReadFile(Merged()).find("\n# SwissProt\t"), std::string::npos);
    EXPECT_TRUE(LogHas(i, "UpdateQuorixDatDeferred:  qxparser [3:0] -- Successfully loaded not.quorix.dat from "
                          "C:\\qx-dat\\config\\not.quorix.dat"));
    EXPECT_TRUE(LogHasStart(i, "UpdateQuorixDatDeferred:  qxparser [3:0] -- Setting number of threads to "));
    EXPECT_TRUE(LogHas(i, "UpdateQuorixDatDeferred:  qxparser [3:0] -- Set the value of Enabled to 0 in the "
                          "cluster section of quorix.dat"));
    // No cluster setup in this install: no node list.
    EXPECT_FALSE(Exists(At("config/nodelist.txt")));
}

std::string WindowsSlashes(std::string path)
{
    std::replace(path.begin(), path.end(), '/', '\\');
    return path;
}

TEST_F(QuorixDat, UpgradeKeepsTheAdministratorsFileAndCarriesTheNodeList)
{
    std::string admin = ReadFile(MergeGolden("admin.dat"));
    const std::string off = "\nCluster\nEnabled 0\n";
    ASSERT_NE(admin.find(off), std::string::npos);
    admin.replace(admin.find(off), off.size(), "\nCluster\nEnabled 1\n");
    qxnative::WriteFile(Merged(), admin);
    const std::string nodes = "node1 192.168.10.11 2 Windows_NT C:/QuorixNode\r\n";
    // The node list is taken only from the temporary folder, where the cluster setup writes it.
    const char* user = std::getenv("USER");
    const std::string temp = std::string("users/") + (user ? user : "root") + "/Temp/qx-dat-nodes.tmp";
    qxnative::WriteFile(qxnative::DriveC(temp), nodes);

    const Install i = Run("ADDLOCAL=Server,ApacheWeb,SwissProt,HelpSearch,WorkingDirs "
                          "QUORIX_NODELIST_TXT_TMP=C:\\" + WindowsSlashes(temp),
                          "e2e-dat-upgrade");
    ASSERT_EQ(i.exitCode, 0) << i.output;
    const std::string golden = qxnative::SourceDir() + "/tests/e2e/golden/quorix.dat.upgrade";
    const std::string merged = Normalised(ReadFile(Merged()));
    // A differing result is kept beside the test reports for review.
    if (!Exists(golden) || merged != WithoutCR(ReadFile(golden))) {
        qxnative::WriteFile(qxnative::SourceDir() + "/build/test-results/quorix.dat.upgrade.actual", merged);
    }
    ASSERT_TRUE(Exists(golden));
    EXPECT_EQ(merged, WithoutCR(ReadFile(golden)));
    // The commit keeps the administrator's file as the backup.
    EXPECT_FALSE(Exists(Merged() + ".tmp"));
    ASSERT_TRUE(Exists(Merged() + ".bak"));
    EXPECT_EQ(ReadFile(Merged() + ".bak"), admin);
    EXPECT_TRUE(LogHas(i, "UpdateQuorixDatDeferred:  qxparser [3:0] -- Successfully loaded existing quorix.dat "
                          "from C:\\qx-dat\\config\\quorix.dat"));
    // The cluster answer read from the old file went into the merge.
    EXPECT_TRUE(LogHas(i, "UpdateQuorixDatDeferred:  qxparser [3:0] -- Set the value of Enabled to 1 in the "
                          "cluster section of quorix.dat"));
    // The help search's configuration went through the same transaction:
    // rewritten, and the package's copy kept as the backup at commit.
    EXPECT_TRUE(LogHas(i, "UpdateHtDigConfDeferred:  Moving file \"C:\\qx-dat\\htdig\\htdig.conf.tmp\" to "
                          "\"C:\\qx-dat\\htdig\\htdig.conf.bak\""));
    EXPECT_NE(ReadFile(At("htdig/htdig.conf")).find("http://qxhost/quorix/"), std::string::npos);
    EXPECT_TRUE(Exists(At("htdig/htdig.conf.bak")));
    ASSERT_TRUE(Exists(At("config/nodelist.txt")));
    EXPECT_EQ(ReadFile(At("config/nodelist.txt")), nodes);
    EXPECT_TRUE(Exists(qxnative::DriveC(temp)));
    qxnative::Run("rm -f '" + qxnative::DriveC(temp) + "'");
}

TEST_F(QuorixDat, LateFailureRestoresTheOldFileByteForByte)
{
    const std::string admin = ReadFile(MergeGolden("admin.dat"));
    qxnative::WriteFile(Merged(), admin);
    const Install i = Run("QX_FAIL_LATE=1", "e2e-dat-late-failure");
    ASSERT_EQ(i.exitCode, 1603) << i.output;
    EXPECT_EQ(ReadFile(Merged()), admin);
    EXPECT_FALSE(Exists(Merged() + ".tmp"));
    EXPECT_FALSE(Exists(Merged() + ".bak"));
    EXPECT_TRUE(LogHasStart(i, "UpdateQuorixDatDeferred:  qxparser [3:0] -- Successfully loaded existing"));
    EXPECT_TRUE(LogHas(i, "FailInstallIfAsked:  failing the install on request"));
    // The help search's rollback put the package's htdig.conf back before the
    // installer's own rollback took the installed files away.
    EXPECT_TRUE(LogHas(i, "UpdateHtDigConfDeferred:  Moving file \"C:\\qx-dat\\htdig\\htdig.conf.tmp\" to "
                          "\"C:\\qx-dat\\htdig\\htdig.conf\""));
    EXPECT_FALSE(Exists(At("htdig/htdig.conf.tmp")));
}

}  // namespace
