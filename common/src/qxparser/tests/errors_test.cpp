#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include "orvane/qx_errors.h"
#include "test_files.h"

using namespace orvane;

namespace {

struct Row {
    int32_t code;
    int32_t severity;
    const char* text;
};

// Word for word what the log and the user see.
const Row kExpectedRows[] = {
    {256, 1, "Failed to open file %s for %s"},
    {260, 1, "Cannot find file '%s'"},
    {261, 1, "Failed to find information about number of processors available"},
    {264, 1, "Failed to wtite to file '%s' (file not open or disk full)"},
    {1537, 1, "Cannot find file 'quorix.dat'. It contains the most important configuration parameters"},
    {1538, 2, "In the file %s the database %s has no %s rule"},
    {1539, 2, "Error compiling the parse rule: %s. Error string: %s"},
    {1540, 2, "Only one sub-expression per parse rule allowed. Found %d in %s"},
    {1541, 2, "Error in the configuration file %s - database %s doesn't have enough parameters"},
    {1542, 2, "Error in line in Options section of the configuration file %s: %s"},
    {1543, 2, "Invalid entry in Cluster section of the configuration file %s: %s"},
    {1544, 2, "Too many cpus in sub cluster %d. Setting number of usable cpus to %d"},
    {1545, 2, "Too many cron jobs in the configuration file %s. The limit is %d"},
    {1546, 2, "Invalid parsing rule syntax in %s file. Expecting RULE_, found %s"},
    {1547, 2, "In the file %s: all parsing rules must have numbers between 1 and %d: Rule invalid: %s"},
    {1548, 2, "In the file %s: parsing rule %d has been defined twice: Second one is: %s"},
    {1549, 2, "Missing quote in parse rule in %s: %s"},
    {1550, 2, "In the file %s: maximimum length of parse string (%d) is exceeded in: %s"},
    {1551, 2, "Invalid entry in the configuration file %s - taxonomy section: %s"},
    {1552, 2, "Incompatible TAXID with some other taxonomy rule parameters in taxonomy section of %s: %s"},
    {1553, 2, "In taxonomy section of %s, max prefixes (%d) exceeded"},
    {1554, 2, "In taxonomy section of %s, max suffixed (%d) exceeded"},
    {1555, 2, "In taxonomy section of %s, max no breaks (%d) exceeded"},
    {1556, 2, "Invalid character in cron section of %s. Line is: %s"},
    {1557, 2, "Number out of range in cron section of %s. Line is: %s"},
    {1558, 2, "Invalid * in cron section of %s. Line is: %s"},
    {1559, 2, "Expecting number before , in cron section of %s. Line is: %s"},
    {1560, 2, "Expecting number before - in cron section of %s. Line is: %s"},
    {1561, 2, "Invalid line in %s file starting with: %s"},
    {1565, 2, "In the file %s: there are %d threads for database '%s'. Too many processors named"},
    {1566, 2, "Error in WWW section of %s: %s"},
    {1567, 2, "A taxonomy rule with duplicate number %d has been encountered"},
    {1568, 2, "Empty ICAT filter is not allowed. Specify simply 'C' if you are not sure."},
    {2305, 1, "Http-transmission failed with error: %s"},
    {2306, 1, "Invalid URL: %s"},
    {2307, 1, "The Quorix service is not running. Unable to retrieve configuration file."},
    {2308, 1, "Wininet failure: %s"},
    {5889, 1, "Insufficient memory to compress/decompress the data"},
    {5890, 1, "Buffer too small - %lu"},
    {5891, 1, "Compressed data is invalid"},
    {5892, 1, "Unknown zip error"},
    {5893, 2, "Expected length of uncompressed data (%u) differs from actual length (%lu)"},
    {5894, 1, "Uncompressed data longer (%lu) than maxium permitted (%lu)"},
    {5895, 1, "Cannot compress zero length data"},
    {6144, 3, "Detected %d logical processors per physical CPU"},
    {6145, 2, "Failed to get CPU information. Assuming single core and no hyper-threading"},
    {6146, 3, "Setting number of threads to %d"},
    {6147, 3, "Successfully loaded not.quorix.dat from %s"},
    {6148, 3, "Successfully loaded existing quorix.dat from %s"},
    {6149, 3, "Appended taxonomy section %d"},
    {6150, 3, "Adding entry for SwissProt to quorix.dat"},
    {6151, 2, "No entry for SwissProt found in not.quorix.dat"},
    {6152, 2, "Changed taxonomy entry for %s"},
    {6153, 2, "Added parse rule number %d"},
    {6154, 1, "Failed to added parse rule required for SwissProt - too many rules already in quorix.dat?"},
    {6155, 3, "Added %s %s to the options section of quorix.dat"},
    {6156, 3, "Set the value of %s to %s in the options section of quorix.dat"},
    {6157, 3, "Set the value of %s to %s in the cluster section of quorix.dat"},
    {6158, 1, "Failed to determine the hostname"},
    {6159, 1, "No SubClusterSet entry in quorix.dat"},
    {6160, 3, "Changed %s parse rule from rule %d to %d"},
};

std::vector<int32_t> codes(const qx_errorlist& list)
{
    std::vector<int32_t> out;
    for (int n = 1; n <= list.getMessageCount(); ++n) out.push_back(list.getErrorNumber(n));
    return out;
}

std::vector<int32_t> repeatCounts(const qx_errorlist& list)
{
    std::vector<int32_t> out;
    for (int n = 1; n <= list.getMessageCount(); ++n) out.push_back(list.getRepeats(n));
    return out;
}

}  // namespace

