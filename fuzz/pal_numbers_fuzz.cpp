// The platform layer's number parsers. The first byte chooses the parser and
// the base, the rest is the text. A text either gives a number, which
// written in the same base gives the same number back, or fails with a
// conversion error of code 1 or 2, nothing else.
#include <cstdint>
#include <iomanip>
#include <sstream>
#include <string>

#include "fuzz_support.h"
#include "pal/exception.h"
#include "pal/strings.h"

namespace {

std::wstring written(uint64_t bits, int base)
{
    std::wostringstream out;
    out << std::setbase(base) << bits;
    return out.str();
}

template <class Parse>
void check(const std::wstring& text, int base, Parse parse, bool isSigned)
{
    int64_t value = 0;
    try {
        value = parse(text, base);
    } catch (const PAL::StrCvtError& e) {
        if (e.Code() != PAL::StrCvtError::InvalidInput && e.Code() != PAL::StrCvtError::Incomplete)
            qxfuzz::broken("a refused number fails with code 1 or 2", std::string(text.begin(), text.end()),
                           std::to_string(e.Code()));
        return;
    }
    // Signed types in base 16 keep the bits of the unsigned reading.
    std::wstring again;
    if (isSigned && base == 10) again = std::to_wstring(value);
    else again = written(static_cast<uint64_t>(isSigned ? static_cast<uint32_t>(value) : value), base);
    int64_t back = 0;
    try {
        back = parse(again, base);
    } catch (const PAL::StrCvtError&) {
        qxfuzz::broken("a written number parses", std::string(again.begin(), again.end()), "refused");
    }
    if (back != value)
        qxfuzz::broken("a written number parses to itself", std::to_string(value), std::to_string(back));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1 || size > 64) return 0;
    std::wstring text;
    for (size_t i = 1; i < size; ++i) text += static_cast<wchar_t>(data[i]);
    const int base = (data[0] & 4) ? 16 : 10;
    switch (data[0] & 3) {
    case 0: check(text, base, [](const std::wstring& t, int b) -> int64_t { return PAL::StrToUShort(t, b); }, false); break;
    case 1: check(text, base, [](const std::wstring& t, int b) -> int64_t { return PAL::StrToULong(t, b); }, false); break;
    case 2: check(text, base, [](const std::wstring& t, int b) -> int64_t { return PAL::StrToLong(t, b); }, true); break;
    default: check(text, base, [](const std::wstring& t, int b) -> int64_t { return PAL::StrToInt(t, b); }, true); break;
    }
    return 0;
}
