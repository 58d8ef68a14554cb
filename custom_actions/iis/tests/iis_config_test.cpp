// The deferred function's data and mode rules
// through the exports, and its install-script work in a frame of its own
// against the emulator: install, repair, removal, IIS versions, missing
// extension lists and failures at each step.
#include <gtest/gtest.h>

#include <functional>

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
const wchar_t kPerl[] = L"C:\\Perl\\bin\\perl.exe \"%s\" %s";

const wchar_t kTimeoutWarning[] = L"Unable to configure the CGI timeout value for Quorix in IIS.";
const wchar_t kProbeWarning[] = L"Unable to probe and/or configure web service extensions for Quorix in IIS.";
const wchar_t kRowWarning[] =
    L"One or more web service extensions for Quorix could not be added to IIS. Some Quorix programs may be "
    L"prevented from running.";
const wchar_t kPerlWarning[] =
    L"The Perl CGI web service extension in IIS could not be enabled. The Quorix Perl scripts may be prevented "
    L"from running.";

const wchar_t kChecking[] = L"QuorixIISConfigDeferred:  Checking that CGITimeout has a minimum value of: 86400";
const wchar_t kNoLists[] =
    L"QuorixIISConfigDeferred:  No \"WebSvcExtRestrictionList\" property found - not configuring any IIS service "
    L"extensions.";
const wchar_t kConfiguring[] = L"QuorixIISConfigDeferred:  Configuring IIS web service extensions.";
const wchar_t kRemoving[] = L"QuorixIISConfigDeferred:  Removing IIS web service extensions.";
const wchar_t kEnabling[] =
    L"QuorixIISConfigDeferred:  Enabling Perl CGI script mapping extension: C:\\Perl\\bin\\perl.exe \"%s\" %s";

// The metabase of a machine with IIS 6: extension lists, the Perl record
// not yet allowed, the site's virtual directory with a short time-out. The
// placeholders are filled per case.
std::string Metabase(const std::string& listLines, const std::string& vdirLines, const std::string& serviceExtra = "")
{
    return "[/w3svc]\nClass = IIsWebService\n" + listLines + serviceExtra +
           "[/w3svc/1]\nClass = IIsWebServer\nServerBindings += :80:\n"
           "[/w3svc/1/ROOT]\nScriptMaps += .pl,C:\\Perl\\bin\\perl.exe \"%s\" %s\n" +
           vdirLines;
}

const std::string kLists = "WebSvcExtRestrictionList += 0,*.exe\n"
                           "WebSvcExtRestrictionList += 0,C:\\Perl\\bin\\perl.exe \"%s\" %s,1,Perl,Perl CGI\n"
                           "WebSvcExtRestrictionList += 1,C:\\qx\\x-cgi\\qx-daemonget.exe,0,QuorixXCGI,Quorix X-CGI\n";
const std::string kVdirNode = "[/w3svc/1/ROOT/quorix]\nClass = IIsWebVirtualDir\n"
                              "ScriptMaps += .pl,C:\\Perl\\bin\\perl.exe \"%s\" %s,5,GET,HEAD,POST\n";

const wchar_t* const kFiles[] = {
    L"C:\\qx\\cgi\\htsearch.exe",         L"C:\\qx\\cgi\\qx-geterror.exe",    L"C:\\qx\\cgi\\nph-quorix.exe",
    L"C:\\qx\\x-cgi\\qx-config.exe",      L"C:\\qx\\x-cgi\\qx-getseq.exe",    L"C:\\qx\\x-cgi\\qx-gettaxonomy.exe",
    L"C:\\qx\\x-cgi\\qx-review.exe",      L"C:\\qx\\x-cgi\\qx-status.exe",
};