TEST(MessageTable, HoldsEveryRowVerbatimInAscendingOrderAndEndsWithMinusOne)
{
    size_t rows = 0;
    int32_t previous = -1;
    // Rows from 6161 on are asserted word for word by qxdat's hostile files.
    for (const qx_messagerow* row = qx_errorlist::messageTable(); row->code != -1; ++row) {
        EXPECT_GT(row->code, previous);
        previous = row->code;
        rows += row->code < 6161;
    }
    EXPECT_EQ(rows, sizeof kExpectedRows / sizeof kExpectedRows[0]);
    for (const Row& expected : kExpectedRows) {
        const qx_messagerow* row = qx_errorlist::findRow(expected.code);
        ASSERT_NE(row, nullptr) << expected.code;
        EXPECT_EQ(row->severity, expected.severity) << expected.code;
        EXPECT_STREQ(row->format, expected.text) << expected.code;
    }
}

TEST(MessageTable, ReservedAndUnknownCodesRaiseNothing)
{
    qx_errorlist list;
    list.setLoggingLevel(3);
    for (int32_t code : {0, 30, 257, 262, 512, 1562, 2049, 4096, 5888, -1, 99999}) list.addError(code);
    EXPECT_EQ(list.getMessageCount(), 0);
    EXPECT_TRUE(list.isValid());
}

TEST(ErrorList, FillsTheFormatWithItsArguments)
{
    qx_errorlist list;
    list.addError(qxerr::databaseParameters, "q.dat", "SwissProt");
    list.addError(qxerr::subClusterCpus, 3, 65536);
    EXPECT_EQ(list.getMessage(1), "Error in the configuration file q.dat - database SwissProt doesn't have enough parameters");
    EXPECT_EQ(list.getMessage(2), "Too many cpus in sub cluster 3. Setting number of usable cpus to 65536");
    EXPECT_EQ(list.getSeverity(1), 2);
}

TEST(ErrorList, FoldsOnlyTheThirdAndLaterOfARunOfEqualCodes)
{
    struct Case {
        const char* name;
        std::vector<int32_t> raised;
        bool fold;
        std::vector<int32_t> codes;
        std::vector<int32_t> repeats;
    };
    const Case cases[] = {
        {"two equal stay two", {1541, 1541}, true, {1541, 1541}, {0, 0}},
        {"three equal fold into the second", {1541, 1541, 1541}, true, {1541, 1541}, {0, 1}},
        {"five equal", {1541, 1541, 1541, 1541, 1541}, true, {1541, 1541}, {0, 3}},
        {"no folding when switched off", {1541, 1541, 1541}, false, {1541, 1541, 1541}, {0, 0, 0}},
        {"a different code between", {1541, 1543, 1541, 1541}, true, {1541, 1543, 1541, 1541}, {0, 0, 0, 0}},
        {"runs restart after a break", {1541, 1541, 1543, 1541, 1541, 1541}, true,
         {1541, 1541, 1543, 1541, 1541}, {0, 0, 0, 0, 1}},
    };
    for (const Case& c : cases) {
        qx_errorlist list;
        list.setFoldRepeats(c.fold);
        for (int32_t code : c.raised) list.addError(code, "f", "x");
        EXPECT_EQ(codes(list), c.codes) << c.name;
        EXPECT_EQ(repeatCounts(list), c.repeats) << c.name;
    }
}

TEST(ErrorList, RepeatNoteCountsAllOccurrencesAndFirstTextStands)
{
    qx_errorlist list;
    const char* names[] = {"a", "b", "c", "d", "e"};
    for (const char* name : names) list.addError(qxerr::databaseParameters, "f", name);
    ASSERT_EQ(list.getMessageCount(), 2);
    EXPECT_EQ(list.getMessage(1), "Error in the configuration file f - database a doesn't have enough parameters");
    EXPECT_EQ(list.getMessage(2),
              "Error in the configuration file f - database b doesn't have enough parameters"
              " (Error repeated 4 times)");
    EXPECT_EQ(list.getMessage(-1), list.getMessage(2));
    EXPECT_EQ(list.getRepeats(-1), 3);
}

