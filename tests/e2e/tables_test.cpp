// An end-to-end install in which the installer's own standard actions work
// from the rows our table actions added: old sequence database files really
// removed and moved, the Perl modules for the Perl found really duplicated,
// the monitor service really started.
#include <gtest/gtest.h>

#include "msiexec.h"
#include "run.h"

namespace {

using qxnative::DriveC;
using qxnative::Exists;

const std::string kDir = "qx-tables";
std::string At(const std::string& relative) { return DriveC(kDir + "/" + relative); }

class TableRows : public ::testing::Test {
protected:
    void SetUp() override
    {
        qxnative::Msiexec("/x", "", "e2e-tables-reset");
        qxnative::Run("rm -rf '" + DriveC(kDir) + "' && mkdir -p '" + At("sequence/current") + "' '" +
                      At("sequence/old") + "'");
        for (const char* f : {"a.i00", "a.stats", "SwissProt_1.fasta", "README", "notes.txt"})
            qxnative::WriteFile(At(std::string("sequence/current/") + f), std::string(f) + "\n");
        qxnative::WriteFile(At("sequence/old/stale.txt"), "from the install before\n");
    }
    void TearDown() override
    {
        if (installed_) {
            EXPECT_EQ(qxnative::Msiexec("/x", "", "e2e-tables-remove").exitCode, 0);
            EXPECT_EQ(qxnative::ReadFile(At("bin/monitor.log")), "started\r\nstopped\r\n");
        }
        qxnative::Run("rm -rf '" + DriveC(kDir) + "'");
    }
    bool installed_ = false;
};

TEST_F(TableRows, StandardActionsActOnTheAddedRows)
{
    const auto install = qxnative::Msiexec(
        "/i", "QUORIX_APACHE_WEB_VDIR=quorix QUORIX_WEB_URL=http://localhost/quorix QUORIXDIR=C:\\" + kDir + "\\",
        "e2e-tables");
    installed_ = install.exitCode == 0;
    ASSERT_EQ(install.exitCode, 0) << install.output;

    // RemoveFile rows: index and statistics files gone.
    EXPECT_FALSE(Exists(At("sequence/current/a.i00")));
    EXPECT_FALSE(Exists(At("sequence/current/a.stats")));
    // The row that empties old_8 ("*") reaches RemoveFiles, but Wine's
    // RemoveFiles deletes the literal name and expands no wildcard (measured),
    // so the stale file stays here; Windows removes it.
    EXPECT_TRUE(qxnative::LogHas(install, "File: SchedSeqDBSwapOut__old, Directory: C:\\qx-tables\\sequence\\old\\"));
    EXPECT_TRUE(Exists(At("sequence/old/stale.txt")));
    // MoveFile row: the file that is neither database nor README went to old_8.
    EXPECT_FALSE(Exists(At("sequence/current/notes.txt")));
    ASSERT_TRUE(Exists(At("sequence/old/notes.txt")));
    EXPECT_EQ(qxnative::ReadFile(At("sequence/old/notes.txt")), "notes.txt\n");
    // Kept: what matches the database wildcard, README, and the new file.
    EXPECT_TRUE(Exists(At("sequence/current/SwissProt_1.fasta")));
    EXPECT_TRUE(Exists(At("sequence/current/README")));
    EXPECT_TRUE(Exists(At("sequence/current/SwissProt_new.fasta")));
    // DuplicateFile rows for Perl 5.8: the modules under their generic names.
    ASSERT_TRUE(Exists(At("perl/qxparser.dll")));
    EXPECT_EQ(qxnative::ReadFile(At("perl/qxparser.dll")), qxnative::ReadFile(At("perl/qxparser58.dll")));
    ASSERT_TRUE(Exists(At("perl/GD.dll")));
    EXPECT_FALSE(Exists(At("perl/bgd.dll")));

    // The ServiceControl row: StartServices started the monitor service.
    EXPECT_EQ(qxnative::ReadFile(At("bin/monitor.log")), "started\r\n");

    for (const char* line :
         {"SchedMonitorSvcStart:  Adding row to the ServiceControl table.",
          "SchedDuplicatePerlMods:  Adding row to the DuplicateFile table: "
          "qxparser.dll_dup|qxparser58.dll|qxparser58.dll|qxparser.dll",
          "SchedDuplicatePerlMods:  Adding row to the DuplicateFile table: GD.dll_dup|GD58.dll|GD58.dll|GD.dll",
          "SchedSeqDBSwapOut:  Adding row to the MoveFile table: ???",
          "SchedSeqDBSwapOut:  Adding row to the RemoveFile table: ???",
          "DetectLegacyUpgrade:  No legacy version key found."})
        EXPECT_TRUE(qxnative::LogHas(install, line)) << "missing log line: " << line;
}

}  // namespace
