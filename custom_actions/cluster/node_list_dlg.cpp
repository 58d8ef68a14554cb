#include "cluster/node_list_dlg.h"

#include <set>
#include <sstream>

#include "cluster/node_edit_dlg.h"
#include "msiu/error.h"

using namespace cluster_ids;

namespace {

// The dialog's own measures: its font and its dialog units.
class WindowMeasure : public TextMeasure {
public:
    explicit WindowMeasure(const NodeListDlg& dialog) : dialog_(dialog) {}
    int DialogUnitsToPixels(int width) const override { return dialog_.DialogUnitsToPixels(width); }
    int TextWidth(const std::wstring& text) const override { return dialog_.MeasureText(text); }

private:
    const NodeListDlg& dialog_;
};

std::wstring Decimal(unsigned value)
{
    std::wostringstream out;
    out.imbue(std::locale::classic());
    out << value;
    return out.str();
}

}  // namespace

NodeListDlg::NodeListDlg(std::vector<ClusterNode>& nodes) : nodes_(nodes), tabStops_(TabStops()) {}

std::vector<int> NodeListDlg::TabStops()
{
    std::vector<int> stops{136};
    for (int step : {28, 52, 104, 104}) stops.push_back(stops.back() + step);
    return stops;
}

std::wstring NodeListDlg::AddressText(const ClusterNode& node)
{
    if (!node.ipAddress.empty())
        return node.hostName.empty() ? node.ipAddress : node.ipAddress + L" (" + node.hostName + L")";
    if (!node.hostName.empty()) return node.hostName;
    return node.GetUNCServer(true);
}

std::wstring NodeListDlg::FitColumn(const std::wstring& text, int column, const TextMeasure& measure)
{
    if (text.empty()) return text;
    static const std::vector<int> stops = TabStops();
    int width = stops[column] - (column > 0 ? stops[column - 1] : 0) - 4;
    if (width < 1) width = 0;
    return ElideText(text, width, true, measure);
}

std::wstring NodeListDlg::ElideText(const std::wstring& text, int width, bool withEllipsis,
                                    const TextMeasure& measure)
{
    if (text.empty()) return text;
    int limit = measure.DialogUnitsToPixels(width);
    int textWidth = measure.TextWidth(text);
    if (textWidth <= limit) return text;

    const std::wstring ellipsis = L"...";
    const int ellipsisWidth = measure.TextWidth(ellipsis);
    const bool useEllipsis = withEllipsis && ellipsisWidth < limit / 2;
    if (useEllipsis) limit -= ellipsisWidth;

    // Each pass cuts to the length that the mean character width allows, so
    // that a long path takes few passes.
    std::wstring copy = text;
    while (!copy.empty() && textWidth > limit) {
        int charWidth = static_cast<int>(static_cast<double>(textWidth) / copy.size() + 0.5);
        if (charWidth < 1) charWidth = 1;
        const size_t keep = static_cast<size_t>(limit > 0 ? limit / charWidth : 0);
        if (keep < copy.size())
            copy.resize(keep);
        else
            copy.pop_back();
        textWidth = measure.TextWidth(copy);
    }
    if (useEllipsis) copy += ellipsis;
    return copy;
}

std::wstring NodeListDlg::ListLine(const ClusterNode& node, const TextMeasure& measure)
{
    const std::wstring columns[] = {AddressText(node), Decimal(node.port), Decimal(node.cpuCount), node.uncPath,
                                    node.localPath};
    std::wstring line;
    for (int i = 0; i < 5; ++i) {
        if (i) line += L'\t';
        line += FitColumn(columns[i], i, measure);
    }
    return line;
}

ClusterNode NodeListDlg::NewNode(const std::vector<ClusterNode>& nodes)
{
    ClusterNode node;
    if (!nodes.empty()) {
        node.port = nodes.back().port;
        node.cpuCount = nodes.back().cpuCount;
    }
    return node;
}

