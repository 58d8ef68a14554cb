// The ordered lines of one section of quorix.dat: what a save writes. Every
// line survives a read and a save, also those no reader understands.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace orvane {

class qx_customproperty {
public:
    qx_customproperty();
    virtual ~qx_customproperty();

    int lineCount() const { return static_cast<int>(names.size()); }
    int findName(const std::string& name, int from = 0) const;
    std::string getName(int i) const;
    std::string getValue(int i) const;
    std::string getDelimiter(int i) const;
    const std::string& getDefaultDelimiter() const { return defaultDelimiter; }

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

protected:
    std::vector<std::string> names;
    std::vector<std::string> values;
    std::vector<std::string> delimiters;
    std::string defaultDelimiter;
};

}  // namespace orvane
