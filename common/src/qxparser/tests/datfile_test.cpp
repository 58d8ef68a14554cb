#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orvane/qx_datfile.h"
#include "qx_text.h"
#include "test_files.h"

using namespace orvane;
using qxtestfiles::lfText;
using qxtestfiles::readAndSave;

namespace {

std::string roundTrip(const std::string& text)
{
    return lfText(readAndSave(text));
}

std::string readMessages(const std::string& text, qx_datfile& dat)
{
    std::string path = qxtestfiles::tempPath("messages.dat");
    qxtestfiles::writeBytes(path, text);
    dat.setFileName(path);
    dat.read();
    std::string out;
    const qx_errorlist& list = dat.getErrorRepository();
    for (int n = 1; n <= list.getMessageCount(); ++n) out += std::to_string(list.getErrorNumber(n)) + ";";
    return out;
}

}  // namespace

TEST(LineKinds, EndBlankAndCommentLines)
{
    using namespace qxparser_internal;
    struct Case {
        const char* line;
        bool end;
        bool blank;
    };
    const Case cases[] = {
        {"end", true, false},       {"END", true, false},       {"End of section", true, false},
        {"end ", true, false},      {"end\r", true, false},     {"ending", false, false},
        {"end,", false, false},     {"end\t", false, false},    {"endpoint 1", false, false},
        {"en", false, false},       {"", false, true},          {" \t\x1a", false, true},
        {"  \rx", false, true},     {"\x1a x", false, false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(isEndLine(c.line), c.end) << c.line;
        EXPECT_EQ(isBlankLine(c.line), c.blank) << c.line;
    }
    EXPECT_TRUE(isCommentLine("#x"));
    EXPECT_FALSE(isCommentLine(" #x"));
}

TEST(DatFile, SavesSectionsInTheFixedOrderWithCommentsAtTheirPlaces)
{
    const std::string in =
        "# head comment\n"
        "Cron\nCronEnable 1\nend\n"
        "# before options\n"
        "Options\nFutureOption  :  7\n  # inside\n   \nend\n"
        "Databases\nend\n"
        "# tail\n";
    EXPECT_EQ(roundTrip(in),
              "# head comment\n"
              "Databases\nend\n"
              "# before options\n"
              "Options\nFutureOption  :  7\n# inside\n\nend\n"
              "Cron\nCronEnable 1\nend\n"
              "# tail\n");
}

TEST(DatFile, HeadsAreMatchedByTheirLeadingCharactersInAnyCase)
{
    EXPECT_EQ(roundTrip("processors\nA=1\nend\nOPTIONSX\nB 2\nEND\nunigene\nend\ncluster extra\nend\n"),
              "Cluster\nend\nUniGene\nend\nProcessor\nA=1\nend\nOptions\nB 2\nend\n");
    EXPECT_EQ(roundTrip("www\nend\nparse\nend\ntaxonomy_3\nend\n"), "PARSE\nend\nWWW\nend\nTaxonomy_3\nend\n");
}

TEST(DatFile, LinesThatOnlyTheCutWouldMakeEndLinesKeepTheirBlanks)
{
    // Cut, these would be "end" and close the section when the saved file is read.
    for (const char* section : {"Options", "Cluster", "UniGene"}) {
        std::string in = std::string(section) + "\nend\t\nend\t\r\t\nA 1\t\nend\n";
        EXPECT_EQ(roundTrip(in), std::string(section) + "\nend\t\nend\t\r\t\nA 1\nend\n") << section;
    }
}

TEST(DatFile, SectionWithoutEndLineSwallowsTheRest)
{
    EXPECT_EQ(roundTrip("Options\nA 1\nDatabases\nB 2\n"), "Options\nA 1\nDatabases\nB 2\nend\n");
}

TEST(DatFile, FilesSectionsVanishButKeepTheirCommentPlace)
{
    EXPECT_EQ(roundTrip("# one\nFiles\nmod ../config/mod_file\nend\n# two\nOptions\nend\n# three\nCron\nend\n"),
              "# one\nOptions\nend\n# two\nCron\nend\n# three\n");
    EXPECT_EQ(roundTrip("Options\nend\nFiles\nnever ends\n"), "Options\nend\n");
}

TEST(DatFile, LinesThatAreNoHeadAreDroppedButCloseTheCommentText)
{
    EXPECT_EQ(roundTrip("# a\ngarbage\n# b\nOptions\nend\nmore garbage\n"), "# a\nOptions\nend\n# b\n");
}

TEST(DatFile, StatusPageStopsTheReadAtOnce)
{
    qx_datfile dat;
    EXPECT_EQ(readMessages("Options\nA 1\nend\n# c\n<BODY><H1>Quorix search status page</H1><P>\nCron\nend\n", dat),
              "2307;");
    EXPECT_FALSE(dat.isValid());
    EXPECT_EQ(dat.getErrorRepository().getMessage(1),
              "The Quorix service is not running. Unable to retrieve configuration file.");
    EXPECT_TRUE(dat.getQuorixOptions().isAvailable());
    EXPECT_FALSE(dat.getCronOptions().isAvailable());
    // The head counts with its case, and only outside sections.
    qx_datfile other;
    EXPECT_EQ(readMessages("<body><h1>Quorix search status page</h1>\nOptions\n"
                           "<BODY><H1>Quorix search status page</H1>\nend\n", other), "6170;");
}

TEST(DatFile, TaxonomySectionsByNumber)
{
    qx_datfile dat;
    EXPECT_EQ(readMessages("Taxonomy_64\nA\nend\nTaxonomy_0\nB\nend\nTaxonomy_65\nC\nend\n"
                           "Taxonomy_-1\nend\nTaxonomy_x\nend\nTaxonomy_007\nD\nend\n",
                           dat),
              "1551;6170;1551;6170;1551;6170;") << "each refused section is named with its lines";
    for (int n = 0; n <= dat.getNumberOfTaxonomyRules(); ++n) {
        bool expected = n == 0 || n == 7 || n == 64;
        EXPECT_EQ(dat.getTaxonomyRules(n) != nullptr, expected) << n;
    }
    EXPECT_EQ(dat.getNumberOfTaxonomyRules(), 64);
    EXPECT_EQ(dat.getTaxonomyRules(65), nullptr);
    EXPECT_EQ(dat.getErrorRepository().getMessage(1),
              "Invalid entry in the configuration file " + dat.getFileName() + " - taxonomy section: Taxonomy_65");
    EXPECT_EQ(roundTrip("Taxonomy_64\nA\nend\nTaxonomy_007\nD\nend\nTaxonomy_65\nC\nend\n"),
              "Taxonomy_7\nD\nend\nTaxonomy_64\nA\nend\n");
}

TEST(DatFile, DuplicateTaxonomyLeavesItsLinesToTheTopLevel)
{
    qx_datfile dat;
    EXPECT_EQ(readMessages("Taxonomy_3\nA\nend\nTaxonomy_3\n# moved\nOptions\nX 1\nend\n", dat), "1567;");
    EXPECT_EQ(dat.getErrorRepository().getMessage(1), "A taxonomy rule with duplicate number 3 has been encountered");
    EXPECT_EQ(dat.getQuorixOptions().getValue(0), "1");
    EXPECT_EQ(roundTrip("Taxonomy_3\nA\nend\nTaxonomy_3\n# moved\nOptions\nX 1\nend\n"),
              "Taxonomy_3\nA\nend\nOptions\nX 1\nend\n# moved\n");
}

TEST(DatFile, LongLinesAreReadAndWrittenWhole)
{
    std::string longValue(3000, 'v');
    std::string in = "Options\nLong " + longValue + "\nAfter 1\nend\nCron\nend\n# " + longValue + "\n";
    EXPECT_EQ(roundTrip(in), in);
}

TEST(DatFile, MissingFileAndUnwritableTarget)
{
    qx_datfile dat(qxtestfiles::tempPath("absent.dat"));
    EXPECT_FALSE(dat.isValid());
    EXPECT_EQ(dat.getErrorRepository().getErrorNumber(1), qxerr::noQuorixDat);
    EXPECT_EQ(dat.getFileName(), "");

    dat.setFileName(qxtestfiles::tempPath("no/such/dir/q.dat"));
    EXPECT_FALSE(dat.save());
    EXPECT_EQ(dat.getErrorRepository().getErrorNumber(1), qxerr::openFile);
    EXPECT_EQ(dat.getErrorRepository().getMessageCount(), 1);
}

#ifdef __linux__
TEST(DatFile, FullDiskIsReportedAsAWriteFailure)
{
    qx_datfile dat;
    readAndSave("Options\nA 1\nend\n", dat);
    dat.setFileName("/dev/full");
    EXPECT_FALSE(dat.save());
    EXPECT_EQ(dat.getErrorRepository().getErrorNumber(1), qxerr::writeFile);
    const std::string head = "Failed to wtite to file '/dev/full' (file not open or disk full). OS returned";
    EXPECT_EQ(dat.getErrorRepository().getMessage(1).compare(0, head.size(), head), 0);
}
#endif

TEST(DatFile, ReadStartsOverAndResetKeepsTheName)
{
    qx_datfile dat;
    readAndSave("# c\nOptions\nA 1\nend\nTaxonomy_1\nend\n", dat);
    std::string path = qxtestfiles::tempPath("second.dat");
    qxtestfiles::writeBytes(path, "Cron\nend\n");
    dat.setFileName(path);
    dat.read();
    EXPECT_FALSE(dat.getQuorixOptions().isAvailable());
    EXPECT_EQ(dat.getQuorixOptions().lineCount(), 0);
    EXPECT_EQ(dat.getTaxonomyRules(1), nullptr);
    EXPECT_EQ(dat.getComments(), (std::vector<std::string>{""}));
    dat.reset();
    EXPECT_EQ(dat.getFileName(), path);
    EXPECT_FALSE(dat.getCronOptions().isAvailable());
    EXPECT_TRUE(dat.getComments().empty());
    EXPECT_EQ(dat.getQuorixFiles().getNodeListFile(), "../config/nodelist.txt");
}

TEST(DatFile, CopyFromIsDeepAndSectionSettersCarryAvailability)
{
    qx_datfile a;
    readAndSave("## top\nDatabases\n## db\nX p AA 1 1 1 1 1 0 0 1 2 0\nend\nTaxonomy_5\nT 1\nend\nOptions\nA 1\nend\n", a);
    qx_datfile b;
    b.getErrorRepository().addError(qxerr::noQuorixDat);
    b.copyFrom(a);
    EXPECT_TRUE(b.isValid());
    EXPECT_EQ(b.getFileName(), a.getFileName());
    ASSERT_NE(b.getTaxonomyRules(5), nullptr);
    EXPECT_NE(b.getTaxonomyRules(5), a.getTaxonomyRules(5));
    b.getTaxonomyRules(5)->setProperty("T", "2");
    EXPECT_EQ(a.getTaxonomyRules(5)->getValue(0), "1");
    EXPECT_EQ(b.getComments(), a.getComments());
    EXPECT_EQ(b.getDatabases().getNumberOfDatabases(), 1);
    EXPECT_TRUE(b.getDatabases().getComments().empty()) << "the Databases comments stay with their file";

    qx_datfile c;
    c.setQuorixOptions(a.getQuorixOptions());
    c.setTaxonomyRules(9, a.getTaxonomyRules(5));
    c.setFileName(qxtestfiles::tempPath("c.dat"));
    ASSERT_TRUE(c.save());
    EXPECT_EQ(lfText(qxtestfiles::readBytes(c.getFileName())), "Taxonomy_9\nT 1\nend\nOptions\nA 1\nend\n");
    c.setTaxonomyRules(9, nullptr);
    EXPECT_EQ(c.getTaxonomyRules(9), nullptr);
}

TEST(DatFile, SetterOfAKeyTheFileLacksAppendsBeforeTheEndLine)
{
    qx_datfile dat;
    readAndSave("Options\nA 1\n# note\nend\n", dat);
    dat.getQuorixOptions().setProperty("New", "v");
    dat.getQuorixOptions().setProperty("A", "2");
    std::string out = dat.getFileName();
    ASSERT_TRUE(dat.save());
    EXPECT_EQ(lfText(qxtestfiles::readBytes(out)), "Options\nA 2\n# note\nNew v\nend\n");
}

TEST(ReplacePlaceholders, FirstOccurrenceOfEachInValuesOnly)
{
    struct Case {
        const char* line;
        const char* url;
        const char* name;
        const char* value;
        const char* delimiter;
    };
    const Case cases[] = {
        {"Root ###ROOT###/a ###ROOT###/b", "u", "Root", "C:/Q/a ###ROOT###/b", " "},
        {"H http://###HOSTNAME###/###URL###", "quorix", "H", "http://host/quorix", " "},
        {"H ###URL###", "", "H", "###URL###", " "},
        {"###ROOT### ###ROOT###", "u", "", "C:/Q ###ROOT###", ""},
        {"Bare", "u", "Bare", "", ""},
        {"# ###ROOT### in a comment", "u", "", "# C:/Q in a comment", ""},
    };
    for (const Case& c : cases) {
        qx_quorixoptions options;
        options.parseLine(c.line);
        qx_datfile::replacePlaceholders(options, "C:/Q", "host", c.url);
        EXPECT_EQ(options.getName(0), c.name) << c.line;
        EXPECT_EQ(options.getValue(0), c.value) << c.line;
        EXPECT_EQ(options.getDelimiter(0), c.delimiter) << c.line;
    }
}
