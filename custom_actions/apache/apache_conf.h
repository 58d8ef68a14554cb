// The Apache fragment httpd.conf that the install writes.
#pragma once

#include <string>

namespace quorix::apache {

struct FragmentValues {
    std::string version;
    std::string cgiDir;   // forward slashes
    std::string xcgiDir;  // forward slashes
    std::string htmlDir;  // forward slashes
    std::string vdir;
};

// The fragment's lines, each ending in '\n'; a text-mode stream makes CRLF.
std::string BuildFragment(const FragmentValues& v);

}  // namespace quorix::apache
