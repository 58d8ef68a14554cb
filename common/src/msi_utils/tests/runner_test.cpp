// The command runner against a child program of our own: output files new
// and appended, both streams in one file, exit codes, the working
// directory, a program that can't start and a child that outlives the limit.
// The cases are in cases/runner.txt.
#include "cases.h"
#include "msiu/runner.h"
#include "msiu/session.h"
#include "qxtest/standins.h"

namespace {

std::wstring Quoted(const std::wstring& path) { return L"\"" + path + L"\""; }

// The frame's result and the exit code, then every line logged (fatal ones
// marked "!"), with the child program shown as <child> and `dir` as <dir>.
std::wstring RunIn(const qxtest::TempDir& dir, const std::wstring& command, const std::wstring& output, bool append,
                   uint32_t timeoutMs = 30000, const std::wstring& workingDir = L"")
{
    qxtest::Session s;
    uint32_t exitCode = 0xFFFFFFFF;
    std::wstring r = std::to_wstring(msiu::RunAction(s.Handle(), L"Run", false, [&] {
        exitCode = msiu::RunCommand(command, output, append, timeoutMs, workingDir);
    }));
    r += msiu::Format(L" 0x%x", exitCode);
    for (const auto& m : s.capture.messages) r += (m.type == 0 ? L" | !" : L" | ") + m.text;
    for (auto [from, to] : {std::pair{Quoted(qxtest::ChildProgram()), L"<child>"}, {dir.Path(), L"<dir>\\"}})
        for (size_t at; (at = r.find(from)) != std::wstring::npos;) r.replace(at, from.size(), to);
    return r;
}

TEST(Runner, Cases)
{
    qxtest::TempDir dir;
    const std::wstring spaced = dir.File(L"child with blanks.exe");
    ASSERT_TRUE(CopyFileW(qxtest::ChildProgram().c_str(), spaced.c_str(), FALSE));
    cases::Run("runner.txt", {{"run", [&](const cases::Args& a) {
        const std::wstring out = dir.File(a[4]), program = a[2] == L"child" ? Quoted(qxtest::ChildProgram()) : Quoted(dir.File(a[2]));
        if (a[0] == L"-") DeleteFileW(out.c_str());
        else if (a[0] != L"=") qxtest::WriteFileBytes(out, cases::N(cases::Escaped(a[0], true)));
        // A file held open without sharing, as another program may hold it.
        HANDLE held = a[4] == L"held.log" ? CreateFileW(out.c_str(), GENERIC_READ, 0, nullptr, OPEN_ALWAYS, 0, nullptr) : nullptr;
        if (a[5] != L"-") CreateDirectoryW(dir.File(a[5]).c_str(), nullptr);
        std::wstring r = RunIn(dir, program + L" " + a[3], out, a[1] == L"1", 30000, a[5] == L"-" ? L"" : dir.File(a[5] + L"\\"));
        if (held) CloseHandle(held);
        r += L" | file " + (qxtest::Exists(out) ? cases::Escaped(cases::W(qxtest::ReadFileBytes(out))) : L"-");
        for (size_t at; (at = r.find(dir.Path())) != std::wstring::npos;) r.replace(at, dir.Path().size(), L"<dir>\\");
        return r;
    }}});
    EXPECT_TRUE(DeleteFileW(dir.File(L"o.log").c_str())) << "no handle of ours holds the output file";
}

TEST(Runner, ChildOutlivingTheLimitFailsTheRunAndIsLeftRunning)
{
    qxtest::TempDir dir;
    const std::wstring out = dir.File(L"o.log"), pidFile = dir.File(L"pid.txt"), held = dir.File(L"held.txt");
    // An inheritable handle of the parent's that the child is not given.
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE parents = CreateFileW(held.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit, CREATE_ALWAYS, 0, nullptr);
    EXPECT_EQ(RunIn(dir, Quoted(qxtest::ChildProgram()) + L" \"pidfile:" + pidFile + L"\" out:started sleep:60000 out:never", out, false, 1500),
              L"1603 0xffffffff | Run:  Opening file for command output: <dir>\\o.log  (append 0) | Run:  Running command: <child> "
              L"\"pidfile:<dir>\\pid.txt\" out:started sleep:60000 out:never | !Run:  Timed out running command: <child> "
              L"\"pidfile:<dir>\\pid.txt\" out:started sleep:60000 out:never  (0x80070102)");
    CloseHandle(parents);
    // A loaded machine may start the child late: wait for its pid, with a deadline.
    for (DWORD start = GetTickCount(); !qxtest::Exists(pidFile) && GetTickCount() - start < 30000;) Sleep(20);
    HANDLE child = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, std::stoul(qxtest::ReadFileBytes(pidFile)));
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(WaitForSingleObject(child, 0), static_cast<DWORD>(WAIT_TIMEOUT)) << "the child must still run";
    // It still holds the output file, which it opened without sharing.
    EXPECT_EQ(CreateFileW(out.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr), INVALID_HANDLE_VALUE);
    EXPECT_TRUE(DeleteFileW(held.c_str())) << "the child holds no other handle: " << GetLastError();
    EXPECT_TRUE(TerminateProcess(child, 9));
    EXPECT_EQ(WaitForSingleObject(child, 10000), static_cast<DWORD>(WAIT_OBJECT_0));
    CloseHandle(child);
    EXPECT_EQ(qxtest::ReadFileBytes(out), "started\r\n");
}

}  // namespace
