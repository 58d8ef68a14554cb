#include "http_server.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <chrono>
#include <ctime>

namespace qxhttp {

int port()
{
    static int cached = [] {
        std::string text = readFile(std::string(QX_HTTP_SERVER_DIR) + "/port");
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

std::string accessLog() { return readFile(std::string(QX_HTTP_SERVER_DIR) + "/logs/access.log"); }

std::string configFile(const std::string& name) { return readFile(std::string(QX_HTTP_CONFIG_DIR) + "/" + name); }

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

namespace {
// A folder of this program's own, removed when the program ends.
struct temp_folder {
    std::filesystem::path path;
    temp_folder()
    {
        std::srand(static_cast<unsigned>(std::time(nullptr)));
        path = std::filesystem::temp_directory_path() / ("qx_http_tests_" + std::to_string(std::rand()));
        std::filesystem::create_directories(path);
    }
    ~temp_folder()
    {
        std::error_code ec;
        std::filesystem::remove_all(path, ec);
    }
};
}  // namespace

std::string tempPath(const std::string& name)
{
    static temp_folder folder;
    return (folder.path / name).string();
}

const char* agent()
{
#ifdef _WIN32
    return "qxparser wininet 1.0";
#else
    return "qxparser libcurl 1.0";
#endif
}

}  // namespace qxhttp
