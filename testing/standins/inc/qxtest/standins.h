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

// While one lives, the Internet shortcut class id is served by the stand-in:
// it is registered for the current user, which takes precedence over the
// machine's class, and removed again at the end.
class ShortcutStandIn {
public:
    ShortcutStandIn();
    ~ShortcutStandIn();
    ShortcutStandIn(const ShortcutStandIn&) = delete;
    ShortcutStandIn& operator=(const ShortcutStandIn&) = delete;
};

}  // namespace qxtest
