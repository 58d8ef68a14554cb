// DetectLegacyUpgrade and SetNewLegacyPathProps on real sessions, from
// legacy.txt, and the old site looked up in the emulated metabase.
#include "atlu/runtime.h"
#include "qxtest/kit.h"
#include "qxtest/metabase.h"

namespace {

TEST(LegacyActions, EachCaseOfLegacyTxt)
{
    const std::wstring file = qxtest::SourceDir() + L"\\custom_actions\\legacy\\tests\\legacy.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) qxkit::ExpectCase(file, c, qxkit::RunActions(c));
}

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
        qxtest::Props p = {{L"QUORIX_LEGACY_VERSION", L"2.1.20"},
                           {L"QUORIX_LEGACY_MONITOR_DIR", L"C:\\Old\\bin\\"},
                           {L"QUORIX_LEGACY_WEB_URL", L"http://srv/quorix/"}};
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
