#include "msiu/network.h"

#include <windns.h>
#include <shlwapi.h>

#include <cstdlib>
#include <cstring>
#include <locale>
#include <string>

#include "msiu/error.h"
#include "pal/mutex.h"
#include "pal/smartptr/shared_ptr.h"
#include "pal/strings.h"

namespace msiu {

// ---- WinSock runtime ------------------------------------------------------

WinSockRuntime::WinSockRuntime(WORD version)
{
    std::memset(&data_, 0, sizeof(data_));
    const int result = WSAStartup(version, &data_);
    if (result != 0)
        ThrowError(HResultFromWin32(result), L"Failed to initialise WinSock runtime (wserr 0x%x)", result);
}

WinSockRuntime::~WinSockRuntime()
{
    WSACleanup();
}

namespace {

// Made at the first call and destroyed at process exit, so WinSock is shut
// down once, after the last action that could have used it.
struct WinSockState {
    PAL::Mutex lock;
    PAL::SharedPtr<WinSockRuntime> runtime;
};

WinSockState& State()
{
    static WinSockState state;
    return state;
}

}  // namespace

void EnsureWinSock()
{
    WinSockState& s = State();
    PAL::Mutex::Guard guard(s.lock);
    // A failed start stores nothing: the next call tries again.
    if (!s.runtime) s.runtime.reset(new WinSockRuntime(MAKEWORD(2, 2)));
}

// ---- UNC paths ------------------------------------------------------------

std::wstring GetUNCServerName(const std::wstring& path, bool quiet)
{
    if (PathIsUNCW(path.c_str()) && path.size() >= 3) {
        const size_t end = path.find(L'\\', 2);
        return path.substr(2, end == std::wstring::npos ? std::wstring::npos : end - 2);
    }
    if (!quiet) ThrowError(kInvalidArg, L"Not a valid UNC path: %s", path.c_str());
    return std::wstring();
}

bool HasUNCShare(const std::wstring& path)
{
    // One trailing backslash goes, so that "\\server\" is a server alone. The
    // shell's PathRemoveBackslashW keeps it there (it takes the text for a
    // root), hence done by hand.
    std::wstring copy = path;
    if (!copy.empty() && copy.back() == L'\\') copy.pop_back();
    return PathIsUNCW(copy.c_str()) && !PathIsUNCServerW(copy.c_str());
}

// ---- Address literals -----------------------------------------------------

namespace {

// The test of an IPv4 address (or one embedded in IPv6) by its first octet.
bool UsableFirstOctet(unsigned octet, unsigned flags)
{
    if (octet == 0) return !(flags & IPV4_FIRST_OCTET_ZERO);
    if (octet == 127) return !(flags & IPV4_LOOPBACK);
    if (octet == 255) return !(flags & IPV4_BROADCAST);
    if (octet >= 224 && octet <= 239) return !(flags & IPV4_MULTICAST);
    return true;
}

// Parses a literal of one family; false when the text is none of that family.
bool StringToAddress(const std::wstring& text, int family, sockaddr* address, int length)
{
    std::memset(address, 0, static_cast<size_t>(length));
    std::wstring copy = text;  // the platform takes a writable string
    int size = length;
    if (WSAStringToAddressW(&copy[0], family, nullptr, address, &size) == 0) return true;
    const int error = WSAGetLastError();
    if (error == WSAEINVAL) return false;
    ThrowError(HResultFromWin32(error), L"Unexpected error from WSAStringToAddress(\"%s\").  (wserr 0x%x)",
               text.c_str(), error);
}

bool OnlyOf(const std::wstring& text, const wchar_t* allowed)
{
    return text.find_first_not_of(allowed) == std::wstring::npos;
}

size_t Count(const std::wstring& text, wchar_t c)
{
    size_t n = 0;
    for (wchar_t x : text) n += x == c;
    return n;
}

// mingw's header declares the validator without its calling convention, so
// a 32-bit call through it would not link (and would unbalance the stack if
// it did): the entry is taken from the library with the right type instead.
DNS_STATUS ValidateDnsName(const wchar_t* name, DNS_NAME_FORMAT format)
{
    using Fn = DNS_STATUS(WINAPI*)(PCWSTR, DNS_NAME_FORMAT);
    static const Fn fn = [] {
        HMODULE m = LoadLibraryW(L"dnsapi.dll");
        return m ? reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(m, "DnsValidateName_W"))) : nullptr;
    }();
    if (!fn) ThrowError(HResultFromWin32(ERROR_PROC_NOT_FOUND), L"DnsValidateName_W is not available");
    return fn(name, format);
}

}  // namespace

