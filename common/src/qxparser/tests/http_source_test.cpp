#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "http_server.h"
#include "orvane/qx_datfile.h"
#include "orvane/qx_errors.h"
#include "orvane/qx_filesource.h"

using namespace orvane;

namespace {

struct Reporter : qx_errors {
};

std::vector<std::string> linesOf(qx_filesource& source)
{
    std::vector<std::string> lines;
    std::string line;
    while (source.getLine(line)) lines.push_back(line);
    return lines;
}

std::vector<std::string> fileLines(const std::string& path)
{
    Reporter r;
    qx_filesource source(&r, qx_connection_settings());
    EXPECT_TRUE(source.open(path.c_str(), 1, 0)) << path;
    return linesOf(source);
}

std::string configPath(const std::string& name) { return std::string(QX_HTTP_CONFIG_DIR) + "/" + name; }

}  // namespace

TEST(UrlSource, ModeSelectsTheFile)
{
    struct Case {
        int mode;
        int parameter;
        const char* file;
    };
    const Case cases[] = {
        {1, 0, "quorix.dat"},    {2, 0, "enzymes"}, {3, 0, "fragmentation_rules"}, {4, 0, "masses"},
        {5, 0, "mod_file"},      {5, 1, "substitutions"}, {6, 0, "unimod.xml"}, {7, 0, "taxonomy"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        Reporter r;
        qx_filesource source(&r, qx_connection_settings());
        std::string base = qxhttp::baseUrl("quorix");
        ASSERT_TRUE(source.open(base.c_str(), c.mode, c.parameter));
        EXPECT_TRUE(source.isOpen());
        EXPECT_EQ(linesOf(source), fileLines(configPath(c.file)));
        EXPECT_EQ(r.getErrorRepository().getMessageCount(), 0);
    }
}

TEST(UrlSource, ModeZeroReadsTheNameItself)
{
    Reporter r;
    qx_filesource source(&r, qx_connection_settings());
    std::string url = qxhttp::baseUrl("quorix") + "get_params.pl?Show=QX_TAXONOMY";
    ASSERT_TRUE(source.open(url.c_str(), 0, 0));
    EXPECT_EQ(linesOf(source), fileLines(configPath("taxonomy")));
}

TEST(UrlSource, FailuresLeaveNothingOpen)
{
    struct Case {
        const char* label;
        std::string name;
        int mode;
        const char* messages;  // code and text, one a line
    };
    const Case cases[] = {
        {"mode 8 asks for nothing", qxhttp::baseUrl("mode-8"), 8, ""},
        {"negative mode", qxhttp::baseUrl("mode-8"), -1, ""},
        {"404", qxhttp::root() + "nothing/here.xml", 0, "2305 Http-transmission failed with error: http 404:Not Found\n"},
        {"short", "http:/x", 1, "2306 Invalid URL: http:/x\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label);
        Reporter r;
        qx_filesource source(&r, qx_connection_settings());
        // A source that was open is closed by a failed open.
        source.openText("x\n", 2);
        EXPECT_FALSE(source.open(c.name.c_str(), c.mode, 0));
        EXPECT_FALSE(source.isOpen());
        std::string line;
        EXPECT_FALSE(source.getLine(line));
        std::string all;
        for (int n = 1; n <= r.getErrorRepository().getMessageCount(); ++n) {
            all += std::to_string(r.getErrorRepository().getErrorNumber(n)) + " " +
                   r.getErrorRepository().getMessage(n) + "\n";
        }
        EXPECT_EQ(all, c.messages);
    }
    EXPECT_TRUE(qxhttp::noRequestWith("/mode-8/"));
}

TEST(UrlDatfile, ReadOverHttpEqualsTheFileOnDisk)
{
    qx_datfile remote(qxhttp::baseUrl("quorix"));
    ASSERT_TRUE(remote.isValid());
    qx_datfile local(configPath("quorix.dat"));
    ASSERT_TRUE(local.isValid());
    EXPECT_EQ(remote.getComments(), local.getComments());

    // Their saves are the same bytes: every line came across unchanged.
    std::string remoteSaved = qxhttp::tempPath("remote.dat");
    std::string localSaved = qxhttp::tempPath("local.dat");
    remote.setFileName(remoteSaved);
    local.setFileName(localSaved);
    ASSERT_TRUE(remote.save());
    ASSERT_TRUE(local.save());
    EXPECT_FALSE(qxhttp::readFile(localSaved).empty());
    EXPECT_EQ(qxhttp::readFile(remoteSaved), qxhttp::readFile(localSaved));
}

TEST(UrlDatfile, SettingsReachTheRequest)
{
    qx_connection_settings s;
    s.setSessionID("abc123");
    qx_datfile dat(qxhttp::baseUrl("datfile-session"), 0, &s);
    EXPECT_TRUE(dat.isValid());
    std::string line = qxhttp::requestOf("/datfile-session/");
    EXPECT_EQ(line.rfind("\"GET /datfile-session/cgi/get_params.pl?Show=QX_QUORIX_DAT&sessionID=abc123 ", 0), 0u)
        << line;
}

TEST(UrlDatfile, StatusPageMeansTheServiceIsDown)
{
    qx_datfile dat(qxhttp::baseUrl("down"));
    EXPECT_FALSE(dat.isValid());
    const qx_errorlist& list = dat.getErrorRepository();
    ASSERT_EQ(list.getMessageCount(), 1);
    EXPECT_EQ(list.getErrorNumber(1), 2307);
    EXPECT_EQ(list.getMessage(1), "The Quorix service is not running. Unable to retrieve configuration file.");
}

TEST(UrlDatfile, FailedRequestIsTheOnlyMessage)
{
    qx_datfile dat(qxhttp::root() + "private/cgi/");
    EXPECT_FALSE(dat.isValid());
    const qx_errorlist& list = dat.getErrorRepository();
    ASSERT_EQ(list.getMessageCount(), 1);
    EXPECT_EQ(list.getMessage(1), "Http-transmission failed with error: http 403:Forbidden");
}
