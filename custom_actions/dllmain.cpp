// The load callback: keep the module handle for the session layer, nothing else.
#include <windows.h>

#include "msiu/module.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) {
        DisableThreadLibraryCalls(instance);
        msiu::SetModuleHandle(instance);
    } else if (reason == DLL_PROCESS_DETACH) {
        msiu::SetModuleHandle(nullptr);
    }
    return TRUE;
}
