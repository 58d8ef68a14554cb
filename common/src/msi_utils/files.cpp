#include "msiu/files.h"

#include <windows.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <vector>

#include "msiu/error.h"
#include "msiu/log.h"

namespace msiu {

namespace {
detail::FileStepHook g_fileStep = nullptr;

void Step(const wchar_t* operation, const std::wstring& path)
{
    if (g_fileStep) g_fileStep(operation, path);
}

// Keeps the first failure's code across the clean-up that follows it.
bool FailKeepingError(const std::wstring& remove)
{
    const DWORD error = GetLastError();
    DeleteFileW(remove.c_str());
    SetLastError(error);
    return false;
}
}  // namespace

void detail::SetFileStepHook(FileStepHook hook)
{
    g_fileStep = hook;
}

bool FileExists(const std::wstring& path)
{
    return PathFileExistsW(path.c_str()) != FALSE;
}

std::wstring CanonicalPath(const std::wstring& path)
{
    std::vector<wchar_t> out(path.size() + MAX_PATH + 1, L'\0');
    if (!PathCanonicalizeW(out.data(), path.c_str())) return path;
    return out.data();
}

namespace {

// Copy and move share their steps: canonical paths, the log line, the
// same-file check, the platform call, and the failure text.
template <class Op>
void Transfer(const std::wstring& source, const std::wstring& destination, const wchar_t* doing,
              const wchar_t* ignored, const wchar_t* failed, Op op)
{
    const std::wstring from = CanonicalPath(source);
    const std::wstring to = CanonicalPath(destination);
    LogMessage(kMsgInfo, doing, from.c_str(), to.c_str());
    if (CompareStringOrdinal(from.c_str(), -1, to.c_str(), -1, TRUE) == CSTR_EQUAL) {
        LogMessage(kMsgInfo, L"%s", ignored);
        return;
    }
    if (!op(from.c_str(), to.c_str())) {
        const HRESULT hr = HResultFromWin32(static_cast<long>(GetLastError()));
        ThrowError(hr, failed, from.c_str(), to.c_str(), ErrorText(hr).c_str());
    }
}

}  // namespace

void CopyFileTo(const std::wstring& source, const std::wstring& destination, bool overwrite)
{
    Transfer(source, destination, L"Copying file \"%s\" to \"%s\"",
             L"Copy file ignored - source and destination are the same.",
             L"Failed to copy \"%s\" to \"%s\".  Reason: %s",
             [overwrite](const wchar_t* a, const wchar_t* b) {
                 if (!overwrite) {
                     Step(L"copy", b);
                     return CopyFileW(a, b, TRUE) != FALSE;
                 }
                 const std::wstring part = std::wstring(b) + L".part";
                 Step(L"copy", part);
                 if (!CopyFileW(a, part.c_str(), FALSE)) return FailKeepingError(part);
                 Step(L"rename", b);
                 if (!MoveFileExW(part.c_str(), b, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
                     return FailKeepingError(part);
                 return true;
             });
}

void MoveFileTo(const std::wstring& source, const std::wstring& destination, bool overwrite)
{
    const DWORD flags = MOVEFILE_COPY_ALLOWED | (overwrite ? MOVEFILE_REPLACE_EXISTING : 0);
    Transfer(source, destination, L"Moving file \"%s\" to \"%s\"",
             L"Move file ignored - source and destination are the same.",
             L"Failed to move \"%s\" to \"%s\".  Reason: %s",
             [flags](const wchar_t* a, const wchar_t* b) {
                 Step(L"move", b);
                 return MoveFileExW(a, b, flags) != FALSE;
             });
}

long MakeDirectory(const std::wstring& path, bool tolerateExisting)
{
    LogMessage(kMsgInfo, L"Creating directory: %s", path.c_str());
    const long result = SHCreateDirectoryExW(nullptr, path.c_str(), nullptr);
    if (tolerateExisting && (result == ERROR_FILE_EXISTS || result == ERROR_ALREADY_EXISTS)) return result;
    if (result != 0) ThrowError(HResultFromWin32(result), L"Can't create directory: %s", path.c_str());
    return result;
}

void CheckPathHasNoSpaces(const std::wstring& path)
{
    if (path.find(L' ') != std::wstring::npos)
        ThrowError(kInvalidArg, L"Path name may not contain spaces: %s", path.c_str());
}

std::wstring ToForwardSlashes(const std::wstring& path)
{
    std::wstring out(path);
    for (auto& c : out)
        if (c == L'\\') c = L'/';
    return out;
}

std::wstring ToBackSlashes(const std::wstring& path)
{
    std::wstring out(path);
    for (auto& c : out)
        if (c == L'/') c = L'\\';
    return out;
}

std::wstring GetTempDir()
{
    wchar_t buffer[MAX_PATH];
    DWORD n = GetTempPathW(MAX_PATH, buffer);
    if (n == 0) ThrowError(HResultFromWin32(static_cast<long>(GetLastError())), L"Call to GetTempPath() failed");
    return std::wstring(buffer, n);
}

std::wstring MakeTempFileName()
{
    const std::wstring dir = GetTempDir();
    wchar_t buffer[MAX_PATH];
    if (GetTempFileNameW(dir.c_str(), L"ovn", 0, buffer) == 0)
        ThrowError(HResultFromWin32(static_cast<long>(GetLastError())), L"Call to GetTempFileName() failed");
    return buffer;
}

void FileTransaction::SaveOriginal()
{
    if (FileExists(target_)) CopyFileTo(target_, temp_, true);
}

bool FileTransaction::InstallStaging()
{
    // On the disk before the rename, so that a power cut cannot leave the
    // rename without the text.
    HANDLE h = CreateFileW(staging_.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return FailKeepingError(staging_);
    const BOOL flushed = FlushFileBuffers(h);
    CloseHandle(h);
    if (!flushed) return FailKeepingError(staging_);

    Step(L"replace", target_);
    if (FileExists(target_)) {
        if (ReplaceFileW(target_.c_str(), staging_.c_str(), nullptr, REPLACEFILE_IGNORE_MERGE_ERRORS, nullptr,
                         nullptr))
            return true;
        // F that cannot be replaced stays as it was; so must N go.
        return FailKeepingError(staging_);
    }
    if (MoveFileExW(staging_.c_str(), target_.c_str(), MOVEFILE_WRITE_THROUGH)) return true;
    return FailKeepingError(staging_);
}

void FileTransaction::RemoveLeftovers()
{
    for (const std::wstring& name : {staging_, temp_ + L".part"})
        if (FileExists(name) && DeleteFileW(name.c_str()))
            LogMessage(kMsgInfo, L"Removed unfinished file: %s", name.c_str());
}

void FileTransaction::Commit()
{
    RemoveLeftovers();
    if (FileExists(temp_)) MoveFileTo(temp_, backup_, true);
}

void FileTransaction::Rollback()
{
    RemoveLeftovers();
    if (FileExists(temp_)) MoveFileTo(temp_, target_, true);
}

}  // namespace msiu
