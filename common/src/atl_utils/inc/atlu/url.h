// Splits a URL into its parts, with fixed limits per part and no unescaping.
// A URL that cannot be split, or a part over its limit, leaves every part
// empty and the port 0. (Our stand-in for the one URL class of ATL we used.)
#pragma once

#include <cstdint>
#include <cwctype>
#include <string>
#include <wchar.h>

namespace atlutils {

struct UrlParts {
    std::wstring scheme;
    int schemeNumber = -1;  // ftp 0, gopher 1, http 2, https 3, file 4, news 5, mailto 6, socks 7
    std::wstring host, user, password, path, extra;
    uint16_t port = 0;
};

inline bool CrackUrl(const std::wstring& url, UrlParts& out)
{
    out = UrlParts();
    UrlParts u;
    const size_t colon = url.find(L':');
    if (colon == std::wstring::npos || colon == 0 || colon > 32) return false;
    u.scheme = url.substr(0, colon);
    for (wchar_t c : u.scheme)
        if (!iswalnum(c) && c != L'+' && c != L'-' && c != L'.') return false;

    static const wchar_t* const kSchemes[] = {L"ftp", L"gopher", L"http", L"https", L"file", L"news", L"mailto", L"socks"};
    static const uint16_t kPorts[] = {21, 70, 80, 443, 0, 0, 0, 1080};
    uint16_t defaultPort = 0;
    for (int i = 0; i < 8; ++i) {
        if (_wcsicmp(u.scheme.c_str(), kSchemes[i]) == 0) {
            u.schemeNumber = i;
            defaultPort = kPorts[i];
        }
    }

    size_t pos = colon + 1;
    if (url.compare(pos, 2, L"//") == 0) {
        pos += 2;
        size_t end = url.find_first_of(L"/?#", pos);
        if (end == std::wstring::npos) end = url.size();
        std::wstring authority = url.substr(pos, end - pos);
        pos = end;

        const size_t at = authority.rfind(L'@');
        if (at != std::wstring::npos) {
            const std::wstring info = authority.substr(0, at);
            authority.erase(0, at + 1);
            const size_t c = info.find(L':');
            u.user = info.substr(0, c);
            if (c != std::wstring::npos) u.password = info.substr(c + 1);
        }
        std::wstring portText;
        if (!authority.empty() && authority[0] == L'[') {
            const size_t close = authority.find(L']');
            if (close == std::wstring::npos) return false;
            u.host = authority.substr(1, close - 1);
            std::wstring rest = authority.substr(close + 1);
            if (!rest.empty()) {
                if (rest[0] != L':') return false;
                portText = rest.substr(1);
            }
        } else {
            const size_t c = authority.rfind(L':');
            u.host = authority.substr(0, c);
            if (c != std::wstring::npos) portText = authority.substr(c + 1);
        }
        if (u.host.empty()) return false;
        if (!portText.empty()) {
            unsigned long port = 0;
            for (wchar_t d : portText) {
                if (d < L'0' || d > L'9') return false;
                port = port * 10 + (d - L'0');
                if (port > 0xFFFF) return false;
            }
            u.port = static_cast<uint16_t>(port);
        } else {
            u.port = defaultPort;
        }
    } else {
        u.port = defaultPort;
    }

    size_t stop = url.find_first_of(L"?#", pos);
    if (stop == std::wstring::npos) stop = url.size();
    u.path = url.substr(pos, stop - pos);
    u.extra = url.substr(stop);

    if (u.host.size() > 256 || u.user.size() > 128 || u.password.size() > 128 || u.path.size() > 2048 ||
        u.extra.size() > 2048)
        return false;
    out = u;
    return true;
}

}  // namespace atlutils
