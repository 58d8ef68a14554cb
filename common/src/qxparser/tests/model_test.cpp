// What the case files can't say: the setters, copies and lookups callers use,
// includes and files beside quorix.dat, and failing files.
#include <gtest/gtest.h>

#ifndef _WIN32
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#endif

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "orvane/qx_datfile.h"
#include "test_files.h"

namespace fs = std::filesystem;
using namespace orvane;
using namespace qxtestfiles;

namespace {

std::string entries(const qx_customproperty& p)
{
    std::string out;
    for (int i = 0; i < p.lineCount(); ++i) out += "[" + p.getName(i) + "|" + p.getDelimiter(i) + "|" + p.getValue(i) + "]";
    return out;
}

std::string saved(qx_datfile& dat)
{
    dat.setFileName(tempPath("model-saved.dat"));
    EXPECT_TRUE(dat.save());
    return lfText(readBytes(dat.getFileName()));
}

std::string message(const qx_datfile& dat, int n) { return dat.getErrorRepository().getMessage(n); }

}  // namespace

TEST(CustomProperty, SetUncommentAndCopy)
{
    // Direct callers' lines keep their trailing blanks; the reader cuts them before.
    for (const auto& [line, expected] : {std::pair{"Key\tvalue with blanks  ", "[Key|\t|value with blanks  ]"}, {"Key   ", "[Key|   |]"}, {"  \tKey value\r\n", "[Key| |value]"}}) {
        qx_customproperty p;
        p.parseLine(line);
        EXPECT_EQ(entries(p), expected) << line;
    }
    qx_customproperty p;
    p.parseLine(static_cast<const char*>(nullptr));
    EXPECT_EQ(entries(p), "[||]");
    p.clearLines();
    p.setDefaultDelimiter(nullptr);
    EXPECT_EQ(p.getDefaultDelimiter(), " ");
    p.setDefaultDelimiter("\t");
    for (const char* l : {"Bare", "Key : old", "# comment", "A 1", "A 2"}) p.parseLine(l);
    p.parseLine("Front 0", true);
    for (int i : {1, 2, 3, 7}) p.setValue(i, i == 3 ? "# other" : "x");
    p.setProperty("A", "9");
    p.setProperty("a", "lower");
    p.setBoolProperty("Flag", true, true);
    p.setBoolProperty("Flag", false);
    EXPECT_EQ(entries(p), "[Flag|\t|0][Front| |0][Bare|\t|x][Key| : |x][||# other][A| |9][A| |2][a|\t|lower]");
    EXPECT_EQ(p.findName("A", 6), 6);
    EXPECT_EQ(p.findName("A", 7), -1);
    p.removeProperty("A");
    qx_customproperty copy;
    copy.copyLines(p);
    EXPECT_EQ(entries(copy), "[Flag|\t|0][Front| |0][Bare|\t|x][Key| : |x][||# other][a|\t|lower]");
    EXPECT_EQ(copy.getDefaultDelimiter(), "\t");
    const std::tuple<const char*, const char*, bool, const char*> commented[] = {
        {"#Key value", nullptr, true, "[Key| |value]"}, {"## \t Key value more", nullptr, true, "[Key| |value more]"},
        {"#Key=value", "=", true, "[Key|=|value]"},      {"#KeyOnly", nullptr, false, "[||#KeyOnly]"},
        {"#", nullptr, false, "[||#]"},
    };
    for (const auto& [line, delimiter, result, expected] : commented) {
        qx_customproperty c;
        c.parseLine(line);
        EXPECT_EQ(c.uncomment(0, delimiter), result) << line;
        EXPECT_EQ(entries(c), expected) << line;
    }
    EXPECT_FALSE(qx_customproperty().uncomment(0));
}

