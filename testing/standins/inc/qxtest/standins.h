// Where the stand-in programs are, and the stand-in shortcut class switched
// on for the running user of the test prefix.
#pragma once

#include <string>

namespace qxtest {

// Windows paths of the built stand-ins.
std::wstring StandInDir();
std::wstring ChildProgram();                      // qxchild.exe
std::wstring IndexTool(const std::wstring& name);  // htdig.exe, htmerge.exe, ...
std::wstring ShortcutServer();                    // qxshortcut.dll

// Whoever depends on which object serves the Internet shortcut class holds
// this lock: test programs may run side by side in the one prefix.
class ShortcutClassLock {
public:
    ShortcutClassLock();
    ~ShortcutClassLock();
    ShortcutClassLock(const ShortcutClassLock&) = delete;
    ShortcutClassLock& operator=(const ShortcutClassLock&) = delete;

private:
    void* mutex_;
};

// While one lives, the Internet shortcut class id is served by the stand-in.
// Wine looks a class up among the machine's classes only (a per-user
// registration is not seen, measured), so the class's server path is
// switched to the stand-in and back to Wine's own at the end.
class ShortcutStandIn {
public:
    ShortcutStandIn();
    ~ShortcutStandIn();
    ShortcutStandIn(const ShortcutStandIn&) = delete;
    ShortcutStandIn& operator=(const ShortcutStandIn&) = delete;

private:
    ShortcutClassLock lock_;
    std::wstring original_;
};

}  // namespace qxtest
