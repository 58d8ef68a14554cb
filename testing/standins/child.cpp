// A child process for the command runner's tests. Its arguments are steps,
// done in order:
//   out:TEXT   TEXT and a line end on standard output
//   err:TEXT   the same on standard error
//   cwd        the current directory on standard output
//   pidfile:P  writes the process id into file P (so a test can end it)
//   sleep:MS   waits MS milliseconds
//   exit:N     ends with exit code N (default 0)
// Writes go straight to the handles, unbuffered, so that the two streams
// interleave in a shared file exactly in the order of the steps.
#include <windows.h>
#include <shellapi.h>

#include <cwchar>
#include <string>

namespace {

void Write(DWORD which, const std::wstring& text)
{
    const std::wstring line = text + L"\r\n";
    const int n = WideCharToMultiByte(CP_ACP, 0, line.c_str(), static_cast<int>(line.size()), nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(CP_ACP, 0, line.c_str(), static_cast<int>(line.size()), &bytes[0], n, nullptr, nullptr);
    DWORD written = 0;
    WriteFile(GetStdHandle(which), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

bool Starts(const std::wstring& s, const wchar_t* prefix, std::wstring& rest)
{
    const size_t n = std::wcslen(prefix);
    if (s.compare(0, n, prefix) != 0) return false;
    rest = s.substr(n);
    return true;
}

}  // namespace

int main()
{
    int argc = 0;
    wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    UINT code = 0;
    for (int i = 1; i < argc; ++i) {
        const std::wstring step = argv[i];
        std::wstring rest;
        if (Starts(step, L"out:", rest)) Write(STD_OUTPUT_HANDLE, rest);
        else if (Starts(step, L"err:", rest)) Write(STD_ERROR_HANDLE, rest);
        else if (Starts(step, L"sleep:", rest)) Sleep(static_cast<DWORD>(std::wcstoul(rest.c_str(), nullptr, 10)));
        else if (Starts(step, L"exit:", rest)) code = static_cast<UINT>(std::wcstoul(rest.c_str(), nullptr, 0));
        else if (Starts(step, L"pidfile:", rest)) {
            HANDLE f = CreateFileW(rest.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, 0, nullptr);
            const std::string pid = std::to_string(GetCurrentProcessId());
            DWORD written = 0;
            WriteFile(f, pid.data(), static_cast<DWORD>(pid.size()), &written, nullptr);
            CloseHandle(f);
        } else if (step == L"cwd") {
            wchar_t dir[MAX_PATH] = L"";
            GetCurrentDirectoryW(MAX_PATH, dir);
            Write(STD_OUTPUT_HANDLE, dir);
        }
    }
    LocalFree(argv);
    ExitProcess(code);
}
