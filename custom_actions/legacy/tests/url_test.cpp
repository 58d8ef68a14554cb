// The URL split behind the legacy upgrade: parts, default ports, limits.
#include <gtest/gtest.h>

#include "atlu/url.h"

namespace {

struct UrlCase {
    std::wstring url;
    bool ok;
    std::wstring scheme, host, path, extra;
    int port;
};

TEST(CrackUrl, Table)
{
    const UrlCase cases[] = {
        {L"http://srv/quorix/", true, L"http", L"srv", L"/quorix/", L"", 80},
        {L"https://srv/quorix", true, L"https", L"srv", L"/quorix", L"", 443},
        {L"http://srv:8080/cgi/quorix/", true, L"http", L"srv", L"/cgi/quorix/", L"", 8080},
        {L"http://srv/quorix/index.html?a=1#top", true, L"http", L"srv", L"/quorix/index.html", L"?a=1#top", 80},
        {L"http://user:pw@srv:81/x", true, L"http", L"srv", L"/x", L"", 81},
        {L"http://[fe80::1]:8000/q", true, L"http", L"fe80::1", L"/q", L"", 8000},
        {L"ftp://srv/pub", true, L"ftp", L"srv", L"/pub", L"", 21},
        {L"socks://proxy", true, L"socks", L"proxy", L"", L"", 1080},
        {L"unknown://srv/x", true, L"unknown", L"srv", L"/x", L"", 0},
        {L"http://srv", true, L"http", L"srv", L"", L"", 80},
        {L"http://srv:99999/x", false, L"", L"", L"", L"", 0},
        {L"http://srv:80a/x", false, L"", L"", L"", L"", 0},
        {L"no scheme at all", false, L"", L"", L"", L"", 0},
        {L"http:///path", false, L"", L"", L"", L"", 0},
        {L"http://" + std::wstring(257, L'h') + L"/x", false, L"", L"", L"", L"", 0},
        {L"http://srv/" + std::wstring(2048, L'p'), false, L"", L"", L"", L"", 0},
    };
    for (const auto& c : cases) {
        atlutils::UrlParts p;
        p.host = L"stale";
        EXPECT_EQ(atlutils::CrackUrl(c.url, p), c.ok) << std::string(c.url.begin(), c.url.end());
        EXPECT_EQ(p.scheme, c.scheme);
        EXPECT_EQ(p.host, c.host);
        EXPECT_EQ(p.path, c.path);
        EXPECT_EQ(p.extra, c.extra);
        EXPECT_EQ(p.port, c.port);
    }
}

}  // namespace
