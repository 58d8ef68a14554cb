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
struct MetabaseLock {
    MetabaseLock() : mutex_(CreateMutexW(nullptr, FALSE, L"qxtest-metabase-provider")) { WaitForSingleObject(mutex_, INFINITE); }
    ~MetabaseLock() { ReleaseMutex(mutex_), CloseHandle(mutex_); }
    HANDLE mutex_;
};

// Registers the emulator (server DLL at `server`, default: the build's) as
// the machine's IIS provider, serving `file`, and puts back what was there.
class MetabaseEmulator {
public:
    explicit MetabaseEmulator(const std::wstring& file, const std::wstring& server = std::wstring());
    ~MetabaseEmulator();

    // Writes a described metabase and empties the change log.
    void Reset(const std::string& text) const
    {
        qxmb::Save(file_, qxmb::Parse(text));
        DeleteFileW(qxmb::ChangeLogPath(file_).c_str());
    }
    qxmb::Metabase Read() const { return qxmb::Load(file_); }
    std::vector<std::wstring> Changes() const;  // the change log, line by line

private:
    MetabaseLock lock_;
    std::wstring file_, oldProvider_;
    bool hadProvider_ = false;
};

}  // namespace qxtest
