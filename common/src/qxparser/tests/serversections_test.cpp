// Cluster, Processor, Cron, UniGene and WWW sections, and what the Cluster
// section decides at the end of a read.
#include <gtest/gtest.h>

#ifndef _WIN32
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#endif

#include <cstdio>
#include <functional>

#include <filesystem>
#include <string>
#include <vector>

#include "orvane/qx_datfile.h"
#include "test_files.h"

using namespace orvane;
using qxtestfiles::codes;
using qxtestfiles::lfText;
using qxtestfiles::readInto;

namespace fs = std::filesystem;

namespace {

std::string message(const qx_datfile& dat, int n)
{
    return dat.getErrorRepository().getMessage(n);
}

std::string list(const std::vector<int32_t>& values)
{
    std::string out;
    for (int32_t v : values) out += (out.empty() ? "" : ",") + std::to_string(v);
    return out;
}

template <size_t N>
std::string setIndexes(const std::array<bool, N>& values)
{
    std::string out;
    for (size_t i = 0; i < N; ++i) {
        if (values[i]) out += (out.empty() ? "" : ",") + std::to_string(i);
    }
    return out;
}

}  // namespace

TEST(ClusterSection, KeysValuesAndReports)
{
    struct Case {
        std::string line;
        std::function<std::string(const qx_clusterparams&)> get;
        std::string value;
        std::string codes;
    };
    using C = const qx_clusterparams&;
    const std::vector<Case> cases = {
        {"Enabled 1", [](C c) { return std::to_string(c.isEnabled()); }, "1", ""},
        {"ENABLED 2", [](C c) { return std::to_string(c.isEnabled()); }, "0", ""},
        {"DefaultNodeOS Linux", [](C c) { return std::to_string(c.getDefaultNodeOS()); }, "6", ""},
        {"DefaultNodeOS linux", [](C c) { return std::to_string(c.getDefaultNodeOS()); }, "2", ""},
        {"defaultnodeos\tFreeBSD,x", [](C c) { return std::to_string(c.getDefaultNodeOS()); }, "8", ""},
        {"DefaultNodeHomeDir /home/node", [](C c) { return c.getDefaultNodeHomeDir(); }, "/home/node", ""},
        {"DefaultNodeHomeDir", [](C c) { return c.getDefaultNodeHomeDir(); }, "", ""},
        {"DefaultNodeHomeDirFromMaster x", [](C c) { return c.getDefaultNodeHomeDir() + "|" + c.getDefaultNodeHomeDirFromMaster(); }, "/QuorixNode|x", ""},
        {"DefaultPort 6000", [](C c) { return std::to_string(c.getDefaultPort()); }, "6000", ""},
        {"QuorixNodeScript node.pl", [](C c) { return c.getQuorixNodeScript(); }, "node.pl", ""},
        {"QuorixNodeRebootScript reboot.pl", [](C c) { return c.getQuorixNodeRebootScript(); }, "reboot.pl", ""},
        {"IPCTimeout 0", [](C c) { return std::to_string(c.getIpcTimeout()); }, "10", "1543;"},
        {"IPCTimeout 1", [](C c) { return std::to_string(c.getIpcTimeout()); }, "1", ""},
        {"IPCLogging 3", [](C c) { return std::to_string(c.getIpcLogging()); }, "0", "1543;"},
        {"IPCLogging 2", [](C c) { return std::to_string(c.getIpcLogging()); }, "2", ""},
        {"IPCLogfile ../logs/ipc2.log", [](C c) { return c.getIpcLogfile(); }, "../logs/ipc2.log", ""},
        {"checkNodesAliveFreq 301", [](C c) { return std::to_string(c.getCheckNodesAliveFreq()); }, "30", "1543;"},
        {"checkNodesAliveFreq 300", [](C c) { return std::to_string(c.getCheckNodesAliveFreq()); }, "300", ""},
        {"checkNodesAliveFreq 1", [](C c) { return std::to_string(c.getCheckNodesAliveFreq()); }, "30", "1543;"},
        {"SecsToWaitForNodeAtStartup -1", [](C c) { return std::to_string(c.getSecsToWaitForNodeAtStartup()); }, "60", "1543;"},
        {"SubClusterSet 0 ###THREADS###", [](C c) { return list(c.getSubClusterIds()) + "/" + list(c.getSubClusterThreads()); }, "0/1", ""},
        {"SubClusterSet 50 4", [](C c) { return list(c.getSubClusterIds()) + "/" + list(c.getSubClusterThreads()); }, "0/0", "1543;"},
        {"SubClusterSet -1 4", [](C c) { return list(c.getSubClusterIds()); }, "0", "1543;"},
        {"SubClusterSet 0 0", [](C c) { return list(c.getSubClusterThreads()); }, "0", "1543;"},
        {"SubClusterSet 1 70000", [](C c) { return list(c.getSubClusterIds()) + "/" + list(c.getSubClusterThreads()); }, "1/65536", "1544;"},
        {"SubClusterSet 1 4\nSubClusterSet 2\t8", [](C c) { return list(c.getSubClusterIds()) + "/" + list(c.getSubClusterThreads()); }, "1,2/4,8", ""},
        {"MasterComputerName master 192:5001", [](C c) { const auto& m = c.getMasterComputer(); return m.getName() + "|" + m.getIpAddress() + "|" + std::to_string(m.getPort()); }, "master|192|5001", ""},
        {"MasterComputerName master", [](C c) { const auto& m = c.getMasterComputer(); return m.getName() + "|" + m.getIpAddress() + "|" + m.getRawText(); }, "master||master", ""},
        {"MasterComputerName master, 10#x", [](C c) { return c.getMasterComputer().getIpAddress(); }, "10", ""},
        {"MasterComputerName master 192.168.0.1", [](C c) { const auto& m = c.getMasterComputer(); return m.getName() + "|" + m.getIpAddress() + "|" + m.getRawText(); }, "master|127.0.0.1|master 192.168.0.1", "1543;"},
        {"MasterComputerName m 123456789012345678901", [](C c) { return c.getMasterComputer().getIpAddress(); }, "127.0.0.1", "1543;"},
        {"MasterComputerName " + std::string(120, 'h'), [](C c) { return std::to_string(c.getMasterComputer().getName().size()); }, "99", "1543;"},
    };
    for (const Case& c : cases) {
        qx_datfile dat;
        std::string path = readInto("Cluster\n" + c.line + "\nend\n", dat);
        SCOPED_TRACE(c.line);
        EXPECT_EQ(c.get(dat.getClusterParams()), c.value);
        EXPECT_EQ(codes(dat.getErrorRepository()), c.codes);
        if (c.codes == "1543;") {
            EXPECT_EQ(message(dat, 1), "Invalid entry in Cluster section of the configuration file " + path + ": " + c.line);
        }
        if (c.codes == "1544;") {
            EXPECT_EQ(message(dat, 1), "Too many cpus in sub cluster 1. Setting number of usable cpus to 65536");
        }
        EXPECT_TRUE(dat.isValid());
    }
}

