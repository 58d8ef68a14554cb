// DetectLegacyUpgrade and SetNewLegacyPathProps on real sessions.
#include <gtest/gtest.h>

#include "qxtest/session.h"

namespace {

const wchar_t* kWritten[] = {L"QUORIX_LEGACY_UPGRADE", L"QUORIX_WEB_ROOT_DIR", L"QUORIX_IIS_WEB_VDIR",
                             L"QUORIX_APACHE_WEB_VDIR", L"QUORIX_APACHE_WEB_USE_SSL", L"QUORIX_APACHE_WEB_HOST"};

qxtest::Props Legacy(const std::wstring& version, const std::wstring& url = L"http://srv/quorix/")
{
    return {{L"QUORIX_LEGACY_VERSION", version},
            {L"QUORIX_LEGACY_MONITOR_DIR", L"C:\\Old\\bin\\"},
            {L"QUORIX_LEGACY_WEB_URL", url}};
}

// Every version that is not legacy, missing or bad sets none of the values.
TEST(DetectLegacyUpgrade, VersionDecidesWhetherTheRunIsAnUpgrade)
{
    const std::wstring notLegacy = L"DetectLegacyUpgrade:  Not a legacy upgrade.";
    const std::wstring notRecognised = L"DetectLegacyUpgrade:  Legacy version string not recognised: ";
    const struct {
        std::wstring version;
        UINT result;
        std::wstring line = L"";  // the one message; none for a legacy run
    } cases[] = {
        {L"2.1.20", 0}, {L"2.0.99", 0}, {L"1.9.0", 0}, {L"2.1.0.4", 0}, {L"2.1.20.99", 0},
        {L"2.1.21", 0, notLegacy}, {L"2.2.0", 0, notLegacy}, {L"3.0.0", 0, notLegacy},
        {L"", 0, L"DetectLegacyUpgrade:  No legacy version key found."},
        {L"2.1", 1603, notRecognised + L"2.1  (0x80070057)"},
        {L"2", 1603, notRecognised + L"2  (0x80070057)"},
        {L"2.1.x", 1603, L"DetectLegacyUpgrade:  Conversion error: Invalid input"},
        {L"2.1.3b", 1603, L"DetectLegacyUpgrade:  Conversion error: Parsing of input incomplete"},
    };
    for (const auto& c : cases) {
        qxtest::Session s(Legacy(c.version));
        EXPECT_EQ(qxtest::Action("DetectLegacyUpgrade")(s.Handle()), c.result);
        EXPECT_EQ(s.Property(L"QUORIX_LEGACY_UPGRADE"), c.line.empty() ? L"1" : L"")
            << std::string(c.version.begin(), c.version.end());
        if (!c.line.empty()) {
            EXPECT_EQ(s.capture.AllTexts(), std::vector<std::wstring>{c.line});
            for (auto p : kWritten) EXPECT_EQ(s.Property(p), L"");
        }
    }
}

struct UrlCase {
    const char* name;
    std::wstring url;
    std::wstring vdir, host, ssl;
    std::wstring log = L"";  // an info line instead of silence
};

class LegacyUrl : public ::testing::TestWithParam<UrlCase> {};

TEST_P(LegacyUrl, GivesTheWebValuesForBothServers)
{
    const UrlCase& c = GetParam();
    qxtest::Session s(Legacy(L"2.1.0", c.url));
    ASSERT_EQ(qxtest::Action("DetectLegacyUpgrade")(s.Handle()), 0u);
    EXPECT_EQ(s.Property(L"QUORIX_WEB_ROOT_DIR"), L"C:\\Old");
    EXPECT_EQ(s.Property(L"QUORIX_IIS_WEB_VDIR"), c.vdir);
    EXPECT_EQ(s.Property(L"QUORIX_APACHE_WEB_VDIR"), c.vdir);
    EXPECT_EQ(s.Property(L"QUORIX_APACHE_WEB_HOST"), c.host);
    EXPECT_EQ(s.Property(L"QUORIX_APACHE_WEB_USE_SSL"), c.ssl);
    EXPECT_EQ(s.capture.AllTexts(), c.log.empty() ? std::vector<std::wstring>{} : std::vector<std::wstring>{c.log});
}

const std::wstring kControlRefused = L"DetectLegacyUpgrade:  The legacy web URL contains control characters; no web "
                                     L"server values are taken from it.";

INSTANTIATE_TEST_SUITE_P(
    Urls, LegacyUrl,
    ::testing::Values(UrlCase{"Plain", L"http://srv/quorix/", L"quorix", L"srv", L""},
                      UrlCase{"NestedPath", L"http://srv/cgi/quorix/", L"quorix", L"srv", L""},
                      UrlCase{"OwnPort", L"http://srv:8080/quorix", L"quorix", L"srv:8080", L""},
                      UrlCase{"HttpsDefaultPort", L"https://srv/quorix", L"quorix", L"srv", L"1"},
                      UrlCase{"HttpOnPort443", L"http://srv:443/quorix", L"quorix", L"srv:443", L""},
                      UrlCase{"HttpsOnPort80", L"https://srv:80/quorix", L"quorix", L"srv:80", L"1"},
                      UrlCase{"SchemeInCapitals", L"HTTPS://srv/quorix", L"quorix", L"srv", L"1"},
                      UrlCase{"LineBreakInPath", L"http://srv/q\r\nAlias / C:/", L"", L"", L"", kControlRefused},
                      UrlCase{"TabInHost", L"https://sr\tv/quorix", L"", L"", L"", kControlRefused},
                      UrlCase{"LowControlInPath", L"http://srv/q\x01", L"", L"", L"", kControlRefused},
                      UrlCase{"QueryNotInName", L"http://srv/quorix/index.html?a=1", L"index.html", L"srv", L""},
                      UrlCase{"RootPathGivesEmptyName", L"http://srv/", L"", L"srv", L""},
                      UrlCase{"Ipv6Host", L"http://[fe80::1]:8000/q", L"q", L"[fe80::1]:8000", L""}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(DetectLegacyUpgrade, UrlWithoutPathFails)
{
    for (const std::wstring url : {L"http://srv", L"not a url"}) {
        qxtest::Session s(Legacy(L"2.1.0", url));
        EXPECT_EQ(qxtest::Action("DetectLegacyUpgrade")(s.Handle()), 1603u);
        EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{L"DetectLegacyUpgrade:  Virtual directory missing from URL: " +
                                                                url + L"  (0x80070057)"});
    }
}

TEST(DetectLegacyUpgrade, MonitorDirectoryWithOrWithoutBackslashGivesTheSameRoot)
{
    for (const std::wstring dir : {L"C:\\Old\\bin\\", L"C:\\Old\\bin"}) {
        qxtest::Props p = Legacy(L"2.0.1");
        p[1].second = dir;
        qxtest::Session s(p);
        ASSERT_EQ(qxtest::Action("DetectLegacyUpgrade")(s.Handle()), 0u);
        EXPECT_EQ(s.Property(L"QUORIX_WEB_ROOT_DIR"), L"C:\\Old");
    }
}

TEST(DetectLegacyUpgrade, RequiredPropertiesOnceLegacy)
{
    for (int drop : {1, 2}) {
        qxtest::Props p = Legacy(L"2.0.1");
        const std::wstring name = p[drop].first;
        p.erase(p.begin() + drop);
        qxtest::Session s(p);
        EXPECT_EQ(qxtest::Action("DetectLegacyUpgrade")(s.Handle()), 1603u);
        EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{L"DetectLegacyUpgrade:  Property \"" + name +
                                                                L"\" does not exist  (0x80070057)"});
    }
}

TEST(DetectLegacyUpgrade, SiteLookupWithoutIISFailsWithTheCauseInTheLog)
{
    qxtest::Props p = Legacy(L"2.1.0");
    p.push_back({L"QUORIX_LEGACY_WEB_SITE_NAME", L"Quorix Site"});
    qxtest::Session s(p);
    EXPECT_EQ(qxtest::Action("DetectLegacyUpgrade")(s.Handle()), 1603u);
    EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{
                                      L"DetectLegacyUpgrade:  Unable to enumerate IIS web sites while looking for site "
                                      L"\"Quorix Site\" to upgrade Quorix. Is IIS running?  (0x80070057)"});
    // Without an IIS provider the directory service cannot bind the path.
    EXPECT_EQ(s.capture.Texts(0x4000000), std::vector<std::wstring>{L"DetectLegacyUpgrade:  Unable to fetch IIS metabase "
                                                                    L"node: IIS://localhost/w3svc  (0x80004005)"});
}

