// The IIS actions: the check of the chosen web site, and the changes made to
// IIS in the install script. The parts here are what tests call directly.
#pragma once

#include <windows.h>
#include <ole2.h>
#include <iads.h>
#include <iiisext.h>

#include <cstdint>
#include <string>

namespace msiu {

// Shared body of CheckIISConfig and CheckIISConfigUI.
void CheckIISSettings(bool isUI);

}  // namespace msiu

namespace quorix::iis {

// The five fields of QuorixIISConfigExec, read.
struct ConfigData {
    bool removing = false;
    uint16_t version = 0;
    std::wstring virtualDirPath;
    std::wstring cgiDir;   // with its trailing backslash
    std::wstring xcgiDir;  // with its trailing backslash
};

// The install-script work of QuorixIISConfigDeferred, best effort: every
// failure is logged and told as a warning, and the install goes on.
void ConfigureIIS(const ConfigData& data);

}  // namespace quorix::iis

// One row of the extension table: the record is deleted, then (unless
// removing) added anew. False when the add failed; the cause is logged.
bool ReconfigureExtensionFile(IISWebService* service, const std::wstring& file, const std::wstring& groupId,
                              const std::wstring& description, bool removing);
