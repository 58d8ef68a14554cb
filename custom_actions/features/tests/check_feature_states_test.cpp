// CheckFeatureStatesUI over the combinations of the web server features,
// with the states of real installer sessions.
#include "qxtest/kit.h"

extern "C" UINT __stdcall CheckFeatureStatesUI(MSIHANDLE session);

namespace {

// Level 200: not selected unless the test selects it. The kit's schema
// already has the feature tables.
qxkit::Lines FeatureTables(const std::vector<std::wstring>& features)
{
    qxkit::Lines rows;
    int n = 0;
    for (const auto& f : features) {
        rows.push_back(qxkit::Row(L"Feature", L"'" + f + L"', 200, 0"));
        rows.push_back(qxkit::Row(L"Component", L"'C_" + f + L"', '{7C2D4E6F-1A3B-4C5D-9E8F-A0B1C2D3E4" +
                                                    std::to_wstring(10 + ++n) + L"}', 'TARGETDIR', 0, ''"));
        rows.push_back(qxkit::Row(L"FeatureComponents", L"'" + f + L"', 'C_" + f + L"'"));
    }
    return rows;
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
        qxkit::CostedSession s(props, FeatureTables({L"IISWeb", L"ApacheWeb"}));
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
class InstalledProduct {
public:
    InstalledProduct()
        : package_({{L"ALLUSERS", L""}}, Tables())
    {
        MSIHANDLE db = 0;
        if (MsiOpenDatabaseW(package_.Path().c_str(), MSIDBOPEN_READONLY, &db) == 0) {
            MSIHANDLE view = 0, row = 0;
            MsiDatabaseOpenViewW(db, L"SELECT `Value` FROM `Property` WHERE `Property` = 'ProductCode'", &view);
            MsiViewExecute(view, 0);
            if (MsiViewFetch(view, &row) == 0) {
                wchar_t buf[64];
                DWORD n = 64;
                MsiRecordGetStringW(row, 1, buf, &n);
                code_ = buf;
                MsiCloseHandle(row);
            }
            MsiCloseHandle(view);
            MsiCloseHandle(db);
        }
        MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
        result_ = MsiInstallProductW(package_.Path().c_str(), L"ADDLOCAL=ApacheWeb TARGETDIR=C:\\qx-h6-features");
    }
    ~InstalledProduct()
    {
        if (result_ == 0) MsiConfigureProductW(code_.c_str(), INSTALLLEVEL_DEFAULT, INSTALLSTATE_ABSENT);
    }
    UINT Result() const { return result_; }
    const std::wstring& Path() const { return package_.Path(); }
    const std::wstring& Code() const { return code_; }

private:
    static std::vector<std::wstring> Tables()
    {
        auto sql = qxkit::Tables(FeatureTables({L"IISWeb", L"ApacheWeb"}));
        sql.push_back(L"CREATE TABLE `InstallExecuteSequence` (`Action` CHAR(72) NOT NULL, `Condition` CHAR(255), "
                      L"`Sequence` SHORT PRIMARY KEY `Action`)");
        int n = 0;
        for (const wchar_t* a : {L"CostInitialize", L"FileCost", L"CostFinalize", L"InstallValidate",
                                 L"InstallInitialize", L"ProcessComponents", L"RegisterUser", L"RegisterProduct",
                                 L"PublishFeatures", L"PublishProduct", L"InstallFinalize"})
            sql.push_back(std::wstring(L"INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('") + a +
                          L"', " + std::to_wstring(100 * ++n) + L")");
        return sql;
    }
    qxtest::PackageFile package_;
    std::wstring code_;
    UINT result_ = 1;
};

std::wstring PropertyOf(MSIHANDLE h, const wchar_t* name)
{
    wchar_t buf[512];
    DWORD n = 512;
    MsiGetPropertyW(h, name, buf, &n);
    return buf;
}

TEST(FeatureSelectionInstalled, ApacheInstalledAndUnchangedGetsNoNote)
{
    std::wstring code;
    {
        InstalledProduct product;
        code = product.Code();
        ASSERT_EQ(product.Result(), 0u);
        MSIHANDLE h = 0;
        ASSERT_EQ(MsiOpenPackageW(product.Path().c_str(), &h), 0u);
        for (const wchar_t* a : {L"CostInitialize", L"FileCost", L"CostFinalize"}) EXPECT_EQ(MsiDoActionW(h, a), 0u);
        INSTALLSTATE installed = INSTALLSTATE_UNKNOWN, action = INSTALLSTATE_UNKNOWN;
        ASSERT_EQ(MsiGetFeatureStateW(h, L"ApacheWeb", &installed, &action), 0u);
        EXPECT_EQ(installed, INSTALLSTATE_LOCAL);
        EXPECT_EQ(action, INSTALLSTATE_UNKNOWN);
        MsiSetPropertyW(h, L"PerlVersion", L"5008");
        EXPECT_EQ(qxtest::Action("CheckFeatureStatesUI")(h), 0u);
        EXPECT_EQ(PropertyOf(h, L"_InvalidFeatureStates"), L"");
        EXPECT_EQ(PropertyOf(h, L"_WarnApacheDefaultDone"), L"") << "no note for what is already there";

        // Removing the installed Apache leaves no web server at all.
        ASSERT_EQ(MsiSetFeatureStateW(h, L"ApacheWeb", INSTALLSTATE_ABSENT), 0u);
        EXPECT_EQ(qxtest::Action("CheckFeatureStatesUI")(h), 0u);
        EXPECT_EQ(PropertyOf(h, L"_NotifyUserDlgText"), L"Either the IIS or Apache feature must be selected.");
        MsiCloseHandle(h);
    }
    EXPECT_EQ(MsiQueryProductStateW(code.c_str()), INSTALLSTATE_UNKNOWN) << "the product is removed again";
}

TEST(FeatureSelectionFailure, AMissingFeatureIsAFailureInABox)
{
    // The action as linked into this program, so that its box is recorded.
    qxkit::Boxes boxes;
    qxkit::CostedSession s({{L"PerlVersion", L"5008"}}, FeatureTables({L"ApacheWeb"}));
    EXPECT_EQ(CheckFeatureStatesUI(s.Handle()), 1603u);
    EXPECT_EQ(boxes.Texts(), qxkit::Lines{L"Failed to get state of feature \"IISWeb\"  (0x80070646)"});
    EXPECT_EQ(s.Property(L"_InvalidFeatureStates"), L"");
}

}  // namespace
