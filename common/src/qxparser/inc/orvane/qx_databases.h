// The Databases section: one line per sequence database. Unlike the other
// sections it has no property list: an entry's line is rebuilt from its
// fields when a field changes, and kept as it stood otherwise.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qxparser_internal {
struct section_input;
class block_writer;
}

namespace orvane {

class qx_databaseoptions {
public:
    qx_databaseoptions() = default;
    qx_databaseoptions(const qx_databaseoptions&) = default;
    qx_databaseoptions& operator=(const qx_databaseoptions&) = default;
    virtual ~qx_databaseoptions() = default;

    // Takes a database line, without any '#'. Gives the number of fields the
    // scan found; with 13 or 14 the entry takes them, `active` and the text
    // as its lineText, otherwise it stays as it was. `nameRead` receives the
    // first field, or an empty text if there is none.
    int readLine(std::string_view text, bool active, std::string* nameRead = nullptr);

    bool isActive() const { return active; }
    const std::string& getName() const { return name; }
    const std::string& getPath() const;
    bool isNucleic() const { return nucleic; }
    int32_t getColumn4() const { return column4; }
    int32_t getColumn5() const { return column5; }
    bool getColumn6() const { return column6; }
    bool getColumn7Off() const { return column7Off; }
    int32_t getThreads() const { return threads; }
    bool getColumn9() const { return column9; }
    bool getHasAccessionRefRule() const { return hasAccessionRefRule; }
    int32_t getAccessionRule() const { return accessionRule; }
    int32_t getDescriptionRule() const { return descriptionRule; }
    int32_t getAccessionRefRule() const { return accessionRefRule; }
    int32_t getTaxonomyRule() const { return taxonomyRule; }
    const std::string& getLineText() const;
    // The same texts without a copy; valid until the entry changes.
    std::string_view pathView() const
    {
        return pathInSource ? std::string_view(lineSource->data() + pathAt, pathSize) : std::string_view(path);
    }
    std::string_view lineView() const
    {
        if (lineInSource) return std::string_view(lineSource->data() + lineAt, lineSize);
        if (lineStale) buildLineText();
        return lineText;
    }

    // The '#' of an inactive line isn't part of lineText, so this leaves it alone.
    void setActive(bool flag) { active = flag; }
    void setPath(const std::string& text);
    void setThreads(int32_t value);
    void setAccessionRule(int32_t value);
    void setDescriptionRule(int32_t value);
    void setAccessionRefRule(int32_t value);
    void setTaxonomyRule(int32_t value);

private:
    friend class qx_databases;
    // A change of a field makes the line stale; it is written anew from
    // the fields when it is asked for, or straight into a save: the merge
    // changes every entry, and a line made for each was an allocation each.
    void rebuildLineText()
    {
        lineInSource = false;
        lineStale = true;
    }
    void buildLineText() const;
    void writeLine(qxparser_internal::block_writer& out) const;
    // The line's pieces from the fields, each handed to `put`.
    template <typename Put>
    void putFields(Put&& put) const;
    // As readLine, but a text that lies in `source` is kept as a place in
    // it: a large section's entries then hold no copy of their lines.
    int readLine(std::string_view text, bool active, std::string* nameRead,
                 const std::shared_ptr<const std::string>& source);

    bool active = false;
    std::string name;
    mutable std::string path;
    bool nucleic = false;
    int32_t column4 = 1234;
    int32_t column5 = 1;
    bool column6 = true;
    bool column7Off = false;
    int32_t threads = 1;
    bool column9 = false;
    bool hasAccessionRefRule = false;
    int32_t accessionRule = 0;
    int32_t descriptionRule = 0;
    int32_t accessionRefRule = 0;
    int32_t taxonomyRule = 0;
    // The line and the path as they were read are places in lineSource,
    // the file's text, as long as lineInSource and pathInSource say so;
    // otherwise (made or changed since, or asked for as a string) they are
    // lineText and path.
    mutable std::string lineText;
    std::shared_ptr<const std::string> lineSource;
    uint32_t lineAt = 0, lineSize = 0, pathAt = 0, pathSize = 0;
    mutable bool lineInSource = false, pathInSource = false, lineStale = false;
};

class qx_databases {
public:
    qx_databases() = default;
    // A copy takes the entries; the comments belong to the file that holds
    // the section, so a copy keeps its own.
    qx_databases(const qx_databases& other);
    qx_databases& operator=(const qx_databases& other);
    // The same for entries that the other object gives up.
    qx_databases& operator=(qx_databases&& other) noexcept;
    virtual ~qx_databases();

    int getNumberOfDatabases() const { return static_cast<int>(entries.size()); }
    qx_databaseoptions* getDatabase(int i);
    const qx_databaseoptions* getDatabase(int i) const;
    int findDatabase(const char* name, bool includeInactive) const;
    void appendDatabase(const qx_databaseoptions& entry);
    bool updateDatabase(int i, const qx_databaseoptions& entry);
    void reset();

    bool isAvailable() const { return sectionAvailable; }
    void setAvailable(bool flag) { sectionAvailable = flag; }
    // Element i is the comment text in front of entry i; one more may follow the last entry.
    const std::vector<std::string>& getComments() const { return comments; }

    // Reads the section's lines up to and including its end line.
    void readSection(qxparser_internal::section_input& in);
    void writeSection(qxparser_internal::block_writer& out) const;

private:
    // Adds a block of `count` entries and gives its first.
    qx_databaseoptions* addBlock(size_t count);

    bool sectionAvailable = false;
    // Entries are made in blocks, a read's all in one: an allocation and a
    // free per entry were a sixth of a large section's read. An entry never
    // moves, so a pointer to it stays good while the section grows.
    std::vector<std::unique_ptr<qx_databaseoptions[]>> blocks;
    std::vector<qx_databaseoptions*> entries;
    std::vector<std::string> comments;
};

}  // namespace orvane
