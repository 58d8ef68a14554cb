// The minimal package (quorix-minimal.wxs: the fragment and two of its
// actions) under Wine's msiexec: a first install, an upgrade over an
// administrator's files and a late failure that rolls back, each followed by
// a removal without properties that takes the package's files away.
#include <gtest/gtest.h>

#include "msiexec.h"
#include "run.h"

namespace {

using qxnative::Exists;
using qxnative::ReadFile;

const std::string kDir = "qx-e2e";  // the folder of the golden httpd.conf
std::string At(const std::string& relative) { return qxnative::DriveC(kDir + "/" + relative); }
const std::string kOldConf = "# written by hand\r\nAlias /old C:/old/\r\n";
const std::string kPackageFiles[] = {"config/not.quorix.dat", "cgi/search.pl", "x-cgi/status.pl", "html/index.html"};

qxnative::Install Minimal(const std::string& verb, const std::string& properties, const std::string& log)
{
    return qxnative::Msiexec(verb, properties, "e2e-minimal-" + log, "", qxnative::MinimalPackage());
}

struct Scenario {
    const char* name;
    bool oldFiles;  // an administrator's httpd.conf and quorix.dat stand before the install
    const char* properties;
    int exitCode;
};

class MinimalPackage : public ::testing::TestWithParam<Scenario> {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(Exists(qxnative::MinimalPackage())) << "build the win64 tree first";
        Minimal("/x", "", "reset");
        qxnative::Run("rm -rf '" + At("") + "' && mkdir -p '" + At("config") + "'");
    }
    void TearDown() override { qxnative::Run("rm -rf '" + At("") + "'"); }
};

TEST_P(MinimalPackage, InstallsRollsBackAndRemoves)
{
    const Scenario& s = GetParam();
    const std::string admin = ReadFile(qxnative::SourceDir() + "/common/src/qxparser/tests/merge/admin.dat");
    if (s.oldFiles) {
        qxnative::WriteFile(At("config/httpd.conf"), kOldConf);
        qxnative::WriteFile(At("config/quorix.dat"), admin);
    }
    const auto install = Minimal("/i",
                             "QUORIXDIR=C:\\" + kDir + "\\ QUORIX_APACHE_WEB_VDIR=quorix QUORIX_WEB_URL=http://qxhost/quorix/ "
                             "QUORIX_WEB_ROOT_DIR=C:\\Quorix\\ QUORIX_SEQ_DB_DIR=D:\\seq\\ " + s.properties,
                             s.name);
    ASSERT_EQ(install.exitCode, s.exitCode) << install.output;
    for (const char* f : {"config/httpd.conf.tmp", "config/quorix.dat.tmp"}) EXPECT_FALSE(Exists(At(f))) << f;

    if (s.exitCode != 0) {  // rolled back: the administrator's files byte for byte, no backups
        EXPECT_EQ(ReadFile(At("config/httpd.conf")), kOldConf);
        EXPECT_EQ(ReadFile(At("config/quorix.dat")), admin);
        for (const char* f : {"config/httpd.conf.bak", "config/quorix.dat.bak"}) EXPECT_FALSE(Exists(At(f))) << f;
        return;
    }
    EXPECT_EQ(ReadFile(At("config/httpd.conf")),
              ReadFile(qxnative::SourceDir() + "/tests/e2e/golden/httpd.conf"));
    ASSERT_TRUE(Exists(At("config/quorix.dat")));
    EXPECT_NE(ReadFile(At("config/quorix.dat")), admin);
    EXPECT_EQ(Exists(At("config/httpd.conf.bak")), s.oldFiles);
    if (s.oldFiles) EXPECT_EQ(ReadFile(At("config/quorix.dat.bak")), admin);
    EXPECT_TRUE(qxnative::LogHas(install, std::string("UpdateQuorixDatDeferred:  qxparser [3:0] -- Successfully loaded ") +
                                              (s.oldFiles ? "existing quorix.dat from C:\\qx-e2e\\config\\quorix.dat"
                                                          : "not.quorix.dat from C:\\qx-e2e\\config\\not.quorix.dat")));

    // As a user removes it: no properties. The install folder comes back
    // from the registry; what our actions wrote is not the package's and stays.
    EXPECT_EQ(Minimal("/x", "", std::string(s.name) + "-remove").exitCode, 0);
    for (const auto& f : kPackageFiles) EXPECT_FALSE(Exists(At(f))) << f << " stayed after the removal";
    EXPECT_TRUE(Exists(At("config/httpd.conf")));
    EXPECT_TRUE(Exists(At("config/quorix.dat")));
}

INSTANTIATE_TEST_SUITE_P(Scenarios, MinimalPackage,
                         ::testing::Values(Scenario{"FirstInstall", false, "", 0},
                                           Scenario{"Upgrade", true, "", 0},
                                           Scenario{"LateFailure", true, "QX_FAIL_LATE=1", 1603}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
