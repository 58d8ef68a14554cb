// The detect actions on installations with the cluster on, off, absent and an
// unreadable quorix.dat, and the scheduling and deferred copy of the node
// list, through the DLL's exports on real installer sessions (what the
// scheduling shares with the other actions is in testing/kit/schedule.txt).
#include "qxtest/kit.h"

#include "msiu/error.h"
#include "msiu/files.h"
#include "qxtest/session.h"

namespace {

const std::string kDatHead = "Databases\nSwissProt SwissProt/SwissProt_*.fasta AA 1234 1 1 1 2 0 1 6 7 8 0\nend\n"
                             "Options\nMailTransport 2\nend\n";

struct Installation {
    const char* name;
    const char* dat;  // nullptr: no quorix.dat
    bool nodeList;
    const wchar_t* mode;     // QUORIX_USE_CLUSTER_MODE afterwards
    const wchar_t* modeSet;  // QUORIX_USE_CLUSTER_MODE_SET afterwards
};

const Installation kInstallations[] = {
    {"cluster on", "Cluster\nEnabled 1\nMasterComputerName host1\nend\n", false, L"1", L"1"},
    {"cluster off", "Cluster\nEnabled 0\nend\n", false, L"", L"1"},
    {"no Cluster section", "", false, L"", L"1"},
    {"unreadable file", "<BODY><H1>Quorix search status page</H1>\n", false, L"old", L""},
    {"no quorix.dat", nullptr, false, L"old", L""},
    {"node list but no quorix.dat", nullptr, true, L"old", L""},
    {"node list and cluster on", "Cluster\nEnabled 1\nend\n", true, L"1", L"1"},
    // The key in any case, the last line wins: as the update of quorix.dat reads it.
    {"key in lower case", "Cluster\nenabled 1\nend\n", false, L"1", L"1"},
    {"key in upper case", "Cluster\nENABLED 1\nend\n", false, L"1", L"1"},
    {"off then on", "Cluster\nEnabled 0\nEnabled 1\nend\n", false, L"1", L"1"},
    {"on then off", "Cluster\nEnabled 1\nEnabled 0\nend\n", false, L"", L"1"},
};

TEST(DetectClusterMode, BothVariantsOnEachInstallation)
{
    for (const Installation& inst : kInstallations) {
        for (const char* action : {"DetectClusterMode", "DetectClusterModeUI"}) {
            SCOPED_TRACE(std::string(inst.name) + " / " + action);
            const bool ui = std::string(action) == "DetectClusterModeUI";
            qxtest::TempDir config;
            if (inst.dat) qxtest::WriteFileBytes(config.File(L"quorix.dat"), kDatHead + inst.dat);
            if (inst.nodeList) qxtest::WriteFileBytes(config.File(L"nodelist.txt"), "");
            qxtest::Session s({{L"QuorixConfigDir", config.Path()}, {L"QUORIX_USE_CLUSTER_MODE", L"old"}});
            EXPECT_EQ(qxtest::Action(action)(s.Handle()), 0u);
            EXPECT_EQ(s.Property(L"QUORIX_USE_CLUSTER_MODE"), inst.mode);
            EXPECT_EQ(s.Property(L"QUORIX_USE_CLUSTER_MODE_SET"), inst.modeSet);
            // Only the UI variant looks for the node list.
            EXPECT_EQ(s.Property(L"QuorixClusterDefined"), ui && inst.nodeList ? L"1" : L"");
        }
    }
}

TEST(DetectClusterMode, AnUnreadableFileHasItsReasonsInTheLog)
{
    qxtest::TempDir config;
    qxtest::WriteFileBytes(config.File(L"quorix.dat"), kDatHead + "<BODY><H1>Quorix search status page</H1>\n");
    qxtest::Session s({{L"QuorixConfigDir", config.Path()}});
    ASSERT_EQ(qxtest::Action("DetectClusterMode")(s.Handle()), 0u);
    bool told = false;
    for (const auto& text : s.capture.AllTexts())
        told = told || text.find(L"The Quorix service is not running. Unable to retrieve configuration file.") !=
                           std::wstring::npos;
    EXPECT_TRUE(told);
}

TEST(CopyConfigFiles, PacksTheDirectoryAndAListFromTheTemporaryFolderForAllThreeNames)
{
    qxtest::TempDir dir;  // in the temporary folder
    const std::wstring list = dir.File(L"qx1.tmp"), temp = msiu::GetTempDir();
    qxtest::WriteFileBytes(list, "");
    const std::wstring notTemp = L"Node list not copied: \"%s\" is not a file in the temporary folder " + temp;
    struct Case {
        qxtest::Props props;
        std::wstring data, fatal;
    };
    const Case cases[] = {
        {{{L"QuorixConfigDir", L"C:\\Srv\\config\\"}, {L"QUORIX_NODELIST_TXT_TMP", list}},
         L"C:\\Srv\\config\\|" + list, L""},
        // The property is public: a list from anywhere else is refused.
        {{{L"QuorixConfigDir", L"C:\\Srv\\"}, {L"QUORIX_NODELIST_TXT_TMP", L"C:\\windows\\win.ini"}}, L"",
         msiu::Format(notTemp.c_str(), L"C:\\windows\\win.ini") + L"  (0x80070057)"},
        {{{L"QuorixConfigDir", L"C:\\Srv\\"}, {L"QUORIX_NODELIST_TXT_TMP", temp + L"..\\..\\x.ini"}}, L"",
         msiu::Format(notTemp.c_str(), (temp + L"..\\..\\x.ini").c_str()) + L"  (0x80070057)"},
        {{{L"QuorixConfigDir", L"C:\\Srv\\"}, {L"QUORIX_NODELIST_TXT_TMP", temp}}, L"",
         msiu::Format(notTemp.c_str(), temp.c_str()) + L"  (0x80070057)"},
    };
    for (const Case& c : cases) {
        qxtest::Session s(c.props, qxkit::Tables(qxkit::Scheduled(L"CopyConfigFiles")));
        EXPECT_EQ(qxtest::Action("CopyConfigFiles")(s.Handle()), c.fatal.empty() ? 0u : 1603u);
        EXPECT_EQ(s.capture.Texts(0), c.fatal.empty() ? std::vector<std::wstring>{}
                                                      : std::vector<std::wstring>{L"CopyConfigFiles:  " + c.fatal});
        for (const wchar_t* name : {L"CopyConfigFilesRollback", L"CopyConfigFilesExec", L"CopyConfigFilesCommit"})
            EXPECT_EQ(s.Property(name), c.data);
    }
}

}  // namespace
