// The "Cluster Setup" dialog: the list of nodes with Add, Edit and Delete.
// It edits the caller's vector in place. The text fitting and the checks of
// OK stand apart from the window, given a way to measure text.
#pragma once

#include <string>
#include <vector>

#include "cluster/cluster_node.h"
#include "cluster/resource_ids.h"
#include "msiu/dialog.h"

// Measures for the text fitting: the window's, or a test's.
class TextMeasure {
public:
    virtual ~TextMeasure() = default;
    virtual int DialogUnitsToPixels(int width) const = 0;
    virtual int TextWidth(const std::wstring& text) const = 0;
};

class NodeListDlg : public msiu::DialogImpl<NodeListDlg> {
public:
    enum { IDD = cluster_ids::kNodeListDialog };

    explicit NodeListDlg(std::vector<ClusterNode>& nodes);

    BOOL ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result) override;

    // Column stops in dialog units: the headings' x less the list's own x,
    // and the list's width less 2 for the last.
    static std::vector<int> TabStops();

    static std::wstring AddressText(const ClusterNode& node);
    static std::wstring FitColumn(const std::wstring& text, int column, const TextMeasure& measure);
    static std::wstring ElideText(const std::wstring& text, int width, bool withEllipsis,
                                  const TextMeasure& measure);
    // The list box line of one node: five fitted columns between tabs.
    static std::wstring ListLine(const ClusterNode& node, const TextMeasure& measure);

    // A new node starts with the port and processors of the last one.
    static ClusterNode NewNode(const std::vector<ClusterNode>& nodes);
    // Erases the node at `index`; gives the line to select then, or -1.
    static int DeleteNode(std::vector<ClusterNode>& nodes, int index);
    // The checks of OK: at least one node, no field value twice.
    static void CheckNodes(const std::vector<ClusterNode>& nodes);

    void RefreshList();

private:
    LRESULT OnAdd();
    LRESULT OnEdit();
    LRESULT OnDelete();
    LRESULT OnOK();
    void EnableEditDelete(bool enable);

    std::vector<ClusterNode>& nodes_;
    std::vector<int> tabStops_;
};
