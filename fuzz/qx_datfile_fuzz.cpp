// Feeds arbitrary bytes to a quorix.dat read and save, and aborts when the
// round-trip law breaks: the save of a read of a saved file must be that
// file again, but for the one named exception (see roundtrip_law.h); or when
// the first save loses a line that no message names (preservation_law.h).
// An @include is served from memory and never reaches the file system.
#include <cstdint>
#include <string>

#include "fuzz_support.h"
#include "orvane/qx_datfile.h"
#include "preservation_law.h"
#include "roundtrip_law.h"

namespace {

// Any name that starts with "inc" is a small Cluster fragment; others don't exist.
bool includeFromMemory(const std::string& path, std::string& text)
{
    text = "Enabled 1\nSubClusterSet 0 2\n# included\n";
    return path.compare(0, 3, "inc") == 0;
}

std::string readAndSave(const std::string& input, orvane::qx_errorlist& messages)
{
    orvane::qx_datfile dat;
    dat.getErrorRepository().setFoldRepeats(false);
    // The read's messages, before a save can add its own.
    return qxfuzz::expectSameAfterSave("", input, dat, [&messages, done = false](orvane::qx_datfile& read) mutable {
        if (!done) messages.appendFrom(read.getErrorRepository());
        done = true;
        return "";
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    orvane::qx_filesource::setIncludeReader(includeFromMemory);
    const std::string input(reinterpret_cast<const char*>(data), size);
    orvane::qx_errorlist messages, ignored;
    const std::string once = readAndSave(input, messages);
    if (messages.isValid()) {
        const std::string lost = qxlaw::unaccounted(input, once, messages);
        if (!lost.empty()) qxfuzz::broken("preservation law", input, lost);
    }
    const std::string broken = qxlaw::violation(once, readAndSave(once, ignored));
    if (!broken.empty()) qxfuzz::broken("round-trip law", once, broken);
    return 0;
}