TEST(ClusterSection, IncludedFilesAreReadInline)
{
    std::string inc = qxtestfiles::tempPath("cluster-inc.dat");
    qxtestfiles::writeBytes(inc, "IPCTimeout 20\t\nend\nnever read\n");
    std::string tail = qxtestfiles::tempPath("cluster-tail.dat");
    qxtestfiles::writeBytes(tail, "DefaultPort 6001\n@include " + inc + "\n# last");

    qx_datfile dat;
    std::string in = "Cluster\nEnabled 1\n@include " + inc + "  \nDefaultNodeOS Linux\n@include " + tail + "\nend\n";
    std::string path = readInto(in, dat);
    const qx_clusterparams& c = dat.getClusterParams();
    EXPECT_EQ(c.getIpcTimeout(), 20);
    EXPECT_EQ(c.getDefaultPort(), 6001);
    EXPECT_EQ(c.getDefaultNodeOS(), QX_OS_LINUX);
    // One level only: an include inside an included file is reported and dropped.
    EXPECT_EQ(codes(dat.getErrorRepository()), "1543;");
    EXPECT_EQ(message(dat, 1), "Invalid entry in Cluster section of the configuration file " + path + ": @include " + inc);
    // A save keeps the directives, never the included text.
    EXPECT_EQ(lfText(qxtestfiles::readAndSave(in)),
              "Cluster\nEnabled 1\n@include " + inc + "\nDefaultNodeOS Linux\n@include " + tail + "\nend\n");

    qx_datfile missing;
    std::string absent = qxtestfiles::tempPath("no-such-include.dat");
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
    std::string target = qxtestfiles::tempDir();
#else
    std::string target = qxtestfiles::tempPath("include.sock");
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
#endif
    EXPECT_FALSE(unreadable.isValid());
    EXPECT_TRUE(unreadable.getClusterParams().isEnabled()) << "the section goes on";
#ifndef _WIN32
    ::close(sock);
#endif

    // "@include" counts with its case; other spellings are ordinary lines.
    EXPECT_EQ(lfText(qxtestfiles::readAndSave("Cluster\n@Include x\nend\n")), "Cluster\n@Include x\nend\n");
}

