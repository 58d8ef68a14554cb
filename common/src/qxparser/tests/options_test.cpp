// The Options section: every kind of key, its default, its check and its
// report, and the lines that stay as they stood.
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "orvane/qx_datfile.h"
#include "test_files.h"

using namespace orvane;
using qxtestfiles::codes;
using qxtestfiles::readInto;

namespace {

using Getter = std::function<std::string(const qx_quorixoptions&)>;

std::string str(bool v) { return v ? "true" : "false"; }
std::string str(int32_t v) { return std::to_string(v); }
std::string str(int64_t v) { return std::to_string(v); }
std::string str(const std::string& v) { return v; }
std::string str(double v)
{
    std::ostringstream out;
    out << v;
    return out.str();
}
template <typename T>
std::string str(const std::vector<T>& list)
{
    std::string out;
    for (const T& item : list) out += (out.empty() ? "" : ",") + str(item);
    return out;
}

#define GET(expr) [](const qx_quorixoptions& o) { return str(o.expr); }

struct Case {
    std::string lines;
    Getter get;
    std::string value;
    int reports;  // count of message 1542
};

void run(const std::vector<Case>& cases)
{
    for (const Case& c : cases) {
        qx_datfile dat;
        readInto("Options\n" + c.lines + "\nend\n", dat);
        SCOPED_TRACE(c.lines);
        EXPECT_EQ(c.get(dat.getQuorixOptions()), c.value);
        std::string expected;
        for (int i = 0; i < c.reports; ++i) expected += "1542;";
        EXPECT_EQ(codes(dat.getErrorRepository()), expected);
        EXPECT_TRUE(dat.isValid());
    }
}

}  // namespace

TEST(OptionsSection, DefaultsOfAnEmptySection)
{
    const qx_quorixoptions o;
    EXPECT_FALSE(o.getSaveLastQueryAsc());
    EXPECT_TRUE(o.getSaveEveryLastQueryAsc());
    EXPECT_EQ(o.getLastQueryAscFile(), "../logs/lastquery.asc");
    EXPECT_EQ(o.getInterFileBasePath(), "C:/InetPub/Quorix/data");
    EXPECT_EQ(o.getQuorixControlFile(), "../data/quorix.control");
    EXPECT_EQ(o.getResultsFullURL().substr(o.getResultsFullURL().size() - 22), "/cgi/master_results.pl");
    EXPECT_EQ(o.getMailTransport(), 2);
    EXPECT_EQ(o.getSendmailPath(), "/usr/lib/sendmail");
    EXPECT_EQ(o.getNTMonitorGroup(), "Administrators");
    EXPECT_EQ(o.getNTIUserGroup(), "Guests");
    EXPECT_EQ(o.getMaxSequenceLen(), 50000);
    EXPECT_EQ(o.getMaxNumPeptides(), 12500);
    EXPECT_EQ(o.getCentroidWidth(), 0.25);
    EXPECT_EQ(o.getVmemory(), -1);
    EXPECT_TRUE(o.getReportNumberChoices().empty());
    EXPECT_EQ(o.getReviewColWidths(), qx_quorixoptions::defaultReviewColWidths());
    EXPECT_EQ(o.getReviewColWidths()[5], 100);
    EXPECT_EQ(o.getSigThreshold(), 0.05);
    EXPECT_EQ(o.getFeatureTableMinScore(), 13.0);
    EXPECT_EQ(o.getICATFilter(), "C");
    EXPECT_EQ(o.getICATLight(), "ICAT_light");
    EXPECT_EQ(o.getIgnoreDupeAccessions(), std::vector<std::string>{"EST_others"});
    EXPECT_FALSE(o.getGetSeqBlastAccession().getUseRegex());
    EXPECT_EQ(o.getGetSeqBlastAccession().getStartChars(), " ");
    EXPECT_EQ(o.getGetSeqBlastAccession().getEndChars(), "| ");
    EXPECT_EQ(o.getGetSeqBlastAccession().getFieldNumber(), 3);
    EXPECT_EQ(o.getUnixDirPerm(), 511);
    EXPECT_FALSE(o.isUnixDirPermDefined());
    EXPECT_EQ(o.getPrecursorCutOutLow(), -1.0);
    EXPECT_EQ(o.getPrecursorCutOutHigh(), -1.0);
    EXPECT_EQ(o.getSortUnassigned(), "scoredown");
    EXPECT_EQ(o.getMudpit(), 1000);
    EXPECT_EQ(o.getUnixWebUserGroup(), -1);
}

