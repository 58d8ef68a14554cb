// Helpers for native tests that look at the Windows build: run a command,
// read files, find the build trees.
#pragma once

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace qxnative {

struct RunResult {
    int status;
    std::string output;
};

inline std::string SourceDir()
{
    const char* v = std::getenv("QX_SOURCE_DIR");
    if (!v) throw std::runtime_error("QX_SOURCE_DIR is not set (run through ctest)");
    return v;
}

inline std::string BuildDir(const std::string& preset)
{
    // QX_BUILD_WIN64=/path points the tests at another build of that preset.
    std::string name = "QX_BUILD_";
    for (char c : preset) name += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    const char* v = std::getenv(name.c_str());
    return v && *v ? v : SourceDir() + "/build/" + preset;
}

inline std::string ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

inline RunResult Run(const std::string& command)
{
    // Output goes through a file, not a pipe: a Windows program may leave
    // Wine's services behind, and they would hold a pipe open for ever.
    char name[] = "/tmp/qxrunXXXXXX";
    const int fd = mkstemp(name);
    if (fd < 0) return {-1, {}};
    close(fd);
    const int status = std::system((command + " </dev/null >" + name + " 2>&1").c_str());
    RunResult r{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(name)};
    std::remove(name);
    return r;
}

inline void WriteFile(const std::string& path, const std::string& bytes)
{
    if (!(std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes)) throw std::runtime_error("cannot write " + path);
}

inline bool Exists(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

inline std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line); out.push_back(line))
        if (!line.empty() && line.back() == '\r') line.pop_back();
    return out;
}

}  // namespace qxnative
