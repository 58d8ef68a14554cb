// The command runner against a child program of our own: output files new
// and appended, both streams in one file, exit codes, the working
// directory, a program that can't start and a child that outlives the limit.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "msiu/runner.h"
#include "msiu/session.h"
#include "qxtest/session.h"
#include "qxtest/standins.h"

namespace {

std::wstring Quoted(const std::wstring& path) { return L"\"" + path + L"\""; }

std::wstring Child(const std::wstring& steps) { return Quoted(qxtest::ChildProgram()) + L" " + steps; }

struct RunResult {
    UINT result = 0;
    uint32_t exitCode = 0xFFFFFFFF;
    std::vector<std::wstring> info, fatal;
};

RunResult RunIn(const std::wstring& command, const std::wstring& output, bool append, uint32_t timeoutMs = 30000,
          const std::wstring& workingDir = L"")
{
    qxtest::Session s;
    RunResult r;
    r.result = msiu::RunAction(s.Handle(), L"Run", false,
                               [&] { r.exitCode = msiu::RunCommand(command, output, append, timeoutMs, workingDir); });
    r.info = s.capture.Texts(0x4000000);
    r.fatal = s.capture.Texts(0);
    return r;
}

struct OutputCase {
    const char* name;
    const char* before;  // nullptr: no file
    bool append;
    const char* after;
};

class RunnerOutput : public ::testing::TestWithParam<OutputCase> {};

TEST_P(RunnerOutput, BothStreamsInterleaveInTheFile)
{
    const OutputCase& c = GetParam();
    qxtest::TempDir dir;
    const std::wstring out = dir.File(L"out.log");
    if (c.before) qxtest::WriteFileBytes(out, c.before);
    const std::wstring command = Child(L"out:one err:two out:three err:four");
    const RunResult r = RunIn(command, out, c.append);
    EXPECT_EQ(r.result, 0u);
    EXPECT_EQ(r.exitCode, 0u);
    EXPECT_EQ(qxtest::ReadFileBytes(out), c.after);
    EXPECT_EQ(r.info, (std::vector<std::wstring>{
                          L"Run:  Opening file for command output: " + out + L"  (append " + (c.append ? L"1" : L"0") + L")",
                          L"Run:  Running command: " + command,
                          L"Run:  Exit code of child process was: 0x0",
                      }));
}

const char kRun[] = "one\r\ntwo\r\nthree\r\nfour\r\n";

INSTANTIATE_TEST_SUITE_P(
    Cases, RunnerOutput,
    ::testing::Values(OutputCase{"NewFile", nullptr, false, kRun},
                      OutputCase{"ReplaceEmptiesTheOldFile", "old text\r\n", false, kRun},
                      OutputCase{"AppendCreatesMissingFile", nullptr, true, kRun},
                      OutputCase{"AppendKeepsTheOldText", "old text\r\n", true,
                                 "old text\r\none\r\ntwo\r\nthree\r\nfour\r\n"},
                      OutputCase{"AppendBehindTextWithoutLineEnd", "partial", true,
                                 "partialone\r\ntwo\r\nthree\r\nfour\r\n"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Runner, SeveralRunsCollectInOneFile)
{
    qxtest::TempDir dir;
    const std::wstring out = dir.File(L"build.log");
    EXPECT_EQ(RunIn(Child(L"out:first"), out, true).result, 0u);
    EXPECT_EQ(RunIn(Child(L"err:second exit:1"), out, true).result, 0u);
    EXPECT_EQ(RunIn(Child(L"out:third"), out, true).result, 0u);
    EXPECT_EQ(qxtest::ReadFileBytes(out), "first\r\nsecond\r\nthird\r\n");
}

TEST(Runner, ExitCodesAreReturnedAndLoggedNotJudged)
{
    const std::pair<const wchar_t*, std::pair<uint32_t, const wchar_t*>> cases[] = {
        {L"exit:1", {1u, L"0x1"}},
        {L"exit:42", {42u, L"0x2a"}},
        {L"exit:0xC0000135", {0xC0000135u, L"0xc0000135"}},
    };
    for (const auto& c : cases) {
        qxtest::TempDir dir;
        const RunResult r = RunIn(Child(c.first), dir.File(L"o.log"), false);
        EXPECT_EQ(r.result, 0u) << "a non-zero exit code is no failure of the runner";
        EXPECT_EQ(r.exitCode, c.second.first);
        ASSERT_FALSE(r.info.empty());
        EXPECT_EQ(r.info.back(), std::wstring(L"Run:  Exit code of child process was: ") + c.second.second);
        EXPECT_TRUE(r.fatal.empty());
    }
}

TEST(Runner, WorkingDirectoryIsTheChildsAndIsLogged)
{
    qxtest::TempDir dir, work;
    const std::wstring out = dir.File(L"o.log");
    const std::wstring command = Child(L"cwd");
    const RunResult r = RunIn(command, out, false, 30000, work.Path());
    EXPECT_EQ(r.result, 0u);
    std::wstring expected = work.Path();
    expected.pop_back();  // the child reports it without the final separator
    EXPECT_EQ(qxtest::ReadFileBytes(out), std::string(expected.begin(), expected.end()) + "\r\n");
    ASSERT_EQ(r.info.size(), 4u);
    EXPECT_EQ(r.info[2], L"Run:  Current directory for child process: " + work.Path());
}

TEST(Runner, QuotingOfTheProgramPathIsTheCallers)
{
    qxtest::TempDir dir;
    const std::wstring spaced = dir.File(L"child with blanks.exe");
    ASSERT_TRUE(CopyFileW(qxtest::ChildProgram().c_str(), spaced.c_str(), FALSE));
    const RunResult r = RunIn(Quoted(spaced) + L" \"out:a b\"", dir.File(L"o.log"), false);
    EXPECT_EQ(r.result, 0u);
    EXPECT_EQ(qxtest::ReadFileBytes(dir.File(L"o.log")), "a b\r\n");
}

TEST(Runner, ProgramThatCannotStartFailsAndLeavesTheFileBehind)
{
    qxtest::TempDir dir;
    const std::wstring out = dir.File(L"o.log");
    qxtest::WriteFileBytes(out, "earlier\r\n");
    const std::wstring command = Quoted(dir.File(L"missing.exe")) + L" -v";
    const RunResult r = RunIn(command, out, false);
    EXPECT_EQ(r.result, 1603u);
    EXPECT_EQ(r.fatal, std::vector<std::wstring>{L"Run:  Failed to run command: " + command + L"  (0x80070002)"});
    // Emptied, and no handle of ours holds it any longer.
    EXPECT_EQ(qxtest::ReadFileBytes(out), "");
    EXPECT_TRUE(DeleteFileW(out.c_str()));
}

TEST(Runner, OutputFileThatCannotBeOpenedFailsBeforeAnythingRuns)
{
    qxtest::TempDir dir;
    const std::wstring inMissingDir = dir.File(L"nodir\\o.log");
    const std::wstring held = dir.File(L"held.log");
    HANDLE holder = CreateFileW(held.c_str(), GENERIC_READ, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(holder, INVALID_HANDLE_VALUE);
    const std::pair<std::wstring, std::wstring> cases[] = {
        {inMissingDir, L"0x80070003"},
        {held, L"0x80070020"},
    };
    for (const auto& c : cases) {
        const RunResult r = RunIn(Child(L"out:never"), c.first, true);
        EXPECT_EQ(r.result, 1603u);
        EXPECT_EQ(r.fatal, std::vector<std::wstring>{L"Run:  Can't open command output file for writing: " + c.first +
                                                     L"  (" + c.second + L")"});
        EXPECT_EQ(r.info.size(), 1u) << "only the opening line: nothing was started";
    }
    CloseHandle(holder);
}

TEST(Runner, ChildOutlivingTheLimitFailsTheRunAndIsLeftRunning)
{
    qxtest::TempDir dir;
    const std::wstring out = dir.File(L"o.log");
    const std::wstring pidFile = dir.File(L"pid.txt");
    const std::wstring command = Child(L"\"pidfile:" + pidFile + L"\" out:started sleep:60000 out:never");
    // An inheritable handle of the parent's that the child is not given.
    const std::wstring held = dir.File(L"held.txt");
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE parents = CreateFileW(held.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit,
                                 CREATE_ALWAYS, 0, nullptr);
    const RunResult r = RunIn(command, out, false, 1500);
    CloseHandle(parents);
    EXPECT_EQ(r.result, 1603u);
    EXPECT_EQ(r.fatal, std::vector<std::wstring>{L"Run:  Timed out running command: " + command + L"  (0x80070102)"});
    EXPECT_EQ(r.info.size(), 2u) << "no exit code line";

    const DWORD pid = std::stoul(qxtest::ReadFileBytes(pidFile));
    HANDLE child = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, pid);
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(WaitForSingleObject(child, 0), static_cast<DWORD>(WAIT_TIMEOUT)) << "the child must still run";
    // It still holds the output file, which it opened without sharing.
    EXPECT_EQ(CreateFileW(out.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                          nullptr),
              INVALID_HANDLE_VALUE);
    EXPECT_TRUE(DeleteFileW(held.c_str())) << "the child holds no other handle: " << GetLastError();
    EXPECT_TRUE(TerminateProcess(child, 9));
    EXPECT_EQ(WaitForSingleObject(child, 10000), static_cast<DWORD>(WAIT_OBJECT_0));
    CloseHandle(child);
    EXPECT_EQ(qxtest::ReadFileBytes(out), "started\r\n");
}

}  // namespace
