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

// Reads quorix.dat; its messages go to the log. A file that can't be read,
// or that has a fatal fault, fails with "Failed to read quorix.dat: %s".
Settings ReadSettings(const std::wstring& datPath);

// The execute phase behind the reading: read and execute for the group on
// the web root (fields[1]), full control on the four working directories
// (fields[2..5]) and the inter-file directory. Failures are warnings.
void GrantAccess(const std::vector<std::wstring>& fields, const Settings& settings);

// Why the values read back from quorix.dat may not be used, or empty when
// they may: "NTIUserGroup "Everyone" ...: <reason>". fields as for GrantAccess.
std::wstring Refusal(const std::vector<std::wstring>& fields, const Settings& settings);

}  // namespace quorix::permissions
