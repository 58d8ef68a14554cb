#include "orvane/qx_datfile.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>

#include "qx_text.h"

namespace orvane {

using namespace qxparser_internal;

namespace {

// A server that isn't running answers a request for the file with its
// status page instead.
constexpr std::string_view kStatusPageHead = "<BODY><H1>Quorix search status page</H1>";

// The number behind "Taxonomy_", read as an unsigned number would be read:
// blanks, a sign and digits. A negative number or none at all is out of range.
bool taxonomyNumber(std::string_view text, unsigned long& number)
{
    size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
    if (i == text.size() || text[i] < '0' || text[i] > '9') return false;
    unsigned long value = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        if (value < 1000000) value = value * 10 + static_cast<unsigned long>(text[i] - '0');
    }
    if (negative && value != 0) return false;
    number = value;
    return true;
}

// Where the number behind "Taxonomy_" ends in its head line, as read above.
size_t taxonomyNumberEnd(std::string_view head)
{
    size_t i = 9;
    while (i < head.size() && (head[i] == ' ' || head[i] == '\t')) ++i;
    if (i < head.size() && (head[i] == '+' || head[i] == '-')) ++i;
    while (i < head.size() && head[i] >= '0' && head[i] <= '9') ++i;
    return i;
}

// Skips a section that a save won't write, and says so with its lines.
void dropSection(section_input& in, const char* what)
{
    const int first = in.source.lineNumber();
    while (in.next()) {
        if (isEndLine(in.line)) break;
    }
    const std::string why = std::string(what) + " (lines " + std::to_string(first) + " to " +
                            std::to_string(in.source.lineNumber()) + ")";
    in.errors.addError(qxerr::lineDropped, in.fileName.c_str(), first, why.c_str());
    in.drop(first, in.source.lineNumber(), what);
}

void replaceFirst(std::string& text, const std::string& what, const std::string& with)
{
    size_t at = text.find(what);
    if (at != std::string::npos) text.replace(at, what.size(), with);
}

}  // namespace

qx_datfile::qx_datfile() = default;

qx_datfile::qx_datfile(const std::string& name, int32_t timeout,
                       const qx_connection_settings* settings)
    : timeoutSeconds(timeout)
{
    if (settings) connectionSettings = *settings;
    setFileName(name);
    read();
}

qx_datfile::~qx_datfile() = default;

void qx_datfile::reset()
{
    clearAllErrors();
    databases.reset();
    parseOptions.defaultValues();
    wwwOptions.defaultValues();
    processorOptions.defaultValues();
    for (auto& section : taxonomy) section.reset();
    clusterParams.defaultValues();
    unigeneOptions.defaultValues();
    quorixOptions.defaultValues();
    cronOptions.defaultValues();
    quorixFiles.defaultValues();
    comments.clear();
    droppedLines.clear();
    movedComments.clear();
    rewrittenLines.clear();
    cutRuns.clear();
}

void qx_datfile::copyFrom(const qx_datfile& other)
{
    if (this == &other) return;
    clearAllErrors();
    fileName = other.fileName;
    timeoutSeconds = other.timeoutSeconds;
    databases = other.databases;
    parseOptions = other.parseOptions;
    wwwOptions = other.wwwOptions;
    processorOptions = other.processorOptions;
    for (size_t n = 0; n < taxonomy.size(); ++n) {
        taxonomy[n] = other.taxonomy[n] ? std::make_unique<qx_taxonomyrules>(*other.taxonomy[n])
                                        : nullptr;
    }
    clusterParams = other.clusterParams;
    unigeneOptions = other.unigeneOptions;
    quorixOptions = other.quorixOptions;
    cronOptions = other.cronOptions;
    quorixFiles = other.quorixFiles;
    comments = other.comments;
    connectionSettings = other.connectionSettings;
}

qx_taxonomyrules* qx_datfile::getTaxonomyRules(int n)
{
    return n >= 0 && n <= kHighestTaxonomy ? taxonomy[n].get() : nullptr;
}

void qx_datfile::setTaxonomyRules(int n, const qx_taxonomyrules* rules)
{
    if (n < 0 || n > kHighestTaxonomy) return;
    if (!rules) {
        taxonomy[n].reset();
    } else if (!taxonomy[n]) {
        taxonomy[n] = std::make_unique<qx_taxonomyrules>(*rules);
    } else if (taxonomy[n].get() != rules) {
        *taxonomy[n] = *rules;
    }
}