TEST(OptionsSection, FlagsIntegersTextsAndRests)
{
    run({
        {"SaveLastQueryAsc 1", GET(getSaveLastQueryAsc()), "true", 0},
        {"SaveEveryLastQueryAsc 2", GET(getSaveEveryLastQueryAsc()), "false", 0},
        {"SaveEveryLastQueryAsc", GET(getSaveEveryLastQueryAsc()), "true", 0},
        {"StoreModPermutations: 0", GET(getStoreModPermutations()), "false", 0},
        {"UniqueJobStartNumber -1", GET(getUniqueJobStartNumber()), "1", 1},
        {"UniqueJobStartNumber 0", GET(getUniqueJobStartNumber()), "0", 0},
        {"MailTransport 4", GET(getMailTransport()), "2", 1},
        {"MailTransport 3", GET(getMailTransport()), "3", 0},
        {"EmailTimeOutPeriod 0", GET(getEmailTimeOutPeriod()), "120", 1},
        {"MaxQueries 5", GET(getMaxQueries()), "10", 0},
        {"MaxQueriesLimit 50", GET(getMaxQueries()), "50", 0},
        {"maxqueries 50", GET(getMaxQueries()), "10000", 0},
        {"MinPepLenInPepSummary 10", GET(getMinPepLenInPepSummary()), "5", 0},
        {"ProteinsInResultsFile 0", GET(getProteinsInResultsFile()), "2", 1},
        {"MinPeakIteration 11", GET(getMinPeakIteration()), "1", 1},
        {"Mudpit", GET(getMudpit()), "1000", 1},
        {"Mudpit 7", GET(getMudpit()), "7", 0},
        {"Mudpit 7\nMudpit x", GET(getMudpit()), "7", 1},
        {"MinPepLenInSearch 4\nMinPepLenInSearch", GET(getMinPepLenInSearch()), "3", 1},
        {"MaxPepNumVarMods x", GET(getMaxPepNumVarMods()), "5", 1},
        {"UnixWebUserGroup 99999999999", GET(getUnixWebUserGroup()), "2147483647", 0},
        {"LastQueryAscFile ../logs/x.asc tail", GET(getLastQueryAscFile()), "../logs/x.asc", 0},
        {"LastQueryAscFile", GET(getLastQueryAscFile()), "../logs/lastquery.asc", 1},
        {"LastQueryAscFile:../x", GET(getLastQueryAscFile()), "../logs/lastquery.asc", 1},
        {"LastQueryAscFile: ../x", GET(getLastQueryAscFile()), "../x", 0},
        {"sendmailPath", GET(getSendmailPath()), "/usr/lib/sendmail", 1},
        {"EmailService", GET(getEmailService()), "", 0},
        {"proxy_server proxy:8080", GET(getProxyServer()), "proxy:8080", 0},
        {"EmailProfile  :\tMS Exchange Settings", GET(getEmailProfile()), "MS Exchange Settings", 0},
        {"NTIUserGroup Internet Guests", GET(getNTIUserGroup()), "Internet Guests", 0},
        {"NTIUserGroup", GET(getNTIUserGroup()), "Guests", 1},
        {"NTMonitorGroup ::", GET(getNTMonitorGroup()), "Administrators", 1},
        {"QuorixMessage Down for maintenance at 5", GET(getQuorixMessage()), "Down for maintenance at 5", 0},
        {"FutureOption  :  7", GET(getMaxQueries()), "10000", 0},
    });
}

TEST(OptionsSection, MaxSequenceLenSetsMaxNumPeptides)
{
    run({
        {"MaxSequenceLen 40000", GET(getMaxNumPeptides()), "10000", 0},
        {"MaxSequenceLen 0", GET(getMaxNumPeptides()), "12500", 1},
        {"MaxSequenceLen 40000\nMaxNumPeptides 0", GET(getMaxNumPeptides()), "10000", 1},
        {"MaxSequenceLen 40000\nMaxNumPeptides 7", GET(getMaxNumPeptides()), "7", 0},
        {"MaxNumPeptides 7\nMaxSequenceLen 40000", GET(getMaxNumPeptides()), "10000", 0},
        {"MaxNumPeptides -3", GET(getMaxNumPeptides()), "12500", 1},
    });
}