TEST(Sections, SettersWriteTheirLines)
{
    qx_datfile dat;
    readInto("Cluster\nEnabled 1\nDefaultNodeOS Linux\n# DefaultNodeHomeDirFromMaster x\nend\n"
             "Options\nForkForUnixApache 0\nNTIUserGroup Guests\nA 1\n# note\nend\n",
             dat);
    qx_clusterparams& c = dat.getClusterParams();
    c.setEnabled(false);
    c.setDefaultNodeOS(QX_OS_WINDOWS_NT);
    c.setDefaultNodeOS(9);
    c.setDefaultNodeHomeDir("C:/QuorixNode");
    EXPECT_EQ(c.getDefaultNodeOS(), 9);
    qx_quorixoptions& o = dat.getQuorixOptions();
    o.setForkForUnixApache(true);
    o.setNTIUserGroup("Users");
    o.setNTMonitorGroup("Administrators");
    o.setResultsFullURL("http://host/quorix/cgi/master_results.pl");
    o.setProperty("A", "2");
    EXPECT_TRUE(o.getForkForUnixApache());
    EXPECT_EQ(o.getNTIUserGroup() + o.getResultsFullURL(), "Usershttp://host/quorix/cgi/master_results.pl");
    qx_wwwentry entry;
    entry.databaseName = "SwissProt";
    entry.type = QX_WWW_REP;
    entry.number = 3;
    entry.path = "/cgi/x.pl";
    dat.getWWWOptions().addWWWEntry(entry);
    qx_parserule rule;
    rule.setActive(true);
    rule.setPattern(">\\(.*\\)");
    qx_parseoptions& parse = dat.getParseOptions();
    parse.setRule(5, rule);
    parse.setRule(5, rule);
    parse.setRule(7, rule);
    parse.setRule(7, qx_parserule());
    parse.setRule(256, rule);
    parse.setRule(-1, rule);
    EXPECT_FALSE(parse.getRule(7).isActive() || parse.getRule(256).isActive());
    EXPECT_EQ(entries(dat.getWWWOptions()) + entries(parse),
              "[SwissProt_REP|\t|\"3\"\t\"localhost\"\t\"80\"\t\"/cgi/x.pl\"][RULE_5|\t|\">\\(.*\\)\"]");
    EXPECT_EQ(saved(dat),
              "Cluster\nEnabled 0\nDefaultNodeOS Windows_NT\n# DefaultNodeHomeDirFromMaster x\n"
              "DefaultNodeHomeDir C:/QuorixNode\nend\nOptions\nForkForUnixApache 1\nNTIUserGroup Users\nA 2\n# note\n"
              "NTMonitorGroup Administrators\nResultsFullURL http://host/quorix/cgi/master_results.pl\nend\n");
    EXPECT_STREQ(qx_clusterparams::nodeOSName(7), "LinuxAlpha");
    EXPECT_EQ(qx_clusterparams::nodeOSName(9), nullptr);
}

TEST(Sections, FindOrAddRule)
{
    std::vector<std::pair<int, std::string>> full;
    for (int n = 1; n <= 255; ++n) full.emplace_back(n, "r" + std::to_string(n));
    const std::tuple<std::vector<std::pair<int, std::string>>, int, bool> cases[] = {
        {{}, 1, true}, {{{0, "x"}}, 1, true}, {{{1, "a"}, {4, "x"}}, 4, false}, {{{3, "x"}, {9, "x"}}, 9, false},
        {{{1, "a"}, {2, "b"}, {4, "c"}}, 3, true}, {full, -1, false},
    };
    for (const auto& [defined, result, added] : cases) {
        qx_parseoptions parse;
        for (auto& [n, text] : defined) {
            qx_parserule rule;
            rule.setActive(true);
            rule.setPattern(text);
            parse.setRule(n, rule);
        }
        bool wasAdded = !added;
        EXPECT_EQ(parse.findOrAddRule("x", wasAdded), result) << defined.size();
        EXPECT_EQ(wasAdded, added) << defined.size();
        if (added) { EXPECT_EQ(parse.getValue(parse.findName("RULE_" + std::to_string(result))), "\"x\""); }
    }
}

