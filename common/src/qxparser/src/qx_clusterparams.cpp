#include "orvane/qx_clusterparams.h"

#include <memory>

#include "orvane/qx_errors.h"
#include "orvane/qx_filesource.h"
#include "qx_scan.h"
#include "qx_text.h"

namespace orvane {

using namespace qxparser_internal;

namespace {

const char* const kNodeOSNames[] = {
    "AIX", "Unknown_OS", "Windows_NT", "Irix", "Tru64", "Solaris", "Linux", "LinuxAlpha", "FreeBSD",
};

constexpr size_t kMaxHostName = 99;
constexpr size_t kMaxAddressDigits = 20;
constexpr size_t kMaxOSName = 49;

}  // namespace

const char* qx_clusterparams::nodeOSName(int32_t value)
{
    return value >= 0 && value <= QX_OS_FREEBSD ? kNodeOSNames[value] : nullptr;
}

void qx_clusterparams::defaultValues()
{
    resetLines(" ");
    enabled = false;
    masterComputer = qx_computeraddress();
    defaultNodeOS = QX_OS_WINDOWS_NT;
    defaultNodeHomeDir = "/QuorixNode";
    defaultPort = 5001;
    defaultNodeHomeDirFromMaster.clear();
    quorixNodeScript.clear();
    quorixNodeRebootScript.clear();
    subClusterIds.assign(1, 0);
    subClusterThreads.assign(1, 0);
    subClusterSeen = false;
    ipcTimeout = 10;
    ipcLogging = 0;
    ipcLogfile = "../logs/IPC.log";
    checkNodesAliveFreq = 30;
    secsToWaitForNodeAtStartup = 60;
}

void qx_clusterparams::readSection(section_input& in)
{
    sectionAvailable = true;
    subClusterSeen = false;
    // One level of @include: the section's own source is put aside while
    // the included file's lines come in, and an end line or the end of that
    // file gives it back. Included lines set the typed values only: the
    // @include line itself is what a save writes, so the directive keeps
    // working and no other file's text lands in quorix.dat.
    std::unique_ptr<qx_filesource> included;
    std::string line;
    while (true) {
        if (included) {
            if (!included->getLine(line) || isEndLine(line)) {
                included.reset();
                continue;
            }
        } else {
            if (!in.next() || isEndLine(in.line)) break;
            line.assign(in.line);
        }
        bool blank = isBlankLine(line);

        if (!blank && line.compare(0, 8, "@include") == 0) {
            if (included) {
                in.errors.addError(qxerr::clusterEntry, in.fileName.c_str(), line.c_str());
                continue;
            }
            std::string path = line;
            // A name that ends in blanks is a typing slip, not a file name.
            trailingCut(path);
            parseLine(std::string_view(path));
            path = path.size() > 9 ? path.substr(skipChars(path, 9, " \t")) : std::string();
            included = std::make_unique<qx_filesource>(in.owner, qx_connection_settings());
            if (!included->openInclude(path, in.fileName, in.source.lineNumber())) included.reset();
            continue;
        }

        std::string text = line;
        trailingCut(text);
        if (!included) {
            // A line that only the cut would make an end line keeps its blanks.
            parseLine(std::string_view(blank || isEndLine(text) ? line : text));
        }
        if (blank || isCommentLine(line)) continue;
        readValue(text, in);
    }
}

void qx_clusterparams::readValue(std::string_view view, section_input& in)
{
    const std::string line(view);
    auto is = [&](std::string_view key) { return startsWithNoCase(line, key); };
    auto report = [&]() { in.errors.addError(qxerr::clusterEntry, in.fileName.c_str(), line.c_str()); };
    auto text = [&](std::string& member) {
        if (!scanSecondWord(line, member)) member.clear();
    };

    if (is("Enabled")) {
        int32_t value = 0;
        scanSecondInt(line, value);
        enabled = value == 1;
    } else if (is("MasterComputerName")) {
        readMasterComputer(line, in);
    } else if (is("DefaultNodeOS")) {
        size_t pos = skipChars(line, 13, " \t");
        size_t end = skipToChars(line, pos, " \t,");
        std::string name = line.substr(pos, end - pos);
        if (name.size() > kMaxOSName) name.resize(kMaxOSName);
        for (int32_t value = 0; value <= QX_OS_FREEBSD; ++value) {
            if (name == kNodeOSNames[value]) defaultNodeOS = value;
        }
    } else if (is("DefaultNodeHomeDir") && !is("DefaultNodeHomeDirFromMaster")) {
        text(defaultNodeHomeDir);
    } else if (is("DefaultPort")) {
        scanSecondInt(line, defaultPort);
    } else if (is("DefaultNodeHomeDirFromMaster")) {
        text(defaultNodeHomeDirFromMaster);
    } else if (is("QuorixNodeScript")) {
        text(quorixNodeScript);
    } else if (is("QuorixNodeRebootScript")) {
        text(quorixNodeRebootScript);
    } else if (is("SubClusterSet")) {
        readSubClusterSet(line, in);
    } else if (is("IPCTimeout")) {
        scanSecondInt(line, ipcTimeout);
        if (ipcTimeout < 1) {
            ipcTimeout = 10;
            report();
        }
    } else if (is("IPCLogging")) {
        scanSecondInt(line, ipcLogging);
        if (ipcLogging < 0 || ipcLogging > 2) {
            ipcLogging = 0;
            report();
        }
    } else if (is("IPCLogfile")) {
        text(ipcLogfile);
    } else if (is("checkNodesAliveFreq")) {
        scanSecondInt(line, checkNodesAliveFreq);
        if (checkNodesAliveFreq < 2 || checkNodesAliveFreq > 300) {
            checkNodesAliveFreq = 30;
            report();
        }
    } else if (is("SecsToWaitForNodeAtStartup")) {
        scanSecondInt(line, secsToWaitForNodeAtStartup);
        if (secsToWaitForNodeAtStartup < 0) {
            secsToWaitForNodeAtStartup = 60;
            report();
        }
    }
}

void qx_clusterparams::readMasterComputer(const std::string& line, section_input& in)
{
    // The second item takes digits only, so a dotted address stops at its
    // first dot and is reported; rawText always holds the whole value.
    size_t pos = skipChars(line, 18, " \t");
    masterComputer.rawText = line.substr(pos);
    size_t nameEnd = skipToChars(line, pos, " \t,");
    if (nameEnd - pos > kMaxHostName) nameEnd = pos + kMaxHostName;
    masterComputer.name = line.substr(pos, nameEnd - pos);
    pos = skipChars(line, nameEnd, " ,\t");
    size_t digitsEnd = pos;
    while (digitsEnd < line.size() && digitsEnd - pos < kMaxAddressDigits && isDigit(line[digitsEnd])) ++digitsEnd;
    char next = digitsEnd < line.size() ? line[digitsEnd] : '\0';
    if (next != ':' && next != '#' && next != '\0') {
        in.errors.addError(qxerr::clusterEntry, in.fileName.c_str(), line.c_str());
        return;
    }
    masterComputer.ipAddress = line.substr(pos, digitsEnd - pos);
    if (next == ':') {
        masterComputer.port = static_cast<uint16_t>(leadingInt(std::string_view(line).substr(digitsEnd + 1)));
    }
}

void qx_clusterparams::readSubClusterSet(const std::string& line, section_input& in)
{
    auto report = [&]() { in.errors.addError(qxerr::clusterEntry, in.fileName.c_str(), line.c_str()); };
    std::string_view s(line);
    size_t pos = skipChars(s, 13, " \t");
    int32_t id = 0;
    scanInt(s, pos, id);
    if (id < 0 || id > kMaxSubClusterId) return report();
    pos = skipChars(s, pos, " \t");
    std::string_view rest = s.substr(pos);
    int32_t threads = 1;
    if (rest.find("###THREADS###") == std::string_view::npos) {
        threads = leadingInt(rest);
        if (threads < 1) return report();
        if (threads > kMaxSubClusterThreads) {
            in.errors.addError(qxerr::subClusterCpus, static_cast<int>(id), static_cast<int>(kMaxSubClusterThreads));
            threads = kMaxSubClusterThreads;
        }
    }
    if (!subClusterSeen) {
        subClusterIds.clear();
        subClusterThreads.clear();
        subClusterSeen = true;
    }
    subClusterIds.push_back(id);
    subClusterThreads.push_back(threads);
}

void qx_clusterparams::setEnabled(bool flag)
{
    enabled = flag;
    setBoolProperty("Enabled", flag);
}

void qx_clusterparams::setDefaultNodeOS(int32_t value)
{
    defaultNodeOS = value;
    if (const char* name = nodeOSName(value)) setProperty("DefaultNodeOS", name);
}

void qx_clusterparams::setDefaultNodeHomeDir(const std::string& text)
{
    defaultNodeHomeDir = text;
    setProperty("DefaultNodeHomeDir", text);
}

}  // namespace orvane