TEST(OptionsSection, Floats)
{
    run({
        {"CentroidWidth 0.5", GET(getCentroidWidth()), "0.5", 0},
        {"CentroidWidth 10", GET(getCentroidWidth()), "0.25", 1},
        {"CentroidWidth 0.5\nCentroidWidth -1", GET(getCentroidWidth()), "0.5", 1},
        {"CentroidWidth 0.5\nCentroidWidth", GET(getCentroidWidth()), "0.25", 0},
        {"Vmemory 2048.9", GET(getVmemory()), "2048", 0},
        {"Vmemory -2", GET(getVmemory()), "-1", 1},
        {"Vmemory 1e30", GET(getVmemory()), "9223372036854775807", 0},
        {"SigThreshold 0.01", GET(getSigThreshold()), "0.01", 0},
        {"SigThreshold -0.1", GET(getSigThreshold()), "0.05", 1},
        {"IgnoreIonsScoreBelow 0.1", GET(getIgnoreIonsScoreBelow()), "0.1", 0},
        {"IgnoreIonsScoreBelow -1", GET(getIgnoreIonsScoreBelow()), "0", 1},
        {"FeatureTableMinScore 0", GET(getFeatureTableMinScore()), "13", 1},
        {"FeatureTableMinScore 20.5", GET(getFeatureTableMinScore()), "20.5", 0},
        {"ShowSubsets 1", GET(getShowSubsets()), "1", 0},
        {"ShowSubsets 2", GET(getShowSubsets()), "0", 0},
        {"UnixDirPerm 755", GET(getUnixDirPerm()), "493", 0},
        {"UnixDirPerm", GET(isUnixDirPermDefined()), "true", 0},
        {"UnixDirPerm x", GET(getUnixDirPerm()), "511", 0},
    });
}

TEST(OptionsSection, SpecialValues)
{
    run({
        {"EmailFromTextName \"Quorix server\"", GET(getEmailFromTextName()), "Quorix server", 0},
        {"EmailFromTextName 'Quorix'", GET(getEmailFromTextName()), "Quorix", 0},
        {"EmailFromTextName Quorix \"server\"", GET(getEmailFromTextName()), "Quorix \"server\"", 0},
        {"EmailFromTextName \"", GET(getEmailFromTextName()), "", 0},
        {"EmailFromTextName " + std::string(300, 'n'), GET(getEmailFromTextName()), std::string(256, 'n'), 0},
        {"ICATFilter: CK:x", GET(getICATFilter()), "CK", 0},
        {"TaxBrowserURL http://tax.example/cgi", GET(getTaxBrowserURL()), "http", 0},
        {"TaxBrowserURL ../cgi/tax.pl", GET(getTaxBrowserURL()), "../cgi/tax.pl", 0},
        {"SortUnassigned queryup", GET(getSortUnassigned()), "queryup", 0},
        {"SortUnassigned bytitle", GET(getSortUnassigned()), "scoredown", 0},
        {"IgnoreDupeAccessions EST_a, EST_b\tEST_c", GET(getIgnoreDupeAccessions()), "EST_a,EST_b,EST_c", 0},
        {"IgnoreDupeAccessions", GET(getIgnoreDupeAccessions()), "", 0},
        {"ReportNumberChoices AUTO,10,50", GET(getReportNumberChoices()), "-1,10,50", 0},
        {"ReportNumberChoices 5\nReportNumberChoices auto", GET(getReportNumberChoices()), "5,-1", 0},
        {"ReportNumberChoices 0", GET(getReportNumberChoices()), "10", 1},
        {"ReportNumberChoices 20,-5,0", GET(getReportNumberChoices()), "20,10,0", 1},
        {"ReportNumberChoices", GET(getReportNumberChoices()), "", 1},
        {"ReportNumberChoices 10, x, 20", GET(getReportNumberChoices()), "10", 1},
        {"ReviewColWidths 1,200", GET(getReviewColWidths()[0]), "7", 1},
        {"ReviewColWidths 1,200", GET(getReviewColWidths()[1]), "200", 1},
        {"ReviewColWidths 2 300 x", GET(getReviewColWidths()[2]), "8", 1},
        {"ReviewColWidths 9,9,9,9,9,9,9,9,9,9,9,9,9,9,9,1", GET(getReviewColWidths()[14]), "9", 0},
        {"PrecursorCutOut -1", GET(getPrecursorCutOutHigh()), "-1", 0},
        {"PrecursorCutOut -1.005", GET(getPrecursorCutOutLow()), "-1.005", 0},
        {"PrecursorCutOut 100", GET(getPrecursorCutOutLow()), "-1", 1},
        {"PrecursorCutOut 100,200", GET(getPrecursorCutOutLow()), "100", 0},
        {"PrecursorCutOut 100,200", GET(getPrecursorCutOutHigh()), "200", 0},
        {"PrecursorCutOut 100, 100", GET(getPrecursorCutOutHigh()), "100", 0},
        {"PrecursorCutOut 200,100", GET(getPrecursorCutOutHigh()), "-1", 1},
        {"PrecursorCutOut 100,,200", GET(getPrecursorCutOutHigh()), "-1", 1},
        {"PrecursorCutOut x", GET(getPrecursorCutOutLow()), "-1", 1},
    });
}

