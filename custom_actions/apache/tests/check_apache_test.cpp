// The Apache check through the DLL's exports on real installer sessions, the
// HTTP probe against a server the test runs on a loopback port, and the web
// path and address helpers.
#include <gtest/gtest.h>
#include <windows.h>
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

std::string N(const std::wstring& w) { return std::string(w.begin(), w.end()); }

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

struct CheckCase {
    const char* name;
    std::wstring host;     // QUORIX_APACHE_WEB_HOST; "{port}" becomes the server's port
    const wchar_t* ssl;    // QUORIX_APACHE_WEB_USE_SSL
    const wchar_t* skip;   // QUORIX_SKIP_APACHE_CONNECT_TEST
    std::wstring vdir;
    bool apache;           // ApacheWeb is to be installed
    std::wstring url;      // QUORIX_WEB_URL afterwards ("{port}" as above)
    std::wstring invalid;  // the text for the user; empty: accepted
};

std::wstring WithPort(std::wstring text, uint16_t port)
{
    const size_t at = text.find(L"{port}");
    if (at != std::wstring::npos) text.replace(at, 6, std::to_wstring(port));
    return text;
}

const std::wstring kOldUrl = L"http://old.example/quorix";

const CheckCase kCases[] = {
    {"ProbedPortInAddress", L"127.0.0.1:{port}", L"0", L"0", L"quorix", true, L"http://127.0.0.1:{port}/quorix", L""},
    {"HostNameWithPort", L"localhost:{port}", L"", L"", L"qx", true, L"http://localhost:{port}/qx", L""},
    {"SslDefaultPortNotWritten", L"127.0.0.1", L"1", L"1", L"quorix", true, L"https://127.0.0.1/quorix", L""},
    {"SslWithoutPortProbes443", L"127.0.0.1", L"1", L"0", L"quorix", true, kOldUrl,
     NotAccessible(L"127.0.0.1:443", L"0x80072efd")},
    {"SslOtherPort", L"127.0.0.1:8443", L"1", L"1", L"quorix", true, L"https://127.0.0.1:8443/quorix", L""},
    {"Port443WithoutSsl", L"127.0.0.1:443", L"0", L"1", L"quorix", true, L"http://127.0.0.1:443/quorix", L""},
    {"Port80WithoutSsl", L"127.0.0.1:80", L"", L"1", L"quorix", true, L"http://127.0.0.1/quorix", L""},
    {"SkippedProbeOfStoppedServer", L"127.0.0.1:{closed}", L"", L"1", L"quorix", true,
     L"http://127.0.0.1:{closed}/quorix", L""},
    {"ApacheAbsentLeavesAddress", L"127.0.0.1", L"", L"1", L"quorix", false, kOldUrl, L""},
    {"ApacheAbsentStillChecksWebPath", L"127.0.0.1", L"", L"1", L"a/b", false, kOldUrl, kBadVdir},
    {"StoppedServer", L"127.0.0.1:{closed}", L"0", L"0", L"quorix", true, kOldUrl,
     NotAccessible(L"127.0.0.1:{closed}", L"0x80072efd")},
    {"NotLocal", L"192.0.2.7:80", L"", L"1", L"quorix", true, kOldUrl,
     L"The host name or address \"192.0.2.7\" is not local. The Apache web server must be installed on this computer."},
    {"Multicast", L"224.0.0.1", L"", L"1", L"quorix", true, kOldUrl, L"Not a valid or usable IP address: 224.0.0.1"},
    {"NoSuchHost", L"no-such-host.invalid", L"", L"1", L"quorix", true, kOldUrl,
     L"Host name does not appear to exist: no-such-host.invalid"},
    {"BadPort", L"127.0.0.1:0", L"", L"1", L"quorix", true, kOldUrl, L"Not a valid TCP port number: 0"},
    {"LeadingSlash", L"127.0.0.1", L"", L"1", L"/quorix", true, kOldUrl, kBadVdir},
    {"SlashInside", L"127.0.0.1", L"", L"1", L"qx/web", true, kOldUrl, kBadVdir},
    {"BlankInside", L"127.0.0.1", L"", L"1", L"qx web", true, kOldUrl, kBadVdir},
};

