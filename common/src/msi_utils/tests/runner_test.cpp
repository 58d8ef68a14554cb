// The command runner against a child program of our own: output files new
// and appended, both streams in one file, exit codes, the working
// directory, a program that can't start and a child that outlives the limit.
#include "cases.h"
#include "msiu/runner.h"
#include "msiu/session.h"
#include "qxtest/standins.h"

namespace {

std::wstring Quoted(const std::wstring& path) { return L"\"" + path + L"\""; }
std::wstring Child(const std::wstring& steps) { return Quoted(qxtest::ChildProgram()) + L" " + steps; }

// The frame's result, the exit code, then every line logged, fatal ones marked "!".
std::wstring RunIn(const std::wstring& command, const std::wstring& output, bool append, uint32_t timeoutMs = 30000,
                   const std::wstring& workingDir = L"")
{
    qxtest::Session s;
    uint32_t exitCode = 0xFFFFFFFF;
    std::wstring r = std::to_wstring(msiu::RunAction(s.Handle(), L"Run", false, [&] {
        exitCode = msiu::RunCommand(command, output, append, timeoutMs, workingDir);
    }));
    r += msiu::Format(L" 0x%x", exitCode);
    for (const auto& m : s.capture.messages) r += (m.type == 0 ? L" | !" : L" | ") + m.text;
    return r;
}

TEST(Runner, OutputFileBothStreamsAndExitCodes)
{
    const std::wstring steps = L"out:one err:two out:three err:four", run = L"one\r\ntwo\r\nthree\r\nfour\r\n";
    const struct {
        const char* before;  // nullptr: no file
        bool append;
        std::wstring after;
    } cases[] = {
        {nullptr, false, run}, {"old text\r\n", false, run}, {nullptr, true, run},
        {"old text\r\n", true, L"old text\r\n" + run}, {"partial", true, L"partial" + run},
    };
    for (const auto& c : cases) {
        qxtest::TempDir dir;
        const std::wstring out = dir.File(L"out.log");
        if (c.before) qxtest::WriteFileBytes(out, c.before);
        EXPECT_EQ(RunIn(Child(steps), out, c.append),
                  L"0 0x0 | Run:  Opening file for command output: " + out + L"  (append " + (c.append ? L"1" : L"0") +
                      L") | Run:  Running command: " + Child(steps) + L" | Run:  Exit code of child process was: 0x0");
        EXPECT_EQ(cases::W(qxtest::ReadFileBytes(out)), c.after);
    }
    // Exit codes are returned and logged, not judged; several runs collect in one file.
    qxtest::TempDir dir;
    const std::wstring out = dir.File(L"build.log");
    for (auto [steps, code] : {std::pair{L"out:first exit:1", L"0x1"}, {L"err:second exit:42", L"0x2a"},
                               {L"out:third exit:0xC0000135", L"0xc0000135"}}) {
        const std::wstring r = RunIn(Child(steps), out, true);
        EXPECT_EQ(r.substr(0, r.find(L' ', 2)), std::wstring(L"0 ") + code);
        EXPECT_EQ(r.substr(r.rfind(L" | ")), std::wstring(L" | Run:  Exit code of child process was: ") + code);
    }
    EXPECT_EQ(qxtest::ReadFileBytes(out), "first\r\nsecond\r\nthird\r\n");
}

TEST(Runner, WorkingDirectoryQuotingAndFailuresToStart)
{
    qxtest::TempDir dir, work;
    const std::wstring out = dir.File(L"o.log");
    std::wstring expected = work.Path();
    expected.pop_back();  // the child reports it without the final separator
    EXPECT_NE(RunIn(Child(L"cwd"), out, false, 30000, work.Path()).find(L" | Run:  Current directory for child process: " + work.Path() + L" | "),
              std::wstring::npos);
    EXPECT_EQ(cases::W(qxtest::ReadFileBytes(out)), expected + L"\r\n");

    // Quoting of the program path is the caller's.
    const std::wstring spaced = dir.File(L"child with blanks.exe");
    ASSERT_TRUE(CopyFileW(qxtest::ChildProgram().c_str(), spaced.c_str(), FALSE));
    EXPECT_EQ(RunIn(Quoted(spaced) + L" \"out:a b\"", out, false).substr(0, 6), L"0 0x0 ");
    EXPECT_EQ(qxtest::ReadFileBytes(out), "a b\r\n");

    // A program that can't start fails and leaves the file emptied, held by no handle of ours.
    qxtest::WriteFileBytes(out, "earlier\r\n");
    const std::wstring missing = Quoted(dir.File(L"missing.exe")) + L" -v";
    const std::wstring r = RunIn(missing, out, false);
    EXPECT_EQ(r.substr(r.find(L" | Run:  Running")), L" | Run:  Running command: " + missing + L" | !Run:  Failed to run command: " + missing + L"  (0x80070002)");
    EXPECT_EQ(qxtest::ReadFileBytes(out), "");
    EXPECT_TRUE(DeleteFileW(out.c_str()));

    // An output file that cannot be opened fails before anything runs.
    const std::wstring held = dir.File(L"held.log");
    HANDLE holder = CreateFileW(held.c_str(), GENERIC_READ, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    for (auto [file, code] : {std::pair{dir.File(L"nodir\\o.log"), L"0x80070003"}, {held, L"0x80070020"}})
        EXPECT_EQ(RunIn(Child(L"out:never"), file, true),
                  L"1603 0xffffffff | Run:  Opening file for command output: " + file +
                      L"  (append 1) | !Run:  Can't open command output file for writing: " + file + L"  (" + code + L")");
    CloseHandle(holder);
}

TEST(Runner, ChildOutlivingTheLimitFailsTheRunAndIsLeftRunning)
{
    qxtest::TempDir dir;
    const std::wstring out = dir.File(L"o.log"), pidFile = dir.File(L"pid.txt"), held = dir.File(L"held.txt");
    const std::wstring command = Child(L"\"pidfile:" + pidFile + L"\" out:started sleep:60000 out:never");
    // An inheritable handle of the parent's that the child is not given.
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE parents = CreateFileW(held.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit, CREATE_ALWAYS, 0, nullptr);
    const std::wstring r = RunIn(command, out, false, 1500);
    CloseHandle(parents);
    EXPECT_EQ(r.substr(0, 16), L"1603 0xffffffff ");
    EXPECT_EQ(r.substr(r.rfind(L" | ")), L" | !Run:  Timed out running command: " + command + L"  (0x80070102)");
    EXPECT_EQ(r.find(L"Exit code"), std::wstring::npos);

    // A loaded machine may start the child late: wait for its pid, with a deadline.
    for (DWORD start = GetTickCount(); !qxtest::Exists(pidFile) && GetTickCount() - start < 30000;) Sleep(20);
    const DWORD pid = std::stoul(qxtest::ReadFileBytes(pidFile));
    HANDLE child = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, pid);
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(WaitForSingleObject(child, 0), static_cast<DWORD>(WAIT_TIMEOUT)) << "the child must still run";
    // It still holds the output file, which it opened without sharing.
    EXPECT_EQ(CreateFileW(out.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr),
              INVALID_HANDLE_VALUE);
    EXPECT_TRUE(DeleteFileW(held.c_str())) << "the child holds no other handle: " << GetLastError();
    EXPECT_TRUE(TerminateProcess(child, 9));
    EXPECT_EQ(WaitForSingleObject(child, 10000), static_cast<DWORD>(WAIT_OBJECT_0));
    CloseHandle(child);
    EXPECT_EQ(qxtest::ReadFileBytes(out), "started\r\n");
}

}  // namespace
