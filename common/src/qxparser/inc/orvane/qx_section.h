// The base of the sections of quorix.dat other than Databases. Each keeps
// every line in its property list, which is what a save writes; the typed
// members that callers read come on top of that list.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "orvane/qx_customproperty.h"

namespace qxparser_internal {
struct section_input;
class block_writer;
}

namespace orvane {

// How a section stores a line in its property list.
enum class qx_linestorage {
    beforeCut,           // as the line source gave it, trailing blanks included
    afterCut,            // after blanks, tabs and line breaks at the end are cut
    afterCutUnlessBlank, // as afterCut, but a blank line is stored as it stood
};

class qx_section : public qx_customproperty {
public:
    // Clears the property list, sets the section's delimiter, marks the
    // section unavailable and gives every typed member its default.
    virtual void defaultValues() = 0;

    bool isAvailable() const { return sectionAvailable; }
    void setAvailable(bool flag) { sectionAvailable = flag; }

    // Reads the section's lines up to and including its end line.
    virtual void readSection(qxparser_internal::section_input& in);
    // Head, lines and end line.
    void writeSection(qxparser_internal::block_writer& out, std::string_view head) const;

protected:
    qx_section() = default;
    qx_section(const qx_section&) = default;
    qx_section& operator=(const qx_section&) = default;
    qx_section(qx_section&&) = default;
    qx_section& operator=(qx_section&&) = default;

    void resetLines(const char* delimiter);
    // Takes the next line of the section into the property list, stored as
    // `storage` says. False at the section's end line or the end of the
    // input. `text` receives the line after the trailing cut, a view into
    // the source's text, and `plain` whether it is a comment or blank.
    bool storeNextLine(qxparser_internal::section_input& in, qx_linestorage storage, std::string_view& text,
                       bool& plain);
    virtual qx_linestorage lineStorage() const = 0;
    // The typed reading of a line that is neither comment nor blank, after
    // the trailing cut.
    virtual void readValue(std::string_view line, qxparser_internal::section_input& in);
    // Runs once the end line or the end of the input was met.
    virtual void finishSection(qxparser_internal::section_input& in);

    bool sectionAvailable = false;
};

}  // namespace orvane
