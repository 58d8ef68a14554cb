// What the action tests share: a body run in an action frame with its result
// and messages, box recorders, a scripted name service, costed sessions on one
// table schema, narrow/wide helpers, case files, polling with a deadline, and
// a watchdog that fails a test left waiting on a window.
#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>

#include "msiu/dialog.h"
#include "msiu/log.h"
#include "msiu/network.h"
#include "msiu/session.h"
#include "qxtest/session.h"

namespace qxkit {

using Lines = std::vector<std::wstring>;
inline std::wstring W(const std::string& s) { return std::wstring(s.begin(), s.end()); }
inline std::string N(const std::wstring& w) { return std::string(w.begin(), w.end()); }

// A body run as an action of its own on a fresh session.
struct Frame { UINT result = 0; Lines info, warnings, fatal; std::vector<qxtest::Message> all; };
inline Frame Capture(UINT result, const qxtest::Session& s)
{
    return {result, s.capture.Texts(msiu::kMsgInfo), s.capture.Texts(msiu::kMsgWarning), s.capture.Texts(0),
            s.capture.messages};
}
template <class Body>
Frame InFrame(const wchar_t* name, Body&& body, const qxtest::Props& props = {})
{
    qxtest::Session s(props);
    return Capture(msiu::RunAction(s.Handle(), name, false, body), s);
}
// An exported action on the given session.
inline Frame Call(const char* action, qxtest::Session& s)
{
    s.capture.messages.clear();
    return Capture(qxtest::Action(action)(s.Handle()), s);
}

// An action left open on a session, for code that logs while a test drives it.
struct ActionContext {
    explicit ActionContext(const qxtest::Props& props = {}) : session(props) { msiu::InitAction(session.Handle(), L"ClusterTest", false); }
    ~ActionContext() { msiu::FinishAction(0); }
    Lines Info() const { return session.capture.Texts(msiu::kMsgInfo); }
    qxtest::Session session;
};

// Every box of the logging and the dialog layers while it lives, answered
// with `answer`.
struct Box { HWND owner; std::wstring text, caption; UINT style; };
struct Boxes {
    static std::vector<Box>& All() { return boxes_; }
    static int WINAPI Record(HWND owner, LPCWSTR text, LPCWSTR caption, UINT style)
    {
        boxes_.push_back({owner, text, caption, style});
        return answer_;
    }
    explicit Boxes(int answer = IDOK)
    {
        boxes_.clear();
        answer_ = answer;
        Hook(&Record);
    }
    ~Boxes() { Hook(nullptr); }
    static void Hook(decltype(&Record) box) { msiu::detail::SetMessageBoxFunction(box), msiu::detail::SetDialogMessageBox(box); }
    Lines Texts() const
    {
        Lines out;
        for (const auto& b : boxes_) out.push_back(b.text);
        return out;
    }
    const std::vector<Box>& boxes() const { return boxes_; }
    static inline std::vector<Box> boxes_;
    static inline int answer_ = IDOK;
};

// A name service of known names: a name maps to its address; "unreachable"
// answers with a broken service; any other name does not exist. Literals go
// to the system's resolver, which answers them without a network.
class ScriptedNames {
public:
    explicit ScriptedNames(std::map<std::string, std::string> names)
    {
        table_ = std::move(names);
        system_ = msiu::detail::Resolver();
        msiu::detail::Resolver().getaddrinfo = &GetAddrInfo;
        asked_.clear();
    }
    ~ScriptedNames() { msiu::detail::Resolver() = system_; }
    // The names that reached the name service, literals left out.
    static std::vector<std::string>& Asked() { return asked_; }

private:
    static int WSAAPI GetAddrInfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result)
    {
        if (hints && (hints->ai_flags & AI_NUMERICHOST)) return system_.getaddrinfo(node, service, hints, result);
        const std::string name = node ? node : "";
        asked_.push_back(name);
        if (name == "unreachable") return WSANO_RECOVERY;
        const auto it = table_.find(name);
        if (it == table_.end()) return WSAHOST_NOT_FOUND;
        addrinfo numeric{};  // the known address, one entry of it, as the system gives a literal
        numeric.ai_flags = AI_NUMERICHOST;
        numeric.ai_socktype = SOCK_STREAM;
        return system_.getaddrinfo(it->second.c_str(), nullptr, &numeric, result);
    }
    static inline std::map<std::string, std::string> table_;
    static inline msiu::detail::ResolverTable system_{};
    static inline std::vector<std::string> asked_;
};

