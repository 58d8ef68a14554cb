// Both DLLs export exactly the actions of the one list, under the names the
// installer looks up, and import nothing but system DLLs.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <set>

#include "run.h"

namespace {

std::vector<std::string> ActionNames()
{
    std::vector<std::string> names;
    for (const auto& line : qxnative::Lines(qxnative::ReadFile(qxnative::SourceDir() + "/custom_actions/actions.txt")))
        if (!line.empty() && line[0] != '#') names.push_back(line);
    return names;
}

struct PeInfo {
    std::set<std::string> exports;
    std::set<std::string> imports;
};

PeInfo ReadPe(const std::string& objdump, const std::string& dll)
{
    auto r = qxnative::Run(objdump + " -p " + dll);
    EXPECT_EQ(r.status, 0) << r.output;
    PeInfo info;
    bool inNames = false;
    const std::regex exportRow(R"(^\s*\[\s*\d+\]\s+(\S+)\s*$)");
    const std::regex importRow(R"(^\s*DLL Name:\s+(\S+)\s*$)");
    for (const auto& line : qxnative::Lines(r.output)) {
        std::smatch m;
        if (line.find("[Ordinal/Name Pointer] Table") != std::string::npos) {
            inNames = true;
            continue;
        }
        if (inNames && std::regex_match(line, m, exportRow)) {
            info.exports.insert(m[1]);
            continue;
        }
        if (inNames && line.empty()) inNames = false;
        if (std::regex_match(line, m, importRow)) {
            std::string name = m[1];
            std::transform(name.begin(), name.end(), name.begin(), ::tolower);
            info.imports.insert(name);
        }
    }
    return info;
}

struct DllCase {
    const char* preset;
    const char* objdump;
    bool plainNames;
};

class Exports : public ::testing::TestWithParam<DllCase> {};

TEST_P(Exports, MatchTheActionListAndImportOnlySystemDlls)
{
    const auto& c = GetParam();
    const PeInfo pe = ReadPe(c.objdump, qxnative::BuildDir(c.preset) + "/custom_actions/quorixca.dll");
    std::set<std::string> expected;
    for (const auto& a : ActionNames()) {
        expected.insert("_" + a + "@4");
        if (c.plainNames) expected.insert(a);
    }
    EXPECT_EQ(pe.exports, expected);

    // The installer's host process has no C++ runtime of ours to offer.
    const std::set<std::string> system = {"kernel32.dll", "user32.dll", "advapi32.dll", "msi.dll", "msvcrt.dll",
                                          "ole32.dll", "oleaut32.dll", "shell32.dll", "shlwapi.dll", "ws2_32.dll",
                                          "dnsapi.dll", "wininet.dll", "activeds.dll", "comctl32.dll", "gdi32.dll",
                                          "rpcrt4.dll", "comdlg32.dll", "netapi32.dll"};
    for (const auto& dll : pe.imports) EXPECT_TRUE(system.count(dll)) << "imports " << dll;
    EXPECT_TRUE(pe.imports.count("msi.dll"));
}

INSTANTIATE_TEST_SUITE_P(BothArchitectures, Exports,
                         ::testing::Values(DllCase{"win64", "x86_64-w64-mingw32-objdump", true},
                                           DllCase{"win32", "i686-w64-mingw32-objdump", false}),
                         [](const auto& info) { return std::string(info.param.preset); });

TEST(ActionList, HasNoDuplicatesAndFitsTheLogName)
{
    auto names = ActionNames();
    ASSERT_FALSE(names.empty());
    std::set<std::string> unique(names.begin(), names.end());
    EXPECT_EQ(unique.size(), names.size());
    for (const auto& n : names) EXPECT_LE(n.size(), 31u) << n;
}

}  // namespace
