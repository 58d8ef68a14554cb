// The ordered lines of one section of quorix.dat: what a save writes. Every
// line survives a read and a save, also those no reader understands.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace qxparser_internal {
class block_writer;
}

namespace orvane {

class qx_customproperty {
public:
    qx_customproperty();
    qx_customproperty(const qx_customproperty&) = default;
    qx_customproperty& operator=(const qx_customproperty&) = default;
    // A move takes the line table over: the merge's working copies go back
    // into the file's object without a second copy.
    qx_customproperty(qx_customproperty&&) = default;
    qx_customproperty& operator=(qx_customproperty&&) = default;
    virtual ~qx_customproperty();

    int lineCount() const { return static_cast<int>(lines.size()); }
    int findName(const std::string& name, int from = 0) const;
    std::string getName(int i) const;
    std::string getValue(int i) const;
    std::string getDelimiter(int i) const;
    const std::string& getDefaultDelimiter() const { return defaultDelimiter; }
    // The same texts without a copy; valid until the property list changes.
    std::string_view nameView(int i) const;
    std::string_view valueView(int i) const;
    std::string_view delimiterView(int i) const;

    void setName(int i, const std::string& text);
    void setValue(int i, const std::string& text);
    // Null or empty means a single blank.
    void setDefaultDelimiter(const char* text);
    // Turns a commented-out line into an entry; null means defaultDelimiter.
    bool uncomment(int i, const char* delimiter = nullptr);
    void clearLines();
    void copyLines(const qx_customproperty& other);
    void appendEntry(std::string name, std::string value, std::string delimiter, bool atFront = false);
    void parseLine(const char* line, bool atFront = false);
    void parseLine(std::string_view line, bool atFront = false);
    void setProperty(const std::string& name, const std::string& value, bool atFront = false);
    void setBoolProperty(const std::string& name, bool flag, bool atFront = false);
    void removeProperty(const std::string& name);

    // Name, delimiter and value of every entry, one line each.
    void writeLines(FILE* file) const;
    void writeLines(qxparser_internal::block_writer& out) const;

protected:
    // Parses a line that may be a view into `text`, the whole text of the
    // file it came from: such a line is kept as a place in that text.
    void storeLine(std::string_view line, const std::shared_ptr<const std::string>& text);
    void reserveLines(size_t more) { lines.reserve(lines.size() + more); }

private:
    // Name, delimiter and value of a line stand one behind the other. A line
    // as the file gave it is a place in fileText; a line made or changed
    // since is kOwned with an index into ownLines.
    static constexpr uint32_t kOwned = 0x80000000u;
    struct line_ref {
        uint32_t at;
        uint32_t nameSize;
        uint32_t delimiterSize;
        uint32_t valueSize;
    };
    struct own_line {
        std::string name, delimiter, value;
    };
    // Where each name first stands, built once a section is searched often
    // (a WWW section sets every entry it reads by name): without it that is
    // a search of all lines per line. A copy starts without one.
    struct name_index {
        std::unordered_map<std::string_view, int> first;
        bool built = false;
        int searches = 0;
        name_index() = default;
        name_index(const name_index&) {}
        name_index& operator=(const name_index&)
        {
            forget();
            return *this;
        }
        void forget()
        {
            first.clear();
            built = false;
            searches = 0;
        }
    };
    own_line& ownLine(int i);
    size_t addOwnLine(own_line&& line);
    void insertLine(const line_ref& ref, bool atFront);
    void parseInto(std::string_view line, bool atFront, bool inText);

    std::vector<line_ref> lines;
    std::vector<own_line> ownLines;
    std::shared_ptr<const std::string> fileText;
    std::string defaultDelimiter;
    mutable name_index index;
};

}  // namespace orvane
