#include "qxtest/standins.h"

#include <windows.h>

#include <cstdlib>
#include <stdexcept>

namespace qxtest {

namespace {

const wchar_t kServerKey[] =
    L"Software\\Classes\\CLSID\\{FBF23B40-E3F0-101B-8488-00AA003E56F8}\\InprocServer32";
const wchar_t kWineServer[] = L"C:\\windows\\system32\\ieframe.dll";

void SetString(HKEY key, const wchar_t* name, const std::wstring& value)
{
    RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                   static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

}  // namespace

std::wstring StandInDir()
{
    const char* v = std::getenv("QX_BINARY_DIR");
    if (!v || !*v) throw std::runtime_error("QX_BINARY_DIR is not set (run through ctest)");
    std::wstring w = L"Z:";
    for (const char* p = v; *p; ++p) w += *p == '/' ? L'\\' : static_cast<wchar_t>(*p);
    return w + L"\\testing\\standins\\";
}

std::wstring ChildProgram() { return StandInDir() + L"qxchild.exe"; }
std::wstring IndexTool(const std::wstring& name) { return StandInDir() + name; }
std::wstring ShortcutServer() { return StandInDir() + L"qxshortcut.dll"; }

ShortcutClassLock::ShortcutClassLock() : mutex_(CreateMutexW(nullptr, FALSE, L"qxtest-shortcut-class"))
{
    WaitForSingleObject(mutex_, INFINITE);
}

ShortcutClassLock::~ShortcutClassLock()
{
    ReleaseMutex(mutex_);
    CloseHandle(mutex_);
}

ShortcutStandIn::ShortcutStandIn()
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kServerKey, 0, KEY_READ | KEY_WRITE, &key) != ERROR_SUCCESS)
        throw std::runtime_error("the Internet shortcut class is not registered");
    wchar_t value[MAX_PATH] = L"";
    DWORD size = sizeof value;
    RegQueryValueExW(key, nullptr, nullptr, nullptr, reinterpret_cast<BYTE*>(value), &size);
    original_ = value;
    // A run that died while switched leaves the stand-in there.
    if (original_.empty() || original_.find(L"qxshortcut") != std::wstring::npos) original_ = kWineServer;
    SetString(key, nullptr, ShortcutServer());
    RegCloseKey(key);
}

ShortcutStandIn::~ShortcutStandIn()
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kServerKey, 0, KEY_WRITE, &key) != ERROR_SUCCESS) return;
    SetString(key, nullptr, original_);
    RegCloseKey(key);
}

}  // namespace qxtest