bool IsUsableIPv4Address(const std::wstring& text, unsigned rejectFlags)
{
    EnsureWinSock();
    sockaddr_in address;
    if (!StringToAddress(text, AF_INET, reinterpret_cast<sockaddr*>(&address), sizeof(address))) return false;
    return UsableFirstOctet(reinterpret_cast<const unsigned char*>(&address.sin_addr)[0], rejectFlags);
}

bool IsUsableIPv6Address(const std::wstring& text, unsigned rejectFlags)
{
    EnsureWinSock();
    sockaddr_in6 address;
    if (!StringToAddress(text, AF_INET6, reinterpret_cast<sockaddr*>(&address), sizeof(address))) return false;
    const unsigned char* b = address.sin6_addr.s6_addr;
    auto zero = [b](int from, int to) {
        for (int i = from; i <= to; ++i)
            if (b[i] != 0) return false;
        return true;
    };
    auto embedded = [&] { return !(rejectFlags & IPV6_EMBEDDED_IPV4) && UsableFirstOctet(b[12], rejectFlags); };

    if (b[0] == 0xFF) return !(rejectFlags & IPV4_MULTICAST);
    if (b[0] != 0) return true;
    if (!zero(1, 9)) return false;
    if (b[10] == 0xFF && b[11] == 0xFF) return embedded();  // IPv4-mapped
    if (b[10] != 0 || b[11] != 0) return false;
    if (zero(10, 15)) return !(rejectFlags & IPV4_FIRST_OCTET_ZERO);                 // ::
    if (zero(10, 14) && b[15] == 1) return !(rejectFlags & IPV4_LOOPBACK);           // ::1
    return embedded();                                                                // IPv4-compatible
}

int ClassifyHostAddress(const std::wstring& text)
{
    EnsureWinSock();
    // Digits and exactly three dots are an IPv4 literal or nothing: never a
    // host name.
    if (Count(text, L'.') == 3 && OnlyOf(text, L"0123456789."))
        return IsUsableIPv4Address(text, 0) ? kIPv4Address : kNotAnAddress;
    if (Count(text, L':') >= 2 && OnlyOf(text, L"0123456789abcdefABCDEF:.[]%"))
        return IsUsableIPv6Address(text, 0) ? kIPv6Address : kNotAnAddress;
    if (text.empty() || text[0] == L'.') return kNotAnAddress;
    const DNS_NAME_FORMAT format = Count(text, L'.') > 0 ? DnsNameHostnameFull : DnsNameHostnameLabel;
    const DNS_STATUS status = ValidateDnsName(text.c_str(), format);
    // A legal name that is not RFC-conformant (an underscore) is still a name.
    if (status == 0 || status == DNS_ERROR_NON_RFC_NAME) return kHostName;
    return kNotAnAddress;
}

// ---- Run-time binding of the resolver --------------------------------------

