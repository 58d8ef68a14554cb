// The Apache check through the DLL's exports on real installer sessions (the
// settings and web paths in check.txt), and the HTTP probe, both against a
// server the test runs on a loopback port.
#include "qxtest/kit.h"

#include <wininet.h>

#include <memory>
#include <mutex>
#include <thread>

#include "msiu/error.h"
#include "msiu/web.h"
#include "qxtest/imports.h"

namespace {

using qxkit::N;

// Every request gets `status`; what came in is kept. A second socket holds a
// port on which nobody listens, for a stopped server.
class Server {
public:
    explicit Server(int status)
    {
        WSADATA data;
        WSAStartup(MAKEWORD(2, 2), &data);
        for (SOCKET* s : {&listener_, &idle_}) {
            sockaddr_in a{AF_INET, 0, {}, {}};
            a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            int len = sizeof(a);
            *s = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
            bind(*s, reinterpret_cast<sockaddr*>(&a), len);
            getsockname(*s, reinterpret_cast<sockaddr*>(&a), &len);
            (s == &listener_ ? port : closed) = ntohs(a.sin_port);
        }
        listen(listener_, 8);
        thread_ = std::thread([this, status] {
            for (SOCKET c; (c = accept(listener_, nullptr, nullptr)) != INVALID_SOCKET && !stop_; closesocket(c)) {
                std::string head;
                char buf[1024];
                // A TLS hello (first byte 0x16) never ends in a blank line: it
                // gets the plain answer at once, as a plain server would give it.
                for (int n; head.find("\r\n\r\n") == std::string::npos && (head.empty() || head[0] != '\x16') &&
                            (n = recv(c, buf, sizeof(buf), 0)) > 0;)
                    head.append(buf, static_cast<size_t>(n));
                {
                    std::lock_guard<std::mutex> g(lock_);
                    requests_.push_back(head);
                }
                const std::string reply = "HTTP/1.1 " + std::to_string(status) +
                                          " Status\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
                send(c, reply.data(), static_cast<int>(reply.size()), 0);
                shutdown(c, SD_SEND);
            }
        });
    }
    ~Server()
    {
        stop_ = true;  // a last connection wakes the accepting thread
        SOCKET s = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
        sockaddr_in a{AF_INET, htons(port), {}, {}};
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connect(s, reinterpret_cast<sockaddr*>(&a), sizeof(a));
        thread_.join();
        for (SOCKET x : {s, listener_, idle_}) closesocket(x);
        WSACleanup();
    }
    std::vector<std::string> Requests()
    {
        std::lock_guard<std::mutex> g(lock_);
        return requests_;
    }
    uint16_t port = 0, closed = 0;

private:
    SOCKET listener_ = INVALID_SOCKET, idle_ = INVALID_SOCKET;
    std::atomic<bool> stop_{false};
    std::mutex lock_;
    std::vector<std::string> requests_;
    std::thread thread_;
};

TEST(ApacheCheck, EachCaseOfCheckTxt)
{
    Server server{404};
    const std::map<std::string, std::string> fill = {{"{port}", std::to_string(server.port)},
                                                     {"{closed}", std::to_string(server.closed)}};
    const std::wstring file = qxtest::SourceDir() + L"\\custom_actions\\apache\\tests\\check.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) qxkit::ExpectCase(file, c, qxkit::RunActions(c, {}, fill));
}

TEST(Probe, AnyAnswerPassesAndTheRequestIsAHeadForTheRoot)
{
    // A cookie this process holds for the server stays home: the probe asks for none.
    ASSERT_TRUE(InternetSetCookieW(L"http://127.0.0.1/", L"qxprobe", L"1"));
    for (int status : {200, 404, 500}) {
        Server server(status);
        EXPECT_NO_THROW(msiu::ProbeHttpServer(L"127.0.0.1", server.port, false)) << status;
        EXPECT_NO_THROW(msiu::ProbeHttpServer(L"localhost", server.port, false)) << status;
        const auto requests = server.Requests();
        ASSERT_EQ(requests.size(), 2u) << "one attempt each";
        const std::string& r = requests[0];
        EXPECT_EQ(r.substr(0, r.find("\r\n")), "HEAD / HTTP/1.1");
        for (const char* header : {"User-Agent: Orvane MSI Utils Library\r\n", "Accept: text/*\r\n", "Pragma: no-cache\r\n"})
            EXPECT_NE(r.find(header), std::string::npos) << r;
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
    Server server(200);
    const struct {
        std::wstring host;
        uint16_t port;
        bool ssl;
        uint32_t code;      // only its facility for a secure probe of a plain server
        const wchar_t* text = L"No response or error when probing HTTP server: %s  (HttpSendRequest)";
        const char* refused = nullptr;  // the WinInet call made to fail
        const void* stub = nullptr;
    } cases[] = {
        {L"127.0.0.1", server.closed, false, 0x80072EFDu},  // 12029: cannot connect
        {L"no-such-host.invalid", 80, false, 0x80072EE7u},   // 12007: name not resolved
        {L"127.0.0.1", server.port, true, 0x80070000u},      // no usable answer
        {L"", 80, false, 0x80070057u, L"Unable to probe HTTP server: %s  (InternetConnect)"},
        {L"127.0.0.1", 80, false, 0x80070008u, L"Unable to probe HTTP server: %s  (InternetOpen)", "InternetOpenW",
         reinterpret_cast<const void*>(&RefuseOpen)},
        {L"127.0.0.1", 80, false, 0x80070008u, L"Unable to probe HTTP server: %s  (HttpOpenRequest)", "HttpOpenRequestW",
         reinterpret_cast<const void*>(&RefuseRequest)},
    };
    for (const auto& c : cases) {
        std::unique_ptr<qxtest::ImportSwap> swap(c.refused ? new qxtest::ImportSwap("wininet.dll", c.refused, c.stub) : nullptr);
        ASSERT_TRUE(!swap || swap->Found()) << c.refused;
        try {
            msiu::ProbeHttpServer(c.host, c.port, c.ssl);
            ADD_FAILURE() << N(c.host);
        } catch (const msiu::MSIError& e) {
            std::wstring text = c.text;
            EXPECT_EQ(e.Text(), text.replace(text.find(L"%s"), 2, c.host));
            EXPECT_EQ(static_cast<uint32_t>(e.Code()) & (c.ssl ? 0xFFFF0000u : ~0u), c.code) << N(c.host);
        }
    }
}

}  // namespace
