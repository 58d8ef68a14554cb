#include "qxdat_cli.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "orvane/qx_datfile.h"

#ifdef _WIN32
#include <io.h>
#include <windows.h>
#endif

namespace qxdat {

namespace {

#define QXDAT_DEFAULT_ROOT "C:/Quorix/"
#define QXDAT_DEFAULT_URL "http://localhost/quorix/"
#define QXDAT_DEFAULT_SEQ "C:/Quorix/sequence/"
#define QXDAT_DEFAULT_USERS "Users"
#define QXDAT_DEFAULT_ADMINS "Administrators"

const char kUsage[] =
    "usage: qxdat check FILE [--verbose]\n"
    "       qxdat roundtrip FILE [-o OUT]\n"
    "       qxdat merge TEMPLATE [EXISTING [--diff]] [-o OUT] [--root DIR] [--url URL] [--seq DIR]\n"
    "                   [--cluster on|off] [--swissprot] [--no-apache] [--users G] [--admins G]\n"
    "       qxdat --help\n"
    "\n"
    "check      reads FILE and prints its messages as the install log shows them,\n"
    "           then, in line order, each line that a save would drop as\n"
    "           FILE:LINE: warning: dropped: REASON and each comment block that\n"
    "           it would put before another section as FILE:LINE: warning:\n"
    "           moved: comment now before 'HEAD'. Exits 1 if the file isn't\n"
    "           valid, 2 if it is valid but a save would drop or move lines.\n"
    "             --verbose         lists as well each line that a save only\n"
    "                               writes in another form (a head's case, an\n"
    "                               END, blanks at the end): FILE:LINE: note:\n"
    "                               rewritten: HOW\n"
    "roundtrip  reads FILE and saves it again, to OUT if given, else in place;\n"
    "           the new file is written beside and renamed over the old one when\n"
    "           it is whole. Exits 1 if the file isn't valid or the save fails:\n"
    "           nothing is changed then.\n"
    "merge      runs the install's merge of the package's TEMPLATE (not.quorix.dat):\n"
    "           a first install without EXISTING, an upgrade of EXISTING with it.\n"
    "           The result goes to OUT if given, else to standard output; TEMPLATE\n"
    "           and EXISTING are never changed. The merge's messages go to standard\n"
    "           output with -o, else to standard error. Exits 1 if the merge fails\n"
    "           (nothing is written then). Computer name and processors are this\n"
    "           machine's.\n"
    "             --diff            prints, instead of the file, a unified diff from\n"
    "                               EXISTING to the result (line ends aside): what\n"
    "                               the upgrade would change. With -o the file is\n"
    "                               written too. The messages go to standard error.\n"
    "             --root DIR        web root directory (default " QXDAT_DEFAULT_ROOT ")\n"
    "             --url URL         web URL of the server (default " QXDAT_DEFAULT_URL ")\n"
    "             --seq DIR         sequence database directory\n"
    "                               (default " QXDAT_DEFAULT_SEQ ")\n"
    "             --cluster on|off  the cluster choice; without it a first install\n"
    "                               isn't clustered and an upgrade keeps its Cluster\n"
    "                               section\n"
    "             --swissprot       the SwissProt feature is selected: its entry is\n"
    "                               brought into line and made active\n"
    "             --no-apache       the Apache feature isn't installed\n"
    "             --users G         group of ordinary users (default " QXDAT_DEFAULT_USERS ")\n"
    "             --admins G        group of administrators (default " QXDAT_DEFAULT_ADMINS ")\n"
    "                               An upgrade keeps the file's groups: both are for\n"
    "                               a first install only.\n"
    "\n"
    "Exit codes: 0 done, 1 the file isn't valid or the command failed (nothing\n"
    "is written then), 2 check: valid, but a save would drop or move lines,\n"
    "3 the command line is wrong (this text follows the reason).\n";

void printMessages(const orvane::qx_errorlist& list, std::ostream& out)
{
    for (int n = 1; n <= list.getMessageCount(); ++n) {
        out << "qxparser [" << list.getSeverity(n) << ":" << list.getRepeats(n) << "] -- "
            << list.getMessage(n) << "\n";
    }
}

int usageError(std::ostream& err, const std::string& text)
{
    err << "qxdat: " << text << "\n" << kUsage;
    return kExitUsage;
}

// Removes the file it names unless released: a failed write leaves nothing.
struct temp_file {
    std::string path;
    ~temp_file()
    {
        if (!path.empty()) std::remove(path.c_str());
    }
};

// A new empty file from a mkstemp pattern, with the mode a plain create
// would give, since it may become OUT.
bool makeTemp(const std::string& pattern, temp_file& file)
{
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    const int fd = ::mkstemp(name.data());
    if (fd < 0) return false;
#ifndef _WIN32
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(fd, 0666 & ~mask);
#endif
    ::close(fd);
    file.path = name.data();
    return true;
}

// Over an existing file too, which Windows' rename refuses.
bool replaceFile(const std::string& from, const std::string& to)
{
#ifdef _WIN32
    if (::MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return true;
    errno = EACCES;
    return false;
#else
    return std::rename(from.c_str(), to.c_str()) == 0;
#endif
}

int cannotWrite(std::ostream& err, const std::string& what, int code)
{
    err << "qxdat: can't write " << what << ": " << std::strerror(code) << "\n";
    return kExitInvalid;
}

// Saves beside `target` and renames over it once the new file is whole and
// on disk: a failed save (a full disk) leaves `target` as it was.
bool saveWhole(orvane::qx_datfile& dat, const std::string& target, orvane::qx_errorlist& messages,
               std::ostream& err)
{
    temp_file saved;
    if (!makeTemp(target + ".XXXXXX", saved)) {
        cannotWrite(err, target, errno);
        return false;
    }
    struct stat old;
    if (::stat(target.c_str(), &old) == 0) ::chmod(saved.path.c_str(), old.st_mode & 07777);
    dat.setFileName(saved.path);
    const bool written = dat.save();
    dat.setFileName(target);
    messages.appendFrom(dat.getErrorRepository());
    if (!written) return false;
#ifdef _WIN32
    const int fd = ::_open(saved.path.c_str(), _O_RDWR);  // flushing needs write access there
    const bool synced = fd >= 0 && ::_commit(fd) == 0;
#else
    const int fd = ::open(saved.path.c_str(), O_RDONLY);
    const bool synced = fd >= 0 && ::fsync(fd) == 0;
#endif
    if (fd >= 0) ::close(fd);
    if (!synced || !replaceFile(saved.path, target)) {
        cannotWrite(err, target, errno);
        return false;
    }
    saved.path.clear();
    return true;
}

// What an upgrade would refuse, check and roundtrip refuse too.
bool readWhole(orvane::qx_datfile& dat, const std::string& file)
{
    dat.setFileName(file);
    dat.getErrorRepository().setLoggingLevel(orvane::QX_SEV_INFO);
    if (dat.read() && !dat.hasMainSections())
        dat.getErrorRepository().addError(orvane::qxerr::noMainSections, file.c_str());
    return dat.isValid();
}

int check(const std::string& file, bool verbose, std::ostream& out)
{
    orvane::qx_datfile dat;
    const bool valid = readWhole(dat, file);
    printMessages(dat.getErrorRepository(), out);
    // Every line a read and a save would lose or move, unfolded, in line
    // order, in the form editors jump to.
    struct report {
        int line;
        const char* kind;
        const std::string* reason;
    };
    std::vector<report> reports;
    const std::pair<const char*, const std::vector<orvane::qx_datfile::dropped_line>*> lists[] = {
        {"warning: dropped", &dat.getDroppedLines()},
        {"warning: moved", &dat.getMovedComments()},
        {"note: rewritten", verbose ? &dat.getRewrittenLines() : nullptr},
    };
    for (const auto& [kind, list] : lists)
        for (size_t i = 0; list && i < list->size(); ++i) reports.push_back({(*list)[i].line, kind, &(*list)[i].reason});
    std::stable_sort(reports.begin(), reports.end(), [](const report& a, const report& b) { return a.line < b.line; });
    for (const report& r : reports) out << file << ":" << r.line << ": " << r.kind << ": " << *r.reason << "\n";
    if (!valid) return kExitInvalid;
    return dat.getDroppedLines().empty() && dat.getMovedComments().empty() ? kExitOk : kExitLossy;
}

int roundtrip(const std::string& file, const std::string& target, std::ostream& out, std::ostream& err)
{
    orvane::qx_datfile dat;
    bool valid = readWhole(dat, file);
    // A save clears the list: keep what the read said.
    orvane::qx_errorlist messages;
    messages.appendFrom(dat.getErrorRepository());
    if (valid) valid = saveWhole(dat, target.empty() ? file : target, messages, err);
    printMessages(messages, out);
    return valid ? kExitOk : kExitInvalid;
}

std::string readAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// A file's lines without their ends, compared as such: a CR before the
// newline is dropped, so a file edited on Windows doesn't differ in every
// line. A last line without a newline keeps no "\n" and so differs from the
// same text with one.
std::vector<std::string> splitLines(const std::string& text)
{
    std::vector<std::string> lines;
    for (size_t at = 0; at < text.size();) {
        size_t end = text.find('\n', at);
        const bool ended = end != std::string::npos;
        if (!ended) end = text.size();
        std::string line = text.substr(at, end - at);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (ended) line += '\n';
        lines.push_back(std::move(line));
        at = end + 1;
    }
    return lines;
}

// One step of the edit script, with the lines of each side before it.
struct edit {
    int kind;  // 0 kept, -1 only in the old file, +1 only in the new
    size_t a, b;
};

// Where a run of changes could sit at several places among equal lines
// ("end" closes every section), slides it as diff -u does: merged with its
// neighbours, else as far down as it goes, unless it can face a change of
// the other side. Both flag vectors are one-based, with zero ends.
void shiftRuns(const std::vector<std::string>& lines, std::vector<char>& changed, std::vector<char>& other)
{
    const size_t end = lines.size() + 1;
    auto same = [&](size_t x, size_t y) { return lines[x - 1] == lines[y - 1]; };
    size_t i = 1, j = 1;
    for (;;) {
        while (i < end && !changed[i]) {
            while (other[j++]) continue;
            ++i;
        }
        if (i == end) break;
        size_t start = i, run, corresponding;
        while (changed[++i]) continue;
        while (other[j]) ++j;
        do {
            run = i - start;
            while (start > 1 && same(start - 1, i - 1)) {
                changed[--start] = 1;
                changed[--i] = 0;
                while (changed[start - 1]) --start;
                while (other[--j]) continue;
            }
            corresponding = other[j - 1] ? i : end;
            while (i != end && same(start, i)) {
                changed[start++] = 0;
                changed[i++] = 1;
                while (changed[i]) ++i;
                while (other[++j]) corresponding = i;
            }
        } while (run != i - start);
        while (corresponding < i) {
            changed[--start] = 1;
            changed[--i] = 0;
            while (other[--j]) continue;
        }
    }
}

// The shortest edit script (Myers): rounds keep only the diagonals they
// reach, so memory grows with the square of the differences, not the files.
std::vector<edit> editScript(const std::vector<std::string>& a, const std::vector<std::string>& b)
{
    const long n = static_cast<long>(a.size()), m = static_cast<long>(b.size()), off = n + m + 1;
    std::vector<long> v(2 * off + 1, 0);
    std::vector<std::vector<long>> rounds;  // rounds[d][k + d]: furthest x on diagonal k
    long d = 0;
    for (;; ++d) {
        bool done = false;
        for (long k = -d; k <= d && !done; k += 2) {
            long x = (k == -d || (k != d && v[off + k - 1] < v[off + k + 1])) ? v[off + k + 1] : v[off + k - 1] + 1;
            long y = x - k;
            while (x < n && y < m && a[x] == b[y]) ++x, ++y;
            v[off + k] = x;
            done = x >= n && y >= m;
        }
        if (done) break;
        rounds.emplace_back(v.begin() + off - d, v.begin() + off + d + 1);
    }
    std::vector<int> kinds;
    long x = n, y = m;
    for (; d > 0; --d) {
        const std::vector<long>& prev = rounds[d - 1];
        const long k = x - y;
        const bool down = k == -d || (k != d && prev[k - 1 + d - 1] < prev[k + 1 + d - 1]);
        const long pk = down ? k + 1 : k - 1, px = prev[pk + d - 1], py = px - pk;
        for (; x > px && y > py; --x, --y) kinds.push_back(0);
        kinds.push_back(down ? 1 : -1);
        x = px;
        y = py;
    }
    for (; x > 0; --x) kinds.push_back(0);
    // Changed lines of each side, with an unchanged line before and after.
    std::vector<char> changedA(n + 2, 0), changedB(m + 2, 0);
    size_t ai = 1, bi = 1;
    for (auto it = kinds.rbegin(); it != kinds.rend(); ++it) {
        if (*it < 0) changedA[ai] = 1;
        if (*it > 0) changedB[bi] = 1;
        ai += *it <= 0;
        bi += *it >= 0;
    }
    shiftRuns(a, changedA, changedB);
    shiftRuns(b, changedB, changedA);
    std::vector<edit> script;
    for (ai = 1, bi = 1; ai <= size_t(n) || bi <= size_t(m);) {
        const int kind = ai <= size_t(n) && changedA[ai] ? -1 : bi <= size_t(m) && changedB[bi] ? 1 : 0;
        script.push_back({kind, ai - 1, bi - 1});
        ai += kind <= 0;
        bi += kind >= 0;
    }
    return script;
}

std::string hunkRange(size_t from, size_t count)
{
    // An empty side names the line before it.
    if (count == 0) return std::to_string(from) + ",0";
    if (count == 1) return std::to_string(from + 1);
    return std::to_string(from + 1) + "," + std::to_string(count);
}

void printLine(char mark, const std::string& line, std::ostream& out)
{
    out << mark << line;
    if (line.empty() || line.back() != '\n') out << "\n\\ No newline at end of file\n";
}

// A unified diff with three lines of context, as diff -u prints it; changes
// at most six unchanged lines apart share a hunk.
void printDiff(const std::string& oldName, const std::string& oldText, const std::string& newName,
               const std::string& newText, std::ostream& out)
{
    const size_t context = 3;
    const std::vector<std::string> a = splitLines(oldText), b = splitLines(newText);
    const std::vector<edit> script = editScript(a, b);
    bool headed = false;
    for (size_t pos = 0; pos < script.size();) {
        size_t first = pos;
        while (first < script.size() && script[first].kind == 0) ++first;
        if (first == script.size()) break;
        size_t end = first;
        for (;;) {
            while (end < script.size() && script[end].kind != 0) ++end;
            size_t next = end;
            while (next < script.size() && script[next].kind == 0) ++next;
            if (next == script.size() || next - end > 2 * context) break;
            end = next;
        }
        const size_t start = first > context ? first - context : 0, stop = std::min(script.size(), end + context);
        size_t aCount = 0, bCount = 0;
        for (size_t i = start; i < stop; ++i) {
            aCount += script[i].kind <= 0;
            bCount += script[i].kind >= 0;
        }
        if (!headed) out << "--- " << oldName << "\n+++ " << newName << "\n";
        headed = true;
        out << "@@ -" << hunkRange(script[start].a, aCount) << " +" << hunkRange(script[start].b, bCount) << " @@\n";
        for (size_t i = start; i < stop;) {
            if (script[i].kind == 0) {
                printLine(' ', a[script[i++].a], out);
                continue;
            }
            size_t j = i;
            while (j < stop && script[j].kind != 0) ++j;
            for (size_t k = i; k < j; ++k)
                if (script[k].kind < 0) printLine('-', a[script[k].a], out);
            for (size_t k = i; k < j; ++k)
                if (script[k].kind > 0) printLine('+', b[script[k].b], out);
            i = j;
        }
        pos = stop;
    }
}

// What the installer would hand the merge; the defaults stand for a plain
// install on the system drive.
struct merge_request {
    std::string templatePath, existingPath, target;
    std::string root = QXDAT_DEFAULT_ROOT;
    std::string url = QXDAT_DEFAULT_URL;
    std::string sequence = QXDAT_DEFAULT_SEQ;
    std::string users, admins;
    bool clusterSet = false, clusterMode = false, swissProt = false, noApache = false, diff = false;
};

// The installer's flags: bits 3 and 7 on a first install, the upgrade steps
// when a file exists, then the cluster choice and the SwissProt feature.
uint32_t mergeFlags(const merge_request& r)
{
    uint32_t flags = r.existingPath.empty() ? 136 : 243;
    if (r.clusterSet) flags |= 8;
    if (r.swissProt) flags |= 4;
    return flags;
}

// As the installer's execute phase: merge, activate SwissProt if asked, save.
// The save goes to a new file that becomes OUT only when it is whole.
int merge(const merge_request& r, std::ostream& out, std::ostream& err)
{
    // Standard output carries the file or the diff alone.
    std::ostream& log = r.target.empty() || r.diff ? err : out;
    // Beside OUT, so that the rename can't cross file systems.
    std::string pattern = r.target + ".XXXXXX";
    if (r.target.empty()) {
        std::error_code ec;
        std::filesystem::path dir = std::filesystem::temp_directory_path(ec);
        if (ec) dir = "/tmp";
        pattern = (dir / "qxdat-merge-XXXXXX").string();
    }
    temp_file saved;
    if (!makeTemp(pattern, saved)) return cannotWrite(err, r.target.empty() ? "a temporary file" : r.target, errno);

    orvane::qx_errorlist errors;
    errors.setLoggingLevel(orvane::QX_SEV_INFO);
    orvane::qx_datfile dat;
    const auto result =
        dat.installQuorixDat(errors, r.templatePath, r.existingPath, r.root, r.url, r.sequence, r.clusterMode,
                             r.noApache ? 1 : 0, r.users, r.admins, mergeFlags(r), r.swissProt, saved.path);
    printMessages(errors, log);
    if (result == orvane::qx_datfile::noSwissProt) err << "qxdat: Can't locate SwissProt entry in quorix.dat\n";
    if (result != orvane::qx_datfile::installed) return kExitInvalid;

    if (r.diff) printDiff(r.existingPath, readAll(r.existingPath), "result", readAll(saved.path), out);
    if (r.target.empty()) {
        if (!r.diff) out << readAll(saved.path);
        return kExitOk;
    }
    if (!replaceFile(saved.path, r.target)) return cannotWrite(err, r.target, errno);
    saved.path.clear();
    return kExitOk;
}

bool sameFile(const std::string& a, const std::string& b)
{
    std::error_code ec;
    return std::filesystem::equivalent(a, b, ec);
}

int parseMerge(const std::vector<std::string>& args, std::ostream& out, std::ostream& err)
{
    merge_request r;
    bool haveTarget = false;
    std::vector<std::string> files;
    struct valued {
        const char* name;
        std::string* value;
        bool given;
    };
    valued options[] = {
        {"--root", &r.root, false},   {"--url", &r.url, false},       {"--seq", &r.sequence, false},
        {"--users", &r.users, false}, {"--admins", &r.admins, false},
    };
    for (size_t i = 1; i < args.size(); ++i) {
        const std::string& a = args[i];
        valued* option = nullptr;
        for (valued& v : options)
            if (a == v.name) option = &v;
        if (option) {
            if (option->given) return usageError(err, a + " given twice");
            if (i + 1 >= args.size() || args[i + 1].empty()) return usageError(err, a + " needs a value");
            *option->value = args[++i];
            option->given = true;
        } else if (a == "-o") {
            if (haveTarget) return usageError(err, "-o given twice");
            if (i + 1 >= args.size() || args[i + 1].empty()) return usageError(err, "-o needs a file name");
            r.target = args[++i];
            haveTarget = true;
        } else if (a == "--cluster") {
            if (r.clusterSet) return usageError(err, "--cluster given twice");
            const std::string value = i + 1 < args.size() ? args[++i] : "";
            if (value != "on" && value != "off") return usageError(err, "--cluster takes on or off");
            r.clusterSet = true;
            r.clusterMode = value == "on";
        } else if (a == "--swissprot") {
            r.swissProt = true;
        } else if (a == "--no-apache") {
            r.noApache = true;
        } else if (a == "--diff") {
            r.diff = true;
        } else if (a.size() > 1 && a[0] == '-') {
            return usageError(err, "unknown option '" + a + "' for merge");
        } else if (files.size() < 2) {
            if (a.empty()) return usageError(err, "empty file name");
            files.push_back(a);
        } else {
            return usageError(err, "unexpected argument '" + a + "'");
        }
    }
    const bool haveUsers = options[3].given, haveAdmins = options[4].given;
    if (files.empty()) return usageError(err, "merge needs a TEMPLATE");
    r.templatePath = files[0];
    if (files.size() > 1) {
        r.existingPath = files[1];
        // The installer leaves an existing file's groups as they are.
        if (haveUsers || haveAdmins) return usageError(err, "--users and --admins are for a first install only");
    } else {
        if (r.diff) return usageError(err, "--diff needs EXISTING");
        if (!haveUsers) r.users = QXDAT_DEFAULT_USERS;
        if (!haveAdmins) r.admins = QXDAT_DEFAULT_ADMINS;
    }
    // The installer refuses these before it schedules anything.
    for (const std::string* path : {&r.root, &r.sequence})
        if (path->find(' ') != std::string::npos) return usageError(err, "Path name may not contain spaces: " + *path);
    for (const std::string& f : files)
        if (haveTarget && sameFile(r.target, f)) return usageError(err, "-o must not name TEMPLATE or EXISTING");
    return merge(r, out, err);
}

}  // namespace

int run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err)
{
    if (args.empty()) return usageError(err, "no command given");
    const std::string& command = args[0];
    if (command == "--help" || command == "-h" || command == "help") {
        out << kUsage;
        return kExitOk;
    }
    if (command == "merge") return parseMerge(args, out, err);
    if (command != "check" && command != "roundtrip") {
        return usageError(err, "unknown command '" + command + "'");
    }
    std::string file, target;
    bool haveTarget = false, verbose = false;
    for (size_t i = 1; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--verbose" && command == "check") {
            verbose = true;
        } else if (a == "-o" && command == "roundtrip") {
            if (haveTarget) return usageError(err, "-o given twice");
            if (i + 1 >= args.size() || args[i + 1].empty()) return usageError(err, "-o needs a file name");
            target = args[++i];
            haveTarget = true;
        } else if (a.size() > 1 && a[0] == '-') {
            return usageError(err, "unknown option '" + a + "' for " + command);
        } else if (file.empty()) {
            if (a.empty()) return usageError(err, "empty file name");
            file = a;
        } else {
            return usageError(err, "unexpected argument '" + a + "'");
        }
    }
    if (file.empty()) return usageError(err, command + " needs a FILE");
    return command == "check" ? check(file, verbose, out) : roundtrip(file, target, out, err);
}

}  // namespace qxdat
