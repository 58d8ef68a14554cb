// CreateURLShortcuts packs the shortcuts folder and the server's address; its
// deferred function writes the six .url files. Nothing is undone on
// rollback: the shortcuts only point at pages.
#include <windows.h>
#include <msi.h>

#include "atlu/runtime.h"
#include "msiu/deferred.h"
#include "msiu/error.h"
#include "msiu/files.h"
#include "msiu/property.h"
#include "msiu/session.h"
#include "msiu/shortcut.h"
#include "shortcuts/shortcuts.h"

namespace quorix::shortcuts {

const std::vector<Shortcut>& Table()
{
    static const std::vector<Shortcut> table = {
        {L"Quorix.url", L"/home.html", L"The Quorix home page"},
        {L"Search Form - Peptide Mass Fingerprint.url", L"/cgi/search_form.pl?FORMVER=2&SEARCH=PMF",
         L"Quorix Peptide Mass Fingerprint search form"},
        {L"Search Form - Sequence Query.url", L"/cgi/search_form.pl?FORMVER=2&SEARCH=SQ",
         L"Quorix Sequence Query search form"},
        {L"Search Form - MS-MS.url", L"/cgi/search_form.pl?FORMVER=2&SEARCH=MIS", L"Quorix MS-MS search form"},
        {L"Database status.url", L"/x-cgi/qx-status.exe", L"Quorix database status view"},
        {L"Search log.url", L"/x-cgi/qx-review.exe", L"Quorix search log"},
    };
    return table;
}

void CreateShortcuts(const std::wstring& folder, const std::wstring& webUrl)
{
    atlutils::ComRuntime com(COINIT_APARTMENTTHREADED);
    msiu::MakeDirectory(folder, true);
    for (const auto& s : Table()) msiu::CreateURLShortcut(folder + s.fileName, webUrl + s.urlPath, s.description);
}

}  // namespace quorix::shortcuts

extern "C" UINT __stdcall CreateURLShortcuts(MSIHANDLE session)
{
    return msiu::RunAction(session, L"CreateURLShortcuts", false, [] {
        const std::wstring url = msiu::GetProperty(L"QUORIX_WEB_URL", true);
        const std::wstring folder = msiu::GetProperty(L"QuorixShortcutsDir", true);
        const std::wstring data = msiu::JoinFields({folder, url});
        for (const wchar_t* name :
             {L"CreateURLShortcutsRollback", L"CreateURLShortcutsExec", L"CreateURLShortcutsCommit"})
            msiu::ScheduleDeferredAction(name, data);
    });
}

extern "C" UINT __stdcall CreateURLShortcutsDeferred(MSIHANDLE session)
{
    return msiu::RunAction(session, L"CreateURLShortcutsDeferred", false, [] {
        const auto fields = msiu::GetDeferredFields(2);
        if (msiu::CurrentPhase() != msiu::Phase::Execute) return;
        quorix::shortcuts::CreateShortcuts(fields[0], fields[1]);
    });
}
