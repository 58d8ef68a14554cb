// Every quorix.dat of the corpus against its saved form and its messages,
// byte for byte, and the round-trip law on each.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "orvane/qx_datfile.h"
#include "roundtrip_law.h"
#include "test_files.h"

namespace fs = std::filesystem;
using namespace orvane;

namespace {

std::vector<std::string> corpusFiles()
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(qxtestfiles::corpusDir())) {
        if (entry.path().extension() == ".dat") names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// The messages as qxdat and the install log show them, with the file's path
// as its bare name so that they don't depend on where the tree lies.
std::string messageLines(const qx_errorlist& list, const std::string& path, const std::string& name)
{
    std::string out;
    for (int n = 1; n <= list.getMessageCount(); ++n) {
        std::string text = list.getMessage(n);
        for (size_t at; (at = text.find(path)) != std::string::npos;) text.replace(at, path.size(), name);
        out += "qxparser [" + std::to_string(list.getSeverity(n)) + ":" + std::to_string(list.getRepeats(n)) +
               "] -- " + text + "\n";
    }
    return out;
}

}  // namespace

TEST(Corpus, HasAtLeastTenFilesEachWithItsExpectedOutput)
{
    std::vector<std::string> files = corpusFiles();
    EXPECT_GE(files.size(), 10u);
    for (const std::string& name : files) {
        std::string stem = name.substr(0, name.size() - 4);
        EXPECT_TRUE(fs::exists(qxtestfiles::corpusDir() + "/" + stem + ".expected")) << name;
        EXPECT_TRUE(fs::exists(qxtestfiles::corpusDir() + "/" + stem + ".messages")) << name;
    }
}

TEST(Corpus, SavedFormAndMessagesMatchByteForByteAndObeyTheRoundTripLaw)
{
    for (const std::string& name : corpusFiles()) {
        SCOPED_TRACE(name);
        std::string stem = name.substr(0, name.size() - 4);
        std::string input = qxtestfiles::corpusDir() + "/" + name;
        std::string first = qxtestfiles::tempPath(stem + ".1");
        std::string second = qxtestfiles::tempPath(stem + ".2");

        qx_datfile dat;
        dat.getErrorRepository().setLoggingLevel(QX_SEV_INFO);
        dat.setFileName(input);
        dat.read();
        std::string messages = messageLines(dat.getErrorRepository(), input, name);
        EXPECT_EQ(messages, qxtestfiles::readBytes(qxtestfiles::corpusDir() + "/" + stem + ".messages"));

        dat.setFileName(first);
        ASSERT_TRUE(dat.save()) << dat.getErrorRepository().getMessage(1);
        std::string saved = qxtestfiles::readBytes(first);
        std::string expected = qxtestfiles::readBytes(qxtestfiles::corpusDir() + "/" + stem + ".expected");
        EXPECT_EQ(saved, qxtestfiles::platformText(expected));

        qx_datfile again;
        again.setFileName(first);
        again.read();
        again.setFileName(second);
        ASSERT_TRUE(again.save());
        EXPECT_EQ(qxlaw::violation(saved, qxtestfiles::readBytes(second)), "");
    }
}

TEST(RoundTripLaw, NamesOnlyTheGrowthOfInactiveDatabaseLines)
{
    const std::string entry = "SwissProt p AA 1 1 1 1 1 0 0 1 2 0";
    struct Case {
        const char* name;
        std::string first;
        std::string second;
        bool holds;
    };
    const Case cases[] = {
        {"equal", "Options\nA 1\nend\n", "Options\nA 1\nend\n", true},
        {"inactive entry gains a blank", "Databases\n# " + entry + "\nend\n", "Databases\n#  " + entry + "\nend\n", true},
        {"two blanks are not one", "Databases\n# " + entry + "\nend\n", "Databases\n#   " + entry + "\nend\n", false},
        {"only inside Databases", "Options\n# " + entry + "\nend\n", "Options\n#  " + entry + "\nend\n", false},
        {"a comment may not grow", "Databases\n# note\nend\n", "Databases\n#  note\nend\n", false},
        {"lines may not appear", "Options\nend\n", "Options\nend\n# x\n", false},
        // A top-level text behind a carriage return is a blank line, not a head.
        {"blank line with text behind a CR", "\r note\nDatabases\n# " + entry + "\nend\n",
         "\r note\nDatabases\n#  " + entry + "\nend\n", true},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(qxlaw::violation(c.first, c.second).empty(), c.holds) << c.name;
    }
}
