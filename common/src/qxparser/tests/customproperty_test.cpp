#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orvane/qx_customproperty.h"

using namespace orvane;

namespace {

struct Entry {
    std::string name, delimiter, value;
    bool operator==(const Entry& o) const
    {
        return name == o.name && delimiter == o.delimiter && value == o.value;
    }
};

std::ostream& operator<<(std::ostream& os, const Entry& e)
{
    return os << "[" << e.name << "|" << e.delimiter << "|" << e.value << "]";
}

std::vector<Entry> entries(const qx_customproperty& p)
{
    std::vector<Entry> out;
    for (int i = 0; i < p.lineCount(); ++i) out.push_back({p.getName(i), p.getDelimiter(i), p.getValue(i)});
    return out;
}

}  // namespace

TEST(ParseLine, SplitsNameDelimiterAndValue)
{
    struct Case {
        const char* line;
        Entry expected;
    };
    const Case cases[] = {
        {"", {"", "", ""}},
        {"Key value", {"Key", " ", "value"}},
        {"Key : value", {"Key", " : ", "value"}},
        {"FutureOption  :  7", {"FutureOption", "  :  ", "7"}},
        {"Key:value", {"Key", ":", "value"}},
        {"Key\tvalue with blanks  ", {"Key", "\t", "value with blanks  "}},
        {"  \tKey value\r\n", {"Key", " ", "value"}},
        {"KeyOnly", {"KeyOnly", "", ""}},
        {"Key   ", {"Key", "   ", ""}},
        {"# a comment: with colon", {"", "", "# a comment: with colon"}},
        {"   #indented comment", {"", "", "#indented comment"}},
        {"   ", {"", "", ""}},
        {":value", {"", ":", "value"}},
    };
    for (const Case& c : cases) {
        qx_customproperty p;
        p.parseLine(c.line);
        ASSERT_EQ(p.lineCount(), 1) << c.line;
        EXPECT_EQ(entries(p)[0], c.expected) << c.line;
    }
    qx_customproperty p;
    p.parseLine(static_cast<const char*>(nullptr));
    EXPECT_EQ(entries(p), (std::vector<Entry>{{"", "", ""}}));
}

TEST(ParseLine, AtFrontPutsTheEntryBeforeAllOthers)
{
    qx_customproperty p;
    p.parseLine("B 2");
    p.parseLine("A 1", true);
    EXPECT_EQ(entries(p), (std::vector<Entry>{{"A", " ", "1"}, {"B", " ", "2"}}));
}

TEST(CustomProperty, SetValueGivesABareKeyTheDefaultDelimiter)
{
    qx_customproperty p;
    p.setDefaultDelimiter("\t");
    p.parseLine("Bare");
    p.parseLine("Key : old");
    p.parseLine("# comment");
    p.setValue(0, "x");
    p.setValue(1, "new");
    p.setValue(2, "# other");
    p.setValue(7, "ignored");
    EXPECT_EQ(entries(p), (std::vector<Entry>{{"Bare", "\t", "x"}, {"Key", " : ", "new"}, {"", "", "# other"}}));
}

TEST(CustomProperty, DefaultDelimiterFallsBackToABlank)
{
    qx_customproperty p;
    for (const char* text : {static_cast<const char*>(nullptr), ""}) {
        p.setDefaultDelimiter("=");
        p.setDefaultDelimiter(text);
        EXPECT_EQ(p.getDefaultDelimiter(), " ");
    }
}

TEST(CustomProperty, SetPropertyReplacesFirstOrAppends)
{
    qx_customproperty p;
    p.setDefaultDelimiter("=");
    p.parseLine("A 1");
    p.parseLine("A 2");
    p.setProperty("A", "9");
    p.setProperty("a", "lower");  // names match with their case
    p.setBoolProperty("Flag", true, true);
    p.setBoolProperty("Flag", false);
    EXPECT_EQ(entries(p), (std::vector<Entry>{{"Flag", "=", "0"}, {"A", " ", "9"}, {"A", " ", "2"}, {"a", "=", "lower"}}));
    EXPECT_EQ(p.findName("A"), 1);
    EXPECT_EQ(p.findName("A", 2), 2);
    EXPECT_EQ(p.findName("A", 3), -1);
    p.removeProperty("A");
    EXPECT_EQ(entries(p), (std::vector<Entry>{{"Flag", "=", "0"}, {"a", "=", "lower"}}));
}

TEST(CustomProperty, UncommentFindsTheDelimiterBehindHashesAndBlanks)
{
    struct Case {
        const char* line;
        const char* delimiter;
        bool result;
        Entry expected;
    };
    const Case cases[] = {
        {"#Key value", nullptr, true, {"Key", " ", "value"}},
        {"## \t Key value more", nullptr, true, {"Key", " ", "value more"}},
        {"#Key=value", "=", true, {"Key", "=", "value"}},
        {"#KeyOnly", nullptr, false, {"", "", "#KeyOnly"}},
        {"#", nullptr, false, {"", "", "#"}},
    };
    for (const Case& c : cases) {
        qx_customproperty p;
        p.parseLine(c.line);
        EXPECT_EQ(p.uncomment(0, c.delimiter), c.result) << c.line;
        EXPECT_EQ(entries(p)[0], c.expected) << c.line;
    }
    qx_customproperty p;
    EXPECT_FALSE(p.uncomment(0));
}

TEST(CustomProperty, ClearAndCopyLines)
{
    qx_customproperty a, b;
    a.setDefaultDelimiter("\t");
    a.parseLine("K v");
    b.copyLines(a);
    EXPECT_EQ(entries(b), entries(a));
    EXPECT_EQ(b.getDefaultDelimiter(), "\t");
    b.clearLines();
    EXPECT_EQ(b.lineCount(), 0);
    EXPECT_EQ(b.getDefaultDelimiter(), " ");
    EXPECT_EQ(b.getName(0), "");
}
