// FixDirPermissions gathers the installed tree's directories; its deferred
// function gives the server's group read and execute on the web root and full
// control on the working directories. Best effort: a directory that can't be
// changed is a warning, and the install goes on. Nothing is undone on
// rollback or removal.
#include <windows.h>
#include <msi.h>
#include <shlobj.h>
#include <shlwapi.h>

#include "msiu/acl.h"
#include "msiu/deferred.h"
#include "msiu/error.h"
#include "msiu/files.h"
#include "msiu/log.h"
#include "msiu/property.h"
#include "msiu/session.h"
#include "permissions/permissions.h"

#include <algorithm>
#include <cwctype>

namespace quorix::permissions {

namespace {
constexpr DWORD kReadExecute = 0x1200A9;
constexpr DWORD kFullControl = 0x1F01FF;  // FILE_ALL_ACCESS
constexpr DWORD kInherit = OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE;

// quorix.dat lies in a directory that the group itself may write, so the two
// values are a member's to choose: neither may widen the grant beyond the
// machine's users, nor aim it at the system's own folders.
const WELL_KNOWN_SID_TYPE kTooBroad[] = {WinWorldSid, WinAnonymousSid, WinAuthenticatedUserSid, WinNetworkSid,
                                         WinBuiltinGuestsSid};
const wchar_t* const kTooBroadNames[] = {L"Everyone", L"ANONYMOUS LOGON", L"Authenticated Users", L"Network",
                                         L"Guests"};

const wchar_t* GroupRefusal(const std::wstring& group)
{
    BYTE sid[SECURITY_MAX_SID_SIZE];
    DWORD sidSize = sizeof(sid), domainSize = 256;
    wchar_t domain[256];
    SID_NAME_USE use{};
    if (LookupAccountNameW(nullptr, group.c_str(), sid, &sidSize, domain, &domainSize, &use)) {
        for (const WELL_KNOWN_SID_TYPE type : kTooBroad) {
            BYTE known[SECURITY_MAX_SID_SIZE];
            DWORD knownSize = sizeof(known);
            if (CreateWellKnownSid(type, nullptr, known, &knownSize) && EqualSid(sid, known))
                return L"a group wider than the machine's users";
        }
        if (use != SidTypeGroup && use != SidTypeAlias && use != SidTypeWellKnownGroup) return L"not a group";
        return nullptr;
    }
    // A name the system does not know fails later on its own; a known broad
    // name is refused in any spelling of its authority.
    const size_t slash = group.rfind(L'\\');
    const std::wstring bare = slash == std::wstring::npos ? group : group.substr(slash + 1);
    for (const wchar_t* name : kTooBroadNames)
        if (CompareStringOrdinal(bare.c_str(), -1, name, -1, TRUE) == CSTR_EQUAL)
            return L"a group wider than the machine's users";
    return nullptr;
}

bool Inside(const std::wstring& path, std::wstring folder)
{
    while (!folder.empty() && folder.back() == L'\\') folder.pop_back();
    if (folder.empty() || path.size() < folder.size()) return false;
    if (CompareStringOrdinal(path.c_str(), static_cast<int>(folder.size()), folder.c_str(), -1, TRUE) != CSTR_EQUAL)
        return false;
    return path.size() == folder.size() || path[folder.size()] == L'\\';
}

const wchar_t* PathRefusal(const std::vector<std::wstring>& fields, const std::wstring& path)
{
    const bool drive = path.size() >= 3 && iswalpha(path[0]) && path[1] == L':' && path[2] == L'\\';
    if (!drive) return L"not an absolute path on a local drive";
    size_t start = 3;
    bool segment = false;
    while (start <= path.size()) {
        const size_t end = std::min(path.find(L'\\', start), path.size());
        const std::wstring part = path.substr(start, end - start);
        if (part == L"." || part == L"..") return L"a path with . or .. in it";
        segment = segment || !part.empty();
        start = end + 1;
    }
    if (!segment) return L"the root of a drive";
    // The installed tree may lie among the program folders; anything else there is the system's.
    bool ours = false;
    for (size_t i = 1; i < fields.size(); ++i) ours = ours || Inside(path, fields[i]);
    if (!ours)
        for (const int folder : {CSIDL_WINDOWS, CSIDL_PROGRAM_FILES, CSIDL_PROGRAM_FILESX86, CSIDL_SYSTEM}) {
            wchar_t buffer[MAX_PATH] = L"";
            if (SUCCEEDED(SHGetFolderPathW(nullptr, folder, nullptr, SHGFP_TYPE_CURRENT, buffer)) &&
                Inside(path, buffer))
                return L"inside the Windows or program folders";
        }
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT))
        return L"a link or junction";
    return nullptr;
}

}  // namespace

std::wstring Refusal(const std::vector<std::wstring>& fields, const Settings& settings)
{
    const wchar_t* key = L"NTIUserGroup";
    const std::wstring* value = &settings.group;
    const wchar_t* reason = GroupRefusal(settings.group);
    if (!reason) {
        key = L"InterFileBasePath";
        value = &settings.interFileBasePath;
        reason = PathRefusal(fields, msiu::ToBackSlashes(settings.interFileBasePath));
    }
    if (!reason) return {};
    return msiu::Format(L"Permissions left as they were: %s \"%s\" in %s is %s", key, value->c_str(),
                        fields[0].c_str(), reason);
}

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
        try {
            msiu::RefuseLinks(fields[0]);  // the group may put a link in quorix.dat's place
        } catch (const msiu::MSIError& e) {
            msiu::LogError(e, msiu::kMsgWarning);
            return;
        }
        const Settings settings = ReadSettings(fields[0]);
        const std::wstring refusal = Refusal(fields, settings);
        if (!refusal.empty()) msiu::LogText(msiu::kMsgWarning, refusal, false);
        else GrantAccess(fields, settings);
    });
}