TEST(ClusterSection, SettersAndDefaults)
{
    qx_datfile dat;
    readInto("Cluster\nEnabled 1\nDefaultNodeOS Linux\n# DefaultNodeHomeDirFromMaster x\nend\n", dat);
    qx_clusterparams& c = dat.getClusterParams();
    c.setEnabled(false);
    c.setDefaultNodeOS(QX_OS_WINDOWS_NT);
    c.setDefaultNodeOS(9);
    c.setDefaultNodeHomeDir("C:/QuorixNode");
    EXPECT_FALSE(c.isEnabled());
    EXPECT_EQ(c.getDefaultNodeOS(), 9);
    std::string out = qxtestfiles::tempPath("cluster-setters.dat");
    dat.setFileName(out);
    ASSERT_TRUE(dat.save());
    EXPECT_EQ(lfText(qxtestfiles::readBytes(out)),
              "Cluster\nEnabled 0\nDefaultNodeOS Windows_NT\n# DefaultNodeHomeDirFromMaster x\n"
              "DefaultNodeHomeDir C:/QuorixNode\nend\n");

    c.defaultValues();
    EXPECT_EQ(list(c.getSubClusterIds()), "0");
    EXPECT_EQ(list(c.getSubClusterThreads()), "0");
    EXPECT_EQ(c.getMasterComputer().getIpAddress(), "127.0.0.1");
    EXPECT_EQ(c.getMasterComputer().getName(), "localhost");
    EXPECT_EQ(c.getDefaultNodeHomeDir(), "/QuorixNode");
    EXPECT_EQ(c.getDefaultPort(), 5001);
    EXPECT_STREQ(qx_clusterparams::nodeOSName(7), "LinuxAlpha");
    EXPECT_EQ(qx_clusterparams::nodeOSName(9), nullptr);
}

TEST(NodeIdentity, ANodeReadsItsOwnControlFile)
{
    // "../config/iam.dat" is found from the working directory.
    fs::path root = fs::path(qxtestfiles::tempDir()) / "iam";
    fs::create_directories(root / "config");
    fs::create_directories(root / "bin");
    fs::path previous = fs::current_path();
    fs::current_path(root / "bin");
    struct Case {
        const char* iam;  // null: no file
        bool enabled;
        const char* control;
    };
    const Case cases[] = {
        {"0\n", true, "node.control"},
        {" 0", true, "node.control"},
        {"1\n", true, "master.control"},
        {"x", true, "master.control"},
        {nullptr, true, "master.control"},
        {"0\n", false, "master.control"},
    };
    for (const Case& c : cases) {
        fs::remove(root / "config" / "iam.dat");
        if (c.iam) qxtestfiles::writeBytes((root / "config" / "iam.dat").string(), c.iam);
        qx_datfile dat;
        std::string text = std::string("Cluster\nEnabled ") + (c.enabled ? "1" : "0") +
                           "\nend\nOptions\nQuorixControlFile master.control\nQuorixNodeControlFile node.control\nend\n";
        readInto(text, dat);
        EXPECT_EQ(dat.getQuorixOptions().getQuorixControlFile(), c.control) << (c.iam ? c.iam : "none");
        EXPECT_EQ(dat.getQuorixOptions().getValue(0), "master.control") << "the line isn't touched";
        EXPECT_TRUE(dat.isValid());
    }
    fs::current_path(previous);
}