TEST(Databases, SettersFindAppendUpdateAndCopy)
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
    entry.setActive(false);
    EXPECT_EQ(entry.getLineText(), "NCBInr\tp\tAA\t1234\t1\t1\t1\t8\t0\t1\t1\t2\t3\t4");
    qx_databaseoptions off, unnamed;
    EXPECT_EQ(off.readLine("Off p NA 5 6 0 0 1 1 1 1 2 3 4", false), 14);
    off.setThreads(2);
    EXPECT_EQ(off.getLineText(), "Off\tp\tNA\t5\t6\t0\t0\t2\t1\t0\t1\t2\t3\t-1");
    unnamed.setThreads(3);
    EXPECT_EQ(unnamed.getLineText(), "");

    qx_datfile dat;
    readInto("Databases\n## c\n#Off p AA 1 1 1 1 1 0 0 1 2 0\nNCBInr nr AA 1 1 1 1 1 0 0 1 2 0\nend\n", dat);
    qx_databases& dbs = dat.getDatabases();
    const std::pair<const char*, bool> finds[] = {{"Off", false}, {"Off", true}, {"off", true}, {"NCBInr", false}, {"", true}};
    std::string found;
    for (const auto& [name, inactive] : finds) found += std::to_string(dbs.findDatabase(name, inactive)) + ",";
    EXPECT_EQ(found + std::to_string(dbs.findDatabase(nullptr, true)), "-1,0,-1,1,-1,-1");
    EXPECT_FALSE(dbs.updateDatabase(2, off) || dbs.updateDatabase(-1, off));
    dbs.appendDatabase(off);
    EXPECT_TRUE(dbs.updateDatabase(0, entry));
    EXPECT_EQ(dbs.getDatabase(0)->getName() + std::to_string(dbs.getNumberOfDatabases()), "NCBInr3");
    EXPECT_EQ(dbs.getComments().size(), 2u) << "appending leaves the comments alone";
    EXPECT_EQ(dbs.getDatabase(3), nullptr);
    // A copy takes entries and availability, never the source's comments.
    qx_databases fresh(dbs);
    EXPECT_TRUE(fresh.isAvailable() && fresh.getComments().empty());
    fresh.getDatabase(0)->setThreads(5);
    EXPECT_EQ(dbs.getDatabase(0)->getThreads(), 8) << "entries are copied, not shared";
    qx_datfile other;
    readInto("Databases\n## mine\nend\n", other);
    other.getDatabases() = dbs;
    EXPECT_EQ(other.getDatabases().getComments(), (std::vector<std::string>{"## mine"}));
    EXPECT_EQ(other.getDatabases().getNumberOfDatabases(), 3);
    dbs.reset();
    EXPECT_FALSE(dbs.isAvailable() || dbs.getNumberOfDatabases() || !dbs.getComments().empty());
}

