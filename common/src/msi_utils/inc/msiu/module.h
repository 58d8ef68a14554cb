// The module handle of the loaded library, kept by the load callback.
#pragma once

#include <windows.h>

namespace msiu {
void SetModuleHandle(HMODULE module);
HMODULE GetModuleHandleOfLibrary();
}  // namespace msiu
