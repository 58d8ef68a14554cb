// The message list where the case files can't reach it: the table's order,
// the platform's texts and the log file. Folding, levels and validity are
// cases in cases/calls.txt; the texts are asserted where they are raised.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "orvane/qx_errors.h"
#include "roundtrip_law.h"
#include "test_files.h"

using namespace orvane;

TEST(ErrorList, TableOrderAndThePlatformsText)
{
    int32_t previous = -1;
    for (const qx_messagerow* row = qx_errorlist::messageTable(); row->code != -1; previous = row->code, ++row)
        EXPECT_GT(row->code, previous);
    // The level filters addError, never addOsError; the platform's text goes behind on one line.
    qx_errorlist list;
    list.setLoggingLevel(1);
    errno = ENOENT;
    list.addOsError(qxerr::threadCount, 4);
    ASSERT_EQ(std::fopen(qxtestfiles::tempPath("no/such/file").c_str(), "r"), nullptr);
    list.addOsError(qxerr::openFile, "x.dat", "r");
    EXPECT_EQ(list.getMessageCount(), 2);
    std::string text = list.getMessage(2);
    const std::string head = "Failed to open file x.dat for r. OS returned the following error: ";
    ASSERT_EQ(text.compare(0, head.size(), head), 0) << text;
    EXPECT_GT(text.size(), head.size());
    EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos);
}

TEST(ErrorList, LogFileGetsHeaderOnceAndOneCsvLinePerStoredMessage)
{
    std::string path = qxtestfiles::tempPath("errors.csv");
    std::remove(path.c_str());
#ifdef _WIN32
    _putenv_s("REMOTE_ADDR", "10.1.2.3");
#else
    setenv("REMOTE_ADDR", "10.1.2.3", 1);
#endif
    qx_errorlist list;
    list.setLogFileName(path);
    list.addError(qxerr::optionsLine, "f", "line");
    list.addMessage(4242, "said \"so\"", 3, "sess", 7);  // above the level: not logged
    list.addMessage(4243, "plain", 1, "sess", 7);
    std::string log = qxtestfiles::lfText(qxtestfiles::readBytes(path));
    // The date is the 24 characters of asctime, in quotes.
    std::string dated;
    for (std::string_view l : qxlaw::splitLines(log))
        dated += (l.size() > 26 && l[0] == '"' && l[25] == '"' ? "D" + std::string(l.substr(26)) : std::string(l)) + "\n";
    EXPECT_EQ(dated, "Date, IP_address, Error_number, Severity, session_name, user_id, message\nD"
                       ",\"10.1.2.3\",1542,2,\"\",-1,\"Error in line in Options section of the configuration file f: line\"\nD"
                       ",\"10.1.2.3\",4243,1,\"sess\",7,\"plain\"\n");
#ifdef _WIN32
    _putenv_s("REMOTE_ADDR", "");
#else
    unsetenv("REMOTE_ADDR");
#endif
}
