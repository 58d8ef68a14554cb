#include "cluster/cluster_dat.h"

#include <windows.h>

#include <cstdio>

#include "pal/strings.h"

#ifdef QX_HAVE_ORVANE
#include "orvane/qx_datfile.h"
#include "parser_log/parser_log.h"

namespace {

// The Cluster section's Enabled value. The section's typed reader is still
// being written; until it lands this takes the value from the section's own
// property list, with the reader's rule (a 1 is on), and nothing else here
// looks into the section.
bool ClusterEnabled(orvane::qx_datfile& file)
{
    orvane::qx_clusterparams& cluster = file.getClusterParams();
    const int line = cluster.findName("Enabled");
    if (line < 0) return false;
    int value = 0;
    return std::sscanf(cluster.getValue(line).c_str(), "%d", &value) == 1 && value == 1;
}

}  // namespace

ClusterSetting ReadClusterSetting(const std::wstring& datPath)
{
    orvane::qx_datfile file(PAL::NarrowText(datPath, CP_ACP).str(), 0, nullptr);
    orvane::logParserErrors(file);
    if (!file.isValid()) return ClusterSetting::Unreadable;
    file.clearAllErrors();
    return ClusterEnabled(file) ? ClusterSetting::On : ClusterSetting::Off;
}

#else

// A tree built without the configuration library can't read the file.
ClusterSetting ReadClusterSetting(const std::wstring&)
{
    return ClusterSetting::Unreadable;
}

#endif
