// The real dialogs on a display: ShowClusterSetupDlgUI runs on the test's
// main thread while a driver thread types into the controls and presses the
// buttons, the way a user would. Screenshots of both dialogs are kept under
// build/test-results/screenshots/.
#include "qxtest/kit.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>


extern "C" {
struct QxGdiplusStartupInput {
    UINT32 GdiplusVersion;
    void* DebugEventCallback;
    BOOL SuppressBackgroundThread;
    BOOL SuppressExternalCodecs;
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
        STARTUPINFOW si = {sizeof si};
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

void Click(HWND dialog, int id)
{
    PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), reinterpret_cast<LPARAM>(GetDlgItem(dialog, id)));
}

HWND FocusOf(HWND dialog)
{
    GUITHREADINFO info = {sizeof info};
    GetGUIThreadInfo(GetWindowThreadProcessId(dialog, nullptr), &info);
    return info.hwndFocus;
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
    HDC screen = GetDC(nullptr);
    HDC memory = CreateCompatibleDC(screen);
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

TEST(ClusterDialogs, AddANodeByTypingAndAcceptTheList)
{
    qxtest::TempDir config;
    qxtest::Session s({{L"QuorixConfigDir", config.Path()}});
    std::wstring errorText, lineText;
    bool editStayedOpen = false, focusOnPort = false, editDeleteEnabled = false;
    std::wstring suggested;

    const UINT result = RunWithDriver(s, [&] {
        HWND list = WaitForDialog(L"Cluster Setup");
        ASSERT_NE(list, nullptr) << "the setup dialog opens";
        Screenshot(list, L"cluster-setup-empty");
        Click(list, 1004);
        HWND edit = WaitForDialog(L"Quorix Cluster Node");
        ASSERT_NE(edit, nullptr) << "Add opens the edit dialog";

        // Entering the local path field suggests it from the share, blanks
        // around the share aside.
        Type(edit, 1009, L" \\\\localhost\\QuorixNode ");
        SendMessageW(edit, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(GetDlgItem(edit, 1011)), TRUE);
        suggested = Text(GetDlgItem(edit, 1011));
        Type(edit, 1009, L"\\\\localhost\\QuorixNode");
        Type(edit, 1017, L"0");
        Type(edit, 1019, L"4");

        // A port out of range: the "Error" box, and the dialog stays.
        Click(edit, IDOK);
        HWND box = WaitForDialog(L"Error");
        ASSERT_NE(box, nullptr) << "a failing field shows the box";
        errorText = Text(GetDlgItem(box, 0xFFFF));
        Screenshot(box, L"node-edit-error");
        PostMessageW(box, WM_COMMAND, IDOK, 0);
        ASSERT_TRUE(WaitGone(box));
        Settle(edit);
        editStayedOpen = IsWindow(edit) && IsWindowVisible(edit);
        focusOnPort = FocusOf(edit) == GetDlgItem(edit, 1017);

        Type(edit, 1017, L"6000");
        Screenshot(edit, L"node-edit");
        Click(edit, IDOK);
        ASSERT_TRUE(WaitGone(edit)) << "a passing node closes the edit dialog";

        HWND box1003 = GetDlgItem(list, 1003);
        wchar_t line[512] = {};
        if (SendMessageW(box1003, LB_GETCOUNT, 0, 0) == 1) SendMessageW(box1003, LB_GETTEXT, 0, reinterpret_cast<LPARAM>(line));
        lineText = line;
        editDeleteEnabled = IsWindowEnabled(GetDlgItem(list, 1005)) && IsWindowEnabled(GetDlgItem(list, 1006));
        Screenshot(list, L"cluster-setup");
        Click(list, IDOK);
        WaitGone(list);
    });

    EXPECT_EQ(result, 0u);
    EXPECT_EQ(suggested, L"C:\\QuorixNode");
    EXPECT_EQ(errorText, L"The port number for the node is not within the valid TCP range.");
    EXPECT_TRUE(editStayedOpen);
    EXPECT_TRUE(focusOnPort) << "the focus goes to the field at fault";
    EXPECT_EQ(lineText, L"127.0.0.1 (localhost)\t6000\t4\t\\\\localhost\\QuorixNode\tC:\\QuorixNode");
    EXPECT_TRUE(editDeleteEnabled);
    EXPECT_EQ(s.Property(L"_DialogResponse"), L"1");
    const std::wstring temp = s.Property(L"QUORIX_NODELIST_TXT_TMP");
    ASSERT_FALSE(temp.empty());
    EXPECT_EQ(qxtest::ReadFileBytes(temp),
              "Node 127.0.0.1:6000,localhost,4,Windows_NT,C:/QuorixNode,\\\\localhost\\QuorixNode\r\n");

    // The next opening starts from the accepted list; selecting a line (by its
    // notification, as a click gives it) enables Edit and Delete; Edit shows
    // the node, whose check boxes switch their fields; a cancel keeps the list.
    std::wstring reopened, edited;
    bool enabledBefore = true, enabledAfter = false;
    std::vector<bool> fields;  // per check box: enabled before, after a click, after a second
    const UINT again = RunWithDriver(s, [&] {
        HWND list = WaitForDialog(L"Cluster Setup");
        ASSERT_NE(list, nullptr);
        HWND lines = GetDlgItem(list, 1003);
        wchar_t line[512] = {};
        SendMessageW(lines, LB_GETTEXT, 0, reinterpret_cast<LPARAM>(line));
        reopened = line;
        auto editDelete = [&] { return IsWindowEnabled(GetDlgItem(list, 1005)) && IsWindowEnabled(GetDlgItem(list, 1006)); };
        enabledBefore = editDelete();
        SendMessageW(lines, LB_SETCURSEL, 0, 0);
        SendMessageW(list, WM_COMMAND, MAKEWPARAM(1003, LBN_SELCHANGE), reinterpret_cast<LPARAM>(lines));
        enabledAfter = editDelete();

        Click(list, 1005);
        HWND edit = WaitForDialog(L"Quorix Cluster Node");
        ASSERT_NE(edit, nullptr) << "Edit opens the edit dialog";
        for (const auto& [box, field] : {std::pair{1013, 1014}, std::pair{1015, 1016}})
            for (int click = 0; click < 3; ++click) {
                if (click) SendMessageW(GetDlgItem(edit, box), BM_CLICK, 0, 0);
                fields.push_back(IsWindowEnabled(GetDlgItem(edit, field)) != FALSE);
            }
        Type(edit, 1017, L"7000");
        Click(edit, IDOK);
        ASSERT_TRUE(WaitGone(edit)) << "the edited node passes";
        SendMessageW(lines, LB_GETTEXT, 0, reinterpret_cast<LPARAM>(line));
        edited = line;
        // Delete, then Cancel: nothing of it stays.
        SendMessageW(list, WM_COMMAND, MAKEWPARAM(1006, BN_CLICKED), reinterpret_cast<LPARAM>(GetDlgItem(list, 1006)));
        Click(list, IDCANCEL);
        WaitGone(list);
    });
    EXPECT_EQ(again, 0u);
    // The host name repeats the UNC server, so it loads as no override.
    EXPECT_EQ(reopened, L"127.0.0.1\t6000\t4\t\\\\localhost\\QuorixNode\tC:\\QuorixNode");
    EXPECT_FALSE(enabledBefore);
    EXPECT_TRUE(enabledAfter);
    ASSERT_EQ(fields.size(), 6u);
    for (size_t i = 0; i < 6; i += 3) {
        EXPECT_NE(fields[i], fields[i + 1]) << "a click on check box " << i / 3 << " switches its field";
        EXPECT_EQ(fields[i], fields[i + 2]);
    }
    // The edit dialog names the host it checked.
    EXPECT_EQ(edited, L"127.0.0.1 (localhost)\t7000\t4\t\\\\localhost\\QuorixNode\tC:\\QuorixNode");
    EXPECT_EQ(s.Property(L"_DialogResponse"), L"2");
    EXPECT_EQ(s.Property(L"QUORIX_NODELIST_TXT_TMP"), temp);
    EXPECT_EQ(qxtest::ReadFileBytes(temp),
              "Node 127.0.0.1:6000,localhost,4,Windows_NT,C:/QuorixNode,\\\\localhost\\QuorixNode\r\n");
}

TEST(ClusterDialogs, OkOnAnEmptyListIsRefusedAndCancelLeaves)
{
    qxtest::TempDir config;
    qxtest::Session s({{L"QuorixConfigDir", config.Path()}});
    std::wstring errorText;
    bool stayed = false;
    const UINT result = RunWithDriver(s, [&] {
        HWND list = WaitForDialog(L"Cluster Setup");
        ASSERT_NE(list, nullptr);
        Click(list, IDOK);
        HWND box = WaitForDialog(L"Error");
        ASSERT_NE(box, nullptr);
        errorText = Text(GetDlgItem(box, 0xFFFF));
        PostMessageW(box, WM_COMMAND, IDOK, 0);
        WaitGone(box);
        Settle(list);
        stayed = IsWindowVisible(list) != FALSE;
        Click(list, IDCANCEL);
        WaitGone(list);
    });
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(errorText, L"There must be at least one cluster node defined.");
    EXPECT_TRUE(stayed);
    EXPECT_EQ(s.Property(L"_DialogResponse"), L"2");
    EXPECT_EQ(s.Property(L"QUORIX_NODELIST_TXT_TMP"), L"");
}

}  // namespace
