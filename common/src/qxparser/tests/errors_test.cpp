// The message list: filling, folding of repeats, validity, levels and the log.
// The texts themselves are asserted where they are raised (the case files,
// the merge's, zip's, processors' and http tests).
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include "orvane/qx_errors.h"
#include "roundtrip_law.h"
#include "test_files.h"

using namespace orvane;

namespace {

// "code:repeats;" per message.
std::string listed(const qx_errorlist& list)
{
    std::string out;
    for (int n = 1; n <= list.getMessageCount(); ++n)
        out += std::to_string(list.getErrorNumber(n)) + ":" + std::to_string(list.getRepeats(n)) + ";";
    return out;
}

}  // namespace

TEST(ErrorList, TableOrderAndUnknownCodes)
{
    int32_t previous = -1;
    for (const qx_messagerow* row = qx_errorlist::messageTable(); row->code != -1; ++row) {
        EXPECT_GT(row->code, previous);
        previous = row->code;
    }
    // The texts no test can raise (an engine's or the platform's failures).
    const std::tuple<int32_t, int32_t, const char*> unraised[] = {
        {2308, 1, "Wininet failure: %s"},
        {5889, 1, "Insufficient memory to compress/decompress the data"},
        {5892, 1, "Unknown zip error"},
    };
    for (const auto& [code, severity, text] : unraised) {
        ASSERT_NE(qx_errorlist::findRow(code), nullptr) << code;
        EXPECT_EQ(qx_errorlist::findRow(code)->severity, severity);
        EXPECT_STREQ(qx_errorlist::findRow(code)->format, text);
    }
    qx_errorlist list;
    list.setLoggingLevel(3);
    for (int32_t code : {0, 30, 257, 262, 512, 1562, 2049, 4096, 5888, -1, 99999}) list.addError(code);
    EXPECT_EQ(list.getMessageCount(), 0);
    EXPECT_TRUE(list.isValid());
}

TEST(ErrorList, FoldsOnlyTheThirdAndLaterOfARunOfEqualCodes)
{
    const std::tuple<std::vector<int32_t>, bool, const char*> cases[] = {
        {{1541, 1541}, true, "1541:0;1541:0;"},
        {{1541, 1541, 1541}, true, "1541:0;1541:1;"},
        {{1541, 1541, 1541, 1541, 1541}, true, "1541:0;1541:3;"},
        {{1541, 1541, 1541}, false, "1541:0;1541:0;1541:0;"},
        {{1541, 1543, 1541, 1541}, true, "1541:0;1543:0;1541:0;1541:0;"},
        {{1541, 1541, 1543, 1541, 1541, 1541}, true, "1541:0;1541:0;1543:0;1541:0;1541:1;"},
    };
    for (const auto& [raised, fold, expected] : cases) {
        qx_errorlist list;
        list.setFoldRepeats(fold);
        for (int32_t code : raised) list.addError(code, "f", "x");
        EXPECT_EQ(listed(list), expected);
    }
    qx_errorlist list;
    for (const char* name : {"a", "b", "c", "d", "e"}) list.addError(qxerr::databaseParameters, "f", name);
    EXPECT_EQ(list.getMessage(1), "Error in the configuration file f - database a doesn't have enough parameters");
    EXPECT_EQ(list.getMessage(2),
              "Error in the configuration file f - database b doesn't have enough parameters (Error repeated 4 times)");
    EXPECT_EQ(list.getMessage(-1), list.getMessage(2));
    EXPECT_EQ(list.getRepeats(-1), 3);
    EXPECT_EQ(list.getSeverity(1), 2);
    // Beyond the list: neutral answers.
    for (int n : {0, 3, -4}) EXPECT_EQ(list.getMessage(n) + std::to_string(list.getSeverity(n) * 10 + list.getRepeats(n)), "20") << n;
    EXPECT_EQ(qx_errorlist().getMessage(-1), "");
    // Appending keeps order and columns.
    qx_errorlist a;
    a.addError(qxerr::noQuorixDat);
    a.appendFrom(list);
    a.appendFrom(a);
    EXPECT_EQ(listed(a), "1537:0;1541:0;1541:3;1537:0;1541:0;1541:3;");
    // Texts are cut to the buffer.
    list.clearAll();
    list.addError(qxerr::optionsLine, "f", std::string(5000, 'x').c_str());
    EXPECT_EQ(list.getMessage(1).size(), 2047u);
}

TEST(ErrorList, ValidityAndLoggingLevel)
{
    qx_errorlist list;
    list.addError(qxerr::optionsLine, "f", "l");
    EXPECT_TRUE(list.isValid()) << "severity 2 leaves the list valid";
    list.addError(qxerr::noQuorixDat);
    for (int i = 0; i < 3; ++i) list.addError(qxerr::wwwEntry, "f", "l");
    EXPECT_FALSE(list.isValid());
    list.clearAll();
    EXPECT_TRUE(list.isValid());
    EXPECT_EQ(list.getMessageCount(), 0);
    // The level filters addError, never addOsError.
    list.addError(qxerr::threadCount, 4);
    EXPECT_EQ(list.getMessageCount(), 0);
    errno = ENOENT;
    list.addOsError(qxerr::threadCount, 4);
    list.setLoggingLevel(3);
    list.addError(qxerr::threadCount, 4);
    EXPECT_EQ(list.getMessage(-1), "Setting number of threads to 4");
    list.setLoggingLevel(1);
    list.addError(qxerr::optionsLine, "f", "l");
    EXPECT_EQ(list.getMessageCount(), 2);
    // The platform's text goes behind on one line.
    list.clearAll();
    ASSERT_EQ(std::fopen(qxtestfiles::tempPath("no/such/file").c_str(), "r"), nullptr);
    list.addOsError(qxerr::openFile, "x.dat", "r");
    std::string text = list.getMessage(1);
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
