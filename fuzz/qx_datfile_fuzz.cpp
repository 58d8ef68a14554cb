// Feeds arbitrary bytes to a quorix.dat read and save, and aborts when the
// round-trip law breaks: the save of a read of a saved file must be that
// file again, but for the one named exception (see roundtrip_law.h); or when
// the first save loses a line that no message names (preservation_law.h).
// An @include is served from memory and never reaches the file system.
#include "fuzz_support.h"
#include "orvane/qx_datfile.h"
#include "preservation_law.h"
#include "roundtrip_law.h"

static std::string readAndSave(const std::string& input, orvane::qx_errorlist& messages)
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

QX_FUZZ_TARGET
{
    // Any name that starts with "inc" is a small Cluster fragment; others don't exist.
    orvane::qx_filesource::setIncludeReader([](const std::string& path, std::string& text) {
        text = "Enabled 1\nSubClusterSet 0 2\n# included\n";
        return path.compare(0, 3, "inc") == 0;
    });
    orvane::qx_errorlist messages, ignored;
    const std::string once = readAndSave(input, messages);
    const std::string lost = messages.isValid() ? qxlaw::unaccounted(input, once, messages) : "";
    QX_LAW(lost.empty(), "preservation law", input, lost);
    const std::string broken = qxlaw::violation(once, readAndSave(once, ignored));
    QX_LAW(broken.empty(), "round-trip law", once, broken);
}