TEST(ProcessorSection, SetsAndDatabaseLists)
{
    const std::string databases = "Databases\nSwissProt p AA 1 1 1 1 2 0 0 1 1 0\n#Off p AA 1 1 1 1 2 0 0 1 1 0\nend\n"
                                  "PARSE\nRULE_1 \">\\(.*\\)\"\nend\n";
    qx_datfile dat;
    std::string path = readInto(databases +
                                    "Processor\nProcessorSet=0,1,2\nprocessorset 5 6\r7\n"
                                    "SwissProt=0,1\nSwissProt 3, 4, 5, 6\nOff=1\nNone 1\nend\n",
                                dat);
    const qx_processoroptions& p = dat.getProcessorOptions();
    EXPECT_EQ(list(p.getProcessorSet()), "0,1,2,5,6,7");
    ASSERT_EQ(p.getDatabaseProcessors().size(), 2u);
    EXPECT_EQ(p.getDatabaseProcessors()[0].databaseName, "SwissProt");
    EXPECT_EQ(list(p.getDatabaseProcessors()[0].processors), "0,1");
    EXPECT_EQ(list(p.getDatabaseProcessors()[1].processors), "3,4");
    EXPECT_EQ(codes(dat.getErrorRepository()), "1565;1561;1561;");
    EXPECT_EQ(message(dat, 1), "In the file " + path + ": there are 2 threads for database 'SwissProt'. Too many processors named");
    EXPECT_EQ(message(dat, 2), "Invalid line in " + path + " file starting with: Off=1");
    EXPECT_EQ(p.lineCount(), 6);

    // The databases must come first in the file.
    qx_datfile early;
    readInto("Processor\nSwissProt=0\nend\n" + databases, early);
    EXPECT_EQ(codes(early.getErrorRepository()), "1561;");
}

TEST(CronSection, JobsAndTheirTimes)
{
    qx_datfile dat;
    readInto("Cron\ncronenable 1\n"
             "0 1-3,5 * * * cmd with  blanks  \n"
             "15,45 * 1,15 1-12 0 weekly.pl\n"
             "0 5-1 * * * x\n"
             "59 23 31 12 6 last\n"
             "0 0 * * *\n"
             "0 0 * * * \n"
             "# 0 0 * * * commented\n"
             "end\n",
             dat);
    const qx_cronoptions& cron = dat.getCronOptions();
    EXPECT_TRUE(cron.isCronEnabled());
    EXPECT_EQ(codes(dat.getErrorRepository()), "");
    ASSERT_EQ(cron.getNumberOfJobs(), 4);
    const qx_cronjob& first = *cron.getJob(0);
    EXPECT_EQ(setIndexes(first.minutes), "0");
    EXPECT_EQ(setIndexes(first.hours), "1,2,3,5");
    EXPECT_EQ(setIndexes(first.daysOfMonth), "");
    EXPECT_EQ(setIndexes(first.months), "1,2,3,4,5,6,7,8,9,10,11,12");
    EXPECT_EQ(setIndexes(first.daysOfWeek), "");
    EXPECT_EQ(first.command, "cmd with  blanks");
    EXPECT_EQ(first.lineText, "0 1-3,5 * * * cmd with  blanks");
    const qx_cronjob& second = *cron.getJob(1);
    EXPECT_EQ(setIndexes(second.minutes), "15,45");
    EXPECT_EQ(setIndexes(second.hours), "0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23");
    EXPECT_EQ(setIndexes(second.daysOfMonth), "1,15");
    EXPECT_EQ(setIndexes(second.daysOfWeek), "0");
    EXPECT_EQ(setIndexes(cron.getJob(2)->hours), "") << "a backward range sets nothing";
    EXPECT_EQ(cron.getJob(2)->command, "x");
    EXPECT_EQ(setIndexes(cron.getJob(3)->daysOfMonth), "31");
    EXPECT_EQ(cron.getJob(4), nullptr);
    // Lines come back as they stood, the failed ones too.
    EXPECT_EQ(cron.lineCount(), 8);
    EXPECT_EQ(cron.getValue(1), "1-3,5 * * * cmd with  blanks  ");
}