std::wstring Add(int row)
{
    const bool x = row >= 3;
    return L"AddExtensionFile " + std::wstring(kFiles[row]) + (x ? L" (QuorixXCGI, \"Quorix X-CGI\"" : L" (QuorixCGI, \"Quorix CGI\"") +
           L", allowed, not deletable)";
}
std::wstring Delete(int row, bool existed)
{
    return L"DeleteExtensionFileRecord " + std::wstring(kFiles[row]) + (existed ? L"" : L" -> failed 0x80070002");
}
const wchar_t kDeleteRetired[] = L"DeleteExtensionFileRecord C:\\qx\\x-cgi\\qx-daemonget.exe";
const std::wstring kEnablePerl = L"EnableExtensionFile " + std::wstring(kPerl);

// The records of the table as the emulator keeps them.
std::vector<std::wstring> Records(int rows)
{
    std::vector<std::wstring> r;
    for (int i = 0; i < rows; ++i)
        r.push_back(std::wstring(L"1,") + kFiles[i] + (i >= 3 ? L",0,QuorixXCGI,Quorix X-CGI" : L",0,QuorixCGI,Quorix CGI"));
    return r;
}

class Configure : public iistest::WithMetabase {
protected:
    struct Run {
        UINT result;
        Lines info, warnings, fatal;
        Lines changes;
    };

    Run Go(bool removing, uint16_t version)
    {
        qxtest::Session s;
        quorix::iis::ConfigData data{removing, version, kVdir, kCgi, kXcgi};
        const std::size_t before = emulator_.Changes().size();
        Run r;
        r.result = msiu::RunAction(s.Handle(), L"QuorixIISConfigDeferred", false, [&] { quorix::iis::ConfigureIIS(data); });
        r.info = s.capture.Texts(0x4000000);
        r.warnings = s.capture.Texts(0x2000000);
        r.fatal = s.capture.Texts(0);
        const Lines all = emulator_.Changes();
        r.changes.assign(all.begin() + before, all.end());
        return r;
    }

    long Timeout()
    {
        const auto mb = emulator_.Read();
        const qxmb::Value* v = mb.Find(L"/w3svc/1/ROOT/quorix") ? mb.Find(L"/w3svc/1/ROOT/quorix")->Find(L"CGITimeout") : nullptr;
        return v ? v->number : -1;
    }
    std::vector<std::wstring> List()
    {
        const auto mb = emulator_.Read();
        const qxmb::Value* v = mb.Find(L"/w3svc")->Find(L"WebSvcExtRestrictionList");
        return v ? v->list : std::vector<std::wstring>{L"(no list)"};
    }
};

// Every row deleted (none existed) then added, the retired record deleted.
Lines FreshRows()
{
    Lines l;
    for (int i = 0; i < 8; ++i) {
        l.push_back(Delete(i, false));
        l.push_back(Add(i));
    }
    l.push_back(kDeleteRetired);
    return l;
}

TEST_F(Configure, InstallRaisesTheTimeOutAddsTheRowsAndEnablesPerl)
{
    Use(Metabase(kLists, kVdirNode + "CGITimeout #= 300\n"));
    const Run r = Go(false, 600);
    EXPECT_EQ(r.result, 0u);
    EXPECT_TRUE(r.warnings.empty());
    EXPECT_EQ(r.info, (Lines{kChecking, L"QuorixIISConfigDeferred:  Replacing previous CGITimeout value: 300",
                             kConfiguring, kEnabling}));
    Lines expect = {L"Put /w3svc/1/ROOT/quorix CGITimeout = 86400", L"SetInfo /w3svc/1/ROOT/quorix CGITimeout=86400"};
    for (const auto& l : FreshRows()) expect.push_back(l);
    expect.push_back(kEnablePerl);
    EXPECT_EQ(r.changes, expect);

    EXPECT_EQ(Timeout(), 86400);
    Lines list = {L"0,*.exe", L"1,C:\\Perl\\bin\\perl.exe \"%s\" %s,1,Perl,Perl CGI"};
    for (const auto& rec : Records(8)) list.push_back(rec);
    EXPECT_EQ(List(), list);

    // A repair finds every record there: deleted and made anew, the time-out kept.
    const Run repair = Go(false, 600);
    EXPECT_TRUE(repair.warnings.empty());
    EXPECT_EQ(repair.info, (Lines{kChecking, kConfiguring, kEnabling}));
    Lines again;
    for (int i = 0; i < 8; ++i) {
        again.push_back(Delete(i, true));
        again.push_back(Add(i));
    }
    again.push_back(std::wstring(kDeleteRetired) + L" -> failed 0x80070002");
    again.push_back(kEnablePerl);
    EXPECT_EQ(repair.changes, again);
    EXPECT_EQ(List(), list);
}

