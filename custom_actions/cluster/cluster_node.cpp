#include "cluster/cluster_node.h"

#include <windows.h>
#include <share.h>

#include <cstdio>
#include <memory>

#include "cluster/node_line.h"
#include "cluster/resource_ids.h"
#include "msiu/dialog.h"
#include "msiu/error.h"
#include "msiu/files.h"
#include "msiu/log.h"
#include "msiu/network.h"
#include "pal/strings.h"

namespace {

struct FileCloser {
    void operator()(FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<FILE, FileCloser>;

void Warn(UINT id, const std::wstring& path)
{
    msiu::ShowMessageBox(nullptr, msiu::FormatResourceString(id, {reinterpret_cast<DWORD_PTR>(path.c_str())}),
                         msiu::LoadResourceString(cluster_ids::kWarningCaption), MB_ICONEXCLAMATION);
}

// One node line into `node`; the reason for a refused line is logged and
// false given.
bool ParseNodeLine(const std::wstring& line, ClusterNode& node)
{
    auto refuse = [&](const wchar_t* format) {
        msiu::LogMessage(msiu::kMsgInfo, format, line.c_str());
        return false;
    };
    std::vector<std::wstring> pieces;
    const NodeLineForm form = CheckNodeLine(line, pieces);
    if (form != NodeLineForm::kNode) return refuse(RefusalFormat(form));

    std::wstring address;
    uint16_t port = 0;
    try {
        msiu::ParseHostAndPort(pieces[0], address, false, port, true, 0);
    } catch (const msiu::MSIError& e) {
        msiu::LogError(e, msiu::kMsgInfo);
        return false;
    }

    ClusterNode parsed;
    parsed.localPath = msiu::ToBackSlashes(pieces[4]);
    parsed.uncPath = pieces[5];
    std::wstring host = pieces[1];

    // A field that only repeats the UNC server loads as empty, so that the
    // edit dialog shows no override for it.
    const std::wstring server = parsed.GetUNCServer(true);
    const int kind = msiu::ClassifyHostAddress(server);
    if ((kind == msiu::kIPv4Address || kind == msiu::kIPv6Address) && server == address) address.clear();
    if (kind == msiu::kHostName && server == host) host.clear();
    parsed.hostName = host;
    parsed.ipAddress = address;
    parsed.port = port;

    try {
        parsed.cpuCount = PAL::StrToUShort(pieces[2], 10);
    } catch (...) {
        return refuse(L"CPU count not a number: %s");
    }
    node = parsed;
    return true;
}

}  // namespace

std::wstring ClusterNode::GetUNCServer(bool quiet) const
{
    return msiu::GetUNCServerName(uncPath, quiet);
}

bool ReadNodeList(const std::wstring& path, std::vector<ClusterNode>& nodes)
{
    nodes.clear();
    File in(_wfsopen(path.c_str(), L"rt", _SH_DENYNO));
    if (!in) {
        Warn(cluster_ids::kCantOpenNodeList, path);
        return false;
    }
    bool badLine = false;
    for (std::string raw; ReadNodeListLine(in.get(), raw);) {
        const std::wstring line = PAL::WideText(PAL::Trim(raw), CP_ACP);
        if (line.empty() || line[0] == L'#') continue;
        ClusterNode node;
        if (ParseNodeLine(line, node))
            nodes.push_back(node);
        else
            badLine = true;
    }
    if (std::ferror(in.get()) && !std::feof(in.get())) {
        Warn(cluster_ids::kNodeListReadError, path);
        return false;
    }
    if (badLine) {
        Warn(cluster_ids::kNodeListLinesSkipped, path);
        return false;
    }
    return true;
}

void WriteNodeList(const std::wstring& path, const std::vector<ClusterNode>& nodes)
{
    File out(_wfsopen(path.c_str(), L"wt", _SH_DENYNO));
    bool failed = !out;
    for (const ClusterNode& node : nodes) {
        if (failed) break;
        std::wstring host = node.hostName, address = node.ipAddress;
        if (host.empty() && address.empty()) {
            const std::wstring server = node.GetUNCServer(true);
            switch (msiu::ClassifyHostAddress(server)) {
            case msiu::kIPv4Address:
            case msiu::kIPv6Address: address = server; break;
            case msiu::kHostName: host = server; break;
            default: break;
            }
        }
        const std::string field0 = PAL::NarrowText(msiu::FormatHostAndPort(address, node.port, 0), CP_ACP);
        const std::string line = "Node " + field0 + "," + std::string(PAL::NarrowText(host, CP_ACP)) + "," +
                                 std::to_string(node.cpuCount) + ",Windows_NT," +
                                 std::string(PAL::NarrowText(msiu::ToForwardSlashes(node.localPath), CP_ACP)) +
                                 "," + std::string(PAL::NarrowText(node.uncPath, CP_ACP)) + "\n";
        failed = std::fputs(line.c_str(), out.get()) < 0 || std::fflush(out.get()) != 0;
    }
    if (out) {
        failed = std::ferror(out.get()) || failed;
        failed = (std::fclose(out.release()) != 0) || failed;
    }
    if (failed) msiu::ThrowError(msiu::kFail, L"Failed to write node list to: %s", path.c_str());
}
