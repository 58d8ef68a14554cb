// Table actions: rows added to the session's own tables while the install
// runs, so that the installer's standard actions start the monitor service,
// duplicate the Perl modules that fit the Perl found, and move the old
// sequence database files out of the way.
#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include <shlwapi.h>

#include <vector>

#include "msiu/database.h"
#include "msiu/deferred.h"
#include "msiu/error.h"
#include "msiu/files.h"
#include "msiu/log.h"
#include "msiu/property.h"
#include "msiu/record.h"
#include "msiu/search.h"
#include "msiu/session.h"

namespace {

// Each row names the file for one Perl under the generic name it is loaded by.
const std::vector<const wchar_t*> kPerl58x64 = {
    L"qxparser.dll_dup|qxparser58_64.dll|qxparser58_64.dll|qxparser.dll",
    L"bgd.dll_dup|bgd58_64.dll|bgd58_64.dll|bgd.dll",
    L"GD.dll_dup|GD58_64.dll|GD58_64.dll|GD.dll",
};
const std::vector<const wchar_t*> kPerl56 = {
    L"qxparser.dll_dup|qxparser56.dll|qxparser56.dll|qxparser.dll",
    L"GD.dll_dup|GD56.dll|GD56.dll|GD.dll",
};
const std::vector<const wchar_t*> kPerl58 = {
    L"qxparser.dll_dup|qxparser58.dll|qxparser58.dll|qxparser.dll",
    L"GD.dll_dup|GD58.dll|GD58.dll|GD.dll",
};

const std::vector<const wchar_t*>& PerlRows(int version, bool is64)
{
    if (is64) {
        if (version == 5008) return kPerl58x64;
    } else if (version == 5006) {
        return kPerl56;
    } else if (version == 5008) {
        return kPerl58;
    }
    msiu::ThrowError(msiu::kInvalidArg, L"Unexpected Perl version: %d", version);
}

bool Matches(const std::wstring& name, const wchar_t* pattern)
{
    return PathMatchSpecW(name.c_str(), pattern) != FALSE;
}

void AddRemoveRow(const msiu::ViewHandle& view, const std::wstring& key, const std::wstring& component,
                  const std::wstring& name, const wchar_t* dirProperty)
{
    msiu::DBRecord row(6);
    row.Skip(1).Add(key).Add(component).Add(name).Add(dirProperty).Add(1);
    msiu::LogMessage(msiu::kMsgInfo, L"Adding row to the RemoveFile table: %s", L"???");
    msiu::ViewModify(view, MSIMODIFY_INSERT_TEMPORARY, row);
}

}  // namespace

extern "C" UINT __stdcall SchedMonitorSvcStart(MSIHANDLE session)
{
    return msiu::RunAction(session, L"SchedMonitorSvcStart", false, [] {
        msiu::ViewHandle view;
        msiu::OpenView(L"SELECT * FROM `ServiceControl`", view);
        msiu::DBRecord row(7);
        row.Skip(1).Add(L"StartMonitorSvcAfterUpdate").Add(L"OrvaneQuorixService").Add(1).Skip(1).Add(0).Add(
            L"CtlMonitorService");
        msiu::LogMessage(msiu::kMsgInfo, L"Adding row to the ServiceControl table.");
        msiu::ViewModify(view, MSIMODIFY_INSERT_TEMPORARY, row);
    });
}

extern "C" UINT __stdcall SchedDuplicatePerlMods(MSIHANDLE session)
{
    return msiu::RunAction(session, L"SchedDuplicatePerlMods", false, [] {
        const int version = msiu::GetIntProperty(L"PerlVersion", true);
        const bool is64 = msiu::PropertyExists(L"PerlExeIs64Bit");
        const auto& rows = PerlRows(version, is64);
        msiu::ViewHandle view;
        msiu::OpenView(L"SELECT * FROM `DuplicateFile`", view);
        for (const wchar_t* packed : rows) {
            std::vector<std::wstring> fields;
            msiu::SplitFields(packed, fields, L'|');
            msiu::DBRecord row(6);
            row.Skip(1);
            for (const auto& f : fields) row.Add(f);
            row.Skip(1);
            msiu::LogMessage(msiu::kMsgInfo, L"Adding row to the DuplicateFile table: %s", packed);
            msiu::ViewModify(view, MSIMODIFY_INSERT_TEMPORARY, row);
        }
    });
}

extern "C" UINT __stdcall SchedSeqDBSwapOut(MSIHANDLE session)
{
    return msiu::RunAction(session, L"SchedSeqDBSwapOut", false, [] {
        const std::wstring component = msiu::GetProperty(L"SwissProtDBFastaCompKey", true);
        const std::wstring keep = msiu::GetProperty(L"SwissProtDBFastaGlob", true);
        const std::wstring current = msiu::GetProperty(L"current_8", true);
        msiu::ViewHandle removeView, moveView;
        msiu::OpenView(L"SELECT * FROM `RemoveFile`", removeView);
        msiu::OpenView(L"SELECT * FROM `MoveFile`", moveView);
        if (!msiu::FileExists(current)) return;

        std::vector<std::wstring> files;
        msiu::FindFiles(current, files, 0);
        bool moved = false;
        unsigned counter = 1;
        for (const auto& name : files) {
            const std::wstring key = L"SchedSeqDBSwapOut__current" + std::to_wstring(counter++);
            // Index and statistics files are rebuilt by the new version: delete.
            if (Matches(name, L"*.?00") || Matches(name, L"*.stats")) {
                AddRemoveRow(removeView, key, component, name, L"current_8");
            } else if (!Matches(name, keep.c_str()) && name != L"README") {
                msiu::DBRecord row(8);
                row.Skip(1).Add(key).Add(component).Add(name).Skip(1).Add(L"current_8").Add(L"old_8").Add(1);
                msiu::LogMessage(msiu::kMsgInfo, L"Adding row to the MoveFile table: %s", L"???");
                msiu::ViewModify(moveView, MSIMODIFY_INSERT_TEMPORARY, row);
                moved = true;
            }
        }
        // What was moved to old_8 is cleared out of it at the end.
        if (moved) AddRemoveRow(removeView, L"SchedSeqDBSwapOut__old", component, L"*", L"old_8");
    });
}
