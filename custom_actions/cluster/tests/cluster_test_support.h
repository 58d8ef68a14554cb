// What the cluster tests share: an action context on a real session, a
// recorder of the dialogs' boxes, and a name service that knows a few names.
#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "msiu/dialog.h"
#include "msiu/log.h"
#include "msiu/network.h"
#include "msiu/session.h"
#include "qxtest/session.h"

namespace clustertest {

// The session context of a running action, so that the code under test can
// log; every message lands in `session.capture`.
struct ActionContext {
    explicit ActionContext(const qxtest::Props& props = {}) : session(props)
    {
        msiu::InitAction(session.Handle(), L"ClusterTest", false);
    }
    ~ActionContext() { msiu::FinishAction(0); }
    std::vector<std::wstring> Info() const { return session.capture.Texts(msiu::kMsgInfo); }
    qxtest::Session session;
};

struct Box {
    HWND owner;
    std::wstring text, caption;
    UINT style;
};

inline std::vector<Box>& Boxes()
{
    static std::vector<Box> boxes;
    return boxes;
}

// Records every box of the dialogs' layer for as long as it lives.
struct BoxRecorder {
    BoxRecorder()
    {
        Boxes().clear();
        msiu::detail::SetDialogMessageBox([](HWND owner, LPCWSTR text, LPCWSTR caption, UINT style) {
            Boxes().push_back({owner, text, caption, style});
            return IDOK;
        });
    }
    ~BoxRecorder() { msiu::detail::SetDialogMessageBox(nullptr); }
    const std::vector<Box>& boxes() const { return Boxes(); }
};

// A name service of known names: a name maps to its address; "unreachable"
// answers with a broken service; any other name does not exist. Literals go
// to the system's resolver, which answers them without a network.
class ScriptedNames {
public:
    explicit ScriptedNames(std::map<std::string, std::string> names)
    {
        Table() = std::move(names);
        saved_ = msiu::detail::Resolver();
        System() = saved_;
        msiu::detail::Resolver().getaddrinfo = &GetAddrInfo;
        msiu::detail::Resolver().freeaddrinfo = &FreeAddrInfo;
        Asked().clear();
    }
    ~ScriptedNames() { msiu::detail::Resolver() = saved_; }
    // The names that reached the name service, literals left out.
    static std::vector<std::string>& Asked()
    {
        static std::vector<std::string> asked;
        return asked;
    }

private:
    static std::map<std::string, std::string>& Table()
    {
        static std::map<std::string, std::string> table;
        return table;
    }
    static msiu::detail::ResolverTable& System()
    {
        static msiu::detail::ResolverTable table{};
        return table;
    }
    static std::set<addrinfo*>& Ours()
    {
        static std::set<addrinfo*> ours;
        return ours;
    }
    static int WSAAPI GetAddrInfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result)
    {
        if (hints && (hints->ai_flags & AI_NUMERICHOST)) return System().getaddrinfo(node, service, hints, result);
        const std::string name = node ? node : "";
        Asked().push_back(name);
        if (name == "unreachable") return WSANO_RECOVERY;
        const auto it = Table().find(name);
        if (it == Table().end()) return WSAHOST_NOT_FOUND;
        auto* entry = static_cast<addrinfo*>(std::calloc(1, sizeof(addrinfo)));
        auto* storage = static_cast<sockaddr_in6*>(std::calloc(1, sizeof(sockaddr_in6)));
        auto* v4 = reinterpret_cast<sockaddr_in*>(storage);
        if (inet_pton(AF_INET, it->second.c_str(), &v4->sin_addr) == 1) {
            v4->sin_family = AF_INET;
            entry->ai_family = AF_INET;
            entry->ai_addrlen = sizeof(sockaddr_in);
        } else {
            inet_pton(AF_INET6, it->second.c_str(), &storage->sin6_addr);
            storage->sin6_family = AF_INET6;
            entry->ai_family = AF_INET6;
            entry->ai_addrlen = sizeof(sockaddr_in6);
        }
        entry->ai_socktype = SOCK_STREAM;
        entry->ai_addr = reinterpret_cast<sockaddr*>(storage);
        Ours().insert(entry);
        *result = entry;
        return 0;
    }
    static void WSAAPI FreeAddrInfo(addrinfo* list)
    {
        if (Ours().erase(list)) {
            std::free(list->ai_addr);
            std::free(list);
        } else {
            System().freeaddrinfo(list);
        }
    }

    msiu::detail::ResolverTable saved_{};
};

inline std::wstring W(const std::string& s) { return std::wstring(s.begin(), s.end()); }
inline std::string N(const std::wstring& w) { return std::string(w.begin(), w.end()); }

}  // namespace clustertest
