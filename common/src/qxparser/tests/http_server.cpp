#include "http_server.h"
#include "test_files.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace qxhttp {

int port()
{
    static int cached = [] {
        std::string text = qxtestfiles::readBytes(std::string(QX_HTTP_SERVER_DIR) + "/port");
        int p = std::atoi(text.c_str());
        if (p <= 0) {
            ADD_FAILURE() << "no test server: run this program through ctest, or start one with "
                             "testing/http/qx-httpd start <build dir>/http-server";
        }
        return p;
    }();
    return cached;
}

std::string root() { return "http://127.0.0.1:" + std::to_string(port()) + "/"; }

std::string baseUrl(const std::string& state) { return root() + state + "/cgi/"; }

std::string accessLog() { return qxtestfiles::readBytes(std::string(QX_HTTP_SERVER_DIR) + "/logs/access.log"); }

std::string configFile(const std::string& name) { return qxtestfiles::readBytes(std::string(QX_HTTP_CONFIG_DIR) + "/" + name); }

const char* agent()
{
#ifdef _WIN32
    return "qxparser wininet 1.0";
#else
    return "qxparser libcurl 1.0";
#endif
}

}  // namespace qxhttp
