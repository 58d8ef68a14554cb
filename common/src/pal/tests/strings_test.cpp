// Trimming, comparing and number parsing: the same table natively and under Wine.
#include <gtest/gtest.h>

#include <functional>
#include <variant>

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

// The value a parser gives, or the code of the StrCvtError it throws.
using Outcome = std::variant<int64_t, int32_t>;
Outcome Value(int64_t v) { return Outcome(std::in_place_index<0>, v); }
Outcome Code(int32_t c) { return Outcome(std::in_place_index<1>, c); }

template <class F>
Outcome Attempt(F f)
{
    try {
        return Value(static_cast<int64_t>(f()));
    } catch (const PAL::StrCvtError& e) {
        EXPECT_STREQ(e.File(), "string");
        return Code(e.Code());
    }
}

std::string Show(const Outcome& o)
{
    return o.index() == 0 ? "value " + std::to_string(std::get<0>(o)) : "code " + std::to_string(std::get<1>(o));
}

TEST(NumberParsers, ValuesAndExactFailureCodes)
{
    using P = std::function<int64_t(const std::wstring&, int)>;
    const P ushort = [](const std::wstring& t, int b) { return PAL::StrToUShort(t, b); };
    const P slong = [](const std::wstring& t, int b) { return PAL::StrToLong(t, b); };
    const P ulong = [](const std::wstring& t, int b) { return PAL::StrToULong(t, b); };
    const P sint = [](const std::wstring& t, int b) { return PAL::StrToInt(t, b); };
    struct Case {
        const char* name;
        const P* parse;
        std::wstring text;
        int base;
        Outcome expected;
    };
    const Case cases[] = {
        {"ushort max", &ushort, L"65535", 10, Value(65535)},
        {"ushort over", &ushort, L"65536", 10, Code(1)},
        {"ushort far over", &ushort, L"4294967295", 10, Code(1)},
        {"ushort beyond 32 bits", &ushort, L"4294967296", 10, Code(1)},
        {"ushort blanks around", &ushort, L" \t8080\r\n", 10, Value(8080)},
        {"ushort zero", &ushort, L"0", 10, Value(0)},
        {"ushort hex", &ushort, L"ffff", 16, Value(65535)},
        {"ushort trailing", &ushort, L"12x", 10, Code(2)},
        {"ushort leading", &ushort, L"x12", 10, Code(1)},
        {"ushort empty", &ushort, L"", 10, Code(1)},
        {"ushort blanks only", &ushort, L"   ", 10, Code(1)},
        {"ushort inner blank", &ushort, L"80 80", 10, Code(2)},
        {"long negative", &slong, L"-2147483648", 10, Value(-2147483648LL)},
        {"long over", &slong, L"2147483648", 10, Code(1)},
        {"long plus sign", &slong, L"+42", 10, Value(42)},
        {"long hex keeps bits", &slong, L"FFFFFFFF", 16, Value(-1)},
        {"long hex over", &slong, L"100000000", 16, Code(1)},
        {"long decimal point", &slong, L"1.5", 10, Code(2)},
        {"ulong max", &ulong, L"4294967295", 10, Value(4294967295LL)},
        {"ulong over", &ulong, L"4294967296", 10, Code(1)},
        {"ulong trailing", &ulong, L"7 ms", 10, Code(2)},
        {"ulong not a digit of the base", &ulong, L"9", 8, Code(1)},
        {"ulong octal", &ulong, L"17", 8, Value(15)},
        {"int min", &sint, L"-2147483648", 10, Value(-2147483648LL)},
        {"int hex keeps bits", &sint, L"80000000", 16, Value(-2147483648LL)},
        {"int sign only", &sint, L"-", 10, Code(1)},
        {"int empty", &sint, L"", 10, Code(1)},
    };
    for (const auto& c : cases) {
        const Outcome got = Attempt([&] { return (*c.parse)(c.text, c.base); });
        EXPECT_EQ(Show(got), Show(c.expected)) << c.name;
    }
}

TEST(NumberParsers, BooleansWithAndWithoutNames)
{
    struct Case {
        std::wstring text;
        bool allowNames;
        Outcome expected;
    };
    const Case cases[] = {
        {L"1", false, Value(1)},     {L"0", false, Value(0)},    {L" 1 ", false, Value(1)},
        {L"2", false, Code(1)},      {L"true", false, Code(1)},  {L"", false, Code(1)},
        {L"1x", false, Code(2)},     {L"true", true, Value(1)},  {L"false", true, Value(0)},
        {L"1", true, Value(1)},      {L"0", true, Value(0)},     {L"2", true, Code(1)},
        {L"yes", true, Code(1)},     {L"True", true, Code(1)},   {L"", true, Code(1)},
        {L"truex", true, Code(2)},   {L"\ttrue\n", true, Value(1)},
    };
    for (const auto& c : cases) {
        const Outcome got = Attempt([&] { return PAL::StrToBool(c.text, c.allowNames); });
        EXPECT_EQ(Show(got), Show(c.expected))
            << std::string(c.text.begin(), c.text.end()) << " allowNames=" << c.allowNames;
    }
}

}  // namespace
