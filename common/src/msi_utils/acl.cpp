#include "msiu/acl.h"

#include <cstring>
#include <memory>

#include "msiu/error.h"

namespace msiu {

namespace detail {

SecurityCalls PlatformSecurityCalls()
{
    return {&GetNamedSecurityInfoW, &SetEntriesInAclW, &GetAclInformation, &SetNamedSecurityInfoW};
}

namespace {
SecurityCalls g_calls = PlatformSecurityCalls();
}

SecurityCalls SetSecurityCalls(const SecurityCalls& calls)
{
    const SecurityCalls previous = g_calls;
    g_calls = calls;
    return previous;
}

}  // namespace detail

void ExplicitAccessList::Add(const std::wstring& trustee, DWORD rights, ACCESS_MODE mode, DWORD inheritance)
{
    names_.push_back(trustee);
    EXPLICIT_ACCESS_W entry;
    std::memset(&entry, 0, sizeof entry);
    BuildExplicitAccessWithNameW(&entry, &names_.back()[0], rights, mode, inheritance);
    entries_.push_back(entry);
}

void ExplicitAccessList::Clear()
{
    entries_.clear();
    names_.clear();
}

namespace {

struct LocalFreer {
    void operator()(void* p) const { LocalFree(p); }
};

DWORD BytesInUse(PACL acl, const wchar_t* failure)
{
    ACL_SIZE_INFORMATION info = {};
    if (!acl || !detail::g_calls.getAclInformation(acl, &info, sizeof info, AclSizeInformation))
        ThrowError(HResultFromWin32(static_cast<long>(GetLastError())), L"%s", failure);
    return info.AclBytesInUse;
}

}  // namespace

void MergeDacl(const std::wstring& path, SE_OBJECT_TYPE objectType, ExplicitAccessList& entries,
               bool skipIfUnchanged)
{
    const detail::SecurityCalls& calls = detail::g_calls;
    PACL oldDacl = nullptr;
    PSECURITY_DESCRIPTOR descriptorRaw = nullptr;
    DWORD result = calls.getNamedSecurityInfo(path.c_str(), objectType, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                              &oldDacl, nullptr, &descriptorRaw);
    std::unique_ptr<void, LocalFreer> descriptor(descriptorRaw);
    if (result != ERROR_SUCCESS)
        ThrowError(HResultFromWin32(static_cast<long>(result)), L"Failed to retrieve DACL for: %s", path.c_str());

    PACL newDaclRaw = nullptr;
    result = calls.setEntriesInAcl(static_cast<ULONG>(entries.Count()), entries.Entries(), oldDacl, &newDaclRaw);
    std::unique_ptr<void, LocalFreer> newDacl(newDaclRaw);
    if (result != ERROR_SUCCESS)
        ThrowError(HResultFromWin32(static_cast<long>(result)), L"Failed to set entries in DACL for: %s", path.c_str());

    if (skipIfUnchanged) {
        const DWORD oldBytes = BytesInUse(oldDacl, L"Unable to get size information from old DACL.");
        const DWORD newBytes = BytesInUse(newDaclRaw, L"Unable to get size information from new DACL.");
        // A repair or a second run leaves the directory untouched.
        if (oldBytes == newBytes && std::memcmp(oldDacl, newDaclRaw, oldBytes) == 0) return;
    }

    result = calls.setNamedSecurityInfo(const_cast<LPWSTR>(path.c_str()), objectType, DACL_SECURITY_INFORMATION,
                                        nullptr, nullptr, newDaclRaw, nullptr);
    if (result != ERROR_SUCCESS)
        ThrowError(HResultFromWin32(static_cast<long>(result)), L"Failed to apply new DACL to: %s", path.c_str());
}

}  // namespace msiu
