// The URL split of the legacy upgrade (our stand-in for ATL's). A URL that
// splits, written out again from its parts, splits into the same parts; one
// that doesn't leaves every part empty.
#include <wchar.h>

// The Windows run-time's name for the case-blind wide compare.
#define _wcsicmp wcscasecmp
#include "atlu/url.h"
#undef _wcsicmp

#include "fuzz_support.h"

using atlutils::UrlParts;
using qxfuzz::narrow;

static std::string describe(const UrlParts& u)
{
    return "scheme=" + narrow(u.scheme) + " (" + std::to_string(u.schemeNumber) + ")\nhost=" + narrow(u.host) +
           "\nuser=" + narrow(u.user) + "\npassword=" + narrow(u.password) + "\nport=" + std::to_string(u.port) +
           "\npath=" + narrow(u.path) + "\nextra=" + narrow(u.extra);
}

// One text for a set of parts. The port is always written where there is a
// host; a host with a colon goes in brackets unless it holds a bracket
// itself, when the written port is the last colon again.
static std::wstring compose(const UrlParts& u)
{
    std::wstring url = u.scheme + L":";
    if (!u.host.empty()) {
        url += L"//";
        if (!u.user.empty() || !u.password.empty()) url += u.user + (u.password.empty() ? L"" : L":" + u.password) + L"@";
        const bool brackets = (u.host.find(L':') != std::wstring::npos || u.host[0] == L'[') &&
                              u.host.find(L']') == std::wstring::npos;
        url += (brackets ? L"[" + u.host + L"]" : u.host) + L":" + std::to_wstring(u.port);
    }
    return url + u.path + u.extra;
}

QX_FUZZ_TARGET
{
    UrlParts first, second;
    if (!atlutils::CrackUrl(qxfuzz::wide(input), first))
        return qxfuzz::expectSame("a refused URL leaves every part empty", describe(UrlParts()), describe(first));
    const std::wstring again = compose(first);
    QX_LAW(atlutils::CrackUrl(again, second), "a written URL splits", input, narrow(again));
    qxfuzz::expectSame("a written URL splits into the same parts", describe(first), describe(second));
}
