// HttpUrl's request over WinInet.
#include <windows.h>
#include <wininet.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "orvane/http_url.h"
#include "orvane/qx_errors.h"

namespace orvane {

namespace {

// Closes a WinInet handle on every path; declared in the order of opening so
// that they close request first, session last.
class inet_handle {
public:
    explicit inet_handle(HINTERNET h) : handle(h) {}
    inet_handle(const inet_handle&) = delete;
    inet_handle& operator=(const inet_handle&) = delete;
    ~inet_handle()
    {
        if (handle) InternetCloseHandle(handle);
    }
    HINTERNET get() const { return handle; }
    explicit operator bool() const { return handle != nullptr; }

private:
    HINTERNET handle;
};

// WinInet's own text for the last error, or its number when wininet.dll has none.
std::string callErrorText(const std::string& url, const char* name)
{
    DWORD code = GetLastError();
    char buffer[256];
    DWORD n = FormatMessageA(FORMAT_MESSAGE_FROM_HMODULE, GetModuleHandleA("wininet.dll"), code, 0,
                             buffer, sizeof buffer, nullptr);
    std::string text;
    if (n > 0) {
        text.assign(buffer, n);
    } else {
        char number[48];
        std::snprintf(number, sizeof number, "(Error: %ld)", static_cast<long>(code));
        text = number;
    }
    return text + ", with URL:" + url + ", calling:" + name;
}

void setTimeout(HINTERNET session, DWORD option, DWORD milliseconds)
{
    InternetSetOptionA(session, option, &milliseconds, sizeof milliseconds);
}

}  // namespace

bool HttpUrl::transfer(const std::string& url, bool secure, const std::string& host, int port,
                       const std::string& user, const std::string& password, const std::string& object)
{
    qx_errorlist& list = errors->getErrorRepository();

    // These hold for the whole process; a failure only leaves WinInet's own limits.
    DWORD connections = 32;
    InternetSetOptionA(nullptr, INTERNET_OPTION_MAX_CONNS_PER_1_0_SERVER, &connections, sizeof connections);
    InternetSetOptionA(nullptr, INTERNET_OPTION_MAX_CONNS_PER_SERVER, &connections, sizeof connections);
    if (settings.getHttpVersion() != 2) {
        HTTP_VERSION_INFO version{1, settings.getHttpVersion() == 0 ? 0u : 1u};
        InternetSetOptionA(nullptr, INTERNET_OPTION_HTTP_VERSION, &version, sizeof version);
    }

    DWORD access = INTERNET_OPEN_TYPE_PRECONFIG;
    const char* proxy = nullptr;
    const char* bypass = nullptr;
    if (settings.getProxyType() == 0) {
        access = INTERNET_OPEN_TYPE_DIRECT;
    } else if (settings.getProxyType() == 2) {
        access = INTERNET_OPEN_TYPE_PROXY;
        proxy = settings.getProxyServer().c_str();
        bypass = "<local>";
    }
    inet_handle session(InternetOpenA("qxparser wininet 1.0", access, proxy, bypass, 0));
    if (!session) {
        list.addError(qxerr::wininetFailure, callErrorText(url, "InternetOpen").c_str());
        return false;
    }
    DWORD ms = static_cast<DWORD>(settings.getTimeoutSeconds()) * 1000u;
    setTimeout(session.get(), INTERNET_OPTION_CONNECT_TIMEOUT, ms);
    setTimeout(session.get(), INTERNET_OPTION_RECEIVE_TIMEOUT, ms);
    setTimeout(session.get(), INTERNET_OPTION_SEND_TIMEOUT, ms);

    inet_handle connection(InternetConnectA(session.get(), host.c_str(), static_cast<INTERNET_PORT>(port),
                                            user.c_str(), password.c_str(), INTERNET_SERVICE_HTTP, 0, 0));
    if (!connection) {
        list.addError(qxerr::wininetFailure, callErrorText(url, "InternetConnect").c_str());
        return false;
    }

    DWORD flags = INTERNET_FLAG_RELOAD | INTERNET_FLAG_NO_CACHE_WRITE | INTERNET_FLAG_KEEP_CONNECTION |
                  INTERNET_FLAG_NO_UI | INTERNET_FLAG_PRAGMA_NOCACHE;
    if (secure) {
        flags |= INTERNET_FLAG_SECURE | INTERNET_FLAG_IGNORE_CERT_DATE_INVALID |
                 INTERNET_FLAG_IGNORE_CERT_CN_INVALID;
    }
    inet_handle request(HttpOpenRequestA(connection.get(), "GET", object.c_str(),
                                         settings.getHttpVersion() == 0 ? "HTTP/1.0" : "HTTP/1.1", nullptr,
                                         nullptr, flags, 0));
    if (!request) {
        list.addError(qxerr::httpFailed, callErrorText(url, "HttpOpenRequest").c_str());
        return false;
    }

    // Proxy credentials go only where a proxy may be in use.
    if (settings.getProxyType() != 0 && !settings.getProxyUsername().empty()) {
        const std::string& proxyUser = settings.getProxyUsername();
        const std::string& proxyPassword = settings.getProxyPassword();
        if (!InternetSetOptionA(request.get(), INTERNET_OPTION_PROXY_USERNAME,
                                const_cast<char*>(proxyUser.c_str()), static_cast<DWORD>(proxyUser.size() + 1))) {
            list.addError(qxerr::httpFailed, callErrorText(url, "InternetSetOption").c_str());
        }
        if (!InternetSetOptionA(request.get(), INTERNET_OPTION_PROXY_PASSWORD,
                                const_cast<char*>(proxyPassword.c_str()),
                                static_cast<DWORD>(proxyPassword.size() + 1))) {
            list.addError(qxerr::httpFailed, callErrorText(url, "InternetSetOption").c_str());
        }
    }

    if (!HttpSendRequestA(request.get(), nullptr, 0, nullptr, 0)) {
        list.addError(qxerr::httpFailed, callErrorText(url, "HttpSendRequest").c_str());
        return false;
    }

    DWORD status = 0;
    DWORD size = sizeof status;
    if (HttpQueryInfoA(request.get(), HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER, &status, &size, nullptr)) {
        char statusText[2048] = "";
        DWORD textSize = sizeof statusText;
        if (!HttpQueryInfoA(request.get(), HTTP_QUERY_STATUS_TEXT, statusText, &textSize, nullptr)) {
            statusText[0] = '\0';
        }
        if (status != 200) {
            char text[2100];
            std::snprintf(text, sizeof text, "http %d:%s", static_cast<int>(status), statusText);
            list.addError(qxerr::httpFailed, text);
            return false;
        }
    } else {
        // Without a status the body may still be the file; it is read all the same.
        list.addError(qxerr::httpFailed, callErrorText(url, "HttpQueryInfo").c_str());
    }

    const int limit = qxparser_internal::kTransferTimeouts * std::max(settings.getTimeoutSeconds(), 1);
    const ULONGLONG start = GetTickCount64();
    for (;;) {
        if (GetTickCount64() - start > static_cast<ULONGLONG>(limit) * 1000u) {
            body.clear();
            list.addError(qxerr::httpFailed, qxparser_internal::tooSlowText(url, limit).c_str());
            return false;
        }
        DWORD available = 0;
        if (!InternetQueryDataAvailable(request.get(), &available, 0, 0)) {
            body.clear();
            // No retry: a connection that fails here rarely recovers, and a
            // partial body must not pass for the file.
            list.addError(qxerr::httpFailed, callErrorText(url, "InternetQueryDataAvailable").c_str());
            return false;
        }
        if (available == 0) return true;
        std::unique_ptr<char[]> buffer(new char[available + 2]);
        DWORD read = 0;
        if (!InternetReadFile(request.get(), buffer.get(), available, &read)) {
            body.clear();
            list.addError(qxerr::httpFailed, callErrorText(url, "InternetReadFile").c_str());
            return false;
        }
        if (read == 0) return true;
        if (body.size() + read > qxparser_internal::maxBodyBytes) {
            body.clear();
            list.addError(qxerr::httpFailed, qxparser_internal::tooLongText(url).c_str());
            return false;
        }
        body.append(buffer.get(), read);
    }
}

}  // namespace orvane