class ApacheCheck : public ::testing::TestWithParam<CheckCase> {
protected:
    qxtest::TinyHttpServer server{404};
    const uint16_t closed = qxtest::TinyHttpServer::ClosedPort();

    std::wstring Fill(std::wstring text) const
    {
        text = WithPort(std::move(text), server.Port());
        const size_t at = text.find(L"{closed}");
        if (at != std::wstring::npos) text.replace(at, 8, std::to_wstring(closed));
        return text;
    }
    qxtest::Props Props() const
    {
        const CheckCase& c = GetParam();
        return {{L"QUORIX_APACHE_WEB_HOST", Fill(c.host)}, {L"QUORIX_APACHE_WEB_USE_SSL", c.ssl},
                {L"QUORIX_SKIP_APACHE_CONNECT_TEST", c.skip}, {L"QUORIX_APACHE_WEB_VDIR", c.vdir},
                {L"QUORIX_WEB_URL", kOldUrl}};
    }
};

TEST_P(ApacheCheck, DialogTwinReportsThroughProperties)
{
    const CheckCase& c = GetParam();
    CheckSession s(Props(), c.apache);
    s.SetProperty(L"_InvalidApacheConfig", L"1");  // left from an earlier press
    EXPECT_EQ(qxtest::Action("CheckApacheConfigUI")(s.Handle()), 0u);
    EXPECT_EQ(s.Property(L"_InvalidApacheConfig"), c.invalid.empty() ? L"" : L"1");
    EXPECT_EQ(s.Property(L"_NotifyUserDlgText"), Fill(c.invalid));
    EXPECT_EQ(s.Property(L"QUORIX_WEB_URL"), Fill(c.url));
    EXPECT_TRUE(s.capture.Texts(0).empty()) << "the dialog twin shows no box";
}

TEST_P(ApacheCheck, SequenceTwinFailsTheInstall)
{
    const CheckCase& c = GetParam();
    CheckSession s(Props(), c.apache);
    const UINT r = qxtest::Action("CheckApacheConfig")(s.Handle());
    EXPECT_EQ(s.Property(L"QUORIX_WEB_URL"), Fill(c.url));
    if (c.invalid.empty()) {
        EXPECT_EQ(r, 0u);
        EXPECT_TRUE(s.capture.Texts(0).empty());
    } else {
        EXPECT_EQ(r, 1603u);
        EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{L"CheckApacheConfig:  " + Fill(c.invalid) + L"  (0x80070057)"});
    }
}

INSTANTIATE_TEST_SUITE_P(Settings, ApacheCheck, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

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

TEST(ApacheCheckMissing, DialogAsksKindlySequenceNamesTheProperty)
{
    struct Case {
        const char* name;
        qxtest::Props props;
        std::wstring dialog, sequence;
    };
    const Case cases[] = {
        {"NoHost", {{L"QUORIX_APACHE_WEB_VDIR", L"quorix"}},
         L"The local Apache web site host name for Quorix must be specified.",
         L"Property \"QUORIX_APACHE_WEB_HOST\" does not exist"},
        {"NoWebPath", {{L"QUORIX_APACHE_WEB_HOST", L"127.0.0.1"}, {L"QUORIX_SKIP_APACHE_CONNECT_TEST", L"1"}},
         L"The Quorix virtual directory name must be specified.", L"Property \"QUORIX_APACHE_WEB_VDIR\" does not exist"},
    };
    for (const auto& c : cases) {
        {
            CheckSession s(c.props, true);
            EXPECT_EQ(qxtest::Action("CheckApacheConfigUI")(s.Handle()), 0u);
            EXPECT_EQ(s.Property(L"_InvalidApacheConfig"), L"1") << c.name;
            EXPECT_EQ(s.Property(L"_NotifyUserDlgText"), c.dialog) << c.name;
        }
        {
            CheckSession s(c.props, true);
            EXPECT_EQ(qxtest::Action("CheckApacheConfig")(s.Handle()), 1603u);
            EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{L"CheckApacheConfig:  " + c.sequence + L"  (0x80070057)"})
                << c.name;
        }
    }
}

}  // namespace
