// The Cluster section: whether the server runs as a master with compute
// nodes, and how it talks to them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orvane/qx_section.h"

namespace orvane {

class qx_computeraddress {
public:
    qx_computeraddress() = default;
    qx_computeraddress(const qx_computeraddress&) = default;
    qx_computeraddress& operator=(const qx_computeraddress&) = default;
    virtual ~qx_computeraddress() = default;

    const std::string& getIpAddress() const { return ipAddress; }
    const std::string& getName() const { return name; }
    uint16_t getPort() const { return port; }
    const std::string& getRawText() const { return rawText; }

private:
    friend class qx_clusterparams;
    std::string ipAddress = "127.0.0.1";
    std::string name = "localhost";
    uint16_t port = 0;
    std::string rawText;
};

// Operating systems of the nodes, by the value of DefaultNodeOS.
enum qx_nodeos : int32_t {
    QX_OS_AIX = 0,
    QX_OS_UNKNOWN = 1,
    QX_OS_WINDOWS_NT = 2,
    QX_OS_IRIX = 3,
    QX_OS_TRU64 = 4,
    QX_OS_SOLARIS = 5,
    QX_OS_LINUX = 6,
    QX_OS_LINUX_ALPHA = 7,
    QX_OS_FREEBSD = 8,
};

class qx_clusterparams : public qx_section {
public:
    static constexpr int32_t kMaxSubClusterId = 49;
    static constexpr int32_t kMaxSubClusterThreads = 65536;

    qx_clusterparams() { qx_clusterparams::defaultValues(); }
    void defaultValues() override;
    void readSection(qxparser_internal::section_input& in) override;

    // The name of an operating system value, null if there is none.
    static const char* nodeOSName(int32_t value);

    bool isEnabled() const { return enabled; }
    const qx_computeraddress& getMasterComputer() const { return masterComputer; }
    int32_t getDefaultNodeOS() const { return defaultNodeOS; }
    const std::string& getDefaultNodeHomeDir() const { return defaultNodeHomeDir; }
    int32_t getDefaultPort() const { return defaultPort; }
    const std::string& getDefaultNodeHomeDirFromMaster() const { return defaultNodeHomeDirFromMaster; }
    const std::string& getQuorixNodeScript() const { return quorixNodeScript; }
    const std::string& getQuorixNodeRebootScript() const { return quorixNodeRebootScript; }
    const std::vector<int32_t>& getSubClusterIds() const { return subClusterIds; }
    const std::vector<int32_t>& getSubClusterThreads() const { return subClusterThreads; }
    bool isSubClusterSeen() const { return subClusterSeen; }
    int32_t getIpcTimeout() const { return ipcTimeout; }
    int32_t getIpcLogging() const { return ipcLogging; }
    const std::string& getIpcLogfile() const { return ipcLogfile; }
    int32_t getCheckNodesAliveFreq() const { return checkNodesAliveFreq; }
    int32_t getSecsToWaitForNodeAtStartup() const { return secsToWaitForNodeAtStartup; }

    // The install's setters: member and line change together.
    void setEnabled(bool flag);
    // The line takes the system's name; a value without one is stored alone.
    void setDefaultNodeOS(int32_t value);
    void setDefaultNodeHomeDir(const std::string& text);

protected:
    qx_linestorage lineStorage() const override { return qx_linestorage::afterCutUnlessBlank; }
    void readValue(std::string_view line, qxparser_internal::section_input& in) override;

private:
    void readMasterComputer(const std::string& line, qxparser_internal::section_input& in);
    void readSubClusterSet(const std::string& line, qxparser_internal::section_input& in);

    bool enabled = false;
    qx_computeraddress masterComputer;
    int32_t defaultNodeOS = QX_OS_WINDOWS_NT;
    std::string defaultNodeHomeDir = "/QuorixNode";
    int32_t defaultPort = 5001;
    std::string defaultNodeHomeDirFromMaster;
    std::string quorixNodeScript;
    std::string quorixNodeRebootScript;
    std::vector<int32_t> subClusterIds{0};
    std::vector<int32_t> subClusterThreads{0};
    bool subClusterSeen = false;
    int32_t ipcTimeout = 10;
    int32_t ipcLogging = 0;
    std::string ipcLogfile = "../logs/IPC.log";
    int32_t checkNodesAliveFreq = 30;
    int32_t secsToWaitForNodeAtStartup = 60;
};

}  // namespace orvane
