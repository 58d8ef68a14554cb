#include "msiu/files.h"

#include <windows.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <fcntl.h>
#include <io.h>

#include <vector>

#include "msiu/error.h"
#include "msiu/log.h"

namespace msiu {

namespace {
detail::FileStepHook g_fileStep = nullptr;
detail::AttributeProbe g_attributes = nullptr;

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

void detail::SetAttributeProbe(AttributeProbe probe)
{
    g_attributes = probe;
}

namespace {

DWORD Attributes(const std::wstring& path)
{
    return g_attributes ? g_attributes(path.c_str()) : GetFileAttributesW(path.c_str());
}

bool IsReparsePoint(DWORD attributes)
{
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

std::wstring DirectoryOf(const std::wstring& path)
{
    const size_t slash = path.find_last_of(L"\\/");
    if (slash == std::wstring::npos) return L".";
    std::wstring dir = path.substr(0, slash);
    if (dir.empty() || dir.back() == L':') dir += L'\\';
    return dir;
}

[[noreturn]] void RefuseLink(const std::wstring& name)
{
    ThrowError(HResultFromWin32(ERROR_ACCESS_DENIED), L"Not following a link or junction: %s", name.c_str());
}

}  // namespace

// LocalSystem reads and writes here in directories that the install opens to
// a users group: a member could leave a link or junction at a name, or in
// place of the directory, to have another file read or overwritten.
void RefuseLinks(const std::wstring& path)
{
    for (const std::wstring& name : {DirectoryOf(path), path})
        if (IsReparsePoint(Attributes(name))) RefuseLink(name);
}

namespace {

// The name is checked by its handle too, so that a link put there after the
// check above is not followed either.
HANDLE OpenUnlinked(const std::wstring& path, DWORD access, DWORD share, DWORD disposition)
{
    HANDLE h = CreateFileW(path.c_str(), access, share, nullptr, disposition,
                           FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (h == INVALID_HANDLE_VALUE) return h;
    BY_HANDLE_FILE_INFORMATION info{};
    if (!GetFileInformationByHandle(h, &info) || IsReparsePoint(info.dwFileAttributes)) {
        CloseHandle(h);
        RefuseLink(path);
    }
    return h;
}

struct Handle {
    HANDLE h;
    ~Handle()
    {
        if (h != INVALID_HANDLE_VALUE) CloseHandle(h);
    }
};

// A copy of the bytes only: the new file gets normal attributes, so a
// read-only F does not make a read-only T and B that no later install can
// replace. The copy is on the disk before the caller renames it.
bool WriteAll(HANDLE in, HANDLE out)
{
    std::vector<char> buffer(64 * 1024);
    for (;;) {
        DWORD got = 0, put = 0;
        if (!ReadFile(in, buffer.data(), static_cast<DWORD>(buffer.size()), &got, nullptr)) return false;
        if (got == 0) return FlushFileBuffers(out) != FALSE;
        if (!WriteFile(out, buffer.data(), got, &put, nullptr) || put != got) return false;
    }
}

bool CopyBytes(const std::wstring& from, const std::wstring& to)
{
    Handle in{OpenUnlinked(from, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING)};
    if (in.h == INVALID_HANDLE_VALUE) return false;
    bool written = false;
    {
        Handle out{OpenUnlinked(to, GENERIC_WRITE, 0, CREATE_NEW)};
        if (out.h == INVALID_HANDLE_VALUE) return false;
        written = WriteAll(in.h, out.h);
    }
    return written || FailKeepingError(to);
}

}  // namespace

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
    RefuseLinks(from);
    RefuseLinks(to);
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
                     return CopyBytes(a, b);
                 }
                 const std::wstring part = std::wstring(b) + L".part";
                 RefuseLinks(part);
                 DeleteFileW(part.c_str());  // an interrupted copy's; a link there goes, not its target
                 Step(L"copy", part);
                 if (!CopyBytes(a, part)) return false;
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

namespace {

bool Present(const std::wstring& path)
{
    // Not PathFileExistsW: a link that points nowhere is there all the same.
    return Attributes(path) != INVALID_FILE_ATTRIBUTES;
}

// B is only ever replaced by T; an older read-only B must not stop that.
void MakeReplaceable(const std::wstring& path)
{
    const DWORD attributes = Attributes(path);
    if (attributes != INVALID_FILE_ATTRIBUTES && !IsReparsePoint(attributes) && (attributes & FILE_ATTRIBUTE_READONLY))
        SetFileAttributesW(path.c_str(), attributes & ~FILE_ATTRIBUTE_READONLY);
}

}  // namespace

void FileTransaction::SaveOriginal(bool required)
{
    RefuseLinks(target_);
    RemoveLeftovers();
    if (FileExists(target_)) {
        // F that cannot be replaced fails now, before anything is changed,
        // rather than after T is made and half the install is done.
        const DWORD attributes = Attributes(target_);
        DWORD error = (attributes & FILE_ATTRIBUTE_READONLY) ? ERROR_ACCESS_DENIED : 0;
        if (error == 0) {
            Handle probe{CreateFileW(target_.c_str(), GENERIC_READ | GENERIC_WRITE,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                     FILE_FLAG_OPEN_REPARSE_POINT, nullptr)};
            if (probe.h == INVALID_HANDLE_VALUE) error = GetLastError();
        }
        if (error != 0) {
            const HRESULT hr = HResultFromWin32(static_cast<long>(error));
            ThrowError(hr, L"Can't change \"%s\".  Reason: %s", target_.c_str(), ErrorText(hr).c_str());
        }
    }
    if (Present(temp_)) {
        // An earlier install's T whose commit or rollback never ran: kept as
        // B, as its commit would have, so that a rollback of this install
        // only ever restores a T that this install made.
        LogMessage(kMsgInfo, L"Found a file left by an earlier install: %s", temp_.c_str());
        MakeReplaceable(backup_);
        MoveFileTo(temp_, backup_, true);
    }
    if (required || FileExists(target_)) CopyFileTo(target_, temp_, true);
}

// N is created here and nowhere else: a member of the users group could
// put a link at N after SaveOriginal removed what stood there, and a writer
// that truncates an existing name would then write through it.
FILE* FileTransaction::OpenStaging(bool binary)
{
    HANDLE h = CreateFileW(staging_.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                           FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (h == INVALID_HANDLE_VALUE) return nullptr;
    const int fd = _open_osfhandle(reinterpret_cast<intptr_t>(h), binary ? _O_BINARY : _O_TEXT);
    FILE* file = fd == -1 ? nullptr : _fdopen(fd, binary ? "wb" : "wt");
    if (!file) {
        if (fd == -1)
            CloseHandle(h);
        else
            _close(fd);
        DeleteFileW(staging_.c_str());
        SetLastError(ERROR_TOO_MANY_OPEN_FILES);
    }
    return file;
}

bool FileTransaction::InstallStaging()
{
    RefuseLinks(target_);
    // On the disk before the rename, so that a power cut cannot leave the
    // rename without the text.
    HANDLE h = OpenUnlinked(staging_, GENERIC_WRITE, 0, OPEN_EXISTING);
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
    // Our own names: whatever stands there goes, a link or junction itself
    // and never what it points at, so that the writer of N finds nothing.
    for (const std::wstring& name : {staging_, temp_ + L".part"}) {
        const DWORD attributes = Attributes(name);
        if (attributes == INVALID_FILE_ATTRIBUTES) continue;
        const bool removed = (attributes & FILE_ATTRIBUTE_DIRECTORY) ? IsReparsePoint(attributes) &&
                                                                           RemoveDirectoryW(name.c_str())
                                                                     : DeleteFileW(name.c_str()) != FALSE;
        if (removed) LogMessage(kMsgInfo, L"Removed unfinished file: %s", name.c_str());
    }
}

void FileTransaction::Commit()
{
    RemoveLeftovers();
    if (Present(temp_)) {
        MakeReplaceable(backup_);
        MoveFileTo(temp_, backup_, true);
    }
}

void FileTransaction::Rollback()
{
    RemoveLeftovers();
    if (Present(temp_)) MoveFileTo(temp_, target_, true);
}

}  // namespace msiu