TEST(SetNewLegacyPathProps, DropsOneTrailingBackslash)
{
    qxtest::Session s(qxtest::Props{{L"QuorixBinDir", L"C:\\Quorix\\bin\\"}, {L"QuorixConfigDir", L"C:\\Quorix\\config"}});
    EXPECT_EQ(qxtest::Action("SetNewLegacyPathProps")(s.Handle()), 0u);
    EXPECT_EQ(s.Property(L"QuorixLegacyMonitorDirNew"), L"C:\\Quorix\\bin");
    EXPECT_EQ(s.Property(L"QuorixLegacyConfigDirNew"), L"C:\\Quorix\\config");

    qxtest::Session missing(qxtest::Props{{L"QuorixBinDir", L"C:\\Quorix\\bin\\"}});
    EXPECT_EQ(qxtest::Action("SetNewLegacyPathProps")(missing.Handle()), 1603u);
    EXPECT_EQ(missing.capture.Texts(0), std::vector<std::wstring>{
                                            L"SetNewLegacyPathProps:  Property \"QuorixConfigDir\" does not exist  (0x80070057)"});
}

}  // namespace

// ---- the old site, against the metabase emulator --------------------------------

#include "atlu/runtime.h"
#include "qxtest/metabase.h"

namespace {

class LegacySite : public ::testing::Test {
protected:
    atlutils::ComRuntime com_{COINIT_APARTMENTTHREADED};
    qxtest::TempDir dir_;
    qxtest::MetabaseEmulator emulator_{dir_.File(L"metabase.txt")};

