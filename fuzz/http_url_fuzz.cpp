// The URL split of the HTTP client: a URL that splits, written out again from
// its parts, must split into the same parts.
#include "fuzz_support.h"
#include "orvane/http_url.h"

using qxparser_internal::url_parts;

// The one text for a set of parts, so two sets are the same when their texts
// are (no part holds a character that ends it). The user part is written whenever the
// host holds an '@', or that '@' would end a user part on the way back.
static std::string compose(const url_parts& p)
{
    std::string url = p.secure ? "https://" : "http://";
    if (!p.user.empty() || !p.password.empty() || p.host.find('@') != std::string::npos)
        url += p.user + (p.password.empty() ? "" : ":" + p.password) + "@";
    url += p.host;
    if (p.port != (p.secure ? 443 : 0)) url += ":" + std::to_string(p.port);
    return url + "/" + p.object;
}

QX_FUZZ_TARGET
{
    url_parts first, second;
    if (!qxparser_internal::parseUrl(input, first)) {
        // A plain host (no user, no port) behind "://" and before a slash always splits.
        const size_t scheme = input.find("://"), slash = input.find('/', scheme + 3);
        QX_LAW(scheme == std::string::npos || slash == std::string::npos ||
                   input.find_first_of(":@", scheme + 3) < slash,
               "a URL with a scheme, a plain host and a slash splits", input, "refused");
        return;
    }
    QX_LAW(first.host.find_first_of(":/") == std::string::npos && first.user.find_first_of(":@/") == std::string::npos &&
               first.password.find_first_of("@/") == std::string::npos,
           "a part holds none of the characters that end it", input, compose(first));
    const std::string again = compose(first);
    QX_LAW(qxparser_internal::parseUrl(again, second), "a written URL splits", input, again);
    qxfuzz::expectSame("a written URL splits into the same parts", again, compose(second));
}
