// Reads one configuration file from a running Quorix web server: a plain GET
// of a URL, or one of the fetchers that ask the server's get_params.pl for a
// file by its key. The whole body is held in memory, so it has a limit, and
// the whole transfer has a time limit besides the per-call time-out.
#pragma once

#include <string>

#include "orvane/qx_filesource.h"

namespace orvane {

class qx_errors;

class HttpUrl {
public:
    // `errors` must outlive the object; `settings` may be null for defaults.
    HttpUrl(qx_errors* errors, const qx_connection_settings* settings);
    HttpUrl(const HttpUrl&) = delete;
    HttpUrl& operator=(const HttpUrl&) = delete;
    virtual ~HttpUrl() = default;

    // True if the whole response came and its status was 200.
    bool get(const std::string& url);

    bool getQuorixDat(const std::string& baseUrl);
    bool getEnzymes(const std::string& baseUrl);
    bool getFragmentationRules(const std::string& baseUrl);
    bool getMasses(const std::string& baseUrl);
    bool getModFile(const std::string& baseUrl, bool substitutions);
    // The file comes packed and is unpacked into the body.
    bool getUnimodXml(const std::string& baseUrl);
    bool getTaxonomy(const std::string& baseUrl);

    const std::string& getBody() const { return body; }

private:
    bool fetch(const std::string& baseUrl, const char* key);
    // The platform's part of get: one request on the parsed URL.
    bool transfer(const std::string& url, bool secure, const std::string& host, int port,
                  const std::string& user, const std::string& password, const std::string& object);

    std::string body;
    qx_errors* errors;
    qx_connection_settings settings;
};

}  // namespace orvane

namespace qxparser_internal {

// The parts of a URL as HttpUrl reads it: a fixed, simple split, no decoding.
struct url_parts {
    bool secure = false;
    std::string user;
    std::string password;
    std::string host;
    int port = 0;
    std::string object;  // behind the first slash after the host, without it
};

// False if the URL has no "://" or no slash behind it, or a port outside
// 1-65535. The scheme is compared without regard to case.
bool parseUrl(const std::string& url, url_parts& parts);

// The URL as messages show it: without "user:password@".
std::string withoutCredentials(const std::string& url);

// The most a body may hold (tests lower it), and the whole transfer's limit
// as a multiple of the connection's time-out: a server that trickles a byte
// now and then holds no install for ever.
extern size_t maxBodyBytes;
constexpr int kTransferTimeouts = 4;
std::string tooLongText(const std::string& shownUrl);
std::string tooSlowText(const std::string& shownUrl, int seconds);

}  // namespace qxparser_internal