TEST(CronSection, FieldFaults)
{
    struct Case {
        const char* line;
        int32_t code;  // 0: the job is made without a message
        const char* text;
    };
    const Case cases[] = {
        {"* 1 * * * x", qxerr::cronStar, "Invalid * in cron section of F. Line is: * 1 * * * x"},
        {"0 1x * * * x", qxerr::cronCharacter, "Invalid character in cron section of F. Line is: 0 1x * * * x"},
        {"60 1 * * * x", qxerr::cronRange, "Number out of range in cron section of F. Line is: 60 1 * * * x"},
        {"0 24-25 * * * x", qxerr::cronRange, nullptr},
        {"0 1 0 * * x", qxerr::cronRange, nullptr},
        {"0 1 * 13 * x", qxerr::cronRange, nullptr},
        {"0 1 * * 7 x", qxerr::cronRange, nullptr},
        {"0 1 * 0001 * x", 0, nullptr},
        {"0 1 * 99999999999999999999 * x", qxerr::cronRange, nullptr},
        {"0 ,1 * * * x", qxerr::cronComma, "Expecting number before , in cron section of F. Line is: 0 ,1 * * * x"},
        {"0 -1 * * * x", qxerr::cronDash, "Expecting number before - in cron section of F. Line is: 0 -1 * * * x"},
        {"0 1, * * * x", 0, nullptr},
        {"0 1 *x * * x", 0, nullptr},
    };
    for (const Case& c : cases) {
        qx_datfile dat;
        std::string path = readInto(std::string("Cron\n") + c.line + "\nend\n", dat);
        SCOPED_TRACE(c.line);
        EXPECT_EQ(dat.getCronOptions().getNumberOfJobs(), c.code == 0 ? 1 : 0);
        EXPECT_EQ(dat.getErrorRepository().getErrorNumber(1), c.code);
        EXPECT_EQ(dat.getErrorRepository().getMessageCount(), c.code == 0 ? 0 : 1);
        if (c.text) {
            std::string text = c.text;
            text.replace(text.find(" F.") + 1, 1, path);
            EXPECT_EQ(message(dat, 1), text);
        }
        EXPECT_EQ(dat.getCronOptions().lineCount(), 1);
    }
    // "1," ends with an empty number, which counts as 0.
    qx_datfile zero;
    readInto("Cron\n0 1, * * * x\nend\n", zero);
    EXPECT_EQ(setIndexes(zero.getCronOptions().getJob(0)->hours), "0,1");
}

TEST(CronSection, AtMost256Jobs)
{
    std::string text = "Cron\n";
    for (int i = 0; i < 257; ++i) text += "0 1 * * * job" + std::to_string(i) + "\n";
    text += "end\n";
    qx_datfile dat;
    std::string path = readInto(text, dat);
    EXPECT_EQ(dat.getCronOptions().getNumberOfJobs(), 256);
    EXPECT_EQ(dat.getErrorRepository().getMessageCount(), 1);
    EXPECT_EQ(dat.getErrorRepository().getRepeats(1), 0);
    EXPECT_EQ(dat.getErrorRepository().getMessage(1),
              "Too many cron jobs in the configuration file " + path + ". The limit is 256");
    EXPECT_EQ(dat.getCronOptions().lineCount(), 257);
    EXPECT_EQ(lfText(qxtestfiles::readAndSave(text)), text);
}