TEST(DatFile, CopiesResetAndRereads)
{
    qx_datfile a;
    readInto("## top\nDatabases\n## db\nX p AA 1 1 1 1 1 0 0 1 2 0\nend\nTaxonomy_5\nT 1\nRULE_a NCBI CHOP:P \"\\(a\\)\"\nend\n"
             "Options\nA 1\nend\n",
             a);
    qx_datfile b;
    b.getErrorRepository().addError(qxerr::noQuorixDat);
    b.copyFrom(a);
    EXPECT_TRUE(b.isValid());
    EXPECT_EQ(b.getFileName(), a.getFileName());
    ASSERT_NE(b.getTaxonomyRules(5), nullptr);
    EXPECT_NE(b.getTaxonomyRules(5)->getRules()[0].getRule().getCompiled(),
              a.getTaxonomyRules(5)->getRules()[0].getRule().getCompiled());
    EXPECT_TRUE(b.getTaxonomyRules(5)->getRules()[0].getRule().isCompiled());
    b.getTaxonomyRules(5)->setProperty("T", "2");
    EXPECT_EQ(a.getTaxonomyRules(5)->getValue(0), "1");
    EXPECT_EQ(b.getComments(), a.getComments());
    EXPECT_TRUE(b.getDatabases().getComments().empty()) << "the Databases comments stay with their file";
    qx_datfile c;
    c.setQuorixOptions(a.getQuorixOptions());
    c.setTaxonomyRules(9, a.getTaxonomyRules(5));
    EXPECT_EQ(saved(c), "Taxonomy_9\nT 1\nRULE_a NCBI CHOP:P \"\\(a\\)\"\nend\nOptions\nA 1\nend\n");
    c.setTaxonomyRules(9, nullptr);
    EXPECT_EQ(c.getTaxonomyRules(9), nullptr);
    qx_taxonomyrules rules(*a.getTaxonomyRules(5));
    rules.defaultValues();
    EXPECT_TRUE(rules.getRules().empty() && rules.getConcatRefFileLines());

    // A read starts over; reset keeps the name.
    std::string path = readInto("Cron\nend\n", a);
    EXPECT_FALSE(a.getQuorixOptions().isAvailable() || a.getQuorixOptions().lineCount());
    EXPECT_EQ(a.getTaxonomyRules(5), nullptr);
    EXPECT_EQ(a.getComments(), (std::vector<std::string>{""}));
    a.reset();
    EXPECT_EQ(a.getFileName(), path);
    EXPECT_FALSE(a.getCronOptions().isAvailable());
    EXPECT_TRUE(a.getComments().empty());
    EXPECT_EQ(a.getQuorixFiles().getNodeListFile(), "../config/nodelist.txt");
    EXPECT_EQ(a.getTaxonomyRules(65), nullptr);
}

TEST(DatFile, MissingFileAndFailedSaves)
{
    qx_datfile dat(tempPath("absent.dat"));
    EXPECT_FALSE(dat.isValid());
    EXPECT_EQ(dat.getErrorRepository().getErrorNumber(1), qxerr::noQuorixDat);
    EXPECT_EQ(dat.getFileName(), "");
    dat.setFileName(tempPath("no/such/dir/q.dat"));
    EXPECT_FALSE(dat.save());
    EXPECT_EQ(dat.getErrorRepository().getErrorNumber(1), qxerr::openFile);
    EXPECT_EQ(dat.getErrorRepository().getMessageCount(), 1);
#ifdef __linux__
    readInto("Options\nA 1\nend\n", dat);
    dat.setFileName("/dev/full");
    EXPECT_FALSE(dat.save());
    const std::string head = "Failed to wtite to file '/dev/full' (file not open or disk full). OS returned";
    EXPECT_EQ(message(dat, 1).compare(0, head.size(), head), 0) << message(dat, 1);
#endif
}

TEST(DatFile, ReplacePlaceholdersFirstOccurrenceOfEachInValuesOnly)
{
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"Root ###ROOT###/a ###ROOT###/b", "u", "[Root| |C:/Q/a ###ROOT###/b]"},
        {"H http://###HOSTNAME###/###URL###", "quorix", "[H| |http://host/quorix]"},
        {"H ###URL###", "", "[H| |###URL###]"},
        {"###ROOT### ###ROOT###", "u", "[||C:/Q ###ROOT###]"},
        {"Bare", "u", "[Bare||]"},
        {"# ###ROOT### in a comment", "u", "[||# C:/Q in a comment]"},
    };
    for (const auto& [line, url, expected] : cases) {
        qx_quorixoptions options;
        options.parseLine(line);
        qx_datfile::replacePlaceholders(options, "C:/Q", "host", url);
        EXPECT_EQ(entries(options), expected) << line;
    }
}