bool qx_datfile::read()
{
    reset();
    if (fileName.empty()) {
        fileName = locateConfigFile(nullptr, this, timeoutSeconds);
    } else if (sourceKind(fileName.c_str()) == QX_SOURCE_FILE) {
        fileName = locateConfigFile(fileName.c_str(), this, timeoutSeconds);
    }
    if (fileName.empty()) return isValid();

    qx_filesource source(this, connectionSettings);
    if (!source.open(fileName.c_str(), 1, 0)) return isValid();
    locale_setter locale;
    if (!readTopLevel(source)) return isValid();
    checkDatabaseRules();
    readNodeIdentity();
    return isValid();
}

void qx_datfile::checkDatabaseRules()
{
    for (int i = 0; i < databases.getNumberOfDatabases(); ++i) {
        const qx_databaseoptions& entry = *databases.getDatabase(i);
        if (!entry.isActive()) break;
        auto check = [&](int32_t number, const char* kind) {
            if (number < 0 || number >= qx_parseoptions::kRuleCount || !parseOptions.getRule(number).isActive()) {
                errorList.addError(qxerr::missingRule, fileName.c_str(), entry.getName().c_str(), kind);
                return;
            }
            qx_parserule& rule = parseOptions.getRule(number);
            if (!rule.isCompiled()) rule.compile(&errorList);
        };
        check(entry.getAccessionRule(), "accession");
        check(entry.getDescriptionRule(), "description");
        if (entry.getHasAccessionRefRule()) check(entry.getAccessionRefRule(), "accessionRef");
    }
}

// A cluster node has a "../config/iam.dat" that starts with 0; the master's
// holds another number or doesn't exist. A node reads its own control file.
void qx_datfile::readNodeIdentity()
{
    static const char kIamFile[] = "../config/iam.dat";
    if (!clusterParams.isEnabled() || !fileExists(kIamFile)) return;
    FILE* file = openFile(kIamFile, "r", this);
    if (!file) return;
    file_ptr guard(file);
    int identity = -1;
    if (std::fscanf(file, "%d", &identity) == 1 && identity == 0) quorixOptions.useNodeControlFile();
}

