// Internet shortcuts through the shell's shortcut object.
#pragma once

#include <string>

namespace msiu {

// Writes the .url file `path` for `url` with `description`, replacing a file
// of that name. COM must be initialised on the calling thread.
void CreateURLShortcut(const std::wstring& path, const std::wstring& url, const std::wstring& description);

}  // namespace msiu
