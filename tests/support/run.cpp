#include "run.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace qxnative {

RunResult Run(const std::string& command)
{
    RunResult r{-1, {}};
    FILE* p = popen((command + " 2>&1").c_str(), "r");
    if (!p) return r;
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, p)) > 0) r.output.append(buffer, n);
    int status = pclose(p);
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

std::string SourceDir()
{
    const char* v = std::getenv("QX_SOURCE_DIR");
    if (!v) throw std::runtime_error("QX_SOURCE_DIR is not set (run through ctest)");
    return v;
}

std::string BuildDir(const std::string& preset)
{
    return SourceDir() + "/build/" + preset;
}

std::string ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void WriteFile(const std::string& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
    if (!out) throw std::runtime_error("cannot write " + path);
}

bool Exists(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        out.push_back(line);
    }
    return out;
}

}  // namespace qxnative
