// Helpers for native tests that look at the Windows build: run a command,
// read files, find the build trees.
#pragma once

#include <string>
#include <vector>

namespace qxnative {

struct RunResult {
    int status;
    std::string output;
};

RunResult Run(const std::string& command);
std::string SourceDir();
std::string BuildDir(const std::string& preset);  // build/<preset>, or $QX_BUILD_<PRESET>
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& bytes);
bool Exists(const std::string& path);
std::vector<std::string> Lines(const std::string& text);  // split on LF, CR dropped

}  // namespace qxnative
