// QuorixIISConfig's install-script work against the emulator, from
// configure.txt (install, repair, removal, IIS versions, missing extension
// lists and failures at each step), one extension row, and the deferred
// function's data rules through the export.

#include "iis/iis_config.h"
#include "msiu/iis.h"
#include "msiu/session.h"
#include "support.h"

namespace {

using iistest::N;
using Lines = std::vector<std::wstring>;

const wchar_t kVdir[] = L"IIS://localhost/w3svc/1/ROOT/quorix";
const wchar_t kCgi[] = L"C:\\qx\\cgi\\";
const wchar_t kXcgi[] = L"C:\\qx\\x-cgi\\";

class Configure : public iistest::WithMetabase {};

// configure.txt: runs of the install-script work on a metabase, with every
// message, every change and the time-out and extension list at the end.
TEST_F(Configure, EachCaseOfConfigureTxt)
{
    const std::wstring file = qxtest::SourceDir() + L"\\custom_actions\\iis\\tests\\configure.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) {
        std::string metabase;
        std::vector<std::string> runs, got;
        for (const auto& line : c.in) (line.rfind("run ", 0) == 0 ? runs.push_back(line.substr(4)) : void(metabase += line + "\n"));
        Use(metabase);
        for (const std::string& run : runs) {
            const std::size_t before = emulator_.Changes().size();
            const quorix::iis::ConfigData data{run.rfind("remove", 0) == 0, static_cast<uint16_t>(std::stoi(run.substr(7))),
                                               kVdir, kCgi, kXcgi};
            for (const auto& l : qxkit::Transcript(qxkit::InFrame(L"QuorixIISConfigDeferred", [&] { quorix::iis::ConfigureIIS(data); })))
                got.push_back(l);
            const Lines all = emulator_.Changes();
            for (std::size_t i = before; i < all.size(); ++i) got.push_back("change: " + N(all[i]));
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

TEST_F(Configure, ARowIsDeletedThenAddedOrOnlyDeletedWhenRemoving)
{
    Use("[/w3svc]\nClass = IIsWebService\nWebSvcExtRestrictionList += 0,C:\\a.exe,1,Old,Old\n"
        "!fail AddExtensionFile C:\\b.exe = 0x80070005\n");
    msiu::IADsPtr node = msiu::GetIISNode(L"IIS://localhost/w3svc");
    atlutils::ComPtr<IISWebService> service;
    ASSERT_EQ(node->QueryInterface(atlutils::kIID_IISWebService, service.PutVoid()), S_OK);
    qxtest::Session s;
    std::vector<bool> results;
    msiu::RunAction(s.Handle(), L"Row", false, [&] {
        results.push_back(ReconfigureExtensionFile(service.Get(), L"C:\\a.exe", L"G", L"D", false));
        results.push_back(ReconfigureExtensionFile(service.Get(), L"C:\\b.exe", L"G", L"D", false));
        results.push_back(ReconfigureExtensionFile(service.Get(), L"C:\\c.exe", L"G", L"D", true));
    });
    EXPECT_EQ(results, (std::vector<bool>{true, false, true}));
    EXPECT_EQ(s.capture.Texts(0x4000000),
              Lines{L"Row:  IISWebService::AddExtensionFile() failed for: C:\\b.exe  (0x80070005)"});
    EXPECT_EQ(emulator_.Changes(), (Lines{
                                       L"DeleteExtensionFileRecord C:\\a.exe",
                                       L"AddExtensionFile C:\\a.exe (G, \"D\", allowed, not deletable)",
                                       L"DeleteExtensionFileRecord C:\\b.exe -> failed 0x80070002",
                                       L"AddExtensionFile C:\\b.exe (G, \"D\", allowed, not deletable) -> failed 0x80070005",
                                       L"DeleteExtensionFileRecord C:\\c.exe -> failed 0x80070002",
                                   }));
}

// ---- through the exports ---------------------------------------------------------

TEST_F(Configure, DeferredDataIsCheckedInEveryModeAndNothingRunsOutsideTheScript)
{
    Use("[/w3svc]\nClass = IIsWebService\n[/w3svc/1/ROOT/quorix]\nClass = IIsWebVirtualDir\nCGITimeout #= 300\n");
    const std::wstring good = std::wstring(L"0|600|") + kVdir + L"|" + kCgi + L"|" + kXcgi;
    const std::wstring incomplete = L"QuorixIISConfigDeferred:  Missing or incomplete CA data  (0x80070057)";
    const struct {
        std::wstring data;
        UINT result;
        std::wstring fatal;  // checked when set
    } cases[] = {
        {good, 0u, L""},
        {std::wstring(L"1|600|") + kVdir + L"|" + kCgi + L"|" + kXcgi, 0u, L""},
        {L"a|b|c|d", 1603u, incomplete},
        {L"", 1603u, L"QuorixIISConfigDeferred:  Property \"CustomActionData\" does not exist  (0x80070057)"},
        {std::wstring(L"maybe|600|") + kVdir + L"|" + kCgi + L"|" + kXcgi, 1603u, L""},
        {std::wstring(L"0|six|") + kVdir + L"|" + kCgi + L"|" + kXcgi, 1603u, L""},
        {std::wstring(L"0|70000|") + kVdir + L"|" + kCgi + L"|" + kXcgi, 1603u, L""},
    };
    for (const auto& c : cases) {
        qxtest::Session s(qxtest::Props{{L"CustomActionData", c.data}});
        EXPECT_EQ(qxtest::Action("QuorixIISConfigDeferred")(s.Handle()), c.result) << N(c.data);
        if (!c.fatal.empty()) EXPECT_EQ(s.capture.Texts(0), Lines{c.fatal});
    }
    EXPECT_TRUE(emulator_.Changes().empty());
}

}  // namespace
