// A section's property line: the name, delimiter and value a line parses
// into, written out as a save writes them, parse into the same three again.
#include "fuzz_support.h"
#include "orvane/qx_customproperty.h"

QX_FUZZ_TARGET
{
    orvane::qx_customproperty first, second;
    first.parseLine(std::string_view(input));
    QX_LAW(first.lineCount() == 1, "a line gives one entry", input, std::to_string(first.lineCount()));
    const auto parts = [](const orvane::qx_customproperty& p) {
        return "[" + p.getName(0) + "][" + p.getDelimiter(0) + "][" + p.getValue(0) + "]";
    };
    const std::string text = first.getName(0) + first.getDelimiter(0) + first.getValue(0);
    char* saved = nullptr;
    size_t size = 0;
    FILE* file = open_memstream(&saved, &size);
    first.writeLines(file);
    std::fclose(file);
    qxfuzz::expectSame("a save writes name, delimiter and value", text + "\n", std::string(saved, size));
    std::free(saved);
    second.parseLine(std::string_view(text));
    qxfuzz::expectSame("a written line parses into the same entry", parts(first), parts(second));
    // The entry found by its name is the first with that name.
    QX_LAW(first.getName(0).empty() || first.findName(first.getName(0)) == 0, "an entry is found by its own name",
           input, parts(first));
}
