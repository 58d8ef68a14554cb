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
    sectionAvailable = true;
    // A sixteenth more: the lines a merge adds to a large section then fit,
    // where growing the table would hold the old one and the new at once.
    const size_t expected = in.source.linesToEndLine();
    reserveLines(expected + expected / 16);
    const qx_linestorage storage = lineStorage();
    std::string_view text;
    bool plain = false;
    while (storeNextLine(in, storage, text, plain)) {
        if (!plain) readValue(text, in);
    }
    finishSection(in);
}

bool qx_section::storeNextLine(section_input& in, qx_linestorage storage, std::string_view& text, bool& plain)
{
    if (!in.next()) return false;
    const std::string_view line = in.line;
    if (isEndLine(line)) return false;
    bool blank = isBlankLine(line);
    plain = blank || isCommentLine(line);
    text = cutTrailing(line);
    bool cutStored = storage == qx_linestorage::afterCut ||
                     (storage == qx_linestorage::afterCutUnlessBlank && !blank);
    // "end" and a tab isn't an end line, but cut it would be one, and would
    // close the section early when the saved file is read again: such a line
    // keeps its blanks.
    if (cutStored && isEndLine(text)) cutStored = false;
    if (cutStored && text.size() != line.size()) in.noteCut(in.source.lineNumber());
    // The cut only shortens the line, so either form is a place in the text.
    storeLine(cutStored ? line.substr(0, text.size()) : line, in.source.sharedText());
    return true;
}

void qx_section::readValue(std::string_view, section_input&) {}

void qx_section::finishSection(section_input&) {}

void qx_section::writeSection(block_writer& out, std::string_view head) const
{
    out.put(head);
    out.put('\n');
    writeLines(out);
    out.put("end\n");
}

void qx_quorixfiles::defaultValues()
{
    modFile = "../config/mod_file";
    enzymesFile = "../config/enzymes";
    freqsFile = "../config/freqs.dat";
    nodeListFile = "../config/nodelist.txt";
}

}  // namespace orvane
