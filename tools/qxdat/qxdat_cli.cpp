#include "qxdat_cli.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "orvane/qx_datfile.h"

namespace qxdat {

namespace {

#define QXDAT_DEFAULT_ROOT "C:/Quorix/"
#define QXDAT_DEFAULT_URL "http://localhost/quorix/"
#define QXDAT_DEFAULT_SEQ "C:/Quorix/sequence/"
#define QXDAT_DEFAULT_USERS "Users"
#define QXDAT_DEFAULT_ADMINS "Administrators"

const char kUsage[] =
    "usage: qxdat check FILE\n"
    "       qxdat roundtrip FILE [-o OUT]\n"
    "       qxdat merge TEMPLATE [EXISTING] [-o OUT] [--root DIR] [--url URL] [--seq DIR]\n"
    "                   [--cluster on|off] [--swissprot] [--no-apache] [--users G] [--admins G]\n"
    "       qxdat --help\n"
    "\n"
    "check      reads FILE and prints its messages as the install log shows them,\n"
    "           then each line that a save would drop as FILE:LINE: warning:\n"
    "           dropped: REASON. Exits 1 if the file isn't valid, 2 if it is\n"
    "           valid but a save would drop lines.\n"
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
    "                               a first install only.\n";

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
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(fd, 0666 & ~mask);
    ::close(fd);
    file.path = name.data();
    return true;
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
    const int fd = ::open(saved.path.c_str(), O_RDONLY);
    const bool synced = fd >= 0 && ::fsync(fd) == 0;
    if (fd >= 0) ::close(fd);
    if (!synced || std::rename(saved.path.c_str(), target.c_str()) != 0) {
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

int check(const std::string& file, std::ostream& out)
{
    orvane::qx_datfile dat;
    const bool valid = readWhole(dat, file);
    printMessages(dat.getErrorRepository(), out);
    // Every line a read and a save would lose, unfolded, in the form editors jump to.
    for (const auto& d : dat.getDroppedLines())
        out << file << ":" << d.line << ": warning: dropped: " << d.reason << "\n";
    if (!valid) return kExitInvalid;
    return dat.getDroppedLines().empty() ? kExitOk : kExitLossy;
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

// What the installer would hand the merge; the defaults stand for a plain
// install on the system drive.
struct merge_request {
    std::string templatePath, existingPath, target;
    std::string root = QXDAT_DEFAULT_ROOT;
    std::string url = QXDAT_DEFAULT_URL;
    std::string sequence = QXDAT_DEFAULT_SEQ;
    std::string users, admins;
    bool clusterSet = false, clusterMode = false, swissProt = false, noApache = false;
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
    std::ostream& log = r.target.empty() ? err : out;
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

    if (r.target.empty()) {
        std::ifstream in(saved.path, std::ios::binary);
        out << in.rdbuf();
        return kExitOk;
    }
    if (std::rename(saved.path.c_str(), r.target.c_str()) != 0) return cannotWrite(err, r.target, errno);
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
    bool haveTarget = false;
    for (size_t i = 1; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "-o" && command == "roundtrip") {
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
    return command == "check" ? check(file, out) : roundtrip(file, target, out, err);
}

}  // namespace qxdat
