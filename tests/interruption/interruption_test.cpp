// An install can die at any moment: power, a killed process, a crashed host.
// For each file we rewrite by transaction, the execute phase is killed before
// each of its file operations in turn (in a child process, so that nothing
// is flushed or cleaned up), and the phase the installer runs next is then
// run from what is on disk: rollback after an interrupted execute, commit or
// rollback after a finished one. The old file must always come back whole,
// the new one must never be torn, and nothing may be lost.
#include <windows.h>
#include <msi.h>

#include <gtest/gtest.h>

#include <functional>

#include "msiu/deferred.h"
#include "msiu/files.h"
#include "qxtest/session.h"

extern "C" UINT __stdcall CreateApacheConfDeferred(MSIHANDLE);
extern "C" UINT __stdcall UpdateHtDigConfDeferred(MSIHANDLE);
extern "C" UINT __stdcall UpdateQuorixDatDeferred(MSIHANDLE);

namespace {

using Action = UINT(__stdcall*)(MSIHANDLE);
const std::wstring kPackage = L"" QX_PACKAGE_DIR;
constexpr DWORD kKilled = 86;
using msiu::Phase;

struct Subject {
    std::string name;
    Action action;
    const wchar_t* file;
    std::string original;  // empty: a first install, no F before
    std::function<std::wstring(const std::wstring& target)> data;
};

std::vector<Subject> Subjects()
{
    const auto apache = [](const std::wstring& t) { return L"1.0|" + t + L"|C:\\q\\cgi\\|C:\\q\\x\\|C:\\q\\h\\|quorix"; };
    const auto htdig = [](const std::wstring& t) { return t + L"|C:\\Quorix\\help\\db|http://qxhost/quorix"; };
    const auto dat = [](const std::wstring& t) {
        return msiu::JoinFields({kPackage + L"/not.quorix.dat", t, L"C:\\Quorix\\", L"http://qxhost/quorix/", L"D:\\seq\\", L"0",
                                 L"0", L"Users", L"Administrators", L"136", L"0"});
    };
    return {
        {"httpd_conf_first_install", CreateApacheConfDeferred, L"httpd.conf", "", apache},
        {"httpd_conf_upgrade", CreateApacheConfDeferred, L"httpd.conf", "# the administrator's fragment\n", apache},
        {"htdig_conf", UpdateHtDigConfDeferred, L"htdig.conf",
         "# help search\r\ndatabase_dir:\t/old/db\r\nstart_url:\thttp://old/home.html\r\nmaxhops: 4\r\n", htdig},
        {"quorix_dat_first_install", UpdateQuorixDatDeferred, L"quorix.dat", "", dat},
        {"quorix_dat_upgrade", UpdateQuorixDatDeferred, L"quorix.dat", qxtest::ReadFileBytes(kPackage + L"/not.quorix.dat"), dat},
    };
}

UINT RunPhase(Action action, Phase phase, const std::wstring& data)
{
    qxtest::Session s(qxtest::Props{{L"CustomActionData", data}});
    msiu::detail::SetPhaseOverride(phase);
    const UINT result = action(s.Handle());
    msiu::detail::SetPhaseOverride(Phase::None);
    return result;
}

std::wstring Env(const wchar_t* name)
{
    wchar_t buffer[1024];
    const DWORD n = GetEnvironmentVariableW(name, buffer, 1024);
    return n && n < 1024 ? std::wstring(buffer, n) : std::wstring();
}

// --- the child: one phase, killed before its N-th file operation, telling the parent where it stopped ---

int g_killAt = 0;

TEST(Interruption, ChildProcess)
{
    const std::wstring subject = Env(L"QX_KILL_SUBJECT");
    if (subject.empty()) GTEST_SKIP() << "runs only as the child of the interruption tests";
    g_killAt = _wtoi(Env(L"QX_KILL_AT").c_str());
    msiu::detail::SetFileStepHook([](const wchar_t* operation, const std::wstring& path) {
        if (--g_killAt != 0) return;
        const std::wstring line = std::wstring(operation) + L" " + path;
        qxtest::WriteFileBytes(Env(L"QX_KILL_STEP_FILE"), std::string(line.begin(), line.end()));
        TerminateProcess(GetCurrentProcess(), kKilled);  // no clean-up at all
    });
    for (const Subject& s : Subjects())
        if (subject == std::wstring(s.name.begin(), s.name.end()))
            std::exit(static_cast<int>(RunPhase(s.action, static_cast<Phase>(_wtoi(Env(L"QX_KILL_PHASE").c_str())), s.data(Env(L"QX_KILL_TARGET")))));
    std::exit(2);
}

// The child's exit code, and "operation path" where it stopped.
std::pair<DWORD, std::string> RunChild(const Subject& s, Phase phase, const std::wstring& target, int killAt)
{
    const std::wstring stepFile = target + L".step";
    DeleteFileW(stepFile.c_str());
    for (auto [name, value] : {std::pair{L"QX_KILL_SUBJECT", std::wstring(s.name.begin(), s.name.end())},
                               {L"QX_KILL_AT", std::to_wstring(killAt)}, {L"QX_KILL_PHASE", std::to_wstring(static_cast<int>(phase))},
                               {L"QX_KILL_TARGET", target}, {L"QX_KILL_STEP_FILE", stepFile}})
        SetEnvironmentVariableW(name, value.c_str());
    wchar_t exe[MAX_PATH];
    GetModuleFileNameW(nullptr, exe, MAX_PATH);
    std::wstring command = L"\"" + std::wstring(exe) + L"\" --gtest_filter=Interruption.ChildProcess";
    STARTUPINFOW si{sizeof si};
    PROCESS_INFORMATION pi{};
    DWORD exitCode = ~0u;
    // A loaded machine now and then refuses a process start: tried again until
    // a deadline. One that starts and hangs is ended, so that the test reports
    // it instead of waiting.
    for (const DWORD start = GetTickCount(); !CreateProcessW(exe, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi); Sleep(50))
        if (GetTickCount() - start > 30000) return {exitCode, "CreateProcess failed with " + std::to_string(GetLastError())};
    if (WaitForSingleObject(pi.hProcess, 60000) != WAIT_OBJECT_0) TerminateProcess(pi.hProcess, 1);
    WaitForSingleObject(pi.hProcess, 10000);
    GetExitCodeProcess(pi.hProcess, &exitCode);
    CloseHandle(pi.hThread);
    CloseHandle(pi.hProcess);
    SetEnvironmentVariableW(L"QX_KILL_SUBJECT", nullptr);
    return {exitCode, exitCode == kKilled ? qxtest::ReadFileBytes(stepFile) : ""};
}

// --- the parent ----------------------------------------------------------

// F, T and B as "F=<text>" or "F-" when missing, and any leftover.
std::string OnDisk(const msiu::FileTransaction& t)
{
    std::string out;
    for (auto [tag, name] : {std::pair{"F", t.Target()}, {"T", t.Temp()}, {"B", t.Backup()}, {"N", t.Staging()}, {"P", t.Temp() + L".part"}})
        out += qxtest::Exists(name) ? std::string(" ") + tag + "=" + qxtest::ReadFileBytes(name) : std::string(" ") + tag + "-";
    return out;
}

void Prepare(const Subject& s, const msiu::FileTransaction& t)
{
    for (const std::wstring& name : {t.Target(), t.Temp(), t.Backup(), t.Staging(), t.Temp() + L".part"}) DeleteFileW(name.c_str());
    if (!s.original.empty()) qxtest::WriteFileBytes(t.Target(), s.original);
}

class EachFile : public testing::TestWithParam<Subject> {
protected:
    qxtest::TempDir dir;
};

TEST_P(EachFile, EveryInterruptionEndsInTheOldOrTheNewFileWhole)
{
    const Subject& s = GetParam();
    const msiu::FileTransaction t(dir.File(s.file));
    const std::wstring data = s.data(t.Target());
    const bool upgrade = !s.original.empty();
    const std::string old = upgrade ? " F=" + s.original : " F-";

    // The new file as an execute that is never interrupted writes it.
    Prepare(s, t);
    ASSERT_EQ(RunPhase(s.action, Phase::Execute, data), 0u);
    const std::string fresh = qxtest::ReadFileBytes(t.Target());
    const std::string retried = " F=" + fresh + " T-" + (upgrade ? " B=" + s.original : " B-") + " N- P-";

    std::vector<std::string> steps;
    int k = 1;
    for (bool finished = false; !finished && k < 20; ++k) {
        for (bool torn : {false, true}) {
            Prepare(s, t);
            const auto [exitCode, step] = RunChild(s, Phase::Execute, t.Target(), k);
            if ((finished = exitCode == 0)) break;
            ASSERT_EQ(exitCode, kKilled) << "step " << k << ": " << step;
            if (!torn) steps.push_back(step);
            // A crash in the middle of writing the file the operation would put in place leaves it torn.
            const std::wstring source = step.rfind("rename ", 0) == 0 ? t.Temp() + L".part"
                                        : step.rfind("replace ", 0) == 0 ? t.Staging() : L"";
            if (torn && source.empty()) break;
            if (torn && qxtest::Exists(source)) {
                const std::string bytes = qxtest::ReadFileBytes(source);
                qxtest::WriteFileBytes(source, bytes.substr(0, bytes.size() / 2));
            }
            SCOPED_TRACE("killed before " + step + (torn ? ", its input torn" : ""));
            // Whatever the moment, F is the old file or the whole new one, and T is never torn.
            const std::string between = OnDisk(t);
            const bool freshF = between.rfind(" F=" + fresh + " ", 0) == 0;
            EXPECT_TRUE(freshF || between.rfind(old + " ", 0) == 0) << between;
            if (between.find(" T=") != std::string::npos) EXPECT_NE(between.find(" T=" + s.original + " B"), std::string::npos) << between;

            ASSERT_EQ(RunPhase(s.action, Phase::Rollback, data), 0u);
            EXPECT_EQ(OnDisk(t), (upgrade ? old : freshF ? " F=" + fresh : " F-") + " T- B- N- P-");
            // The install tried again goes through as if nothing had happened.
            ASSERT_EQ(RunPhase(s.action, Phase::Execute, data), 0u);
            ASSERT_EQ(RunPhase(s.action, Phase::Commit, data), 0u);
            EXPECT_EQ(OnDisk(t), retried);
        }
    }
    ASSERT_LT(k, 20) << "the execute never finished";
    // Every file operation of the execute phase was a place to stop.
    const std::string T(t.Temp().begin(), t.Temp().end()), F(t.Target().begin(), t.Target().end());
    const std::vector<std::string> expected{"copy " + T + ".part", "rename " + T, "replace " + F};
    EXPECT_EQ(steps, upgrade ? expected : std::vector<std::string>{expected[2]});
}

TEST_P(EachFile, AFinishedExecuteCommitsOrRollsBackAndSoDoesAnInterruptedPhase)
{
    const Subject& s = GetParam();
    const msiu::FileTransaction t(dir.File(s.file));
    const std::wstring data = s.data(t.Target());
    const bool upgrade = !s.original.empty();
    for (Phase phase : {Phase::Commit, Phase::Rollback}) {
        const bool commit = phase == Phase::Commit;
        SCOPED_TRACE(commit ? "commit" : "rollback");
        Prepare(s, t);
        ASSERT_EQ(RunPhase(s.action, Phase::Execute, data), 0u);
        const std::string fresh = qxtest::ReadFileBytes(t.Target());
        // Killed before the phase's one rename: the files are as execute left them, the old file waiting in T.
        // Without a T the phase has nothing to do.
        const auto [exitCode, step] = RunChild(s, phase, t.Target(), 1);
        EXPECT_EQ(exitCode, upgrade ? kKilled : 0u) << step;
        if (upgrade) {
            const std::wstring moved = commit ? t.Backup() : t.Target();
            EXPECT_EQ(step, "move " + std::string(moved.begin(), moved.end()));
            EXPECT_EQ(OnDisk(t), " F=" + fresh + " T=" + s.original + " B- N- P-");
        }
        // The phase run again, or run at all, ends where it always does.
        ASSERT_EQ(RunPhase(s.action, phase, data), 0u);
        EXPECT_EQ(OnDisk(t), " F=" + (commit || !upgrade ? fresh : s.original) + " T-" +
                                 (commit && upgrade ? " B=" + s.original : " B-") + " N- P-");
    }
}

INSTANTIATE_TEST_SUITE_P(Transactions, EachFile, testing::ValuesIn(Subjects()),
                         [](const testing::TestParamInfo<Subject>& info) { return info.param.name; });

}  // namespace