// The tables the actions read and their rows: one schema with qxtest's.
using qxtest::Row;
using qxtest::Tables;
// The deferred names of an action as a package schedules them:
// <action><phase> runs <action>Deferred.
inline Lines Scheduled(const std::wstring& action, const Lines& phases = {L"Rollback", L"Exec", L"Commit"})
{
    static const std::map<std::wstring, int> types = {{L"Rollback", 3329}, {L"Exec", 3073}, {L"Commit", 3585}};
    Lines rows;
    for (const auto& p : phases)
        rows.push_back(Row(L"CustomAction", L"'" + action + p + L"', " + std::to_wstring(types.at(p)) +
                                                L", 'QuorixCA', '" + action + L"Deferred'"));
    return rows;
}

// A session on those tables, costed so that feature, component and file
// states are known.
struct CostedSession : qxtest::Session {
    CostedSession(const qxtest::Props& props, const Lines& rows) : qxtest::Session(props, Tables(rows))
    {
        for (const wchar_t* a : {L"CostInitialize", L"FileCost", L"CostFinalize"}) EXPECT_EQ(MsiDoActionW(Handle(), a), 0u) << N(a);
        capture.messages.clear();
    }
};

// Cases of a data file: "== name", input lines, "-- expect", expected lines.
struct Case { std::string name; std::vector<std::string> in, expect; };
inline std::vector<Case> ReadCases(const std::wstring& path)
{
    std::ifstream file(path.c_str());
    EXPECT_TRUE(file.good()) << N(path);
    std::vector<Case> cases;
    bool expect = false;
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.rfind("== ", 0) == 0) cases.push_back({line.substr(3), {}, {}}), expect = false;
        else if (line == "-- expect") expect = true;
        else if (!cases.empty()) (expect ? cases.back().expect : cases.back().in).push_back(line);
    }
    for (auto& c : cases)
        while (!c.expect.empty() && c.expect.back().empty()) c.expect.pop_back();
    return cases;
}
// The lines that differ, marked as a unified diff does, for a failure message.
template <class Text>
std::string Diff(const std::vector<Text>& expected, const std::vector<Text>& actual)
{
    const auto line = [](const char* mark, const Text& t) { return mark + std::string(t.begin(), t.end()) + "\n"; };
    std::string out;
    for (size_t i = 0; i < std::max(expected.size(), actual.size()); ++i) {
        const bool e = i < expected.size(), a = i < actual.size();
        if (e && a && expected[i] == actual[i]) out += line("  ", expected[i]);
        else out += (e ? line("- ", expected[i]) : "") + (a ? line("+ ", actual[i]) : "");
    }
    return out;
}

// A frame's messages in order, "info: ", "warning: " or "fatal: " before
// each, and its result last.
inline std::vector<std::string> Transcript(const Frame& f)
{
    std::vector<std::string> out;
    for (const auto& m : f.all)
        out.push_back((m.type == msiu::kMsgInfo ? "info: " : m.type == msiu::kMsgWarning ? "warning: " : "fatal: ") +
                      N(m.text));
    out.push_back("result " + std::to_string(f.result));
    return out;
}
// A case's expected lines against what came, the difference shown; with
// QX_REGOLD set, each case as it came is added to <file>.actual for review.
inline void ExpectCase(const std::wstring& file, const Case& c, const std::vector<std::string>& got)
{
    EXPECT_EQ(got, c.expect) << c.name << "\n" << Diff(c.expect, got);
    if (!std::getenv("QX_REGOLD")) return;
    std::ofstream out((file + L".actual").c_str(), std::ios::app);
    out << "== " << c.name << "\n";
    for (const auto& l : c.in) out << l << "\n";
    out << "-- expect\n";
    for (const auto& l : got) out << l << "\n";
}

// Every row of a session's table as "col|col|...", a null column as "~",
// sorted.
inline std::vector<std::string> TableRows(MSIHANDLE session, const std::string& table)
{
    std::vector<std::string> rows;
    PMSIHANDLE db = MsiGetActiveDatabase(session), view;
    MSIHANDLE record = 0;
    MsiDatabaseOpenViewW(db, (L"SELECT * FROM `" + W(table) + L"`").c_str(), &view);
    MsiViewExecute(view, 0);
    for (; MsiViewFetch(view, &record) == ERROR_SUCCESS; MsiCloseHandle(record)) {
        std::string row = table + ":";
        for (UINT i = 1; i <= MsiRecordGetFieldCount(record); ++i) {
            const auto text = [&](wchar_t* b, DWORD* n) { MsiRecordGetStringW(record, i, b, n); };
            row += (i > 1 ? "|" : " ") + (MsiRecordIsNull(record, i) ? "~" : N(qxtest::detail::Fetch(text)));
        }
        rows.push_back(row);
    }
    std::sort(rows.begin(), rows.end());
    return rows;
}

