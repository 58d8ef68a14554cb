// The IIS actions against the metabase emulator. check.txt: the exported
// checks, both twins, on sessions over the sites of sites.txt, and the
// deferred configuration's data rules (outside the install script nothing
// runs); none of them changes the metabase. configure.txt: the install-script
// work on a metabase of its own (install, repair, removal, IIS versions,
// missing extension lists and failures at each step).
#include "atlu/runtime.h"
#include "iis/iis_config.h"
#include "qxtest/kit.h"
#include "qxtest/metabase.h"

extern "C" UINT __stdcall CheckIISConfigUI(MSIHANDLE session);

namespace {

using qxkit::N;

class IIS : public ::testing::Test {
protected:
    atlutils::ComRuntime com_;
    qxtest::TempDir dir_;
    qxtest::MetabaseEmulator emulator_{dir_.File(L"metabase.txt")};
    const std::wstring here_ = qxtest::SourceDir() + L"\\custom_actions\\iis\\tests\\";
    void UseSites() { emulator_.Reset(qxmb::Serialize(qxmb::Load(here_ + L"sites.txt"))); }
    // The change log from line `from` on, each line marked.
    void AddChanges(std::vector<std::string>& got, size_t from = 0)
    {
        const auto all = emulator_.Changes();
        for (size_t i = from; i < all.size(); ++i) got.push_back("change: " + N(all[i]));
    }
};

TEST_F(IIS, EachCaseOfCheckTxt)
{
    UseSites();
    const std::wstring file = here_ + L"check.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) {
        auto got = qxkit::RunActions(c);
        AddChanges(got);
        qxkit::ExpectCase(file, c, got);
    }
}

// The dialog twin shows a port that is no number in a box: the action as
// linked into this program, so that the box is recorded and nobody has to
// press OK on the test display.
TEST_F(IIS, APortThatIsNoNumberIsABoxInTheDialogTwin)
{
    UseSites();
    qxkit::Boxes boxes;
    qxkit::CostedSession s({{L"QUORIX_IIS_WEB_SITE", L"6"}, {L"QUORIX_IIS_WEB_VDIR", L"quorix"}, {L"DNSComputerNameFQ", L"h"}},
                           {qxkit::Row(L"Feature", L"'IISWeb', 1, 0"),
                            qxkit::Row(L"Component", L"'QuorixWebSiteIIS', '{7B2E4D61-3C5A-4F8E-9D10-2A6B8C4E1F37}', 'TARGETDIR', 0, ''"),
                            qxkit::Row(L"FeatureComponents", L"'IISWeb', 'QuorixWebSiteIIS'")});
    EXPECT_EQ(CheckIISConfigUI(s.Handle()), 1603u);
    EXPECT_EQ(s.Property(L"_InvalidIISConfig") + s.Property(L"QUORIX_WEB_URL"), L"");
    EXPECT_EQ(boxes.Texts(), qxkit::Lines{L"Conversion error: Invalid input"});
}

// A case: the metabase, and "run install|remove VERSION" lines; it expects
// every message and change of each run, then the time-out and extension list.
TEST_F(IIS, EachCaseOfConfigureTxt)
{
    const std::wstring file = here_ + L"configure.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) {
        std::string metabase;
        std::vector<std::string> got;
        for (const auto& line : c.in) metabase += line.rfind("run ", 0) == 0 ? "" : line + "\n";
        emulator_.Reset(metabase);
        for (const auto& line : c.in) {
            if (line.rfind("run ", 0) != 0) continue;
            const size_t before = emulator_.Changes().size();
            const quorix::iis::ConfigData data{line.rfind("run remove", 0) == 0, static_cast<uint16_t>(std::stoi(line.substr(11))),
                                               L"IIS://localhost/w3svc/1/ROOT/quorix", L"C:\\qx\\cgi\\", L"C:\\qx\\x-cgi\\"};
            for (const auto& l : qxkit::Transcript(qxkit::InFrame(L"QuorixIISConfigDeferred", [&] { quorix::iis::ConfigureIIS(data); })))
                got.push_back(l);
            AddChanges(got, before);
        }
        const auto mb = emulator_.Read();
        const qxmb::Node* vdir = mb.Find(L"/w3svc/1/ROOT/quorix");
        const qxmb::Value* timeout = vdir ? vdir->Find(L"CGITimeout") : nullptr;
        got.push_back("CGITimeout " + (timeout ? std::to_string(timeout->number) : std::string("none")));
        if (const qxmb::Value* list = mb.Find(L"/w3svc")->Find(L"WebSvcExtRestrictionList"))
            for (const auto& l : list->list) got.push_back("list " + N(l));
        qxkit::ExpectCase(file, c, got);
    }
}

}  // namespace
