// File operations with their log lines, and the .tmp/.bak transaction that
// every rewritten file goes through.
#pragma once

#include <cstdio>
#include <string>

namespace msiu {

bool FileExists(const std::wstring& path);
// An overwriting copy goes through "<destination>.part" and a rename, so that
// the destination is the old file or the whole new one, never a torn copy.
std::wstring CanonicalPath(const std::wstring& path);
void CopyFileTo(const std::wstring& source, const std::wstring& destination, bool overwrite);
void MoveFileTo(const std::wstring& source, const std::wstring& destination, bool overwrite);
long MakeDirectory(const std::wstring& path, bool tolerateExisting);
void CheckPathHasNoSpaces(const std::wstring& path);
std::wstring ToForwardSlashes(const std::wstring& path);
std::wstring ToBackSlashes(const std::wstring& path);
std::wstring GetTempDir();
std::wstring MakeTempFileName();

// Refuses, with "Not following a link or junction: %s", a path that is a
// link or junction or whose directory is one.
void RefuseLinks(const std::wstring& path);

// F, its T (F.tmp, the old version during the install) and B (F.bak, the old
// version after commit). The new F is written as N (F.new) and put in
// place by one rename, so that an install that dies at any point leaves F
// old or new, never torn, and T whole or absent.
class FileTransaction {
public:
    explicit FileTransaction(std::wstring target)
        : target_(std::move(target)), temp_(target_ + L".tmp"), backup_(target_ + L".bak"),
          staging_(target_ + L".new") {}

    const std::wstring& Target() const { return target_; }
    const std::wstring& Temp() const { return temp_; }
    const std::wstring& Backup() const { return backup_; }
    const std::wstring& Staging() const { return staging_; }

    // Execute: keep the old F as T, when there is an F (required: F must be
    // there). Refuses a link or junction at F or in place of its directory,
    // and an F that could not be replaced (read-only, locked) before
    // anything changes. Removes what an interrupted install left: N and
    // T.part; a T becomes B.
    void SaveOriginal(bool required = false);
    // Execute: creates N for the caller to write and fclose ("w" or "wb"
    // mode), after SaveOriginal. Any name already at N, a link included,
    // makes it fail: null, with the platform's last error.
    FILE* OpenStaging(bool binary = false);
    // Execute: N, written and closed by the caller, replaces F (keeping F's
    // security and attributes when there is an F). False with the platform's
    // last error when that fails; N is then gone and F as it was.
    bool InstallStaging();
    // Commit: T becomes B. Nothing happens without a T.
    void Commit();
    // Rollback: T goes back to F. Nothing happens without a T.
    void Rollback();

private:
    // What an interrupted execute may have left beside F.
    void RemoveLeftovers();

    std::wstring target_, temp_, backup_, staging_;
};

namespace detail {
// Called before every operation that changes files ("copy", "rename",
// "move", "replace"), with the file it makes. Tests stop a process there.
using FileStepHook = void (*)(const wchar_t* operation, const std::wstring& path);
void SetFileStepHook(FileStepHook hook);
// Where the attributes of a name come from (GetFileAttributesW unless set).
// Wine shows a link to a directory as a reparse point but a link to a file
// as the file: tests make a name look like a link here.
using AttributeProbe = unsigned long (*)(const wchar_t* path);
void SetAttributeProbe(AttributeProbe probe);
}  // namespace detail

}  // namespace msiu
