// What every fuzz target needs around the code it drives: the entry point,
// a scratch folder of its own, bytes in and out of files, and a loud stop
// when a law breaks.
#pragma once

#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

// The target's body, run on each input as `input`; `return` ends the run.
#define QX_FUZZ_TARGET                                                                   \
    static void qxFuzzOne(const std::string& input);                                     \
    extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)              \
    { return qxFuzzOne(std::string(reinterpret_cast<const char*>(data), size)), 0; }     \
    static void qxFuzzOne(const std::string& input)

// Stops the run when `holds` is false; the texts are only built then.
#define QX_LAW(holds, law, first, second) ((holds) ? void() : qxfuzz::broken(law, first, second))

namespace qxfuzz {

inline std::string workPath(const std::string& name)
{
    // In memory where the machine has it: the targets write files at every run.
    static const std::string dir = [] {
        std::string dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm/qxfuzz-XXXXXX" : "/tmp/qxfuzz-XXXXXX";
        if (!mkdtemp(&dir[0])) std::abort();
        return dir;
    }();
    return dir + "/" + name;
}

inline void writeBytes(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

inline std::string readBytes(const std::string& path)
{
    std::ostringstream all;
    all << std::ifstream(path, std::ios::binary).rdbuf();
    return all.str();
}

// Bytes as wide text one for one, and back: the code page is the platform's business.
inline std::wstring wide(const std::string& text)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    return std::wstring(bytes, bytes + text.size());
}
inline std::string narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

inline std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) out.push_back(line);
    return out;
}

// Shows what differs and stops the run, so that libFuzzer keeps the input.
[[noreturn]] inline void broken(const char* law, const std::string& first, const std::string& second)
{
    size_t at = 0;
    while (at < first.size() && at < second.size() && first[at] == second[at]) ++at;
    std::fprintf(stderr, "law broken: %s\n(they differ from byte %zu)\n--- first:\n%s\n--- second:\n%s\n", law, at,
                 first.c_str(), second.c_str());
    std::abort();
}

inline void expectSame(const char* law, const std::string& first, const std::string& second)
{
    QX_LAW(first == second, law, first, second);
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

// The entries of a model dump whose names start with `prefix`, but for those
// ending in `unless`.
inline std::string selected(const std::map<std::string, std::string>& dump, const std::string& prefix,
                            const std::string& unless = "\x01")
{
    std::string out;
    for (const auto& [key, value] : dump)
        if (key.rfind(prefix, 0) == 0 &&
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
    QX_LAW(first.save(), "a read file saves", input, first.getErrorRepository().getMessage(-1));
    Dat second;
    second.setFileName(saved);
    second.read();
    expectSame(law, once, describe(second));
    return readBytes(saved);
}

}  // namespace qxfuzz
