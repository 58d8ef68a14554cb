// CheckIISConfig and CheckIISConfigUI through the DLL's exports, on costed
// sessions, against emulated web sites.
#include "support.h"

extern "C" UINT __stdcall CheckIISConfigUI(MSIHANDLE session);

namespace {

using iistest::N;

const char kSites[] =
    "[/w3svc]\nClass = IIsWebService\n"
    "[/w3svc/1]\nClass = IIsWebServer\nServerComment = Default Web Site\nServerBindings += :80:\n"
    "SecureBindings += :443:\n"
    "[/w3svc/1/ROOT]\nScriptMaps += .asp,C:\\asp.dll\nScriptMaps += .pl,C:\\Perl\\bin\\perl.exe \"%s\" %s,5,GET\n"
    "[/w3svc/2]\nClass = IIsWebServer\nServerBindings += 10.0.0.5:8080:\n"
    "[/w3svc/2/ROOT]\nScriptMaps += .pl,C:\\Perl\\bin\\perl.exe\n"
    "[/w3svc/3]\nClass = IIsWebServer\nServerBindings += 10.0.0.5:8080:intranet.example\n"
    "SecureBindings += 10.0.0.5:8443:intranet.example\n"
    "[/w3svc/3/ROOT]\nScriptMaps += .pl,C:\\Perl\\bin\\perl.exe\n"
    "[/w3svc/4]\nClass = IIsWebServer\nServerBindings += :80:\n"
    "[/w3svc/4/ROOT]\nScriptMaps += .asp,C:\\asp.dll\nScriptMaps += .plx,C:\\plx.dll\n"
    "[/w3svc/5]\nClass = IIsWebServer\nServerBindings += 10.0.0.5:8080\n"
    "[/w3svc/5/ROOT]\nScriptMaps += .pl,C:\\Perl\\bin\\perl.exe\n"
    "[/w3svc/6]\nClass = IIsWebServer\nServerBindings += :http:\n"
    "[/w3svc/6/ROOT]\nScriptMaps += .pl,C:\\Perl\\bin\\perl.exe\n"
    "[/w3svc/7]\nClass = IIsWebServer\nServerBindings += :80:\n";

const wchar_t kNotAccessible[] =
    L"The selected IIS web site is not accessible. Try choosing another one.  Error code: ";
const wchar_t kNoPerl[] =
    L"There doesn't appear to be a Perl mapping in the IIS server. You may need to repair or reinstall ActiveState "
    L"Perl.";
const wchar_t kNoSite[] = L"The local IIS web site for Quorix must be specified.";
const wchar_t kBadVdir[] =
    L"The Quorix virtual directory name cannot contain spaces or any of the following:  <>#%\"{}|\\^[]`;=?/";

class CheckIIS : public iistest::WithMetabase {
protected:
    void SetUp() override { Use(kSites); }
};

struct Case {
    const char* name;
    const wchar_t* site;
    const wchar_t* ssl;  // QUORIX_IIS_WEB_USE_SSL, "" for none
    bool feature;        // IISWeb selected
    const wchar_t* failure;  // the text, "" when the check passes
    const wchar_t* cause;    // the real cause, logged before the failure, or ""
    const wchar_t *ip, *port, *vhost;  // written by the immediate twin
    const wchar_t* url;                // QUORIX_WEB_URL after a good pass
};

const wchar_t kKept[] = L"http://kept/";

const Case kCases[] = {
    {"site bound to all addresses", L"1", L"", true, L"", L"", L"", L"80", L"", L"http://web01.example.com/quorix"},
    {"address and port", L"2", L"", true, L"", L"", L"10.0.0.5", L"8080", L"", L"http://10.0.0.5:8080/quorix"},
    {"host header over address", L"3", L"0", true, L"", L"", L"10.0.0.5", L"8080", L"intranet.example",
     L"http://intranet.example:8080/quorix"},
    {"ssl with a secure binding", L"1", L"1", true, L"", L"", L"", L"443", L"", L"https://web01.example.com/quorix"},
    {"ssl on another port", L"3", L"1", true, L"", L"", L"10.0.0.5", L"8443", L"intranet.example",
     L"https://intranet.example:8443/quorix"},
    {"ssl without a secure binding", L"2", L"1", true, L"0x8000500d",
     L"Failed to get SecureBindings property for: IIS://localhost/w3svc/2  (0x8000500d)", nullptr, nullptr, nullptr,
     kKept},
    {"no .pl mapping", L"4", L"", true, kNoPerl, L"", nullptr, nullptr, nullptr, kKept},
    {"malformed binding", L"5", L"", true, L"0x80070057",
     L"Malformed web server binding \"10.0.0.5:8080\" for: IIS://localhost/w3svc/5  (0x80070057)", nullptr, nullptr,
     nullptr, kKept},
    {"root node missing", L"7", L"", true, L"0x80070003",
     L"Unable to fetch IIS metabase node: IIS://localhost/w3svc/7/ROOT  (0x80070003)", nullptr, nullptr, nullptr,
     kKept},
    {"no such site", L"99", L"", true, L"0x80070003",
     L"Unable to fetch IIS metabase node: IIS://localhost/w3svc/99  (0x80070003)", nullptr, nullptr, nullptr, kKept},
    {"not a site", L"1/ROOT", L"", true, L"0x80070057",
     L"Not a valid web site path: IIS://localhost/w3svc/1/ROOT  (0x80070057)", nullptr, nullptr, nullptr, kKept},
    // Without the feature the port is never read as a number.
    {"feature absent", L"6", L"", false, L"", L"", L"", L"http", L"", kKept},
    {"feature absent, good site", L"2", L"", false, L"", L"", L"10.0.0.5", L"8080", L"", kKept},
};

std::wstring Full(const Case& c)
{
    const std::wstring f = c.failure;
    return f.rfind(L"0x", 0) == 0 ? kNotAccessible + f : f;
}

qxtest::Props Props(const Case& c)
{
    qxtest::Props p = {{L"QUORIX_IIS_WEB_SITE", c.site},
                       {L"QUORIX_IIS_WEB_VDIR", L"quorix"},
                       {L"DNSComputerNameFQ", L"web01.example.com"},
                       {L"QUORIX_WEB_URL", kKept}};
    if (*c.ssl) p.push_back({L"QUORIX_IIS_WEB_USE_SSL", c.ssl});
    return p;
}

TEST_F(CheckIIS, ImmediateTwinStoresTheBindingOrStopsTheInstall)
{
    for (const Case& c : kCases) {
        iistest::CostedSession s(Props(c), c.feature);
        const UINT r = qxtest::Action("CheckIISConfig")(s.Handle());
        EXPECT_EQ(s.Property(L"QUORIX_WEB_URL"), c.url) << c.name;
        if (!*c.failure) {
            EXPECT_EQ(r, 0u) << c.name;
            EXPECT_EQ(s.Property(L"QUORIX_IIS_WEB_IPADDR"), c.ip) << c.name;
            EXPECT_EQ(s.Property(L"QUORIX_IIS_WEB_PORT"), c.port) << c.name;
            EXPECT_EQ(s.Property(L"QUORIX_IIS_WEB_VHOST"), c.vhost) << c.name;
            EXPECT_TRUE(s.capture.Texts(0).empty()) << c.name;
            continue;
        }
        EXPECT_EQ(r, 1603u) << c.name;
        EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{L"CheckIISConfig:  " + Full(c) + L"  (0x80070057)"})
            << c.name;
        const auto info = s.capture.Texts(0x4000000);
        if (*c.cause)
            EXPECT_EQ(info, std::vector<std::wstring>{L"CheckIISConfig:  " + std::wstring(c.cause)}) << c.name;
        for (const wchar_t* p : {L"QUORIX_IIS_WEB_IPADDR", L"QUORIX_IIS_WEB_PORT", L"QUORIX_IIS_WEB_VHOST"})
            EXPECT_EQ(s.Property(p), L"") << c.name;
    }
}

