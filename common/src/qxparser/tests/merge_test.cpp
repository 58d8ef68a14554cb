// The install-time merge, case by case from merge/cases.txt: every message
// the merge gives, and the merged file (against a golden file where named).
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "orvane/qx_datfile.h"
#include "orvane/qx_machine.h"
#include "test_files.h"
#include "test_machine.h"

using namespace orvane;
using namespace qxtestfiles;

namespace {

const std::string kPackage = QX_PACKAGE_DIR;
const std::string kMergeDir = corpusDir() + "/../merge/";

std::string merge(const std::string& input)
{
    std::map<std::string, std::string> a = {{"root", "C:\\Quorix\\"}, {"url", "http://qxhost/quorix/"}};
    std::istringstream args(input.substr(2, input.find('\n') - 2));
    for (std::string word; args >> word;) a[word.substr(0, word.find('='))] = word.find('=') == std::string::npos ? "1" : word.substr(word.find('=') + 1);
    std::string existing = input.substr(input.find('\n') + 1), existingPath;
    if (a.count("existing")) existingPath = kMergeDir + a["existing"];
    else if (!existing.empty()) writeBytes(existingPath = tempPath("merge-existing.dat"), existing);
    std::string templ = a["template"] == "package" ? kPackage + "/not.quorix.dat" : kMergeDir + a["template"];
    test_machine machine;
    machine.nameFails = a.count("nohost") > 0;
    machine.processors.fails = a.count("cpufails") > 0;
    if (a.count("host")) machine.name = a["host"];
    qx_machine::replace(&machine);
    qx_errorlist errors;
    errors.setLoggingLevel(QX_SEV_INFO);
    qx_datfile dat;
    bool result = dat.mergeInstalledDefaults(errors, templ, existingPath, a["root"], a["url"], "D:\\seq\\",
                                             a["cluster"] == "1", 0, a["users"], a["admins"], std::stoul(a["flags"]));
    qx_machine::replace(nullptr);
    std::string out = "result " + std::to_string(result) + ", valid " + std::to_string(errors.isValid()) + "\n";
    for (int n = 1; n <= errors.getMessageCount(); ++n)
        out += std::to_string(errors.getSeverity(n)) + " " +
               replaceAll(replaceAll(replaceAll(errors.getMessage(n), kPackage, "PKG"), kMergeDir, "MERGE/"),
                          existingPath, "F") + "\n";
    if (!errors.isValid()) return out;
    dat.setFileName(tempPath("merge-out.dat"));
    EXPECT_TRUE(dat.save());
    std::string saved = lfText(readBytes(dat.getFileName()));
    if (a.count("golden") && saved == readBytes(kMergeDir + a["golden"])) return out + "-- saved as " + a["golden"] + "\n";
    return out + "-- saved\n" + encode(saved);
}

}  // namespace

TEST(Merge, EveryCase)
{
    EXPECT_GT(runBlocks(kMergeDir + "cases.txt", [](const std::string&, const std::string& input) { return merge(input); }), 20);
}
