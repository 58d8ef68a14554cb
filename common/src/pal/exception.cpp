#include "pal/exception.h"

namespace PAL {

std::wstring StrCvtError::CodeText(int32_t code)
{
    switch (code) {
    case NoError: return L"No error";
    case InvalidInput: return L"Invalid input";
    case Incomplete: return L"Parsing of input incomplete";
    default: return L"Unknown error " + std::to_wstring(code);
    }
}

}  // namespace PAL
