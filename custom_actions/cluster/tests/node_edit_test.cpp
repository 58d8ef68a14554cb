// The node edit dialog's logic without a window: the check chain step by step
// (where it stops, where the focus goes, what the user reads), what an
// accepted node holds and the suggested local path, from node_edit.txt.
#include "cluster/node_edit_dlg.h"
#include "qxtest/kit.h"

namespace {

using qxkit::ScriptedNames;

const std::map<std::string, std::string> kNames = {
    {"quorixnode1", "192.0.2.7"}, {"hostb", "192.0.2.8"}, {"v6only", "2001:db8::5"}};

NodeEditValues Valid()
{
    NodeEditValues v;
    v.uncPath = L"\\\\quorixnode1\\QuorixNode";
    v.localPath = L"C:\\QuorixNode";
    v.port = L"5001";
    v.cpuCount = L"2";
    return v;
}

TEST(CheckChain, EachCaseOfNodeEditTxt)
{
    ScriptedNames names(kNames);
    const std::wstring file = qxtest::SourceDir() + L"\\custom_actions\\cluster\\tests\\node_edit.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) {
        NodeEditValues v = Valid();
        std::vector<std::string> got;
        for (const std::string& line : c.in) {
            const std::string key = line.substr(0, line.find('='));
            const std::wstring value = qxkit::W(line.substr(std::min(line.size(), key.size() + 1)));
            if (key == "empty") v = NodeEditValues();
            if (key == "suggest") got.push_back("suggest " + qxkit::N(NodeEditDlg::SuggestLocalPath(value)));
            std::wstring* field = key == "unc" ? &v.uncPath : key == "local" ? &v.localPath : key == "port" ? &v.port
                                : key == "cpus" ? &v.cpuCount : key == "host" || key == "hostname" ? &v.hostName
                                : key == "address" || key == "addresstext" ? &v.ipAddress : nullptr;
            if (field) *field = value;
            v.useHostName = v.useHostName || key == "host";
            v.useIPAddress = v.useIPAddress || key == "address";
        }
        if (got.empty()) {
            ScriptedNames::Asked().clear();
            ClusterNode node;
            node.SetHostName(L"stale");
            node.SetIPAddress(L"198.51.100.1");
            const auto failure = NodeEditDlg::ValidateAndCommit(v, node);
            if (failure) got = {"stop " + std::to_string(failure->control), qxkit::N(failure->text)};
            if (!failure || std::count(c.in.begin(), c.in.end(), "show node"))
                got.push_back(qxkit::N(L"node " + node.uncPath + L"|" + node.localPath + L"|" + node.hostName + L"|" +
                                       node.ipAddress + L"|" + std::to_wstring(node.port) + L"|" +
                                       std::to_wstring(node.cpuCount)));
            std::string asked = "asked";
            for (const auto& name : ScriptedNames::Asked()) asked += " " + name;
            if (!failure) got.push_back(asked);
        }
        qxkit::ExpectCase(file, c, got);
    }
}

}  // namespace
