#include "orvane/qx_machine.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace orvane {

namespace {
qx_machine* replacement = nullptr;
}

bool qx_machine::computerName(std::string& name)
{
#ifdef _WIN32
    char buffer[16];
    DWORD size = sizeof buffer;
    if (!GetComputerNameA(buffer, &size)) return false;
    name.assign(buffer, size);
#else
    char buffer[256] = {};
    if (gethostname(buffer, sizeof buffer - 1) != 0) return false;
    name = buffer;
#endif
    return true;
}

qx_processorfacts& qx_machine::processorFacts()
{
    return qx_processorfacts::platform();
}

qx_machine& qx_machine::current()
{
    static qx_machine own;
    return replacement ? *replacement : own;
}

void qx_machine::replace(qx_machine* machine)
{
    replacement = machine;
}

}  // namespace orvane
