#include "qxtest/standins.h"

#include <windows.h>

#include <cstdlib>
#include <stdexcept>

namespace qxtest {

namespace {

const wchar_t kClassKey[] = L"Software\\Classes\\CLSID\\{FBF23B40-E3F0-101B-8488-00AA003E56F8}";

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

ShortcutStandIn::ShortcutStandIn()
{
    HKEY key = nullptr;
    const std::wstring server = std::wstring(kClassKey) + L"\\InprocServer32";
    if (RegCreateKeyExW(HKEY_CURRENT_USER, server.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr) !=
        ERROR_SUCCESS)
        throw std::runtime_error("cannot register the stand-in shortcut class");
    SetString(key, nullptr, ShortcutServer());
    SetString(key, L"ThreadingModel", L"Apartment");
    RegCloseKey(key);
}

ShortcutStandIn::~ShortcutStandIn()
{
    RegDeleteTreeW(HKEY_CURRENT_USER, kClassKey);
}

}  // namespace qxtest
