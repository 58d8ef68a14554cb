#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orvane/qx_datfile.h"
#include "test_files.h"

using namespace orvane;

namespace {

const char kSwiss[] = "SwissProt SwissProt/SwissProt_*.fasta AA 1234 1 1 1 2 0 1 6 7 8 9";

// Reads a Databases section with the given body.
void readDatabases(const std::string& body, qx_datfile& dat)
{
    qxtestfiles::readAndSave("Databases\n" + body + "end\n", dat);
}

}  // namespace

TEST(DatabaseLine, ScansThirteenOrFourteenFields)
{
    struct Case {
        const char* text;
        int fields;
        const char* name;
        int threads;
        int taxonomy;
        bool hasRef;
        bool nucleic;
    };
    const Case cases[] = {
        {kSwiss, 14, "SwissProt", 2, 9, true, false},
        {"NCBInr nr/nr_*.fasta na 1234 1 1 1 4 0 1 6 7 8", 13, "NCBInr", 4, -1, true, true},
        {"EST est/x.fasta NA 1 1 1 0 1 0 1 6 7 8 3", 14, "EST", 1, -1, false, true},
        {"Short p AA 1 2 3", 6, "Short", 1, 0, false, false},
        {"ABCDEFGHIJKLMNOPQRST p AA 1 1 1 1 1 0 0 1 1 0 0", 3, "ABCDEFGHIJKLMNOPQRS", 1, 0, false, false},
        // Without a path the shifted columns still count fourteen, and come out wrong.
        {"ABCDEFGHIJKLMNOPQRST AA 1 1 1 1 4 0 0 1 1 0 0", 14, "ABCDEFGHIJKLMNOPQRS", 4, 0, false, false},
        {"Big p AAA 1 1 1 1 1 0 0 1 1 0 0", 3, "Big", 1, 0, false, false},
        {"Sat p AA 99999999999 1 1 1 1 0 0 1 1 0 0", 14, "Sat", 1, 0, false, false},
        {"Trail p AA 1 1 1 1 1 0 0 1 1 0 5x", 14, "Trail", 1, 5, false, false},
        {"", 0, "", 1, 0, false, false},
    };
    for (const Case& c : cases) {
        qx_databaseoptions entry;
        std::string nameRead = "unset";
        EXPECT_EQ(entry.readLine(c.text, true, &nameRead), c.fields) << c.text;
        EXPECT_EQ(nameRead, c.name) << c.text;
        bool taken = c.fields == 13 || c.fields == 14;
        EXPECT_EQ(entry.getLineText(), taken ? c.text : "") << c.text;
        EXPECT_EQ(entry.getThreads(), c.threads) << c.text;
        EXPECT_EQ(entry.getTaxonomyRule(), c.taxonomy) << c.text;
        EXPECT_EQ(entry.getHasAccessionRefRule(), c.hasRef) << c.text;
        EXPECT_EQ(entry.isNucleic(), c.nucleic) << c.text;
    }
    qx_databaseoptions sat;
    sat.readLine("Sat p AA 99999999999 -99999999999 1 1 1 0 0 1 1 0 0", true);
    EXPECT_EQ(sat.getColumn4(), 2147483647);
    EXPECT_EQ(sat.getColumn5(), -2147483647 - 1);
}

TEST(DatabaseLine, SettersRebuildTheCanonicalLine)
{
    qx_databaseoptions entry;
    entry.readLine("NCBInr  nr/nr_*.fasta   AA 1234 1 1 1 4 0 1 6 7 8", true);
    entry.setThreads(8);
    EXPECT_EQ(entry.getLineText(), "NCBInr\tnr/nr_*.fasta\tAA\t1234\t1\t1\t1\t8\t0\t1\t6\t7\t8\t-1");
    entry.setPath("p");
    entry.setAccessionRule(1);
    entry.setDescriptionRule(2);
    entry.setAccessionRefRule(3);
    entry.setTaxonomyRule(4);
    EXPECT_EQ(entry.getLineText(), "NCBInr\tp\tAA\t1234\t1\t1\t1\t8\t0\t1\t1\t2\t3\t4");

    entry.setActive(false);
    EXPECT_EQ(entry.getLineText(), "NCBInr\tp\tAA\t1234\t1\t1\t1\t8\t0\t1\t1\t2\t3\t4");

    qx_databaseoptions off;
    off.readLine("Off p NA 5 6 0 0 1 1 1 1 2 3 4", false);
    off.setThreads(2);
    EXPECT_EQ(off.getLineText(), "Off\tp\tNA\t5\t6\t0\t0\t2\t1\t0\t1\t2\t3\t-1");

    qx_databaseoptions unnamed;
    unnamed.setThreads(3);
    EXPECT_EQ(unnamed.getLineText(), "");
}

