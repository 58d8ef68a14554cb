#include "orvane/qx_customproperty.h"

#include <functional>

#include "byte_scan.h"
#include "qx_text.h"

namespace orvane {

qx_customproperty::qx_customproperty() : defaultDelimiter(" ") {}

qx_customproperty::~qx_customproperty() = default;

int qx_customproperty::findName(const std::string& name, int from) const
{
    if (from <= 0) {
        // A few searches don't pay for an index of a large section.
        if (!index.built && ++index.searches > 16) {
            for (int i = 0; i < lineCount(); ++i) index.first.emplace(nameView(i), i);
            index.built = true;
        }
        if (index.built) {
            const auto found = index.first.find(name);
            return found == index.first.end() ? -1 : found->second;
        }
        from = 0;
    }
    for (int i = from; i < lineCount(); ++i) {
        if (nameView(i) == name) return i;
    }
    return -1;
}

std::string_view qx_customproperty::nameView(int i) const
{
    if (i < 0 || i >= lineCount()) return std::string_view();
    const line_ref& r = lines[static_cast<size_t>(i)];
    if (r.at & kOwned) return ownLines[r.at & ~kOwned].name;
    return std::string_view(fileText->data() + r.at, r.nameSize);
}

std::string_view qx_customproperty::delimiterView(int i) const
{
    if (i < 0 || i >= lineCount()) return std::string_view();
    const line_ref& r = lines[static_cast<size_t>(i)];
    if (r.at & kOwned) return ownLines[r.at & ~kOwned].delimiter;
    return std::string_view(fileText->data() + r.at + r.nameSize, r.delimiterSize);
}

std::string_view qx_customproperty::valueView(int i) const
{
    if (i < 0 || i >= lineCount()) return std::string_view();
    const line_ref& r = lines[static_cast<size_t>(i)];
    if (r.at & kOwned) return ownLines[r.at & ~kOwned].value;
    return std::string_view(fileText->data() + r.at + r.nameSize + r.delimiterSize, r.valueSize);
}

std::string qx_customproperty::getName(int i) const
{
    return std::string(nameView(i));
}

std::string qx_customproperty::getValue(int i) const
{
    return std::string(valueView(i));
}

std::string qx_customproperty::getDelimiter(int i) const
{
    return std::string(delimiterView(i));
}

// A line about to change gets texts of its own.
qx_customproperty::own_line& qx_customproperty::ownLine(int i)
{
    line_ref& r = lines[static_cast<size_t>(i)];
    if (!(r.at & kOwned)) {
        own_line copy{getName(i), getDelimiter(i), getValue(i)};
        r.at = kOwned | static_cast<uint32_t>(addOwnLine(std::move(copy)));
    }
    return ownLines[r.at & ~kOwned];
}

size_t qx_customproperty::addOwnLine(own_line&& line)
{
    // The index holds views into these names; a move of them ends it.
    if (ownLines.size() == ownLines.capacity()) index.forget();
    ownLines.push_back(std::move(line));
    return ownLines.size() - 1;
}

void qx_customproperty::setName(int i, const std::string& text)
{
    if (i < 0 || i >= lineCount()) return;
    ownLine(i).name = text;
    index.forget();
}

void qx_customproperty::setValue(int i, const std::string& text)
{
    if (i < 0 || i >= lineCount()) return;
    // The same value changes nothing, and the line stays a place in the
    // file's text (a WWW entry sets the value that it has just read).
    if (valueView(i) == text && (!delimiterView(i).empty() || nameView(i).empty())) return;
    own_line& line = ownLine(i);
    line.value = text;
    // A key that stood alone needs something between it and its new value.
    if (line.delimiter.empty() && !line.name.empty()) line.delimiter = defaultDelimiter;
}

void qx_customproperty::setDefaultDelimiter(const char* text)
{
    defaultDelimiter = (text && *text) ? text : " ";
}

bool qx_customproperty::uncomment(int i, const char* delimiter)
{
    if (i < 0 || i >= lineCount()) return false;
    std::string delim = delimiter ? delimiter : defaultDelimiter;
    std::string text = getValue(i);
    size_t first = text.find_first_not_of("# \t");
    text.erase(0, first == std::string::npos ? text.size() : first);
    size_t at = delim.empty() ? std::string::npos : text.find(delim);
    if (at == std::string::npos) return false;
    own_line& line = ownLine(i);
    index.forget();
    line.name = text.substr(0, at);
    line.value = text.substr(at + delim.size());
    line.delimiter = delim;
    return true;
}

void qx_customproperty::clearLines()
{
    lines.clear();
    ownLines.clear();
    fileText.reset();
    index.forget();
    defaultDelimiter = " ";
}

void qx_customproperty::copyLines(const qx_customproperty& other)
{
    lines = other.lines;
    ownLines = other.ownLines;
    fileText = other.fileText;
    defaultDelimiter = other.defaultDelimiter;
    index.forget();
}

void qx_customproperty::insertLine(const line_ref& ref, bool atFront)
{
    if (atFront) {
        lines.insert(lines.begin(), ref);
        index.forget();
    } else {
        // A few lines added to a large table (the merge's options) mustn't
        // double it; an eighth more still keeps appends amortised.
        if (lines.size() == lines.capacity()) lines.reserve(lines.size() + lines.size() / 8 + 16);
        lines.push_back(ref);
        // emplace keeps an earlier line of the same name.
        if (index.built) index.first.emplace(nameView(lineCount() - 1), lineCount() - 1);
    }
}

void qx_customproperty::appendEntry(std::string name, std::string value, std::string delimiter,
                                    bool atFront)
{
    const size_t own = addOwnLine(own_line{std::move(name), std::move(delimiter), std::move(value)});
    insertLine(line_ref{kOwned | static_cast<uint32_t>(own), 0, 0, 0}, atFront);
}

void qx_customproperty::parseLine(const char* line, bool atFront)
{
    parseLine(line ? std::string_view(line) : std::string_view(), atFront);
}

void qx_customproperty::parseLine(std::string_view line, bool atFront)
{
    parseInto(line, atFront, false);
}

void qx_customproperty::storeLine(std::string_view line, const std::shared_ptr<const std::string>& text)
{
    // Lines of one section come from one text; one that doesn't (a section
    // read on from another source) is copied.
    if (text && (!fileText || lines.empty())) fileText = text;
    const bool inText = fileText && !line.empty() &&
                        std::less_equal<const char*>()(fileText->data(), line.data()) &&
                        std::less_equal<const char*>()(line.data() + line.size(), fileText->data() + fileText->size());
    parseInto(line, false, inText);
}

void qx_customproperty::parseInto(std::string_view line, bool atFront, bool inText)
{
    size_t begin = 0;
    while (begin < line.size() && (line[begin] == ' ' || line[begin] == '\t')) ++begin;
    size_t end = line.size();
    while (end > begin && (line[end - 1] == '\r' || line[end - 1] == '\n')) --end;
    std::string_view text = line.substr(begin, end - begin);

    size_t at = 0, valueAt = 0;
    if (text.empty() || text[0] == '#') {
        // The whole text is the value of a line without a name.
    } else {
        using qxparser_internal::findFirst;
        const char* textEnd = text.data() + text.size();
        const char* readable = inText ? fileText->data() + fileText->size() : textEnd;
        const char* nameEnd = findFirst<true>(text.data(), textEnd, readable);
        at = static_cast<size_t>(nameEnd - text.data());
        valueAt = static_cast<size_t>(findFirst<false>(nameEnd, textEnd, readable) - text.data());
    }
    if (inText) {
        insertLine(line_ref{static_cast<uint32_t>(text.data() - fileText->data()), static_cast<uint32_t>(at),
                            static_cast<uint32_t>(valueAt - at), static_cast<uint32_t>(text.size() - valueAt)},
                   atFront);
    } else {
        appendEntry(std::string(text.substr(0, at)), std::string(text.substr(valueAt)),
                    std::string(text.substr(at, valueAt - at)), atFront);
    }
}

void qx_customproperty::setProperty(const std::string& name, const std::string& value, bool atFront)
{
    int i = findName(name, 0);
    if (i >= 0) {
        setValue(i, value);
    } else {
        appendEntry(name, value, defaultDelimiter, atFront);
    }
}

void qx_customproperty::setBoolProperty(const std::string& name, bool flag, bool atFront)
{
    setProperty(name, flag ? "1" : "0", atFront);
}

void qx_customproperty::removeProperty(const std::string& name)
{
    size_t out = 0;
    for (size_t i = 0; i < lines.size(); ++i) {
        if (nameView(static_cast<int>(i)) == name) continue;
        lines[out++] = lines[i];
    }
    lines.resize(out);
    index.forget();
}

void qx_customproperty::writeLines(FILE* file) const
{
    qxparser_internal::block_writer out(file);
    writeLines(out);
}

void qx_customproperty::writeLines(qxparser_internal::block_writer& out) const
{
    const size_t count = lines.size();
    for (size_t i = 0; i < count;) {
        const line_ref& r = lines[i++];
        if (r.at & kOwned) {
            const own_line& own = ownLines[r.at & ~kOwned];
            out.put(own.name);
            out.put(own.delimiter);
            out.put(own.value);
            out.put('\n');
            continue;
        }
        // Lines that stand one behind the other in the file's text, each
        // ended there by a line feed alone, are written as one piece: most
        // of a large section is such a run. The byte behind the text is its
        // NUL, so the last line needs no test of its own.
        const char* text = fileText->data();
        size_t end = r.at + r.nameSize + r.delimiterSize + r.valueSize;
        while (i < count && lines[i].at == end + 1 && text[end] == '\n') {
            const line_ref& next = lines[i++];
            end = next.at + next.nameSize + next.delimiterSize + next.valueSize;
        }
        out.put(std::string_view(text + r.at, end - r.at));
        out.put('\n');
    }
}

}  // namespace orvane