int NodeListDlg::DeleteNode(std::vector<ClusterNode>& nodes, int index)
{
    nodes.erase(nodes.begin() + index);
    if (nodes.empty()) return -1;
    if (index >= static_cast<int>(nodes.size())) --index;
    return index;
}

void NodeListDlg::CheckNodes(const std::vector<ClusterNode>& nodes)
{
    if (nodes.empty()) msiu::ThrowResourceError(msiu::kInvalidArg, kNoNodes);
    // Exact comparison, field by field: no case folding, no look-ups.
    std::set<std::wstring> seen[3];
    for (const ClusterNode& node : nodes) {
        const std::wstring* fields[3] = {&node.uncPath, &node.ipAddress, &node.hostName};
        for (int f = 0; f < 3; ++f) {
            const std::wstring& value = *fields[f];
            if (value.empty()) continue;
            if (!seen[f].insert(value).second)
                msiu::ThrowResourceError(msiu::kInvalidArg, kNodesNotUnique,
                                         {reinterpret_cast<DWORD_PTR>(value.c_str())});
        }
    }
}

// ---- the window side -----------------------------------------------------

BOOL NodeListDlg::ProcessWindowMessage(HWND, UINT message, WPARAM wParam, LPARAM, LRESULT& result)
{
    if (message == WM_INITDIALOG) {
        result = Guarded([&] {
            RefreshList();
            return LRESULT(TRUE);
        });
        return TRUE;
    }
    if (message != WM_COMMAND) return FALSE;
    const int id = LOWORD(wParam), code = HIWORD(wParam);
    if (code == BN_CLICKED) {
        switch (id) {
        case kAdd: result = Guarded([&] { return OnAdd(); }); return TRUE;
        case kEdit: result = Guarded([&] { return OnEdit(); }); return TRUE;
        case kDelete: result = Guarded([&] { return OnDelete(); }); return TRUE;
        case IDOK: result = Guarded([&] { return OnOK(); }); return TRUE;
        case IDCANCEL: result = Guarded([&] { EndDialog(IDCANCEL); return LRESULT(0); }); return TRUE;
        default: break;
        }
    }
    if (id == kNodeList && code == LBN_SELCHANGE) {
        result = Guarded([&] {
            EnableEditDelete(true);
            return LRESULT(0);
        });
        return TRUE;
    }
    return FALSE;
}

void NodeListDlg::RefreshList()
{
    EnableItem(kNodeList, true);
    ListReset(kNodeList);
    ListSetTabStops(kNodeList, tabStops_);
    const WindowMeasure measure(*this);
    for (const ClusterNode& node : nodes_) ListAddLine(kNodeList, ListLine(node, measure));
}

void NodeListDlg::EnableEditDelete(bool enable)
{
    EnableItem(kEdit, enable);
    EnableItem(kDelete, enable);
}

LRESULT NodeListDlg::OnAdd()
{
    ClusterNode node = NewNode(nodes_);
    NodeEditDlg edit(node);
    if (edit.Run(m_hWnd) == IDOK) {
        nodes_.push_back(node);
        RefreshList();
        ListSetSelection(kNodeList, static_cast<int>(nodes_.size()) - 1);
        EnableEditDelete(true);
    }
    return 0;
}

LRESULT NodeListDlg::OnEdit()
{
    const int index = ListGetSelection(kNodeList);
    ClusterNode copy = nodes_.at(static_cast<size_t>(index));
    NodeEditDlg edit(copy);
    if (edit.Run(m_hWnd) == IDOK) {
        nodes_[static_cast<size_t>(index)] = copy;
        RefreshList();
        ListSetSelection(kNodeList, index);
    }
    return 0;
}

LRESULT NodeListDlg::OnDelete()
{
    const int index = DeleteNode(nodes_, ListGetSelection(kNodeList));
    RefreshList();
    if (index < 0)
        EnableEditDelete(false);
    else
        ListSetSelection(kNodeList, index);
    return 0;
}

LRESULT NodeListDlg::OnOK()
{
    CheckNodes(nodes_);
    EndDialog(IDOK);
    return 0;
}
