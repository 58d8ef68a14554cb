// The merge's golden files through qxdat, with the fixed machine that they
// were made with, to a file and on standard output (where the messages move
// to standard error); everything else qxdat does is in run-table's rows,
// which run against the built program, natively and under Wine.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <unistd.h>

#include "orvane/qx_machine.h"
#include "qxdat_cli.h"
#include "test_machine.h"

static std::string Read(const std::string& path)
{
    std::ostringstream s;
    s << std::ifstream(path, std::ios::binary).rdbuf();
    return s.str();
}

TEST(QxdatMerge, GoldenFilesByFileAndOnStandardOutput)
{
    qxtestfiles::test_machine machine;
    orvane::qx_machine::replace(&machine);
    const std::string merge = QX_MERGE_DIR "/", tmp = std::filesystem::temp_directory_path().string() + "/qxdat-golden-" +
                                                 std::to_string(getpid()) + "-";
    // A first install (no existing file) and an upgrade; how many lines of messages each gives.
    const struct {
        const char *existing, *golden;
        long messages;
    } cases[] = {{"", "first_install.expected", 11}, {"admin.dat", "admin_upgrade.expected", 25}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.golden);
        // The settings the golden files were made with; the groups are the defaults.
        std::vector<std::string> args = {"merge", QX_PACKAGE_DIR "/not.quorix.dat"};
        const std::string before = *c.existing ? Read(merge + c.existing) : "", existing = tmp + "quorix.dat";
        if (*c.existing) std::ofstream(existing, std::ios::binary) << before, args.push_back(existing);
        args.insert(args.end(), {"--root", "C:\\Quorix\\", "--url", "http://qxhost/quorix/", "--seq", "D:\\seq\\"});
        const std::string golden = Read(merge + c.golden);
        ASSERT_FALSE(golden.empty());
        std::ostringstream out[2], err[2];
        EXPECT_EQ(qxdat::run(args, out[0], err[0]), 0) << err[0].str();
        args.insert(args.end(), {"-o", tmp + "out.dat"});
        EXPECT_EQ(qxdat::run(args, out[1], err[1]), 0) << out[1].str();
        EXPECT_EQ(Read(tmp + "out.dat"), golden);
        EXPECT_EQ(out[0].str(), golden);
        EXPECT_EQ(err[1].str(), "");
        EXPECT_EQ(err[0].str(), out[1].str());
        const std::string log = out[1].str();
        EXPECT_EQ(log.rfind("qxparser [3:0] -- Successfully loaded not.quorix.dat from " QX_PACKAGE_DIR "/not.quorix.dat\n", 0), 0u);
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), c.messages) << log;
        EXPECT_EQ(Read(existing), before);  // unchanged, or still not there
        std::filesystem::remove(tmp + "out.dat");
        std::filesystem::remove(existing);
    }
    orvane::qx_machine::replace(nullptr);
}