TEST_F(Configure, TimeOutRaisedOnlyWhenBelowOneDay)
{
    struct Case {
        const char* line;  // the CGITimeout line of the node, if any
        long after;
        const wchar_t* replacing;  // the old value logged, or nullptr
    } cases[] = {
        {"CGITimeout #= 300\n", 86400, L"300"},
        {"CGITimeout #= 86399\n", 86400, L"86399"},
        {"CGITimeout #= 86400\n", 86400, nullptr},
        {"CGITimeout #= 100000\n", 100000, nullptr},
        {"", 86400, L"0"},  // no property: no old value
    };
    for (const Case& c : cases) {
        Use(Metabase("", kVdirNode + c.line));
        const Run r = Go(false, 600);
        EXPECT_EQ(Timeout(), c.after) << c.line;
        Lines info = {kChecking};
        if (c.replacing) info.push_back(L"QuorixIISConfigDeferred:  Replacing previous CGITimeout value: " + std::wstring(c.replacing));
        info.push_back(kNoLists);
        EXPECT_EQ(r.info, info) << c.line;
        EXPECT_TRUE(r.warnings.empty()) << c.line;
    }
}

TEST_F(Configure, RemovalDeletesOnlyAndLeavesTimeOutAndPerl)
{
    // The script map would fail if it were looked up.
    Use(Metabase(kLists + "WebSvcExtRestrictionList += 1,C:\\qx\\cgi\\htsearch.exe,0,QuorixCGI,Quorix CGI\n",
                 kVdirNode + "CGITimeout #= 300\n!fail GetEx ScriptMaps = 0x80070005\n!fail Bind = 0x80070005\n"));
    const Run r = Go(true, 600);
    EXPECT_EQ(r.result, 0u);
    EXPECT_TRUE(r.warnings.empty());
    EXPECT_EQ(r.info, Lines{kRemoving});
    Lines expect;
    for (int i = 0; i < 8; ++i) expect.push_back(Delete(i, i == 0));
    expect.push_back(kDeleteRetired);
    EXPECT_EQ(r.changes, expect);
    EXPECT_EQ(Timeout(), 300);
    EXPECT_EQ(List(), (Lines{L"0,*.exe", L"0,C:\\Perl\\bin\\perl.exe \"%s\" %s,1,Perl,Perl CGI"}));
}

TEST_F(Configure, WithoutExtensionListsOrBeforeVersion600NoRecordIsTouched)
{
    struct Case {
        const char* name;
        std::string lists;
        uint16_t version;
    } cases[] = {
        {"IIS 5 with the property present", kLists, 500},
        {"IIS 5.99", kLists, 599},
        {"IIS 6 without the property", "", 600},
        {"IIS 7 where the property is not supported", "!fail GetEx WebSvcExtRestrictionList = 0x80005006\n", 700},
    };
    for (const Case& c : cases) {
        Use(Metabase(c.lists, kVdirNode + "CGITimeout #= 86400\n"));
        const auto listBefore = List();
        const Run r = Go(false, c.version);
        EXPECT_EQ(r.info, (Lines{kChecking, kNoLists})) << c.name;
        EXPECT_TRUE(r.warnings.empty()) << c.name;
        EXPECT_TRUE(r.changes.empty()) << c.name;
        EXPECT_EQ(List(), listBefore) << c.name;
    }
}