TEST(WWWSection, EntriesAndCanonicalValues)
{
    struct Case {
        std::string line;
        bool good;
        std::string name;
        int32_t type, number;
        std::string host;
        int32_t port;
        std::string path;
    };
    const std::vector<Case> cases = {
        {"Swiss_Prot_SEQ \"1\" \"host\" \"80\" \"/a b\"", true, "Swiss_Prot", QX_WWW_SEQ, 1, "host", 80, "/a b"},
        {"NCBInr_REP\t\"2\"\t\"localhost\"\t\"8080\"\t\"/x\" trailing", true, "NCBInr", QX_WWW_REP, 2, "localhost", 8080, "/x"},
        {"DB_SEQ '12\" \"\" \"0\" \"\"", true, "DB", QX_WWW_SEQ, 12, "", 0, ""},
        {"_SEQ \"1\" \"h\" \"2\" \"p\"", true, "", QX_WWW_SEQ, 1, "h", 2, "p"},
        {"DB_SEQ \"1\"", false},
        {"DB_seq \"1\" \"h\" \"2\" \"p\"", false},
        {"DB_SEQX \"1\" \"h\" \"2\" \"p\"", false},
        {"DBSEQ \"1\" \"h\" \"2\" \"p\"", false},
        {"DB_SEQ \"x\" \"h\" \"2\" \"p\"", false},
        {"DB_SEQ \"1\" \"h\" \"2\" \"p", false},
        {"a:b_SEQ \"1\" \"h\" \"2\" \"p\"", false},
    };
    for (const Case& c : cases) {
        qx_datfile dat;
        std::string path = readInto("WWW\n" + c.line + "\nend\n", dat);
        SCOPED_TRACE(c.line);
        const qx_wwwoptions& www = dat.getWWWOptions();
        ASSERT_EQ(www.getEntries().size(), c.good ? 1u : 0u);
        ASSERT_EQ(www.lineCount(), 1);
        if (!c.good) {
            EXPECT_EQ(codes(dat.getErrorRepository()), "1566;");
            EXPECT_EQ(message(dat, 1), "Error in WWW section of " + path + ": " + c.line);
            EXPECT_EQ(www.getName(0) + www.getDelimiter(0) + www.getValue(0), c.line) << "written back as it stood";
            continue;
        }
        EXPECT_EQ(codes(dat.getErrorRepository()), "");
        const qx_wwwentry& e = www.getEntries()[0];
        EXPECT_EQ(e.databaseName, c.name);
        EXPECT_EQ(e.type, c.type);
        EXPECT_EQ(e.number, c.number);
        EXPECT_EQ(e.host, c.host);
        EXPECT_EQ(e.port, c.port);
        EXPECT_EQ(e.path, c.path);
        EXPECT_EQ(www.getValue(0), e.valueText()) << "the value takes the canonical form";
        EXPECT_EQ(www.getName(0), e.keyText());
    }

    qx_wwwoptions www;
    qx_wwwentry entry;
    entry.databaseName = "SwissProt";
    entry.type = QX_WWW_REP;
    entry.number = 3;
    entry.path = "/cgi/x.pl";
    www.addWWWEntry(entry);
    EXPECT_EQ(www.getName(0) + www.getDelimiter(0) + www.getValue(0),
              "SwissProt_REP\t\"3\"\t\"localhost\"\t\"80\"\t\"/cgi/x.pl\"");
}

TEST(UniGeneSection, LinesOnly)
{
    qx_datfile dat;
    readInto("UniGene\nHuman   ###ROOT###/unigene/Hs.data  \n# c\nend\n", dat);
    EXPECT_TRUE(dat.getUniGeneOptions().isAvailable());
    EXPECT_EQ(dat.getUniGeneOptions().lineCount(), 2);
    EXPECT_EQ(dat.getUniGeneOptions().getValue(0), "###ROOT###/unigene/Hs.data");
    EXPECT_EQ(codes(dat.getErrorRepository()), "");
}
