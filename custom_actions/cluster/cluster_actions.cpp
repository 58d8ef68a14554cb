// The actions that join the cluster setup to the install: the mode found in
// an installed quorix.dat, the setup dialog, and the copy of the accepted
// node list into the configuration directory.
#include <windows.h>
#include <msi.h>
#include <shlwapi.h>

#include <vector>

#include "atlu/runtime.h"
#include "cluster/cluster_dat.h"
#include "cluster/cluster_node.h"
#include "cluster/node_list_dlg.h"
#include "msiu/deferred.h"
#include "msiu/dialog.h"
#include "msiu/error.h"
#include "msiu/files.h"
#include "msiu/log.h"
#include "msiu/property.h"
#include "msiu/session.h"

namespace {

bool PathExists(const std::wstring& path) { return !path.empty() && PathFileExistsW(path.c_str()); }

void DetectClusterModeBody(bool uiVariant)
{
    if (uiVariant && PathExists(msiu::FormatString(L"[QuorixConfigDir]nodelist.txt")))
        msiu::SetIntProperty(L"QuorixClusterDefined", 1);
    const std::wstring dat = msiu::FormatString(L"[QuorixConfigDir]quorix.dat");
    if (!PathExists(dat)) return;
    const ClusterSetting setting = ReadClusterSetting(dat);
    if (setting == ClusterSetting::Unreadable) return;
    if (setting == ClusterSetting::On)
        msiu::SetIntProperty(L"QUORIX_USE_CLUSTER_MODE", 1);
    else
        msiu::ClearProperty(L"QUORIX_USE_CLUSTER_MODE");
    msiu::SetIntProperty(L"QUORIX_USE_CLUSTER_MODE_SET", 1);
}

std::wstring LongFullPath(const std::wstring& path)
{
    std::vector<wchar_t> full(32768, L'\0');
    if (!GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr)) return path;
    std::vector<wchar_t> longer(32768, L'\0');
    if (!GetLongPathNameW(full.data(), longer.data(), static_cast<DWORD>(longer.size()))) return full.data();
    return longer.data();
}

// QUORIX_NODELIST_TXT_TMP is public, so whoever starts the install may set it,
// and LocalSystem copies the file it names into the configuration directory:
// only a list in the temporary folder, where the cluster setup writes it, is
// taken.
void CheckNodeListSource(const std::wstring& path)
{
    std::wstring temp = LongFullPath(msiu::GetTempDir());
    if (temp.empty() || temp.back() != L'\\') temp += L'\\';
    const std::wstring full = LongFullPath(path);
    const std::wstring slashes = L"\\" + msiu::ToBackSlashes(path) + L"\\";
    if (slashes.find(L"\\..\\") != std::wstring::npos || full.size() <= temp.size() ||
        CompareStringOrdinal(full.c_str(), static_cast<int>(temp.size()), temp.c_str(), -1, TRUE) != CSTR_EQUAL)
        msiu::ThrowError(msiu::kInvalidArg, L"Node list not copied: \"%s\" is not a file in the temporary folder %s",
                         path.c_str(), temp.c_str());
    msiu::RefuseLinks(full);
}

}  // namespace

extern "C" UINT __stdcall DetectClusterMode(MSIHANDLE session)
{
    return msiu::RunAction(session, L"DetectClusterMode", false, [] { DetectClusterModeBody(false); });
}

extern "C" UINT __stdcall DetectClusterModeUI(MSIHANDLE session)
{
    return msiu::RunAction(session, L"DetectClusterModeUI", true, [] {
        // The dialogs go on without the answer: the install can still ask.
        try {
            DetectClusterModeBody(true);
        } catch (const msiu::MSIError& e) {
            msiu::LogError(e, msiu::kMsgWarning);
        }
    });
}

extern "C" UINT __stdcall ShowClusterSetupDlgUI(MSIHANDLE session)
{
    return msiu::RunAction(session, L"ShowClusterSetupDlgUI", true, [] {
        atlutils::ComRuntime com(COINIT_APARTMENTTHREADED);
        std::vector<ClusterNode> nodes;

        // A list accepted earlier in this session wins over the installed one.
        std::wstring tempPath = msiu::GetProperty(L"QUORIX_NODELIST_TXT_TMP", false);
        if (!tempPath.empty()) {
            ReadNodeList(tempPath, nodes);
        } else {
            const std::wstring installed = msiu::FormatString(L"[QuorixConfigDir]nodelist.txt");
            if (PathExists(installed)) ReadNodeList(installed, nodes);
        }

        NodeListDlg dialog(nodes);
        const INT_PTR result = dialog.Run(msiu::FindParentDialogWindow());
        msiu::SetIntProperty(L"_DialogResponse", static_cast<int>(result));
        if (result != IDOK) return;

        if (tempPath.empty()) tempPath = msiu::MakeTempFileName();
        WriteNodeList(tempPath, nodes);
        msiu::SetProperty(L"QUORIX_NODELIST_TXT_TMP", tempPath);
    });
}

extern "C" UINT __stdcall CopyConfigFiles(MSIHANDLE session)
{
    return msiu::RunAction(session, L"CopyConfigFiles", false, [] {
        const std::wstring configDir = msiu::GetProperty(L"QuorixConfigDir", true);
        const std::wstring nodeList = msiu::GetProperty(L"QUORIX_NODELIST_TXT_TMP", false);
        if (!nodeList.empty()) CheckNodeListSource(nodeList);
        const std::wstring data = msiu::JoinFields({configDir, nodeList});
        for (const wchar_t* name : {L"CopyConfigFilesRollback", L"CopyConfigFilesExec", L"CopyConfigFilesCommit"})
            msiu::ScheduleDeferredAction(name, data);
    });
}

extern "C" UINT __stdcall CopyConfigFilesDeferred(MSIHANDLE session)
{
    return msiu::RunAction(session, L"CopyConfigFilesDeferred", false, [] {
        const auto fields = msiu::GetDeferredFields(2);
        // No backup is kept: the list is the user's choice of this install.
        if (msiu::CurrentPhase() != msiu::Phase::Execute || fields[1].empty()) return;
        std::wstring target = fields[0];
        while (!target.empty() && target.back() == L'\\') target.pop_back();
        target += L"\\nodelist.txt";
        msiu::CopyFileTo(fields[1], target, true);
    });
}
