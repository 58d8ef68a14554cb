// The real dialogs on a display: ShowClusterSetupDlgUI runs on the test's
// main thread while a driver thread types into the controls and presses the
// buttons, the way a user would, as the scripts of dialogs.txt tell.
// Screenshots of both dialogs are kept under build/test-results/screenshots/.
#include "qxtest/kit.h"

#include <atomic>
#include <functional>
#include <thread>

extern "C" {
struct QxGdiplusStartupInput {
    UINT32 version;
    void* debugEventCallback;
    BOOL suppressBackgroundThread, suppressExternalCodecs;
};
int WINAPI GdiplusStartup(ULONG_PTR* token, const QxGdiplusStartupInput* input, void* output);
void WINAPI GdiplusShutdown(ULONG_PTR token);
int WINAPI GdipCreateBitmapFromHBITMAP(HBITMAP bitmap, HPALETTE palette, void** image);
int WINAPI GdipSaveImageToFile(void* image, const WCHAR* file, const CLSID* encoder, const void* parameters);
int WINAPI GdipDisposeImage(void* image);
}

namespace {

// For a faithful look the prefix needs the dialog font, and this program's
// windows need a frame drawn by Wine, since the test display has no window
// manager. A program starts with its fonts and window settings fixed, so
// when either had to be put in place it runs itself anew as a child.
struct FaithfulLook {
    FaithfulLook()
    {
        bool changed = false;
        wchar_t windows[MAX_PATH] = {};
        GetWindowsDirectoryW(windows, MAX_PATH);
        for (const wchar_t* font : {L"tahoma.ttf", L"tahomabd.ttf", L"marlett.ttf"}) {
            const std::wstring target = std::wstring(windows) + L"\\Fonts\\" + font;
            const std::wstring source = std::wstring(L"Z:\\usr\\share\\wine\\fonts\\") + font;
            if (GetFileAttributesW(target.c_str()) == INVALID_FILE_ATTRIBUTES &&
                GetFileAttributesW(source.c_str()) != INVALID_FILE_ATTRIBUTES)
                changed = CopyFileW(source.c_str(), target.c_str(), TRUE) || changed;
        }
        HKEY key = nullptr;
        const wchar_t* path = L"Software\\Wine\\AppDefaults\\cluster_action_tests.exe\\X11 Driver";
        if (RegCreateKeyExW(HKEY_CURRENT_USER, path, 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, &key, nullptr) ==
            ERROR_SUCCESS) {
            wchar_t value[8] = {};
            DWORD size = sizeof value;
            if (RegQueryValueExW(key, L"Decorated", nullptr, nullptr, reinterpret_cast<BYTE*>(value), &size) !=
                    ERROR_SUCCESS ||
                std::wstring(value) != L"N") {
                RegSetValueExW(key, L"Decorated", 0, REG_SZ, reinterpret_cast<const BYTE*>(L"N"), 4);
                changed = true;
            }
            RegCloseKey(key);
        }
        if (!changed) return;
        STARTUPINFOW si{};
        si.cb = sizeof si;
        PROCESS_INFORMATION pi = {};
        std::wstring commandLine = GetCommandLineW();
        if (!CreateProcessW(nullptr, &commandLine[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr, &si, &pi)) return;
        WaitForSingleObject(pi.hProcess, INFINITE);
        DWORD code = 1;
        GetExitCodeProcess(pi.hProcess, &code);
        ExitProcess(code);
    }
} g_faithfulLook;

HWND WaitForDialog(const wchar_t* title)
{
    HWND w = nullptr;
    return qxkit::Poll([&] { return (w = FindWindowW(L"#32770", title)) && IsWindowVisible(w); }) ? w : nullptr;
}

bool WaitGone(HWND window, DWORD ms = 15000) { return qxkit::Poll([&] { return !IsWindow(window); }, ms); }

// Returns once the dialog's thread has finished what it was handling.
void Settle(HWND dialog) { SendMessageW(dialog, WM_NULL, 0, 0); }

std::wstring Text(HWND window)
{
    wchar_t buffer[1024] = {};
    SendMessageW(window, WM_GETTEXT, 1024, reinterpret_cast<LPARAM>(buffer));
    return buffer;
}

// Replaces a field's text key by key.
void Type(HWND dialog, int id, const std::wstring& text)
{
    HWND edit = GetDlgItem(dialog, id);
    SendMessageW(dialog, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(edit), TRUE);
    SendMessageW(edit, EM_SETSEL, 0, -1);
    SendMessageW(edit, WM_CHAR, VK_BACK, 0);
    for (wchar_t c : text) SendMessageW(edit, WM_CHAR, c, 0);
}

// The window as the screen shows it, frame included, saved as a PNG file.
void Screenshot(HWND window, const std::wstring& name)
{
    const std::wstring dir = qxtest::SourceDir() + L"\\build\\test-results\\screenshots";
    CreateDirectoryW((qxtest::SourceDir() + L"\\build\\test-results").c_str(), nullptr);
    CreateDirectoryW(dir.c_str(), nullptr);
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN | RDW_FRAME);
    Settle(window);
    RECT r;
    GetWindowRect(window, &r);
    HDC screen = GetDC(nullptr), memory = CreateCompatibleDC(screen);
    HBITMAP bitmap = CreateCompatibleBitmap(screen, r.right - r.left, r.bottom - r.top);
    HGDIOBJ old = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, r.right - r.left, r.bottom - r.top, screen, r.left, r.top, SRCCOPY);
    SelectObject(memory, old);

