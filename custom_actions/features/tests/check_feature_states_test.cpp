// CheckFeatureStatesUI over the combinations of the web server features,
// with the states of real installer sessions.
#include "qxtest/kit.h"

extern "C" UINT __stdcall CheckFeatureStatesUI(MSIHANDLE session);

namespace {

// Level 200: not selected unless the test selects it.
qxkit::Lines Features(const std::vector<std::wstring>& names)
{
    std::vector<std::pair<std::wstring, int>> features;
    for (const auto& n : names) features.push_back({n, 200});
    return qxtest::FeatureTables(features, L"{7C2D4E6F-1A3B-4C5D-9E8F-A0B1C2D3E4");
}

void Cost(MSIHANDLE h)
{
    for (const wchar_t* a : {L"CostInitialize", L"FileCost", L"CostFinalize"}) EXPECT_EQ(MsiDoActionW(h, a), 0u);
}

std::wstring PropertyOf(MSIHANDLE h, const wchar_t* name)
{
    wchar_t buf[512];
    DWORD n = 512;
    MsiGetPropertyW(h, name, buf, &n);
    return buf;
}

// features.txt: presses of the Next button over the combinations of the web
// server features, Perl and IIS.
TEST(FeatureSelection, EachCaseOfFeaturesTxt)
{
    const std::wstring file = qxtest::SourceDir() + L"\\custom_actions\\features\\tests\\features.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) {
        qxtest::Props props = {{L"_InvalidFeatureStates", L"1"}, {L"_NotifyUserDlgText", L"earlier text"}};
        for (const auto& line : c.in)
            if (line.rfind("prop ", 0) == 0)
                props.push_back({qxkit::W(line.substr(5, line.find('=') - 5)), qxkit::W(line.substr(line.find('=') + 1))});
        qxtest::Session s(props, Features({L"IISWeb", L"ApacheWeb"}));
        Cost(s.Handle());
        std::vector<std::string> got;
        for (const auto& line : c.in) {
            if (line.rfind("iis ", 0) == 0 || line.rfind("apache ", 0) == 0) {
                EXPECT_EQ(MsiSetFeatureStateW(s.Handle(), line[0] == 'i' ? L"IISWeb" : L"ApacheWeb",
                                              static_cast<INSTALLSTATE>(std::stoi(line.substr(line.find(' ') + 1)))), 0u);
            }
            if (line != "press") continue;
            EXPECT_EQ(qxkit::Call("CheckFeatureStatesUI", s).fatal, qxkit::Lines{});
            for (const wchar_t* p : {L"_InvalidFeatureStates", L"_NotifyUserDlgText", L"_WarnApacheDefaultDone"})
                got.push_back((p[1] == L'I' ? "invalid " : p[1] == L'N' ? "text " : "warned ") + qxkit::N(s.Property(p)));
        }
        qxkit::ExpectCase(file, c, got);
    }
}

// A product installed for real with ApacheWeb, removed again at the end: its
// features then have installed states of their own.
TEST(FeatureSelectionInstalled, ApacheInstalledAndUnchangedGetsNoNote)
{
    auto sql = Features({L"IISWeb", L"ApacheWeb"});
    sql.push_back(L"CREATE TABLE `InstallExecuteSequence` (`Action` CHAR(72) NOT NULL, `Condition` CHAR(255), "
                  L"`Sequence` SHORT PRIMARY KEY `Action`)");
    int n = 0;
    for (const wchar_t* a : {L"CostInitialize", L"FileCost", L"CostFinalize", L"InstallValidate", L"InstallInitialize",
                             L"ProcessComponents", L"RegisterUser", L"RegisterProduct", L"PublishFeatures",
                             L"PublishProduct", L"InstallFinalize"})
        sql.push_back(std::wstring(L"INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('") + a + L"', " +
                      std::to_wstring(100 * ++n) + L")");
    qxtest::PackageFile package({{L"ALLUSERS", L""}}, sql);
    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    ASSERT_EQ(MsiInstallProductW(package.Path().c_str(), L"ADDLOCAL=ApacheWeb TARGETDIR=C:\\qx-h6-features"), 0u);
    MSIHANDLE h = 0;
    EXPECT_EQ(MsiOpenPackageW(package.Path().c_str(), &h), 0u);
    Cost(h);
    INSTALLSTATE installed = INSTALLSTATE_UNKNOWN, action = INSTALLSTATE_UNKNOWN;
    EXPECT_EQ(MsiGetFeatureStateW(h, L"ApacheWeb", &installed, &action), 0u);
    EXPECT_EQ(installed, INSTALLSTATE_LOCAL);
    EXPECT_EQ(action, INSTALLSTATE_UNKNOWN);
    MsiSetPropertyW(h, L"PerlVersion", L"5008");
    EXPECT_EQ(qxtest::Action("CheckFeatureStatesUI")(h), 0u);
    EXPECT_EQ(PropertyOf(h, L"_InvalidFeatureStates"), L"");
    EXPECT_EQ(PropertyOf(h, L"_WarnApacheDefaultDone"), L"") << "no note for what is already there";
    // Removing the installed Apache leaves no web server at all.
    EXPECT_EQ(MsiSetFeatureStateW(h, L"ApacheWeb", INSTALLSTATE_ABSENT), 0u);
    EXPECT_EQ(qxtest::Action("CheckFeatureStatesUI")(h), 0u);
    EXPECT_EQ(PropertyOf(h, L"_NotifyUserDlgText"), L"Either the IIS or Apache feature must be selected.");
    const std::wstring code = PropertyOf(h, L"ProductCode");
    MsiCloseHandle(h);
    EXPECT_EQ(MsiConfigureProductW(code.c_str(), INSTALLLEVEL_DEFAULT, INSTALLSTATE_ABSENT), 0u);
    EXPECT_EQ(MsiQueryProductStateW(code.c_str()), INSTALLSTATE_UNKNOWN) << "the product is removed again";
}

TEST(FeatureSelectionFailure, AMissingFeatureIsAFailureInABox)
{
    // The action as linked into this program, so that its box is recorded.
    qxkit::Boxes boxes;
    qxtest::Session s({{L"PerlVersion", L"5008"}}, Features({L"ApacheWeb"}));
    Cost(s.Handle());
    EXPECT_EQ(CheckFeatureStatesUI(s.Handle()), 1603u);
    EXPECT_EQ(boxes.Texts(), qxkit::Lines{L"Failed to get state of feature \"IISWeb\"  (0x80070646)"});
    EXPECT_EQ(s.Property(L"_InvalidFeatureStates"), L"");
}

}  // namespace
