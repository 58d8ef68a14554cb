// Upgrades from installations up to 2.1.20: the old version, directories,
// site and URL become the starting values of this install.
#include <windows.h>
#include <msi.h>
#include <shlwapi.h>

#include <vector>

#include "atlu/url.h"
#include "msiu/deferred.h"
#include "msiu/error.h"
#include "msiu/iis.h"
#include "msiu/log.h"
#include "msiu/network.h"
#include "msiu/property.h"
#include "msiu/session.h"
#include "pal/strings.h"

namespace {

// 2.1.20 was the last release that laid the server out the old way.
bool IsLegacyVersion(long major, long minor, long patch)
{
    if (major > 2) return false;
    if (major == 2 && minor >= 2) return false;
    if (major == 2 && minor == 1 && patch > 20) return false;
    return true;
}

std::wstring WithoutTrailingBackslash(std::wstring path)
{
    std::vector<wchar_t> buffer(path.begin(), path.end());
    buffer.push_back(L'\0');
    PathRemoveBackslashW(buffer.data());
    return buffer.data();
}

std::wstring ParentDirectory(const std::wstring& path)
{
    std::vector<wchar_t> buffer(path.begin(), path.end());
    buffer.push_back(L'\0');
    PathRemoveBackslashW(buffer.data());
    PathRemoveFileSpecW(buffer.data());
    return buffer.data();
}

// The last segment of the URL's path: /cgi/quorix/ gives quorix, / gives "".
std::wstring VirtualDirectory(const std::wstring& url, const std::wstring& path)
{
    if (path.empty()) msiu::ThrowError(msiu::kInvalidArg, L"Virtual directory missing from URL: %s", url.c_str());
    std::wstring name = path;
    if (name.back() == L'/') name.pop_back();
    const size_t slash = name.rfind(L'/');
    if (slash != std::wstring::npos) name.erase(0, slash + 1);
    return name;
}

bool HasControlCharacter(const std::wstring& text)
{
    for (wchar_t c : text)
        if (c < 0x20 || c == 0x7F) return true;
    return false;
}

// The split numbers schemes without regard to case: HTTPS:// is https too.
constexpr int kSchemeHttps = 3;

void TakeOverOldSite(const std::wstring& name)
{
    try {
        std::wstring site;
        if (msiu::FindIISSiteByComment(msiu::IISServicePath(L"localhost"), name, site)) {
            msiu::SetProperty(L"QUORIX_IIS_WEB_SITE", site);
        } else {
            msiu::LogMessageBare(msiu::kMsgWarning,
                                 L"The IIS web site \"%s\" previously used by Quorix does not appear to exist. "
                                 L"The default site will be used.",
                                 name.c_str());
        }
    } catch (const msiu::MSIError& error) {
        msiu::LogError(error, msiu::kMsgInfo);
        msiu::ThrowError(msiu::kInvalidArg,
                         L"Unable to enumerate IIS web sites while looking for site \"%s\" to upgrade Quorix. "
                         L"Is IIS running?",
                         name.c_str());
    }
}

}  // namespace

extern "C" UINT __stdcall DetectLegacyUpgrade(MSIHANDLE session)
{
    return msiu::RunAction(session, L"DetectLegacyUpgrade", false, [] {
        std::vector<std::wstring> parts;
        msiu::GetPropertyFields(L"QUORIX_LEGACY_VERSION", parts, false, false, L'.');
        if (parts.empty()) {
            msiu::LogText(msiu::kMsgInfo, L"No legacy version key found.", true);
            return;
        }
        if (parts.size() < 3)
            msiu::ThrowError(msiu::kInvalidArg, L"Legacy version string not recognised: %s",
                             msiu::GetProperty(L"QUORIX_LEGACY_VERSION", false).c_str());
        const std::locale locale;
        const long major = PAL::StrToLong(parts[0], 10, locale);
        const long minor = PAL::StrToLong(parts[1], 10, locale);
        const long patch = PAL::StrToLong(parts[2], 10, locale);
        if (!IsLegacyVersion(major, minor, patch)) {
            msiu::LogText(msiu::kMsgInfo, L"Not a legacy upgrade.", true);
            return;
        }

        msiu::SetIntProperty(L"QUORIX_LEGACY_UPGRADE", 1);
        msiu::SetProperty(L"QUORIX_WEB_ROOT_DIR", ParentDirectory(msiu::GetProperty(L"QUORIX_LEGACY_MONITOR_DIR", true)));

        const std::wstring siteName = msiu::GetProperty(L"QUORIX_LEGACY_WEB_SITE_NAME", false);
        if (!siteName.empty()) TakeOverOldSite(siteName);

        const std::wstring url = msiu::GetProperty(L"QUORIX_LEGACY_WEB_URL", true);
        // The host and path end up in httpd.conf, where a line break would
        // start a directive of the URL's choosing.
        if (HasControlCharacter(url)) {
            msiu::LogText(msiu::kMsgInfo,
                          L"The legacy web URL contains control characters; no web server values are taken from it.",
                          true);
            return;
        }
        atlutils::UrlParts parts2;
        atlutils::CrackUrl(url, parts2);  // a URL it cannot split leaves an empty path
        const std::wstring vdir = VirtualDirectory(url, parts2.path);
        msiu::SetProperty(L"QUORIX_IIS_WEB_VDIR", vdir);
        msiu::SetProperty(L"QUORIX_APACHE_WEB_VDIR", vdir);

        uint16_t defaultPort = 80;
        if (parts2.schemeNumber == kSchemeHttps) {
            msiu::SetIntProperty(L"QUORIX_APACHE_WEB_USE_SSL", 1);
            defaultPort = 443;
        }
        msiu::SetProperty(L"QUORIX_APACHE_WEB_HOST", msiu::FormatHostAndPort(parts2.host, parts2.port, defaultPort));
    });
}

extern "C" UINT __stdcall SetNewLegacyPathProps(MSIHANDLE session)
{
    return msiu::RunAction(session, L"SetNewLegacyPathProps", false, [] {
        msiu::SetProperty(L"QuorixLegacyMonitorDirNew", WithoutTrailingBackslash(msiu::GetProperty(L"QuorixBinDir", true)));
        msiu::SetProperty(L"QuorixLegacyConfigDirNew",
                          WithoutTrailingBackslash(msiu::GetProperty(L"QuorixConfigDir", true)));
    });
}
