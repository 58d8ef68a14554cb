// RebuildHtDigIndex packs the tools' paths; its deferred function runs them
// one after another. A failed run is a warning: the install goes on without
// a working help search rather than not at all.
#include <windows.h>
#include <msi.h>

#include "help_search/help_search.h"
#include "msiu/deferred.h"
#include "msiu/error.h"
#include "msiu/log.h"
#include "msiu/property.h"
#include "msiu/runner.h"
#include "msiu/session.h"

namespace quorix::help_search {

namespace {
constexpr uint32_t kRunLimitMs = 600000;
}

std::vector<std::wstring> IndexCommandLines(const std::vector<std::wstring>& fields)
{
    const std::wstring& conf = fields[1];
    const std::wstring& htdig = fields[2];
    const std::wstring& htmerge = fields[3];
    const std::wstring& htnotify = fields[4];
    const std::wstring& htfuzzy = fields[5];
    return {
        L"\"" + htdig + L"\" -i -v -s -c \"" + conf + L"\"",
        L"\"" + htmerge + L"\" -v -s -c \"" + conf + L"\"",
        L"\"" + htnotify + L"\" -v -c \"" + conf + L"\"",
        L"\"" + htfuzzy + L"\" -v -c \"" + conf + L"\" endings",
        L"\"" + htfuzzy + L"\" -v -c \"" + conf + L"\" synonyms",
    };
}

void RebuildIndex(const std::vector<std::wstring>& fields)
{
    const std::vector<std::wstring> commands = IndexCommandLines(fields);
    const std::wstring& dir = fields[0];
    const std::wstring log = dir + L"build.log";
    // A log of an earlier install would mix with this one's.
    DeleteFileW(log.c_str());

    bool failed = false;
    for (const auto& command : commands) {
        try {
            msiu::RunCommand(command, log, true, kRunLimitMs, dir);
        } catch (const msiu::MSIError& e) {
            msiu::LogError(e, msiu::kMsgInfo);
            failed = true;
        }
    }
    if (failed)
        msiu::LogText(msiu::kMsgWarning,
                      L"Rebuilding the help indexes did not complete successfully. The online help text search "
                      L"facility may not function correctly.",
                      false);
}

}  // namespace quorix::help_search

extern "C" UINT __stdcall RebuildHtDigIndex(MSIHANDLE session)
{
    return msiu::RunAction(session, L"RebuildHtDigIndex", false, [] {
        const std::wstring htfuzzy = msiu::FormatString(L"[#htfuzzy.exe]");
        const std::wstring htnotify = msiu::FormatString(L"[#htnotify.exe]");
        const std::wstring htmerge = msiu::FormatString(L"[#htmerge.exe]");
        const std::wstring htdig = msiu::FormatString(L"[#htdig.exe]");
        const std::wstring conf = msiu::FormatString(L"[#htdig.conf]");
        const std::wstring dir = msiu::GetProperty(L"htdig", true);
        msiu::ScheduleDeferredAction(L"RebuildHtDigIndexExec",
                                     msiu::JoinFields({dir, conf, htdig, htmerge, htnotify, htfuzzy}));
    });
}

extern "C" UINT __stdcall RebuildHtDigIndexDeferred(MSIHANDLE session)
{
    return msiu::RunAction(session, L"RebuildHtDigIndexDeferred", false, [] {
        const auto fields = msiu::GetDeferredFields(6);
        if (msiu::CurrentPhase() != msiu::Phase::Execute) return;
        quorix::help_search::RebuildIndex(fields);
    });
}