// Exported actions on a session, as a case file tells: "prop NAME=value"
// lines make the package (<CR>, <LF>, <TAB> and <xHH> stand for control
// characters), "run ACTION" adds the transcript of a call, "show NAME..." a
// NAME=value line for each, "rows TABLE..." each row; "sql" adds a row, "costed" costs the session
// first. Placeholders in `fill` stand for values known only at run time.
inline std::vector<std::string> RunActions(const Case& c, Lines rows = {},
                                           const std::map<std::string, std::string>& fill = {})
{
    const auto filled = [&](std::string line, bool back) {  // a placeholder to its value, or back
        for (const auto& [key, value] : fill)
            for (size_t at = 0; (at = line.find(back ? value : key, at)) != std::string::npos; at += (back ? key : value).size())
                line.replace(at, (back ? value : key).size(), back ? key : value);
        return line;
    };
    auto text = [](std::string v) {
        for (const auto& [from, to] : std::map<std::string, std::string>{{"<CR>", "\r"}, {"<LF>", "\n"}, {"<TAB>", "\t"}})
            for (size_t at; (at = v.find(from)) != std::string::npos;) v.replace(at, from.size(), to);
        for (size_t at; (at = v.find("<x")) != std::string::npos;) v.replace(at, 5, 1, char(std::stoi(v.substr(at + 2, 2), nullptr, 16)));
        return W(v);
    };
    qxtest::Props props;
    for (const auto& raw : c.in) {
        const std::string line = filled(raw, false);
        if (line.rfind("prop ", 0) == 0) props.push_back({W(line.substr(5, line.find('=') - 5)), text(line.substr(line.find('=') + 1))});
        if (line.rfind("sql ", 0) == 0) rows.push_back(W(line.substr(4)));
    }
    std::unique_ptr<qxtest::Session> s(std::find(c.in.begin(), c.in.end(), "costed") != c.in.end()
                                           ? new CostedSession(props, rows) : new qxtest::Session(props, rows));
    std::vector<std::string> got;
    for (const auto& line : c.in) {
        std::istringstream words(line.substr(line.find(' ') + 1));
        if (line.rfind("run ", 0) == 0) {
            const auto t = Transcript(Call(line.substr(4).c_str(), *s));
            got.insert(got.end(), t.begin(), t.end());
        }
        for (std::string name; line.rfind("show ", 0) == 0 && words >> name;) got.push_back(name + "=" + N(s->Property(W(name))));
        for (std::string name; line.rfind("rows ", 0) == 0 && words >> name;)
            for (const auto& row : TableRows(s->Handle(), name)) got.push_back(row);
    }
    for (auto& line : got) line = filled(line, true);
    return got;
}

// Polls until `ready` holds or `ms` have passed; true when it held.
template <class F>
bool Poll(F&& ready, DWORD ms = 15000)
{
    for (const DWORD start = GetTickCount(); !ready(); Sleep(20))
        if (GetTickCount() - start > ms) return ready();
    return true;
}

// Any window of this process still open `kSeconds` into a test (an
// unexpected box, a dialog waiting for input) is closed, again and again,
// and the test fails, instead of holding the whole run until its time-out.
class Watchdog : public ::testing::EmptyTestEventListener {
public:
    static constexpr DWORD kSeconds = 60;
    void OnTestStart(const ::testing::TestInfo&) override
    {
        closed_ = 0;
        deadline_ = GetTickCount() + kSeconds * 1000;
        armed_ = true;
    }
    void OnTestEnd(const ::testing::TestInfo&) override
    {
        armed_ = false;
        if (closed_) ADD_FAILURE() << "watchdog: " << closed_ << " window(s) still open after " << kSeconds << " s were closed";
    }
    static bool Install()
    {
        auto* dog = new Watchdog;
        ::testing::UnitTest::GetInstance()->listeners().Append(dog);
        return CloseHandle(CreateThread(nullptr, 0, &Guard, dog, 0, nullptr));
    }

private:
    static BOOL CALLBACK Close(HWND w, LPARAM self)
    {
        DWORD pid = 0;
        GetWindowThreadProcessId(w, &pid);
        if (pid == GetCurrentProcessId() && IsWindowVisible(w) && PostMessageW(w, WM_CLOSE, 0, 0))
            ++reinterpret_cast<Watchdog*>(self)->closed_;
        return TRUE;
    }
    static DWORD WINAPI Guard(LPVOID p)
    {
        for (auto* self = static_cast<Watchdog*>(p);; Sleep(250))
            if (self->armed_ && static_cast<LONG>(GetTickCount() - self->deadline_) > 0)
                EnumWindows(&Close, reinterpret_cast<LPARAM>(self));
    }
    std::atomic<bool> armed_{false};
    std::atomic<DWORD> deadline_{0};
    std::atomic<int> closed_{0};
};
inline const bool kWatchdogInstalled = Watchdog::Install();

}  // namespace qxkit
