#include "orvane/qx_sections.h"

#include "orvane/qx_filesource.h"
#include "qx_text.h"

namespace qxparser_internal {

bool section_input::next()
{
    return source.getLine(line);
}

}  // namespace qxparser_internal

namespace orvane {

using namespace qxparser_internal;

void qx_section::resetLines(const char* delimiter)
{
    clearLines();
    setDefaultDelimiter(delimiter);
    sectionAvailable = false;
}

void qx_section::readSection(section_input& in)
{
    readLines(in, lineStorage());
}

void qx_section::readLines(section_input& in, qx_linestorage storage)
{
    sectionAvailable = true;
    while (in.next()) {
        std::string& line = in.line;
        if (isEndLine(line)) return;
        if (storage == qx_linestorage::afterCut ||
            (storage == qx_linestorage::afterCutUnlessBlank && !isBlankLine(line))) {
            // "end" and a tab isn't an end line, but cut it would be one, and
            // would close the section early when the saved file is read again:
            // such a line keeps its blanks.
            std::string cut = line;
            trailingCut(cut);
            if (!isEndLine(cut)) line.swap(cut);
        }
        parseLine(std::string_view(line));
    }
}

void qx_section::writeSection(FILE* file, const std::string& head) const
{
    writeLine(file, head);
    writeLines(file);
    writeLine(file, "end");
}

void qx_quorixfiles::defaultValues()
{
    modFile = "../config/mod_file";
    enzymesFile = "../config/enzymes";
    freqsFile = "../config/freqs.dat";
    nodeListFile = "../config/nodelist.txt";
}

}  // namespace orvane
