// The dialog in which the user enters or changes one cluster node. Its OK
// check chain stands apart from the window, so that it runs without one.
#pragma once

#include <optional>
#include <string>

#include "cluster/cluster_node.h"
#include "cluster/resource_ids.h"
#include "msiu/dialog.h"

// What the chain reads of the controls.
struct NodeEditValues {
    std::wstring uncPath;    // 1009
    std::wstring localPath;  // 1011
    bool useHostName = false;  // 1013
    std::wstring hostName;     // 1014
    bool useIPAddress = false;  // 1015
    std::wstring ipAddress;     // 1016
    std::wstring port;          // 1017
    std::wstring cpuCount;      // 1019
};

struct NodeEditFailure {
    int control;  // where the focus goes
    std::wstring text;
};

class NodeEditDlg : public msiu::DialogImpl<NodeEditDlg> {
public:
    enum { IDD = cluster_ids::kNodeEditDialog };

    explicit NodeEditDlg(ClusterNode& node);

    BOOL ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result) override;

    // The check chain: stops at the first failure; what passed is already in
    // the node. A failure other than the library's own propagates, with
    // `focus` naming the control of the step that raised it.
    static std::optional<NodeEditFailure> ValidateAndCommit(const NodeEditValues& values, ClusterNode& node);
    static void RunChecks(const NodeEditValues& values, ClusterNode& node, int& focus, const std::locale& locale);
    static std::wstring SuggestLocalPath(const std::wstring& uncPathText);

    static constexpr const wchar_t* kPathSet = L" ,*?\"<>|";
    static constexpr const wchar_t* kNameSet = L" ,";

private:
    LRESULT OnInitDialog();
    LRESULT OnOK();
    LRESULT OnBrowse();
    LRESULT OnLocalPathFocus();
    NodeEditValues ReadValues() const;

    ClusterNode& node_;
};
