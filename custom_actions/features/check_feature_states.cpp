// CheckFeatureStatesUI: the feature selection dialog's test of the web
// server features against this machine, and of the Perl it needs. A refused
// selection is no failure: the dialog shows the text and stays.
#include <windows.h>
#include <msi.h>

#include "msiu/database.h"
#include "msiu/property.h"
#include "msiu/session.h"

namespace {

void Refuse(const wchar_t* text)
{
    msiu::ReportInvalidInput(L"_InvalidFeatureStates", text);
}

void CheckFeatureStates()
{
    msiu::ClearProperty(L"_InvalidFeatureStates");
    const msiu::StatePair iis = msiu::GetFeatureState(L"IISWeb");
    const msiu::StatePair apache = msiu::GetFeatureState(L"ApacheWeb");

    // The first test that holds applies.
    if (msiu::WillBePresent(iis) && msiu::WillBePresent(apache)) {
        Refuse(L"Please choose either IIS or Apache, but not both.");
    } else if (msiu::WillBeAbsent(iis) && msiu::WillBeAbsent(apache) &&
               !msiu::PropertyExists(L"QUORIX_ALLOW_NO_WEB_SERVER")) {
        Refuse(L"Either the IIS or Apache feature must be selected.");
    } else if (msiu::WillBePresent(iis) && !msiu::PropertyExists(L"IISVersion")) {
        Refuse(L"The IIS feature can't be selected because IIS does not appear to be installed.");
    } else if (apache.action == INSTALLSTATE_LOCAL && !msiu::PropertyExists(L"IISVersion") &&
               msiu::GetIntProperty(L"_WarnApacheDefaultDone", false) == 0) {
        // A note, not an error: the same selection passes at the second press.
        msiu::SetIntProperty(L"_WarnApacheDefaultDone", 1);
        Refuse(L"Please Note: Apache was selected by default because IIS does not appear to be installed. If you "
               L"want to use IIS, then install it first before Quorix. Otherwise, click the Next button again to use "
               L"Apache.");
    }

    if (msiu::GetIntProperty(L"_InvalidFeatureStates", false) == 0 &&
        !msiu::EvaluateCondition(L"(PerlVersion = 5006) OR (PerlVersion = 5008)"))
        Refuse(L"Quorix requires ActiveState Perl 5.6 or 5.8. You need to install Perl before installing Quorix.");
}

}  // namespace

extern "C" UINT __stdcall CheckFeatureStatesUI(MSIHANDLE session)
{
    return msiu::RunAction(session, L"CheckFeatureStatesUI", true, [] { CheckFeatureStates(); });
}
