// Feeds arbitrary bytes to a quorix.dat read and save, and aborts when the
// round-trip law breaks: the save of a read of a saved file must be that
// file again, but for the one named exception (see roundtrip_law.h); or when
// the first save loses a line that no message names (preservation_law.h).
// An @include is served from memory and never reaches the file system.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "orvane/qx_datfile.h"
#include "preservation_law.h"
#include "roundtrip_law.h"

namespace {

const std::string& workDir()
{
    static const std::string dir = [] {
        char name[] = "/tmp/qxfuzz-XXXXXX";
        if (!mkdtemp(name)) std::abort();
        return std::string(name);
    }();
    return dir;
}

std::string readBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
}

// Any name that starts with "inc" is a small Cluster fragment; others don't exist.
bool includeFromMemory(const std::string& path, std::string& text)
{
    text = "Enabled 1\nSubClusterSet 0 2\n# included\n";
    return path.compare(0, 3, "inc") == 0;
}

std::string readAndSave(const std::string& from, const std::string& to, orvane::qx_errorlist* messages = nullptr)
{
    orvane::qx_datfile dat;
    dat.setFileName(from);
    dat.getErrorRepository().setFoldRepeats(false);
    dat.read();
    if (messages) messages->appendFrom(dat.getErrorRepository());
    dat.setFileName(to);
    if (!dat.save()) {
        std::fprintf(stderr, "save failed: %s\n", dat.getErrorRepository().getMessage(1).c_str());
        std::abort();
    }
    return readBytes(to);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input = workDir() + "/input.dat";
    const std::string first = workDir() + "/first.dat";
    const std::string second = workDir() + "/second.dat";
    {
        std::ofstream out(input, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    orvane::qx_filesource::setIncludeReader(includeFromMemory);
    orvane::qx_errorlist messages;
    std::string once = readAndSave(input, first, &messages);
    if (messages.isValid()) {
        const std::string lost = qxlaw::unaccounted(
            std::string(reinterpret_cast<const char*>(data), size), once, messages);
        if (!lost.empty()) {
            std::fprintf(stderr, "preservation law broken: %s\n", lost.c_str());
            std::abort();
        }
    }
    std::string twice = readAndSave(first, second);
    std::string broken = qxlaw::violation(once, twice);
    if (!broken.empty()) {
        std::fprintf(stderr, "round-trip law broken: %s\n", broken.c_str());
        std::abort();
    }
    return 0;
}
