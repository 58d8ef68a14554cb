// UpdateQuorixDat and its deferred function: the only writer of quorix.dat.
#include <windows.h>
#include <msi.h>

#include <cstdio>
#include <string>
#include <vector>

#include "master_config/master_config.h"
#include "msiu/database.h"
#include "msiu/deferred.h"
#include "msiu/error.h"
#include "msiu/files.h"
#include "msiu/log.h"
#include "msiu/property.h"
#include "msiu/session.h"
#include "pal/strings.h"

#include "orvane/qx_datfile.h"
#include "parser_log/parser_log.h"

namespace quorix::master_config {

std::wstring LocalGroupName(DWORD rid)
{
    SID_IDENTIFIER_AUTHORITY nt = SECURITY_NT_AUTHORITY;
    PSID sid = nullptr;
    if (!AllocateAndInitializeSid(&nt, 2, SECURITY_BUILTIN_DOMAIN_RID, rid, 0, 0, 0, 0, 0, 0, &sid))
        msiu::ThrowError(msiu::HResultFromWin32(static_cast<long>(GetLastError())),
                         L"Can't find the local name of group S-1-5-32-%u", static_cast<unsigned>(rid));
    struct SidOwner {
        PSID sid;
        ~SidOwner() { FreeSid(sid); }
    } owner{sid};

    wchar_t name[256];
    wchar_t domain[256];
    DWORD nameLength = 256, domainLength = 256;
    SID_NAME_USE use;
    if (!LookupAccountSidW(nullptr, sid, name, &nameLength, domain, &domainLength, &use))
        msiu::ThrowError(msiu::HResultFromWin32(static_cast<long>(GetLastError())),
                         L"Can't find the local name of group S-1-5-32-%u", static_cast<unsigned>(rid));
    return name;
}

namespace {

std::string Narrow(const std::wstring& text)
{
    // quorix.dat is in the system's default code page.
    return PAL::NarrowText(text, CP_ACP).str();
}

// The last error, not the progress notes that a merge may log behind it.
std::wstring LastMessage(const orvane::qx_errorlist& list)
{
    int n = list.getMessageCount();
    while (n > 1 && list.getSeverity(n) != orvane::QX_SEV_ERROR) --n;
    return PAL::WideText(list.getMessage(n), CP_ACP).str();
}

}  // namespace

void WriteQuorixDat(std::vector<std::wstring> fields)
{
    const std::wstring& target = fields[kQuorixDat];
    std::wstring existing;
    msiu::FileTransaction(target).SaveOriginal();
    if (msiu::FileExists(target)) {
        existing = target;
        // The groups are the administrator's choice once the file exists.
        fields[kUsersGroup].clear();
        fields[kAdminsGroup].clear();
    }

    // Saved beside F and renamed over it: F is never half-written. N is
    // created by the transaction, never through a name that stands there.
    msiu::FileTransaction file(target);
    const auto failedToWrite = [] {
        const HRESULT hr = msiu::HResultFromWin32(static_cast<long>(GetLastError()));
        msiu::ThrowError(hr, L"Failed to write new quorix.dat: %s", msiu::ErrorText(hr).c_str());
    };
    FILE* out = file.OpenStaging();
    if (!out) failedToWrite();
    orvane::qx_errorlist errors;
    errors.setLoggingLevel(orvane::QX_SEV_INFO);
    orvane::qx_datfile dat;
    const auto result = dat.installQuorixDat(
        errors, Narrow(fields[kTemplatePath]), Narrow(existing), Narrow(fields[kWebRootDir]), Narrow(fields[kWebUrl]),
        Narrow(fields[kSequenceDir]), fields[kClusterMode] == L"1", PAL::StrToInt(fields[kNoApache]),
        Narrow(fields[kUsersGroup]), Narrow(fields[kAdminsGroup]), PAL::StrToULong(fields[kMergeFlags]),
        fields[kActivateSwissProt] == L"1", Narrow(file.Staging()), out);
    const bool closed = std::fclose(out) == 0;
    if (result != orvane::qx_datfile::installed || !closed) DeleteFileW(file.Staging().c_str());
    orvane::logParserErrors(errors);
    switch (result) {
    case orvane::qx_datfile::installed: break;
    case orvane::qx_datfile::mergeFailed:
        msiu::ThrowError(msiu::kFail, L"Can't create new quorix.dat: %s", LastMessage(errors).c_str());
    case orvane::qx_datfile::noSwissProt:
        msiu::ThrowError(msiu::kFail, L"Can't locate SwissProt entry in quorix.dat");
    case orvane::qx_datfile::activateFailed:
        msiu::ThrowError(msiu::kFail, L"Failed to activate SwissProt entry: %s", LastMessage(errors).c_str());
    case orvane::qx_datfile::saveFailed:
        msiu::ThrowError(msiu::kFail, L"Failed to write new quorix.dat: %s", LastMessage(errors).c_str());
    }
    if (!closed) failedToWrite();
    // The administrator's lines that the new file lacks, each on its own log
    // line before it takes F's place; the .bak file keeps them.
    for (const auto& d : dat.getDroppedLines())
        msiu::LogText(msiu::kMsgInfo,
                      msiu::EscapeFormatting(existing + L", line " + std::to_wstring(d.line) +
                                             L": dropped: " + PAL::WideText(d.reason, CP_ACP).str()),
                      true);
    if (!file.InstallStaging()) failedToWrite();
}

}  // namespace quorix::master_config

