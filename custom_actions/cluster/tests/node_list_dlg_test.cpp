// The setup dialog's logic without a window: text fitting against a measure
// of fixed widths, the list line, Add's and Delete's bookkeeping, and the
// checks of OK.
#include <gtest/gtest.h>

#include "cluster/node_list_dlg.h"
#include "qxtest/kit.h"
#include "msiu/error.h"

namespace {

// Dialog units to pixels as a font 6 wide per 4 units would; 'W' is 12
// pixels, 'i' 4, every other character 6.
class FixedMeasure : public TextMeasure {
public:
    int DialogUnitsToPixels(int width) const override { return width * 6 / 4; }
    int TextWidth(const std::wstring& text) const override
    {
        ++calls;
        int w = 0;
        for (wchar_t c : text) w += c == L'W' ? 12 : c == L'i' ? 4 : 6;
        return w;
    }
    mutable int calls = 0;
};

TEST(TextFitting, ElideText)
{
    struct Case {
        const char* name;
        std::wstring text;
        int width;
        bool ellipsis;
        std::wstring expected;
    };
    const Case cases[] = {
        {"empty stays empty", L"", 0, true, L""},
        {"exactly as wide as the limit", std::wstring(33, L'a'), 132, true, std::wstring(33, L'a')},
        {"one too many: cut with an ellipsis", std::wstring(34, L'a'), 132, true, std::wstring(30, L'a') + L"..."},
        {"no ellipsis asked", std::wstring(34, L'a'), 132, false, std::wstring(33, L'a')},
        {"ellipsis would take half the column", L"abcdefgh", 24, true, L"abcdef"},
        {"ellipsis at exactly half", L"abcdefghijk", 25, true, L"abcdef"},
        {"ellipsis just under half", L"abcdefghijk", 26, true, L"abc..."},
        {"zero width leaves nothing", L"abc", 0, true, L""},
        {"uneven widths take a second pass", L"WWWWWWWWiiii", 40, false, L"WWWWW"},
        {"an estimate at the length cuts one character", L"WWi", 18, false, L"WW"},
    };
    for (const Case& c : cases) {
        FixedMeasure m;
        EXPECT_EQ(NodeListDlg::ElideText(c.text, c.width, c.ellipsis, m), c.expected) << c.name;
    }
}

TEST(TextFitting, ALongPathTakesFewPasses)
{
    FixedMeasure m;
    const std::wstring path = L"\\\\server\\" + std::wstring(2000, L'x');
    const std::wstring fitted = NodeListDlg::ElideText(path, 100, true, m);
    EXPECT_EQ(fitted, path.substr(0, 22) + L"...");
    EXPECT_LE(m.calls, 4);
}

TEST(TextFitting, FitColumnUsesTheColumnLessFourUnits)
{
    FixedMeasure m;
    // Widths in units: 132, 24, 48, 100, 100; in pixels 198, 36, 72, 150, 150.
    const int fits[] = {33, 6, 12, 25, 25};
    for (int column = 0; column < 5; ++column) {
        SCOPED_TRACE(column);
        const std::wstring whole(fits[column], L'n');
        EXPECT_EQ(NodeListDlg::FitColumn(whole, column, m), whole);
        const std::wstring longer = whole + L"n";
        EXPECT_NE(NodeListDlg::FitColumn(longer, column, m), longer);
    }
    // The port column is too narrow for an ellipsis.
    EXPECT_EQ(NodeListDlg::FitColumn(L"1234567", 1, m), L"123456");
    EXPECT_EQ(NodeListDlg::FitColumn(L"", 3, m), L"");
}

TEST(ListLine, AddressTextAndColumns)
{
    ClusterNode n;
    n.SetUNCPath(L"\\\\n1\\Q");
    n.SetLocalPath(L"C:\\Q");
    n.port = 6000;
    n.cpuCount = 12;
    EXPECT_EQ(NodeListDlg::AddressText(n), L"n1");
    n.SetHostName(L"host1");
    EXPECT_EQ(NodeListDlg::AddressText(n), L"host1");
    n.SetIPAddress(L"192.0.2.7");
    EXPECT_EQ(NodeListDlg::AddressText(n), L"192.0.2.7 (host1)");
    n.SetHostName(L"");
    EXPECT_EQ(NodeListDlg::AddressText(n), L"192.0.2.7");
    ClusterNode bare;
    bare.SetUNCPath(L"C:\\not-unc");
    EXPECT_EQ(NodeListDlg::AddressText(bare), L"");

    FixedMeasure m;
    n.SetHostName(L"host1");
    EXPECT_EQ(NodeListDlg::ListLine(n, m), L"192.0.2.7 (host1)\t6000\t12\t\\\\n1\\Q\tC:\\Q");
    n.SetLocalPath(L"C:\\" + std::wstring(40, L'd'));
    EXPECT_EQ(NodeListDlg::ListLine(n, m),
              L"192.0.2.7 (host1)\t6000\t12\t\\\\n1\\Q\tC:\\" + std::wstring(19, L'd') + L"...");
}

TEST(AddAndDelete, NewNodeTakesPortAndProcessorsOfTheLast)
{
    std::vector<ClusterNode> nodes;
    ClusterNode first = NodeListDlg::NewNode(nodes);
    EXPECT_EQ(first.port, 5001);
    EXPECT_EQ(first.cpuCount, 1);
    ClusterNode last;
    last.SetUNCPath(L"\\\\a\\b");
    last.SetHostName(L"a");
    last.port = 6000;
    last.cpuCount = 4;
    nodes = {ClusterNode(), last};
    const ClusterNode next = NodeListDlg::NewNode(nodes);
    EXPECT_EQ(next.port, 6000);
    EXPECT_EQ(next.cpuCount, 4);
    EXPECT_TRUE(next.uncPath.empty() && next.hostName.empty());
}

TEST(AddAndDelete, DeleteSelectsTheNextLineOrNone)
{
    struct Case {
        size_t count;
        int index;
        int selected;
    };
    const Case cases[] = {{3, 2, 1}, {3, 1, 1}, {3, 0, 0}, {2, 1, 0}, {1, 0, -1}};
    for (const Case& c : cases) {
        std::vector<ClusterNode> nodes(c.count);
        for (size_t i = 0; i < c.count; ++i) nodes[i].port = static_cast<uint16_t>(i);
        EXPECT_EQ(NodeListDlg::DeleteNode(nodes, c.index), c.selected) << c.count << " " << c.index;
        ASSERT_EQ(nodes.size(), c.count - 1);
        for (size_t i = 0; i < nodes.size(); ++i)
            EXPECT_NE(nodes[i].port, c.index) << "the chosen node is gone";
    }
}

ClusterNode Node(const wchar_t* unc, const wchar_t* address, const wchar_t* host, uint16_t port = 5001)
{
    ClusterNode n;
    n.SetUNCPath(unc);
    n.SetIPAddress(address);
    n.SetHostName(host);
    n.port = port;
    return n;
}

TEST(OkChecks, UniquenessByExactFieldComparison)
{
    qxkit::ActionContext context;  // the string table's texts
    const std::wstring dup = L"Two or more nodes have the same address or UNC path - each node must be unique: ";
    struct Case {
        const char* name;
        std::vector<ClusterNode> nodes;
        std::wstring text;  // empty: accepted
    };
    const Case cases[] = {
        {"no nodes", {}, L"There must be at least one cluster node defined."},
        {"one node", {Node(L"\\\\a\\x", L"192.0.2.1", L"a")}, L""},
        {"same UNC path",
         {Node(L"\\\\a\\x", L"192.0.2.1", L"a"), Node(L"\\\\a\\x", L"192.0.2.2", L"b")}, dup + L"\\\\a\\x"},
        {"same address",
         {Node(L"\\\\a\\x", L"192.0.2.1", L"a"), Node(L"\\\\b\\x", L"192.0.2.1", L"b")}, dup + L"192.0.2.1"},
        {"same host name",
         {Node(L"\\\\a\\x", L"192.0.2.1", L"a"), Node(L"\\\\b\\x", L"192.0.2.2", L"a")}, dup + L"a"},
        {"address named before host",
         {Node(L"\\\\a\\x", L"192.0.2.1", L"a"), Node(L"\\\\b\\x", L"192.0.2.1", L"a")}, dup + L"192.0.2.1"},
        {"ports take no part",
         {Node(L"\\\\a\\x", L"192.0.2.1", L"a", 5001), Node(L"\\\\b\\x", L"192.0.2.1", L"b", 6000)},
         dup + L"192.0.2.1"},
        {"case counts", {Node(L"\\\\A\\x", L"", L"A"), Node(L"\\\\a\\x", L"", L"a")}, L""},
        {"a host equal to another's address is no duplicate",
         {Node(L"\\\\a\\x", L"192.0.2.1", L""), Node(L"\\\\b\\x", L"", L"192.0.2.1")}, L""},
        {"empty fields are not compared",
         {Node(L"\\\\srv\\one", L"", L""), Node(L"\\\\srv\\two", L"", L""), Node(L"", L"", L"")}, L""},
        {"two shares on one machine through the edit dialog",
         {Node(L"\\\\srv\\one", L"192.0.2.5", L"srv"), Node(L"\\\\srv\\two", L"192.0.2.5", L"srv")},
         dup + L"192.0.2.5"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        try {
            NodeListDlg::CheckNodes(c.nodes);
            EXPECT_EQ(c.text, L"") << "accepted";
        } catch (const msiu::MSIError& e) {
            EXPECT_EQ(e.Text(), c.text);
            EXPECT_EQ(static_cast<uint32_t>(e.Code()), 0x80070057u);
        }
    }
}

}  // namespace
