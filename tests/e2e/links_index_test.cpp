// End-to-end installs of the URL shortcuts and the help index under Wine's
// msiexec: both act in the execute phase only, so an install writes the six
// .url files and the index tools' build log, and a late failure rolls the
// install back around them without taking either away.
#include <gtest/gtest.h>

#include <string>

#include "msiexec.h"
#include "run.h"

namespace {

using qxnative::Exists;
using qxnative::Install;
using qxnative::LogHas;
using qxnative::ReadFile;

const std::string kDir = "qx-links";  // C:\qx-links\ in the prefix
const std::string kUrl = "http://localhost:8080/quorix";  // the address of the shortcuts' golden files
std::string At(const std::string& relative) { return qxnative::DriveC(kDir + "/" + relative); }

const char* const kShortcuts[] = {"Quorix.url", "Search Form - Peptide Mass Fingerprint.url",
                                  "Search Form - Sequence Query.url", "Search Form - MS-MS.url",
                                  "Database status.url", "Search log.url"};

struct Case {
    const char* name;
    const char* properties;
    int exitCode;
};

class LinksAndIndex : public ::testing::TestWithParam<Case> {
protected:
    void SetUp() override
    {
        qxnative::Msiexec("/x", "", "e2e-links-reset");
        qxnative::Run("rm -rf '" + qxnative::DriveC(kDir) + "'");
    }
    void TearDown() override
    {
        if (installed_) EXPECT_EQ(qxnative::Msiexec("/x", "", "e2e-links-remove").exitCode, 0);
        qxnative::Run("rm -rf '" + qxnative::DriveC(kDir) + "'");
    }
    bool installed_ = false;
};

TEST_P(LinksAndIndex, ExecutePhaseWritesThemAndRollbackLeavesThem)
{
    const Case& c = GetParam();
    const Install i = qxnative::Msiexec("/i",
                                        "QUORIXDIR=C:\\" + kDir + "\\ QUORIX_APACHE_WEB_VDIR=quorix QUORIX_WEB_URL=" +
                                            kUrl + " " + c.properties,
                                        std::string("e2e-links-") + c.name);
    installed_ = i.exitCode == 0;
    ASSERT_EQ(i.exitCode, c.exitCode) << i.output;

    const std::string golden = qxnative::SourceDir() + "/custom_actions/shortcuts/tests/golden/";
    for (const char* name : kShortcuts) {
        ASSERT_TRUE(Exists(At("shortcuts/") + name)) << name;
        EXPECT_EQ(ReadFile(At("shortcuts/") + name), ReadFile(golden + name)) << name;
    }
    // The last shortcut's line: the execute phase ran to its end.
    EXPECT_TRUE(LogHas(i, "CreateURLShortcutsDeferred:  Creating URL shortcut for \"" + kUrl +
                              "/x-cgi/qx-review.exe\" in: C:\\" + kDir + "\\shortcuts\\Search log.url"));

    // Five tool runs, each with both of its streams, in one log.
    ASSERT_TRUE(Exists(At("htdig/build.log")));
    const std::string build = ReadFile(At("htdig/build.log"));
    for (const char* tool : {"htdig", "htmerge", "htnotify", "htfuzzy"})
        EXPECT_NE(build.find(std::string(tool) + ": done"), std::string::npos) << tool << "\n" << build;
    EXPECT_TRUE(LogHas(i, "RebuildHtDigIndexDeferred:  Running command: \"C:\\" + kDir +
                              "\\htdig\\bin\\htfuzzy.exe\" -v -c \"C:\\" + kDir + "\\htdig\\htdig.conf\" synonyms"));
    EXPECT_TRUE(LogHas(i, "RebuildHtDigIndexDeferred:  Exit code of child process was: 0x0"));

    // The shortcuts' rollback ran after the failure, and left the files above.
    const size_t failed = i.log.find("FailInstallIfAsked:  failing the install on request");
    EXPECT_EQ(failed != std::string::npos, c.exitCode != 0);
    if (failed != std::string::npos)
        EXPECT_NE(i.log.find(": CreateURLShortcutsRollback.", failed), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Installs, LinksAndIndex,
                         ::testing::Values(Case{"Install", "", 0},
                                           Case{"LateFailureRollsBack", "QX_FAIL_LATE=1", 1603}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
