// End-to-end installs of the packages under Wine's msiexec, for what needs the
// engine: what execute, commit and rollback leave on disk, the real exit code
// and the actions' own lines in the install log. Each scenario is a block of
// e2e/scenarios.txt (the verbs are described at its top).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "run.h"

namespace {

using namespace qxnative;

const std::string kRoot = "qx-e2e";  // C:\qx-e2e\ in the prefix

std::string WinPath(std::string path)
{
    std::replace(path.begin(), path.end(), '/', '\\');
    return "Z:" + path;
}
// A path of the scenario's folder, or "C:/..." anywhere on the prefix's drive C.
std::string At(const std::string& path)
{
    const char* prefix = std::getenv("WINEPREFIX");
    return (prefix && *prefix ? prefix : SourceDir() + "/build/wine") + "/drive_c/" + (path.rfind("C:/", 0) == 0 ? path.substr(3) : kRoot + "/" + path);
}
std::string Source(const std::string& file) { return ReadFile(SourceDir() + "/" + file); }
std::string Unescaped(std::string text)
{
    for (auto [from, to] : {std::pair{"\\r", "\r"}, {"\\n", "\n"}})
        for (size_t at; (at = text.find(from)) != std::string::npos;) text.replace(at, 2, to);
    return text;
}

// quorix.dat without CRs, with this machine's facts put back to those of the
// golden files: the computer name (QXHOST) and the thread count of the sub cluster.
std::string Normalised(std::string text)
{
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    const std::string nameKey = "\nMasterComputerName ", setKey = "\nSubClusterSet 0 ";
    if (const size_t at = text.find(nameKey); at != std::string::npos) {
        const size_t from = at + nameKey.size();
        const std::string name = text.substr(from, text.find('\n', from) - from);
        if (!name.empty() && name != "QXHOST" && name != "oldhost")
            for (size_t p = text.find(name); p != std::string::npos; p = text.find(name, p + 6)) text.replace(p, name.size(), "QXHOST");
    }
    // The thread count stands in the sub cluster and in each database line.
    if (const size_t set = text.find(setKey); set != std::string::npos) {
        const size_t from = set + setKey.size(), end = text.find('\n', from);
        const std::string threads = "\t1\t1\t1\t" + text.substr(from, end - from) + "\t";
        text.replace(from, end - from, "4");
        for (size_t p = text.find(threads); p != std::string::npos; p = text.find(threads, p + 1)) text.replace(p, threads.size(), "\t1\t1\t1\t4\t");
    }
    return text;
}

struct Result {
    int exitCode = -1;
    std::string log, output;
};

// msiexec VERB PACKAGE /qn /l*v LOG PROPERTIES inside cmd, so that the real
// exit code comes back (a shell sees it modulo 256); with a metabase file the
// run goes through the emulator's tool, the emulator standing in for IIS.
// Wine's shortcut object has no IShellLinkW: for the run the class points at
// the stand-in, as the in-process tests do.
Result Msiexec(const std::string& verb, const std::string& package, const std::string& properties,
               const std::string& logName, const std::string& metabase)
{
    const std::string key = "'HKLM\\Software\\Classes\\CLSID\\{FBF23B40-E3F0-101B-8488-00AA003E56F8}\\InprocServer32'";
    const auto point = [&](const std::string& server) { Run(SourceDir() + "/tools/wine-run reg add " + key + " /ve /d '" + server + "' /f"); };
    point(WinPath(BuildDir("win64") + "/testing/standins/qxshortcut.dll"));
    const std::string log = SourceDir() + "/build/test-results/" + logName + ".log";
    std::remove(log.c_str());
    const std::string msiexec = "msiexec " + verb + " " + WinPath(BuildDir("win64") + "/package/quorix-" + package + ".msi") +
                                " /qn /l*v " + WinPath(log) + " " + properties;
    const std::string mark = metabase.empty() ? "ERRORLEVEL=" : "exit code: ";
    const std::string command = metabase.empty()
        ? SourceDir() + "/tools/wine-run cmd /c '" + msiexec + " & echo ERRORLEVEL=%ERRORLEVEL% & exit %ERRORLEVEL%'"
        : SourceDir() + "/tools/wine-run '" + BuildDir("win64") + "/testing/metabase/qxmetabase.exe' with '" + WinPath(metabase) + "' '" + msiexec + "'";
    Result result;
    // Under load Wine now and then fails to start cmd, or cmd fails to find
    // msiexec (9009): no log came back, nothing ran, and the same command is
    // tried again. A run that wrote its log is never repeated; if its line
    // with the exit code was lost, the status (modulo 256) tells which of
    // the installer's codes it was.
    for (int attempt = 0; attempt < 3 && result.exitCode == -1; ++attempt) {
        const auto [status, output] = Run(command);
        result.output = output;
        const size_t at = output.rfind(mark);
        if (at != std::string::npos) result.exitCode = std::atoi(output.c_str() + at + mark.size());
        if (result.exitCode == 9009) result.exitCode = -1;
        if (result.exitCode == -1 && Exists(log))
            for (int code : {0, 1602, 1603, 1605, 1618, 3010})
                if (status == code % 256) result.exitCode = code;
        if (Exists(log)) break;
    }
    result.log = ReadFile(log);
    point("C:\\windows\\system32\\ieframe.dll");
    return result;
}

struct Scenario {
    std::string name;
    std::vector<std::pair<std::string, std::string>> steps;  // verb, argument
};

std::vector<Scenario> Scenarios()
{
    std::vector<Scenario> all;
    const char* user = std::getenv("USER");
    for (std::string line : Lines(Source("tests/e2e/scenarios.txt"))) {
        if (line.empty() || line[0] == '#') continue;
        for (size_t at; (at = line.find("${USER}")) != std::string::npos;) line.replace(at, 7, user ? user : "root");
        if (line.rfind("== ", 0) == 0) all.push_back({line.substr(3), {}});
        else if (!all.empty()) all.back().steps.push_back({line.substr(0, line.find(' ')), line.find(' ') == std::string::npos ? "" : line.substr(line.find(' ') + 1)});
    }
    return all;
}

class Install : public ::testing::TestWithParam<Scenario> {};

TEST_P(Install, LeavesTheRightFilesAndLines)
{
    const Scenario& s = GetParam();
    ASSERT_TRUE(Exists(BuildDir("win64") + "/package/quorix-sample.msi")) << "build the win64 tree first";
    std::string package = "sample", metabase, properties;
    bool installed = false;
    static std::vector<std::string> reset;  // packages removed once before their first install
    qxnative::Run("rm -rf '" + At("") + "' && mkdir -p '" + At("config") + "'");
    Result last;
    for (const auto& [verb, arg] : s.steps) {
        SCOPED_TRACE(verb + " " + arg);
        const size_t bar = arg.find(" | ");
        const std::string path = arg.substr(0, bar), rest = bar == std::string::npos ? "" : arg.substr(bar + 3);
        const std::string file = Exists(At(path)) ? ReadFile(At(path)) : "(none)";
        if (verb == "package") package = arg;
        else if (verb == "write" || verb == "text" || verb == "metabase") {
            qxnative::Run("mkdir -p \"$(dirname '" + At(path) + "')\"");
            WriteFile(At(path), verb == "text" ? Unescaped(rest) : Source(rest));
            if (verb == "metabase") metabase = At(path);
        } else if (verb == "install" || verb == "remove") {
            // A product left installed by an interrupted run would turn /i into maintenance.
            if (std::find(reset.begin(), reset.end(), package) == reset.end()) Msiexec("/x", package, "", "e2e-reset-" + package, "");
            reset.push_back(package);
            if (!metabase.empty()) std::remove((metabase + ".changes").c_str());
            if (verb == "install") properties = arg;
            last = Msiexec(verb == "install" ? "/i" : "/x", package, verb == "install" || !metabase.empty() ? properties : "",
                           "e2e-" + s.name + "-" + verb, metabase);
            installed = verb == "install" ? last.exitCode == 0 : installed && last.exitCode != 0;
        } else if (verb == "exit") ASSERT_EQ(last.exitCode, std::stoi(arg)) << last.output;
        else if (verb == "same" || verb == "twin" || verb == "is")
            EXPECT_EQ(file, verb == "same" ? Source(rest) : verb == "twin" ? ReadFile(At(rest)) : Unescaped(rest));
        else if (verb == "has" || verb == "lacks") EXPECT_EQ(file.find(Unescaped(rest)) != std::string::npos, verb == "has");
        // The first line starting with the text's first word is the text.
        else if (verb == "first") EXPECT_EQ(file.find(rest.substr(0, rest.find(' '))), file.find(Unescaped(rest)));
        else if (verb == "exists" || verb == "absent") EXPECT_EQ(Exists(At(arg)), verb == "exists");
        else if (verb == "normalised") {
            const std::string got = Normalised(file), want = Normalised(Source(rest));
            // A differing result is kept beside the test reports for review.
            if (got != want) WriteFile(SourceDir() + "/build/test-results/e2e-" + s.name + ".actual", got);
            EXPECT_EQ(got, want);
        } else if (verb == "log") {
            const auto lines = Lines(last.log);
            EXPECT_NE(std::find(lines.begin(), lines.end(), arg), lines.end()) << "missing log line";
        } else if (verb == "nolog") EXPECT_EQ(last.log.find(arg), std::string::npos) << "unexpected log text";
        else if (verb == "logstart") EXPECT_NE(last.log.find("\n" + arg), std::string::npos) << "missing log line start";
        else if (verb == "logorder") EXPECT_NE(last.log.find(rest, last.log.find(path)), std::string::npos);
        else ADD_FAILURE() << "unknown verb";
    }
    if (installed) {
        EXPECT_EQ(Msiexec("/x", package, metabase.empty() ? "" : properties, "e2e-" + s.name + "-cleanup", metabase).exitCode, 0);
    }
    qxnative::Run("rm -rf '" + At("") + "'");
}

INSTANTIATE_TEST_SUITE_P(Scenarios, Install, ::testing::ValuesIn(Scenarios()),
                         [](const auto& info) { return info.param.name; });

}  // namespace
