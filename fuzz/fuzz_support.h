// What every fuzz target needs around the code it drives: a scratch folder of
// its own, bytes in and out of files, and a loud stop when a law breaks.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace qxfuzz {

inline const std::string& workDir()
{
    // In memory where the machine has it: the targets write files at every run.
    static const std::string dir = [] {
        char shm[] = "/dev/shm/qxfuzz-XXXXXX";
        if (mkdtemp(shm)) return std::string(shm);
        char tmp[] = "/tmp/qxfuzz-XXXXXX";
        if (!mkdtemp(tmp)) std::abort();
        return std::string(tmp);
    }();
    return dir;
}

inline std::string workPath(const std::string& name) { return workDir() + "/" + name; }

inline void writeBytes(const std::string& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

inline std::string readBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
}

// Shows what differs and stops the run, so that libFuzzer keeps the input.
[[noreturn]] inline void broken(const char* law, const std::string& first, const std::string& second)
{
    size_t at = 0;
    while (at < first.size() && at < second.size() && first[at] == second[at]) ++at;
    std::fprintf(stderr, "law broken: %s\n(they differ from byte %zu)\n--- first:\n", law, at);
    std::fwrite(first.data(), 1, first.size(), stderr);
    std::fprintf(stderr, "\n--- second:\n");
    std::fwrite(second.data(), 1, second.size(), stderr);
    std::fprintf(stderr, "\n");
    std::abort();
}

inline void expectSame(const char* law, const std::string& first, const std::string& second)
{
    if (first != second) broken(law, first, second);
}

}  // namespace qxfuzz
