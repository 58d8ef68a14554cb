// The class of the metabase emulator and the names it is registered under.
#pragma once

#include <windows.h>

namespace qxmb {

// {6A1C3E57-9B2D-4F48-8E0A-5D7C2B19F463}
constexpr CLSID kEmulatorClass = {0x6A1C3E57, 0x9B2D, 0x4F48, {0x8E, 0x0A, 0x5D, 0x7C, 0x2B, 0x19, 0xF4, 0x63}};
constexpr const wchar_t* kEmulatorClassText = L"{6A1C3E57-9B2D-4F48-8E0A-5D7C2B19F463}";
constexpr const wchar_t* kEmulatorProgId = L"QxTest.Metabase";

}  // namespace qxmb