using namespace quorix::master_config;

extern "C" UINT __stdcall UpdateQuorixDat(MSIHANDLE session)
{
    return msiu::RunAction(session, L"UpdateQuorixDat", false, [] {
        uint32_t flags = kFirstInstallFlags;
        const std::wstring target = msiu::FormatString(L"[QuorixConfigDir]quorix.dat");
        if (msiu::FileExists(target)) flags = kUpgradeFlags;
        const std::wstring templatePath = msiu::FormatString(L"[#not.quorix.dat]");

        const std::wstring url = msiu::GetProperty(L"QUORIX_WEB_URL", true);
        const std::wstring root = msiu::GetProperty(L"QUORIX_WEB_ROOT_DIR", true);
        const std::wstring sequence = msiu::GetProperty(L"QUORIX_SEQ_DB_DIR", true);
        msiu::CheckPathHasNoSpaces(root);
        msiu::CheckPathHasNoSpaces(sequence);

        bool clusterMode = false;
        if (msiu::EvaluateCondition(L"QUORIX_USE_CLUSTER_MODE_SET")) {
            flags |= kSetCluster;
            clusterMode = msiu::EvaluateCondition(L"QUORIX_USE_CLUSTER_MODE");
        }
        const bool apache = msiu::WillBePresent(msiu::GetFeatureState(L"ApacheWeb"));
        const std::wstring users = LocalGroupName(DOMAIN_ALIAS_RID_USERS);
        const std::wstring admins = LocalGroupName(DOMAIN_ALIAS_RID_ADMINS);
        const bool swissProt = msiu::WillBePresent(msiu::GetFeatureState(L"SwissProt"));
        if (swissProt) flags |= kAlignSwissProt;

        std::vector<std::wstring> fields(kFieldCount);
        fields[kTemplatePath] = templatePath;
        fields[kQuorixDat] = target;
        fields[kWebRootDir] = root;
        fields[kWebUrl] = url;
        fields[kSequenceDir] = sequence;
        fields[kClusterMode] = clusterMode ? L"1" : L"0";
        fields[kNoApache] = apache ? L"0" : L"1";
        fields[kUsersGroup] = users;
        fields[kAdminsGroup] = admins;
        fields[kMergeFlags] = std::to_wstring(flags);
        fields[kActivateSwissProt] = swissProt ? L"1" : L"0";
        const std::wstring data = msiu::JoinFields(fields);
        for (const wchar_t* name : {L"UpdateQuorixDatRollback", L"UpdateQuorixDatExec", L"UpdateQuorixDatCommit"})
            msiu::ScheduleDeferredAction(name, data);
    });
}

extern "C" UINT __stdcall UpdateQuorixDatDeferred(MSIHANDLE session)
{
    return msiu::RunAction(session, L"UpdateQuorixDatDeferred", false, [] {
        auto fields = msiu::GetDeferredFields(kFieldCount);
        msiu::FileTransaction file(fields[kQuorixDat]);
        switch (msiu::CurrentPhase()) {
        case msiu::Phase::Execute: WriteQuorixDat(std::move(fields)); break;
        case msiu::Phase::Commit: file.Commit(); break;
        case msiu::Phase::Rollback: file.Rollback(); break;
        case msiu::Phase::None: break;
        }
    });
}
