// The sample package's monitor service: a stand-in that only shows the
// installer's service actions at work. It notes each start and stop in
// monitor.log beside itself and stops when asked.
#include <windows.h>

#include <cstring>
#include <string>

namespace {

const wchar_t kName[] = L"OrvaneQuorixService";
SERVICE_STATUS_HANDLE g_status = nullptr;
HANDLE g_stop = nullptr;

void Note(const char* line)
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring log = path;
    log = log.substr(0, log.find_last_of(L'\\') + 1) + L"monitor.log";
    HANDLE f = CreateFileW(log.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr, OPEN_ALWAYS, 0, nullptr);
    if (f == INVALID_HANDLE_VALUE) return;
    DWORD written = 0;
    WriteFile(f, line, static_cast<DWORD>(strlen(line)), &written, nullptr);
    CloseHandle(f);
}

void Report(DWORD state)
{
    SERVICE_STATUS s = {};
    s.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    s.dwCurrentState = state;
    s.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN : 0;
    SetServiceStatus(g_status, &s);
}

DWORD WINAPI Control(DWORD control, DWORD, void*, void*)
{
    if (control == SERVICE_CONTROL_STOP || control == SERVICE_CONTROL_SHUTDOWN) {
        Report(SERVICE_STOP_PENDING);
        SetEvent(g_stop);
    }
    return NO_ERROR;
}

void WINAPI ServiceMain(DWORD, wchar_t**)
{
    g_status = RegisterServiceCtrlHandlerExW(kName, Control, nullptr);
    if (!g_status) return;
    g_stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    Report(SERVICE_RUNNING);
    Note("started\r\n");
    WaitForSingleObject(g_stop, INFINITE);
    Note("stopped\r\n");
    Report(SERVICE_STOPPED);
}

}  // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int)
{
    SERVICE_TABLE_ENTRYW table[] = {{const_cast<wchar_t*>(kName), ServiceMain}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table) ? 0 : 1;
}
