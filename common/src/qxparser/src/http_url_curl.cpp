// HttpUrl's request over libcurl, for the native builds. Its outcomes land on
// the same numbered messages as the WinInet request: a handle that can't be
// made is 2308, a request that fails or a status other than 200 is 2305.
#include <curl/curl.h>

#include <cstdio>
#include <memory>

#include "orvane/http_url.h"
#include "orvane/qx_errors.h"

namespace orvane {

namespace {

struct curl_deleter {
    void operator()(CURL* c) const { curl_easy_cleanup(c); }
};
struct slist_deleter {
    void operator()(curl_slist* l) const { curl_slist_free_all(l); }
};

struct response {
    std::string received;
    std::string reason;  // of the last status line: redirects are followed
    bool tooLong = false;
};

size_t onBody(char* data, size_t size, size_t count, void* user)
{
    auto* r = static_cast<response*>(user);
    if (r->received.size() + size * count > qxparser_internal::maxBodyBytes) {
        r->tooLong = true;
        return 0;  // ends the transfer
    }
    r->received.append(data, size * count);
    return size * count;
}


size_t onHeader(char* data, size_t size, size_t count, void* user)
{
    std::string line(data, size * count);
    if (line.compare(0, 5, "HTTP/") == 0) {
        auto* r = static_cast<response*>(user);
        r->received.clear();
        r->reason.clear();
        size_t code = line.find(' ');
        size_t text = code == std::string::npos ? std::string::npos : line.find(' ', code + 1);
        if (text != std::string::npos) {
            r->reason = line.substr(text + 1);
            while (!r->reason.empty() && (r->reason.back() == '\n' || r->reason.back() == '\r')) {
                r->reason.pop_back();
            }
        }
    }
    return size * count;
}

std::string callErrorText(const char* first, const std::string& url, const char* name)
{
    return std::string(first) + ", with URL:" + url + ", calling:" + name;
}

}  // namespace

bool HttpUrl::transfer(const std::string& url, bool secure, const std::string& host, int port,
                       const std::string& user, const std::string& password, const std::string& object)
{
    qx_errorlist& list = errors->getErrorRepository();
    std::unique_ptr<CURL, curl_deleter> curl(curl_easy_init());
    if (!curl) {
        list.addError(qxerr::wininetFailure, callErrorText("(Error: 0)", url, "curl_easy_init").c_str());
        return false;
    }
    CURL* c = curl.get();
    // The object name goes out as it stands, like WinInet sends it; the
    // scheme only says whether the connection is secure.
    std::string target = (secure ? "https://" : "http://") + host + "/" + object;
    curl_easy_setopt(c, CURLOPT_URL, target.c_str());
    if (port != 0) curl_easy_setopt(c, CURLOPT_PORT, static_cast<long>(port));
    if (!user.empty()) curl_easy_setopt(c, CURLOPT_USERNAME, user.c_str());
    if (!password.empty()) curl_easy_setopt(c, CURLOPT_PASSWORD, password.c_str());
    curl_easy_setopt(c, CURLOPT_USERAGENT, "qxparser libcurl 1.0");
    curl_easy_setopt(c, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(c, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(c, CURLOPT_MAXREDIRS, 10L);
    if (settings.getHttpVersion() != 2) {
        curl_easy_setopt(c, CURLOPT_HTTP_VERSION,
                         settings.getHttpVersion() == 0 ? CURL_HTTP_VERSION_1_0 : CURL_HTTP_VERSION_1_1);
    }
    if (secure) {
        // A certificate for another name is accepted, as on Windows; an
        // unknown issuer is not.
        curl_easy_setopt(c, CURLOPT_SSL_VERIFYHOST, 0L);
    }
    // libcurl has no receive or send time-out as such: a transfer that
    // stalls for the whole time counts as timed out.
    long seconds = settings.getTimeoutSeconds();
    curl_easy_setopt(c, CURLOPT_CONNECTTIMEOUT, seconds);
    curl_easy_setopt(c, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(c, CURLOPT_LOW_SPEED_TIME, seconds);

    // Type 1 leaves libcurl on the system's proxy settings, the environment.
    if (settings.getProxyType() == 0) {
        curl_easy_setopt(c, CURLOPT_PROXY, "");
    } else if (settings.getProxyType() == 2) {
        curl_easy_setopt(c, CURLOPT_PROXY, settings.getProxyServer().c_str());
        // WinInet's "<local>": a host name without a dot goes direct.
        if (host.find('.') == std::string::npos) curl_easy_setopt(c, CURLOPT_NOPROXY, "*");
    }
    if (settings.getProxyType() != 0 && !settings.getProxyUsername().empty()) {
        curl_easy_setopt(c, CURLOPT_PROXYUSERNAME, settings.getProxyUsername().c_str());
        curl_easy_setopt(c, CURLOPT_PROXYPASSWORD, settings.getProxyPassword().c_str());
    }

    std::unique_ptr<curl_slist, slist_deleter> headers(
        curl_slist_append(curl_slist_append(nullptr, "Pragma: no-cache"), "Cache-Control: no-cache"));
    curl_easy_setopt(c, CURLOPT_HTTPHEADER, headers.get());

    response r;
    curl_easy_setopt(c, CURLOPT_WRITEFUNCTION, onBody);
    curl_easy_setopt(c, CURLOPT_WRITEDATA, &r);
    curl_easy_setopt(c, CURLOPT_HEADERFUNCTION, onHeader);
    curl_easy_setopt(c, CURLOPT_HEADERDATA, &r);

    const long limit = qxparser_internal::kTransferTimeouts * (seconds > 0 ? seconds : 1);
    curl_easy_setopt(c, CURLOPT_TIMEOUT, limit);

    CURLcode rc = curl_easy_perform(c);
    if (r.tooLong || rc == CURLE_OPERATION_TIMEDOUT) {
        // Both limits have the same texts as on Windows; a connect time-out
        // is libcurl's own.
        long answered = 0;
        const bool slow = !r.tooLong && curl_easy_getinfo(c, CURLINFO_RESPONSE_CODE, &answered) == CURLE_OK &&
                          answered != 0;
        if (r.tooLong || slow) {
            list.addError(qxerr::httpFailed, r.tooLong ? qxparser_internal::tooLongText(url).c_str()
                                                       : qxparser_internal::tooSlowText(url, static_cast<int>(limit)).c_str());
            return false;
        }
    }
    if (rc != CURLE_OK) {
        list.addError(qxerr::httpFailed, callErrorText(curl_easy_strerror(rc), url, "curl_easy_perform").c_str());
        return false;
    }
    long status = 0;
    rc = curl_easy_getinfo(c, CURLINFO_RESPONSE_CODE, &status);
    if (rc != CURLE_OK) {
        // Without a status the body may still be the file, as with WinInet.
        list.addError(qxerr::httpFailed, callErrorText(curl_easy_strerror(rc), url, "curl_easy_getinfo").c_str());
    } else if (status != 200) {
        char text[2100];
        std::snprintf(text, sizeof text, "http %d:%s", static_cast<int>(status), r.reason.c_str());
        list.addError(qxerr::httpFailed, text);
        return false;
    }
    body = std::move(r.received);
    return true;
}

}  // namespace orvane