bool qx_datfile::readTopLevel(qx_filesource& source)
{
    std::vector<std::pair<int, std::string>> dropped, rewritten;
    section_input in{source, errorList, fileName, std::string_view(), this, &databases, &dropped, &rewritten, &cutRuns};
    auto keep = [&](std::vector<dropped_line>& to, std::vector<std::pair<int, std::string>>& from) {
        for (auto& d : from) to.push_back({d.first, std::move(d.second)});
    };
    std::string pending;
    // Each comment place: the first comment line of its text (0 if it holds
    // blank lines only) and the head of the section read behind it.
    std::vector<std::pair<int, std::string>> places;
    int pendingFrom = 0;
    // A run of lines that are no heads is named once, as a range.
    int dropFrom = 0, dropTo = 0;
    auto flushDropped = [&]() {
        if (!dropFrom) return;
        std::string why = "not a section head, a comment or a blank line";
        if (dropTo > dropFrom) why += " (lines " + std::to_string(dropFrom) + " to " + std::to_string(dropTo) + ")";
        errorList.addError(qxerr::lineDropped, fileName.c_str(), dropFrom, why.c_str());
        in.drop(dropFrom, dropTo, "not a section head, a comment or a blank line");
        dropFrom = 0;
    };
    while (in.next()) {
        const std::string_view line = in.line;
        if (isCommentLine(line) || isBlankLine(line)) {
            flushDropped();
            if (!pendingFrom && isCommentLine(line)) pendingFrom = source.lineNumber();
            pending += line;
            pending += '\n';
            continue;
        }
        if (line.substr(0, kStatusPageHead.size()) == kStatusPageHead) {
            // The status page explains every line of it.
            errorList.addError(qxerr::serviceNotRunning);
            keep(droppedLines, dropped);
            return false;
        }
        // Every other line takes an ordinal place for the comment text in
        // front of it, even an empty one, and even if it is no head.
        comments.push_back(std::move(pending));
        pending.clear();
        places.emplace_back(pendingFrom, std::string());
        pendingFrom = 0;

        const std::string headLine(line);
        const int at = source.lineNumber();
        const char* name = nullptr;
        for (const char* known : {"Databases", "PARSE", "WWW", "Taxonomy_", "Cluster", "UniGene", "Processor",
                                  "Options", "Cron", "Files"})
            if (!name && startsWithNoCase(line, known)) name = known;
        if (!name) {
            if (!dropFrom) dropFrom = at;
            dropTo = at;
            continue;
        }
        flushDropped();
        std::string head = name;
        size_t used = head.size();
        if (head == "Databases") {
            databases.readSection(in);
        } else if (head == "PARSE") {
            parseOptions.readSection(in);
        } else if (head == "WWW") {
            wwwOptions.readSection(in);
        } else if (head == "Taxonomy_") {
            used = taxonomyNumberEnd(headLine);
            head = readTaxonomy(in);
        } else if (head == "Cluster") {
            clusterParams.readSection(in);
        } else if (head == "UniGene") {
            unigeneOptions.readSection(in);
        } else if (head == "Processor") {
            processorOptions.readSection(in);
            // The plural head is the same section.
            if (startsWithNoCase(std::string_view(headLine).substr(used), "s")) ++used;
        } else if (head == "Options") {
            quorixOptions.readSection(in);
        } else if (head == "Cron") {
            cronOptions.readSection(in);
        } else {
            // The server's own file list: not the installer's to keep.
            dropSection(in, "a Files section, which a save doesn't write");
            head.clear();
        }
        places.back().second = head;
        if (head.empty()) continue;
        // What stands behind a head or an end line is lost; their case and
        // blanks at the end are only written anew.
        auto judge = [&](const std::string& text, size_t length, const std::string& canonical, int number,
                         const char* lost) {
            std::string rest = text.substr(length);
            trailingCut(rest);
            if (!rest.empty())
                in.drop(number, number, lost);
            else if (text != canonical)
                in.rewrite(number, "as '" + canonical + "'");
        };
        judge(headLine, used, head, at, "text after the section head");
        if (isEndLine(in.line)) judge(std::string(in.line), 3, "end", source.lineNumber(), "text after the end line");
    }
    flushDropped();
    if (!pending.empty()) {
        comments.push_back(std::move(pending));
        places.emplace_back(pendingFrom, std::string());
    }
    // A head is judged once its section is read: put it back in line.
    keep(droppedLines, dropped);
    keep(rewrittenLines, rewritten);
    for (auto* list : {&droppedLines, &rewrittenLines})
        std::stable_sort(list->begin(), list->end(),
                         [](const dropped_line& a, const dropped_line& b) { return a.line < b.line; });

    // Comment place k is written before the k-th section a save writes; it
    // stood before the next section read behind it, a dropped line aside.
    const auto saved = savedSections();
    std::string next;
    std::vector<std::pair<int, std::string>> moved;
    for (size_t k = places.size(); k-- > 0;) {
        if (!places[k].second.empty()) next = places[k].second;
        if (!places[k].first) continue;
        const std::string now = k < saved.size() ? saved[k].first : std::string();
        if (now == next) continue;
        moved.emplace_back(places[k].first,
                           now.empty() ? "comment now at the end of the file" : "comment now before '" + now + "'");
    }
    for (auto m = moved.rbegin(); m != moved.rend(); ++m) movedComments.push_back({m->first, std::move(m->second)});
    return true;
}

const std::vector<qx_datfile::dropped_line>& qx_datfile::getRewrittenLines() const
{
    if (cutRuns.empty()) return rewrittenLines;
    for (const auto& [first, last] : cutRuns)
        for (int k = first; k <= last; ++k) rewrittenLines.push_back({k, "blanks at the end cut"});
    cutRuns.clear();
    std::stable_sort(rewrittenLines.begin(), rewrittenLines.end(),
                     [](const dropped_line& a, const dropped_line& b) { return a.line < b.line; });
    return rewrittenLines;
}

