// The address services: forms, the name service (real and, through the
// resolver table, failures a machine cannot produce on demand) and the local
// bind test. The cases are in cases/network.txt.
#include <winsock2.h>
#include <windns.h>

#include <cstdlib>
#include <deque>

#include "cases.h"
#include "msiu/network.h"
#include "pal/exception.h"

namespace {

using cases::Args;
using cases::N;
using cases::Outcome;
using cases::W;

// A scripted resolver: each call takes the next result; 0 answers with one
// loopback entry of the scripted family and address length.
struct Script {
    std::deque<int> results;
    int calls = 0, lists = 0, family = AF_INET, paused = 0;
    size_t addrlen = sizeof(sockaddr_in);
    addrinfo hints{};
} g_script;

int WSAAPI ScriptedGetAddrInfo(const char*, const char*, const addrinfo* hints, addrinfo** result)
{
    Script& s = g_script;
    ++s.calls;
    s.hints = hints ? *hints : addrinfo{};
    const int r = s.results.empty() ? 0 : s.results.front();
    if (!s.results.empty()) s.results.pop_front();
    if (r != 0) return r;
    auto* sin = static_cast<sockaddr_in*>(std::calloc(1, sizeof(sockaddr_in6)));
    *sin = sockaddr_in{AF_INET, 0, {{{127, 0, 0, 1}}}, {}};
    *result = new addrinfo{0, s.family, SOCK_STREAM, 0, s.addrlen, nullptr, reinterpret_cast<sockaddr*>(sin), nullptr};
    ++s.lists;
    return 0;
}

void WSAAPI ScriptedFreeAddrInfo(addrinfo* list)
{
    --g_script.lists;
    std::free(list->ai_addr);
    delete list;
}

std::wstring Call(const std::wstring& fn, const Args& a, size_t i)
{
    std::wstring host = L"stale";
    uint16_t port = 7;
    if (fn == L"exists") return Outcome([&] { return cases::B(msiu::HostExists(a[i])); });
    if (fn == L"resolve") return Outcome([&] { return msiu::ResolveHostToAddress(a[i], std::stoi(a[i + 1])); });
    if (fn == L"bind") return Outcome([&] { return cases::B(msiu::CanBindLocally(a[i])); });
    if (fn == L"lookup" || fn == L"lookup-nohints")
        return Outcome([&] {
            addrinfo hints{}, *list = nullptr;
            msiu::LookUpHost(a[i], fn == L"lookup" ? &hints : nullptr, list);
            if (list) msiu::detail::Resolver().freeaddrinfo(list);
            return std::wstring();
        });
    // parse | text | host required | port required | flags: the outputs are reset first.
    std::wstring r = Outcome([&] {
        msiu::ParseHostAndPort(a[i], host, a[i + 1] == L"1", port, a[i + 2] == L"1", std::stoul(a[i + 3]));
        return host + L" " + std::to_wstring(port);
    });
    return r[0] == L'!' && (host != L"" || port != 0) ? r + L" (outputs not reset)" : r;
}

TEST(Network, Cases)
{
    msiu::EnsureWinSock();
    cases::Run("network.txt", {
        {"unc", [](const Args& a) {
             return Outcome([&] { return msiu::GetUNCServerName(a[0], false); }) + L" / " +
                    msiu::GetUNCServerName(a[0], true) + L" / " + cases::B(msiu::HasUNCShare(a[0]));
         }},
        {"ipv4", [](const Args& a) { return cases::B(msiu::IsUsableIPv4Address(a[0], std::stoul(a[1]))); }},
        {"ipv6", [](const Args& a) { return cases::B(msiu::IsUsableIPv6Address(a[0], std::stoul(a[1]))); }},
        {"kind", [](const Args& a) { return std::to_wstring(msiu::ClassifyHostAddress(a[0])); }},
        {"format", [](const Args& a) {
             return msiu::FormatHostAndPort(a[0], std::stoi(a[1]), std::stoi(a[2]));
         }},
        {"real", [](const Args& a) { return Call(a[0], a, 1); }},
        {"winsock", [](const Args& a) { return Outcome([&] { msiu::WinSockRuntime runtime(std::stoi(a[0])); return std::wstring(); }); }},
        // scripted | results | family | address length | call...: what the call
        // gave, the resolver's calls, the pauses and the last hints.
        {"scripted", [](const Args& a) {
             const auto saved = msiu::detail::Resolver();
             g_script = Script{};
             std::wistringstream results(a[0]);
             for (int r; results >> r;) g_script.results.push_back(r);
             g_script.family = std::stoi(a[1]);
             g_script.addrlen = std::stoul(a[2]);
             msiu::detail::Resolver().getaddrinfo = &ScriptedGetAddrInfo;
             msiu::detail::Resolver().freeaddrinfo = &ScriptedFreeAddrInfo;
             msiu::detail::SetRetryPause([](unsigned long ms) { g_script.paused += static_cast<int>(ms); });
             const std::wstring r = Call(a[3], a, 4);
             msiu::detail::SetRetryPause(nullptr);
             msiu::detail::Resolver() = saved;
             return r + msiu::Format(L" | calls %d paused %d hints %d,%d lists %d", g_script.calls, g_script.paused,
                                     g_script.hints.ai_flags, g_script.hints.ai_family, g_script.lists);
         }},
        // fallback | node | service | flags | family | socktype: the result code, then address and port.
        {"fallback", [](const Args& a) {
             addrinfo hints{}, *list = nullptr;
             hints.ai_flags = std::stoi(a[2]), hints.ai_family = std::stoi(a[3]), hints.ai_socktype = std::stoi(a[4]);
             const std::string node = N(a[0]), service = N(a[1]);
             const int r = msiu::detail::FallbackGetAddrInfo(a[0] == L"-" ? nullptr : node.c_str(), a[1] == L"-" ? nullptr : service.c_str(), &hints, &list);
             if (!list) return std::to_wstring(r);
             char host[64] = "", port[16] = "";
             msiu::detail::FallbackGetNameInfo(list->ai_addr, static_cast<socklen_t>(list->ai_addrlen), host, sizeof host, port, sizeof port, 0);
             const std::wstring out = msiu::Format(L"%d %d %d ", r, list->ai_family, list->ai_socktype) + W(host) + L" " + W(port) +
                                      (list->ai_canonname ? L" named" : L"");
             msiu::detail::FallbackFreeAddrInfo(list);
             return out;
         }},
    });
    // Two dots are no IPv4 literal: the text goes to the name validator.
    const DNS_STATUS s = DnsValidateName_W(L"1.2.3", DnsNameHostnameFull);
    EXPECT_EQ(msiu::ClassifyHostAddress(L"1.2.3"), s == 0 || s == 9556 ? 3 : 0);
    // The system's resolver, not the fallback.
    EXPECT_NE(msiu::detail::Resolver().getaddrinfo, &msiu::detail::FallbackGetAddrInfo);
    EXPECT_NE(msiu::detail::Resolver().freeaddrinfo, &msiu::detail::FallbackFreeAddrInfo);
}

}  // namespace
