// An end-to-end install and removal of the sample package under Wine's
// msiexec with the metabase emulator as the machine's IIS: the metabase
// before, after the install and after the removal, and the IIS actions' own
// lines in the install log.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "msiexec.h"
#include "run.h"

namespace {

const char* kDir = "qx-iis-e2e";  // C:\qx-iis-e2e\ in the prefix

std::string Results() { return qxnative::SourceDir() + "/build/test-results"; }
std::string MetabaseFile() { return Results() + "/e2e-iis-metabase.txt"; }

const std::string kProperties = std::string("QUORIXDIR=C:\\") + kDir +
                                "\\ QUORIX_APACHE_WEB_VDIR=quorix ADDLOCAL=ALL QUORIX_IIS_WEB_SITE=1 "
                                "QUORIX_IIS_WEB_VDIR=quorix QX_IIS_VERSION=600 QX_DNS_NAME=web01.example.com";

using qxnative::Install;
using qxnative::LogHas;
using qxnative::WinPath;

Install Msiexec(const std::string& verb, const std::string& logName)
{
    return qxnative::Msiexec(verb, kProperties, logName, MetabaseFile());
}

// The metabase of an IIS 6 machine before the install: the Perl record not
// yet allowed, a record of the retired program, a short CGI time-out.
const std::string kBefore =
    "[/w3svc]\r\n"
    "Class = IIsWebService\r\n"
    "WebSvcExtRestrictionList += 0,*.exe\r\n"
    "WebSvcExtRestrictionList += 0,C:\\Perl\\bin\\perl.exe \"%s\" %s,1,Perl,Perl CGI Extension\r\n"
    "WebSvcExtRestrictionList += 1,C:\\qx-iis-e2e\\x-cgi\\qx-daemonget.exe,0,QuorixXCGI,Quorix X-CGI\r\n"
    "\r\n"
    "[/w3svc/1]\r\n"
    "Class = IIsWebServer\r\n"
    "ServerComment = Default Web Site\r\n"
    "ServerBindings += :80:\r\n"
    "\r\n"
    "[/w3svc/1/ROOT]\r\n"
    "Class = IIsWebVirtualDir\r\n"
    "ScriptMaps += .pl,C:\\Perl\\bin\\perl.exe \"%s\" %s,5,GET,HEAD,POST\r\n"
    "\r\n"
    "[/w3svc/1/ROOT/quorix]\r\n"
    "Class = IIsWebVirtualDir\r\n"
    "CGITimeout #= 300\r\n"
    "ScriptMaps += .pl,C:\\Perl\\bin\\perl.exe \"%s\" %s,5,GET,HEAD,POST\r\n";

std::string Replace(std::string text, const std::string& from, const std::string& to)
{
    const auto at = text.find(from);
    if (at != std::string::npos) text.replace(at, from.size(), to);
    return text;
}

const std::string kRows =
    "WebSvcExtRestrictionList += 1,C:\\qx-iis-e2e\\cgi\\htsearch.exe,0,QuorixCGI,Quorix CGI\r\n"
    "WebSvcExtRestrictionList += 1,C:\\qx-iis-e2e\\cgi\\qx-geterror.exe,0,QuorixCGI,Quorix CGI\r\n"
    "WebSvcExtRestrictionList += 1,C:\\qx-iis-e2e\\cgi\\nph-quorix.exe,0,QuorixCGI,Quorix CGI\r\n"
    "WebSvcExtRestrictionList += 1,C:\\qx-iis-e2e\\x-cgi\\qx-config.exe,0,QuorixXCGI,Quorix X-CGI\r\n"
    "WebSvcExtRestrictionList += 1,C:\\qx-iis-e2e\\x-cgi\\qx-getseq.exe,0,QuorixXCGI,Quorix X-CGI\r\n"
    "WebSvcExtRestrictionList += 1,C:\\qx-iis-e2e\\x-cgi\\qx-gettaxonomy.exe,0,QuorixXCGI,Quorix X-CGI\r\n"
    "WebSvcExtRestrictionList += 1,C:\\qx-iis-e2e\\x-cgi\\qx-review.exe,0,QuorixXCGI,Quorix X-CGI\r\n"
    "WebSvcExtRestrictionList += 1,C:\\qx-iis-e2e\\x-cgi\\qx-status.exe,0,QuorixXCGI,Quorix X-CGI\r\n";

const std::string kDaemonRecord =
    "WebSvcExtRestrictionList += 1,C:\\qx-iis-e2e\\x-cgi\\qx-daemonget.exe,0,QuorixXCGI,Quorix X-CGI\r\n";
const std::string kPerlOff = "0,C:\\Perl\\bin\\perl.exe \"%s\" %s,1,Perl";
const std::string kPerlOn = "1,C:\\Perl\\bin\\perl.exe \"%s\" %s,1,Perl";

// Installed: time-out raised, Perl allowed, the eight rows added, the retired
// record gone. Removed: the rows gone; the time-out and Perl stay.
const std::string kAfterInstall = Replace(
    Replace(Replace(kBefore, kDaemonRecord, kRows), kPerlOff, kPerlOn), "CGITimeout #= 300", "CGITimeout #= 86400");
const std::string kAfterRemoval =
    Replace(Replace(Replace(kBefore, kDaemonRecord, ""), kPerlOff, kPerlOn), "CGITimeout #= 300", "CGITimeout #= 86400");

class IISInstall : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(qxnative::Exists(qxnative::SamplePackage())) << "build the win64 tree first";
        ASSERT_TRUE(qxnative::Exists(qxnative::BuildDir("win64") + "/testing/metabase/qxmetabase.exe")) << "build the win64 tree first";
        qxnative::Run("rm -rf '" + Prefix() + "/drive_c/" + kDir + "'");
        qxnative::WriteFile(MetabaseFile(), kBefore);
        std::remove((MetabaseFile() + ".changes").c_str());
    }
    void TearDown() override
    {
        if (installed_) Msiexec("/x", "e2e-iis-cleanup");
        qxnative::Run("rm -rf '" + Prefix() + "/drive_c/" + kDir + "'");
    }
    static std::string Prefix()
    {
        const char* p = std::getenv("WINEPREFIX");
        return p && *p ? p : qxnative::SourceDir() + "/build/wine";
    }
    bool installed_ = false;
};

