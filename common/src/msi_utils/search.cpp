#include "msiu/search.h"

#include <windows.h>
#include <msi.h>
#include <shlwapi.h>

#include <vector>

#include "msiu/error.h"
#include "msiu/log.h"

namespace msiu {

namespace {

std::wstring Append(const std::wstring& a, const std::wstring& b)
{
    std::vector<wchar_t> buffer(a.size() + b.size() + MAX_PATH + 2, L'\0');
    a.copy(buffer.data(), a.size());
    if (!PathAppendW(buffer.data(), b.c_str())) return a + L"\\" + b;
    return buffer.data();
}

bool Unmodified(const WIN32_FIND_DATAW& data)
{
    auto time = [](const FILETIME& t) { return (static_cast<unsigned long long>(t.dwHighDateTime) << 32) | t.dwLowDateTime; };
    return time(data.ftLastWriteTime) <= time(data.ftCreationTime);
}

bool Versioned(const std::wstring& path)
{
    wchar_t version[260];
    DWORD cch = 260;
    return MsiGetFileVersionW(path.c_str(), version, &cch, nullptr, nullptr) == ERROR_SUCCESS;
}

struct FindCloser {
    HANDLE h;
    ~FindCloser()
    {
        if (h != INVALID_HANDLE_VALUE) FindClose(h);
    }
};

}  // namespace

void FindFiles(const std::wstring& directory, std::vector<std::wstring>& files, unsigned options)
{
    files.clear();
    SearchDirectory(directory, std::wstring(), files, options);
}

void SearchDirectory(const std::wstring& base, const std::wstring& relative, std::vector<std::wstring>& files,
                     unsigned options)
{
    const std::wstring folder = relative.empty() ? base : Append(base, relative);
    const std::wstring pattern = Append(folder, L"*");
    if (options & kSearchLog) LogMessage(kMsgInfo, L"Searching for files in: %s", pattern.c_str());

    WIN32_FIND_DATAW data;
    FindCloser find{FindFirstFileW(pattern.c_str(), &data)};
    if (find.h == INVALID_HANDLE_VALUE)
        ThrowError(HResultFromWin32(static_cast<long>(GetLastError())), L"Failed to search directory: %s",
                   pattern.c_str());

    std::vector<std::wstring> subdirectories;
    do {
        const std::wstring name = data.cFileName;
        if (name == L"." || name == L"..") continue;
        const std::wstring full = Append(folder, name);
        if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            if (options & kSearchRecurse) subdirectories.push_back(name);
            if (!(options & kSearchDirectories)) continue;
        } else {
            if ((options & kSearchSkipUnmodified) && Unmodified(data)) {
                if (options & kSearchLog) LogMessage(kMsgInfo, L"Ignoring unmodified file: %s", full.c_str());
                continue;
            }
            if ((options & kSearchSkipVersioned) && Versioned(full)) {
                if (options & kSearchLog) LogMessage(kMsgInfo, L"Ignoring versioned file: %s", full.c_str());
                continue;
            }
        }
        files.push_back(relative.empty() ? name : Append(relative, name));
    } while (FindNextFileW(find.h, &data));

    const DWORD error = GetLastError();
    if (error != ERROR_NO_MORE_FILES)
        ThrowError(HResultFromWin32(static_cast<long>(error)), L"Failed to search directory: %s", pattern.c_str());

    for (const auto& sub : subdirectories)
        SearchDirectory(base, relative.empty() ? sub : Append(relative, sub), files, options);
}

}  // namespace msiu
