// The install-time merge of the package's template into an administrator's
// quorix.dat (the input, behind one byte of merge flags and one of the
// cluster choice), on a fixed machine. A merge either fails with an error
// among its messages or gives a file that reads without an error. Every line
// of the input is in the merged file, or a message says why not
// (preservation_law.h). Merging the template into that result once more
// changes no line but those that still held a placeholder (it is filled only
// at its first place in a value, and an Options key the template adds comes
// with the template's value as it stands), and there only by filling one,
// and the blank in front of a comment line the template added to Options,
// which the next read drops. How placeholders are filled is the library's
// merge cases' business. An @include is served from memory.
#include "fuzz_support.h"
#include "orvane/qx_datfile.h"
#include "orvane/qx_errors.h"
#include "orvane/qx_filesource.h"
#include "orvane/qx_machine.h"
#include "preservation_law.h"
#include "test_machine.h"

using namespace orvane;

// Merges into a new object and saves it to `out`; false if the merge failed.
static bool mergeAndSave(const std::string& existing, uint32_t flags, bool cluster, const std::string& out,
                  qx_errorlist& errors)
{
    qx_datfile dat;
    errors.setLoggingLevel(QX_SEV_INFO);
    dat.mergeInstalledDefaults(errors, QX_PACKAGE_DIR "/not.quorix.dat", existing, "C:\\Quorix\\",
                               "http://qxhost/quorix/", "D:\\seq\\", cluster, 0, "Users", "Administrators", flags);
    if (!errors.isValid()) return false;
    dat.setFileName(out);
    QX_LAW(dat.save(), "a merged file saves", existing, dat.getErrorRepository().getMessage(-1));
    return true;
}

static size_t placeholders(const std::string& line)
{
    size_t n = 0;
    for (size_t at = line.find("###"); at != std::string::npos; at = line.find("###", at + 3)) ++n;
    return n;
}

// A comment that starts with a placeholder is filled like any value, and
// then no longer starts with '#': the next read takes it for a setting, and
// the next merge sees a section without that comment. Such files are left
// out of the second-merge law.
static bool commentStartsWithPlaceholder(const std::string& text)
{
    for (const std::string& line : qxfuzz::lines(text)) {
        const size_t first = line.find_first_not_of(" \t");
        for (const char* p : {"###ROOT###", "###HOSTNAME###", "###URL###"})
            if (first != std::string::npos && line.find(p) == first) return true;
    }
    return false;
}

QX_FUZZ_TARGET
{
    static qxtestfiles::test_machine machine;
    qx_machine::replace(&machine);
    // Any name that starts with "inc" is a small Cluster fragment; others don't exist.
    qx_filesource::setIncludeReader([](const std::string& path, std::string& text) {
        text = "Enabled 1\nSubClusterSet 0 2\n";
        return path.compare(0, 3, "inc") == 0;
    });
    if (input.size() < 2) return;
    const uint32_t flags = static_cast<unsigned char>(input[0]);
    const bool cluster = (input[1] & 1) != 0;
    const std::string existing = input.substr(2), in = qxfuzz::workPath("existing.dat"),
                      once = qxfuzz::workPath("once.dat"), twice = qxfuzz::workPath("twice.dat");
    qxfuzz::writeBytes(in, existing);
    qx_errorlist errors, again;
    if (!mergeAndSave(in, flags, cluster, once, errors)) {
        // The error need not be last: a read's later warnings follow it.
        bool hasError = false;
        for (int n = 1; n <= errors.getMessageCount(); ++n) hasError = hasError || errors.getSeverity(n) == QX_SEV_ERROR;
        return QX_LAW(hasError, "a failed merge holds an error", existing, qxfuzz::messages(errors));
    }
    const std::string merged = qxfuzz::readBytes(once), lost = qxlaw::unaccounted(existing, merged, errors, true);
    QX_LAW(lost.empty(), "every line of the file is merged or named", existing, lost);
    QX_LAW(qx_datfile(once).isValid(), "a merged file reads without an error", existing, merged);
    if (commentStartsWithPlaceholder(existing)) return;
    QX_LAW(mergeAndSave(once, flags, cluster, twice, again), "a merged file merges again", merged,
           qxfuzz::messages(again));
    const std::vector<std::string> first = qxfuzz::lines(merged), second = qxfuzz::lines(qxfuzz::readBytes(twice));
    QX_LAW(first.size() == second.size(), "a second merge keeps the lines", merged, qxfuzz::readBytes(twice));
    for (size_t i = 0; i < first.size(); ++i)
        QX_LAW(first[i] == second[i] || first[i] == " " + second[i] ||
                   placeholders(second[i]) < placeholders(first[i]),
               "a second merge changes only placeholders the first left", first[i], second[i]);
}
