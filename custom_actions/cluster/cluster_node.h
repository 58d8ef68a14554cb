// One node of the compute cluster, and the node list file nodelist.txt that
// keeps them, one line a node.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class ClusterNode {
public:
    ClusterNode() = default;
    ClusterNode(const ClusterNode&) = default;
    ClusterNode& operator=(const ClusterNode&) = default;
    virtual ~ClusterNode() = default;

    void SetUNCPath(const std::wstring& text) { uncPath = text; }
    void SetLocalPath(const std::wstring& text) { localPath = text; }
    void SetHostName(const std::wstring& text) { hostName = text; }
    void SetIPAddress(const std::wstring& text) { ipAddress = text; }

    // The server part of uncPath; quiet gives "" for a path that isn't UNC.
    std::wstring GetUNCServer(bool quiet) const;

    std::wstring uncPath;
    std::wstring localPath;  // with backslashes
    std::wstring hostName;   // empty: the UNC server stands in
    std::wstring ipAddress;  // empty: the UNC server stands in
    uint16_t port = 5001;
    uint16_t cpuCount = 1;
};

// Fills `nodes` with every node line that parses. False when a line was
// refused or the file could not be read; the user has had a box by then.
bool ReadNodeList(const std::wstring& path, std::vector<ClusterNode>& nodes);
// The whole file anew; fails with msiu::MSIError.
void WriteNodeList(const std::wstring& path, const std::vector<ClusterNode>& nodes);
