// UpdateHtDigConf packs the configuration file, the database directory and
// the web address; its deferred function rewrites three lines of htdig.conf
// by the .tmp/.bak transaction.
#include <windows.h>
#include <msi.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "help_search/help_search.h"
#include "msiu/deferred.h"
#include "msiu/error.h"
#include "msiu/files.h"
#include "msiu/log.h"
#include "msiu/property.h"
#include "msiu/session.h"
#include "pal/strings.h"

namespace quorix::help_search {

void UpdateConfFile(const std::wstring& file, const std::wstring& databaseDir, const std::wstring& webUrl)
{
    msiu::FileTransaction transaction(file);
    // No test for F first: a missing F fails here with the copy's own text.
    transaction.SaveOriginal(true);
    msiu::LogMessage(msiu::kMsgInfo, L"Updating htdig configuration file: %s", file.c_str());

    {
        std::ifstream in(std::filesystem::path(transaction.Temp()));
        if (!in.is_open())
            msiu::ThrowError(msiu::kFail, L"Can't open file for reading: %s", transaction.Temp().c_str());
        // Written beside F and renamed over it: F is never half-written.
        // The text is made first, so that N is only created to be written.
        std::ostringstream text;
        RewriteConfLines(in, text, PAL::NarrowText(databaseDir), PAL::NarrowText(webUrl), transaction.Temp(), file);
        FILE* out = transaction.OpenStaging();
        if (!out) msiu::ThrowError(msiu::kFail, L"Can't open file for writing: %s", file.c_str());
        const std::string written = text.str();
        bool failed = std::fwrite(written.data(), 1, written.size(), out) != written.size();
        failed = std::fflush(out) != 0 || failed;
        failed = std::fclose(out) != 0 || failed;
        if (failed) {
            DeleteFileW(transaction.Staging().c_str());
            msiu::ThrowError(msiu::kFail, L"Failed writing file: %s", file.c_str());
        }
    }
    if (!transaction.InstallStaging())
        msiu::ThrowError(msiu::kFail, L"Can't open file for writing: %s", file.c_str());
}

}  // namespace quorix::help_search

extern "C" UINT __stdcall UpdateHtDigConf(MSIHANDLE session)
{
    return msiu::RunAction(session, L"UpdateHtDigConf", false, [] {
        const std::wstring url = msiu::GetProperty(L"QUORIX_WEB_URL", true);
        const std::wstring db = msiu::GetProperty(L"db", true);
        const std::wstring file = msiu::FormatString(L"[#htdig.conf]");
        const std::wstring data = msiu::JoinFields({file, db, url});
        for (const wchar_t* name : {L"UpdateHtDigConfRollback", L"UpdateHtDigConfExec", L"UpdateHtDigConfCommit"})
            msiu::ScheduleDeferredAction(name, data);
    });
}

extern "C" UINT __stdcall UpdateHtDigConfDeferred(MSIHANDLE session)
{
    return msiu::RunAction(session, L"UpdateHtDigConfDeferred", false, [] {
        const auto fields = msiu::GetDeferredFields(3);
        const std::wstring databaseDir = msiu::ToForwardSlashes(fields[1]);
        msiu::FileTransaction file(fields[0]);

        switch (msiu::CurrentPhase()) {
        case msiu::Phase::Execute: quorix::help_search::UpdateConfFile(file.Target(), databaseDir, fields[2]); break;
        case msiu::Phase::Commit: file.Commit(); break;
        case msiu::Phase::Rollback: file.Rollback(); break;
        case msiu::Phase::None: break;
        }
    });
}