namespace detail {

namespace {

bool BindFrom(const char* libraryName, ResolverTable& table)
{
    char dir[MAX_PATH];
    const UINT n = GetSystemDirectoryA(dir, MAX_PATH);
    if (n == 0 || n >= MAX_PATH) return false;
    const std::string path = std::string(dir) + libraryName;
    HMODULE module = LoadLibraryA(path.c_str());
    if (!module) return false;
    auto get = reinterpret_cast<GetAddrInfoFn>(reinterpret_cast<void*>(GetProcAddress(module, "getaddrinfo")));
    auto name = reinterpret_cast<GetNameInfoFn>(reinterpret_cast<void*>(GetProcAddress(module, "getnameinfo")));
    auto release = reinterpret_cast<FreeAddrInfoFn>(reinterpret_cast<void*>(GetProcAddress(module, "freeaddrinfo")));
    // All three or none: a half table would mix two allocators.
    if (!get || !name || !release) {
        FreeLibrary(module);
        return false;
    }
    table = {get, name, release};
    return true;  // the library stays loaded for the life of the process
}

}  // namespace

ResolverTable& Resolver()
{
    static ResolverTable table = {&FallbackGetAddrInfo, &FallbackGetNameInfo, &FallbackFreeAddrInfo};
    static bool searched = false;
    if (!searched) {
        searched = true;
        if (!BindFrom("\\ws2_32", table)) BindFrom("\\wship6", table);
    }
    return table;
}

// ---- The fallback resolver -------------------------------------------------

namespace {

addrinfo* NewEntry(u_long address, u_short port, const addrinfo* hints, const char* canonical)
{
    auto* entry = static_cast<addrinfo*>(std::calloc(1, sizeof(addrinfo)));
    auto* sin = static_cast<sockaddr_in*>(std::calloc(1, sizeof(sockaddr_in)));
    char* name = canonical ? _strdup(canonical) : nullptr;
    if (!entry || !sin || (canonical && !name)) {
        std::free(entry);
        std::free(sin);
        std::free(name);
        return nullptr;
    }
    sin->sin_family = AF_INET;
    sin->sin_port = port;
    sin->sin_addr.s_addr = address;
    entry->ai_family = AF_INET;
    entry->ai_socktype = hints ? hints->ai_socktype : 0;
    entry->ai_protocol = hints ? hints->ai_protocol : 0;
    entry->ai_addrlen = sizeof(sockaddr_in);
    entry->ai_addr = reinterpret_cast<sockaddr*>(sin);
    entry->ai_canonname = name;
    return entry;
}

bool IsDottedQuad(const char* node)
{
    int dots = 0;
    for (const char* p = node; *p; ++p) dots += *p == '.';
    return dots == 3;
}

// The port of a service name or number, in network order.
int ServicePort(const char* service, const addrinfo* hints, u_short& port)
{
    port = 0;
    if (!service) return 0;
    char* end = nullptr;
    const unsigned long n = std::strtoul(service, &end, 10);
    if (*service && end && *end == '\0') {
        if (n > 65535) return WSATYPE_NOT_FOUND;
        port = htons(static_cast<u_short>(n));
        return 0;
    }
    const char* protocol = hints && hints->ai_socktype == SOCK_DGRAM ? "udp" : "tcp";
    servent* s = getservbyname(service, protocol);
    if (!s) return WSATYPE_NOT_FOUND;
    port = static_cast<u_short>(s->s_port);
    return 0;
}

}  // namespace

int WSAAPI FallbackGetAddrInfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result)
{
    if (result) *result = nullptr;
    const int flags = hints ? hints->ai_flags : 0;
    const int family = hints ? hints->ai_family : 0;
    const int socktype = hints ? hints->ai_socktype : 0;
    if (!result) return WSAEINVAL;
    if ((flags & AI_CANONNAME) && !node) return WSAEINVAL;
    if (!node && !service) return WSAHOST_NOT_FOUND;
    if (family != AF_UNSPEC && family != AF_INET) return WSAEAFNOSUPPORT;
    if (socktype < 0 || socktype > 3) return WSAESOCKTNOSUPPORT;
    u_short port = 0;
    if (int e = ServicePort(service, hints, port)) return e;

    if (!node) {
        const u_long any = (flags & AI_PASSIVE) ? htonl(INADDR_ANY) : htonl(INADDR_LOOPBACK);
        *result = NewEntry(any, port, hints, nullptr);
        return *result ? 0 : WSA_NOT_ENOUGH_MEMORY;
    }
    // A numeric address only in the full dotted form.
    if (IsDottedQuad(node)) {
        const u_long a = inet_addr(node);
        if (a != INADDR_NONE || std::strcmp(node, "255.255.255.255") == 0) {
            *result = NewEntry(a, port, hints, (flags & AI_CANONNAME) ? node : nullptr);
            return *result ? 0 : WSA_NOT_ENOUGH_MEMORY;
        }
    }
    if (flags & AI_NUMERICHOST) return WSAHOST_NOT_FOUND;

    // An answer without addresses names the canonical host: ask again under
    // that name, a bounded number of times.
    std::string name = node;
    for (int round = 0; round < 16; ++round) {
        hostent* h = gethostbyname(name.c_str());
        if (!h) {
            const int e = WSAGetLastError();
            if (e == WSAHOST_NOT_FOUND || e == WSATRY_AGAIN || e == WSANO_RECOVERY) return e;
            if (e == WSANO_DATA) return WSAHOST_NOT_FOUND;
            return WSANO_RECOVERY;
        }
        if (h->h_addrtype == AF_INET && h->h_addr_list && h->h_addr_list[0]) {
            addrinfo* head = nullptr;
            addrinfo** tail = &head;
            for (char** a = h->h_addr_list; *a; ++a) {
                u_long address;
                std::memcpy(&address, *a, sizeof(address));
                const bool first = head == nullptr;
                addrinfo* entry = NewEntry(address, port, hints, (first && (flags & AI_CANONNAME)) ? h->h_name : nullptr);
                if (!entry) {
                    FallbackFreeAddrInfo(head);
                    return WSA_NOT_ENOUGH_MEMORY;
                }
                *tail = entry;
                tail = &entry->ai_next;
            }
            *result = head;
            return 0;
        }
        if (!h->h_name || name == h->h_name) return WSAHOST_NOT_FOUND;
        name = h->h_name;
    }
    return WSANO_RECOVERY;
}

