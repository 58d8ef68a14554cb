// Merging access entries into the access list of a file or directory.
#pragma once

#include <windows.h>
#include <aclapi.h>

#include <deque>
#include <string>
#include <vector>

namespace msiu {

// Entries to merge into a DACL. Each record points at its trustee's name;
// the names are the list's own copies and keep their addresses while the
// list grows.
class ExplicitAccessList {
public:
    void Add(const std::wstring& trustee, DWORD rights, ACCESS_MODE mode, DWORD inheritance);
    void Clear();

    size_t Count() const { return entries_.size(); }
    const EXPLICIT_ACCESS_W* Entries() const { return entries_.data(); }
    EXPLICIT_ACCESS_W* Entries() { return entries_.data(); }

private:
    std::vector<EXPLICIT_ACCESS_W> entries_;
    std::deque<std::wstring> names_;
};

// Merges `entries` into the DACL of `path` by the platform's rules and writes
// the result; with skipIfUnchanged, a merged list equal byte for byte to the
// old one is not written at all.
void MergeDacl(const std::wstring& path, SE_OBJECT_TYPE objectType, ExplicitAccessList& entries,
               bool skipIfUnchanged);

namespace detail {
// The platform's security calls, replaceable for tests: Wine keeps no access
// list that it is given, so a test that wants to see what is written, or a
// second run over what was written, puts a recorder here.
struct SecurityCalls {
    DWORD(WINAPI* getNamedSecurityInfo)(LPCWSTR, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID*, PSID*, PACL*, PACL*,
                                        PSECURITY_DESCRIPTOR*);
    DWORD(WINAPI* setEntriesInAcl)(ULONG, PEXPLICIT_ACCESS_W, PACL, PACL*);
    BOOL(WINAPI* getAclInformation)(PACL, LPVOID, DWORD, ACL_INFORMATION_CLASS);
    DWORD(WINAPI* setNamedSecurityInfo)(LPWSTR, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID, PSID, PACL, PACL);
};
SecurityCalls PlatformSecurityCalls();
// Returns the calls in use before.
SecurityCalls SetSecurityCalls(const SecurityCalls& calls);
}  // namespace detail

}  // namespace msiu
