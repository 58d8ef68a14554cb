// Line classification shared by the top level and the section readers.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvane {
class qx_filesource;
class qx_errorlist;
class qx_errors;
class qx_databases;
}  // namespace orvane

namespace qxparser_internal {

constexpr char kCtrlZ = 26;

inline char lowerAscii(char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

// Blanks, tabs and Ctrl-Z up to the end, a carriage return or a line feed.
inline bool isBlankLine(std::string_view line)
{
    for (char c : line) {
        if (c == '\r' || c == '\n') return true;
        if (c != ' ' && c != '\t' && c != kCtrlZ) return false;
    }
    return true;
}

inline bool isCommentLine(std::string_view line)
{
    return !line.empty() && line[0] == '#';
}

// "end" in any case, then a blank, a line break or nothing. A tab doesn't
// count: "end<TAB>x" is an ordinary line.
inline bool isEndLine(std::string_view line)
{
    if (line.size() < 3) return false;
    if (lowerAscii(line[0]) != 'e' || lowerAscii(line[1]) != 'n' || lowerAscii(line[2]) != 'd')
        return false;
    if (line.size() == 3) return true;
    char c = line[3];
    return c == ' ' || c == '\r' || c == '\n';
}

inline bool startsWithNoCase(std::string_view line, std::string_view prefix)
{
    if (line.size() < prefix.size()) return false;
    for (size_t i = 0; i < prefix.size(); ++i) {
        if (lowerAscii(line[i]) != lowerAscii(prefix[i])) return false;
    }
    return true;
}

inline std::string_view cutTrailing(std::string_view line)
{
    size_t n = line.size();
    while (n > 0 && (line[n - 1] == ' ' || line[n - 1] == '\t' || line[n - 1] == '\r' || line[n - 1] == '\n')) --n;
    return line.substr(0, n);
}

inline void trailingCut(std::string& line)
{
    size_t n = line.size();
    while (n > 0) {
        char c = line[n - 1];
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n') break;
        --n;
    }
    line.resize(n);
}

inline void writeText(FILE* file, std::string_view text)
{
    if (!text.empty()) std::fwrite(text.data(), 1, text.size(), file);
}

// Gathers a save's pieces into whole blocks, one write each. stdio's own
// buffer (4 KB with glibc, whatever setvbuf asks for) cut a save into
// writes of 4 and 12 KB, and a 10 MB file cost twice the kernel time of a
// single write; a block that stdio's buffer doesn't hold goes past it to
// the file. On the stack, so that a save takes no heap for it; one writer
// serves a whole save.
class block_writer {
public:
    explicit block_writer(FILE* f) : file(f) {}
    block_writer(const block_writer&) = delete;
    block_writer& operator=(const block_writer&) = delete;
    ~block_writer() { flush(); }

    void put(std::string_view text)
    {
        if (used + text.size() > sizeof block) {
            flush();
            if (text.size() > sizeof block) return writeText(file, text);
        }
        if (!text.empty()) std::memcpy(block + used, text.data(), text.size());
        used += text.size();
    }
    void put(char c)
    {
        if (used == sizeof block) flush();
        block[used++] = c;
    }
    void flush()
    {
        writeText(file, std::string_view(block, used));
        used = 0;
    }

private:
    FILE* file;
    size_t used = 0;
    char block[65536];
};

// What a section reader works with: the source of its lines, the list its
// faults go to and the file's name for the messages; the object that owns
// that list (for the sources an @include opens) and the databases read so
// far (for the Processor section), either of which may be null.
struct section_input {
    orvane::qx_filesource& source;
    orvane::qx_errorlist& errors;
    const std::string& fileName;
    // The line last read, a view into the source's text: the sections that
    // keep it store it as a place in that text, without a copy.
    std::string_view line;
    orvane::qx_errors* owner = nullptr;
    const orvane::qx_databases* databases = nullptr;
    // Where a reader notes a line that a save won't write, and why.
    std::vector<std::pair<int, std::string>>* dropped = nullptr;
    // Where it notes a line that a save writes in another form only.
    std::vector<std::pair<int, std::string>>* rewritten = nullptr;
    // The lines of it that lose blanks at the end, as runs of line numbers.
    std::vector<std::pair<int, int>>* cutRuns = nullptr;

    bool next();
    void drop(int from, int to, const std::string& reason)
    {
        if (dropped)
            for (int k = from; k <= to; ++k) dropped->emplace_back(k, reason);
    }
    void rewrite(int at, const std::string& how)
    {
        if (rewritten) rewritten->emplace_back(at, how);
    }
    void noteCut(int at)
    {
        if (!cutRuns) return;
        if (!cutRuns->empty() && cutRuns->back().second + 1 == at)
            cutRuns->back().second = at;
        else
            cutRuns->emplace_back(at, at);
    }
};

}  // namespace qxparser_internal
