#include "orvane/qx_databases.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>
#include <functional>

#include "orvane/qx_errors.h"
#include "orvane/qx_filesource.h"
#include "qx_text.h"

namespace orvane {

using namespace qxparser_internal;

namespace {

inline bool isScanSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// The fields of a database line, scanned the way "%19s %255s %2s" and eleven
// "%d" would scan them, but with integers that saturate instead of
// overflowing, so that every platform reads the same numbers.
struct line_scanner {
    const char* p;
    const char* end;

    void skipSpace()
    {
        while (p < end && isScanSpace(*p)) ++p;
    }

    bool word(size_t width, std::string_view& out)
    {
        skipSpace();
        const char* start = p;
        while (p < end && !isScanSpace(*p) && static_cast<size_t>(p - start) < width) ++p;
        if (p == start) return false;
        out = std::string_view(start, static_cast<size_t>(p - start));
        return true;
    }

    bool integer(int32_t& out)
    {
        skipSpace();
        const char* q = p;
        bool negative = false;
        if (q < end && (*q == '+' || *q == '-')) negative = *q++ == '-';
        if (q == end || *q < '0' || *q > '9') return false;
        long long value = 0;
        for (; q < end && *q >= '0' && *q <= '9'; ++q) {
            if (value <= LLONG_MAX / 16) value = value * 10 + (*q - '0');
        }
        if (negative) value = -value;
        if (value > INT32_MAX) value = INT32_MAX;
        if (value < INT32_MIN) value = INT32_MIN;
        out = static_cast<int32_t>(value);
        p = q;
        return true;
    }
};

}  // namespace

int qx_databaseoptions::readLine(std::string_view text, bool isActive, std::string* nameRead)
{
    return readLine(text, isActive, nameRead, nullptr);
}

const std::string& qx_databaseoptions::getLineText() const
{
    if (lineInSource) {
        lineText.assign(lineView());
        lineInSource = false;
    } else if (lineStale) {
        buildLineText();
    }
    return lineText;
}

const std::string& qx_databaseoptions::getPath() const
{
    if (pathInSource) {
        path.assign(pathView());
        pathInSource = false;
    }
    return path;
}

int qx_databaseoptions::readLine(std::string_view text, bool isActive, std::string* nameRead,
                                 const std::shared_ptr<const std::string>& source)
{
    line_scanner scan{text.data(), text.data() + text.size()};
    // Views until the line is known to be an entry: most lines are.
    std::string_view fieldName, fieldPath, kind;
    int32_t numbers[11] = {};
    int count = 0;
    if (scan.word(19, fieldName)) {
        ++count;
        if (scan.word(255, fieldPath)) {
            ++count;
            if (scan.word(2, kind)) {
                ++count;
                for (int32_t& n : numbers) {
                    if (!scan.integer(n)) break;
                    ++count;
                }
            }
        }
    }
    if (nameRead) nameRead->assign(fieldName);
    if (count != 13 && count != 14) return count;

    active = isActive;
    name.assign(fieldName);
    nucleic = kind[0] != 'A' && kind[0] != 'a';
    column4 = numbers[0];
    column5 = numbers[1];
    column6 = numbers[2] == 1;
    column7Off = numbers[3] == 0;
    threads = numbers[4];
    column9 = numbers[5] == 1;
    hasAccessionRefRule = numbers[6] == 1;
    accessionRule = numbers[7];
    descriptionRule = numbers[8];
    accessionRefRule = numbers[9];
    taxonomyRule = count == 14 ? numbers[10] : -1;
    if (column7Off) {
        hasAccessionRefRule = false;
        taxonomyRule = -1;
    }
    // The path lies in the line, so both are places in the same text.
    lineInSource = pathInSource = source && std::less_equal<const char*>()(source->data(), text.data()) &&
                                  std::less_equal<const char*>()(text.data() + text.size(),
                                                                 source->data() + source->size());
    if (lineInSource) {
        lineSource = source;
        lineAt = static_cast<uint32_t>(text.data() - source->data());
        lineSize = static_cast<uint32_t>(text.size());
        pathAt = static_cast<uint32_t>(fieldPath.data() - source->data());
        pathSize = static_cast<uint32_t>(fieldPath.size());
        lineText.clear();
        path.clear();
        lineStale = false;
    } else {
        lineSource.reset();
        lineText = text;
        lineStale = false;
        path.assign(fieldPath);
    }
    return count;
}

template <typename Put>
void qx_databaseoptions::putFields(Put&& put) const
{
    if (name.empty()) return;
    const int32_t numbers[] = {column4, column5, column6, !column7Off, threads, column9, hasAccessionRefRule,
                               accessionRule, descriptionRule, accessionRefRule, taxonomyRule};
    char digits[sizeof numbers / sizeof numbers[0] * 12];
    char* at = digits;
    for (int32_t n : numbers) {
        *at++ = '\t';
        at = std::to_chars(at, digits + sizeof digits, n).ptr;
    }
    put(std::string_view(name));
    put(std::string_view("\t"));
    put(pathView());
    put(std::string_view(nucleic ? "\tNA" : "\tAA"));
    put(std::string_view(digits, static_cast<size_t>(at - digits)));
}

void qx_databaseoptions::buildLineText() const
{
    // The path may still be a place in the text; the source stays for it.
    std::string text;
    text.reserve(name.size() + pathView().size() + 4 + 11 * 12);
    putFields([&text](std::string_view piece) { text += piece; });
    lineText = std::move(text);
    lineStale = false;
}

void qx_databaseoptions::writeLine(block_writer& out) const
{
    if (lineInSource || !lineStale)
        out.put(lineView());
    else
        putFields([&out](std::string_view piece) { out.put(piece); });
}

void qx_databaseoptions::setPath(const std::string& text)
{
    path = text;
    pathInSource = false;
    rebuildLineText();
}

void qx_databaseoptions::setThreads(int32_t value)
{
    threads = value;
    rebuildLineText();
}

void qx_databaseoptions::setAccessionRule(int32_t value)
{
    accessionRule = value;
    rebuildLineText();
}

void qx_databaseoptions::setDescriptionRule(int32_t value)
{
    descriptionRule = value;
    rebuildLineText();
}

void qx_databaseoptions::setAccessionRefRule(int32_t value)
{
    accessionRefRule = value;
    rebuildLineText();
}

void qx_databaseoptions::setTaxonomyRule(int32_t value)
{
    taxonomyRule = value;
    rebuildLineText();
}

qx_databases::qx_databases(const qx_databases& other)
{
    *this = other;
}

qx_databases& qx_databases::operator=(const qx_databases& other)
{
    if (this == &other) return *this;
    qx_databases copy;
    copy.entries.reserve(other.entries.size());
    qx_databaseoptions* made = copy.addBlock(other.entries.size());
    for (const qx_databaseoptions* entry : other.entries) {
        *made = *entry;
        copy.entries.push_back(made++);
    }
    blocks = std::move(copy.blocks);
    entries = std::move(copy.entries);
    sectionAvailable = other.sectionAvailable;
    return *this;
}

qx_databases& qx_databases::operator=(qx_databases&& other) noexcept
{
    if (this == &other) return *this;
    blocks = std::move(other.blocks);
    entries = std::move(other.entries);
    other.blocks.clear();
    other.entries.clear();
    sectionAvailable = other.sectionAvailable;
    return *this;
}

qx_databaseoptions* qx_databases::addBlock(size_t count)
{
    if (count == 0) return nullptr;
    // Not make_unique: it would zero every entry before constructing it.
    blocks.emplace_back(new qx_databaseoptions[count]);
    return blocks.back().get();
}

qx_databases::~qx_databases() = default;

qx_databaseoptions* qx_databases::getDatabase(int i)
{
    return i >= 0 && i < getNumberOfDatabases() ? entries[i] : nullptr;
}

const qx_databaseoptions* qx_databases::getDatabase(int i) const
{
    return i >= 0 && i < getNumberOfDatabases() ? entries[i] : nullptr;
}

int qx_databases::findDatabase(const char* name, bool includeInactive) const
{
    if (!name || !*name) return -1;
    for (size_t i = 0; i < entries.size(); ++i) {
        const qx_databaseoptions& entry = *entries[i];
        if (!entry.isActive() && !includeInactive) continue;
        if (entry.getName() == name) return static_cast<int>(i);
    }
    return -1;
}

void qx_databases::appendDatabase(const qx_databaseoptions& entry)
{
    entries.reserve(entries.size() + 1);
    qx_databaseoptions* made = addBlock(1);
    *made = entry;
    entries.push_back(made);
}

bool qx_databases::updateDatabase(int i, const qx_databaseoptions& entry)
{
    if (i < 0 || i >= getNumberOfDatabases()) return false;
    *entries[i] = entry;
    return true;
}

void qx_databases::reset()
{
    sectionAvailable = false;
    entries.clear();
    blocks.clear();
    comments.clear();
}

void qx_databases::readSection(section_input& in)
{
    sectionAvailable = true;
    const size_t expected = in.source.linesToEndLine();
    // Comment and blank lines make no entry, so what is made ahead of the
    // entries is bounded: a section of a million "#" lines must not cost
    // a million entries.
    const size_t ahead = std::min<size_t>(expected, 1u << 16);
    entries.reserve(entries.size() + ahead);
    comments.reserve(comments.size() + ahead);
    // Entries are made in blocks that grow with the entries read, up to the
    // lines left; a slot that a line doesn't fill stays for the next one.
    qx_databaseoptions* slot = nullptr;
    qx_databaseoptions* slotsEnd = nullptr;
    size_t made = 0;
    const int before = in.source.lineNumber();
    std::string buffer;
    std::string nameRead;
    while (in.next()) {
        if (isEndLine(in.line)) break;
        const std::string_view line = cutTrailing(in.line);
        bool active = !isCommentLine(line);
        std::string_view text(line);
        if (!active) text.remove_prefix(1);

        // "##" marks a comment; a bare '#' or a blank line is an empty
        // comment line that can't open a comment block of its own.
        bool comment = !active && isCommentLine(text);
        if (!comment) {
            if (isBlankLine(text)) {
                if (!buffer.empty()) buffer += '\n';
                // A carriage return makes the line blank; text behind it is lost.
                if (text.find_first_not_of(" \t\r\n\x1a") != std::string_view::npos) {
                    const int at = in.source.lineNumber();
                    in.errors.addError(qxerr::lineDropped, in.fileName.c_str(), at,
                                       "text behind a carriage return in a blank line");
                    in.drop(at, at, "text behind a carriage return in a blank line");
                }
                continue;
            }
            if (slot == slotsEnd) {
                const size_t taken = static_cast<size_t>(in.source.lineNumber() - before);
                const size_t left = expected >= taken ? expected - taken + 1 : 1;
                const size_t count = std::min(left, std::max<size_t>(64, made));
                slotsEnd = (slot = addBlock(count)) + count;
                made += count;
            }
            int fields = slot->readLine(text, active, &nameRead, in.source.sharedText());
            if (fields == 13 || fields == 14) {
                entries.push_back(slot++);
                comments.push_back(std::move(buffer));
                buffer.clear();
                continue;
            }
            if (active) {
                in.errors.addError(qxerr::databaseParameters, in.fileName.c_str(), nameRead.c_str());
                const int at = in.source.lineNumber();
                in.drop(at, at, "a database entry without enough parameters");
                continue;
            }
        }
        if (!buffer.empty()) buffer += '\n';
        buffer += line;
    }
    if (!buffer.empty()) comments.push_back(std::move(buffer));
}

void qx_databases::writeSection(block_writer& out) const
{
    out.put("Databases\n");
    size_t n = entries.size() > comments.size() ? entries.size() : comments.size();
    for (size_t i = 0; i < n; ++i) {
        if (i < comments.size() && !comments[i].empty()) {
            out.put(comments[i]);
            out.put('\n');
        }
        if (i < entries.size()) {
            if (!entries[i]->isActive()) out.put("# ");
            entries[i]->writeLine(out);
            out.put('\n');
        }
    }
    out.put("end\n");
}

}  // namespace orvane
