// CustomActionData, scheduling, and which phase of a deferred action runs.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace msiu {

void SplitFields(const std::wstring& text, std::vector<std::wstring>& fields, wchar_t separator);
void GetPropertyFields(const std::wstring& name, std::vector<std::wstring>& fields, bool required,
                       bool formatted, wchar_t separator);
void ScheduleDeferredAction(const std::wstring& actionName, const std::wstring& data);
bool GetRunMode(int mode);

// The fields of CustomActionData; anything but exactly `count` fails.
std::vector<std::wstring> GetDeferredFields(size_t count);

enum class Phase { None, Execute, Commit, Rollback };
// Settled by run mode alone: scheduled, then commit, then rollback.
Phase CurrentPhase();

namespace detail {
// Tests run one phase of a deferred action outside an install script; None
// gives the engine's answer back.
void SetPhaseOverride(Phase phase);
}  // namespace detail

// Joins fields with '|' for a deferred action's data.
std::wstring JoinFields(const std::vector<std::wstring>& fields);

}  // namespace msiu
