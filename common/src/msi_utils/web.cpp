#include "msiu/web.h"

#include <windows.h>
#include <wininet.h>

#include <algorithm>

#include "msiu/error.h"
#include "msiu/network.h"
#include "msiu/property.h"

namespace msiu {

const wchar_t* const kVirtualDirBadChars = L" <>#%\"{}|\\^[]`;=?/";

namespace {

class InternetHandle {
public:
    InternetHandle() = default;
    ~InternetHandle() { Close(); }
    void Close()
    {
        if (h_) InternetCloseHandle(h_);
        h_ = nullptr;
    }
    InternetHandle(const InternetHandle&) = delete;
    InternetHandle& operator=(const InternetHandle&) = delete;
    HINTERNET& Ref() { return h_; }
    HINTERNET Get() const { return h_; }

private:
    HINTERNET h_ = nullptr;
};

// No cache write, keep connection, no cookies, no UI, no-cache pragma.
constexpr DWORD kProbeFlags = 0x4480300;
// The same, secure, and a certificate with a wrong date or name is accepted:
// the probe asks whether a server answers, not whether it is trusted.
constexpr DWORD kProbeFlagsSSL = 0x4C83300;

}  // namespace

void ProbeHttpServer(const std::wstring& host, uint16_t port, bool useSSL)
{
    // The error is taken before any handle closes; they close last first.
    InternetHandle session, connection, request;
    DWORD error = 0;
    const wchar_t* step = nullptr;
    const wchar_t* accept[] = {L"text/*", nullptr};

    session.Ref() = InternetOpenW(L"Orvane MSI Utils Library", INTERNET_OPEN_TYPE_DIRECT, nullptr, nullptr, 0);
    if (!session.Get()) {
        error = GetLastError();
        step = L"Unable to probe HTTP server: %s  (InternetOpen)";
    } else if (!(connection.Ref() = InternetConnectW(session.Get(), host.c_str(), port, nullptr, nullptr,
                                                     INTERNET_SERVICE_HTTP, 0, 0))) {
        error = GetLastError();
        step = L"Unable to probe HTTP server: %s  (InternetConnect)";
    } else if (!(request.Ref() = HttpOpenRequestW(connection.Get(), L"HEAD", L"/", nullptr, nullptr, accept,
                                                  useSSL ? kProbeFlagsSSL : kProbeFlags, 0))) {
        error = GetLastError();
        step = L"Unable to probe HTTP server: %s  (HttpOpenRequest)";
    } else if (!HttpSendRequestW(request.Get(), nullptr, 0, nullptr, 0)) {
        error = GetLastError();
        step = L"No response or error when probing HTTP server: %s  (HttpSendRequest)";
    }
    if (!step) return;
    request.Close();
    connection.Close();
    session.Close();
    ThrowError(HResultFromWin32(static_cast<long>(error)), step, host.c_str());
}

void CheckVirtualDirName(const std::wstring& name)
{
    if (name.empty()) ThrowError(kInvalidArg, L"The Quorix virtual directory name must be specified.");
    // A control character (a line end, a tab) would start a directive of its
    // own in httpd.conf.
    const bool control = std::any_of(name.begin(), name.end(), [](wchar_t c) { return c < 0x20 || c == 0x7F; });
    if (control || name.find_first_of(kVirtualDirBadChars) != std::wstring::npos)
        ThrowError(kInvalidArg, L"The Quorix virtual directory name cannot contain spaces or any of the following: %s",
                   kVirtualDirBadChars);
}

void SetWebURLProperty(const std::wstring& host, uint16_t port, const std::wstring& virtualDir, bool useSSL)
{
    const std::wstring url = std::wstring(useSSL ? L"https://" : L"http://") +
                             FormatHostAndPort(host, port, useSSL ? 443 : 80) + L"/" + virtualDir;
    SetProperty(L"QUORIX_WEB_URL", url);
}

}  // namespace msiu
