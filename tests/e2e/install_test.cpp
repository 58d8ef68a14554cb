// End-to-end installs of the sample package under Wine's msiexec: what ends
// up on disk after execute, commit and rollback, the real exit code, and the
// actions' own lines in the install log.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "msiexec.h"
#include "run.h"

namespace {

const char* kDir = "qx-e2e";  // C:\qx-e2e\ in the prefix

using qxnative::Install;
using qxnative::LogHas;
using qxnative::Msiexec;

std::string Root() { return qxnative::DriveC(kDir); }
std::string Config(const std::string& name) { return Root() + "/config/" + name; }

std::string Golden(const std::string& name)
{
    return qxnative::ReadFile(qxnative::SourceDir() + "/tests/e2e/golden/" + name);
}

const std::string kOld = "# written by hand\r\nAlias /old C:/old/\r\n";

struct Scenario {
    const char* name;
    bool oldFile;             // an httpd.conf stands before the install
    const char* properties;
    int exitCode;
    const char* expectF;      // "golden", "old"
    const char* expectB;      // nullptr, "old"
    std::vector<std::string> logLines;
    std::vector<std::string> absentLines;
};

// The package's own files, all gone after a removal without properties.
const char* const kPackageFiles[] = {"perl/qxparser58.dll", "perl/GD58.dll", "sequence/current/SwissProt_new.fasta",
                                     "config/not.quorix.dat", "config/readme.txt", "cgi/search.pl", "x-cgi/status.pl",
                                     "html/index.html", "htdig/htdig.conf", "htdig/bin/htdig.exe",
                                     "htdig/bin/htmerge.exe", "htdig/bin/htnotify.exe", "htdig/bin/htfuzzy.exe",
                                     "bin/qxmonitor.exe"};

// A product left installed by an interrupted run would turn /i into
// maintenance: remove it once before any scenario.
class ResetProduct : public ::testing::Environment {
public:
    void SetUp() override
    {
        ASSERT_TRUE(qxnative::Exists(qxnative::SamplePackage())) << "build the win64 tree first";
        Msiexec("/x", "", "e2e-reset");
    }
};
const auto* const kReset = ::testing::AddGlobalTestEnvironment(new ResetProduct);

class ApacheInstall : public ::testing::TestWithParam<Scenario> {
protected:
    void SetUp() override { qxnative::Run("rm -rf '" + Root() + "'"); }
    void TearDown() override
    {
        if (installed_) {
            EXPECT_EQ(Msiexec("/x", "", std::string("e2e-remove-") + GetParam().name).exitCode, 0);
            for (const char* f : kPackageFiles)
                EXPECT_FALSE(qxnative::Exists(Root() + "/" + f)) << f << " stayed after the removal";
        }
        qxnative::Run("rm -rf '" + Root() + "'");
    }
    bool installed_ = false;
};

TEST_P(ApacheInstall, LeavesTheRightFiles)
{
    const Scenario& s = GetParam();
    if (s.oldFile) {
        qxnative::Run("mkdir -p '" + Root() + "/config'");
        qxnative::WriteFile(Config("httpd.conf"), kOld);
    }
    const Install i = Msiexec("/i", std::string(s.properties) + " QUORIX_APACHE_WEB_VDIR=quorix QUORIXDIR=C:\\" + kDir + "\\",
                              std::string("e2e-") + s.name);
    installed_ = i.exitCode == 0;
    ASSERT_EQ(i.exitCode, s.exitCode) << i.output;

    const std::string expectF = std::string(s.expectF) == "old" ? kOld : Golden("httpd.conf");
    ASSERT_TRUE(qxnative::Exists(Config("httpd.conf")));
    EXPECT_EQ(qxnative::ReadFile(Config("httpd.conf")), expectF);
    EXPECT_FALSE(qxnative::Exists(Config("httpd.conf.tmp")));
    if (s.expectB)
        EXPECT_EQ(qxnative::ReadFile(Config("httpd.conf.bak")), kOld);
    else
        EXPECT_FALSE(qxnative::Exists(Config("httpd.conf.bak")));

    for (const auto& line : s.logLines) EXPECT_TRUE(LogHas(i, line)) << "missing log line: " << line;
    for (const auto& line : s.absentLines)
        EXPECT_EQ(i.log.find(line), std::string::npos) << "unexpected log text: " << line;
}

const std::string kCreating =
    "CreateApacheConfDeferred:  Creating new Apache configuration file: C:\\qx-e2e\\config\\httpd.conf";
const std::string kCopying = "CreateApacheConfDeferred:  Copying file \"C:\\qx-e2e\\config\\httpd.conf\" to "
                             "\"C:\\qx-e2e\\config\\httpd.conf.tmp\"";
const std::string kToBackup = "CreateApacheConfDeferred:  Moving file \"C:\\qx-e2e\\config\\httpd.conf.tmp\" to "
                              "\"C:\\qx-e2e\\config\\httpd.conf.bak\"";
const std::string kRestore = "CreateApacheConfDeferred:  Moving file \"C:\\qx-e2e\\config\\httpd.conf.tmp\" to "
                             "\"C:\\qx-e2e\\config\\httpd.conf\"";
const std::string kFailing = "FailInstallIfAsked:  failing the install on request";

INSTANTIATE_TEST_SUITE_P(
    Scenarios, ApacheInstall,
    ::testing::Values(
        Scenario{"FirstInstall", false, "", 0, "golden", nullptr, {kCreating}, {"CreateApacheConfDeferred:  Copying file", "CreateApacheConfDeferred:  Moving file"}},
        Scenario{"Upgrade", true, "", 0, "golden", "old", {kCopying, kCreating, kToBackup}, {kRestore}},
        Scenario{"LateFailureRestoresOldFile", true, "QX_FAIL_LATE=1", 1603, "old", nullptr,
                 {kCopying, kCreating, kFailing, kRestore}, {kToBackup}},
        Scenario{"LateFailureOnFirstInstallKeepsNewFile", false, "QX_FAIL_LATE=1", 1603, "golden", nullptr,
                 {kCreating, kFailing}, {"CreateApacheConfDeferred:  Moving file"}},
        // From a legacy version: the new folders are handed on without a trailing backslash.
        Scenario{"LegacyUpgrade", false,
                 "QUORIX_LEGACY_VERSION=2.1.20 QUORIX_LEGACY_MONITOR_DIR=C:\\qx-e2e\\monitor\\ "
                 "QUORIX_LEGACY_WEB_URL=http://localhost/quorix/ QUORIX_WEB_URL=http://localhost/quorix "
                 "QUORIX_SEQ_DB_DIR=C:\\qx-e2e\\sequence\\",
                 0, "golden", nullptr,
                 {kCreating, "Property(S): QuorixLegacyMonitorDirNew = C:\\qx-e2e\\bin",
                  "Property(S): QuorixLegacyConfigDirNew = C:\\qx-e2e\\config"},
                 {}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ApacheInstallFailure, MissingWebPathFailsTheInstallWithItsText)
{
    qxnative::Run("rm -rf '" + Root() + "'");
    // The web path normally comes from the web server dialog; here nobody set it.
    const Install i = Msiexec("/i", std::string("QUORIXDIR=C:\\") + kDir + "\\",
                              "e2e-missing-vdir");
    EXPECT_EQ(i.exitCode, 1603) << i.output;
    EXPECT_TRUE(LogHas(i, "CreateApacheConf:  Property \"QUORIX_APACHE_WEB_VDIR\" does not exist  (0x80070057)"));
    EXPECT_FALSE(qxnative::Exists(Config("httpd.conf")));
    qxnative::Run("rm -rf '" + Root() + "'");
}

}  // namespace
