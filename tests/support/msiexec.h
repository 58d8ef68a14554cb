// End-to-end installs of the sample package under Wine's msiexec, run from
// native tests: the real exit code, the verbose log, paths in the prefix.
#pragma once

#include <string>

namespace qxnative {

struct Install {
    int exitCode = -1;
    std::string log;     // the verbose install log (ANSI, CRLF)
    std::string output;  // what the command printed
};

std::string WinePrefix();
std::string WinPath(const std::string& unixPath);  // Z:\... as Wine sees it
std::string DriveC(const std::string& relative);    // the prefix's C:\relative on disk
std::string SamplePackage();
std::string MinimalPackage();  // quorix-minimal.msi: CreateApacheConf and UpdateQuorixDat only

// msiexec VERB <package, the sample one by default> /qn /l*v build/test-results/<logName>.log
// PROPERTIES, run inside cmd so that the real exit code comes back (a shell
// sees it modulo 256). With a metabase file the run goes through the metabase
// emulator's tool, the emulator standing in for the machine's IIS.
Install Msiexec(const std::string& verb, const std::string& properties, const std::string& logName,
                const std::string& metabaseFile = "", const std::string& package = "");
bool LogHas(const Install& install, const std::string& line);

}  // namespace qxnative
