#include <windows.h>

#include "wca.h"

namespace msiu {

void SetModuleHandle(HMODULE module) { wca::Module() = module; }
HMODULE GetModuleHandleOfLibrary() { return wca::Module(); }

}  // namespace msiu
