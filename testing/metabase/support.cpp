#include "qxtest/metabase.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace qxtest {

namespace {

const wchar_t kProviderKey[] = L"Software\\Microsoft\\ADs\\Providers\\IIS";
const std::wstring kClassKey = std::wstring(L"Software\\Classes\\CLSID\\") + qxmb::kEmulatorClassText;
const std::wstring kProgIdKey = std::wstring(L"Software\\Classes\\") + qxmb::kEmulatorProgId;

void SetValue(const std::wstring& key, const std::wstring& value, const wchar_t* name = nullptr)
{
    if (RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, REG_SZ, value.c_str(),
                        static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))) != ERROR_SUCCESS)
        throw std::runtime_error("cannot write the registry for the metabase emulator");
}

// qxmetabase.dll of this build.
std::wstring BuiltServer()
{
    const char* v = std::getenv("QX_BINARY_DIR");
    if (!v || !*v) throw std::runtime_error("QX_BINARY_DIR is not set (run through ctest)");
    std::wstring w = L"Z:";
    for (const char* p = v; *p; ++p) w += *p == '/' ? L'\\' : static_cast<wchar_t>(*p);
    return w + L"\\testing\\metabase\\qxmetabase.dll";
}

}  // namespace

MetabaseEmulator::MetabaseEmulator(const std::wstring& file, const std::wstring& server) : file_(file)
{
    wchar_t old[512] = L"";
    DWORD size = sizeof old;
    // A run that died while registered leaves the emulator there.
    hadProvider_ = RegGetValueW(HKEY_LOCAL_MACHINE, kProviderKey, nullptr, RRF_RT_REG_SZ, nullptr, old, &size) ==
                       ERROR_SUCCESS && std::wstring(old) != qxmb::kEmulatorProgId;
    oldProvider_ = old;
    const std::pair<std::wstring, std::wstring> keys[] = {
        {kClassKey + L"\\InprocServer32", server.empty() ? BuiltServer() : server}, {kClassKey + L"\\ProgID", qxmb::kEmulatorProgId},
        {kProgIdKey + L"\\CLSID", qxmb::kEmulatorClassText}, {kProviderKey, qxmb::kEmulatorProgId}};
    for (const auto& k : keys) SetValue(k.first, k.second);
    SetValue(kClassKey + L"\\InprocServer32", L"Both", L"ThreadingModel");
    SetValue(kClassKey, file_, L"Metabase");
}

MetabaseEmulator::~MetabaseEmulator()
{
    if (hadProvider_) SetValue(kProviderKey, oldProvider_);
    else RegDeleteTreeW(HKEY_LOCAL_MACHINE, kProviderKey), RegDeleteKeyW(HKEY_LOCAL_MACHINE, kProviderKey);
    for (const std::wstring& key : {kProgIdKey, kClassKey})
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str()), RegDeleteKeyW(HKEY_LOCAL_MACHINE, key.c_str());
}

std::vector<std::wstring> MetabaseEmulator::Changes() const
{
    std::vector<std::wstring> lines;
    std::ifstream in(qxmb::ChangeLogPath(file_).c_str(), std::ios::binary);
    for (std::string line; std::getline(in, line);)
        lines.push_back(qxmb::Wide(line.substr(0, line.size() - (!line.empty() && line.back() == '\r'))));
    return lines;
}

}  // namespace qxtest
