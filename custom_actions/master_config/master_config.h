// The master configuration update: UpdateQuorixDat gathers what the merge
// needs and schedules its triple; the execute phase merges the template into
// quorix.dat and saves it.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace quorix::master_config {

// The fields of CustomActionData, in their order.
enum Field : size_t {
    kTemplatePath,
    kQuorixDat,
    kWebRootDir,
    kWebUrl,
    kSequenceDir,
    kClusterMode,
    kNoApache,
    kUsersGroup,
    kAdminsGroup,
    kMergeFlags,
    kActivateSwissProt,
    kFieldCount
};

// Merge flags: which steps of the merge run.
enum MergeFlag : uint32_t {
    kAppendTaxonomy = 1,
    kAppendParseRules = 2,
    kAlignSwissProt = 4,
    kSetCluster = 8,
    kEstTaxonomy = 16,
    kAppendOptions = 32,
    kAutoReportNumbers = 64,
    kSetFork = 128,
};
constexpr uint32_t kFirstInstallFlags = kSetCluster | kSetFork;
constexpr uint32_t kUpgradeFlags =
    kAppendTaxonomy | kAppendParseRules | kEstTaxonomy | kAppendOptions | kAutoReportNumbers | kSetFork;

// The local name of the built-in group with this relative id (545 users,
// 544 administrators).
std::wstring LocalGroupName(DWORD rid);

// The execute phase on F = fields[kQuorixDat]: keeps F as F.tmp when it
// exists, merges, activates SwissProt if asked, saves F. Fails before F is
// touched when anything goes wrong.
void WriteQuorixDat(std::vector<std::wstring> fields);

}  // namespace quorix::master_config