TEST(ErrorList, OutOfRangeQueriesGiveNeutralAnswers)
{
    qx_errorlist list;
    EXPECT_EQ(list.getMessage(-1), "");
    EXPECT_EQ(list.getSeverity(-1), 2);
    EXPECT_EQ(list.getRepeats(-1), 0);
    list.addError(qxerr::noQuorixDat);
    for (int n : {0, 2, -2}) {
        EXPECT_EQ(list.getMessage(n), "") << n;
        EXPECT_EQ(list.getSeverity(n), 2) << n;
        EXPECT_EQ(list.getRepeats(n), 0) << n;
    }
    EXPECT_EQ(list.getSeverity(1), 1);
}

TEST(ErrorList, ValidityDependsOnSeverityOneAlone)
{
    qx_errorlist list;
    EXPECT_TRUE(list.isValid());
    list.addError(qxerr::optionsLine, "f", "l");
    EXPECT_TRUE(list.isValid());
    list.addError(qxerr::noQuorixDat);
    for (int i = 0; i < 3; ++i) list.addError(qxerr::wwwEntry, "f", "l");
    EXPECT_FALSE(list.isValid());
    list.clearAll();
    EXPECT_TRUE(list.isValid());
    EXPECT_EQ(list.getMessageCount(), 0);
}

TEST(ErrorList, LoggingLevelFiltersAddErrorButNotAddOsError)
{
    qx_errorlist list;
    list.addError(qxerr::threadCount, 4);
    EXPECT_EQ(list.getMessageCount(), 0);
    errno = ENOENT;
    list.addOsError(qxerr::threadCount, 4);
    EXPECT_EQ(list.getMessageCount(), 1);
    list.setLoggingLevel(3);
    list.addError(qxerr::threadCount, 4);
    EXPECT_EQ(list.getMessage(-1), "Setting number of threads to 4");
    list.setLoggingLevel(1);
    list.addError(qxerr::optionsLine, "f", "l");
    EXPECT_EQ(list.getMessageCount(), 2);
}

TEST(ErrorList, OsErrorAppendsThePlatformsTextOnOneLine)
{
    qx_errorlist list;
    std::FILE* f = std::fopen(qxtestfiles::tempPath("no/such/file").c_str(), "r");
    ASSERT_EQ(f, nullptr);
    list.addOsError(qxerr::openFile, "x.dat", "r");
    std::string text = list.getMessage(1);
    const std::string head = "Failed to open file x.dat for r. OS returned the following error: ";
    ASSERT_EQ(text.compare(0, head.size(), head), 0) << text;
    EXPECT_GT(text.size(), head.size());
    EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos);
}

TEST(ErrorList, LongTextsAreCutToTheBuffer)
{
    qx_errorlist list;
    std::string huge(5000, 'x');
    list.addError(qxerr::optionsLine, "f", huge.c_str());
    EXPECT_EQ(list.getMessage(1).size(), 2047u);
}

TEST(ErrorList, AppendFromKeepsOrderAndColumns)
{
    qx_errorlist a, b;
    a.addError(qxerr::noQuorixDat);
    b.addError(qxerr::optionsLine, "f", "l");
    for (int i = 0; i < 3; ++i) b.addError(qxerr::wwwEntry, "f", "w");
    a.appendFrom(b);
    EXPECT_EQ(codes(a), (std::vector<int32_t>{1537, 1542, 1566, 1566}));
    EXPECT_EQ(repeatCounts(a), (std::vector<int32_t>{0, 0, 0, 1}));
    a.appendFrom(a);
    EXPECT_EQ(a.getMessageCount(), 8);
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

    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t nl; (nl = log.find('\n', start)) != std::string::npos; start = nl + 1)
        lines.push_back(log.substr(start, nl - start));
    ASSERT_EQ(lines.size(), 3u) << log;
    EXPECT_EQ(lines[0], "Date, IP_address, Error_number, Severity, session_name, user_id, message");
    // The date is the 24 characters of asctime, in quotes.
    ASSERT_GT(lines[1].size(), 27u);
    EXPECT_EQ(lines[1][0], '"');
    EXPECT_EQ(lines[1][25], '"');
    EXPECT_EQ(lines[1].substr(26),
              ",\"10.1.2.3\",1542,2,\"\",-1,\"Error in line in Options section of the configuration file f: line\"");
    EXPECT_EQ(lines[2].substr(26), ",\"10.1.2.3\",4243,1,\"sess\",7,\"plain\"");
#ifdef _WIN32
    _putenv_s("REMOTE_ADDR", "");
#else
    unsetenv("REMOTE_ADDR");
#endif
}
