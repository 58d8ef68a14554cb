// The node list file read, and written back, as the cases of nodelist.txt
// tell (the writer's own cases are in node_list_dlg.txt).
#include <gtest/gtest.h>

#include <thread>

#include "cluster/cluster_node.h"
#include "qxtest/kit.h"
#include "msiu/error.h"

namespace {

using qxkit::ActionContext;

using qxkit::ScriptedNames;

class NodeListFile : public ::testing::Test {
protected:
    ActionContext context;
    qxkit::Boxes boxes;
    ScriptedNames names{{{"quorixnode2", "192.0.2.12"}}};
    qxtest::TempDir dir;
    std::wstring path = dir.File(L"nodelist.txt");
};

// nodelist.txt: what each line form loads as, what a write makes of it, and
// every refused line with its logged reason, the others loaded.
TEST_F(NodeListFile, EachCaseOfNodelistTxt)
{
    const std::wstring file = qxtest::SourceDir() + L"\\custom_actions\\cluster\\tests\\nodelist.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) {
        std::string text;
        const bool piped = !c.in.empty() && c.in[0] == "<pipe>";
        for (std::string line : c.in) {
            if (line == "<pipe>") continue;
            const bool lf = line.size() >= 4 && line.compare(line.size() - 4, 4, "<LF>") == 0;
            const bool eof = line.size() >= 5 && line.compare(line.size() - 5, 5, "<EOF>") == 0;
            text += line.substr(0, line.size() - (lf ? 4 : eof ? 5 : 0)) + (lf ? "\n" : eof ? "" : "\r\n");
        }
        if (c.in == std::vector<std::string>{"<missing>"}) DeleteFileW(path.c_str());
        else qxtest::WriteFileBytes(path, text);
        context.session.capture.messages.clear();
        qxkit::Boxes::All().clear();
        std::vector<ClusterNode> nodes{ClusterNode()};  // emptied first
        // A pipe whose server hangs up after the lines: the read after them fails.
        const std::wstring pipe = L"\\\\.\\pipe\\qx-nodelist-" + std::to_wstring(GetCurrentProcessId());
        HANDLE server = piped ? CreateNamedPipeW(pipe.c_str(), PIPE_ACCESS_OUTBOUND, PIPE_TYPE_BYTE | PIPE_WAIT, 1, 4096, 4096, 0, nullptr)
                              : INVALID_HANDLE_VALUE;
        std::thread writer([&] {
            DWORD n = 0;
            if (!piped) return;
            ConnectNamedPipe(server, nullptr);
            WriteFile(server, text.data(), static_cast<DWORD>(text.size()), &n, nullptr);
            FlushFileBuffers(server);  // returns once the reader has taken it all
            DisconnectNamedPipe(server);
        });
        std::vector<std::string> got{"read "};
        try {
            got[0] += ReadNodeList(piped ? pipe : path, nodes) ? "1" : "0";
        } catch (const msiu::MSIError&) {
            got[0] += "threw an installer error";
        } catch (...) {
            got[0] += "threw, for the calling action's failure ladder";
        }
        writer.join();
        if (piped) CloseHandle(server);
        for (const ClusterNode& n : nodes)
            got.push_back(qxkit::N(L"node " + n.ipAddress + L"|" + n.hostName + L"|" + std::to_wstring(n.port) + L"|" +
                                   std::to_wstring(n.cpuCount) + L"|" + n.localPath + L"|" + n.uncPath));
        for (const auto& line : context.Info()) got.push_back("info: " + qxkit::N(line));
        for (const auto& b : boxes.boxes())
            got.push_back(qxkit::N(L"box: " + b.text + L"|" + b.caption + L"|" + std::to_wstring(b.style) + L"|owner " +
                                   (b.owner ? L"set" : L"0")));
        if (!nodes.empty()) WriteNodeList(path, nodes);
        const std::string written = nodes.empty() ? "" : qxtest::ReadFileBytes(path);
        for (size_t at = 0, end; (end = written.find("\r\n", at)) != std::string::npos; at = end + 2)
            got.push_back("written " + written.substr(at, end - at));
        for (auto& line : got)
            for (const auto& [at, key] : {std::pair{qxkit::N(path), "$F"}, {qxkit::N(pipe), "$P"}})
                if (line.find(at) != std::string::npos) line.replace(line.find(at), at.size(), key);
        qxkit::ExpectCase(file, c, got);
    }
}

}  // namespace
