// Helpers for native tests that look at the Windows build: run a command,
// read files, find the build trees.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace qxnative {

inline std::string SourceDir() { return std::getenv("QX_SOURCE_DIR"); }  // set by ctest

// QX_BUILD_WIN64=/path points the tests at another build of that preset.
inline std::string BuildDir(const std::string& preset)
{
    std::string name = "QX_BUILD_";
    for (char c : preset) name += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    const char* v = std::getenv(name.c_str());
    return v && *v ? v : SourceDir() + "/build/" + preset;
}

// A file's bytes; a missing file reads as empty.
inline std::string ReadFile(const std::string& path)
{
    std::ostringstream s;
    s << std::ifstream(path, std::ios::binary).rdbuf();
    return s.str();
}

inline void WriteFile(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes; }

inline bool Exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

// The exit status and both streams. Output goes through a file, not a pipe: a
// Windows program may leave Wine's services behind, and they would hold a
// pipe open for ever.
inline std::pair<int, std::string> Run(const std::string& command)
{
    char name[] = "/tmp/qxrunXXXXXX";
    close(mkstemp(name));
    const int status = std::system((command + " </dev/null >" + name + " 2>&1").c_str());
    std::pair<int, std::string> r{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(name)};
    std::remove(name);
    return r;
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