int WSAAPI FallbackGetNameInfo(const sockaddr* address, socklen_t length, char* host, DWORD hostLength,
                               char* service, DWORD serviceLength, int flags)
{
    if (!address || length < static_cast<socklen_t>(sizeof(sockaddr_in))) return WSAEFAULT;
    if (address->sa_family != AF_INET) return WSAEAFNOSUPPORT;
    const auto* sin = reinterpret_cast<const sockaddr_in*>(address);
    if (host && hostLength) {
        const char* text = inet_ntoa(sin->sin_addr);
        if (!text || std::strlen(text) + 1 > hostLength) return WSAEFAULT;
        std::strcpy(host, text);
    }
    if (service && serviceLength) {
        const std::string text = std::to_string(ntohs(sin->sin_port));
        if (text.size() + 1 > serviceLength) return WSAEFAULT;
        std::strcpy(service, text.c_str());
    }
    return 0;
}

namespace {
void SleepFor(unsigned long milliseconds) { Sleep(milliseconds); }
PauseFn g_pause = &SleepFor;
}  // namespace

void SetRetryPause(PauseFn fn)
{
    g_pause = fn ? fn : &SleepFor;
}

void WSAAPI FallbackFreeAddrInfo(addrinfo* list)
{
    while (list) {
        addrinfo* next = list->ai_next;
        std::free(list->ai_canonname);
        std::free(list->ai_addr);
        std::free(list);
        list = next;
    }
}

}  // namespace detail

// ---- Name service ----------------------------------------------------------

