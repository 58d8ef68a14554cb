// The node list file: what each line form loads as, what a write makes of it,
// every refused line with its logged reason, and the three warning boxes.
#include <gtest/gtest.h>

#include <thread>

#include "cluster/cluster_node.h"
#include "qxtest/kit.h"
#include "msiu/error.h"

namespace {

using qxkit::ActionContext;

using qxkit::ScriptedNames;

struct Loaded {
    const char* address;  // ipAddress
    const char* host;     // hostName
    unsigned port, cpus;
    const char* local;
    const char* unc;
};

struct RoundTrip {
    const char* name;
    const char* line;     // in the file
    Loaded node;
    const char* written;  // what a write gives back, without its CR LF
};

const RoundTrip kRoundTrips[] = {
    {"address repeats the UNC server", "Node 192.0.2.7:5001,,1,Windows_NT,C:/QuorixNode,\\\\192.0.2.7\\share",
     {"", "", 5001, 1, "C:\\QuorixNode", "\\\\192.0.2.7\\share"},
     "Node 192.0.2.7:5001,,1,Windows_NT,C:/QuorixNode,\\\\192.0.2.7\\share"},
    {"host repeats the UNC server", "Node :5001,quorixnode1,1,Windows_NT,C:/QuorixNode,\\\\quorixnode1\\share",
     {"", "", 5001, 1, "C:\\QuorixNode", "\\\\quorixnode1\\share"},
     "Node :5001,quorixnode1,1,Windows_NT,C:/QuorixNode,\\\\quorixnode1\\share"},
    // Once the host is dropped as a repeat, the address alone is written.
    {"the writer's own example", "Node 192.0.2.7:5001,quorixnode1,2,Windows_NT,C:/QuorixNode,\\\\quorixnode1\\QuorixNode",
     {"192.0.2.7", "", 5001, 2, "C:\\QuorixNode", "\\\\quorixnode1\\QuorixNode"},
     "Node 192.0.2.7:5001,,2,Windows_NT,C:/QuorixNode,\\\\quorixnode1\\QuorixNode"},
    {"overrides that differ from the server", "Node 192.0.2.8:6000,other,4,Windows_NT,D:/Q,\\\\quorixnode1\\Q",
     {"192.0.2.8", "other", 6000, 4, "D:\\Q", "\\\\quorixnode1\\Q"},
     "Node 192.0.2.8:6000,other,4,Windows_NT,D:/Q,\\\\quorixnode1\\Q"},
    {"comparison with the server is case-sensitive", "Node :5001,QuorixNode1,1,Windows_NT,C:/Q,\\\\quorixnode1\\Q",
     {"", "QuorixNode1", 5001, 1, "C:\\Q", "\\\\quorixnode1\\Q"},
     "Node :5001,QuorixNode1,1,Windows_NT,C:/Q,\\\\quorixnode1\\Q"},
    {"a trailing comma is an empty UNC path", "Node 192.0.2.9:5002,h9,1,Windows_NT,C:/x,",
     {"192.0.2.9", "h9", 5002, 1, "C:\\x", ""}, "Node 192.0.2.9:5002,h9,1,Windows_NT,C:/x,"},
    {"a seventh field is dropped", "Node 192.0.2.7:5001,h,1,Windows_NT,C:/x,\\\\y\\z,extra,more",
     {"192.0.2.7", "h", 5001, 1, "C:\\x", "\\\\y\\z"}, "Node 192.0.2.7:5001,h,1,Windows_NT,C:/x,\\\\y\\z"},
    {"field 3 in another case", "Node 192.0.2.7:5001,h,1,windows_nt,C:/x,\\\\y\\z",
     {"192.0.2.7", "h", 5001, 1, "C:\\x", "\\\\y\\z"}, "Node 192.0.2.7:5001,h,1,Windows_NT,C:/x,\\\\y\\z"},
    {"backslashes in the local path", "Node 192.0.2.7:5001,h,1,Windows_NT,C:\\Quorix\\Node,\\\\y\\z",
     {"192.0.2.7", "h", 5001, 1, "C:\\Quorix\\Node", "\\\\y\\z"},
     "Node 192.0.2.7:5001,h,1,Windows_NT,C:/Quorix/Node,\\\\y\\z"},
    {"blanks and tabs around fields", "  Node \t192.0.2.7:5001 ,\th , 3 , Windows_NT , D:/n , \\\\h2\\s \t",
     {"192.0.2.7", "h", 5001, 3, "D:\\n", "\\\\h2\\s"}, "Node 192.0.2.7:5001,h,3,Windows_NT,D:/n,\\\\h2\\s"},
    {"a processor count beyond the dialog's limit", "Node 192.0.2.7:5001,h,300,Windows_NT,C:/x,\\\\y\\z",
     {"192.0.2.7", "h", 5001, 300, "C:\\x", "\\\\y\\z"}, "Node 192.0.2.7:5001,h,300,Windows_NT,C:/x,\\\\y\\z"},
    // Only an address is compared with an address server: a name stays.
    {"a host name in the address field", "Node quorixnode2:5003,,1,Windows_NT,C:/x,\\\\quorixnode2\\z",
     {"quorixnode2", "", 5003, 1, "C:\\x", "\\\\quorixnode2\\z"},
     "Node quorixnode2:5003,,1,Windows_NT,C:/x,\\\\quorixnode2\\z"},
    {"an IPv6 address", "Node [2001:db8::7]:5001,h6,1,Windows_NT,C:/x,\\\\h6\\z",
     {"2001:db8::7", "", 5001, 1, "C:\\x", "\\\\h6\\z"}, "Node [2001:db8::7]:5001,,1,Windows_NT,C:/x,\\\\h6\\z"},
};

class NodeListFile : public ::testing::Test {
protected:
    ActionContext context;
    qxkit::Boxes boxes;
    ScriptedNames names{{{"quorixnode2", "192.0.2.12"}}};
    qxtest::TempDir dir;
    std::wstring path = dir.File(L"nodelist.txt");
};

TEST_F(NodeListFile, EachLineFormLoadsAndWritesBack)
{
    for (const RoundTrip& c : kRoundTrips) {
        SCOPED_TRACE(c.name);
        qxtest::WriteFileBytes(path, std::string(c.line) + "\r\n");
        std::vector<ClusterNode> nodes{ClusterNode()};  // emptied first
        EXPECT_TRUE(ReadNodeList(path, nodes));
        ASSERT_EQ(nodes.size(), 1u);
        const ClusterNode& n = nodes[0];
        EXPECT_EQ(n.ipAddress, qxkit::W(c.node.address));
        EXPECT_EQ(n.hostName, qxkit::W(c.node.host));
        EXPECT_EQ(n.port, c.node.port);
        EXPECT_EQ(n.cpuCount, c.node.cpus);
        EXPECT_EQ(n.localPath, qxkit::W(c.node.local));
        EXPECT_EQ(n.uncPath, qxkit::W(c.node.unc));

        WriteNodeList(path, nodes);
        EXPECT_EQ(qxtest::ReadFileBytes(path), std::string(c.written) + "\r\n");
    }
    EXPECT_TRUE(boxes.boxes().empty());
    EXPECT_TRUE(context.Info().empty());
}

TEST_F(NodeListFile, WholeFileGoldenWithCommentsBlanksAndBareLineFeeds)
{
    const std::string input =
        "# Quorix cluster nodes\r\n"
        "\r\n"
        "   \t\r\n"
        "Node 192.0.2.7:5001,,2,Windows_NT,C:/QuorixNode,\\\\192.0.2.7\\QuorixNode\n"
        "  # indented comment\n"
        "Node :5002,quorixnode1,1,Windows_NT,E:/Q1,\\\\quorixnode1\\Q1\r\n"
        "Node 192.0.2.9:5003,n9,8,Windows_NT,F:/Q9,\\\\192.0.2.10\\Q9";  // no line end
    const std::string golden =
        "Node 192.0.2.7:5001,,2,Windows_NT,C:/QuorixNode,\\\\192.0.2.7\\QuorixNode\r\n"
        "Node :5002,quorixnode1,1,Windows_NT,E:/Q1,\\\\quorixnode1\\Q1\r\n"
        "Node 192.0.2.9:5003,n9,8,Windows_NT,F:/Q9,\\\\192.0.2.10\\Q9\r\n";
    qxtest::WriteFileBytes(path, input);
    std::vector<ClusterNode> nodes;
    EXPECT_TRUE(ReadNodeList(path, nodes));
    ASSERT_EQ(nodes.size(), 3u);
    WriteNodeList(path, nodes);
    EXPECT_EQ(qxtest::ReadFileBytes(path), golden);
    // A second pass changes nothing.
    EXPECT_TRUE(ReadNodeList(path, nodes));
    WriteNodeList(path, nodes);
    EXPECT_EQ(qxtest::ReadFileBytes(path), golden);
    EXPECT_TRUE(boxes.boxes().empty());
}

TEST_F(NodeListFile, EmptyOrCommentOnlyFilesGiveAnEmptyListAndNoBox)
{
    for (const char* text : {"", "# only a comment\r\n\r\n  \t \r\n", "\n\n"}) {
        qxtest::WriteFileBytes(path, text);
        std::vector<ClusterNode> nodes{ClusterNode()};
        EXPECT_TRUE(ReadNodeList(path, nodes));
        EXPECT_TRUE(nodes.empty());
    }
    EXPECT_TRUE(boxes.boxes().empty());
}

TEST_F(NodeListFile, EveryRefusedLineIsLoggedWithItsReasonAndTheOthersLoad)
{
    struct Refusal {
        std::string line;
        std::wstring logged;  // behind the action's prefix
    };
    const Refusal refusals[] = {
        {"node 192.0.2.7:5001,h,1,Windows_NT,C:/x,\\\\y\\z",
         L"Unrecognised node line: node 192.0.2.7:5001,h,1,Windows_NT,C:/x,\\\\y\\z"},
        {"Node", L"Unrecognised node line: Node"},
        {"Nodes 1", L"Unrecognised node line: Nodes 1"},
        {"Node 192.0.2.7:5001,h,1,Windows_NT,C:/x", L"Incomplete node line: Node 192.0.2.7:5001,h,1,Windows_NT,C:/x"},
        {"Node 192.0.2.7:5001,h,1,Linux,C:/x,\\\\y\\z", L"Not a Windows node: Node 192.0.2.7:5001,h,1,Linux,C:/x,\\\\y\\z"},
        {"Node 192.0.2.7,h,1,Windows_NT,C:/x,\\\\y\\z", L"Port number is missing: 192.0.2.7  (0x80070057)"},
        {"Node nosuchnode:5001,,1,Windows_NT,C:/x,\\\\y\\z",
         L"Host name does not appear to exist: nosuchnode  (0x80070057)"},
        {"Node 192.0.2.7:5001,h,x,Windows_NT,C:/x,\\\\y\\z",
         L"CPU count not a number: Node 192.0.2.7:5001,h,x,Windows_NT,C:/x,\\\\y\\z"},
        {"Node 192.0.2.7:5001,h,70000,Windows_NT,C:/x,\\\\y\\z",
         L"CPU count not a number: Node 192.0.2.7:5001,h,70000,Windows_NT,C:/x,\\\\y\\z"},
        {"Node 192.0.2.7:5001,h,-1,Windows_NT,C:/x,\\\\y\\z",
         L"CPU count not a number: Node 192.0.2.7:5001,h,-1,Windows_NT,C:/x,\\\\y\\z"},
    };
    const std::string good = "Node 192.0.2.20:5001,g,1,Windows_NT,C:/g,\\\\g\\g\r\n";
    for (const Refusal& r : refusals) {
        SCOPED_TRACE(r.line);
        qxtest::WriteFileBytes(path, good + "  " + r.line + "  \r\n" + good);
        context.session.capture.messages.clear();
        boxes.boxes();
        qxkit::Boxes::All().clear();
        std::vector<ClusterNode> nodes;
        EXPECT_FALSE(ReadNodeList(path, nodes));
        EXPECT_EQ(nodes.size(), 2u) << "the good lines load";
        EXPECT_EQ(context.Info(), std::vector<std::wstring>{L"ClusterTest:  " + r.logged});
        ASSERT_EQ(boxes.boxes().size(), 1u);
        const auto& box = boxes.boxes()[0];
        EXPECT_EQ(box.text, L"One or more lines of unreadable node list data were skipped in: " + path);
        EXPECT_EQ(box.caption, L"Warning");
        EXPECT_EQ(box.style, 0x30u);
        EXPECT_EQ(box.owner, nullptr);
    }
}

TEST_F(NodeListFile, AnEmptyAddressFieldLeavesTheReaderWithoutAnMSIError)
{
    qxtest::WriteFileBytes(path, "Node ,h,1,Windows_NT,C:/x,\\\\y\\z\r\n");
    std::vector<ClusterNode> nodes;
    bool libraryError = false, other = false;
    try {
        ReadNodeList(path, nodes);
    } catch (const msiu::MSIError&) {
        libraryError = true;
    } catch (...) {
        other = true;
    }
    EXPECT_FALSE(libraryError);
    EXPECT_TRUE(other) << "reaches the calling action's failure ladder";
}

TEST_F(NodeListFile, AMissingFileGivesTheFirstBoxAndAnEmptyList)
{
    std::vector<ClusterNode> nodes{ClusterNode()};
    const std::wstring missing = dir.File(L"none.txt");
    EXPECT_FALSE(ReadNodeList(missing, nodes));
    EXPECT_TRUE(nodes.empty());
    ASSERT_EQ(boxes.boxes().size(), 1u);
    EXPECT_EQ(boxes.boxes()[0].text, L"Can't open node list for reading: " + missing);
    EXPECT_EQ(boxes.boxes()[0].caption, L"Warning");
    EXPECT_EQ(boxes.boxes()[0].style, 0x30u);
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

TEST_F(NodeListFile, WritingAnEmptyListGivesAnEmptyFileAndAFailedWriteIsTold)
{
    qxtest::WriteFileBytes(path, "old\r\n");
    WriteNodeList(path, {});
    EXPECT_EQ(qxtest::ReadFileBytes(path), "");

    const std::wstring bad = dir.File(L"no\\such\\dir\\nodelist.txt");
    try {
        WriteNodeList(bad, {ClusterNode()});
        ADD_FAILURE() << "writing into a missing directory must fail";
    } catch (const msiu::MSIError& e) {
        EXPECT_EQ(static_cast<uint32_t>(e.Code()), 0x80004005u);
        EXPECT_EQ(e.Text(), L"Failed to write node list to: " + bad);
    }
}

TEST_F(NodeListFile, ANodeWithoutOverridesIsWrittenWithTheUNCServerInTheRightField)
{
    ClusterNode byName, byAddress, notUNC;
    byName.SetUNCPath(L"\\\\quorixnode1\\Q");
    byAddress.SetUNCPath(L"\\\\192.0.2.7\\Q");
    byAddress.port = 6000;
    notUNC.SetUNCPath(L"C:\\Q");
    notUNC.cpuCount = 0;
    WriteNodeList(path, {byName, byAddress, notUNC});
    EXPECT_EQ(qxtest::ReadFileBytes(path),
              "Node :5001,quorixnode1,1,Windows_NT,,\\\\quorixnode1\\Q\r\n"
              "Node 192.0.2.7:6000,,1,Windows_NT,,\\\\192.0.2.7\\Q\r\n"
              "Node :5001,,0,Windows_NT,,C:\\Q\r\n");
}

TEST(ClusterNodeRecord, DefaultsCopiesAndUNCServer)
{
    ClusterNode n;
    EXPECT_EQ(n.port, 5001);
    EXPECT_EQ(n.cpuCount, 1);
    EXPECT_TRUE(n.uncPath.empty() && n.localPath.empty() && n.hostName.empty() && n.ipAddress.empty());
    n.SetUNCPath(L"\\\\srv\\share");
    n.SetLocalPath(L"C:\\x");
    n.SetHostName(L"h");
    n.SetIPAddress(L"192.0.2.1");
    n.port = 7;
    n.cpuCount = 9;
    ClusterNode copy(n), assigned;
    assigned = n;
    for (const ClusterNode* c : {&copy, &assigned}) {
        EXPECT_EQ(c->uncPath, n.uncPath);
        EXPECT_EQ(c->localPath, n.localPath);
        EXPECT_EQ(c->hostName, n.hostName);
        EXPECT_EQ(c->ipAddress, n.ipAddress);
        EXPECT_EQ(c->port, 7);
        EXPECT_EQ(c->cpuCount, 9);
    }
    EXPECT_EQ(n.GetUNCServer(true), L"srv");
    n.SetUNCPath(L"C:\\x");
    EXPECT_EQ(n.GetUNCServer(true), L"");
    EXPECT_THROW(n.GetUNCServer(false), msiu::MSIError);
}

}  // namespace
