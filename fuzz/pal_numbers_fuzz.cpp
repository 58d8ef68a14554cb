// The platform layer's number parsers. The first byte chooses the parser and
// the base, the rest is the text. A text either gives a number, which
// written in the same base gives the same number back, or fails with a
// conversion error of code 1 or 2, nothing else.
#include <iomanip>

#include "fuzz_support.h"
#include "pal/exception.h"
#include "pal/strings.h"

QX_FUZZ_TARGET
{
    if (input.empty() || input.size() > 64) return;
    const int base = (input[0] & 4) ? 16 : 10, parser = input[0] & 3;
    const bool isSigned = parser >= 2;
    const auto parse = [&](const std::wstring& text) -> int64_t {
        return parser == 0 ? PAL::StrToUShort(text, base)
               : parser == 1 ? int64_t(PAL::StrToULong(text, base))
               : parser == 2 ? PAL::StrToLong(text, base)
                             : PAL::StrToInt(text, base);
    };
    int64_t value = 0;
    try {
        value = parse(qxfuzz::wide(input.substr(1)));
    } catch (const PAL::StrCvtError& e) {
        QX_LAW(e.Code() == PAL::StrCvtError::InvalidInput || e.Code() == PAL::StrCvtError::Incomplete,
               "a refused number fails with code 1 or 2", input.substr(1), std::to_string(e.Code()));
        return;
    }
    // Signed types in base 16 keep the bits of the unsigned reading.
    std::wostringstream again;
    if (isSigned && base == 10) again << value;
    else again << std::setbase(base) << uint64_t(isSigned ? uint32_t(value) : value);
    // A written number that is refused escapes as a StrCvtError: a crash libFuzzer keeps.
    const int64_t back = parse(again.str());
    QX_LAW(back == value, "a written number parses to itself", std::to_string(value), std::to_string(back));
}
