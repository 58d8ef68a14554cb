// In-process installer sessions for tests: a small package made on the fly,
// opened with MsiOpenPackageW, and every message the actions send captured.
#pragma once

#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace qxtest {

using Props = std::vector<std::pair<std::wstring, std::wstring>>;

struct Message {
    UINT type;          // 0, 0x1000000, 0x2000000, 0x4000000
    std::wstring text;  // field 0 as the action set it
};

// Builds a minimal package database on disk: Property table with the given
// properties, summary information, and any extra SQL the test wants.
class PackageFile {
public:
    explicit PackageFile(const std::vector<std::pair<std::wstring, std::wstring>>& properties = {},
                         const std::vector<std::wstring>& extraSql = {});
    ~PackageFile();
    const std::wstring& Path() const { return path_; }

private:
    std::wstring path_;
};

// Captures every message of the external UI; can answer cancel.
class MessageCapture {
public:
    MessageCapture();
    ~MessageCapture();

    std::vector<Message> messages;
    // Answer IDCANCEL to the message whose text contains this, if set.
    std::wstring cancelOn;
    // Texts of messages of one type, in order.
    std::vector<std::wstring> Texts(UINT type) const;
    std::vector<std::wstring> AllTexts() const;

private:
    static int WINAPI Handler(LPVOID context, UINT type, MSIHANDLE record);
    INSTALLUI_HANDLER_RECORD previous_ = nullptr;
};

// An open package session with a message capture around it.
// Directory, Feature, Component and FeatureComponents tables for a package
// made on the fly: one feature a (name, level) pair, each with one empty
// component installed into TARGETDIR. Component ids are guidStem (35
// characters) followed by the feature's number in two hex digits, so that
// packages of different tests keep their components apart.
std::vector<std::wstring> FeatureTables(const std::vector<std::pair<std::wstring, int>>& features,
                                        const wchar_t* guidStem);

class Session {
public:
    explicit Session(const Props& properties = {},
                     const std::vector<std::wstring>& extraSql = {});
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    MSIHANDLE Handle() const { return handle_; }
    std::wstring Property(const std::wstring& name) const;
    void SetProperty(const std::wstring& name, const std::wstring& value);

    MessageCapture capture;

private:
    PackageFile package_;
    MSIHANDLE handle_ = 0;
};

// A temporary directory, removed with everything in it at the end.
class TempDir {
public:
    TempDir();
    ~TempDir();
    const std::wstring& Path() const { return path_; }  // ends in a backslash
    std::wstring File(const std::wstring& name) const { return path_ + name; }

private:
    std::wstring path_;
};

std::string ReadFileBytes(const std::wstring& path);
void WriteFileBytes(const std::wstring& path, const std::string& bytes);
bool Exists(const std::wstring& path);

// Paths of the build, from the environment CTest sets (Unix paths, seen by
// Wine as drive Z:).
std::wstring SourceDir();
std::wstring BinaryDir();
std::wstring ActionDllPath();

// The exported actions of quorixca.dll, loaded once.
using ActionFn = UINT(__stdcall*)(MSIHANDLE);
ActionFn Action(const char* name);

// The narrow text of the platform's message for a Windows error, as the
// library itself would produce it.
std::wstring SystemText(HRESULT code);

}  // namespace qxtest
