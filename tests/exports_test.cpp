// Both DLLs export exactly the actions of the one list, under the names the
// installer looks up, and import nothing but system DLLs.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>
#include <utility>

#include "run.h"

namespace {

// Each shipped DLL's build, and the objdump that reads it.
const std::pair<const char*, const char*> kShipped[] = {{"win64", "x86_64"}, {"win32", "i686"}};

TEST(Exports, MatchTheActionListAndImportOnlySystemDlls)
{
    std::set<std::string> names;
    for (const auto& line : qxnative::Lines(qxnative::ReadFile(qxnative::SourceDir() + "/custom_actions/actions.txt")))
        if (!line.empty() && line[0] != '#') {
            EXPECT_TRUE(names.insert(line).second) << "listed twice: " << line;
            EXPECT_LE(line.size(), 31u) << "longer than a log name: " << line;
        }
    ASSERT_FALSE(names.empty());
    // The installer's host process has no C++ runtime of ours to offer.
    const std::set<std::string> system = {"kernel32.dll", "user32.dll", "advapi32.dll", "msi.dll", "msvcrt.dll",
                                          "ole32.dll", "oleaut32.dll", "shell32.dll", "shlwapi.dll", "ws2_32.dll",
                                          "dnsapi.dll", "wininet.dll", "activeds.dll", "comctl32.dll", "gdi32.dll",
                                          "rpcrt4.dll", "comdlg32.dll", "netapi32.dll"};
    for (auto [preset, objdump] : kShipped) {
        SCOPED_TRACE(preset);
        const auto [status, dump] = qxnative::Run(std::string(objdump) + "-w64-mingw32-objdump -p " + qxnative::BuildDir(preset) + "/custom_actions/quorixca.dll");
        ASSERT_EQ(status, 0) << dump;
        std::set<std::string> exports, imports, expected;
        for (const auto& a : names) {
            expected.insert("_" + a + "@4");
            if (preset == std::string("win64")) expected.insert(a);  // the 32-bit names carry the decoration only
        }
        bool inNames = false;
        std::smatch m;
        const std::regex exportRow(R"(^\s*\[\s*\d+\]\s+(\S+)\s*$)"), importRow(R"(^\s*DLL Name:\s+(\S+)\s*$)");
        for (const auto& line : qxnative::Lines(dump)) {
            if (line.find("[Ordinal/Name Pointer] Table") != std::string::npos) inNames = true;
            else if (inNames && std::regex_match(line, m, exportRow)) exports.insert(m[1]);
            else if (line.empty()) inNames = false;
            if (std::regex_match(line, m, importRow)) {
                std::string dll = m[1];
                std::transform(dll.begin(), dll.end(), dll.begin(), ::tolower);
                imports.insert(dll);
                EXPECT_TRUE(system.count(dll)) << "imports " << dll;
            }
        }
        EXPECT_EQ(exports, expected);
        EXPECT_TRUE(imports.count("msi.dll"));
    }
}

// The installer writes the DLL out of the package for every action it calls:
// what ships is stripped, at most 2,000,000 bytes, and points a debugger at
// its debug information beside it.
TEST(Exports, ShippedStrippedWithItsDebugInformationBeside)
{
    for (auto [preset, objdump] : kShipped) {
        SCOPED_TRACE(preset);
        const std::string dll = qxnative::BuildDir(preset) + "/custom_actions/quorixca.dll";
        EXPECT_LE(std::filesystem::file_size(dll), 2000000u);
        const auto [status, headers] = qxnative::Run(std::string(objdump) + "-w64-mingw32-objdump -h " + dll);
        ASSERT_EQ(status, 0) << headers;
        EXPECT_NE(headers.find(".gnu_debuglink"), std::string::npos);
        EXPECT_EQ(headers.find(".debug_info"), std::string::npos);
        EXPECT_TRUE(std::filesystem::exists(dll + ".debug"));
    }
}

}  // namespace
