// The setup dialog's logic and the node list writer without a window, from
// the commands of node_list_dlg.txt.
#include "cluster/node_list_dlg.h"

#include <cstdio>

#include "msiu/error.h"
#include "qxtest/kit.h"

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

// "<N*c>" stands for N times c; the rest of the line after `skip` words.
std::wstring Arg(const std::string& line, int skip)
{
    size_t at = 0;
    for (int i = 0; i < skip; ++i)
        if ((at = line.find(' ', at)) == std::string::npos) return L"";
        else ++at;
    std::string v = line.substr(at);
    for (size_t p; (p = v.find('<')) != std::string::npos && v.find("*", p) != std::string::npos;) {
        const size_t star = v.find('*', p), end = v.find('>', p);
        v.replace(p, end - p + 1, std::string(std::stoul(v.substr(p + 1, star - p - 1)), v[star + 1]));
    }
    return qxkit::W(v);
}

TEST(NodeListLogic, EachCaseOfNodeListDlgTxt)
{
    qxkit::ActionContext context;  // the string table's texts
    qxtest::TempDir dir;
    const std::wstring file = qxtest::SourceDir() + L"\\custom_actions\\cluster\\tests\\node_list_dlg.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) {
        std::vector<ClusterNode> nodes;
        std::vector<std::string> got;
        for (const std::string& line : c.in) {
            std::istringstream words(line);
            std::string cmd;
            int a = 0, b = 0;
            words >> cmd >> a >> b;
            FixedMeasure m;
            std::wstring out;
            if (cmd == "elide") out = NodeListDlg::ElideText(Arg(line, 3), a, b != 0, m);
            if (cmd == "fit") out = NodeListDlg::FitColumn(Arg(line, 2), a, m);
            if (cmd == "elide" || cmd == "fit") got.push_back(qxkit::N(L"-> " + out + L" (" + std::to_wstring(m.calls) + L" measures)"));
            if (cmd == "node") {  // unc|address|host|port|processors|local
                std::wistringstream fields(Arg(line, 1) + L"|");
                std::wstring f[6];
                for (auto& v : f) std::getline(fields, v, L'|');
                nodes.emplace_back();
                nodes.back().SetUNCPath(f[0]);
                nodes.back().SetIPAddress(f[1]);
                nodes.back().SetHostName(f[2]);
                if (!f[3].empty()) nodes.back().port = static_cast<uint16_t>(std::stoi(f[3]));
                if (!f[4].empty()) nodes.back().cpuCount = static_cast<uint16_t>(std::stoi(f[4]));
                nodes.back().SetLocalPath(f[5]);
            }
            for (const ClusterNode& n : nodes) {
                if (cmd == "address") got.push_back(qxkit::N(L"address " + NodeListDlg::AddressText(n)));
                if (cmd == "line") got.push_back(qxkit::N(L"line " + NodeListDlg::ListLine(n, m)));
                if (cmd == "server") got.push_back(qxkit::N(L"server " + n.GetUNCServer(true)));
            }
            if (cmd == "new") {
                const ClusterNode n = NodeListDlg::NewNode(nodes);
                got.push_back(qxkit::N(L"new " + n.uncPath + L"|" + n.ipAddress + L"|" + n.hostName + L"|" +
                                       std::to_wstring(n.port) + L"|" + std::to_wstring(n.cpuCount)));
            }
            if (cmd == "delete") {  // of `a` nodes numbered by their port, the one at `b`
                std::vector<ClusterNode> list(a);
                for (int i = 0; i < a; ++i) list[i].port = static_cast<uint16_t>(i);
                std::string left = "selected " + std::to_string(NodeListDlg::DeleteNode(list, b)) + ", left";
                for (const auto& n : list) left += " " + std::to_string(n.port);
                got.push_back(left);
            }
            try {
                if (cmd == "check") NodeListDlg::CheckNodes(nodes), got.push_back("accepted");
                if (cmd == "strict") nodes.back().GetUNCServer(false), got.push_back("has a server");
                if (cmd == "write") {
                    const std::wstring path = dir.File(Arg(line, 1));
                    if (line.find('\\') == std::string::npos) qxtest::WriteFileBytes(path, "old\r\n");
                    WriteNodeList(path, nodes);
                    const std::string text = qxtest::ReadFileBytes(path);
                    got.push_back("written " + std::to_string(text.size()) + " bytes");
                    for (size_t at = 0, end; (end = text.find("\r\n", at)) != std::string::npos; at = end + 2)
                        got.push_back("written " + text.substr(at, end - at));
                }
            } catch (const msiu::MSIError& e) {
                char code[16];
                std::snprintf(code, sizeof code, "0x%08lx", static_cast<unsigned long>(e.Code()));
                got.push_back("refused " + qxkit::N(e.Text()) + " (" + code + ")");
            }
        }
        for (auto& l : got)
            if (l.find(qxkit::N(dir.Path())) != std::string::npos) l.replace(l.find(qxkit::N(dir.Path())), dir.Path().size(), "$D\\");
        qxkit::ExpectCase(file, c, got);
    }
}

}  // namespace
