// The node edit dialog's logic without a window: the check chain step by
// step (where it stops, where the focus goes, what the user reads), what an
// accepted node holds, and the suggested local path.
#include <gtest/gtest.h>

#include <functional>

#include "cluster/node_edit_dlg.h"
#include "qxtest/kit.h"

namespace {

using qxkit::ScriptedNames;

NodeEditValues Valid()
{
    NodeEditValues v;
    v.uncPath = L"\\\\quorixnode1\\QuorixNode";
    v.localPath = L"C:\\QuorixNode";
    v.port = L"5001";
    v.cpuCount = L"2";
    return v;
}

const std::map<std::string, std::string> kNames = {
    {"quorixnode1", "192.0.2.7"}, {"hostb", "192.0.2.8"}, {"v6only", "2001:db8::5"}};

struct Stop {
    const char* name;
    std::function<void(NodeEditValues&)> change;
    int focus;
    std::wstring text;
};

const std::wstring kPathText =
    L"Cluster node paths may not contain spaces or any of these characters:  ,*?\"<>|";
const std::wstring kIPv6Text =
    L"Sorry, this version of Quorix does not support IPv6. Use an IPv4 address or check with support if there is "
    L"an update available.";

void Host(NodeEditValues& v, const wchar_t* text)
{
    v.useHostName = true;
    v.hostName = text;
}
void Address(NodeEditValues& v, const wchar_t* text)
{
    v.useIPAddress = true;
    v.ipAddress = text;
}

const Stop kStops[] = {
    {"1 all empty", [](NodeEditValues& v) { v = NodeEditValues(); }, 1009,
     L"The UNC path for the node cannot be empty."},
    {"1 blanks only", [](NodeEditValues& v) { v.uncPath = L" \t "; }, 1009,
     L"The UNC path for the node cannot be empty."},
    {"2 blank", [](NodeEditValues& v) { v.uncPath = L"\\\\server\\a b"; }, 1009, kPathText},
    {"2 asterisk", [](NodeEditValues& v) { v.uncPath = L"\\\\server\\a*"; }, 1009, kPathText},
    {"2 bar", [](NodeEditValues& v) { v.uncPath = L"\\\\server\\a|b"; }, 1009, kPathText},
    {"3 drive path", [](NodeEditValues& v) { v.uncPath = L"C:\\Quorix"; }, 1009,
     L"The path to the node must be a UNC path."},
    {"3 forward slashes", [](NodeEditValues& v) { v.uncPath = L"//server/share"; }, 1009,
     L"The path to the node must be a UNC path."},
    {"4 server only", [](NodeEditValues& v) { v.uncPath = L"\\\\server"; }, 1009,
     L"The UNC path to the node must at least include a share name."},
    {"4 server and separator", [](NodeEditValues& v) { v.uncPath = L"\\\\server\\"; }, 1009,
     L"The UNC path to the node must at least include a share name."},
    {"6 unknown server", [](NodeEditValues& v) { v.uncPath = L"\\\\nosuch\\share"; }, 1009,
     L"The UNC server name \"nosuch\" does not appear to exist. Check that the name is correct or try using an IP "
     L"address."},
    {"7 first octet zero", [](NodeEditValues& v) { v.uncPath = L"\\\\0.1.2.3\\share"; }, 1009,
     L"Not a usable IP address: 0.1.2.3"},
    {"7 multicast", [](NodeEditValues& v) { v.uncPath = L"\\\\224.0.0.1\\share"; }, 1009,
     L"Not a usable IP address: 224.0.0.1"},
    {"8 usable IPv6", [](NodeEditValues& v) { v.uncPath = L"\\\\::1\\share"; }, 1009, kIPv6Text},
    {"9 no host name", [](NodeEditValues& v) { v.uncPath = L"\\\\a..b\\share"; }, 1009,
     L"The UNC server name \"a..b\" is not a valid host name or IP address."},
    {"10 local path empty", [](NodeEditValues& v) { v.localPath = L"  "; }, 1011,
     L"The local path for the node cannot be empty."},
    {"11 local path with a blank", [](NodeEditValues& v) { v.localPath = L"C:\\x y"; }, 1011, kPathText},
    {"12 digit for a drive", [](NodeEditValues& v) { v.localPath = L"1:\\x"; }, 1011,
     L"The local path for the node must specify a drive letter and cannot be a UNC path."},
    {"12 UNC as local path", [](NodeEditValues& v) { v.localPath = L"\\\\server\\share"; }, 1011,
     L"The local path for the node must specify a drive letter and cannot be a UNC path."},
    {"14 host override empty", [](NodeEditValues& v) { Host(v, L" "); }, 1014,
     L"Please enter a host name for the node (or unselect this option)."},
    {"15 host with comma", [](NodeEditValues& v) { Host(v, L"a,b"); }, 1014,
     L"The host name cannot contain spaces or commas."},
    {"15 host with blank", [](NodeEditValues& v) { Host(v, L"a b"); }, 1014,
     L"The host name cannot contain spaces or commas."},
    {"16 host is an address", [](NodeEditValues& v) { Host(v, L"192.0.2.7"); }, 1014,
     L"The host name must not be an IP address."},
    {"17 bad label", [](NodeEditValues& v) { Host(v, L"a..b"); }, 1014, L"Not a valid host name label: a..b"},
    {"18 unknown host", [](NodeEditValues& v) { Host(v, L"nosuch"); }, 1014,
     L"The host name \"nosuch\" does not appear to exist."},
    {"20 address override empty", [](NodeEditValues& v) { Address(v, L""); }, 1016,
     L"Please enter an IP address for the node (or unselect this option)."},
    {"21 address with comma", [](NodeEditValues& v) { Address(v, L"192.0.2.7,8"); }, 1016,
     L"The IP address cannot contain spaces or commas."},
    {"22 host name as address", [](NodeEditValues& v) { Address(v, L"hostb"); }, 1016,
     L"Not a valid IP address format: hostb"},
    {"23 unusable address", [](NodeEditValues& v) { Address(v, L"0.1.2.3"); }, 1016,
     L"Not a usable IP address: 0.1.2.3"},
    {"24 IPv6 address", [](NodeEditValues& v) { Address(v, L"2001:db8::1"); }, 1016, kIPv6Text},
    {"26 port empty", [](NodeEditValues& v) { v.port = L""; }, 1017, L"Not a valid integer"},
    {"26 port not a number", [](NodeEditValues& v) { v.port = L"50a"; }, 1017, L"Not a valid integer"},
    {"27 port zero", [](NodeEditValues& v) { v.port = L"0"; }, 1017,
     L"The port number for the node is not within the valid TCP range."},
    {"27 port above 65535", [](NodeEditValues& v) { v.port = L"65536"; }, 1017,
     L"The port number for the node is not within the valid TCP range."},
    {"29 processors empty", [](NodeEditValues& v) { v.cpuCount = L""; }, 1019, L"Not a valid integer"},
    {"30 no processors", [](NodeEditValues& v) { v.cpuCount = L"0"; }, 1019,
     L"The number of CPUs allocated to a node must be between 1 and 128"},
    {"30 too many processors", [](NodeEditValues& v) { v.cpuCount = L"129"; }, 1019,
     L"The number of CPUs allocated to a node must be between 1 and 128"},
    {"33 server only has IPv6", [](NodeEditValues& v) { v.uncPath = L"\\\\v6only\\share"; }, 1009, kIPv6Text},
    {"33 host override only has IPv6", [](NodeEditValues& v) { Host(v, L"v6only"); }, 1013, kIPv6Text},
};

TEST(CheckChain, EachStepStopsWithItsFocusAndText)
{
    ScriptedNames names(kNames);
    for (const Stop& s : kStops) {
        SCOPED_TRACE(s.name);
        NodeEditValues v = Valid();
        s.change(v);
        ClusterNode node;
        const auto failure = NodeEditDlg::ValidateAndCommit(v, node);
        ASSERT_TRUE(failure.has_value());
        EXPECT_EQ(failure->control, s.focus);
        EXPECT_EQ(failure->text, s.text);
    }
}

TEST(CheckChain, ABrokenNameServiceIsToldAsSuchAndNotAsAMissingHost)
{
    ScriptedNames names(kNames);
    for (bool override : {false, true}) {
        NodeEditValues v = Valid();
        if (override)
            Host(v, L"unreachable");
        else
            v.uncPath = L"\\\\unreachable\\share";
        ClusterNode node;
        const auto failure = NodeEditDlg::ValidateAndCommit(v, node);
        ASSERT_TRUE(failure.has_value());
        EXPECT_EQ(failure->control, override ? 1014 : 1009);
        EXPECT_EQ(failure->text.find(L"does not appear to exist"), std::wstring::npos) << qxkit::N(failure->text);
    }
}

struct Pass {
    const char* name;
    std::function<void(NodeEditValues&)> change;
    const wchar_t* unc;
    const wchar_t* local;
    const wchar_t* host;
    const wchar_t* address;
    unsigned port, cpus;
    std::vector<std::string> asked;  // names that went to the name service
};

const Pass kPasses[] = {
    {"no overrides: both from the UNC server", [](NodeEditValues&) {}, L"\\\\quorixnode1\\QuorixNode",
     L"C:\\QuorixNode", L"quorixnode1", L"192.0.2.7", 5001, 2, {"quorixnode1", "quorixnode1"}},
    {"host override: its address", [](NodeEditValues& v) { Host(v, L" hostb "); }, L"\\\\quorixnode1\\QuorixNode",
     L"C:\\QuorixNode", L"hostb", L"192.0.2.8", 5001, 2, {"quorixnode1", "hostb", "hostb"}},
    {"address override: no look-up at the end", [](NodeEditValues& v) { Address(v, L"192.0.2.99"); },
     L"\\\\quorixnode1\\QuorixNode", L"C:\\QuorixNode", L"quorixnode1", L"192.0.2.99", 5001, 2, {"quorixnode1"}},
    {"unchecked overrides are not read",
     [](NodeEditValues& v) {
         v.hostName = L"hostb";
         v.ipAddress = L"192.0.2.99";
     },
     L"\\\\quorixnode1\\QuorixNode", L"C:\\QuorixNode", L"quorixnode1", L"192.0.2.7", 5001, 2,
     {"quorixnode1", "quorixnode1"}},
    {"loopback server: the address is its own name",
     [](NodeEditValues& v) { v.uncPath = L"\\\\127.0.0.1\\share"; }, L"\\\\127.0.0.1\\share", L"C:\\QuorixNode",
     L"127.0.0.1", L"127.0.0.1", 5001, 2, {}},
    {"trimmed fields, bare drive, edges of the ranges",
     [](NodeEditValues& v) {
         v.uncPath = L"  \\\\quorixnode1\\Q\\sub  ";
         v.localPath = L" C: ";
         v.port = L"65535";
         v.cpuCount = L"128";
     },
     L"\\\\quorixnode1\\Q\\sub", L"C:", L"quorixnode1", L"192.0.2.7", 65535, 128, {"quorixnode1", "quorixnode1"}},
    {"lowest values", [](NodeEditValues& v) { v.port = L"1"; v.cpuCount = L"1"; }, L"\\\\quorixnode1\\QuorixNode",
     L"C:\\QuorixNode", L"quorixnode1", L"192.0.2.7", 1, 1, {"quorixnode1", "quorixnode1"}},
};

TEST(CheckChain, AnAcceptedNodeHasAllFourFieldsSet)
{
    ScriptedNames names(kNames);
    for (const Pass& p : kPasses) {
        SCOPED_TRACE(p.name);
        ScriptedNames::Asked().clear();
        NodeEditValues v = Valid();
        p.change(v);
        ClusterNode node;
        node.SetHostName(L"stale");
        node.SetIPAddress(L"198.51.100.1");
        const auto failure = NodeEditDlg::ValidateAndCommit(v, node);
        ASSERT_FALSE(failure.has_value()) << qxkit::N(failure->text);
        EXPECT_EQ(node.uncPath, p.unc);
        EXPECT_EQ(node.localPath, p.local);
        EXPECT_EQ(node.hostName, p.host);
        EXPECT_EQ(node.ipAddress, p.address);
        EXPECT_EQ(node.port, p.port);
        EXPECT_EQ(node.cpuCount, p.cpus);
        EXPECT_EQ(ScriptedNames::Asked(), p.asked);
    }
}

TEST(CheckChain, WhatPassedBeforeAFailureIsAlreadyInTheNode)
{
    ScriptedNames names(kNames);
    NodeEditValues v = Valid();
    v.port = L"0";
    ClusterNode node;
    ASSERT_TRUE(NodeEditDlg::ValidateAndCommit(v, node).has_value());
    EXPECT_EQ(node.uncPath, L"\\\\quorixnode1\\QuorixNode");
    EXPECT_EQ(node.localPath, L"C:\\QuorixNode");
    EXPECT_EQ(node.port, 5001) << "the port itself is not taken";
}

TEST(SuggestLocalPath, DriveAndDirectoryFromTheShare)
{
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"\\\\server\\QuorixNode", L"C:\\QuorixNode"},
        {L"\\\\server\\D$", L"D:\\"},
        {L"\\\\server\\D$\\", L"D:\\"},
        {L"\\\\server\\c$", L"c:\\"},
        {L"\\\\server\\D", L"D:\\"},
        {L"\\\\server\\D$\\Cluster\\Node1", L"D:\\Node1"},
        {L"\\\\server\\e-data\\x", L"e:\\x"},
        {L"\\\\server\\Cluster\\Node1", L"C:\\Node1"},
        {L"\\\\server\\data", L"C:\\data"},
        {L"\\\\server\\x1", L"C:\\x1"},
        {L"\\\\server\\Cluster/", L"C:\\QuorixNode"},
        {L"  \\\\server/share/Node2  ", L"C:\\Node2"},
        {L"\\\\server\\1$", L"C:\\1$"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(NodeEditDlg::SuggestLocalPath(c.first), c.second) << qxkit::N(c.first);
}

}  // namespace