TEST(DatabasesSection, EntriesAndTheCommentsInFrontOfThem)
{
    struct Case {
        const char* name;
        std::string body;
        std::vector<std::string> entries;  // name, with '-' in front if inactive
        std::vector<std::string> comments;
    };
    const std::string s = kSwiss;
    const Case cases[] = {
        {"hash before the name: inactive", "#" + s + "\n", {"-SwissProt"}, {""}},
        {"note behind a hash stays a comment", "# this is a note\n" + s + "\n", {"SwissProt"}, {"# this is a note"}},
        {"double hash is a comment", "##" + s + "\n", {}, {"##" + s}},
        {"two comment lines stay together", "## a\n## b\n" + s + "\n", {"SwissProt"}, {"## a\n## b"}},
        {"blank line between comment and entry stays", "## a\n\n" + s + "\n", {"SwissProt"}, {"## a\n"}},
        {"blank line with no comment is dropped", "\n  \n" + s + "\n", {"SwissProt"}, {""}},
        {"lone hash is an empty comment line", "## a\n#\n## b\n" + s + "\n", {"SwissProt"}, {"## a\n\n## b"}},
        {"comment behind the last entry", s + "\n## tail\n", {"SwissProt"}, {"", "## tail"}},
        {"only comments", "## x\n", {}, {"## x"}},
        {"short active line is lost", "Bad p AA 1\n" + s + "\n", {"SwissProt"}, {""}},
        {"short inactive line is a comment", "#Bad p AA 1\n" + s + "\n", {"SwissProt"}, {"#Bad p AA 1"}},
        {"trailing blanks are cut", s + "  \t\n", {"SwissProt"}, {""}},
    };
    for (const Case& c : cases) {
        qx_datfile dat;
        readDatabases(c.body, dat);
        const qx_databases& dbs = dat.getDatabases();
        std::vector<std::string> names;
        for (int i = 0; i < dbs.getNumberOfDatabases(); ++i) {
            const qx_databaseoptions* e = dbs.getDatabase(i);
            names.push_back((e->isActive() ? "" : "-") + e->getName());
            EXPECT_EQ(e->getLineText().find_first_of("\r\n"), std::string::npos);
        }
        EXPECT_EQ(names, c.entries) << c.name;
        EXPECT_EQ(dbs.getComments(), c.comments) << c.name;
    }
}

TEST(DatabasesSection, ShortActiveLineReportsWithTheNameRead)
{
    qx_datfile dat;
    std::string path = qxtestfiles::tempPath("short.dat");
    qxtestfiles::writeBytes(path, "Databases\nBad p AA 1\n   \t\nend\n");
    dat.setFileName(path);
    EXPECT_TRUE(dat.read());
    EXPECT_EQ(dat.getErrorRepository().getMessageCount(), 1);
    EXPECT_EQ(dat.getErrorRepository().getMessage(1),
              "Error in the configuration file " + path + " - database Bad doesn't have enough parameters");
}

TEST(DatabasesSection, InactiveLinesGainABlankAtEachSave)
{
    std::string once = qxtestfiles::lfText(qxtestfiles::readAndSave(std::string("Databases\n#") + kSwiss + "\nend\n"));
    EXPECT_EQ(once, std::string("Databases\n# ") + kSwiss + "\nend\n");
    std::string twice = qxtestfiles::lfText(qxtestfiles::readAndSave(once));
    EXPECT_EQ(twice, std::string("Databases\n#  ") + kSwiss + "\nend\n");
}

TEST(Databases, FindAppendUpdateAndCopy)
{
    qx_datfile dat;
    readDatabases(std::string("## c\n#") + kSwiss + "\nNCBInr nr AA 1 1 1 1 1 0 0 1 2 0\n", dat);
    qx_databases& dbs = dat.getDatabases();
    EXPECT_EQ(dbs.findDatabase("SwissProt", false), -1);
    EXPECT_EQ(dbs.findDatabase("SwissProt", true), 0);
    EXPECT_EQ(dbs.findDatabase("swissprot", true), -1);
    EXPECT_EQ(dbs.findDatabase("NCBInr", false), 1);
    EXPECT_EQ(dbs.findDatabase("", true), -1);
    EXPECT_EQ(dbs.findDatabase(nullptr, true), -1);

    qx_databaseoptions extra;
    extra.readLine("Extra p AA 1 1 1 1 1 0 0 1 2 0", true);
    EXPECT_FALSE(dbs.updateDatabase(2, extra));
    EXPECT_FALSE(dbs.updateDatabase(-1, extra));
    dbs.appendDatabase(extra);
    EXPECT_EQ(dbs.getNumberOfDatabases(), 3);
    EXPECT_EQ(dbs.getComments().size(), 2u) << "appending leaves the comments alone";
    EXPECT_TRUE(dbs.updateDatabase(0, extra));
    EXPECT_EQ(dbs.getDatabase(0)->getName(), "Extra");
    EXPECT_EQ(dbs.getDatabase(3), nullptr);

    // A copy takes entries and availability, never the source's comments.
    qx_databases fresh(dbs);
    EXPECT_TRUE(fresh.isAvailable());
    EXPECT_EQ(fresh.getNumberOfDatabases(), 3);
    EXPECT_TRUE(fresh.getComments().empty());
    fresh.getDatabase(0)->setThreads(5);
    EXPECT_EQ(dbs.getDatabase(0)->getThreads(), 1) << "entries are copied, not shared";

    qx_datfile other;
    readDatabases("## mine\n## more\n", other);
    other.getDatabases() = dbs;
    EXPECT_EQ(other.getDatabases().getComments(), (std::vector<std::string>{"## mine\n## more"}));
    EXPECT_EQ(other.getDatabases().getNumberOfDatabases(), 3);

    dbs.reset();
    EXPECT_FALSE(dbs.isAvailable());
    EXPECT_EQ(dbs.getNumberOfDatabases(), 0);
    EXPECT_TRUE(dbs.getComments().empty());
}
