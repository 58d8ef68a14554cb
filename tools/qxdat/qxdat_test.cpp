// The merge's golden files through qxdat, with the fixed machine that they
// were made with; everything else qxdat does is in run-table's rows, which
// run against the built program, natively and under Wine.
#include <gtest/gtest.h>

#include "test_machine.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

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

std::string read(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

const std::string kTemplate = std::string(QX_PACKAGE_DIR) + "/not.quorix.dat";
const std::string kMergeDir = QX_MERGE_DIR;

TEST(QxdatMerge, GoldenFilesByFileAndOnStandardOutput)
{
    qxtestfiles::test_machine machine;
    orvane::qx_machine::replace(&machine);
    struct Case {
        const char* name;
        const char* existing;  // a file of the merge's test folder, or "" for a first install
        const char* golden;
        long messages;
    };
    const Case cases[] = {
        {"first_install", "", "first_install.expected", 11},
        {"upgrade", "admin.dat", "admin_upgrade.expected", 25},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const fs::path d = fs::temp_directory_path() / ("qxdat-golden-" + std::string(c.name));
        fs::remove_all(d);
        fs::create_directories(d);
        // The settings the golden files were made with; the groups are the defaults.
        std::vector<std::string> args = {"merge", kTemplate};
        std::string before;
        if (*c.existing) {
            before = read(kMergeDir + "/" + c.existing);
            std::ofstream((d / "quorix.dat").string(), std::ios::binary) << before;
            args.push_back((d / "quorix.dat").string());
        }
        args.insert(args.end(), {"--root", "C:\\Quorix\\", "--url", "http://qxhost/quorix/", "--seq", "D:\\seq\\"});
        const std::string golden = read(kMergeDir + "/" + c.golden);
        ASSERT_FALSE(golden.empty());

        std::vector<std::string> toFile = args;
        toFile.insert(toFile.end(), {"-o", (d / "out.dat").string()});
        Result file = run(toFile);
        EXPECT_EQ(file.code, 0) << file.out;
        EXPECT_EQ(read((d / "out.dat").string()), golden);
        EXPECT_EQ(file.err, "");
        EXPECT_EQ(file.out.rfind("qxparser [3:0] -- Successfully loaded not.quorix.dat from " + kTemplate + "\n", 0), 0u);
        EXPECT_EQ(std::count(file.out.begin(), file.out.end(), '\n'), c.messages) << file.out;

        // Standard output carries the same text, and the messages move aside.
        Result stdOut = run(args);
        EXPECT_EQ(stdOut.code, 0) << stdOut.err;
        EXPECT_EQ(stdOut.out, golden);
        EXPECT_EQ(stdOut.err, file.out);
        if (*c.existing) {
            EXPECT_EQ(read((d / "quorix.dat").string()), before);
        }
        fs::remove_all(d);
    }
    orvane::qx_machine::replace(nullptr);
}

}  // namespace
