// The metabase emulator seen from a test: while a MetabaseEmulator lives,
// the emulator answers every IIS: path of this prefix from the given file,
// and the file and its change log say what the metabase holds and what was
// done to it.
#pragma once

#include <string>
#include <vector>

#include "qxtest/metabase_model.h"

namespace qxtest {

// Held by whoever registers the emulator: test programs may run side by side
// in the one prefix, and the provider key is one.
class MetabaseLock {
public:
    MetabaseLock();
    ~MetabaseLock();
    MetabaseLock(const MetabaseLock&) = delete;
    MetabaseLock& operator=(const MetabaseLock&) = delete;

private:
    void* mutex_;
};

// Registers the emulator (server DLL at `server`, default: the build's) as
// the machine's IIS provider, serving `file`, and puts back what was there.
class MetabaseEmulator {
public:
    explicit MetabaseEmulator(const std::wstring& file, const std::wstring& server = std::wstring());
    ~MetabaseEmulator();
    MetabaseEmulator(const MetabaseEmulator&) = delete;
    MetabaseEmulator& operator=(const MetabaseEmulator&) = delete;

    const std::wstring& File() const { return file_; }
    // Writes a described metabase and empties the change log.
    void Reset(const std::string& text) const;
    qxmb::Metabase Read() const;
    std::vector<std::wstring> Changes() const;  // the change log, line by line

private:
    MetabaseLock lock_;
    std::wstring file_;
    bool hadProvider_ = false;
    std::wstring oldProvider_;
};

std::wstring MetabaseServer();  // qxmetabase.dll of this build

}  // namespace qxtest