    void SetUp() override
    {
        emulator_.Reset(
            "[/w3svc]\nClass = IIsWebService\n"
            "[/w3svc/1]\nClass = IIsWebServer\nServerComment = Default Web Site\n"
            "[/w3svc/AppPools]\nClass = IIsApplicationPools\nServerComment = Quorix Site\n"
            "[/w3svc/3]\nClass = IIsWebServer\nServerComment = Quorix Site\n"
            "[/w3svc/4]\nClass = IIsWebServer\nServerComment = QUORIX SITE\n");
    }

    qxtest::Props WithSite(const std::wstring& name)
    {
        qxtest::Props p = Legacy(L"2.1.20");
        p.push_back({L"QUORIX_LEGACY_WEB_SITE_NAME", name});
        p.push_back({L"QUORIX_IIS_WEB_SITE", L"1"});
        return p;
    }
};

TEST_F(LegacySite, FoundByDisplayNameIgnoringCaseFirstMatchWins)
{
    qxtest::Session s(WithSite(L"quorix site"));
    ASSERT_EQ(qxtest::Action("DetectLegacyUpgrade")(s.Handle()), 0u);
    EXPECT_EQ(s.Property(L"QUORIX_IIS_WEB_SITE"), L"3");
    EXPECT_TRUE(s.capture.Texts(0x2000000).empty());
    EXPECT_EQ(s.Property(L"QUORIX_IIS_WEB_VDIR"), L"quorix");
}

TEST_F(LegacySite, NotFoundWarnsAndKeepsThePackagesSite)
{
    qxtest::Session s(WithSite(L"Gone Site"));
    ASSERT_EQ(qxtest::Action("DetectLegacyUpgrade")(s.Handle()), 0u);
    EXPECT_EQ(s.Property(L"QUORIX_IIS_WEB_SITE"), L"1");
    EXPECT_EQ(s.capture.Texts(0x2000000),
              std::vector<std::wstring>{L"The IIS web site \"Gone Site\" previously used by Quorix does not appear to "
                                        L"exist. The default site will be used."});
    EXPECT_EQ(s.Property(L"QUORIX_APACHE_WEB_HOST"), L"srv");
}

}  // namespace
