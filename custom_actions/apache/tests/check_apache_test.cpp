// The Apache check through the DLL's exports on real installer sessions (the
// settings in check.txt), the
// HTTP probe against a server the test runs on a loopback port, and the web
// path and address helpers.
#include "qxtest/kit.h"

#include <wininet.h>

#include <memory>

#include "http_server.h"
#include "msiu/error.h"
#include "msiu/property.h"
#include "msiu/session.h"
#include "msiu/web.h"
#include "qxtest/imports.h"
#include "qxtest/session.h"

namespace {

using qxkit::N;


// Feature tables with the web server features, one empty component each.
std::vector<std::wstring> FeatureTables(const std::vector<std::pair<std::wstring, int>>& features)
{
    return qxtest::FeatureTables(features, L"{3E5B7A10-2C4D-4E6F-8A9B-0C1D2E3F40");
}

// A costed session in which ApacheWeb is to be installed (level 1) or to
// stay absent (level 200).
class CheckSession : public qxtest::Session {
public:
    CheckSession(const qxtest::Props& props, bool apache)
        : qxtest::Session(props, FeatureTables({{L"ApacheWeb", apache ? 1 : 200}}))
    {
        for (const wchar_t* a : {L"CostInitialize", L"FileCost", L"CostFinalize"}) MsiDoActionW(Handle(), a);
        capture.messages.clear();
    }
};

const std::wstring kBadVdir =
    L"The Quorix virtual directory name cannot contain spaces or any of the following:  <>#%\"{}|\\^[]`;=?/";

std::wstring NotAccessible(const std::wstring& hostPort, const wchar_t* code)
{
    return L"The Apache web server \"" + hostPort +
           L"\" is not accessible. Check your firewall settings and that the server is running.  Error code: " + code;
}

// ---- helpers -------------------------------------------------------------------

TEST(VirtualDirName, EmptyAndEveryForbiddenCharacterAreRefused)
{
    for (const wchar_t* good : {L"quorix", L"qx-2.1_test", L"Quorix.Web", L"~user"})
        EXPECT_NO_THROW(msiu::CheckVirtualDirName(good)) << N(good);
    try {
        msiu::CheckVirtualDirName(L"");
        ADD_FAILURE();
    } catch (const msiu::MSIError& e) {
        EXPECT_EQ(e.Text(), L"The Quorix virtual directory name must be specified.");
        EXPECT_EQ(static_cast<uint32_t>(e.Code()), 0x80070057u);
    }
    const std::wstring bad = msiu::kVirtualDirBadChars;
    ASSERT_EQ(bad.size(), 18u);
    for (wchar_t c : bad + L"\r\n\t\x01\x1F\x7F")  // and control characters, a new line in httpd.conf
        for (const std::wstring& name : {std::wstring(1, c) + L"qx", L"q" + std::wstring(1, c) + L"x", L"qx" + std::wstring(1, c)}) {
            try {
                msiu::CheckVirtualDirName(name);
                ADD_FAILURE() << N(name);
            } catch (const msiu::MSIError& e) {
                EXPECT_EQ(e.Text(), kBadVdir);
                EXPECT_EQ(static_cast<uint32_t>(e.Code()), 0x80070057u);
            }
        }
}

TEST(WebURL, SchemeAndPortRules)
{
    struct Case {
        const wchar_t* host;
        uint16_t port;
        bool ssl;
        const wchar_t* url;
    };
    const Case cases[] = {
        {L"web", 80, false, L"http://web/quorix"},        {L"web", 8080, false, L"http://web:8080/quorix"},
        {L"web", 443, false, L"http://web:443/quorix"},   {L"web", 443, true, L"https://web/quorix"},
        {L"web", 80, true, L"https://web:80/quorix"},     {L"::1", 8443, true, L"https://[::1]:8443/quorix"},
        {L"127.0.0.1", 0, false, L"http://127.0.0.1/quorix"},
    };
    for (const auto& c : cases) {
        qxtest::Session s;
        ASSERT_EQ(msiu::RunAction(s.Handle(), L"UrlTest", false,
                                  [&] { msiu::SetWebURLProperty(c.host, c.port, L"quorix", c.ssl); }),
                  0u);
        EXPECT_EQ(s.Property(L"QUORIX_WEB_URL"), c.url);
    }
}

// ---- the probe -------------------------------------------------------------------

TEST(Probe, AnyAnswerPassesAndTheRequestIsAHeadForTheRoot)
{
    // A cookie this process holds for the server stays home: the probe asks for none.
    ASSERT_TRUE(InternetSetCookieW(L"http://127.0.0.1/", L"qxprobe", L"1"));
    for (int status : {200, 404, 500}) {
        qxtest::TinyHttpServer server(status);
        EXPECT_NO_THROW(msiu::ProbeHttpServer(L"127.0.0.1", server.Port(), false)) << status;
        EXPECT_NO_THROW(msiu::ProbeHttpServer(L"localhost", server.Port(), false)) << status;
        const auto requests = server.Requests();
        ASSERT_EQ(requests.size(), 2u) << "one attempt each";
        const std::string& r = requests[0];
        EXPECT_EQ(r.substr(0, r.find("\r\n")), "HEAD / HTTP/1.1");
        EXPECT_NE(r.find("User-Agent: Orvane MSI Utils Library\r\n"), std::string::npos) << r;
        EXPECT_NE(r.find("Accept: text/*\r\n"), std::string::npos) << r;
        EXPECT_NE(r.find("Pragma: no-cache\r\n"), std::string::npos) << r;
        EXPECT_EQ(r.find("Cookie:"), std::string::npos) << r;
    }
}

// The first two steps fail only when the machine is out of memory or handles.
HINTERNET WINAPI RefuseOpen(LPCWSTR, DWORD, LPCWSTR, LPCWSTR, DWORD)
{
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

HINTERNET WINAPI RefuseRequest(HINTERNET, LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR*, DWORD, DWORD_PTR)
{
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

TEST(Probe, EachFailingStepIsNamed)
{
    struct Case {
        std::wstring host;
        uint16_t port;
        uint32_t code;
        const wchar_t* text = L"No response or error when probing HTTP server: %s  (HttpSendRequest)";
        const char* refused = nullptr;  // the WinInet call made to fail
        const void* stub = nullptr;
    };
    const Case cases[] = {
        {L"127.0.0.1", qxtest::TinyHttpServer::ClosedPort(), 0x80072EFDu},  // 12029: cannot connect
        {L"no-such-host.invalid", 80, 0x80072EE7u},                          // 12007: name not resolved
        {L"", 80, 0x80070057u, L"Unable to probe HTTP server: %s  (InternetConnect)"},
        {L"127.0.0.1", 80, 0x80070008u, L"Unable to probe HTTP server: %s  (InternetOpen)", "InternetOpenW",
         reinterpret_cast<const void*>(&RefuseOpen)},
        {L"127.0.0.1", 80, 0x80070008u, L"Unable to probe HTTP server: %s  (HttpOpenRequest)", "HttpOpenRequestW",
         reinterpret_cast<const void*>(&RefuseRequest)},
    };
    for (const auto& c : cases) {
        std::unique_ptr<qxtest::ImportSwap> swap;
        if (c.refused) {
            swap = std::make_unique<qxtest::ImportSwap>("wininet.dll", c.refused, c.stub);
            ASSERT_TRUE(swap->Found()) << c.refused;
        }
        try {
            msiu::ProbeHttpServer(c.host, c.port, false);
            ADD_FAILURE() << N(c.host);
        } catch (const msiu::MSIError& e) {
            std::wstring text = c.text;
            text.replace(text.find(L"%s"), 2, c.host);
            EXPECT_EQ(e.Text(), text);
            EXPECT_EQ(static_cast<uint32_t>(e.Code()), c.code) << N(c.host);
        }
    }
}

TEST(Probe, SecureProbeOfAPlainServerGetsNoUsableAnswer)
{
    qxtest::TinyHttpServer server(200);
    try {
        msiu::ProbeHttpServer(L"127.0.0.1", server.Port(), true);
        ADD_FAILURE() << "a plain server cannot answer a secure request";
    } catch (const msiu::MSIError& e) {
        EXPECT_EQ(e.Text(), L"No response or error when probing HTTP server: 127.0.0.1  (HttpSendRequest)");
        EXPECT_EQ(static_cast<uint32_t>(e.Code()) & 0xFFFF0000u, 0x80070000u);
    }
}

// ---- the actions -------------------------------------------------------------------

// check.txt: both twins over the settings of the web server.
TEST(ApacheCheck, EachCaseOfCheckTxt)
{
    qxtest::TinyHttpServer server{404};
    const std::map<std::string, std::string> fill = {{"{port}", std::to_string(server.Port())},
                                                     {"{closed}", std::to_string(qxtest::TinyHttpServer::ClosedPort())}};
    const std::wstring file = qxtest::SourceDir() + L"\\custom_actions\\apache\\tests\\check.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) qxkit::ExpectCase(file, c, qxkit::RunActions(c, {}, fill));
}

TEST(ApacheCheckProbe, ServerAnswersAreAcceptedAndTheRealCauseIsLogged)
{
    for (int status : {200, 404, 500}) {
        qxtest::TinyHttpServer server(status);
        const std::wstring port = std::to_wstring(server.Port());
        CheckSession s({{L"QUORIX_APACHE_WEB_HOST", L"127.0.0.1:" + port}, {L"QUORIX_APACHE_WEB_VDIR", L"quorix"}}, true);
        EXPECT_EQ(qxtest::Action("CheckApacheConfig")(s.Handle()), 0u) << status;
        EXPECT_EQ(s.Property(L"QUORIX_WEB_URL"), L"http://127.0.0.1:" + port + L"/quorix");
        EXPECT_EQ(server.Requests().size(), 1u);
    }

    // A stopped server: the user reads advice, the log reads the cause.
    const std::wstring closed = std::to_wstring(qxtest::TinyHttpServer::ClosedPort());
    CheckSession s({{L"QUORIX_APACHE_WEB_HOST", L"127.0.0.1:" + closed}, {L"QUORIX_APACHE_WEB_VDIR", L"quorix"}}, true);
    EXPECT_EQ(qxtest::Action("CheckApacheConfig")(s.Handle()), 1603u);
    EXPECT_EQ(s.capture.Texts(0x4000000),
              std::vector<std::wstring>{
                  L"CheckApacheConfig:  No response or error when probing HTTP server: 127.0.0.1  (HttpSendRequest)  "
                  L"(0x80072efd)"});
    EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{L"CheckApacheConfig:  " +
                                                            NotAccessible(L"127.0.0.1:" + closed, L"0x80072efd") +
                                                            L"  (0x80070057)"});

    // The dialog twin keeps the cause where a dialog action's log lines go.
    CheckSession ui({{L"QUORIX_APACHE_WEB_HOST", L"127.0.0.1:" + closed}, {L"QUORIX_APACHE_WEB_VDIR", L"quorix"}}, true);
    EXPECT_EQ(qxtest::Action("CheckApacheConfigUI")(ui.Handle()), 0u);
    EXPECT_EQ(ui.Property(L"OrvaneLastDoActionLogMsg"),
              L"CheckApacheConfigUI:  No response or error when probing HTTP server: 127.0.0.1  (HttpSendRequest)  "
              L"(0x80072efd)");
    EXPECT_EQ(ui.Property(L"_NotifyUserDlgText"), NotAccessible(L"127.0.0.1:" + closed, L"0x80072efd"));
}

}  // namespace
