// The command line of qxdat, apart from main so that tests can drive it.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace qxdat {

constexpr int kExitOk = 0;
constexpr int kExitInvalid = 1;  // the file isn't valid, or couldn't be written
constexpr int kExitLossy = 2;  // check: valid, but a save would drop or move lines
constexpr int kExitUsage = 3;

// args excludes the program name.
int run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace qxdat
