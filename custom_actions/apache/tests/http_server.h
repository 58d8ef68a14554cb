// A tiny HTTP server on a loopback port, on a thread of its own: every
// request gets the one status it was made with. What came in is kept.
#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace qxtest {

class TinyHttpServer {
public:
    explicit TinyHttpServer(int status) : status_(status)
    {
        WSADATA data;
        WSAStartup(MAKEWORD(2, 2), &data);
        listener_ = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(listener_, reinterpret_cast<sockaddr*>(&a), sizeof(a));
        listen(listener_, 8);
        int len = sizeof(a);
        getsockname(listener_, reinterpret_cast<sockaddr*>(&a), &len);
        port_ = ntohs(a.sin_port);
        thread_ = std::thread([this] { Serve(); });
    }

    ~TinyHttpServer()
    {
        stop_ = true;
        thread_.join();
        closesocket(listener_);
        WSACleanup();
    }

    uint16_t Port() const { return port_; }

    std::vector<std::string> Requests()
    {
        std::lock_guard<std::mutex> g(lock_);
        return requests_;
    }

    // A port on which nobody listens: bound once, then given back.
    static uint16_t ClosedPort()
    {
        WSADATA data;
        WSAStartup(MAKEWORD(2, 2), &data);
        SOCKET s = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(s, reinterpret_cast<sockaddr*>(&a), sizeof(a));
        int len = sizeof(a);
        getsockname(s, reinterpret_cast<sockaddr*>(&a), &len);
        closesocket(s);
        WSACleanup();
        return ntohs(a.sin_port);
    }

private:
    void Serve()
    {
        while (!stop_) {
            fd_set set;
            FD_ZERO(&set);
            FD_SET(listener_, &set);
            timeval tv{0, 50000};
            if (select(0, &set, nullptr, nullptr, &tv) <= 0) continue;
            SOCKET c = accept(listener_, nullptr, nullptr);
            if (c == INVALID_SOCKET) continue;
            std::string head;
            char buf[1024];
            // A TLS hello (first byte 0x16) never ends in a blank line: it gets
            // the plain answer at once, as a plain server would give it.
            while (head.find("\r\n\r\n") == std::string::npos && (head.empty() || head[0] != '\x16')) {
                int n = recv(c, buf, sizeof(buf), 0);
                if (n <= 0) break;
                head.append(buf, static_cast<size_t>(n));
            }
            {
                std::lock_guard<std::mutex> g(lock_);
                requests_.push_back(head);
            }
            const std::string reply = "HTTP/1.1 " + std::to_string(status_) +
                                      " Status\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
            send(c, reply.data(), static_cast<int>(reply.size()), 0);
            shutdown(c, SD_SEND);
            closesocket(c);
        }
    }

    int status_;
    SOCKET listener_ = INVALID_SOCKET;
    uint16_t port_ = 0;
    std::atomic<bool> stop_{false};
    std::mutex lock_;
    std::vector<std::string> requests_;
    std::thread thread_;
};

}  // namespace qxtest
