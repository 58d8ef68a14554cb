// The node list file: the cases of nodelist.txt, and a read error before the
// end (writing is in node_list_dlg.txt).
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
        for (std::string line : c.in) {
            const bool lf = line.size() >= 4 && line.compare(line.size() - 4, 4, "<LF>") == 0;
            const bool eof = line.size() >= 5 && line.compare(line.size() - 5, 5, "<EOF>") == 0;
            text += line.substr(0, line.size() - (lf ? 4 : eof ? 5 : 0)) + (lf ? "\n" : eof ? "" : "\r\n");
        }
        if (c.in == std::vector<std::string>{"<missing>"}) DeleteFileW(path.c_str());
        else qxtest::WriteFileBytes(path, text);
        context.session.capture.messages.clear();
        qxkit::Boxes::All().clear();
        std::vector<ClusterNode> nodes{ClusterNode()};  // emptied first
        std::vector<std::string> got{"read "};
        try {
            got[0] += ReadNodeList(path, nodes) ? "1" : "0";
        } catch (const msiu::MSIError&) {
            got[0] += "threw an installer error";
        } catch (...) {
            got[0] += "threw, for the calling action's failure ladder";
        }
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
            if (line.find(qxkit::N(path)) != std::string::npos) line.replace(line.find(qxkit::N(path)), path.size(), "$F");
        qxkit::ExpectCase(file, c, got);
    }
}

TEST_F(NodeListFile, AReadErrorBeforeTheEndGivesTheSecondBox)
{
    // A pipe whose server hangs up after two lines: the read after them fails.
    const std::wstring pipe = L"\\\\.\\pipe\\qx-nodelist-" + std::to_wstring(GetCurrentProcessId());
    HANDLE server = CreateNamedPipeW(pipe.c_str(), PIPE_ACCESS_OUTBOUND, PIPE_TYPE_BYTE | PIPE_WAIT, 1, 4096, 4096,
                                     0, nullptr);
    ASSERT_NE(server, INVALID_HANDLE_VALUE);
    std::thread writer([server] {
        ConnectNamedPipe(server, nullptr);
        const std::string lines = "Node 192.0.2.7:5001,h,1,Windows_NT,C:/x,\\\\y\\z\r\n"
                                  "Node 192.0.2.8:5001,i,1,Windows_NT,C:/x,\\\\y\\w\r\n";
        DWORD written = 0;
        WriteFile(server, lines.data(), static_cast<DWORD>(lines.size()), &written, nullptr);
        FlushFileBuffers(server);  // returns once the reader has taken both lines
        DisconnectNamedPipe(server);
    });
    std::vector<ClusterNode> nodes;
    const bool result = ReadNodeList(pipe, nodes);
    writer.join();
    CloseHandle(server);
    EXPECT_FALSE(result);
    ASSERT_EQ(boxes.boxes().size(), 1u);
    EXPECT_EQ(boxes.boxes()[0].text, L"An error occurred while reading the node list: " + pipe);
    EXPECT_EQ(boxes.boxes()[0].caption, L"Warning");
    EXPECT_EQ(boxes.boxes()[0].style, 0x30u);
    EXPECT_EQ(nodes.size(), 2u) << "what was read before the error stays";
}

}  // namespace