namespace {

// Owns a list from the resolver and gives it back on every path.
class AddrInfoList {
public:
    AddrInfoList() = default;
    ~AddrInfoList() { Release(); }
    AddrInfoList(const AddrInfoList&) = delete;
    AddrInfoList& operator=(const AddrInfoList&) = delete;
    addrinfo*& Ref() { return list_; }
    addrinfo* operator->() const { return list_; }
    void Release()
    {
        if (list_) detail::Resolver().freeaddrinfo(list_);
        list_ = nullptr;
    }

private:
    addrinfo* list_ = nullptr;
};

// Raises a name-service failure with the WinSock code kept as the thread's
// last error, for HostExists to tell a missing host from a broken service.
[[noreturn]] void ThrowWinSock(HRESULT code, int wsError, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    std::wstring text = FormatV(format, args);
    va_end(args);
    WSASetLastError(wsError);
    throw MSIError(code, std::move(text));
}

}  // namespace

void LookUpHost(const std::wstring& name, addrinfo* hints, addrinfo*& result)
{
    result = nullptr;
    if (hints) {
        // A literal never goes to the name service.
        switch (ClassifyHostAddress(name)) {
        case kNotAnAddress:
            ThrowError(kInvalidArg, L"Not a valid host name or IP address: %s", name.c_str());
        case kIPv4Address:
            hints->ai_flags |= AI_NUMERICHOST;
            hints->ai_family |= AF_INET;
            break;
        case kIPv6Address:
            hints->ai_flags |= AI_NUMERICHOST;
            hints->ai_family |= AF_INET6;
            break;
        default:
            break;
        }
    }
    const std::string narrow = PAL::NarrowText(name, CP_ACP);
    int rc = 0;
    for (int attempt = 1; attempt <= 3; ++attempt) {
        rc = detail::Resolver().getaddrinfo(narrow.c_str(), nullptr, hints, &result);
        WSASetLastError(rc);
        if (rc != WSATRY_AGAIN) break;
        detail::g_pause(500);
    }
    if (rc == 0) return;
    result = nullptr;
    if (rc == WSAHOST_NOT_FOUND)
        ThrowWinSock(static_cast<HRESULT>(0x80072AF9), rc, L"Host name does not exist: %s", name.c_str());
    if (rc == WSATRY_AGAIN || rc == WSANO_RECOVERY)
        ThrowWinSock(HResultFromWin32(rc), rc,
                     L"DNS failure when trying to lookup \"%s\".  Check the network status or try again.  (wserr 0x%x)",
                     name.c_str(), rc);
    ThrowWinSock(HResultFromWin32(rc), rc, L"Unexpected error from getaddrinfo(\"%s\").  (wserr 0x%x)", name.c_str(),
                 rc);
}

bool HostExists(const std::wstring& name)
{
    EnsureWinSock();
    AddrInfoList list;
    try {
        LookUpHost(name, nullptr, list.Ref());
    } catch (const MSIError&) {
        // A missing host is an answer; a broken name service is not.
        if (WSAGetLastError() == WSAHOST_NOT_FOUND) return false;
        throw;
    }
    return true;
}

std::wstring ResolveHostToAddress(const std::wstring& name, int family)
{
    EnsureWinSock();
    addrinfo hints{};
    hints.ai_family = family;
    AddrInfoList list;
    LookUpHost(name, &hints, list.Ref());
    const int got = list->ai_family;
    if (got != AF_INET && got != AF_INET6)
        ThrowError(kInvalidArg, L"Unexpected address family 0x%x for: %s", got, name.c_str());
    wchar_t buffer[260];
    DWORD length = 260;
    const DWORD size = got == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    if (WSAAddressToStringW(list->ai_addr, size, nullptr, buffer, &length) != 0) {
        const int error = WSAGetLastError();
        ThrowError(HResultFromWin32(error),
                   L"Failed to convert address returned for \"%s\" to a string.  (wserr 0x%x)", name.c_str(), error);
    }
    return buffer;
}

