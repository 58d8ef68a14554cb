// CheckApacheConfig and its dialog twin: Apache must run on this machine,
// answer on the given address, and the web path must be usable. The check
// also derives QUORIX_WEB_URL.
#include <windows.h>
#include <msi.h>

#include "apache/check_apache.h"
#include "msiu/database.h"
#include "msiu/error.h"
#include "msiu/log.h"
#include "msiu/network.h"
#include "msiu/property.h"
#include "msiu/session.h"
#include "msiu/web.h"

namespace msiu {

void CheckApacheSettings(bool isUI)
{
    const bool required = !isUI;
    const std::wstring hostText = GetProperty(L"QUORIX_APACHE_WEB_HOST", required);
    if (hostText.empty()) ThrowError(kInvalidArg, L"The local Apache web site host name for Quorix must be specified.");
    const int ssl = GetIntProperty(L"QUORIX_APACHE_WEB_USE_SSL", false);

    std::wstring host;
    uint16_t port = 0;
    ParseHostAndPort(hostText, host, true, port, false,
                     IPV4_FIRST_OCTET_ZERO | IPV4_BROADCAST | IPV4_MULTICAST);
    if (!CanBindLocally(host))
        ThrowError(kInvalidArg,
                   L"The host name or address \"%s\" is not local. The Apache web server must be installed on this "
                   L"computer.",
                   host.c_str());
    if (port == 0) port = ssl != 0 ? 443 : 80;

    if (GetIntProperty(L"QUORIX_SKIP_APACHE_CONNECT_TEST", false) == 0) {
        try {
            ProbeHttpServer(host, port, ssl != 0);
        } catch (const MSIError& e) {
            // The real cause is for the log; the user gets advice.
            LogError(e, kMsgInfo);
            ThrowError(kInvalidArg,
                       L"The Apache web server \"%s:%hu\" is not accessible. Check your firewall settings and that the "
                       L"server is running.  Error code: 0x%x",
                       host.c_str(), port, static_cast<unsigned>(e.Code()));
        }
    }

    const std::wstring vdir = GetProperty(L"QUORIX_APACHE_WEB_VDIR", required);
    CheckVirtualDirName(vdir);

    // Without the Apache feature the address is someone else's to set.
    if (WillBeAbsent(GetFeatureState(L"ApacheWeb"))) return;
    SetWebURLProperty(host, port, vdir, ssl != 0);
}

}  // namespace msiu

extern "C" UINT __stdcall CheckApacheConfig(MSIHANDLE session)
{
    return msiu::RunAction(session, L"CheckApacheConfig", false, [] { msiu::CheckApacheSettings(false); });
}

extern "C" UINT __stdcall CheckApacheConfigUI(MSIHANDLE session)
{
    return msiu::RunUICheck(session, L"CheckApacheConfigUI", L"_InvalidApacheConfig",
                            [] { msiu::CheckApacheSettings(true); });
}
