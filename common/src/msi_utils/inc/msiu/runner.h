// The one place where the library starts a process.
#pragma once

#include <cstdint>
#include <string>

namespace msiu {

// Runs commandLine without a window, its standard output and standard error
// going to outputFile (emptied first unless append), and waits up to
// timeoutMs. Returns the child's exit code without judging it. A child that
// outlives the limit is left running and the call fails. An empty workingDir
// leaves the child in the caller's current directory.
uint32_t RunCommand(const std::wstring& commandLine, const std::wstring& outputFile, bool append,
                    uint32_t timeoutMs, const std::wstring& workingDir);

}  // namespace msiu
