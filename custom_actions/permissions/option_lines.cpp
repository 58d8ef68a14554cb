// The two Options values the permissions need, read from the section's lines
// by the section reader's rules. Free of Windows headers, so that it builds
// natively as well, where the fuzzer drives it.
#include <cstdio>
#include <cstring>

#include "permissions/permissions.h"

namespace quorix::permissions {

namespace {
const char kGroupKey[] = "NTIUserGroup";
const char kGroupDefault[] = "Guests";
const char kBasePathKey[] = "InterFileBasePath";
const char kBasePathDefault[] = "C:/InetPub/Quorix/data";

bool StartsWith(const std::string& line, const char* key)
{
    return line.compare(0, std::strlen(key), key) == 0;
}
}  // namespace

OptionValues OptionValuesFromLines(const std::vector<std::string>& lines)
{
    std::string group = kGroupDefault, basePath = kBasePathDefault;
    for (const auto& line : lines) {
        if (StartsWith(line, kBasePathKey)) {
            std::vector<char> word(line.size() + 1, '\0');
            if (std::sscanf(line.c_str(), "%*s %s", word.data()) == 1 && word[0]) basePath = word.data();
            else basePath = kBasePathDefault;
        } else if (StartsWith(line, kGroupKey)) {
            const size_t at = line.find_first_not_of(" \t:", std::strlen(kGroupKey));
            group = at == std::string::npos ? kGroupDefault : line.substr(at);
        }
    }
    return {group, basePath};
}

}  // namespace quorix::permissions
