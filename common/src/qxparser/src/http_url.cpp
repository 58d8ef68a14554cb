// The platform-neutral half of HttpUrl: splitting the URL, the fetchers and
// the packed file. The request itself is in http_url_win.cpp (WinInet) or
// http_url_curl.cpp (libcurl).
#include "orvane/http_url.h"

#include <cstdio>

#include "orvane/qx_errors.h"
#include "orvane/qx_zip.h"

namespace qxparser_internal {

bool parseUrl(const std::string& url, url_parts& parts)
{
    parts = url_parts();
    // Case-sensitive on purpose: "HTTPS://" makes a plain request.
    parts.secure = url.compare(0, 8, "https://") == 0;
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
        int port = 0;
        if (std::sscanf(portText.c_str(), "%d", &port) == 1) parts.port = port;
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
    return transfer(url, parts.secure, parts.host, parts.port, parts.user, parts.password, parts.object);
}

bool HttpUrl::fetch(const std::string& baseUrl, const char* key)
{
    body.clear();
    if (baseUrl.size() < 8) {
        errors->getErrorRepository().addError(qxerr::invalidUrl, baseUrl.c_str());
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
