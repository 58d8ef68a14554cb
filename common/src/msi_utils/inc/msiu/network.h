// What a host, an address, a port text or a UNC path is; whether a host
// exists on the network and whether an address belongs to this machine.
#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstdint>
#include <string>

namespace msiu {

enum AddressKind : int {
    kNotAnAddress = 0,
    kIPv4Address = 1,
    kIPv6Address = 2,  // with or without square brackets
    kHostName = 3,     // a single label or a dotted name
};

// Reject flags: a set bit refuses that class of address. 13 keeps loopback.
enum RejectFlags : unsigned {
    IPV4_FIRST_OCTET_ZERO = 1,
    IPV4_LOOPBACK = 2,
    IPV4_BROADCAST = 4,
    IPV4_MULTICAST = 8,
    IPV6_EMBEDDED_IPV4 = 16,
};

// WinSock started for as long as the object lives.
class WinSockRuntime {
public:
    explicit WinSockRuntime(WORD version);
    ~WinSockRuntime();
    WinSockRuntime(const WinSockRuntime&) = delete;
    WinSockRuntime& operator=(const WinSockRuntime&) = delete;
    const WSADATA& Data() const { return data_; }

private:
    WSADATA data_;
};

// Starts WinSock 2.2 once per process; it stays up until the process ends.
void EnsureWinSock();

std::wstring GetUNCServerName(const std::wstring& path, bool quiet);
bool HasUNCShare(const std::wstring& path);

bool IsUsableIPv4Address(const std::wstring& text, unsigned rejectFlags);
bool IsUsableIPv6Address(const std::wstring& text, unsigned rejectFlags);
int ClassifyHostAddress(const std::wstring& text);

// The list in `result` is the caller's to release with the resolver's
// freeaddrinfo (see detail::Resolver); hints may be changed.
void LookUpHost(const std::wstring& name, addrinfo* hints, addrinfo*& result);
bool HostExists(const std::wstring& name);
std::wstring ResolveHostToAddress(const std::wstring& name, int family);
bool CanBindLocally(const std::wstring& address);

void ParseHostAndPort(const std::wstring& text, std::wstring& host, bool hostRequired, uint16_t& port,
                      bool portRequired, unsigned rejectFlags);
std::wstring FormatHostAndPort(const std::wstring& host, uint16_t port, uint16_t defaultPort);

namespace detail {

using GetAddrInfoFn = int(WSAAPI*)(const char*, const char*, const addrinfo*, addrinfo**);
using GetNameInfoFn = int(WSAAPI*)(const sockaddr*, socklen_t, char*, DWORD, char*, DWORD, int);
using FreeAddrInfoFn = void(WSAAPI*)(addrinfo*);

struct ResolverTable {
    GetAddrInfoFn getaddrinfo;
    GetNameInfoFn getnameinfo;
    FreeAddrInfoFn freeaddrinfo;
};

// The process-wide resolver, bound to the system's at first use and to the
// fallbacks below where the system has none. Tests put their own functions
// here to produce name-service failures no machine gives on demand.
ResolverTable& Resolver();

// IPv4 only, over gethostbyname and inet_addr, for systems without getaddrinfo.
int WSAAPI FallbackGetAddrInfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result);
int WSAAPI FallbackGetNameInfo(const sockaddr* address, socklen_t length, char* host, DWORD hostLength,
                               char* service, DWORD serviceLength, int flags);
void WSAAPI FallbackFreeAddrInfo(addrinfo* list);

// The pause between two tries of a name service that answered "try again";
// tests record it instead of waiting. nullptr gives Sleep back.
using PauseFn = void (*)(unsigned long milliseconds);
void SetRetryPause(PauseFn fn);

}  // namespace detail

}  // namespace msiu
