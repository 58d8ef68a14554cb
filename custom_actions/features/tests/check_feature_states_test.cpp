// CheckFeatureStatesUI over the combinations of the web server features,
// with the states of real installer sessions.
#include <gtest/gtest.h>

#include "msiu/log.h"
#include "qxtest/session.h"

extern "C" UINT __stdcall CheckFeatureStatesUI(MSIHANDLE session);

namespace {

// Level 200: not selected unless the test selects it.
std::vector<std::wstring> FeatureTables(const std::vector<std::wstring>& features)
{
    std::vector<std::pair<std::wstring, int>> levels;
    for (const auto& f : features) levels.push_back({f, 200});
    return qxtest::FeatureTables(levels, L"{7C2D4E6F-1A3B-4C5D-9E8F-A0B1C2D3E4");
}

// A costed session; a feature's action state is set when not 0 (0 leaves
// it unselected: installed absent, no change).
class SelectionSession : public qxtest::Session {
public:
    SelectionSession(const qxtest::Props& props, int iis, int apache,
                     const std::vector<std::wstring>& features = {L"IISWeb", L"ApacheWeb"})
        : qxtest::Session(props, FeatureTables(features))
    {
        for (const wchar_t* a : {L"CostInitialize", L"FileCost", L"CostFinalize"})
            EXPECT_EQ(MsiDoActionW(Handle(), a), 0u) << a;
        if (iis) EXPECT_EQ(MsiSetFeatureStateW(Handle(), L"IISWeb", static_cast<INSTALLSTATE>(iis)), 0u);
        if (apache) EXPECT_EQ(MsiSetFeatureStateW(Handle(), L"ApacheWeb", static_cast<INSTALLSTATE>(apache)), 0u);
        capture.messages.clear();
    }
};

const wchar_t* const kBoth = L"Please choose either IIS or Apache, but not both.";
const wchar_t* const kNeither = L"Either the IIS or Apache feature must be selected.";
const wchar_t* const kNoIIS = L"The IIS feature can't be selected because IIS does not appear to be installed.";
const wchar_t* const kNote =
    L"Please Note: Apache was selected by default because IIS does not appear to be installed. If you want to use "
    L"IIS, then install it first before Quorix. Otherwise, click the Next button again to use Apache.";
const wchar_t* const kPerl =
    L"Quorix requires ActiveState Perl 5.6 or 5.8. You need to install Perl before installing Quorix.";

struct Selection {
    const char* name;
    int iis, apache;  // action state set on the feature; 0: unselected
    bool iisInstalled;
    bool allowNone;
    const wchar_t* perl;  // PerlVersion, or empty
    const wchar_t* warned;  // _WarnApacheDefaultDone before the press
    const wchar_t* refusal;  // nullptr: accepted
    const wchar_t* warnedAfter;
};

const Selection kSelections[] = {
    {"BothLocal", 3, 3, true, false, L"5008", L"", kBoth, L""},
    {"BothEvenWithoutPerl", 3, 4, true, false, L"", L"", kBoth, L""},
    {"Neither", 0, 0, true, false, L"5008", L"", kNeither, L""},
    {"NeitherAdvertisedAndRemoved", 1, 2, true, false, L"5008", L"", kNeither, L""},
    {"NeitherAllowed", 0, 0, true, true, L"5006", L"", nullptr, L""},
    {"NeitherAllowedStillNeedsPerl", 0, 0, false, true, L"", L"", kPerl, L""},
    {"IISWithoutIIS", 3, 0, false, false, L"5008", L"", kNoIIS, L""},
    {"IISFromSourceWithoutIIS", 4, 2, false, false, L"5008", L"", kNoIIS, L""},
    {"IISWithIIS", 3, 0, true, false, L"5008", L"", nullptr, L""},
    {"IISWithIISNoPerl", 3, 0, true, false, L"", L"", kPerl, L""},
    {"IISWithIISPerl510", 3, 0, true, false, L"5010", L"", kPerl, L""},
    {"ApacheDefaultNote", 0, 3, false, false, L"5008", L"", kNote, L"1"},
    {"ApacheDefaultNoteBeforePerl", 0, 3, false, false, L"", L"0", kNote, L"1"},
    {"ApacheSecondPress", 0, 3, false, false, L"5008", L"1", nullptr, L"1"},
    {"ApacheSecondPressNoPerl", 0, 3, false, false, L"5010", L"1", kPerl, L"1"},
    {"ApacheWithIIS", 0, 3, true, false, L"5006", L"", nullptr, L""},
    {"ApacheFromSourceNoNote", 0, 4, false, false, L"5008", L"", nullptr, L""},
};

class FeatureSelection : public ::testing::TestWithParam<Selection> {};

TEST_P(FeatureSelection, FirstTestThatHoldsApplies)
{
    const Selection& c = GetParam();
    qxtest::Props props = {{L"PerlVersion", c.perl}, {L"_WarnApacheDefaultDone", c.warned},
                           {L"_InvalidFeatureStates", L"1"}, {L"_NotifyUserDlgText", L"earlier text"}};
    if (c.iisInstalled) props.push_back({L"IISVersion", L"#6"});
    if (c.allowNone) props.push_back({L"QUORIX_ALLOW_NO_WEB_SERVER", L"1"});
    SelectionSession s(props, c.iis, c.apache);
    ASSERT_EQ(qxtest::Action("CheckFeatureStatesUI")(s.Handle()), 0u);
    EXPECT_EQ(s.Property(L"_InvalidFeatureStates"), c.refusal ? L"1" : L"");
    EXPECT_EQ(s.Property(L"_NotifyUserDlgText"), c.refusal ? c.refusal : L"earlier text");
    EXPECT_EQ(s.Property(L"_WarnApacheDefaultDone"), c.warnedAfter);
    EXPECT_TRUE(s.capture.Texts(0).empty());
}

INSTANTIATE_TEST_SUITE_P(Combinations, FeatureSelection, ::testing::ValuesIn(kSelections),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(FeatureSelectionPresses, NoteOnceThenTheSameSelectionPasses)
{
    SelectionSession s({{L"PerlVersion", L"5008"}}, 0, 3);
    const auto action = qxtest::Action("CheckFeatureStatesUI");
    ASSERT_EQ(action(s.Handle()), 0u);
    EXPECT_EQ(s.Property(L"_InvalidFeatureStates"), L"1");
    EXPECT_EQ(s.Property(L"_NotifyUserDlgText"), kNote);
    ASSERT_EQ(action(s.Handle()), 0u);
    EXPECT_EQ(s.Property(L"_InvalidFeatureStates"), L"");
    EXPECT_EQ(s.Property(L"_WarnApacheDefaultDone"), L"1");

    // The user goes back and picks IIS on a machine without it, then Apache
    // again: the note is not repeated.
    ASSERT_EQ(MsiSetFeatureStateW(s.Handle(), L"IISWeb", INSTALLSTATE_LOCAL), 0u);
    ASSERT_EQ(MsiSetFeatureStateW(s.Handle(), L"ApacheWeb", INSTALLSTATE_ABSENT), 0u);
    ASSERT_EQ(action(s.Handle()), 0u);
    EXPECT_EQ(s.Property(L"_NotifyUserDlgText"), kNoIIS);
    ASSERT_EQ(MsiSetFeatureStateW(s.Handle(), L"IISWeb", INSTALLSTATE_ABSENT), 0u);
    ASSERT_EQ(MsiSetFeatureStateW(s.Handle(), L"ApacheWeb", INSTALLSTATE_LOCAL), 0u);
    ASSERT_EQ(action(s.Handle()), 0u);
    EXPECT_EQ(s.Property(L"_InvalidFeatureStates"), L"");
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
        auto sql = FeatureTables({L"IISWeb", L"ApacheWeb"});
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
        EXPECT_EQ(PropertyOf(h, L"_NotifyUserDlgText"), kNeither);
        MsiCloseHandle(h);
    }
    EXPECT_EQ(MsiQueryProductStateW(code.c_str()), INSTALLSTATE_UNKNOWN) << "the product is removed again";
}

std::vector<std::wstring> g_boxes;
int WINAPI RecordBox(HWND, LPCWSTR text, LPCWSTR, UINT)
{
    g_boxes.push_back(text);
    return IDOK;
}

TEST(FeatureSelectionFailure, AMissingFeatureIsAFailureInABox)
{
    // The action as linked into this program, so that its box is recorded.
    msiu::detail::SetMessageBoxFunction(&RecordBox);
    g_boxes.clear();
    SelectionSession s({{L"PerlVersion", L"5008"}}, 0, 3, {L"ApacheWeb"});
    EXPECT_EQ(CheckFeatureStatesUI(s.Handle()), 1603u);
    EXPECT_EQ(g_boxes, std::vector<std::wstring>{L"Failed to get state of feature \"IISWeb\"  (0x80070646)"});
    EXPECT_EQ(s.Property(L"_InvalidFeatureStates"), L"");
    msiu::detail::SetMessageBoxFunction(nullptr);
}

}  // namespace
