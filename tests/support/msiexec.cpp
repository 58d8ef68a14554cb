#include "msiexec.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "run.h"

namespace qxnative {

std::string WinePrefix()
{
    const char* p = std::getenv("WINEPREFIX");
    return p && *p ? p : SourceDir() + "/build/wine";
}

std::string WinPath(const std::string& unixPath)
{
    std::string w = "Z:" + unixPath;
    std::replace(w.begin(), w.end(), '/', '\\');
    return w;
}

std::string DriveC(const std::string& relative) { return WinePrefix() + "/drive_c/" + relative; }
std::string SamplePackage() { return BuildDir("win64") + "/package/quorix-sample.msi"; }
std::string MinimalPackage() { return BuildDir("win64") + "/package/quorix-minimal.msi"; }

namespace {

// Wine's Internet shortcut object has no IShellLinkW, so CreateURLShortcuts
// can't work with it; for the time of an install the class points at the
// stand-in of testing/standins, as the in-process tests do.
const std::string kShortcutServerKey =
    "'HKLM\\Software\\Classes\\CLSID\\{FBF23B40-E3F0-101B-8488-00AA003E56F8}\\InprocServer32'";

class ShortcutStandIn {
public:
    ShortcutStandIn() { Point(WinPath(BuildDir("win64") + "/testing/standins/qxshortcut.dll")); }
    ~ShortcutStandIn() { Point("C:\\windows\\system32\\ieframe.dll"); }

private:
    static void Point(const std::string& server)
    {
        Run(SourceDir() + "/tools/wine-run reg add " + kShortcutServerKey + " /ve /d '" + server + "' /f");
    }
};

}  // namespace

Install Msiexec(const std::string& verb, const std::string& properties, const std::string& logName,
                const std::string& metabaseFile, const std::string& package)
{
    ShortcutStandIn shortcuts;
    const std::string log = SourceDir() + "/build/test-results/" + logName + ".log";
    std::remove(log.c_str());
    const std::string msiexec =
        "msiexec " + verb + " " + WinPath(package.empty() ? SamplePackage() : package) + " /qn /l*v " + WinPath(log) + " " + properties;
    std::string command, exitMark;
    if (metabaseFile.empty()) {
        command = SourceDir() + "/tools/wine-run cmd /c '" + msiexec + " & echo ERRORLEVEL=%ERRORLEVEL%'";
        exitMark = "ERRORLEVEL=";
    } else {
        // The emulator's tool registers the emulator as the prefix's IIS
        // provider for the run only and reports the exit code.
        command = SourceDir() + "/tools/wine-run '" + BuildDir("win64") + "/testing/metabase/qxmetabase.exe' with '" +
                  WinPath(metabaseFile) + "' '" + msiexec + "'";
        exitMark = "exit code: ";
    }
    Install result;
    // Under load Wine now and then fails to start cmd, or cmd fails to find
    // msiexec (9009): no log came back, nothing ran, and the same command is
    // tried again. A run that wrote its log is never repeated.
    RunResult r;
    auto at = std::string::npos;
    for (int attempt = 0; attempt < 3; ++attempt) {
        r = Run(command);
        at = r.output.rfind(exitMark);
        const bool started = at != std::string::npos && std::atoi(r.output.c_str() + at + exitMark.size()) != 9009;
        if (started || Exists(log)) break;
    }
    result.output = r.output;
    if (at != std::string::npos) result.exitCode = std::atoi(r.output.c_str() + at + exitMark.size());
    if (Exists(log)) result.log = ReadFile(log);
    return result;
}

bool LogHas(const Install& install, const std::string& line)
{
    const auto lines = Lines(install.log);
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

}  // namespace qxnative
