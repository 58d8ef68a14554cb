// A stand-in for the part of the platform's security store that Wine lacks:
// Wine makes each directory's access list up from its Unix mode bits and
// keeps nothing that it is given (measured). While a store lives, every DACL
// written through msiu's security calls is recorded and handed back by the
// next read of the same path, as Windows would; merging stays the
// platform's own. Failures of the single calls can be asked for.
#pragma once

#include <windows.h>
#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "msiu/acl.h"

namespace qxtest {

class AclStore {
public:
    struct Write { std::wstring path; std::vector<BYTE> dacl; };

    AclStore()
        : previous_(msiu::detail::SetSecurityCalls({&Get, msiu::detail::PlatformSecurityCalls().setEntriesInAcl, &Info, &Set}))
    {
        current_ = this;
    }
    ~AclStore() { msiu::detail::SetSecurityCalls(previous_); }

    std::vector<Write> writes;       // every DACL written, in order
    std::vector<std::wstring> reads;  // every path read, as given
    int failInfoCall = 0;             // n > 0: the n-th GetAclInformation fails
    DWORD failSet = 0;                // non-zero: SetNamedSecurityInfoW fails with it

    // Access entries of a DACL, as (SID text, mask, flags).
    struct Ace {
        std::wstring sid; DWORD mask; BYTE flags;
        bool operator==(const Ace& o) const { return sid == o.sid && mask == o.mask && flags == o.flags; }
    };
    static std::vector<Ace> Aces(const std::vector<BYTE>& bytes)
    {
        std::vector<Ace> out;
        PACL acl = reinterpret_cast<PACL>(const_cast<BYTE*>(bytes.data()));
        ACCESS_ALLOWED_ACE* allowed = nullptr;
        for (DWORD i = 0; i < acl->AceCount && GetAce(acl, i, reinterpret_cast<void**>(&allowed)); ++i) {
            wchar_t* text = nullptr;
            ConvertSidToStringSidW(reinterpret_cast<PSID>(&allowed->SidStart), &text);
            out.push_back({text ? text : L"", allowed->Mask, allowed->Header.AceFlags});
            LocalFree(text);
        }
        return out;
    }

private:
    static std::wstring Key(std::wstring k)
    {
        while (!k.empty() && k.back() == L'\\') k.pop_back();
        CharLowerBuffW(&k[0], static_cast<DWORD>(k.size()));
        return k;
    }

    static DWORD WINAPI Get(LPCWSTR path, SE_OBJECT_TYPE type, SECURITY_INFORMATION info, PSID* owner, PSID* group,
                            PACL* dacl, PACL* sacl, PSECURITY_DESCRIPTOR* descriptor)
    {
        current_->reads.push_back(path);
        auto stored = current_->store_.find(Key(path));
        if (stored == current_->store_.end())
            return current_->previous_.getNamedSecurityInfo(path, type, info, owner, group, dacl, sacl, descriptor);
        // The caller frees the descriptor only; here it is the DACL itself.
        *descriptor = *dacl = static_cast<PACL>(LocalAlloc(LMEM_FIXED, stored->second.size()));
        std::copy(stored->second.begin(), stored->second.end(), reinterpret_cast<BYTE*>(*dacl));
        return ERROR_SUCCESS;
    }

    static BOOL WINAPI Info(PACL acl, LPVOID info, DWORD size, ACL_INFORMATION_CLASS cls)
    {
        if (--current_->failInfoCall) return current_->previous_.getAclInformation(acl, info, size, cls);
        return SetLastError(ERROR_INVALID_ACL), FALSE;
    }

    static DWORD WINAPI Set(LPWSTR path, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID, PSID, PACL dacl, PACL)
    {
        if (current_->failSet) return current_->failSet;
        current_->writes.push_back({path, {reinterpret_cast<BYTE*>(dacl), reinterpret_cast<BYTE*>(dacl) + dacl->AclSize}});
        current_->store_[Key(path)] = current_->writes.back().dacl;
        return ERROR_SUCCESS;
    }

    static inline AclStore* current_ = nullptr;
    msiu::detail::SecurityCalls previous_;
    std::map<std::wstring, std::vector<BYTE>> store_;
};

}  // namespace qxtest