TEST_F(Configure, AFailureAtTheFourthRowLeavesTheRestUndoneButGoesOn)
{
    Use(Metabase(kLists, kVdirNode + "CGITimeout #= 86400\n",
                 "!fail AddExtensionFile C:\\qx\\x-cgi\\qx-config.exe = 0x80070005\n"));
    const Run r = Go(false, 600);
    EXPECT_EQ(r.result, 0u);
    EXPECT_EQ(r.warnings, Lines{kRowWarning});
    EXPECT_EQ(r.info, (Lines{kChecking, kConfiguring,
                             L"QuorixIISConfigDeferred:  IISWebService::AddExtensionFile() failed for: "
                             L"C:\\qx\\x-cgi\\qx-config.exe  (0x80070005)",
                             kEnabling}));
    Lines expect;
    for (int i = 0; i < 3; ++i) {
        expect.push_back(Delete(i, false));
        expect.push_back(Add(i));
    }
    expect.push_back(Delete(3, false));
    expect.push_back(Add(3) + L" -> failed 0x80070005");
    expect.push_back(kDeleteRetired);
    expect.push_back(kEnablePerl);
    EXPECT_EQ(r.changes, expect);

    Lines list = {L"0,*.exe", L"1,C:\\Perl\\bin\\perl.exe \"%s\" %s,1,Perl,Perl CGI"};
    for (const auto& rec : Records(3)) list.push_back(rec);
    EXPECT_EQ(List(), list);
}

TEST_F(Configure, EachGuardedPartWarnsAfterLoggingTheRealCause)
{
    struct Case {
        const char* name;
        std::string metabase;
        Lines causes;    // info lines that are not the usual progress lines
        Lines warnings;  // in order
    } cases[] = {
        {"virtual directory missing", Metabase(kLists, ""),
         {L"QuorixIISConfigDeferred:  Unable to fetch IIS metabase node: " + std::wstring(kVdir) + L"  (0x80070003)",
          L"QuorixIISConfigDeferred:  Unable to fetch IIS metabase node: " + std::wstring(kVdir) + L"  (0x80070003)"},
         {kTimeoutWarning, kProbeWarning}},
        {"time-out unreadable", Metabase(kLists, kVdirNode + "!fail Get CGITimeout = 0x80070005\n"),
         {L"QuorixIISConfigDeferred:  Failed to get \"CGITimeout\" property at: " + std::wstring(kVdir) +
          L"  (0x80070005)"},
         {kTimeoutWarning}},
        {"time-out not writable", Metabase(kLists, kVdirNode + "CGITimeout #= 1\n!fail SetInfo = 0x80070013\n"),
         {L"QuorixIISConfigDeferred:  Replacing previous CGITimeout value: 1",
          L"QuorixIISConfigDeferred:  Failed to set \"CGITimeout\" property at: " + std::wstring(kVdir) +
              L"  (0x80070013)"},
         {kTimeoutWarning}},
        {"time-out refused", Metabase(kLists, kVdirNode + "CGITimeout #= 1\n!fail Put CGITimeout = 0x80070013\n"),
         {L"QuorixIISConfigDeferred:  Replacing previous CGITimeout value: 1",
          L"QuorixIISConfigDeferred:  Failed to set \"CGITimeout\" property at: " + std::wstring(kVdir) +
              L"  (0x80070013)"},
         {kTimeoutWarning}},
        {"web service unreachable", Metabase(kLists, kVdirNode, "!fail Bind = 0x80070005\n"),
         {L"QuorixIISConfigDeferred:  Unable to fetch IIS metabase node: IIS://localhost/w3svc  (0x80070005)"},
         {kProbeWarning}},
        {"extension list unreadable", Metabase(kLists, kVdirNode, "!fail GetEx WebSvcExtRestrictionList = 0x80070005\n"),
         {L"QuorixIISConfigDeferred:  Failed to get \"WebSvcExtRestrictionList\" property at: IIS://localhost/w3svc  "
          L"(0x80070005)"},
         {kProbeWarning}},
        {"no web service interface", Metabase(kLists, kVdirNode, "!fail QueryInterface IISWebService = 1\n"),
         {L"QuorixIISConfigDeferred:  Interface IISWebService not available  (0x80004002)"},
         {kProbeWarning}},
        {"no Perl mapping at the virtual directory",
         Metabase(kLists, "[/w3svc/1/ROOT/quorix]\nScriptMaps += .asp,C:\\asp.dll\n"),
         {L"QuorixIISConfigDeferred:  No Perl CGI script mapping found at: " + std::wstring(kVdir) + L"  (0x80070057)"},
         {kPerlWarning}},
        {"no Perl record to enable",
         Metabase("WebSvcExtRestrictionList += 0,*.exe\n", kVdirNode),
         {L"QuorixIISConfigDeferred:  IISWebService::EnableExtensionFile() failed for: " + std::wstring(kPerl) +
          L"  (0x80070002)"},
         {kPerlWarning}},
        {"script map unreadable", Metabase(kLists, kVdirNode + "!fail GetEx ScriptMaps = 0x80070005\n"),
         {L"QuorixIISConfigDeferred:  Failed to get ScriptMaps property for: " + std::wstring(kVdir) + L"  (0x80070005)"},
         {kProbeWarning}},
    };
    for (const Case& c : cases) {
        Use(c.metabase);
        const Run r = Go(false, 600);
        EXPECT_EQ(r.result, 0u) << c.name;
        EXPECT_TRUE(r.fatal.empty()) << c.name;
        EXPECT_EQ(r.warnings, c.warnings) << c.name;
        Lines causes;
        for (const auto& l : r.info)
            if (l != kChecking && l != kConfiguring && l != kEnabling &&
                l.find(L"Replacing previous CGITimeout value: 0") == std::wstring::npos)
                causes.push_back(l);
        EXPECT_EQ(causes, c.causes) << c.name;
    }
}

