// The address services: forms, the name service (real and, through the
// resolver table, failures a machine cannot produce on demand) and the local
// bind test.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>

#include <winsock2.h>
#include <windns.h>

#include "msiu/error.h"
#include "msiu/network.h"
#include "pal/exception.h"

namespace {

struct Outcome {
    bool failed = false;
    uint32_t code = 0;
    std::wstring text;
};

Outcome Attempt(const std::function<void()>& f)
{
    Outcome o;
    try {
        f();
    } catch (const msiu::MSIError& e) {
        o = {true, static_cast<uint32_t>(e.Code()), e.Text()};
    }
    return o;
}

std::string N(const std::wstring& w) { return std::string(w.begin(), w.end()); }

// ---- forms -----------------------------------------------------------------

TEST(UNC, ServerNameAndShare)
{
    struct Case {
        std::wstring path;
        const wchar_t* server;  // nullptr: not a UNC path
        bool share;
    };
    const Case cases[] = {
        {L"\\\\srv\\share", L"srv", true},
        {L"\\\\srv\\share\\", L"srv", true},
        {L"\\\\srv\\share\\sub\\file.txt", L"srv", true},
        {L"\\\\srv", L"srv", false},
        {L"\\\\srv\\", L"srv", false},
        {L"\\\\a/b\\c", L"a/b", true},  // forward slashes do not separate
        {L"\\\\", nullptr, false},
        {L"C:\\dir", nullptr, false},
        {L"", nullptr, false},
    };
    for (const auto& c : cases) {
        std::wstring got;
        const Outcome o = Attempt([&] { got = msiu::GetUNCServerName(c.path, false); });
        if (c.server) {
            EXPECT_FALSE(o.failed) << N(c.path);
            EXPECT_EQ(got, c.server) << N(c.path);
        } else {
            EXPECT_EQ(o.code, 0x80070057u) << N(c.path);
            EXPECT_EQ(o.text, L"Not a valid UNC path: " + c.path);
            EXPECT_EQ(msiu::GetUNCServerName(c.path, true), L"") << N(c.path);
        }
        EXPECT_EQ(msiu::HasUNCShare(c.path), c.share) << N(c.path);
    }
}

TEST(AddressForms, IPv4UsabilityByFirstOctetAndFlags)
{
    struct Case {
        const wchar_t* text;
        unsigned flags;
        bool usable;
    };
    const Case cases[] = {
        {L"127.0.0.1", 13, true},       {L"127.0.0.1", 2, false},       {L"0.1.2.3", 13, false},
        {L"0.1.2.3", 0, true},          {L"255.255.255.255", 13, false}, {L"255.255.255.255", 4, false},
        {L"255.1.1.1", 8, true},        {L"224.0.0.1", 13, false},       {L"239.255.0.1", 8, false},
        {L"239.255.0.1", 7, true},      {L"223.1.1.1", 31, true},        {L"240.0.0.1", 13, true},
        {L"254.0.0.1", 31, true},       {L"192.0.2.7", 31, true},        {L"1.2.3.999", 0, false},
        {L"host", 0, false},            {L"::1", 0, false},              {L"", 0, false},
    };
    for (const auto& c : cases) EXPECT_EQ(msiu::IsUsableIPv4Address(c.text, c.flags), c.usable) << N(c.text) << " " << c.flags;
}

TEST(AddressForms, IPv6UsabilityByAddressBytes)
{
    struct Case {
        const wchar_t* text;
        unsigned flags;
        bool usable;
    };
    const Case cases[] = {
        {L"2001:db8::1", 31, true},          {L"fe80::1", 31, true},          {L"ff02::1", 0, true},
        {L"ff02::1", 8, false},              {L"::", 0, true},                {L"::", 1, false},
        {L"::1", 13, true},                  {L"::1", 2, false},              {L"[::1]", 0, true},
        {L"0:1::", 0, false},                {L"::1:0:0:0:1", 0, false},      {L"::ffff:192.0.2.7", 0, true},
        {L"::ffff:192.0.2.7", 16, false},    {L"::ffff:127.0.0.1", 2, false}, {L"::ffff:224.0.0.1", 8, false},
        {L"::ffff:0.0.0.1", 1, false},       {L"::ffff:255.0.0.1", 4, false}, {L"::ffff:255.0.0.1", 0, true},
        {L"::192.0.2.7", 0, true},           {L"::192.0.2.7", 16, false},     {L"::127.0.0.2", 2, false},
        {L"::fffe:192.0.2.7", 0, false},     {L"192.0.2.7", 0, false},        {L"::g", 0, false},
    };
    for (const auto& c : cases) EXPECT_EQ(msiu::IsUsableIPv6Address(c.text, c.flags), c.usable) << N(c.text) << " " << c.flags;
}

TEST(AddressForms, Classification)
{
    struct Case {
        const wchar_t* text;
        int kind;
    };
    const Case cases[] = {
        {L"192.0.2.7", 1},  {L"1.2.3.999", 0},   {L"0.0.0.0", 1},       {L"::1", 2},
        {L"[::1]", 2},      {L"2001:DB8::7", 2}, {L"1::2::3", 0},       {L"my_host", 3},
        {L"quorix", 3},     {L"web.example.com", 3}, {L"", 0},          {L".quorix", 0},
        {L"a..b", 0},       {L"bad name", 0},    {L"host:80", 0},       {L"::g", 0},
    };
    for (const auto& c : cases) EXPECT_EQ(msiu::ClassifyHostAddress(c.text), c.kind) << N(c.text);
    // Two dots are no IPv4 literal: the text goes to the name validator.
    const DNS_STATUS s = DnsValidateName_W(L"1.2.3", DnsNameHostnameFull);
    EXPECT_EQ(msiu::ClassifyHostAddress(L"1.2.3"), s == 0 || s == 9556 ? 3 : 0);
}

TEST(AddressForms, FormatHostAndPort)
{
    struct Case {
        const wchar_t* host;
        uint16_t port, defaultPort;
        const wchar_t* text;
    };
    const Case cases[] = {
        {L"web", 80, 80, L"web"},           {L"web", 8080, 80, L"web:8080"},  {L"web", 0, 80, L"web"},
        {L"web", 443, 80, L"web:443"},      {L"web", 80, 443, L"web:80"},     {L"", 5001, 0, L":5001"},
        {L"::1", 80, 0, L"[::1]:80"},       {L"::1", 80, 80, L"[::1]"},       {L"[::1]", 8080, 80, L"[::1]:8080"},
        {L"192.0.2.7", 443, 443, L"192.0.2.7"},
    };
    for (const auto& c : cases) EXPECT_EQ(msiu::FormatHostAndPort(c.host, c.port, c.defaultPort), c.text) << N(c.host);
}

// ---- host and port texts ---------------------------------------------------

struct ParseCase {
    const wchar_t* text;
    bool hostRequired, portRequired;
    unsigned flags;
    const wchar_t* host;  // expected on success
    uint16_t port;
    const wchar_t* failure;  // expected text on failure
};

TEST(ParseHostAndPort, HostsPortsAndEveryRefusal)
{
    const ParseCase cases[] = {
        {L"192.0.2.7:8080", true, false, 13, L"192.0.2.7", 8080, nullptr},
        {L"127.0.0.1", true, false, 13, L"127.0.0.1", 0, nullptr},
        {L"localhost:80", true, true, 13, L"localhost", 80, nullptr},
        {L"[::1]:8080", true, true, 0, L"::1", 8080, nullptr},
        {L"[::1]", true, false, 0, L"::1", 0, nullptr},
        // Without brackets the last colon starts the port.
        {L"::1", true, false, 0, nullptr, 0, L"Not a valid host name or IP address: :"},
        {L":80", false, false, 0, L"", 80, nullptr},
        {L"192.0.2.7:65535", true, false, 0, L"192.0.2.7", 65535, nullptr},
        {L"192.0.2.7:00080", true, false, 0, L"192.0.2.7", 80, nullptr},
        {L":80", true, false, 0, nullptr, 0, L"Missing host name or IP address: :80"},
        {L"[::1]", false, true, 0, nullptr, 0, L"Port number is missing: [::1]"},
        {L"192.0.2.7", true, true, 0, nullptr, 0, L"Port number is missing: 192.0.2.7"},
        {L"192.0.2.7:", true, false, 0, nullptr, 0, L"Port number is missing: 192.0.2.7:"},
        {L"192.0.2.7:0", true, false, 0, nullptr, 0, L"Not a valid TCP port number: 0"},
        {L"192.0.2.7:65536", true, false, 0, nullptr, 0, L"Not a valid TCP port number: 65536"},
        {L"192.0.2.7:80a", true, false, 0, nullptr, 0, L"Not a valid TCP port number: 80a"},
        {L"192.0.2.7:-1", true, false, 0, nullptr, 0, L"Not a valid TCP port number: -1"},
        {L"192.0.2.7: 80", true, false, 0, nullptr, 0, L"Not a valid TCP port number:  80"},
        {L"255.255.255.255:80", true, false, 13, nullptr, 0, L"Not a valid or usable IP address: 255.255.255.255"},
        {L"224.0.0.1", true, false, 13, nullptr, 0, L"Not a valid or usable IP address: 224.0.0.1"},
        {L"[ff02::1]:80", true, false, 13, nullptr, 0, L"Not a valid or usable IP address: [ff02::1]"},
        {L"1.2.3.999:80", true, false, 0, nullptr, 0, L"Not a valid host name or IP address: 1.2.3.999"},
        {L"bad name:80", true, false, 0, nullptr, 0, L"Not a valid host name or IP address: bad name"},
        // The host is looked at before the port text is read.
        {L"1.2.3.999:x", true, false, 0, nullptr, 0, L"Not a valid host name or IP address: 1.2.3.999"},
    };
    for (const auto& c : cases) {
        std::wstring host = L"stale";
        uint16_t port = 7;
        const Outcome o = Attempt([&] { msiu::ParseHostAndPort(c.text, host, c.hostRequired, port, c.portRequired, c.flags); });
        if (c.failure) {
            EXPECT_EQ(o.text, c.failure) << N(c.text);
            EXPECT_EQ(o.code, 0x80070057u) << N(c.text);
            EXPECT_EQ(host, L"") << "outputs are reset first: " << N(c.text);
            EXPECT_EQ(port, 0);
        } else {
            EXPECT_FALSE(o.failed) << N(c.text) << ": " << N(o.text);
            EXPECT_EQ(host, c.host) << N(c.text);
            EXPECT_EQ(port, c.port) << N(c.text);
        }
    }
}

TEST(ParseHostAndPort, EmptyTextAndOverlongPortLeaveTheirOwnFailures)
{
    std::wstring host;
    uint16_t port = 0;
    EXPECT_THROW(msiu::ParseHostAndPort(L"", host, false, port, false, 0), std::out_of_range);
    try {
        msiu::ParseHostAndPort(L"192.0.2.7:99999999999", host, true, port, false, 0);
        ADD_FAILURE() << "a port beyond 32 bits must fail in the parser";
    } catch (const PAL::StrCvtError& e) {
        EXPECT_EQ(e.Code(), 1);
    }
}

// ---- the real name service and network stack ---------------------------------

TEST(NameService, RealLookUpsOnThisMachine)
{
    EXPECT_TRUE(msiu::HostExists(L"localhost"));
    EXPECT_FALSE(msiu::HostExists(L"no-such-host.invalid"));
    EXPECT_EQ(msiu::ResolveHostToAddress(L"localhost", AF_INET), L"127.0.0.1");
    EXPECT_EQ(msiu::ResolveHostToAddress(L"127.0.0.1", AF_INET), L"127.0.0.1");
    EXPECT_EQ(msiu::ResolveHostToAddress(L"[::1]", AF_INET6), L"::1");

    std::wstring host;
    uint16_t port = 0;
    const Outcome o = Attempt([&] { msiu::ParseHostAndPort(L"no-such-host.invalid:80", host, true, port, false, 13); });
    EXPECT_EQ(o.text, L"Host name does not appear to exist: no-such-host.invalid");
    const Outcome direct = Attempt([] {
        addrinfo* list = nullptr;
        msiu::LookUpHost(L"no-such-host.invalid", nullptr, list);
    });
    EXPECT_EQ(direct.code, 0x80072AF9u);
    EXPECT_EQ(direct.text, L"Host name does not exist: no-such-host.invalid");
}

TEST(NameService, LocalBindOnLoopbackAndOnAnAddressThisMachineLacks)
{
    struct Case {
        const wchar_t* address;
        bool local;
        const wchar_t* failure;
    };
    const Case cases[] = {
        {L"127.0.0.1", true, nullptr},
        {L"localhost", true, nullptr},
        {L"0.0.0.0", true, nullptr},
        {L"192.0.2.7", false, nullptr},  // TEST-NET-1: nobody's address
        {L"bad name", false, L"Not a valid host name or IP address: bad name"},
        {L"no-such-host.invalid", false, L"Host name does not exist: no-such-host.invalid"},
    };
    for (const auto& c : cases) {
        bool got = !c.local;
        const Outcome o = Attempt([&] { got = msiu::CanBindLocally(c.address); });
        if (c.failure) {
            EXPECT_EQ(o.text, c.failure);
        } else {
            EXPECT_FALSE(o.failed) << N(c.address) << ": " << N(o.text);
            EXPECT_EQ(got, c.local) << N(c.address);
        }
    }
}

TEST(NameService, ResolverIsBoundToTheSystemsAndWinSockStarts)
{
    const auto& table = msiu::detail::Resolver();
    EXPECT_NE(table.getaddrinfo, &msiu::detail::FallbackGetAddrInfo);
    EXPECT_NE(table.freeaddrinfo, &msiu::detail::FallbackFreeAddrInfo);
    msiu::EnsureWinSock();
    msiu::EnsureWinSock();
    SOCKET s = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_NE(s, INVALID_SOCKET) << "WinSock runs without the test starting it";
    closesocket(s);

    try {
        msiu::WinSockRuntime bad(0);  // version 0.0 does not exist
        ADD_FAILURE() << "a start with version 0 must fail";
    } catch (const msiu::MSIError& e) {
        EXPECT_EQ(static_cast<uint32_t>(e.Code()), 0x8007276Cu);
        EXPECT_EQ(e.Text(), L"Failed to initialise WinSock runtime (wserr 0x276c)");
    }
}

// ---- failures of the name service, through the resolver table -----------------

// A scripted resolver: each call takes the next result; 0 answers with one
// entry of the scripted family and address length.
struct Script {
    std::deque<int> results;
    int calls = 0;
    int lists = 0;  // handed out and not yet freed
    int family = AF_INET;
    size_t addrlen = sizeof(sockaddr_in);
    std::vector<std::string> names;
    std::vector<addrinfo> hints;
};
Script* g_script = nullptr;

int WSAAPI ScriptedGetAddrInfo(const char* node, const char*, const addrinfo* hints, addrinfo** result)
{
    Script& s = *g_script;
    ++s.calls;
    s.names.push_back(node ? node : "");
    s.hints.push_back(hints ? *hints : addrinfo{});
    const int r = s.results.empty() ? 0 : s.results.front();
    if (!s.results.empty()) s.results.pop_front();
    if (r != 0) return r;
    auto* sin = static_cast<sockaddr_in*>(std::calloc(1, sizeof(sockaddr_in6)));
    sin->sin_family = AF_INET;
    sin->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* e = static_cast<addrinfo*>(std::calloc(1, sizeof(addrinfo)));
    e->ai_family = s.family;
    e->ai_socktype = SOCK_STREAM;
    e->ai_addrlen = s.addrlen;
    e->ai_addr = reinterpret_cast<sockaddr*>(sin);
    *result = e;
    ++s.lists;
    return 0;
}

void WSAAPI ScriptedFreeAddrInfo(addrinfo* list)
{
    --g_script->lists;
    std::free(list->ai_addr);
    std::free(list);
}

class ScriptedResolver : public ::testing::Test {
protected:
    void SetUp() override
    {
        saved_ = msiu::detail::Resolver();
        g_script = &script;
        msiu::detail::Resolver().getaddrinfo = &ScriptedGetAddrInfo;
        msiu::detail::Resolver().freeaddrinfo = &ScriptedFreeAddrInfo;
    }
    void TearDown() override
    {
        msiu::detail::Resolver() = saved_;
        g_script = nullptr;
        EXPECT_EQ(script.lists, 0) << "every list is given back";
    }
    Script script;

private:
    msiu::detail::ResolverTable saved_{};
};

TEST_F(ScriptedResolver, TryAgainIsRetriedTwiceWithAPause)
{
    struct Case {
        std::deque<int> results;
        int calls;
        bool exists;
        const wchar_t* failure;
        uint32_t code;
        int minimumMs;
    };
    const wchar_t* dns = L"DNS failure when trying to lookup \"flaky\".  Check the network status or try again.  (wserr 0x2afa)";
    const Case cases[] = {
        {{11002, 0}, 2, true, nullptr, 0, 500},
        {{11002, 11002, 0}, 3, true, nullptr, 0, 1000},
        {{11002, 11002, 11002, 0}, 3, false, dns, 0x80072AFAu, 1500},
        {{11002, 11001}, 2, false, nullptr, 0, 500},  // not found on the second try: an answer
        {{11003}, 1, false,
         L"DNS failure when trying to lookup \"flaky\".  Check the network status or try again.  (wserr 0x2afb)",
         0x80072AFBu, 0},
        {{10047}, 1, false, L"Unexpected error from getaddrinfo(\"flaky\").  (wserr 0x273f)", 0x8007273Fu, 0},
        {{8}, 1, false, L"Unexpected error from getaddrinfo(\"flaky\").  (wserr 0x8)", 0x80070008u, 0},
    };
    for (const auto& c : cases) {
        script.results = c.results;
        script.calls = 0;
        bool exists = !c.exists;
        const auto start = std::chrono::steady_clock::now();
        const Outcome o = Attempt([&] { exists = msiu::HostExists(L"flaky"); });
        const auto ms =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
        EXPECT_EQ(script.calls, c.calls) << c.calls;
        EXPECT_GE(ms, c.minimumMs - 50);
        if (c.failure) {
            EXPECT_EQ(o.text, c.failure);
            EXPECT_EQ(o.code, c.code);
        } else {
            EXPECT_FALSE(o.failed) << N(o.text);
            EXPECT_EQ(exists, c.exists);
        }
    }
}

TEST_F(ScriptedResolver, AFailingNameServiceIsNoMissingHost)
{
    // The same host text: not found is the user's mistake, a failing name
    // service is reported as such, by every caller.
    std::wstring host;
    uint16_t port = 0;
    script.results = {11001};
    EXPECT_EQ(Attempt([&] { msiu::ParseHostAndPort(L"web:80", host, true, port, false, 13); }).text,
              L"Host name does not appear to exist: web");
    script.results = {11003};
    EXPECT_EQ(Attempt([&] { msiu::ParseHostAndPort(L"web:80", host, true, port, false, 13); }).text,
              L"DNS failure when trying to lookup \"web\".  Check the network status or try again.  (wserr 0x2afb)");
    script.results = {11003};
    EXPECT_EQ(Attempt([&] { msiu::CanBindLocally(L"web"); }).text,
              L"DNS failure when trying to lookup \"web\".  Check the network status or try again.  (wserr 0x2afb)");
    script.results = {11001};
    const Outcome o = Attempt([&] { msiu::ResolveHostToAddress(L"web", AF_INET); });
    EXPECT_EQ(o.text, L"Host name does not exist: web");
    EXPECT_EQ(o.code, 0x80072AF9u);
}

TEST_F(ScriptedResolver, LiteralsAreMarkedNumericAndBadTextNeverAsked)
{
    struct Case {
        const wchar_t* name;
        bool withHints;
        int flags, family;  // as handed to the resolver; -1: no call
    };
    const Case cases[] = {
        {L"192.0.2.7", true, AI_NUMERICHOST, AF_INET},
        {L"[::1]", true, AI_NUMERICHOST, AF_INET6},
        {L"web", true, 0, 0},
        {L"1.2.3.999", true, -1, -1},
        {L"1.2.3.999", false, 0, 0},  // without hints nothing is classified
    };
    for (const auto& c : cases) {
        script.calls = 0;
        script.hints.clear();
        addrinfo hints{};
        addrinfo* list = nullptr;
        const Outcome o = Attempt([&] { msiu::LookUpHost(c.name, c.withHints ? &hints : nullptr, list); });
        if (list) ScriptedFreeAddrInfo(list);
        if (c.flags < 0) {
            EXPECT_EQ(script.calls, 0);
            EXPECT_EQ(o.text, std::wstring(L"Not a valid host name or IP address: ") + c.name);
            EXPECT_EQ(o.code, 0x80070057u);
            continue;
        }
        ASSERT_EQ(script.calls, 1) << N(c.name);
        EXPECT_EQ(script.names.back(), N(c.name));
        EXPECT_EQ(script.hints.back().ai_flags, c.flags) << N(c.name);
        EXPECT_EQ(script.hints.back().ai_family, c.family) << N(c.name);
    }
}

TEST_F(ScriptedResolver, OddAnswersOfTheResolverAreFailures)
{
    script.family = 99;
    Outcome o = Attempt([] { msiu::ResolveHostToAddress(L"web", AF_INET); });
    EXPECT_EQ(o.text, L"Unexpected address family 0x63 for: web");
    EXPECT_EQ(o.code, 0x80070057u);

    script.family = 9999;  // no socket of that family
    o = Attempt([] { msiu::CanBindLocally(L"web"); });
    EXPECT_EQ(o.text, L"Unexpected error from socket().  (wserr 0x273f)");
    EXPECT_EQ(o.code, 0x8007273Fu);

    script.family = AF_INET;
    script.addrlen = 4;  // too short an address for bind
    o = Attempt([] { msiu::CanBindLocally(L"web"); });
    EXPECT_EQ(o.text, L"Unexpected error from bind(\"web\").  (wserr 0x271e)");
    EXPECT_EQ(o.code, 0x8007271Eu);

    script.addrlen = sizeof(sockaddr_in);
    bool local = false;
    EXPECT_FALSE(Attempt([&] { local = msiu::CanBindLocally(L"web"); }).failed);
    EXPECT_TRUE(local) << "the scripted answer is the loopback address";
}

// ---- the fallback resolver ------------------------------------------------------

TEST(FallbackResolver, IPv4OnlyWithWinSockCodes)
{
    msiu::EnsureWinSock();
    struct Case {
        const char* node;
        const char* service;
        int flags, family, socktype;
        int result;
        const char* address;  // first entry on success
        int port;
    };
    const Case cases[] = {
        {"127.0.0.1", nullptr, 0, 0, 0, 0, "127.0.0.1", 0},
        {"192.0.2.7", "8080", 0, AF_INET, SOCK_STREAM, 0, "192.0.2.7", 8080},
        {"localhost", nullptr, 0, 0, 0, 0, "127.0.0.1", 0},
        {"1.2.3", nullptr, AI_NUMERICHOST, 0, 0, 11001, nullptr, 0},  // not the full dotted form
        {"web", nullptr, AI_NUMERICHOST, 0, 0, 11001, nullptr, 0},
        {"no-such-host.invalid", nullptr, 0, 0, 0, 11001, nullptr, 0},
        {"127.0.0.1", nullptr, 0, AF_INET6, 0, 10047, nullptr, 0},
        {"127.0.0.1", nullptr, 0, 0, 7, 10044, nullptr, 0},
        {nullptr, "80", AI_CANONNAME, 0, 0, 10022, nullptr, 0},
        {nullptr, "80", AI_PASSIVE, 0, SOCK_STREAM, 0, "0.0.0.0", 80},
        {nullptr, "80", 0, 0, SOCK_STREAM, 0, "127.0.0.1", 80},
    };
    for (const auto& c : cases) {
        addrinfo hints{};
        hints.ai_flags = c.flags;
        hints.ai_family = c.family;
        hints.ai_socktype = c.socktype;
        addrinfo* list = nullptr;
        const int r = msiu::detail::FallbackGetAddrInfo(c.node, c.service, &hints, &list);
        EXPECT_EQ(r, c.result) << (c.node ? c.node : "(null)");
        if (r != 0) {
            EXPECT_EQ(list, nullptr);
            continue;
        }
        ASSERT_NE(list, nullptr);
        EXPECT_EQ(list->ai_family, AF_INET);
        EXPECT_EQ(list->ai_socktype, c.socktype);
        char host[64], service[16];
        ASSERT_EQ(msiu::detail::FallbackGetNameInfo(list->ai_addr, static_cast<socklen_t>(list->ai_addrlen), host,
                                                    sizeof(host), service, sizeof(service), 0), 0);
        EXPECT_STREQ(host, c.address);
        EXPECT_EQ(std::atoi(service), c.port);
        msiu::detail::FallbackFreeAddrInfo(list);
    }
    addrinfo hints{};
    hints.ai_flags = AI_CANONNAME;
    addrinfo* list = nullptr;
    ASSERT_EQ(msiu::detail::FallbackGetAddrInfo("localhost", nullptr, &hints, &list), 0);
    ASSERT_NE(list->ai_canonname, nullptr);
    msiu::detail::FallbackFreeAddrInfo(list);
}

}  // namespace