TEST_F(CheckIIS, DialogTwinAnswersThroughPropertiesOnly)
{
    for (const Case& c : kCases) {
        iistest::CostedSession s(Props(c), c.feature);
        s.SetProperty(L"_InvalidIISConfig", L"1");  // left from an earlier press
        EXPECT_EQ(qxtest::Action("CheckIISConfigUI")(s.Handle()), 0u) << c.name;
        EXPECT_EQ(s.Property(L"_InvalidIISConfig"), *c.failure ? L"1" : L"") << c.name;
        EXPECT_EQ(s.Property(L"_NotifyUserDlgText"), *c.failure ? Full(c) : L"") << c.name;
        EXPECT_EQ(s.Property(L"QUORIX_WEB_URL"), c.url) << c.name;
        // The dialog leaves no binding behind.
        for (const wchar_t* p : {L"QUORIX_IIS_WEB_IPADDR", L"QUORIX_IIS_WEB_PORT", L"QUORIX_IIS_WEB_VHOST"})
            EXPECT_EQ(s.Property(p), L"") << c.name;
        EXPECT_TRUE(s.capture.Texts(0).empty()) << c.name;
    }
}

TEST_F(CheckIIS, EmptyFieldsAndMissingPropertiesByTwin)
{
    struct Input {
        const char* name;
        qxtest::Props props;
        const wchar_t* dialog;    // the UI twin's text
        const wchar_t* sequence;  // the immediate twin's fatal text
    } inputs[] = {
        {"nothing entered", {}, kNoSite, L"Property \"QUORIX_IIS_WEB_SITE\" does not exist"},
        {"no web path",
         {{L"QUORIX_IIS_WEB_SITE", L"1"}, {L"DNSComputerNameFQ", L"h"}},
         L"The Quorix virtual directory name must be specified.",
         L"Property \"QUORIX_IIS_WEB_VDIR\" does not exist"},
        {"blank in the web path",
         {{L"QUORIX_IIS_WEB_SITE", L"1"}, {L"QUORIX_IIS_WEB_VDIR", L"my quorix"}, {L"DNSComputerNameFQ", L"h"}},
         kBadVdir, kBadVdir},
        {"no computer name",
         {{L"QUORIX_IIS_WEB_SITE", L"1"}, {L"QUORIX_IIS_WEB_VDIR", L"quorix"}},
         L"Property \"DNSComputerNameFQ\" does not exist",
         L"Property \"DNSComputerNameFQ\" does not exist"},
    };
    for (const Input& in : inputs) {
        {
            iistest::CostedSession s(in.props, true);
            EXPECT_EQ(qxtest::Action("CheckIISConfigUI")(s.Handle()), 0u) << in.name;
            EXPECT_EQ(s.Property(L"_InvalidIISConfig"), L"1") << in.name;
            EXPECT_EQ(s.Property(L"_NotifyUserDlgText"), in.dialog) << in.name;
        }
        {
            iistest::CostedSession s(in.props, true);
            EXPECT_EQ(qxtest::Action("CheckIISConfig")(s.Handle()), 1603u) << in.name;
            EXPECT_EQ(s.capture.Texts(0),
                      std::vector<std::wstring>{L"CheckIISConfig:  " + std::wstring(in.sequence) + L"  (0x80070057)"})
                << in.name;
        }
    }
}

TEST_F(CheckIIS, APortThatIsNoNumberReachesTheLadderInBothTwins)
{
    const qxtest::Props props = {
        {L"QUORIX_IIS_WEB_SITE", L"6"}, {L"QUORIX_IIS_WEB_VDIR", L"quorix"}, {L"DNSComputerNameFQ", L"h"}};
    {
        iistest::CostedSession s(props, true);
        EXPECT_EQ(qxtest::Action("CheckIISConfig")(s.Handle()), 1603u);
        EXPECT_EQ(s.Property(L"QUORIX_WEB_URL"), L"");
    }
    // The dialog twin's ladder shows its failure in a box: the action as
    // linked into this program, so that the box is recorded and nobody has
    // to press OK on the test display.
    qxkit::Boxes boxes;
    {
        iistest::CostedSession s(props, true);
        EXPECT_EQ(CheckIISConfigUI(s.Handle()), 1603u);
        EXPECT_EQ(s.Property(L"_InvalidIISConfig"), L"");
        EXPECT_EQ(s.Property(L"QUORIX_WEB_URL"), L"");
    }
    EXPECT_EQ(boxes.Texts(), qxkit::Lines{L"Conversion error: Invalid input"});
}

}  // namespace
