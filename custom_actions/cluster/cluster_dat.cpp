#include "cluster/cluster_dat.h"

#include <windows.h>

#include "pal/strings.h"

#ifdef QX_HAVE_ORVANE
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

#else

// A tree built without the configuration library can't read the file.
ClusterSetting ReadClusterSetting(const std::wstring&)
{
    return ClusterSetting::Unreadable;
}

#endif
