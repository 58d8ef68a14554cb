// qxmetabase.exe: runs one command while the metabase emulator serves the
// IIS: paths of this prefix from a file, then puts the registry back.
//
//   qxmetabase with <metabase file> <command line>
//
// Prints "exit code: N" with the command's own exit code, and ends with it.
// It is how an end-to-end install and the demo reach the emulator.
#include <windows.h>
#include <shellapi.h>

#include <cstdio>
#include <string>

#include "qxtest/metabase.h"

int wmain()
{
    int argc = 0;
    wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    if (argc != 4 || std::wstring(argv[1]) != L"with") {
        std::fprintf(stderr, "usage: qxmetabase with <metabase file> <command line>\n");
        return 2;
    }
    wchar_t self[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring server = self, command = argv[3];
    server = server.substr(0, server.rfind(L'\\') + 1) + L"qxmetabase.dll";
    DWORD code = 1;
    {
        qxtest::MetabaseEmulator emulator(argv[2], server);
        STARTUPINFOW si{};
        si.cb = sizeof si;
        PROCESS_INFORMATION pi{};
        if (!CreateProcessW(nullptr, &command[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr, &si, &pi)) {
            std::fprintf(stderr, "cannot start the command: %lu\n", GetLastError());
            return 1;
        }
        WaitForSingleObject(pi.hProcess, INFINITE);
        GetExitCodeProcess(pi.hProcess, &code);
        CloseHandle(pi.hThread), CloseHandle(pi.hProcess);
    }
    std::printf("exit code: %lu\n", code);
    std::fflush(stdout);
    return static_cast<int>(code);
}
