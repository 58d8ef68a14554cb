#include "qxdat_cli.h"

#include "orvane/qx_datfile.h"

namespace qxdat {

namespace {

const char kUsage[] =
    "usage: qxdat check FILE\n"
    "       qxdat roundtrip FILE [-o OUT]\n"
    "       qxdat --help\n"
    "\n"
    "check      reads FILE and prints its messages as the install log shows them;\n"
    "           exits 1 if the file isn't valid.\n"
    "roundtrip  reads FILE and saves it again, to OUT if given, else in place;\n"
    "           exits 1 if the file isn't valid (nothing is written then) or the\n"
    "           save fails.\n";

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

int check(const std::string& file, std::ostream& out)
{
    orvane::qx_datfile dat;
    dat.setFileName(file);
    dat.getErrorRepository().setLoggingLevel(orvane::QX_SEV_INFO);
    bool valid = dat.read();
    printMessages(dat.getErrorRepository(), out);
    return valid ? kExitOk : kExitInvalid;
}

int roundtrip(const std::string& file, const std::string& target, std::ostream& out)
{
    orvane::qx_datfile dat;
    dat.setFileName(file);
    dat.getErrorRepository().setLoggingLevel(orvane::QX_SEV_INFO);
    bool valid = dat.read();
    // A save clears the list: keep what the read said.
    orvane::qx_errorlist messages;
    messages.appendFrom(dat.getErrorRepository());
    if (valid) {
        if (!target.empty()) dat.setFileName(target);
        valid = dat.save();
        messages.appendFrom(dat.getErrorRepository());
    }
    printMessages(messages, out);
    return valid ? kExitOk : kExitInvalid;
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
    return command == "check" ? check(file, out) : roundtrip(file, target, out);
}

}  // namespace qxdat
