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

#include <cstdlib>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

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

struct Subject {
    const char* name;
    Action action;
    const wchar_t* file;
    std::string original;  // empty: a first install, no F before
    std::function<std::wstring(const std::wstring& target)> data;
};

std::string TemplateText()
{
    return qxtest::ReadFileBytes(kPackage + L"/not.quorix.dat");
}

std::wstring QuorixDatData(const std::wstring& target)
{
    return msiu::JoinFields({kPackage + L"/not.quorix.dat", target, L"C:\\Quorix\\", L"http://qxhost/quorix/",
                             L"D:\\seq\\", L"0", L"0", L"Users", L"Administrators", L"136", L"0"});
}

std::vector<Subject> Subjects()
{
    const auto apache = [](const std::wstring& t) { return L"1.0|" + t + L"|C:\\q\\cgi\\|C:\\q\\x\\|C:\\q\\h\\|quorix"; };
    const auto htdig = [](const std::wstring& t) { return t + L"|C:\\Quorix\\help\\db|http://qxhost/quorix"; };
    return {
        {"httpd_conf_first_install", CreateApacheConfDeferred, L"httpd.conf", "", apache},
        {"httpd_conf_upgrade", CreateApacheConfDeferred, L"httpd.conf", "# the administrator's fragment\n", apache},
        {"htdig_conf", UpdateHtDigConfDeferred, L"htdig.conf",
         "# help search\r\ndatabase_dir:\t/old/db\r\nstart_url:\thttp://old/home.html\r\nmaxhops: 4\r\n", htdig},
        {"quorix_dat_first_install", UpdateQuorixDatDeferred, L"quorix.dat", "", QuorixDatData},
        {"quorix_dat_upgrade", UpdateQuorixDatDeferred, L"quorix.dat", TemplateText(), QuorixDatData},
    };
}

void PrintTo(const Subject& s, std::ostream* os)
{
    *os << s.name;
}

UINT RunPhase(Action action, msiu::Phase phase, const std::wstring& data)
{
    qxtest::Session s(qxtest::Props{{L"CustomActionData", data}});
    msiu::detail::SetPhaseOverride(phase);
    const UINT result = action(s.Handle());
    msiu::detail::SetPhaseOverride(msiu::Phase::None);
    return result;
}

// --- the child: one phase, killed before its N-th file operation ---------

std::wstring Env(const wchar_t* name)
{
    wchar_t buffer[1024];
    const DWORD n = GetEnvironmentVariableW(name, buffer, 1024);
    return n && n < 1024 ? std::wstring(buffer, n) : std::wstring();
}

int g_killAt = 0;
std::wstring g_stepFile;

