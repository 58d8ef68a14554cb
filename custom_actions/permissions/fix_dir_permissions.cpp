// FixDirPermissions gathers the installed tree's directories; its deferred
// function gives the server's group read and execute on the web root and full
// control on the working directories. Best effort: a directory that can't be
// changed is a warning, and the install goes on. Nothing is undone on
// rollback or removal.
#include <windows.h>
#include <msi.h>

#include "msiu/acl.h"
#include "msiu/deferred.h"
#include "msiu/error.h"
#include "msiu/files.h"
#include "msiu/log.h"
#include "msiu/property.h"
#include "msiu/session.h"
#include "permissions/permissions.h"

namespace quorix::permissions {

namespace {
constexpr DWORD kReadExecute = 0x1200A9;
constexpr DWORD kFullControl = 0x1F01FF;  // FILE_ALL_ACCESS
constexpr DWORD kInherit = OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE;
}  // namespace

void GrantAccess(const std::vector<std::wstring>& fields, const Settings& settings)
{
    const std::wstring& group = settings.group;
    msiu::ExplicitAccessList list;

    msiu::LogMessage(msiu::kMsgInfo, L"Granting read/execute to \"%s\" on: %s", group.c_str(), fields[1].c_str());
    list.Add(group, kReadExecute, GRANT_ACCESS, kInherit);
    try {
        msiu::MergeDacl(fields[1], SE_FILE_OBJECT, list, true);
    } catch (const msiu::MSIError& e) {
        msiu::LogError(e, msiu::kMsgInfo);
        msiu::LogText(msiu::kMsgWarning,
                      L"Unable to set the permissions on the Quorix root directory. If Quorix does not function "
                      L"correctly, this may need further investigation.",
                      false);
    }

    const std::vector<std::wstring> writable = {fields[2], fields[3], fields[4], fields[5],
                                                msiu::ToBackSlashes(settings.interFileBasePath)};
    list.Clear();
    list.Add(group, kFullControl, GRANT_ACCESS, kInherit);
    bool failed = false;
    for (const auto& dir : writable) {
        msiu::LogMessage(msiu::kMsgInfo, L"Granting full control to \"%s\" on: %s", group.c_str(), dir.c_str());
        try {
            msiu::MergeDacl(dir, SE_FILE_OBJECT, list, true);
        } catch (const msiu::MSIError& e) {
            failed = true;
            msiu::LogError(e, msiu::kMsgInfo);
        }
    }
    if (failed)
        msiu::LogText(msiu::kMsgWarning,
                      L"One or more Quorix directories could not be made writeable. If Quorix does not function "
                      L"correctly, this may need further investigation.",
                      false);
}

}  // namespace quorix::permissions

extern "C" UINT __stdcall FixDirPermissions(MSIHANDLE session)
{
    return msiu::RunAction(session, L"FixDirPermissions", false, [] {
        const std::wstring sessions = msiu::GetProperty(L"QuorixSessionsDir", true);
        const std::wstring logs = msiu::GetProperty(L"QuorixLogsDir", true);
        const std::wstring data = msiu::GetProperty(L"QuorixDataDir", true);
        const std::wstring config = msiu::GetProperty(L"QuorixConfigDir", true);
        const std::wstring root = msiu::GetProperty(L"QUORIX_WEB_ROOT_DIR", true);
        const std::wstring dat = msiu::FormatString(L"[QuorixConfigDir]quorix.dat");
        msiu::ScheduleDeferredAction(L"FixDirPermissionsExec",
                                     msiu::JoinFields({dat, root, config, data, logs, sessions}));
    });
}

extern "C" UINT __stdcall FixDirPermissionsDeferred(MSIHANDLE session)
{
    return msiu::RunAction(session, L"FixDirPermissionsDeferred", false, [] {
        const auto fields = msiu::GetDeferredFields(6);
        if (!msiu::GetRunMode(MSIRUNMODE_SCHEDULED)) return;
        using namespace quorix::permissions;
        GrantAccess(fields, ReadSettings(fields[0]));
    });
}
