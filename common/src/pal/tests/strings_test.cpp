// Trimming, comparing and number parsing: the same table natively and under Wine.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>

#include "pal/exception.h"
#include "pal/strings.h"

namespace {

TEST(Trim, RemovesOnlyBlanksTabsAndLineEndsAtTheRightEnds)
{
    struct Case {
        std::wstring text, left, right, both;
    };
    const Case cases[] = {
        {L"", L"", L"", L""},
        {L" \t\r\n", L"", L"", L""},
        {L"x", L"x", L"x", L"x"},
        {L" \tx y\r\n", L"x y\r\n", L" \tx y", L"x y"},
        {L"\vx\f", L"\vx\f", L"\vx\f", L"\vx\f"},  // other white space stays
        {L"a \n b", L"a \n b", L"a \n b", L"a \n b"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(PAL::TrimLeft(c.text), c.left);
        EXPECT_EQ(PAL::TrimRight(c.text), c.right);
        EXPECT_EQ(PAL::Trim(c.text), c.both);
        const std::string narrow(c.text.begin(), c.text.end());
        EXPECT_EQ(PAL::Trim(narrow), std::string(c.both.begin(), c.both.end()));
        EXPECT_EQ(PAL::TrimLeft(narrow), std::string(c.left.begin(), c.left.end()));
        EXPECT_EQ(PAL::TrimRight(narrow), std::string(c.right.begin(), c.right.end()));
    }
}

TEST(CompareNoCase, EqualIgnoringCaseAndOrderedOtherwise)
{
    EXPECT_EQ(PAL::CompareNoCase(L"ApacheWeb", L"APACHEweb"), 0);
    EXPECT_EQ(PAL::CompareNoCase(L"", L""), 0);
    EXPECT_LT(PAL::CompareNoCase(L"abc", L"ABD"), 0);
    EXPECT_GT(PAL::CompareNoCase(L"B", L"a"), 0);
    EXPECT_LT(PAL::CompareNoCase(L"ab", L"ABC"), 0);
    EXPECT_EQ(PAL::ToLower(L"Mixed Case 12"), L"mixed case 12");
}

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

// Every number parser against tests/numbers.txt: a row is the parser, the
// base, the text and "value N" or the code of the StrCvtError it throws.
// <TAB>, <CR> and <LF> stand for those characters; a text ends at " | ".
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
        for (auto [code, c] : {std::pair{"<TAB>", '\t'}, {"<CR>", '\r'}, {"<LF>", '\n'}})
            for (size_t at; (at = text.find(code)) != std::string::npos;) text.replace(at, std::strlen(code), 1, c);
        const std::wstring wide(text.begin(), text.end());
        std::string got;
        try {
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
