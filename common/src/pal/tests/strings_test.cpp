// Trimming, comparing and number parsing: the same table natively and under Wine.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>

#include "pal/exception.h"
#include "pal/strings.h"

namespace {

TEST(StrCvtError, TextNamesTheCode)
{
    const std::pair<int32_t, std::wstring> cases[] = {
        {0, L"Conversion error: No error"},
        {1, L"Conversion error: Invalid input"},
        {2, L"Conversion error: Parsing of input incomplete"},
        {3, L"Conversion error: Unknown error 3"},
        {-7, L"Conversion error: Unknown error -7"},
    };
    for (const auto& c : cases) {
        PAL::StrCvtError e(1, "string", c.first);
        EXPECT_EQ(e.Text(), c.second);
        EXPECT_EQ(e.Value(), 0);
    }
    EXPECT_EQ(PAL::AssertFailure(1, "x", L"ptr == m_ptr").Text(), L"Assert Failure: ptr == m_ptr");
}

// Every number parser, trim and case rule against tests/numbers.txt: a row is
// the parser, the base, the text and "value N" or the code of the StrCvtError
// it throws, or "text [T]" for the text functions (narrow and wide alike).
// <TAB>, <CR>, <LF>, <VT> and <FF> stand for those characters; a text ends at " | ".
TEST(NumberParsers, ValuesAndExactFailureCodes)
{
    std::ifstream table(QX_PAL_NUMBERS);
    int rows = 0;
    for (std::string line; std::getline(table, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream in(line);
        std::string parser, text, expected;
        int base = 0;
        in >> parser >> base;
        std::getline(in, text);
        expected = text.substr(text.find(" | ") + 3);
        text = text.substr(1, text.find(" | ") - 1);
        for (std::string* s : {&text, &expected})
            for (auto [code, c] : {std::pair{"<TAB>", '\t'}, {"<CR>", '\r'}, {"<LF>", '\n'}, {"<VT>", '\v'}, {"<FF>", '\f'}})
                for (size_t at; (at = s->find(code)) != std::string::npos;) s->replace(at, std::strlen(code), 1, c);
        const std::wstring wide(text.begin(), text.end());
        std::string got;
        if (parser.rfind("trim", 0) == 0) {
            auto trim = [&](const auto& t) { return parser == "trim" ? PAL::Trim(t) : parser == "trimleft" ? PAL::TrimLeft(t) : PAL::TrimRight(t); };
            const std::wstring w = trim(wide);
            EXPECT_EQ(std::string(w.begin(), w.end()), trim(text)) << line;
            got = "text [" + trim(text) + "]";
        } else if (parser == "lower" || parser == "compare") {  // compare: the sign for "A B"
            const std::wstring w = PAL::ToLower(wide);
            const int c = PAL::CompareNoCase(wide.substr(0, wide.find(L' ')), wide.substr(wide.find(L' ') + 1));
            got = parser == "lower" ? "text [" + std::string(w.begin(), w.end()) + "]" : "value " + std::to_string((c > 0) - (c < 0));
        } else try {
            int64_t v = parser == "ushort" ? static_cast<int64_t>(PAL::StrToUShort(wide, base))
                        : parser == "long"   ? static_cast<int64_t>(PAL::StrToLong(wide, base))
                        : parser == "ulong"  ? static_cast<int64_t>(PAL::StrToULong(wide, base))
                        : parser == "int"    ? static_cast<int64_t>(PAL::StrToInt(wide, base))
                                             : static_cast<int64_t>(PAL::StrToBool(wide, base != 0));
            got = "value " + std::to_string(v);
        } catch (const PAL::StrCvtError& e) {
            EXPECT_STREQ(e.File(), "string");
            got = "code " + std::to_string(e.Code());
        }
        EXPECT_EQ(got, expected) << line;
        ++rows;
    }
    EXPECT_GT(rows, 40);
}

}  // namespace
