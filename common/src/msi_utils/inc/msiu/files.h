// File operations with their log lines, and the .tmp/.bak transaction that
// every rewritten file goes through.
#pragma once

#include <string>

namespace msiu {

bool FileExists(const std::wstring& path);
std::wstring CanonicalPath(const std::wstring& path);
void CopyFileTo(const std::wstring& source, const std::wstring& destination, bool overwrite);
void MoveFileTo(const std::wstring& source, const std::wstring& destination, bool overwrite);
long MakeDirectory(const std::wstring& path, bool tolerateExisting);
void CheckPathHasNoSpaces(const std::wstring& path);
std::wstring ToForwardSlashes(const std::wstring& path);
std::wstring ToBackSlashes(const std::wstring& path);
std::wstring GetTempDir();
std::wstring MakeTempFileName();

// F, its T (F.tmp, the old version during the install) and B (F.bak, the old
// version after commit).
class FileTransaction {
public:
    explicit FileTransaction(std::wstring target)
        : target_(std::move(target)), temp_(target_ + L".tmp"), backup_(target_ + L".bak") {}

    const std::wstring& Target() const { return target_; }
    const std::wstring& Temp() const { return temp_; }
    const std::wstring& Backup() const { return backup_; }

    // Execute: keep the old F as T, when there is an F.
    void SaveOriginal();
    // Commit: T becomes B. Nothing happens without a T.
    void Commit();
    // Rollback: T goes back to F. Nothing happens without a T.
    void Rollback();

private:
    std::wstring target_, temp_, backup_;
};

}  // namespace msiu
