// Where the stand-in programs are, and the stand-in shortcut class switched
// on for the running user of the test prefix.
#pragma once

#include "qxtest/session.h"

namespace qxtest {

// Windows paths of the built stand-ins: htdig.exe, htmerge.exe, ...
inline std::wstring IndexTool(const std::wstring& name) { return BinaryDir() + L"\\testing\\standins\\" + name; }
inline std::wstring ChildProgram() { return IndexTool(L"qxchild.exe"); }

// Whoever depends on which object serves the Internet shortcut class holds
// this lock: test programs may run side by side in the one prefix.
class ShortcutClassLock {
public:
    ShortcutClassLock() { WaitForSingleObject(mutex_, INFINITE); }
    ~ShortcutClassLock() { ReleaseMutex(mutex_), CloseHandle(mutex_); }

private:
    HANDLE mutex_ = CreateMutexW(nullptr, FALSE, L"qxtest-shortcut-class");
};

// While one lives, the Internet shortcut class id is served by the stand-in.
// Wine looks a class up among the machine's classes only (a per-user
// registration is not seen, measured), so the class's server path is
// switched to the stand-in and back to Wine's own at the end (also after a
// run that died while the stand-in was there).
class ShortcutStandIn {
public:
    ShortcutStandIn()
    {
        if (!Serve(IndexTool(L"qxshortcut.dll"))) throw std::runtime_error("cannot switch the Internet shortcut class's server");
    }
    ~ShortcutStandIn() { Serve(L"C:\\windows\\system32\\ieframe.dll"); }

private:
    static bool Serve(const std::wstring& path)
    {
        return !RegSetKeyValueW(HKEY_LOCAL_MACHINE, L"Software\\Classes\\CLSID\\{FBF23B40-E3F0-101B-8488-00AA003E56F8}\\InprocServer32",
                                nullptr, REG_SZ, path.c_str(), static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t)));
    }
    ShortcutClassLock lock_;
};

}  // namespace qxtest