    ULONG_PTR token = 0;
    QxGdiplusStartupInput input = {1, nullptr, FALSE, FALSE};
    if (GdiplusStartup(&token, &input, nullptr) == 0) {
        void* image = nullptr;
        if (GdipCreateBitmapFromHBITMAP(bitmap, nullptr, &image) == 0) {
            // The PNG encoder of the image codecs.
            const CLSID png = {0x557cf406, 0x1a04, 0x11d3, {0x9a, 0x73, 0x00, 0x00, 0xf8, 0x1e, 0xf3, 0x2e}};
            GdipSaveImageToFile(image, (dir + L"\\" + name + L".png").c_str(), &png, nullptr);
            GdipDisposeImage(image);
        }
        GdiplusShutdown(token);
    }
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
}

// Closes whatever of ours is still open, so that no failure leaves the
// modal loop of the test's main thread waiting for ever.
void CloseEverything()
{
    for (const wchar_t* title : {L"Error", L"Warning", L"Quorix Cluster Node", L"Cluster Setup"}) {
        for (HWND w; (w = FindWindowW(L"#32770", title)) != nullptr;) {
            PostMessageW(w, WM_COMMAND, IDCANCEL, 0);
            if (!WaitGone(w, 2000)) break;
        }
    }
}

// Runs the action on this thread and `drive` on another one.
UINT RunWithDriver(qxtest::Session& session, const std::function<void()>& drive)
{
    std::atomic<bool> done{false};
    std::thread driver([&] {
        drive();
        CloseEverything();
        done = true;
    });
    const UINT result = qxtest::Action("ShowClusterSetupDlgUI")(session.Handle());
    if (!done) CloseEverything();
    driver.join();
    return result;
}

