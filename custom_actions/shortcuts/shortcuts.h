// The six URL shortcuts of an install.
#pragma once

#include <string>
#include <vector>

namespace quorix::shortcuts {

struct Shortcut {
    const wchar_t* fileName;
    const wchar_t* urlPath;
    const wchar_t* description;
};

// In the order in which they are made.
const std::vector<Shortcut>& Table();

// Execute phase of CreateURLShortcutsDeferred: the folder (ending in a
// separator) is made if missing, then every shortcut of the table; the first
// failure stops the run and the files already written stay.
void CreateShortcuts(const std::wstring& folder, const std::wstring& webUrl);

}  // namespace quorix::shortcuts