void KillAtStep(const wchar_t* operation, const std::wstring& path)
{
    if (--g_killAt != 0) return;
    // Tell the parent where we stopped, then die without any clean-up.
    const std::wstring line = std::wstring(operation) + L" " + path;
    HANDLE h = CreateFileW(g_stepFile.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(h, line.data(), static_cast<DWORD>(line.size() * sizeof(wchar_t)), &written, nullptr);
    CloseHandle(h);
    TerminateProcess(GetCurrentProcess(), kKilled);
}

TEST(Interruption, ChildProcess)
{
    const std::wstring subject = Env(L"QX_KILL_SUBJECT");
    if (subject.empty()) GTEST_SKIP() << "runs only as the child of the interruption tests";
    g_killAt = _wtoi(Env(L"QX_KILL_AT").c_str());
    g_stepFile = Env(L"QX_KILL_STEP_FILE");
    const auto phase = static_cast<msiu::Phase>(_wtoi(Env(L"QX_KILL_PHASE").c_str()));
    for (const Subject& s : Subjects()) {
        if (subject != std::wstring(s.name, s.name + strlen(s.name))) continue;
        msiu::detail::SetFileStepHook(&KillAtStep);
        const UINT result = RunPhase(s.action, phase, s.data(Env(L"QX_KILL_TARGET")));
        std::exit(static_cast<int>(result));
    }
    std::exit(2);
}

struct Outcome {
    DWORD exitCode;
    std::wstring step;  // "operation path" where the child stopped
};

Outcome RunChild(const Subject& s, msiu::Phase phase, const std::wstring& target, int killAt)
{
    const std::wstring stepFile = target + L".step";
    DeleteFileW(stepFile.c_str());
    const std::wstring name(s.name, s.name + strlen(s.name));
    SetEnvironmentVariableW(L"QX_KILL_SUBJECT", name.c_str());
    SetEnvironmentVariableW(L"QX_KILL_AT", std::to_wstring(killAt).c_str());
    SetEnvironmentVariableW(L"QX_KILL_PHASE", std::to_wstring(static_cast<int>(phase)).c_str());
    SetEnvironmentVariableW(L"QX_KILL_TARGET", target.c_str());
    SetEnvironmentVariableW(L"QX_KILL_STEP_FILE", stepFile.c_str());

    wchar_t exe[MAX_PATH];
    GetModuleFileNameW(nullptr, exe, MAX_PATH);
    std::wstring command = L"\"" + std::wstring(exe) + L"\" --gtest_filter=Interruption.ChildProcess";
    STARTUPINFOW si{};
    si.cb = sizeof si;
    PROCESS_INFORMATION pi{};
    Outcome out{~0u, L""};
    // A loaded machine now and then refuses a process start; one that starts
    // and hangs is ended so that the test reports it instead of waiting.
    for (int attempt = 0; attempt < 3 && out.exitCode == ~0u; ++attempt) {
        if (!CreateProcessW(exe, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi)) {
            out.step = L"CreateProcess failed with " + std::to_wstring(GetLastError());
            Sleep(500);
            continue;
        }
        if (WaitForSingleObject(pi.hProcess, 60000) != WAIT_OBJECT_0) TerminateProcess(pi.hProcess, 1);
        WaitForSingleObject(pi.hProcess, INFINITE);
        GetExitCodeProcess(pi.hProcess, &out.exitCode);
        CloseHandle(pi.hThread);
        CloseHandle(pi.hProcess);
    }
    SetEnvironmentVariableW(L"QX_KILL_SUBJECT", nullptr);
    if (out.exitCode == kKilled) {
        const std::string bytes = qxtest::ReadFileBytes(stepFile);
        out.step.assign(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
        DeleteFileW(stepFile.c_str());
    }
    return out;
}

// --- the parent ----------------------------------------------------------

struct Files {
    std::string F, T, B;
    bool hasF, hasT, hasB;
    std::vector<std::wstring> leftovers;
};

Files OnDisk(const msiu::FileTransaction& t)
{
    Files f{};
    f.hasF = qxtest::Exists(t.Target());
    f.hasT = qxtest::Exists(t.Temp());
    f.hasB = qxtest::Exists(t.Backup());
    if (f.hasF) f.F = qxtest::ReadFileBytes(t.Target());
    if (f.hasT) f.T = qxtest::ReadFileBytes(t.Temp());
    if (f.hasB) f.B = qxtest::ReadFileBytes(t.Backup());
    for (const std::wstring& name : {t.Staging(), t.Temp() + L".part"})
        if (qxtest::Exists(name)) f.leftovers.push_back(name);
    return f;
}

void Prepare(const Subject& s, const msiu::FileTransaction& t)
{
    for (const std::wstring& name : {t.Target(), t.Temp(), t.Backup(), t.Staging(), t.Temp() + L".part"})
        DeleteFileW(name.c_str());
    if (!s.original.empty()) qxtest::WriteFileBytes(t.Target(), s.original);
}

// A file cut in half, as a crash inside the write that made it leaves it.
void Tear(const std::wstring& path)
{
    if (!qxtest::Exists(path)) return;
    const std::string bytes = qxtest::ReadFileBytes(path);
    qxtest::WriteFileBytes(path, bytes.substr(0, bytes.size() / 2));
}

// The file the operation at `step` would have put in place, if any: what a
// crash in the middle of writing it leaves torn.
std::wstring SourceOf(const std::wstring& step, const msiu::FileTransaction& t)
{
    if (step.rfind(L"rename ", 0) == 0) return t.Temp() + L".part";
    if (step.rfind(L"replace ", 0) == 0) return t.Staging();
    return L"";
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

    // The new file as an execute that is never interrupted writes it.
    Prepare(s, t);
    ASSERT_EQ(RunPhase(s.action, msiu::Phase::Execute, data), 0u);
    const std::string fresh = qxtest::ReadFileBytes(t.Target());
    ASSERT_NE(fresh, s.original);

    bool finished = false;
    std::vector<std::wstring> steps;
    for (int k = 1; !finished && k < 20; ++k) {
        for (bool torn : {false, true}) {
            Prepare(s, t);
            const Outcome child = RunChild(s, msiu::Phase::Execute, t.Target(), k);
            if (child.exitCode == 0) {
                finished = true;
                break;
            }
            ASSERT_EQ(child.exitCode, kKilled) << "step " << k << ": " << std::string(child.step.begin(), child.step.end());
            if (!torn) steps.push_back(child.step);
            const std::wstring source = SourceOf(child.step, t);
            if (torn) {
                if (source.empty()) break;
                Tear(source);
            }
            SCOPED_TRACE(testing::Message() << "killed before " << std::string(child.step.begin(), child.step.end())
                                            << (torn ? ", its input torn" : ""));
            // Whatever the moment, F is the old file or the whole new one.
            const Files between = OnDisk(t);
            if (between.hasF) {
                EXPECT_TRUE(between.F == s.original || between.F == fresh);
            }
            if (between.hasT) {
                EXPECT_EQ(between.T, s.original) << "T is never torn";
            }

            ASSERT_EQ(RunPhase(s.action, msiu::Phase::Rollback, data), 0u);
            const Files after = OnDisk(t);
            EXPECT_EQ(after.hasF, upgrade || between.F == fresh);
            if (upgrade) {
                EXPECT_EQ(after.F, s.original);
            }
            EXPECT_FALSE(after.hasT);
            EXPECT_FALSE(after.hasB);
            EXPECT_TRUE(after.leftovers.empty());

            // The install tried again goes through as if nothing had happened.
            ASSERT_EQ(RunPhase(s.action, msiu::Phase::Execute, data), 0u);
            ASSERT_EQ(RunPhase(s.action, msiu::Phase::Commit, data), 0u);
            const Files retried = OnDisk(t);
            EXPECT_EQ(retried.F, fresh);
            EXPECT_EQ(retried.hasB, upgrade);
            EXPECT_EQ(retried.B, upgrade ? s.original : "");
        }
    }
    ASSERT_TRUE(finished);
    // Every file operation of the execute phase was a place to stop.
    const std::vector<std::wstring> expected =
        upgrade ? std::vector<std::wstring>{L"copy " + t.Temp() + L".part", L"rename " + t.Temp(),
                                            L"replace " + t.Target()}
                : std::vector<std::wstring>{L"replace " + t.Target()};
    EXPECT_EQ(steps, expected);
}

TEST_P(EachFile, AFinishedExecuteCommitsOrRollsBackAndSoDoesAnInterruptedPhase)
{
    const Subject& s = GetParam();
    const msiu::FileTransaction t(dir.File(s.file));
    const std::wstring data = s.data(t.Target());
    const bool upgrade = !s.original.empty();

    for (msiu::Phase phase : {msiu::Phase::Commit, msiu::Phase::Rollback}) {
        const bool commit = phase == msiu::Phase::Commit;
        SCOPED_TRACE(commit ? "commit" : "rollback");
        Prepare(s, t);
        ASSERT_EQ(RunPhase(s.action, msiu::Phase::Execute, data), 0u);
        const std::string fresh = qxtest::ReadFileBytes(t.Target());

        // Killed before the phase's one rename: the files are as execute left them.
        const Outcome child = RunChild(s, phase, t.Target(), 1);
        if (upgrade) {
            ASSERT_EQ(child.exitCode, kKilled);
            EXPECT_EQ(child.step, L"move " + (commit ? t.Backup() : t.Target()));
            const Files between = OnDisk(t);
            EXPECT_EQ(between.F, fresh);
            EXPECT_EQ(between.T, s.original) << "the old file waits in T";
        } else {
            EXPECT_EQ(child.exitCode, 0u) << "without a T the phase has nothing to do; "
                                          << std::string(child.step.begin(), child.step.end());
        }

        // The phase run again, or run at all, ends where it always does.
        ASSERT_EQ(RunPhase(s.action, phase, data), 0u);
        const Files after = OnDisk(t);
        EXPECT_EQ(after.F, commit || !upgrade ? fresh : s.original);
        EXPECT_FALSE(after.hasT);
        EXPECT_EQ(after.hasB, commit && upgrade);
        if (commit && upgrade) {
            EXPECT_EQ(after.B, s.original);
        }
        EXPECT_TRUE(after.leftovers.empty());
    }
}

INSTANTIATE_TEST_SUITE_P(Transactions, EachFile, testing::ValuesIn(Subjects()),
                         [](const testing::TestParamInfo<Subject>& info) { return std::string(info.param.name); });

TEST(Interruption, LeftoversOfAnInterruptedExecuteAreRemovedAndLogged)
{
    qxtest::TempDir dir;
    const msiu::FileTransaction t(dir.File(L"httpd.conf"));
    qxtest::WriteFileBytes(t.Target(), "old\n");
    qxtest::WriteFileBytes(t.Temp(), "old\n");
    qxtest::WriteFileBytes(t.Staging(), "ne");
    qxtest::WriteFileBytes(t.Temp() + L".part", "ol");
    qxtest::Session s(qxtest::Props{{L"CustomActionData", L"1.0|" + t.Target() + L"|a|b|c|q"}});
    msiu::detail::SetPhaseOverride(msiu::Phase::Rollback);
    EXPECT_EQ(CreateApacheConfDeferred(s.Handle()), 0u);
    msiu::detail::SetPhaseOverride(msiu::Phase::None);
    EXPECT_EQ(s.capture.Texts(INSTALLMESSAGE_INFO),
              (std::vector<std::wstring>{
                  L"CreateApacheConfDeferred:  Removed unfinished file: " + t.Staging(),
                  L"CreateApacheConfDeferred:  Removed unfinished file: " + t.Temp() + L".part",
                  L"CreateApacheConfDeferred:  Moving file \"" + t.Temp() + L"\" to \"" + t.Target() + L"\"",
              }));
    EXPECT_EQ(qxtest::ReadFileBytes(t.Target()), "old\n");
}

}  // namespace
