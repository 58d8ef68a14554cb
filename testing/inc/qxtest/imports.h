// Swaps what this program calls for one function that it imports from a
// system DLL, for failures that no real input can produce (an installer or
// WinInet call that only fails when the machine is out of memory or handles).
// The code under test is linked into the test program, so its calls go
// through this program's import table.
#pragma once

#include <windows.h>

#include <cstring>

namespace qxtest {

// Points the import `function` of `dll` at `replacement` until destroyed.
class ImportSwap {
public:
    ImportSwap(const char* dll, const char* function, const void* replacement)
    {
        auto* base = reinterpret_cast<BYTE*>(GetModuleHandleW(nullptr));
        auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew);
        const auto& imports = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        for (auto* d = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress); d->Name && !slot_; ++d) {
            if (_stricmp(reinterpret_cast<char*>(base + d->Name), dll) != 0) continue;
            auto* names = reinterpret_cast<IMAGE_THUNK_DATA*>(base + d->OriginalFirstThunk);
            auto* slots = reinterpret_cast<IMAGE_THUNK_DATA*>(base + d->FirstThunk);
            for (; names->u1.AddressOfData && !slot_; ++names, ++slots) {
                const auto* byName = reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
                if (!IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal) && std::strcmp(reinterpret_cast<const char*>(byName->Name), function) == 0)
                    slot_ = &slots->u1.Function;
            }
        }
        if (slot_) original_ = Set(reinterpret_cast<ULONG_PTR>(replacement));
    }
    ~ImportSwap() { if (slot_) Set(original_); }
    bool Found() const { return slot_ != nullptr; }

private:
    ULONG_PTR Set(ULONG_PTR value)
    {
        DWORD protect = 0;
        VirtualProtect(slot_, sizeof(*slot_), PAGE_READWRITE, &protect);
        const ULONG_PTR previous = InterlockedExchange64(reinterpret_cast<LONG64*>(slot_), static_cast<LONG64>(value));
        VirtualProtect(slot_, sizeof(*slot_), protect, &protect);
        return previous;
    }
    ULONG_PTR* slot_ = nullptr;
    ULONG_PTR original_ = 0;
};

}  // namespace qxtest
