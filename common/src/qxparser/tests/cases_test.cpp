// The data-driven tests of reading and saving quorix.dat. Two kinds of data:
// - corpus/NAME.dat against NAME.expected (the save, byte for byte) and
//   NAME.messages (as qxdat and the install log show them);
// - cases/*.txt (see runBlocks): the file's lines, and what the read gives:
//   every message, every value that differs from an empty file's, and
//   "-- saved" with the save when it differs from the input.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "orvane/qx_datfile.h"
#include "model_dump.h"
#include "roundtrip_law.h"
#include "test_files.h"

namespace fs = std::filesystem;
using namespace orvane;
using namespace qxtestfiles;
using qxmodel::dump;

namespace {

// The corpus shows messages as qxdat and the install log do, the cases with their codes.
std::string messages(const qx_errorlist& list, const std::string& path, const std::string& name, bool corpus)
{
    std::string out;
    for (int n = 1; n <= list.getMessageCount(); ++n)
        out += (corpus ? "qxparser [" : std::to_string(list.getErrorNumber(n)) + " [") +
               std::to_string(list.getSeverity(n)) + ":" + std::to_string(list.getRepeats(n)) +
               (corpus ? "] -- " : "] ") + replaceAll(list.getMessage(n), path, name) + "\n";
    return out;
}

// What a case's input gives, in its expectation's form.
std::string runCase(const std::string& input, const std::map<std::string, std::string>& defaults)
{
    qx_datfile dat;
    std::string path = qxtestfiles::readInto(input, dat);
    // The engine's own text behind a failed compile differs by platform.
    std::string out = encode(messages(dat.getErrorRepository(), path, "F", false));
    for (size_t at = out.find("Error string: "); at != std::string::npos; at = out.find("Error string: ", at + 1))
        out.replace(at + 14, out.find('\n', at) - at - 14, "ENGINE");
    for (const auto& [key, value] : dump(dat)) {
        auto d = defaults.find(key);
        if (d == defaults.end() || d->second != value) out += key + " = " + encode(value) + "\n";
    }
    std::string out2 = qxtestfiles::tempPath("case-saved.dat");
    dat.setFileName(out2);
    if (!dat.save()) out += "save failed\n";
    std::string saved = qxtestfiles::lfText(readBytes(out2));
    if (saved != input) out += "-- saved\n" + encode(saved) + (saved.empty() || saved.back() != '\n' ? "\n<NOEOL>\n" : "");
    return out;
}

}  // namespace

TEST(Cases, EveryBlockOfEveryCaseFile)
{
    qx_datfile empty;
    qxtestfiles::readInto("", empty);
    const auto defaults = dump(empty);
    int count = 0;
    for (const auto& entry : fs::directory_iterator(qxtestfiles::corpusDir() + "/../cases"))
        if (entry.path().extension() == ".txt")
            count += qxtestfiles::runBlocks(entry.path().string(), [&](const std::string&, const std::string& input) {
                return runCase(input, defaults);
            });
    EXPECT_GT(count, 100);
}

TEST(Cases, CorpusSavedFormAndMessagesMatchByteForByteAndObeyTheRoundTripLaw)
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(qxtestfiles::corpusDir()))
        if (entry.path().extension() == ".dat") names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    EXPECT_GE(names.size(), 10u);
    for (const std::string& stem : names) {
        SCOPED_TRACE(stem);
        std::string input = qxtestfiles::corpusDir() + "/" + stem + ".dat";
        std::string first = qxtestfiles::tempPath(stem + ".1"), second = qxtestfiles::tempPath(stem + ".2");
        qx_datfile dat;
        dat.getErrorRepository().setLoggingLevel(QX_SEV_INFO);
        dat.setFileName(input);
        dat.read();
        EXPECT_EQ(messages(dat.getErrorRepository(), input, stem + ".dat", true), readBytes(qxtestfiles::corpusDir() + "/" + stem + ".messages"));
        dat.setFileName(first);
        ASSERT_TRUE(dat.save()) << dat.getErrorRepository().getMessage(1);
        std::string saved = readBytes(first);
        EXPECT_EQ(saved, qxtestfiles::platformText(readBytes(qxtestfiles::corpusDir() + "/" + stem + ".expected")));
        qx_datfile again;
        again.setFileName(first);
        again.read();
        again.setFileName(second);
        ASSERT_TRUE(again.save());
        EXPECT_EQ(qxlaw::violation(saved, readBytes(second)), "");
    }
}