TEST(ClusterSection, IncludedFilesAreReadInline)
{
    std::string inc = tempPath("cluster-inc.dat"), tail = tempPath("cluster-tail.dat");
    writeBytes(inc, "IPCTimeout 20\t\nend\nnever read\n");
    writeBytes(tail, "DefaultPort 6001\n@include " + inc + "\n# last");
    qx_datfile dat;
    std::string in = "Cluster\nEnabled 1\n@include " + inc + "  \nDefaultNodeOS Linux\n@include " + tail + "\nend\n";
    std::string path = readInto(in, dat);
    const qx_clusterparams& c = dat.getClusterParams();
    EXPECT_EQ(c.getIpcTimeout() * 10000 + c.getDefaultPort(), 206001);
    EXPECT_EQ(c.getDefaultNodeOS(), QX_OS_LINUX);
    // One level only: an include inside an included file is reported and dropped.
    EXPECT_EQ(codes(dat.getErrorRepository()), "1543;");
    EXPECT_EQ(message(dat, 1), "Invalid entry in Cluster section of the configuration file " + path + ": @include " + inc);
    // A save keeps the directives, never the included text.
    EXPECT_EQ(saved(dat), "Cluster\nEnabled 1\n@include " + inc + "\nDefaultNodeOS Linux\n@include " + tail + "\nend\n");

    qx_datfile missing;
    std::string absent = tempPath("no-such-include.dat");
    readInto("Cluster\n@include " + absent + "\nEnabled 1\nend\n", missing);
    EXPECT_EQ(codes(missing.getErrorRepository()), "260;");
    EXPECT_FALSE(missing.isValid()) << "the message table makes a missing include an error";
    EXPECT_EQ(message(missing, 1), "Cannot find file '" + absent + "'");
    EXPECT_TRUE(missing.getClusterParams().isEnabled()) << "the section goes on";
    EXPECT_EQ(missing.getClusterParams().lineCount(), 2);

    // A name that exists but can't be opened as a file: a directory on
    // Windows, a socket here (a directory opens, and the tests run as root).
    qx_datfile unreadable;
#ifdef _WIN32
    std::string target = tempDir();
#else
    std::string target = tempPath("include.sock");
    int sock = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", target.c_str());
    ASSERT_EQ(::bind(sock, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
#endif
    path = readInto("Cluster\n@include " + target + "\nEnabled 1\nend\n", unreadable);
#ifdef _WIN32
    EXPECT_EQ(codes(unreadable.getErrorRepository()), "256;");
#else
    EXPECT_EQ(message(unreadable, 1), path + ", line 2: @include " + target + " is not followed: not a regular file");
    ::close(sock);
#endif
    EXPECT_FALSE(unreadable.isValid());
    EXPECT_TRUE(unreadable.getClusterParams().isEnabled()) << "the section goes on";
}

TEST(NodeIdentity, ANodeReadsItsOwnControlFile)
{
    // "../config/iam.dat" is found from the working directory.
    fs::path root = fs::path(tempDir()) / "iam";
    fs::create_directories(root / "config");
    fs::create_directories(root / "bin");
    fs::path previous = fs::current_path();
    fs::current_path(root / "bin");
    const std::tuple<const char*, bool, const char*> cases[] = {
        {"0\n", true, "node.control"}, {" 0", true, "node.control"}, {"1\n", true, "master.control"},
        {"x", true, "master.control"}, {nullptr, true, "master.control"}, {"0\n", false, "master.control"},
    };
    for (const auto& [iam, enabled, control] : cases) {
        fs::remove(root / "config" / "iam.dat");
        if (iam) writeBytes((root / "config" / "iam.dat").string(), iam);
        qx_datfile dat;
        readInto(std::string("Cluster\nEnabled ") + (enabled ? "1" : "0") +
                     "\nend\nOptions\nQuorixControlFile master.control\nQuorixNodeControlFile node.control\nend\n",
                 dat);
        EXPECT_EQ(dat.getQuorixOptions().getQuorixControlFile(), control) << (iam ? iam : "none");
        EXPECT_EQ(dat.getQuorixOptions().getValue(0), "master.control") << "the line isn't touched";
    }
    fs::current_path(previous);
}
