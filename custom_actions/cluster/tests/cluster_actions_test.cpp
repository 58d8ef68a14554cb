// The detect actions and the scheduling of the node list's copy through the
// DLL's exports on real installer sessions, from cluster_actions.txt (what
// the scheduling shares with the other actions is in testing/kit/schedule.txt).
#include "msiu/files.h"
#include "qxtest/kit.h"

namespace {

TEST(ClusterActions, EachCaseOfClusterActionsTxt)
{
    const std::wstring file = qxtest::SourceDir() + L"\\custom_actions\\cluster\\tests\\cluster_actions.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) {
        qxtest::TempDir dir;  // in the temporary folder
        for (const auto& line : c.in)
            if (line.rfind("file ", 0) == 0) {
                std::string text = line.substr(line.find('=') + 1);
                for (size_t at; (at = text.find("<LF>")) != std::string::npos;) text.replace(at, 4, "\n");
                qxtest::WriteFileBytes(dir.File(qxkit::W(line.substr(5, line.find('=') - 5))), text);
            }
        const std::map<std::string, std::string> fill = {{"$D\\", qxkit::N(dir.Path())},
                                                         {"$TEMP\\", qxkit::N(msiu::GetTempDir())}};
        qxkit::ExpectCase(file, c, qxkit::RunActions(c, qxkit::Tables(qxkit::Scheduled(L"CopyConfigFiles")), fill));
    }
}

}  // namespace