std::string qx_datfile::readTaxonomy(section_input& in)
{
    const std::string head(in.line);
    unsigned long n = 0;
    if (!taxonomyNumber(std::string_view(head).substr(9), n) ||
        n > static_cast<unsigned long>(kHighestTaxonomy)) {
        errorList.addError(qxerr::taxonomyEntry, fileName.c_str(), head.c_str());
        dropSection(in, "a taxonomy section with a number out of range");
        return std::string();
    }
    if (taxonomy[n]) {
        // The first definition stands; this one's lines fall to the top level.
        errorList.addError(qxerr::taxonomyTwice, static_cast<int>(n));
        in.drop(in.source.lineNumber(), in.source.lineNumber(),
                "a second Taxonomy_" + std::to_string(n) + " head; the first section stands");
        return std::string();
    }
    taxonomy[n] = std::make_unique<qx_taxonomyrules>();
    taxonomy[n]->readSection(in);
    return "Taxonomy_" + std::to_string(n);
}

std::vector<std::pair<std::string, const qx_section*>> qx_datfile::savedSections() const
{
    const std::pair<const char*, const qx_section*> tail[] = {
        {"Cluster", &clusterParams},   {"UniGene", &unigeneOptions}, {"Processor", &processorOptions},
        {"Options", &quorixOptions},   {"Cron", &cronOptions},
    };
    std::vector<std::pair<std::string, const qx_section*>> order;
    // Every section there can be: one allocation, where growing held two.
    order.reserve(3 + kHighestTaxonomy + 1 + std::size(tail));
    if (databases.isAvailable()) order.emplace_back("Databases", nullptr);
    if (parseOptions.isAvailable()) order.emplace_back("PARSE", &parseOptions);
    if (wwwOptions.isAvailable()) order.emplace_back("WWW", &wwwOptions);
    for (int n = 0; n <= kHighestTaxonomy; ++n) {
        if (taxonomy[n] && taxonomy[n]->isAvailable())
            order.emplace_back("Taxonomy_" + std::to_string(n), taxonomy[n].get());
    }
    for (const auto& [head, section] : tail)
        if (section->isAvailable()) order.emplace_back(head, section);
    return order;
}

void qx_datfile::writeCommentSlot(block_writer& out, size_t i) const
{
    if (i < comments.size()) out.put(comments[i]);
}

bool qx_datfile::save()
{
    clearAllErrors();
    if (fileName.empty()) fileName = "../config/quorix.dat";
    FILE* file = openFile(fileName.c_str(), "w", this);
    if (!file) return false;
    file_ptr guard(file);
    // The save hands stdio whole blocks; a buffer of its own would split
    // each into a piece that fills it and a write of the rest.
    std::setvbuf(file, nullptr, _IONBF, 0);
    return writeTo(file);
}

bool qx_datfile::save(FILE* file)
{
    clearAllErrors();
    if (fileName.empty()) fileName = "../config/quorix.dat";
    return writeTo(file);
}

bool qx_datfile::writeTo(FILE* file)
{
    locale_setter locale;
    {
        block_writer out(file);
        // Comment texts keep their ordinal places: the text that stood before
        // the k-th head read stands before the k-th section written.
        size_t slot = 0;
        writeCommentSlot(out, slot);
        for (const auto& [head, section] : savedSections()) {
            if (section)
                section->writeSection(out, head);
            else
                databases.writeSection(out);
            writeCommentSlot(out, ++slot);
        }
        for (size_t j = slot + 1; j < comments.size(); ++j) writeCommentSlot(out, j);
    }

    // Flushed here so that a full disk shows in the error flag, not only in
    // the close that nobody checks.
    std::fflush(file);
    if (std::ferror(file)) errorList.addOsError(qxerr::writeFile, fileName.c_str());
    return isValid();
}

void qx_datfile::replacePlaceholders(qx_customproperty& section, const std::string& root,
                                     const std::string& host, const std::string& url)
{
    for (int i = 0; i < section.lineCount(); ++i) {
        // Every placeholder starts so; most lines have none and cost no copy.
        if (section.valueView(i).find("###") == std::string_view::npos) continue;
        std::string value = section.getValue(i);
        std::string original = value;
        replaceFirst(value, "###ROOT###", root);
        replaceFirst(value, "###HOSTNAME###", host);
        if (!url.empty()) replaceFirst(value, "###URL###", url);
        // Only a changed value is stored: storing gives a bare key a
        // delimiter, and a line without placeholders must stay as it stood.
        if (value != original) section.setValue(i, value);
    }
}

}  // namespace orvane
