#include "pal/msgcatalog.h"

#include <cstdio>

#include "pal/exception.h"
#include "pal/strings.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <cstring>
#endif

namespace PAL {

MsgCatalog::MsgCatalog(std::wstring baseName) : baseName_(std::move(baseName)) {}

MsgCatalog::~MsgCatalog()
{
#ifdef _WIN32
    if (module_) FreeLibrary(static_cast<HMODULE>(module_));
#endif
}

MsgCatalog& MsgCatalog::System()
{
    static MsgCatalog catalog{std::wstring()};
    return catalog;
}

void MsgCatalog::Load()
{
#ifdef _WIN32
    if (loaded_ || baseName_.empty()) return;
    wchar_t lang[8];
    swprintf(lang, 8, L"%04x", static_cast<unsigned>(GetUserDefaultLangID()));
    for (const wchar_t* l : {static_cast<const wchar_t*>(lang), L"0809"}) {
        std::wstring name = DirectoryPrefix() + baseName_ + l + L".dll";
        HMODULE m = LoadLibraryExW(name.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
        if (m) {
            module_ = m;
            loaded_ = true;
            return;
        }
    }
#endif
}

#ifdef _WIN32
static std::wstring FormatFrom(DWORD flags, const void* source, uint32_t id)
{
    wchar_t* buffer = nullptr;
    DWORD n = FormatMessageW(flags, source, id, 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    std::wstring text;
    if (n && buffer) text = TrimRight(std::wstring(buffer, n));
    if (buffer) LocalFree(buffer);
    return text;
}
#endif

std::wstring MsgCatalog::GetText(uint32_t id)
{
    Mutex::Guard guard(lock_);
    Load();
    std::wstring text;
#ifdef _WIN32
    if (module_)
        text = FormatFrom(0xB00, module_, id);
    if (text.empty())
        text = FormatFrom(0x1300, nullptr, id);
#endif
    if (text.empty()) {
        wchar_t buf[64];
        swprintf(buf, 64, L"Message 0x%x not found in the catalog.", id);
        text = buf;
    }
    return text;
}

std::wstring WindowsError::Text() const
{
    return MsgCatalog::System().GetText(static_cast<uint32_t>(code_));
}

}  // namespace PAL
