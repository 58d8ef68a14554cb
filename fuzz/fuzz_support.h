// What every fuzz target needs around the code it drives: a scratch folder of
// its own, bytes in and out of files, and a loud stop when a law breaks.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
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

// "code text" of each message of a list.
template <class List>
std::string messages(const List& list)
{
    std::string all;
    for (int n = 1; n <= list.getMessageCount(); ++n)
        all += std::to_string(list.getErrorNumber(n)) + " " + list.getMessage(n) + "\n";
    return all;
}

inline void expectSame(const char* law, const std::string& first, const std::string& second)
{
    if (first != second) broken(law, first, second);
}

// The entries of a model dump whose names start with `prefix`, but for those
// ending in `unless`.
inline std::string selected(const std::map<std::string, std::string>& dump, const std::string& prefix,
                            const std::string& unless = "\x01")
{
    std::string out;
    for (const auto& [key, value] : dump)
        if (key.compare(0, prefix.size(), prefix) == 0 &&
            (key.size() < unless.size() || key.compare(key.size() - unless.size(), unless.size(), unless) != 0))
            out += key + " = " + value + "\n";
    return out;
}

// Reads `input` as quorix.dat into `first`, saves it and reads the save:
// what `describe` says of both reads must be the same. Gives the save.
template <class Dat, class Describe>
std::string expectSameAfterSave(const char* law, const std::string& input, Dat& first, Describe describe)
{
    const std::string path = workPath("input.dat"), saved = workPath("saved.dat");
    writeBytes(path, input);
    first.setFileName(path);
    first.read();
    const std::string once = describe(first);
    first.setFileName(saved);
    if (!first.save()) broken("a read file saves", input, first.getErrorRepository().getMessage(-1));
    Dat second;
    second.setFileName(saved);
    second.read();
    expectSame(law, once, describe(second));
    return readBytes(saved);
}

}  // namespace qxfuzz
