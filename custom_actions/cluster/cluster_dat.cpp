#include "cluster/cluster_dat.h"

#include <windows.h>

#include "pal/strings.h"

#include "orvane/qx_datfile.h"
#include "parser_log/parser_log.h"

ClusterSetting ReadClusterSetting(const std::wstring& datPath)
{
    orvane::qx_datfile file(PAL::NarrowText(datPath, CP_ACP).str(), 0, nullptr);
    orvane::logParserErrors(file);
    if (!file.isValid()) return ClusterSetting::Unreadable;
    file.clearAllErrors();
    // The section's own reader, so that the mode found here is the one that
    // the update of quorix.dat reads from the same file.
    return file.getClusterParams().isEnabled() ? ClusterSetting::On : ClusterSetting::Off;
}

