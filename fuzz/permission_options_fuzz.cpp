// The two Options values the directory permissions read. The input's lines
// are the section's lines. The values are those of a plain reading of the
// same rules (a key matches a line's start, the last line wins, the group is
// the rest behind the key and blanks, tabs and colons, the path the second
// word), and two lines written from the values read back the same values.
#include <cctype>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "permissions/permissions.h"

using quorix::permissions::OptionValues;
using quorix::permissions::OptionValuesFromLines;

namespace {

std::vector<std::string> split(const std::string& text)
{
    std::vector<std::string> out;
    size_t start = 0;
    for (size_t nl; (nl = text.find('\n', start)) != std::string::npos; start = nl + 1)
        out.push_back(text.substr(start, nl - start));
    out.push_back(text.substr(start));
    return out;
}

// The words of a line as a formatted read sees them: up to its first NUL,
// cut at white space.
std::vector<std::string> words(const std::string& line)
{
    std::vector<std::string> out;
    std::string word;
    for (char c : line.substr(0, line.find('\0'))) {
        if (std::isspace(static_cast<unsigned char>(c))) {
            if (!word.empty()) out.push_back(word);
            word.clear();
        } else {
            word += c;
        }
    }
    if (!word.empty()) out.push_back(word);
    return out;
}

OptionValues plainReading(const std::vector<std::string>& lines)
{
    OptionValues v{"Guests", "C:/InetPub/Quorix/data"};
    for (const std::string& line : lines) {
        if (line.rfind("InterFileBasePath", 0) == 0) {
            const std::vector<std::string> w = words(line);
            v.interFileBasePath = w.size() >= 2 ? w[1] : "C:/InetPub/Quorix/data";
        } else if (line.rfind("NTIUserGroup", 0) == 0) {
            size_t at = 12;
            while (at < line.size() && (line[at] == ' ' || line[at] == '\t' || line[at] == ':')) ++at;
            v.group = at < line.size() ? line.substr(at) : "Guests";
        }
    }
    return v;
}

std::string describe(const OptionValues& v) { return "group=[" + v.group + "] path=[" + v.interFileBasePath + "]"; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<std::string> lines = split(std::string(reinterpret_cast<const char*>(data), size));
    const OptionValues read = OptionValuesFromLines(lines);
    qxfuzz::expectSame("the values are the plain reading's", describe(plainReading(lines)), describe(read));

    const OptionValues again =
        OptionValuesFromLines({"NTIUserGroup " + read.group, "InterFileBasePath " + read.interFileBasePath});
    qxfuzz::expectSame("lines written from the values read back the same", describe(read), describe(again));
    return 0;
}