bool CanBindLocally(const std::wstring& address)
{
    EnsureWinSock();
    addrinfo hints{};
    hints.ai_flags = AI_PASSIVE;
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = 0;
    AddrInfoList list;
    LookUpHost(address, &hints, list.Ref());

    SOCKET s = socket(list->ai_family, list->ai_socktype, list->ai_protocol);
    if (s == INVALID_SOCKET) {
        const int error = WSAGetLastError();
        list.Release();
        if (error == WSAENETDOWN)
            ThrowError(static_cast<HRESULT>(0x80072742), L"Can't bind to \"%s\" - network is down.  (wserr 0x%x)",
                       address.c_str(), error);
        ThrowError(HResultFromWin32(error), L"Unexpected error from socket().  (wserr 0x%x)", error);
    }
    // No service was named, so the address comes with port 0.
    if (bind(s, list->ai_addr, static_cast<int>(list->ai_addrlen)) == 0) {
        closesocket(s);
        return true;
    }
    const int error = WSAGetLastError();
    closesocket(s);
    list.Release();
    if (error == WSAEADDRNOTAVAIL) return false;  // a real address, but another machine's
    if (error == WSAENETDOWN)
        ThrowError(static_cast<HRESULT>(0x80072742), L"Can't bind to \"%s\" - network is down.  (wserr 0x%x)",
                   address.c_str(), error);
    ThrowError(HResultFromWin32(error), L"Unexpected error from bind(\"%s\").  (wserr 0x%x)", address.c_str(), error);
}

// ---- Host and port texts ---------------------------------------------------

void ParseHostAndPort(const std::wstring& text, std::wstring& host, bool hostRequired, uint16_t& port,
                      bool portRequired, unsigned rejectFlags)
{
    host.clear();
    port = 0;
    // An IPv6 literal with a port must stand in brackets: without them its
    // last colon would be taken for the port's.
    const bool bracketed = text.at(text.size() - 1) == L']';
    size_t portAt = bracketed ? std::wstring::npos : text.rfind(L':');
    std::wstring candidate = portAt == std::wstring::npos ? text : text.substr(0, portAt);

    if (candidate.empty()) {
        if (hostRequired) ThrowError(kInvalidArg, L"Missing host name or IP address: %s", text.c_str());
    } else {
        switch (ClassifyHostAddress(candidate)) {
        case kHostName:
            if (!HostExists(candidate))
                ThrowError(kInvalidArg, L"Host name does not appear to exist: %s", candidate.c_str());
            break;
        case kIPv4Address:
            if (!IsUsableIPv4Address(candidate, rejectFlags))
                ThrowError(kInvalidArg, L"Not a valid or usable IP address: %s", candidate.c_str());
            break;
        case kIPv6Address:
            if (!IsUsableIPv6Address(candidate, rejectFlags))
                ThrowError(kInvalidArg, L"Not a valid or usable IP address: %s", candidate.c_str());
            if (candidate[0] == L'[') candidate = candidate.substr(1, candidate.size() - 2);
            break;
        default:
            ThrowError(kInvalidArg, L"Not a valid host name or IP address: %s", candidate.c_str());
        }
    }

    unsigned long value = 0;
    if (portAt != std::wstring::npos) {
        if (portAt + 1 == text.size()) ThrowError(kInvalidArg, L"Port number is missing: %s", text.c_str());
        const std::wstring portText = text.substr(portAt + 1);
        if (!OnlyOf(portText, L"0123456789"))
            ThrowError(kInvalidArg, L"Not a valid TCP port number: %s", portText.c_str());
        value = PAL::StrToULong(portText, 10, std::locale());
        if (value == 0 || value > 65535)
            ThrowError(kInvalidArg, L"Not a valid TCP port number: %s", portText.c_str());
    } else if (portRequired) {
        ThrowError(kInvalidArg, L"Port number is missing: %s", text.c_str());
    }
    host = candidate;
    port = static_cast<uint16_t>(value);
}

std::wstring FormatHostAndPort(const std::wstring& host, uint16_t port, uint16_t defaultPort)
{
    std::wstring result = host;
    if (ClassifyHostAddress(host) == kIPv6Address && (host.empty() || host[0] != L'['))
        result = L"[" + result + L"]";
    if (port != 0 && port != defaultPort) result += L":" + std::to_wstring(port);
    return result;
}

}  // namespace msiu
