// CheckIISConfig and its dialog twin: the chosen IIS web site must be
// reachable, bound well and have a Perl mapping, and the web path must be
// usable. The check also derives QUORIX_WEB_URL.
#include <windows.h>
#include <msi.h>

#include "iis/iis_config.h"
#include "msiu/database.h"
#include "msiu/error.h"
#include "msiu/iis.h"
#include "msiu/log.h"
#include "msiu/property.h"
#include "msiu/session.h"
#include "msiu/web.h"
#include "pal/strings.h"

namespace msiu {

void CheckIISSettings(bool isUI)
{
    // A dialog with an empty field ends at the test that follows the read,
    // not at a missing property.
    const bool required = !isUI;
    const std::wstring site = GetProperty(L"QUORIX_IIS_WEB_SITE", required);
    if (site.empty()) ThrowError(kInvalidArg, L"The local IIS web site for Quorix must be specified.");
    const bool useSSL = GetIntProperty(L"QUORIX_IIS_WEB_USE_SSL", false) != 0;

    std::wstring ip, port, host, perl;
    try {
        GetIISSiteBinding(IISSitePath(site, L"localhost"), ip, port, host, useSSL);
        // The site's root: the virtual directory may not exist yet.
        perl = GetIISScriptMapTarget(IISVirtualDirPath(site, std::wstring(), L"localhost"), L".pl");
    } catch (const MSIError& e) {
        LogError(e, kMsgInfo);
        ThrowError(kInvalidArg,
                   L"The selected IIS web site is not accessible. Try choosing another one.  Error code: 0x%x",
                   static_cast<unsigned>(e.Code()));
    }
    if (perl.empty())
        ThrowError(kInvalidArg,
                   L"There doesn't appear to be a Perl mapping in the IIS server. You may need to repair or reinstall "
                   L"ActiveState Perl.");

    if (!isUI) {
        SetProperty(L"QUORIX_IIS_WEB_IPADDR", ip);
        SetProperty(L"QUORIX_IIS_WEB_PORT", port);
        SetProperty(L"QUORIX_IIS_WEB_VHOST", host);
    }

    const std::wstring vdir = GetProperty(L"QUORIX_IIS_WEB_VDIR", required);
    CheckVirtualDirName(vdir);

    // Without the IIS feature the address is someone else's to set.
    if (WillBeAbsent(GetFeatureState(L"IISWeb"))) return;
    std::wstring urlHost = !host.empty() ? host : ip;
    if (urlHost.empty()) urlHost = GetProperty(L"DNSComputerNameFQ", true);
    const uint16_t number = PAL::StrToUShort(port, 10);
    SetWebURLProperty(urlHost, number, vdir, useSSL);
}

}  // namespace msiu

extern "C" UINT __stdcall CheckIISConfig(MSIHANDLE session)
{
    return msiu::RunAction(session, L"CheckIISConfig", false, [] { msiu::CheckIISSettings(false); });
}

extern "C" UINT __stdcall CheckIISConfigUI(MSIHANDLE session)
{
    return msiu::RunUICheck(session, L"CheckIISConfigUI", L"_InvalidIISConfig", [] { msiu::CheckIISSettings(true); });
}
