// Metabase access against the metabase emulator: paths, a site's binding, a
// node's script map, the children of a container, finding a site by its
// display name, and the extension record wrappers, each with its failures.
#include <gtest/gtest.h>

#include <comdef.h>

#include <functional>

#include "atlu/runtime.h"
#include "msiu/error.h"
#include "msiu/iis.h"
#include "pal/atlexception.h"
#include "qxtest/metabase.h"
#include "qxtest/session.h"

namespace {

std::string N(const std::wstring& w) { return std::string(w.begin(), w.end()); }

// What a call raised: the kind, its code and (for MSIError) its text.
struct Outcome {
    std::string kind;  // "", "MSIError", "_com_error", "CAtlException"
    uint32_t code = 0;
    std::wstring text;
};

Outcome Attempt(const std::function<void()>& f)
{
    try {
        f();
    } catch (const msiu::MSIError& e) {
        return {"MSIError", static_cast<uint32_t>(e.Code()), e.Text()};
    } catch (const _com_error& e) {
        return {"_com_error", static_cast<uint32_t>(e.Error()), L""};
    } catch (const ATL::CAtlException& e) {
        return {"CAtlException", static_cast<uint32_t>(e.m_hr), L""};
    }
    return {};
}

// ---- paths -----------------------------------------------------------------------

TEST(IISPaths, BuiltFromSiteVirtualDirectoryAndHost)
{
    struct Case {
        const wchar_t *site, *vdir, *host, *sitePath, *vdirPath;
    } cases[] = {
        {L"1", L"quorix", L"localhost", L"IIS://localhost/w3svc/1", L"IIS://localhost/w3svc/1/ROOT/quorix"},
        {L"1", L"", L"localhost", L"IIS://localhost/w3svc/1", L"IIS://localhost/w3svc/1/ROOT"},
        {L"1", L"/quorix", L"localhost", L"IIS://localhost/w3svc/1", L"IIS://localhost/w3svc/1/ROOT/quorix"},
        {L"/2/", L"a/b", L"web01", L"IIS://web01/w3svc/2/", L"IIS://web01/w3svc/2/ROOT/a/b"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(msiu::IISSitePath(c.site, c.host), c.sitePath) << N(c.site);
        EXPECT_EQ(msiu::IISVirtualDirPath(c.site, c.vdir, c.host), c.vdirPath) << N(c.vdir);
    }
    EXPECT_EQ(msiu::IISServicePath(L"localhost"), L"IIS://localhost/w3svc");
}

TEST(IISPaths, JoinLooksAtOneSlashOnEachSide)
{
    struct Case {
        const wchar_t *left, *right, *joined;
    } cases[] = {
        {L"a", L"b", L"a/b"},   {L"a/", L"b", L"a/b"},     {L"a", L"/b", L"a/b"},
        {L"a/", L"/b", L"a/b"}, {L"a//", L"b", L"a//b"},   {L"a", L"//b", L"a//b"},
        {L"/", L"/", L"/"},     {L"a", L"b/", L"a/b/"},
    };
    for (const Case& c : cases) EXPECT_EQ(msiu::JoinIISPath(c.left, c.right), c.joined) << N(c.left) << "+" << N(c.right);
}

TEST(IISPaths, EmptyPiecesAndBadHostsAreRefused)
{
    for (auto [l, r] : {std::pair{L"", L"b"}, std::pair{L"a", L""}}) {
        const Outcome o = Attempt([&] { msiu::JoinIISPath(l, r); });
        EXPECT_EQ(o.kind, "_com_error");
        EXPECT_EQ(o.code, 0x80070057u);
    }
    // So no path operation yields a path with an empty site.
    EXPECT_EQ(Attempt([] { msiu::IISSitePath(L"", L"localhost"); }).kind, "_com_error");
    EXPECT_EQ(Attempt([] { msiu::IISVirtualDirPath(L"", L"quorix", L"localhost"); }).kind, "_com_error");

    const Outcome o = Attempt([] { msiu::IISVirtualDirPath(L"1", L"q", L"host/x"); });
    EXPECT_EQ(o.kind, "MSIError");
    EXPECT_EQ(o.code, 0x80070057u);
    EXPECT_EQ(o.text, L"IIS host name invalid: host/x");
}

// ---- against the emulator ----------------------------------------------------------

class Metabase : public ::testing::Test {
protected:
    atlutils::ComRuntime com_;
    qxtest::TempDir dir_;
    qxtest::MetabaseEmulator emulator_{dir_.File(L"metabase.txt")};
    void Use(const std::string& text) { emulator_.Reset(text); }
};

const char kSites[] =
    "[/w3svc]\nClass = IIsWebService\n"
    "[/w3svc/1]\nClass = IIsWebServer\nServerComment = Default Web Site\nServerBindings += :80:\n"
    "SecureBindings += :443:\n"
    "[/w3svc/1/ROOT]\nClass = IIsWebVirtualDir\n"
    "[/w3svc/2]\nClass = IIsWebServer\nServerComment = Intranet\nServerBindings += 10.0.0.5:8080:intranet\n"
    "ServerBindings += :81:\n"
    "[/w3svc/3]\nClass = IIsWebServer\nServerBindings +=  10.0.0.5 : 8080 : intranet \n"
    "[/w3svc/4]\nClass = IIsWebServer\nServerBindings += 10.0.0.5:8080\n"
    "[/w3svc/5]\nClass = IIsWebServer\nServerBindings += no-colon\n"
    "[/w3svc/6]\nClass = IIsWebServer\nServerBindings += ::a:b\n"
    "[/w3svc/7]\nClass = IIsWebServer\nServerBindings += \nServerBindings += :80:\nSecureBindings += \n"
    "[/w3svc/8]\nClass = IIsWebServer\nServerBindings += :80:\n!fail Class = 0x80070005\n"
    "[/w3svc/9]\nClass = IIsWebServer\nServerBindings = :80:\n"
    "[/w3svc/10]\nClass = iiswebserver\nServerBindings += :80:\n";

TEST_F(Metabase, SiteBindingsSplitIntoAddressPortAndHost)
{
    Use(kSites);
    struct Case {
        const wchar_t* site;
        bool ssl;
        const wchar_t *ip, *port, *host;  // on success
        uint32_t code;                     // 0: success
        const wchar_t* text;
    } cases[] = {
        {L"1", false, L"", L"80", L"", 0, nullptr},
        {L"1", true, L"", L"443", L"", 0, nullptr},
        {L"2", false, L"10.0.0.5", L"8080", L"intranet", 0, nullptr},  // the first of two
        {L"3", false, L"10.0.0.5", L"8080", L"intranet", 0, nullptr},
        {L"6", false, L"", L"", L"a:b", 0, nullptr},
        {L"9", false, L"", L"80", L"", 0, nullptr},  // a single value reads as a list of one
        {L"2", true, nullptr, nullptr, nullptr, 0x8000500Du,
         L"Failed to get SecureBindings property for: IIS://localhost/w3svc/2"},
        {L"4", false, nullptr, nullptr, nullptr, 0x80070057u,
         L"Malformed web server binding \"10.0.0.5:8080\" for: IIS://localhost/w3svc/4"},
        {L"5", false, nullptr, nullptr, nullptr, 0x80070057u,
         L"Malformed web server binding \"no-colon\" for: IIS://localhost/w3svc/5"},
        {L"7", false, nullptr, nullptr, nullptr, 0x80070057u,
         L"Web server binding entry is empty for: IIS://localhost/w3svc/7"},
        {L"7", true, nullptr, nullptr, nullptr, 0x80070057u,
         L"Web server binding entry is empty for: IIS://localhost/w3svc/7"},
        {L"8", false, nullptr, nullptr, nullptr, 0x80070005u,
         L"Failed to get Class property for: IIS://localhost/w3svc/8"},
        {L"1/ROOT", false, nullptr, nullptr, nullptr, 0x80070057u,
         L"Not a valid web site path: IIS://localhost/w3svc/1/ROOT"},
        // Class names compare case-sensitively.
        {L"10", false, nullptr, nullptr, nullptr, 0x80070057u, L"Not a valid web site path: IIS://localhost/w3svc/10"},
        {L"99", false, nullptr, nullptr, nullptr, 0x80070003u,
         L"Unable to fetch IIS metabase node: IIS://localhost/w3svc/99"},
    };
    for (const Case& c : cases) {
        std::wstring ip = L"x", port = L"x", host = L"x";
        const Outcome o =
            Attempt([&] { msiu::GetIISSiteBinding(msiu::IISSitePath(c.site, L"localhost"), ip, port, host, c.ssl); });
        const std::string name = N(c.site) + (c.ssl ? " ssl" : "");
        if (c.code == 0) {
            EXPECT_EQ(o.kind, "") << name;
            EXPECT_EQ(ip, c.ip) << name;
            EXPECT_EQ(port, c.port) << name;
            EXPECT_EQ(host, c.host) << name;
        } else {
            EXPECT_EQ(o.kind, "MSIError") << name;
            EXPECT_EQ(o.code, c.code) << name;
            EXPECT_EQ(o.text, c.text) << name;
        }
    }
}

TEST_F(Metabase, AnEmptyValueArrayIsNoMSIError)
{
    Use("[/w3svc/1]\nClass = IIsWebServer\nServerBindings []\n");
    std::wstring ip, port, host;
    const Outcome o = Attempt([&] { msiu::GetIISSiteBinding(L"IIS://localhost/w3svc/1", ip, port, host, false); });
    EXPECT_EQ(o.kind, "CAtlException");
    EXPECT_EQ(o.code, 0x80070057u);
}

TEST_F(Metabase, ScriptMapTargetIsTheSecondFieldOfTheFirstMatch)
{
    Use("[/w3svc/1/ROOT]\n"
        "ScriptMaps += .asp,C:\\asp.dll,5,GET\n"
        "ScriptMaps += \n"
        "ScriptMaps += .x,.pl,5\n"
        "ScriptMaps +=  .PL , C:\\Perl\\bin\\perl.exe \"%s\" %s ,5,GET,HEAD,POST\n"
        "ScriptMaps += .pl,C:\\second.exe\n"
        "[/w3svc/2/ROOT]\nScriptMaps += .pl\n"
        "[/w3svc/3/ROOT]\nScriptMaps += .asp,C:\\asp.dll\n"
        "[/w3svc/4/ROOT]\nScriptMaps []\n"
        "[/w3svc/5/ROOT]\nClass = IIsWebVirtualDir\n"
        "[/w3svc/6/ROOT]\nScriptMaps += .pl,C:\\p.exe\n!fail GetEx ScriptMaps = 0x80070005\n");
    struct Case {
        const wchar_t* site;
        const wchar_t* ext;
        const wchar_t* target;
        uint32_t code;
        const wchar_t* text;
    } cases[] = {
        {L"1", L".pl", L"C:\\Perl\\bin\\perl.exe \"%s\" %s", 0, nullptr},
        {L"1", L".asp", L"C:\\asp.dll", 0, nullptr},
        {L"1", L".cgi", L"", 0, nullptr},
        {L"2", L".pl", L".pl", 0, nullptr},  // an entry with no comma is its own target
        {L"3", L".pl", L"", 0, nullptr},
        {L"4", L".pl", L"", 0, nullptr},
        {L"5", L".pl", nullptr, 0x8000500Du, L"Failed to get ScriptMaps property for: IIS://localhost/w3svc/5/ROOT"},
        {L"6", L".pl", nullptr, 0x80070005u, L"Failed to get ScriptMaps property for: IIS://localhost/w3svc/6/ROOT"},
    };
    for (const Case& c : cases) {
        std::wstring target = L"unset";
        const Outcome o = Attempt(
            [&] { target = msiu::GetIISScriptMapTarget(msiu::IISVirtualDirPath(c.site, L"", L"localhost"), c.ext); });
        if (c.target) {
            EXPECT_EQ(o.kind, "") << N(c.site);
            EXPECT_EQ(target, c.target) << N(c.site) << N(c.ext);
        } else {
            EXPECT_EQ(o.code, c.code) << N(c.site);
            EXPECT_EQ(o.text, c.text) << N(c.site);
        }
    }
}

TEST_F(Metabase, ChildrenComeInOrderAndFailuresNameTheContainer)
{
    Use("[/w3svc]\nClass = IIsWebService\n[/w3svc/1]\n[/w3svc/1/ROOT]\n[/w3svc/Filters]\n[/w3svc/2]\n"
        "[/w3svc/1/ROOT/empty]\n"
        "[/w3svc/broken]\n!fail NewEnum = 0x80070005\n"
        "[/w3svc/halting]\n!fail Next = 0x8000FFFF\n[/w3svc/halting/a]\n"
        "[/w3svc/noenum]\n!fail EnumQuery = 1\n");
    std::vector<msiu::IADsPtr> list(3);
    msiu::ListIISChildren(L"IIS://localhost/w3svc", list);
    std::vector<std::wstring> names;
    for (auto& child : list) {
        atlutils::Bstr name;
        ASSERT_EQ(child->get_Name(name.Put()), S_OK);
        names.push_back(name.Text());
    }
    EXPECT_EQ(names, (std::vector<std::wstring>{L"1", L"Filters", L"2", L"broken", L"halting", L"noenum"}));

    msiu::ListIISChildren(L"IIS://localhost/w3svc/1/ROOT/empty", list);
    EXPECT_TRUE(list.empty());

    struct Case {
        const wchar_t* path;
        uint32_t code;
    } cases[] = {
        {L"IIS://localhost/w3svc/none", 0x80070003u},
        {L"IIS://localhost/w3svc/broken", 0x80070005u},
        {L"IIS://localhost/w3svc/halting", 0x8000FFFFu},
        {L"IIS://localhost/w3svc/noenum", 0x80004003u},
    };
    for (const Case& c : cases) {
        const Outcome o = Attempt([&] { msiu::ListIISChildren(c.path, list); });
        EXPECT_EQ(o.kind, "MSIError") << N(c.path);
        EXPECT_EQ(o.code, c.code) << N(c.path);
        EXPECT_EQ(o.text, L"Unable to enumerate IIS metabase container: " + std::wstring(c.path));
    }
}

const char kService[] =
    "[/w3svc]\nClass = IIsWebService\n"
    "[/w3svc/Filters]\nClass = IIsFilters\nServerComment = Quorix\n!fail Name = 0x80070005\n"
    "[/w3svc/1]\nClass = IIsWebServer\nServerComment = Default Web Site\n"
    "[/w3svc/7]\nClass = IIsWebServer\nServerComment = QUORIX Site\n"
    "[/w3svc/9]\nClass = IIsWebServer\nServerComment = quorix site\n";

TEST_F(Metabase, SiteFoundByDisplayNameFirstMatchRegardlessOfCase)
{
    Use(kService);
    struct Case {
        const wchar_t* display;
        bool found;
        const wchar_t* site;
    } cases[] = {
        {L"Quorix Site", true, L"7"},  // site 9 matches too, but comes later
        {L"default web site", true, L"1"},
        {L"Quorix", false, L""},  // only the filters node says so, and it is passed over
        {L"Quorix Site ", false, L""},
        {L"", false, L""},
    };
    for (const Case& c : cases) {
        std::wstring site = L"left over";
        bool found = false;
        const Outcome o = Attempt([&] { found = msiu::FindIISSiteByComment(L"IIS://localhost/w3svc", c.display, site); });
        EXPECT_EQ(o.kind, "") << N(c.display) << " " << N(o.text);
        EXPECT_EQ(found, c.found) << N(c.display);
        EXPECT_EQ(site, c.site) << N(c.display);
    }
}

TEST_F(Metabase, SiteSearchFailsOnAnyUnreadableChild)
{
    struct Case {
        const char* extra;  // appended to the first web site's node
        uint32_t code;
        const wchar_t* text;
    } cases[] = {
        {"!fail ADsPath = 0x80070005\n", 0x80070005u,
         L"Failed to get ADsPath property of child node.  Parent node was: IIS://localhost/w3svc"},
        {"!fail Class = 0x80070006\n", 0x80070006u, L"Failed to get Class property for: IIS://localhost/w3svc/1"},
        {"!fail Name = 0x80070007\n", 0x80070007u, L"Failed to get Name property for: IIS://localhost/w3svc/1"},
        {"!fail Get ServerComment = 0x80070008\n", 0x80070008u,
         L"Failed to get ServerComment property for: IIS://localhost/w3svc/1"},
    };
    for (const Case& c : cases) {
        Use("[/w3svc]\nClass = IIsWebService\n[/w3svc/1]\nClass = IIsWebServer\nServerComment = A\n" +
            std::string(c.extra) + "[/w3svc/2]\nClass = IIsWebServer\nServerComment = B\n");
        std::wstring site;
        const Outcome o = Attempt([&] { msiu::FindIISSiteByComment(L"IIS://localhost/w3svc", L"B", site); });
        EXPECT_EQ(o.code, c.code) << c.extra;
        EXPECT_EQ(o.text, c.text) << c.extra;
        EXPECT_EQ(site, L"");
    }

    Use("[/w3svc]\nClass = IIsWebService\n!fail Class = 0x80070005\n[/w3svc/1]\nClass = IIsWebServer\n");
    std::wstring site;
    Outcome o = Attempt([&] { msiu::FindIISSiteByComment(L"IIS://localhost/w3svc", L"B", site); });
    EXPECT_EQ(o.text, L"Failed to get Class property for: IIS://localhost/w3svc");
    o = Attempt([&] { msiu::FindIISSiteByComment(L"IIS://localhost/w3svc/1", L"B", site); });
    EXPECT_EQ(o.code, 0x80070057u);
    EXPECT_EQ(o.text, L"Not a valid web service path: IIS://localhost/w3svc/1");
}

TEST_F(Metabase, ExtensionRecordsAddedAndEnabledOrFailureNamesTheFile)
{
    Use("[/w3svc]\nClass = IIsWebService\nWebSvcExtRestrictionList += 0,C:\\perl.exe \"%s\" %s,1,Perl,Perl CGI\n"
        "!fail AddExtensionFile C:\\bad.exe = 0x80070005\n");
    msiu::IADsPtr node = msiu::GetIISNode(L"IIS://localhost/w3svc");
    atlutils::ComPtr<IISWebService> service;
    ASSERT_EQ(node->QueryInterface(atlutils::kIID_IISWebService, service.PutVoid()), S_OK);

    msiu::AddIISExtensionFile(service.Get(), L"C:\\q\\a.exe", L"QuorixCGI", L"Quorix CGI", true, false);
    msiu::EnableIISExtensionFile(service.Get(), L"C:\\perl.exe \"%s\" %s");
    Outcome o = Attempt([&] { msiu::AddIISExtensionFile(service.Get(), L"C:\\bad.exe", L"G", L"D", true, false); });
    EXPECT_EQ(o.code, 0x80070005u);
    EXPECT_EQ(o.text, L"IISWebService::AddExtensionFile() failed for: C:\\bad.exe");
    o = Attempt([&] { msiu::EnableIISExtensionFile(service.Get(), L"C:\\unknown.exe"); });
    EXPECT_EQ(o.code, 0x80070002u);
    EXPECT_EQ(o.text, L"IISWebService::EnableExtensionFile() failed for: C:\\unknown.exe");

    const auto list = emulator_.Read().Find(L"/w3svc")->Find(L"WebSvcExtRestrictionList")->list;
    EXPECT_EQ(list, (std::vector<std::wstring>{L"1,C:\\perl.exe \"%s\" %s,1,Perl,Perl CGI",
                                               L"1,C:\\q\\a.exe,0,QuorixCGI,Quorix CGI"}));
    EXPECT_EQ(emulator_.Changes(),
              (std::vector<std::wstring>{
                  L"AddExtensionFile C:\\q\\a.exe (QuorixCGI, \"Quorix CGI\", allowed, not deletable)",
                  L"EnableExtensionFile C:\\perl.exe \"%s\" %s",
                  L"AddExtensionFile C:\\bad.exe (G, \"D\", allowed, not deletable) -> failed 0x80070005",
                  L"EnableExtensionFile C:\\unknown.exe -> failed 0x80070002",
              }));
}

TEST(MetabaseAbsent, NoProviderNoNodeAsOnAMachineWithoutIIS)
{
    atlutils::ComRuntime com;
    qxtest::MetabaseLock nobodyRegisters;
    const Outcome o = Attempt([] { msiu::GetIISNode(L"IIS://localhost/w3svc"); });
    EXPECT_EQ(o.kind, "MSIError");
    EXPECT_EQ(o.code, 0x80004005u);
    EXPECT_EQ(o.text, L"Unable to fetch IIS metabase node: IIS://localhost/w3svc");
}

}  // namespace
