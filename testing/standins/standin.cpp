// The stand-in programs, one source built under each name.
//
// Under any name but an index tool's (qxchild, or a copy of it the tests
// make), a child process for the command runner's tests. Its arguments
// are steps, done in order:
//   out:TEXT   TEXT and a line end on standard output
//   err:TEXT   the same on standard error
//   cwd        the current directory on standard output
//   pidfile:P  writes the process id into file P (so a test can end it)
//   sleep:MS   waits MS milliseconds
//   exit:N     ends with exit code N (default 0)
// Writes go straight to the handles, unbuffered, so that the two streams
// interleave in a shared file exactly in the order of the steps.
//
// Under a name that begins with "ht" it stands in for that help search index
// tool (htdig, htmerge, htnotify, htfuzzy):
//   - appends its command line, exactly as it was given, as one line to
//     "standin-calls.txt" in its current directory;
//   - writes a line to standard output and one to standard error, so that a
//     collecting log shows both streams of every run;
//   - fails on request: when "standin-fail.txt" in its current directory
//     holds a line that occurs in its command line, it says so on standard
//     error and ends with exit code 3.
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

void Write(DWORD which, const std::string& text)
{
    const std::string line = text + "\r\n";
    DWORD written = 0;
    WriteFile(GetStdHandle(which), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

int IndexTool(const std::string& tool)
{
    const std::string commandLine = GetCommandLineA();
    std::ofstream("standin-calls.txt", std::ios::binary | std::ios::app) << commandLine << "\r\n";
    Write(STD_OUTPUT_HANDLE, tool + ": indexing with " + commandLine);
    std::ifstream failList("standin-fail.txt", std::ios::binary);
    for (std::string line; std::getline(failList, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty() && commandLine.find(line) != std::string::npos)
            return Write(STD_ERROR_HANDLE, tool + ": failing on request"), 3;
    }
    Write(STD_ERROR_HANDLE, tool + ": done");
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    char path[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    const std::string tool = std::filesystem::path(path).stem().string();
    if (tool.rfind("ht", 0) == 0) return IndexTool(tool);
    UINT code = 0;
    for (int i = 1; i < argc; ++i) {
        const std::string step = argv[i], key = step.substr(0, step.find(':') + 1), rest = step.substr(key.size());
        if (key == "out:") Write(STD_OUTPUT_HANDLE, rest);
        else if (key == "err:") Write(STD_ERROR_HANDLE, rest);
        else if (key == "sleep:") Sleep(std::stoul(rest));
        else if (key == "exit:") code = std::stoul(rest, nullptr, 0);
        else if (key == "pidfile:") std::ofstream(rest, std::ios::binary) << GetCurrentProcessId();
        else if (step == "cwd" && GetCurrentDirectoryA(MAX_PATH, path)) Write(STD_OUTPUT_HANDLE, path);
    }
    ExitProcess(code);
}
