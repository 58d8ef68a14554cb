// Turns a message id into text: first from an optional message library, then
// from the system's own table. Never fails.
#pragma once

#include <cstdint>
#include <string>

#include "pal/mutex.h"

namespace PAL {

class MsgCatalog {
public:
    explicit MsgCatalog(std::wstring baseName);
    virtual ~MsgCatalog();
    MsgCatalog(const MsgCatalog&) = delete;
    MsgCatalog& operator=(const MsgCatalog&) = delete;

    virtual std::wstring DirectoryPrefix() const { return std::wstring(); }
    std::wstring GetText(uint32_t id);

    // The catalog behind every WindowsError text.
    static MsgCatalog& System();

private:
    void Load();

    Mutex lock_;
    // Only a Windows build loads a message library.
    [[maybe_unused]] bool loaded_ = false;
    std::wstring baseName_;
    [[maybe_unused]] void* module_ = nullptr;
};

}  // namespace PAL