TEST_F(IISInstall, ConfiguresTheSiteAndRemovalTakesTheRecordsAway)
{
    const Install i = Msiexec("/i", "e2e-iis-install");
    installed_ = i.exitCode == 0;
    ASSERT_EQ(i.exitCode, 0) << i.output;
    // Wine's installer reports success even when a DLL action never ran: the
    // action's own lines and the metabase are the proof.
    EXPECT_EQ(qxnative::ReadFile(MetabaseFile()), kAfterInstall);
    for (const char* line : {
             "QuorixIISConfigDeferred:  Checking that CGITimeout has a minimum value of: 86400",
             "QuorixIISConfigDeferred:  Replacing previous CGITimeout value: 300",
             "QuorixIISConfigDeferred:  Configuring IIS web service extensions.",
             "QuorixIISConfigDeferred:  Enabling Perl CGI script mapping extension: C:\\Perl\\bin\\perl.exe \"%s\" %s",
             "Property(S): QUORIX_IIS_WEB_PORT = 80",
             "Property(S): QUORIX_WEB_URL = http://web01.example.com/quorix",
         })
        EXPECT_TRUE(LogHas(i, line)) << "missing log line: " << line;
    EXPECT_EQ(i.log.find("Unable to"), std::string::npos);
    const std::string changes = qxnative::ReadFile(MetabaseFile() + ".changes");
    EXPECT_EQ(changes.find("SetInfo /w3svc/1/ROOT/quorix CGITimeout=86400\r\n"), changes.find("SetInfo"));
    EXPECT_NE(changes.find("AddExtensionFile C:\\qx-iis-e2e\\x-cgi\\qx-status.exe (QuorixXCGI, \"Quorix X-CGI\", "
                           "allowed, not deletable)\r\n"),
              std::string::npos);

    std::remove((MetabaseFile() + ".changes").c_str());
    const Install x = Msiexec("/x", "e2e-iis-remove");
    ASSERT_EQ(x.exitCode, 0) << x.output;
    installed_ = false;
    EXPECT_EQ(qxnative::ReadFile(MetabaseFile()), kAfterRemoval);
    EXPECT_TRUE(LogHas(x, "QuorixIISConfigDeferred:  Removing IIS web service extensions."));
    EXPECT_FALSE(LogHas(x, "QuorixIISConfigDeferred:  Checking that CGITimeout has a minimum value of: 86400"));
    const std::string removal = qxnative::ReadFile(MetabaseFile() + ".changes");
    EXPECT_EQ(removal.find("AddExtensionFile"), std::string::npos);
    EXPECT_EQ(removal.find("EnableExtensionFile"), std::string::npos);
}

}  // namespace