TEST(OptionsSection, BlastAccession)
{
    struct Case {
        std::string value;
        bool regex;
        std::string start, end;
        int field;
        bool reported;
    };
    const std::string long254(254, 's'), long255(255, 's');
    const std::vector<Case> cases = {
        {"( ),(| ),(3)", false, " ", "| ", 3, false},
        {"(gi|),(|),(2)", false, "gi|", "|", 2, false},
        {"REGEX", true, " ", "| ", 3, false},
        {"regex anything", true, " ", "| ", 3, false},
        {"", false, " ", "| ", 3, false},
        {"(a),(b)", false, "a", "| ", 3, true},
        {"(a),(b),(x)", false, "a", "b", 3, true},
        {"a),(b),(1)", false, " ", "| ", 3, true},
        {"(" + long254 + "),(e),(4)", false, long254, "e", 4, false},
        {"(" + long255 + "),(e),(4)", false, " ", "| ", 3, true},
        {"(a),(" + long255 + "),(4)", false, "a", "| ", 3, true},
    };
    for (const Case& c : cases) {
        qx_datfile dat;
        readInto("Options\nGetSeqBlastAccession " + c.value + "\nend\n", dat);
        const qx_blastaccession& blast = dat.getQuorixOptions().getGetSeqBlastAccession();
        SCOPED_TRACE(c.value);
        EXPECT_EQ(blast.getUseRegex(), c.regex);
        EXPECT_EQ(blast.getStartChars(), c.start);
        EXPECT_EQ(blast.getEndChars(), c.end);
        EXPECT_EQ(blast.getFieldNumber(), c.field);
        EXPECT_EQ(codes(dat.getErrorRepository()), c.reported ? "1542;" : "");
        EXPECT_EQ(dat.getQuorixOptions().getValue(0), c.value) << "the line stays whole";
    }
}

TEST(OptionsSection, MessagesAndLinesThatStay)
{
    qx_datfile dat;
    std::string path = readInto("Options\nMaxSequenceLen -5  \nICATFilter ::\nmaxqueries 5\nMaxQueries 5\nend\n", dat);
    EXPECT_EQ(codes(dat.getErrorRepository()), "1542;1568;");
    EXPECT_EQ(dat.getErrorRepository().getMessage(1),
              "Error in line in Options section of the configuration file " + path + ": MaxSequenceLen -5");
    EXPECT_EQ(dat.getErrorRepository().getMessage(2),
              "Empty ICAT filter is not allowed. Specify simply 'C' if you are not sure.");
    EXPECT_EQ(dat.getQuorixOptions().getICATFilter(), "C");
    EXPECT_EQ(qxtestfiles::lfText(qxtestfiles::readAndSave("Options\nMaxSequenceLen -5  \nICATFilter ::\nmaxqueries 5\nMaxQueries 5\nend\n")),
              "Options\nMaxSequenceLen -5\nICATFilter ::\nmaxqueries 5\nMaxQueries 5\nend\n");
}

TEST(OptionsSection, SettersChangeMemberAndLine)
{
    qx_datfile dat;
    readInto("Options\nForkForUnixApache 0\nNTIUserGroup Guests\nend\n", dat);
    qx_quorixoptions& o = dat.getQuorixOptions();
    o.setForkForUnixApache(true);
    o.setNTIUserGroup("Users");
    o.setNTMonitorGroup("Administrators");
    o.setResultsFullURL("http://host/quorix/cgi/master_results.pl");
    EXPECT_TRUE(o.getForkForUnixApache());
    EXPECT_EQ(o.getNTIUserGroup(), "Users");
    EXPECT_EQ(o.getResultsFullURL(), "http://host/quorix/cgi/master_results.pl");
    std::string out = qxtestfiles::tempPath("setters.dat");
    dat.setFileName(out);
    ASSERT_TRUE(dat.save());
    EXPECT_EQ(qxtestfiles::lfText(qxtestfiles::readBytes(out)),
              "Options\nForkForUnixApache 1\nNTIUserGroup Users\nNTMonitorGroup Administrators\n"
              "ResultsFullURL http://host/quorix/cgi/master_results.pl\nend\n");
}
