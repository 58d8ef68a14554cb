// The install-time merge of the package's template into an administrator's
// quorix.dat (the input, behind one byte of merge flags and one of the
// cluster choice), on a fixed machine. A merge either fails with an error
// among its messages or gives a file that reads without an error; merging the template
// into that result once more changes nothing but the placeholders the first
// merge left (it fills only the first of each in a value, and an Options key
// the template adds comes with the template's value as it stands) and the
// blank in front of a comment line the template added to Options. Every line
// of the input is in the merged file, or a message says why not
// (preservation_law.h). An @include is served from memory.
#include <cstdint>
#include <string>

#include "fuzz_support.h"
#include "orvane/qx_customproperty.h"
#include "orvane/qx_databases.h"
#include "orvane/qx_datfile.h"
#include "orvane/qx_errors.h"
#include "orvane/qx_filesource.h"
#include "orvane/qx_machine.h"
#include "preservation_law.h"
#include "test_machine.h"

using namespace orvane;

namespace {

const std::string kTemplate = QX_PACKAGE_DIR "/not.quorix.dat";

const char* const kRoot = "C:/Quorix";
const char* const kHost = "QXHOST";
const char* const kUrl = "http://qxhost/quorix";

bool replaceFirst(std::string& text, const std::string& what, const std::string& with)
{
    const size_t at = text.find(what);
    if (at == std::string::npos) return false;
    text.replace(at, what.size(), with);
    return true;
}

// A saved line of a section whose values get their placeholders filled, as
// the next merge reads and fills it. A template's comment comes over with a
// blank as delimiter and an empty name, so it is saved behind that blank,
// which the next read drops.
std::string fillValue(const std::string& line)
{
    qx_customproperty entry;
    entry.parseLine(std::string_view(line));
    std::string value = entry.getValue(0);
    replaceFirst(value, "###ROOT###", kRoot);
    replaceFirst(value, "###HOSTNAME###", kHost);
    replaceFirst(value, "###URL###", kUrl);
    return entry.getName(0) + entry.getDelimiter(0) + value;
}

// A saved database line with the first sequence folder placeholder of its
// path filled.
std::string fillPath(const std::string& line)
{
    // Only entries, active or not: any other line is a comment kept as it is.
    const bool inactive = !line.empty() && line[0] == '#';
    if (inactive && line.size() > 1 && line[1] == '#') return line;
    const int fields = qx_databaseoptions().readLine(inactive ? line.substr(1) : line, !inactive);
    if (fields != 13 && fields != 14) return line;
    const size_t tab = line.find('\t');
    if (tab == std::string::npos) return line;
    const size_t end = line.find('\t', tab + 1);
    std::string path = line.substr(tab + 1, end == std::string::npos ? std::string::npos : end - tab - 1);
    if (!replaceFirst(path, "###ROOT###/sequence", "D:/seq")) return line;
    return line.substr(0, tab + 1) + path + (end == std::string::npos ? "" : line.substr(end));
}

// What the next merge makes of a merged file's placeholders.
std::string fillPlaceholders(const std::string& text)
{
    std::string out, section;
    size_t start = 0;
    while (start < text.size()) {
        size_t nl = text.find('\n', start);
        if (nl == std::string::npos) nl = text.size();
        std::string line = text.substr(start, nl - start);
        start = nl + 1;
        if (section.empty()) {
            if (!line.empty() && line[0] != '#') section = line;
        } else if (line == "end") {
            section.clear();
        } else if (section == "Databases") {
            line = fillPath(line);
        } else if (section == "WWW" || section == "UniGene" || section == "Options" || section == "Cron" ||
                   section == "Cluster") {
            line = fillValue(line);
        }
        out += line + (nl < text.size() ? "\n" : "");
    }
    return out;
}

// A comment that starts with a placeholder is filled like any value, and
// then no longer starts with '#': the next read takes it for a setting, and
// the next merge sees a section without that comment. Such files are left
// out of the second-merge law.
bool commentStartsWithPlaceholder(const std::string& text)
{
    for (const char* p : {"###ROOT###", "###HOSTNAME###", "###URL###"}) {
        for (size_t at = text.find(p); at != std::string::npos; at = text.find(p, at + 1)) {
            size_t start = text.find_last_of("\r\n", at);
            start = start == std::string::npos ? 0 : start + 1;
            if (text.find_first_not_of(" \t", start) == at) return true;
        }
    }
    return false;
}

// Merges into a new object and saves it to `out`; false if the merge failed.
bool mergeAndSave(const std::string& existing, uint32_t flags, bool cluster, const std::string& out,
                  qx_errorlist& errors)
{
    qx_datfile dat;
    errors.setLoggingLevel(QX_SEV_INFO);
    dat.mergeInstalledDefaults(errors, kTemplate, existing, "C:\\Quorix\\", "http://qxhost/quorix/", "D:\\seq\\",
                               cluster, 0, "Users", "Administrators", flags);
    if (!errors.isValid()) return false;
    dat.setFileName(out);
    if (!dat.save()) qxfuzz::broken("a merged file saves", existing, dat.getErrorRepository().getMessage(-1));
    return true;
}

// Any name that starts with "inc" is a small Cluster fragment; others don't exist.
bool includeFromMemory(const std::string& path, std::string& text)
{
    text = "Enabled 1\nSubClusterSet 0 2\n";
    return path.compare(0, 3, "inc") == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static qxtestfiles::test_machine machine;
    qx_machine::replace(&machine);
    qx_filesource::setIncludeReader(includeFromMemory);
    if (size < 2) return 0;
    const uint32_t flags = data[0];
    const bool cluster = (data[1] & 1) != 0;
    const std::string existing(reinterpret_cast<const char*>(data + 2), size - 2);

    const std::string in = qxfuzz::workPath("existing.dat"), once = qxfuzz::workPath("once.dat"),
                      twice = qxfuzz::workPath("twice.dat");
    qxfuzz::writeBytes(in, existing);

    qx_errorlist errors;
    if (!mergeAndSave(in, flags, cluster, once, errors)) {
        // The error need not be last: a read's later warnings follow it.
        bool hasError = false;
        for (int n = 1; n <= errors.getMessageCount(); ++n) hasError = hasError || errors.getSeverity(n) == QX_SEV_ERROR;
        if (!hasError) qxfuzz::broken("a failed merge holds an error", existing, qxfuzz::messages(errors));
        return 0;
    }
    const std::string merged = qxfuzz::readBytes(once);
    const std::string lost = qxlaw::unaccounted(existing, merged, errors, true);
    if (!lost.empty()) qxfuzz::broken("every line of the file is merged or named", existing, lost);

    qx_datfile reread(once);
    if (!reread.isValid()) qxfuzz::broken("a merged file reads without an error", existing, merged);

    if (commentStartsWithPlaceholder(existing)) return 0;
    qx_errorlist again;
    if (!mergeAndSave(once, flags, cluster, twice, again))
        qxfuzz::broken("a merged file merges again", merged, qxfuzz::messages(again));
    qxfuzz::expectSame("a second merge changes only placeholders the first left", fillPlaceholders(merged),
                       qxfuzz::readBytes(twice));
    return 0;
}
