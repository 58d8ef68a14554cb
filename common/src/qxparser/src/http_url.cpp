// The platform-neutral half of HttpUrl: splitting the URL, the fetchers and
// the packed file. The request itself is in http_url_win.cpp (WinInet) or
// http_url_curl.cpp (libcurl).
#include "orvane/http_url.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>

#include "orvane/qx_errors.h"
#include "orvane/qx_zip.h"

namespace qxparser_internal {

size_t maxBodyBytes = 64u << 20;

std::string tooLongText(const std::string& shownUrl)
{
    return "answer longer than " + std::to_string(maxBodyBytes) + " bytes, with URL:" + shownUrl;
}

std::string tooSlowText(const std::string& shownUrl, int seconds)
{
    return "no whole answer within " + std::to_string(seconds) + " seconds, with URL:" + shownUrl;
}

std::string withoutCredentials(const std::string& url)
{
    const size_t scheme = url.find("://");
    if (scheme == std::string::npos) return url;
    const size_t slash = url.find('/', scheme + 3);
    const size_t at = url.rfind('@', slash == std::string::npos ? std::string::npos : slash);
    if (at == std::string::npos || at < scheme + 3) return url;
    return url.substr(0, scheme + 3) + url.substr(at + 1);
}

bool parseUrl(const std::string& url, url_parts& parts)
{
    parts = url_parts();
    std::string scheme8 = url.substr(0, 8);
    for (char& c : scheme8) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    parts.secure = scheme8 == "https://";
    const int defaultPort = parts.secure ? 443 : 0;  // 0: the service's standard port

    size_t scheme = url.find("://");
    if (scheme == std::string::npos) return false;
    size_t i = scheme + 3;
    size_t slash = url.find('/', i);
    if (slash == std::string::npos) return false;

    size_t at = url.find('@', i);
    if (at != std::string::npos && at < slash) {
        size_t end = url.find_first_of(":@", i);
        parts.user = url.substr(i, end - i);
        if (url[end] == ':') {
            size_t pwEnd = url.find('@', end + 1);
            parts.password = url.substr(end + 1, pwEnd - end - 1);
            end = pwEnd;
        }
        i = end + 1;
    }

    size_t hostEnd = url.find_first_of(":/", i);
    parts.host = url.substr(i, hostEnd - i);
    parts.port = defaultPort;
    if (url[hostEnd] == ':') {
        size_t portEnd = url.find('/', hostEnd + 1);
        std::string portText = url.substr(hostEnd + 1, portEnd - hostEnd - 1);
        // Leading digits, as far as they go; a number no port can have is no URL.
        const size_t digits = portText.find_first_not_of("0123456789");
        const std::string number = portText.substr(0, digits);
        if (!number.empty()) {
            if (number.size() > 5) return false;
            const long port = std::strtol(number.c_str(), nullptr, 10);
            if (port < 1 || port > 65535) return false;
            parts.port = static_cast<int>(port);
        }
        hostEnd = portEnd;
    }
    parts.object = url.substr(hostEnd + 1);
    return true;
}

}  // namespace qxparser_internal

namespace orvane {

HttpUrl::HttpUrl(qx_errors* errors, const qx_connection_settings* settings)
    : errors(errors), settings(settings ? *settings : qx_connection_settings())
{
}

bool HttpUrl::get(const std::string& url)
{
    body.clear();
    if (!errors->isValid()) return false;
    qxparser_internal::url_parts parts;
    if (!qxparser_internal::parseUrl(url, parts)) {
        errors->getErrorRepository().addError(qxerr::httpFailed, "invalid url");
        return false;
    }
    // The URL reaches messages, and through them the install log, without its credentials.
    return transfer(qxparser_internal::withoutCredentials(url), parts.secure, parts.host, parts.port, parts.user,
                    parts.password, parts.object);
}

bool HttpUrl::fetch(const std::string& baseUrl, const char* key)
{
    body.clear();
    if (baseUrl.size() < 8) {
        errors->getErrorRepository().addError(qxerr::invalidUrl,
                                              qxparser_internal::withoutCredentials(baseUrl).c_str());
        return false;
    }
    std::string url = baseUrl;
    if (url.back() != '/') url += '/';
    url += "get_params.pl?Show=";
    url += key;
    if (!settings.getSessionID().empty()) {
        url += "&sessionID=";
        url += settings.getSessionID();
    }
    return get(url);
}

bool HttpUrl::getQuorixDat(const std::string& baseUrl) { return fetch(baseUrl, "QX_QUORIX_DAT"); }
bool HttpUrl::getEnzymes(const std::string& baseUrl) { return fetch(baseUrl, "QX_ENZYMES"); }
bool HttpUrl::getFragmentationRules(const std::string& baseUrl)
{
    return fetch(baseUrl, "QX_FRAGMENTATION_RULES");
}
bool HttpUrl::getMasses(const std::string& baseUrl) { return fetch(baseUrl, "QX_MASSES"); }
bool HttpUrl::getTaxonomy(const std::string& baseUrl) { return fetch(baseUrl, "QX_TAXONOMY"); }

bool HttpUrl::getModFile(const std::string& baseUrl, bool substitutions)
{
    return fetch(baseUrl, substitutions ? "QX_SUBSTITUTIONS" : "QX_MOD_FILE");
}

bool HttpUrl::getUnimodXml(const std::string& baseUrl)
{
    if (!fetch(baseUrl, "QX_UNIMODXML_COMPRESSED")) return false;
    qx_zip zip(true, body);
    if (!zip.isValid()) {
        body.clear();
        errors->getErrorRepository().appendFrom(zip.getErrorRepository());
        return false;
    }
    body = zip.getUncompressed();
    return true;
}

}  // namespace orvane
