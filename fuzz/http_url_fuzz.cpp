// The URL split of the HTTP client: a URL that splits, written out again from
// its parts, must split into the same parts.
#include <cstdint>
#include <string>

#include "fuzz_support.h"
#include "orvane/http_url.h"

using qxparser_internal::parseUrl;
using qxparser_internal::url_parts;

namespace {

std::string describe(const url_parts& p)
{
    return std::string(p.secure ? "secure" : "plain") + "\nuser=" + p.user + "\npassword=" + p.password +
           "\nhost=" + p.host + "\nport=" + std::to_string(p.port) + "\nobject=" + p.object;
}

// The one text for a set of parts. The user part is written whenever the
// host holds an '@', or that '@' would end a user part on the way back.
std::string compose(const url_parts& p)
{
    std::string url = p.secure ? "https://" : "http://";
    if (!p.user.empty() || !p.password.empty() || p.host.find('@') != std::string::npos) {
        url += p.user;
        if (!p.password.empty()) url += ":" + p.password;
        url += "@";
    }
    url += p.host;
    if (p.port != (p.secure ? 443 : 0)) url += ":" + std::to_string(p.port);
    return url + "/" + p.object;
}

// The port's digits, as the split reads them, name no port (1-65535).
bool noPort(const std::string& url, size_t scheme)
{
    const size_t slash = url.find('/', scheme + 3);
    size_t i = scheme + 3;
    const size_t at = url.find('@', i);
    if (at != std::string::npos && at < slash) {
        size_t end = url.find_first_of(":@", i);
        if (url[end] == ':') end = url.find('@', end + 1);
        i = end + 1;
    }
    const size_t colon = url.find_first_of(":/", i);
    if (url[colon] != ':') return false;
    const size_t digitsEnd = url.find_first_not_of("0123456789", colon + 1);
    const std::string digits = url.substr(colon + 1, digitsEnd - colon - 1);
    return !digits.empty() && (digits.size() > 5 || std::stol(digits) < 1 || std::stol(digits) > 65535);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string url(reinterpret_cast<const char*>(data), size);
    url_parts first;
    if (!parseUrl(url, first)) {
        // Only a URL without "://", without a slash behind it, or with no port in its port is refused.
        const size_t scheme = url.find("://");
        if (scheme != std::string::npos && url.find('/', scheme + 3) != std::string::npos && !noPort(url, scheme))
            qxfuzz::broken("a URL with a scheme and a slash splits", url, "refused");
        return 0;
    }
    if (first.host.find_first_of(":/") != std::string::npos || first.user.find_first_of(":@/") != std::string::npos ||
        first.password.find_first_of("@/") != std::string::npos)
        qxfuzz::broken("a part holds none of the characters that end it", url, describe(first));

    const std::string again = compose(first);
    url_parts second;
    if (!parseUrl(again, second)) qxfuzz::broken("a written URL splits", url, again);
    qxfuzz::expectSame("a written URL splits into the same parts", describe(first), describe(second));
    return 0;
}