TEST_F(Configure, WarningsComeWithoutTheActionNameAfterTheirCause)
{
    Use(Metabase(kLists, ""));
    qxtest::Session s;
    quorix::iis::ConfigData data{false, 600, kVdir, kCgi, kXcgi};
    msiu::RunAction(s.Handle(), L"QuorixIISConfigDeferred", false, [&] { quorix::iis::ConfigureIIS(data); });
    std::vector<std::pair<UINT, std::wstring>> seq;
    for (const auto& m : s.capture.messages)
        if (m.type == 0x2000000 || m.text.find(L"Unable to fetch") != std::wstring::npos) seq.push_back({m.type, m.text});
    const std::wstring cause =
        L"QuorixIISConfigDeferred:  Unable to fetch IIS metabase node: " + std::wstring(kVdir) + L"  (0x80070003)";
    EXPECT_EQ(seq, (std::vector<std::pair<UINT, std::wstring>>{
                       {0x4000000, cause}, {0x2000000, kTimeoutWarning}, {0x4000000, cause}, {0x2000000, kProbeWarning}}));
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
    Use(Metabase(kLists, kVdirNode + "CGITimeout #= 300\n"));
    const std::wstring good = std::wstring(L"0|600|") + kVdir + L"|" + kCgi + L"|" + kXcgi;
    const std::wstring incomplete = L"QuorixIISConfigDeferred:  Missing or incomplete CA data  (0x80070057)";
    const struct {
        std::wstring data;
        UINT result;
        std::wstring fatal;  // checked when set
    } cases[] = {
        {good, 0u, L""},
        {std::wstring(L"1|600|") + kVdir + L"|" + kCgi + L"|" + kXcgi, 0u, L""},
        {L"0|600|" + std::wstring(kVdir) + L"|" + kCgi, 1603u, incomplete},
        {good + L"|x", 1603u, incomplete},
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
    EXPECT_EQ(Timeout(), 300);
}

}  // namespace
