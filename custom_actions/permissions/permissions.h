// The rights of the server's group on the installed tree: the parts of
// FixDirPermissionsDeferred that tests call directly.
#pragma once

#include <string>
#include <vector>

namespace quorix::permissions {

// What the permissions need from quorix.dat's Options section.
struct Settings {
    std::wstring group;              // NTIUserGroup
    std::wstring interFileBasePath;  // InterFileBasePath, as the file has it
};

// The two values from the section's lines (each a whole line, its trailing
// blanks cut), by the section reader's rules: a key matches the start of a
// line over its own length, a later line wins, and an empty value gives
// the default. NTIUserGroup is the rest of the line behind the key and the
// blanks, tabs and colons after it; InterFileBasePath is the second word.
Settings SettingsFromOptionLines(const std::vector<std::string>& lines);

// The same two values as the file's narrow text, before SettingsFromOptionLines
// widens them.
struct OptionValues {
    std::string group;
    std::string interFileBasePath;
};
OptionValues OptionValuesFromLines(const std::vector<std::string>& lines);

// Reads quorix.dat; its messages go to the log. A file that can't be read,
// or that has a fatal fault, fails with "Failed to read quorix.dat: %s".
Settings ReadSettings(const std::wstring& datPath);

// The execute phase behind the reading: read and execute for the group on
// the web root (fields[1]), full control on the four working directories
// (fields[2..5]) and the inter-file directory. Failures are warnings.
void GrantAccess(const std::vector<std::wstring>& fields, const Settings& settings);

}  // namespace quorix::permissions
