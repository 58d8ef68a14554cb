// CreateApacheConf gathers the directories and the web path; its deferred
// function writes httpd.conf by the .tmp/.bak transaction.
#include <windows.h>
#include <msi.h>

#include <cstdio>
#include <memory>
#include <sstream>

#include "apache/apache_conf.h"
#include "msiu/deferred.h"
#include "msiu/error.h"
#include "msiu/files.h"
#include "msiu/log.h"
#include "msiu/property.h"
#include "msiu/session.h"
#include "pal/strings.h"

namespace quorix::apache {

std::string BuildFragment(const FragmentValues& v)
{
    std::string out;
    auto directory = [&](const std::string& dir) {
        out += "<Directory " + dir + ">\n";
        out += "  AllowOverride None\n";
        out += "  Options None\n";
        out += "  Order allow,deny\n";
        out += "  Allow from all\n";
        out += "</Directory>\n";
    };
    out += "### \n";
    out += "### Configuration for Quorix\n";
    out += "### Lines written by Quorix installation version " + v.version + "\n";
    directory(v.cgiDir);
    out += "ScriptAlias /" + v.vdir + "/cgi " + v.cgiDir + "\n";
    out += "\n";
    directory(v.xcgiDir);
    out += "ScriptAlias /" + v.vdir + "/x-cgi " + v.xcgiDir + "\n";
    out += "\n";
    directory(v.htmlDir);
    out += "Alias /" + v.vdir + " " + v.htmlDir + "\n";
    out += "\n";
    out += "\n";
    out += "ScriptInterpreterSource Registry\n";
    return out;
}

namespace {

struct FileCloser {
    void operator()(FILE* f) const { std::fclose(f); }
};

// The text goes to the transaction's staging file and then replaces F whole;
// the failure names F either way.
void WriteFragment(msiu::FileTransaction& file, const FragmentValues& values)
{
    std::unique_ptr<FILE, FileCloser> out(file.OpenStaging());
    // A name already at N is not ours to remove.
    bool failed = !out;
    if (out) {
        std::istringstream lines(BuildFragment(values));
        for (std::string line; !failed && std::getline(lines, line);) {
            line += '\n';
            failed = std::fputs(line.c_str(), out.get()) < 0 || std::fflush(out.get()) != 0;
        }
        failed = failed || std::ferror(out.get());
        failed = (std::fclose(out.release()) != 0) || failed;
        if (!failed) failed = !file.InstallStaging();
        if (failed) DeleteFileW(file.Staging().c_str());
    }
    if (failed) msiu::ThrowError(msiu::kFail, L"Unable to write httpd.conf file: %s", file.Target().c_str());
}

}  // namespace

}  // namespace quorix::apache

extern "C" UINT __stdcall CreateApacheConf(MSIHANDLE session)
{
    return msiu::RunAction(session, L"CreateApacheConf", false, [] {
        const std::wstring file = msiu::FormatString(L"[QuorixConfigDir]httpd.conf");
        const std::wstring vdir = msiu::GetProperty(L"QUORIX_APACHE_WEB_VDIR", true);
        const std::wstring html = msiu::GetProperty(L"QuorixHTMLDir", true);
        const std::wstring xcgi = msiu::GetProperty(L"QuorixXCGIDir", true);
        const std::wstring cgi = msiu::GetProperty(L"QuorixCGIDir", true);
        const std::wstring version = msiu::GetProperty(L"ProductVersion", true);

        const std::wstring data = msiu::JoinFields({version, file, cgi, xcgi, html, vdir});
        for (const wchar_t* name : {L"CreateApacheConfRollback", L"CreateApacheConfExec", L"CreateApacheConfCommit"})
            msiu::ScheduleDeferredAction(name, data);
    });
}

extern "C" UINT __stdcall CreateApacheConfDeferred(MSIHANDLE session)
{
    return msiu::RunAction(session, L"CreateApacheConfDeferred", false, [] {
        const auto fields = msiu::GetDeferredFields(6);
        const std::wstring cgi = msiu::ToForwardSlashes(fields[2]);
        const std::wstring xcgi = msiu::ToForwardSlashes(fields[3]);
        const std::wstring html = msiu::ToForwardSlashes(fields[4]);
        msiu::FileTransaction file(fields[1]);

        switch (msiu::CurrentPhase()) {
        case msiu::Phase::Execute: {
            file.SaveOriginal();
            msiu::LogMessage(msiu::kMsgInfo, L"Creating new Apache configuration file: %s", file.Target().c_str());
            using PAL::NarrowText;
            quorix::apache::WriteFragment(file, {NarrowText(fields[0]), NarrowText(cgi), NarrowText(xcgi),
                                                          NarrowText(html), NarrowText(fields[5])});
            break;
        }
        case msiu::Phase::Commit: file.Commit(); break;
        case msiu::Phase::Rollback: file.Rollback(); break;
        case msiu::Phase::None: break;
        }
    });
}
