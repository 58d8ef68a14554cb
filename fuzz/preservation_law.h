// The preservation law of a quorix.dat read and save: every line of the input
// is in the output, or a message says why not. Spacing may change (a
// Databases entry is written with tabs, a section's trailing blanks are cut),
// so a line counts as kept when its run of words is a line of the output.
// Heads and end lines are written in their own form. A message accounts for
// a line when it names it ("line N", "lines N to M") or, for the messages
// that name no line, quotes the start of its first word; after the search status page
// (2307) the read has ended and nothing more is owed.
#pragma once

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "orvane/qx_errors.h"

namespace qxlaw {

// The words of a line and the line as its words joined by blanks.
inline std::vector<std::string> words(const std::string& line, std::string* joined = nullptr)
{
    std::vector<std::string> out;
    std::string word;
    for (size_t i = 0; i <= line.size(); ++i) {
        const char c = i < line.size() ? line[i] : ' ';
        const bool space = c == ' ' || c == '\t' || c == '\r' || c == '\x1a';
        // "#Name" and "# Name" are the same inactive entry.
        if (space || (c == '#' && word.empty() && out.empty())) {
            if (!word.empty()) out.push_back(word);
            word.clear();
            if (!space) out.push_back("#");
        } else {
            word += c;
        }
    }
    // A '#' alone is an empty comment, which may come back as a blank line.
    if (out.size() == 1 && out[0] == "#") out.clear();
    if (joined) for (const std::string& w : out) *joined += w + " ";
    return out;
}

inline bool startsNoCase(const std::string& line, const char* prefix)
{
    for (size_t i = 0; prefix[i]; ++i)
        if (i >= line.size() || std::tolower(static_cast<unsigned char>(line[i])) !=
                                    std::tolower(static_cast<unsigned char>(prefix[i])))
            return false;
    return true;
}

// An end line as the reader knows it: "end" in any case behind blanks and
// tabs, then a blank, a carriage return or nothing. "end" and a tab is an
// entry of its section.
inline bool isEndLine(const std::string& line)
{
    const size_t at = line.find_first_not_of(" \t");
    if (at == std::string::npos || !startsNoCase(line.substr(at), "end")) return false;
    return at + 3 == line.size() || line[at + 3] == ' ' || line[at + 3] == '\r';
}

// The number of a taxonomy head as the reader reads it behind "Taxonomy_"
// (blanks, a sign, digits), or -1 where the reader drops the head with its
// section: no number, or one out of range.
inline long taxonomyNumber(const std::string& text)
{
    size_t i = text.find_first_not_of(" \t");
    if (i == std::string::npos) return -1;
    const bool negative = text[i] == '-';
    if (text[i] == '+' || text[i] == '-') ++i;
    if (i == text.size() || !std::isdigit(static_cast<unsigned char>(text[i]))) return -1;
    long value = 0;
    for (; i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])) && value <= 64; ++i)
        value = value * 10 + (text[i] - '0');
    return (negative && value != 0) || value > 64 ? -1 : value;
}

// Empty if the law holds; otherwise the first line that is neither kept nor
// named.
// With `merged`, the output is a merge's: it rewrites every Databases entry
// (paths and threads) and fills placeholders, so those lines are not owed.
inline std::string unaccounted(std::string input, const std::string& output, const orvane::qx_errorlist& messages,
                               bool merged = false)
{
    static const char* const heads[] = {"Databases", "PARSE", "WWW", "Taxonomy_", "Cluster", "UniGene", "Processor",
                                        "Options", "Cron", "Files", "end", "<BODY><H1>Quorix search status page</H1>"};
    if (input.compare(0, 3, "\xEF\xBB\xBF") == 0) input.erase(0, 3);
    std::set<std::string> kept, keys;
    std::istringstream out(output);
    for (std::string line, joined; std::getline(out, line); joined.clear()) {
        const std::vector<std::string> w = words(line, &joined);
        kept.insert(joined);
        if (!w.empty()) keys.insert(w[0]);
    }
    std::set<long> named;
    std::string texts;
    bool ended = false;
    int shortEntries = 0;  // each names a Databases line it drops, by its first word as scanned
    for (int n = 1; n <= messages.getMessageCount(); ++n) {
        const std::string text = messages.getMessage(n);
        texts += text + "\n";
        ended = ended || messages.getErrorNumber(n) == 2307;
        shortEntries += messages.getErrorNumber(n) == 1541;
        const size_t range = text.rfind("(lines ");
        if (range != std::string::npos) {
            char* end = nullptr;
            const long from = std::strtol(text.c_str() + range + 7, &end, 10);
            // "(lines A-B)" or "(lines A to B)"; a message cut short after A
            // names A alone.
            while (*end != '\0' && !std::isdigit(static_cast<unsigned char>(*end)) && *end != ')') ++end;
            const long to = std::isdigit(static_cast<unsigned char>(*end)) ? std::strtol(end, nullptr, 10) : from;
            for (long k = from; k <= to && k - from < 1000000; ++k) named.insert(k);
        }
        const size_t at = text.find(", line ");
        if (at != std::string::npos) named.insert(std::strtol(text.c_str() + at + 7, nullptr, 10));
    }
    long number = 0;
    std::string section;
    std::set<long> taxonomies;
    std::istringstream in(input);
    for (std::string line, joined; std::getline(in, line); joined.clear()) {
        ++number;
        const std::vector<std::string> w = words(line, &joined);
        // A WWW entry is written from its values, each in plain quotes.
        const bool canonical = section == "www";
        if (w.empty()) continue;
        // A head opens its section on its own line; only the lines behind
        // it are entries, each of which a message for a short entry may
        // account for.
        bool opens = false;
        if (section.empty()) {
            // At the top level only a head opens a section, as in the reader.
            const size_t first = line.find_first_not_of(" \t");
            for (const char* h : heads)
                if (std::string(h) != "end" && h[0] != '<' && startsNoCase(line.substr(first), h))
                    for (const char c : std::string(h, 3)) section += static_cast<char>(std::tolower(c));
            // A second head of a taxonomy section the file already has is
            // dropped alone; the reader goes on at the top level.
            const long n = section == "tax" ? taxonomyNumber(line.substr(first + 9)) : -1;
            if (n >= 0 && !taxonomies.insert(n).second) section.clear();
            opens = !section.empty();
        } else if (isEndLine(line)) {
            section.clear();
        }
        if (kept.count(joined) || named.count(number) || ended || (canonical && keys.count(w[0]))) continue;
        if (merged && (section == "dat" || line.find("###") != std::string::npos)) continue;
        if (section == "dat" && !opens && shortEntries > 0 && shortEntries--) continue;
        // Messages may quote a name cut to its field's size, and as the
        // reader scans it: up to a blank of any kind, a vertical tab too.
        const std::string first = w[0].substr(0, 16);
        const char* const blanks = " \t\n\v\f\r";
        const size_t from = line.find_first_not_of(blanks);
        const std::string scanned =
            from == std::string::npos ? first : line.substr(from, std::min<size_t>(line.find_first_of(blanks, from) - from, 16));
        bool head = false;
        for (const char* h : heads) head = head || startsNoCase(first, h);
        if (!head && texts.find(first) == std::string::npos && texts.find(scanned) == std::string::npos)
            return "line " + std::to_string(number) + " is neither kept nor named: " + line;
    }
    return std::string();
}

}  // namespace qxlaw
