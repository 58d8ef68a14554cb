// A section's property line: the name, delimiter and value a line parses
// into, written out as a save writes them, parse into the same three again.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz_support.h"
#include "orvane/qx_customproperty.h"

using orvane::qx_customproperty;

namespace {

std::string describe(const qx_customproperty& p, int i)
{
    return "name=[" + p.getName(i) + "]\ndelimiter=[" + p.getDelimiter(i) + "]\nvalue=[" + p.getValue(i) + "]";
}

std::string written(const qx_customproperty& p)
{
    char* text = nullptr;
    size_t size = 0;
    FILE* file = open_memstream(&text, &size);
    if (!file) std::abort();
    p.writeLines(file);
    std::fclose(file);
    std::string out(text, size);
    std::free(text);
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string line(reinterpret_cast<const char*>(data), size);
    qx_customproperty first;
    first.parseLine(std::string_view(line));
    if (first.lineCount() != 1) qxfuzz::broken("a line gives one entry", line, std::to_string(first.lineCount()));

    const std::string text = first.getName(0) + first.getDelimiter(0) + first.getValue(0);
    qxfuzz::expectSame("a save writes name, delimiter and value", text + "\n", written(first));

    qx_customproperty second;
    second.parseLine(std::string_view(text));
    qxfuzz::expectSame("a written line parses into the same entry", describe(first, 0), describe(second, 0));

    // The entry found by its name is the first with that name.
    if (!first.getName(0).empty() && first.findName(first.getName(0)) != 0)
        qxfuzz::broken("an entry is found by its own name", line, describe(first, 0));
    return 0;
}
