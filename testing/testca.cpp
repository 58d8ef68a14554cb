// A deferred action for the sample package only: it fails the install when
// its CustomActionData says "1", so that rollback runs.
#include <windows.h>
#include <msi.h>
#include <msiquery.h>

extern "C" UINT __stdcall FailInstallIfAsked(MSIHANDLE session)
{
    wchar_t data[16] = L"";
    DWORD cch = 16;
    MsiGetPropertyW(session, L"CustomActionData", data, &cch);
    const bool fail = data[0] == L'1' && !data[1];
    PMSIHANDLE record = MsiCreateRecord(1);
    MsiRecordSetStringW(record, 0, fail ? L"FailInstallIfAsked:  failing the install on request"
                                        : L"FailInstallIfAsked:  not asked to fail");
    MsiProcessMessage(session, INSTALLMESSAGE_INFO, record);
    return fail ? ERROR_INSTALL_FAILURE : ERROR_SUCCESS;
}
