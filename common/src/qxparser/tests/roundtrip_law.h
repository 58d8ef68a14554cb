// The round-trip law for saved quorix.dat text: after one read and save, a
// second read and save changes nothing. One exception is named here and only
// here: an inactive database line is written as "# " and its lineText, and
// that lineText already starts with the blank of the previous "# ", so such a
// line gains exactly one blank behind its '#' at every save.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "orvane/qx_databases.h"

namespace qxlaw {

inline std::vector<std::string_view> splitLines(std::string_view text)
{
    std::vector<std::string_view> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t nl = text.find('\n', start);
        if (nl == std::string_view::npos) nl = text.size();
        lines.push_back(text.substr(start, nl - start));
        start = nl + 1;
    }
    return lines;
}

inline std::string_view withoutCr(std::string_view line)
{
    while (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return line;
}

// An inactive database entry as a save writes it: '#', then a text that scans
// as a database line.
inline bool isInactiveDatabaseLine(std::string_view line)
{
    line = withoutCr(line);
    if (line.empty() || line[0] != '#' || (line.size() > 1 && line[1] == '#')) return false;
    orvane::qx_databaseoptions entry;
    int fields = entry.readLine(std::string(line.substr(1)), false);
    return fields == 13 || fields == 14;
}

// Empty if `second` (the save of a read of `first`) obeys the law; otherwise
// a description of the first difference.
inline std::string violation(std::string_view first, std::string_view second)
{
    std::vector<std::string_view> a = splitLines(first), b = splitLines(second);
    if (a.size() != b.size()) {
        return "line count changed from " + std::to_string(a.size()) + " to " + std::to_string(b.size());
    }
    bool inSection = false, inDatabases = false;
    for (size_t i = 0; i < a.size(); ++i) {
        std::string_view line = withoutCr(a[i]);
        if (!inSection) {
            // Outside sections a save writes only comment texts and heads. A
            // blank line is blank up to its first carriage return, so a
            // comment text may hold "\r text" lines that are not heads.
            std::string_view upToCr = line.substr(0, line.find('\r'));
            if (!line.empty() && line[0] != '#' && upToCr.find_first_not_of(" \t\x1a") != std::string_view::npos) {
                inSection = true;
                inDatabases = line == "Databases";
            }
        } else if (line == "end") {
            inSection = inDatabases = false;
        }
        if (a[i] == b[i]) continue;
        bool grewOneBlank = inDatabases && isInactiveDatabaseLine(a[i]) &&
                            b[i] == "# " + std::string(a[i].substr(1));
        if (!grewOneBlank) {
            return "line " + std::to_string(i + 1) + " changed from '" + std::string(a[i]) + "' to '" +
                   std::string(b[i]) + "'";
        }
    }
    return std::string();
}

}  // namespace qxlaw
