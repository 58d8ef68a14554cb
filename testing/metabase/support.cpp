#include "qxtest/metabase.h"

#include <windows.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "qxtest/metabase_ids.h"

namespace qxtest {

namespace {

const wchar_t kProviderKey[] = L"Software\\Microsoft\\ADs\\Providers\\IIS";

std::wstring ClassKey() { return std::wstring(L"Software\\Classes\\CLSID\\") + qxmb::kEmulatorClassText; }
std::wstring ProgIdKey() { return std::wstring(L"Software\\Classes\\") + qxmb::kEmulatorProgId; }

void SetDefault(const std::wstring& key, const std::wstring& value, const wchar_t* name = nullptr)
{
    HKEY h = nullptr;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &h, nullptr) !=
        ERROR_SUCCESS)
        throw std::runtime_error("cannot write the registry for the metabase emulator");
    RegSetValueExW(h, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                   static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(h);
}

bool ReadDefault(const wchar_t* key, std::wstring& value)
{
    wchar_t buffer[512] = L"";
    DWORD size = sizeof buffer;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key, nullptr, RRF_RT_REG_SZ, nullptr, buffer, &size) != ERROR_SUCCESS)
        return false;
    value = buffer;
    return true;
}

}  // namespace

MetabaseLock::MetabaseLock() : mutex_(CreateMutexW(nullptr, FALSE, L"qxtest-metabase-provider"))
{
    WaitForSingleObject(mutex_, INFINITE);
}

MetabaseLock::~MetabaseLock()
{
    ReleaseMutex(mutex_);
    CloseHandle(mutex_);
}

std::wstring MetabaseServer()
{
    const char* v = std::getenv("QX_BINARY_DIR");
    if (!v || !*v) throw std::runtime_error("QX_BINARY_DIR is not set (run through ctest)");
    std::wstring w = L"Z:";
    for (const char* p = v; *p; ++p) w += *p == '/' ? L'\\' : static_cast<wchar_t>(*p);
    return w + L"\\testing\\metabase\\qxmetabase.dll";
}

MetabaseEmulator::MetabaseEmulator(const std::wstring& file, const std::wstring& server) : file_(file)
{
    hadProvider_ = ReadDefault(kProviderKey, oldProvider_);
    // A run that died while registered leaves the emulator there.
    if (hadProvider_ && oldProvider_ == qxmb::kEmulatorProgId) hadProvider_ = false;
    SetDefault(ClassKey() + L"\\InprocServer32", server.empty() ? MetabaseServer() : server);
    SetDefault(ClassKey() + L"\\InprocServer32", L"Both", L"ThreadingModel");
    SetDefault(ClassKey() + L"\\ProgID", qxmb::kEmulatorProgId);
    SetDefault(ClassKey() + L"\\Metabase", file_);
    SetDefault(ProgIdKey() + L"\\CLSID", qxmb::kEmulatorClassText);
    SetDefault(kProviderKey, qxmb::kEmulatorProgId);
}

MetabaseEmulator::~MetabaseEmulator()
{
    if (hadProvider_)
        SetDefault(kProviderKey, oldProvider_);
    else
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kProviderKey), RegDeleteKeyW(HKEY_LOCAL_MACHINE, kProviderKey);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, ProgIdKey().c_str());
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, ProgIdKey().c_str());
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, ClassKey().c_str());
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, ClassKey().c_str());
}

void MetabaseEmulator::Reset(const std::string& text) const
{
    qxmb::Save(file_, qxmb::Parse(text));
    DeleteFileW(qxmb::ChangeLogPath(file_).c_str());
}

qxmb::Metabase MetabaseEmulator::Read() const { return qxmb::Load(file_); }

std::vector<std::wstring> MetabaseEmulator::Changes() const
{
    std::vector<std::wstring> lines;
    std::ifstream in(qxmb::ChangeLogPath(file_).c_str(), std::ios::binary);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(qxmb::Wide(line));
    }
    return lines;
}

}  // namespace qxtest