// dialogs.txt: each "run" opens the setup dialog on the case's session and
// its steps drive it; "show" and "file" look at the session afterwards.
TEST(ClusterDialogs, EachScriptOfDialogsTxt)
{
    const std::wstring file = qxtest::SourceDir() + L"\\custom_actions\\cluster\\tests\\dialogs.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) {
        qxtest::TempDir config;
        qxtest::Session s({{L"QuorixConfigDir", config.Path()}});
        std::vector<std::string> got;
        std::map<std::wstring, std::wstring> seen;  // a file property's value when last shown
        for (size_t i = 0; i < c.in.size(); ++i) {
            std::istringstream words(c.in[i]);
            std::string cmd, name;
            words >> cmd;
            for (; cmd == "show" && words >> name;) got.push_back(name + "=" + qxkit::N(s.Property(qxkit::W(name))));
            if (cmd == "file" && words >> name) {
                const std::wstring path = s.Property(qxkit::W(name));
                got.push_back(name + (seen[path].empty() ? " names a file" : " names the same file as before"));
                seen[path] = path;
                std::istringstream text(qxtest::ReadFileBytes(path));
                for (std::string l; std::getline(text, l);) got.push_back(name + ": " + l.substr(0, l.find('\r')));
            }
            if (cmd != "run") continue;
            size_t end = i + 1;
            while (end < c.in.size() && c.in[end].rfind("run", 0) && c.in[end].rfind("show", 0) && c.in[end].rfind("file", 0)) ++end;
            const std::vector<std::string> steps(c.in.begin() + i + 1, c.in.begin() + end);
            const UINT result = RunWithDriver(s, [&] {
                std::vector<HWND> open;  // the dialogs waited for, the last one in front
                for (const std::string& step : steps) {
                    std::istringstream w(step);
                    std::string what;
                    int id = 0;
                    w >> what >> id;
                    const std::string rest = step.substr(std::min(step.size(), step.find(' ', what.size() + 1) + 1));
                    HWND front = open.empty() ? nullptr : open.back();
                    if (what == "wait" && !(front = WaitForDialog(qxkit::W(step.substr(5)).c_str())))
                        return got.push_back("no window " + step.substr(5));
                    if (what == "wait") open.push_back(front);
                    if (what == "click") PostMessageW(front, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), reinterpret_cast<LPARAM>(GetDlgItem(front, id)));
                    if (what == "type") Type(front, id, qxkit::W(rest));
                    if (what == "focus") SendMessageW(front, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(GetDlgItem(front, id)), TRUE);
                    if (what == "check") SendMessageW(GetDlgItem(front, id), BM_CLICK, 0, 0);
                    if (what == "text") got.push_back("text " + qxkit::N(Text(GetDlgItem(front, id))));
                    GUITHREADINFO focus{};
                    focus.cbSize = sizeof focus;
                    if (what == "focused" && GetGUIThreadInfo(GetWindowThreadProcessId(front, nullptr), &focus))
                        got.push_back("focus on " + std::to_string(GetDlgCtrlID(focus.hwndFocus)));
                    if (what == "open") got.push_back(IsWindow(front) && IsWindowVisible(front) ? "still open" : "closed");
                    if (what == "shot") Screenshot(front, qxkit::W(step.substr(5)));
                    if (what == "gone") got.push_back(WaitGone(front) ? "closed" : "still open"), open.pop_back();
                    for (int more = id; what == "enabled" && more; more = w >> more ? more : 0)
                        got.push_back("enabled " + std::to_string(more) + " " + std::to_string(IsWindowEnabled(GetDlgItem(front, more)) != FALSE));
                    if (what == "select") {
                        SendMessageW(GetDlgItem(front, id), LB_SETCURSEL, 0, 0);
                        SendMessageW(front, WM_COMMAND, MAKEWPARAM(id, LBN_SELCHANGE), reinterpret_cast<LPARAM>(GetDlgItem(front, id)));
                    }
                    for (int n = 0; what == "lines" && n < SendMessageW(GetDlgItem(front, id), LB_GETCOUNT, 0, 0); ++n) {
                        wchar_t line[512] = {};
                        SendMessageW(GetDlgItem(front, id), LB_GETTEXT, n, reinterpret_cast<LPARAM>(line));
                        got.push_back("line " + qxkit::N(line));
                    }
                    if (what != "box") continue;
                    HWND box = WaitForDialog(L"Error");
                    if (!box) return got.push_back("no box");
                    got.push_back("box " + qxkit::N(Text(GetDlgItem(box, 0xFFFF))));
                    PostMessageW(box, WM_COMMAND, IDOK, 0);
                    WaitGone(box);
                    Settle(front);
                }
            });
            got.push_back("result " + std::to_string(result));
        }
        qxkit::ExpectCase(file, c, got);
    }
}

}  // namespace
