// CheckIISConfig and CheckIISConfigUI through the DLL's exports, on costed
// sessions, against emulated web sites (the cases in check.txt).
#include "support.h"

extern "C" UINT __stdcall CheckIISConfigUI(MSIHANDLE session);

namespace {

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

class CheckIIS : public iistest::WithMetabase {
protected:
    void SetUp() override { Use(kSites); }
};

// check.txt: both twins over the sites, bindings and fields.
TEST_F(CheckIIS, EachCaseOfCheckTxt)
{
    const std::wstring file = qxtest::SourceDir() + L"\\custom_actions\\iis\\tests\\check.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) qxkit::ExpectCase(file, c, qxkit::RunActions(c));
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
