// The regular expression interface must judge a pattern the same way on
// every platform: natively it is regcomp, under Windows the standard
// library's basic grammar. This table runs on both.
#include <gtest/gtest.h>

#include <string>

#include "orvane/qx_errors.h"
#include "orvane/qx_parserules.h"
#include "orvane/qx_regex.h"

using namespace orvane;

TEST(Regex, SameCompileResultAndSubExpressionCountOnEveryPlatform)
{
    struct Case {
        std::string pattern;
        int groups;  // -1: doesn't compile
    };
    auto nested = [](int n) {
        std::string p;
        for (int i = 0; i < n; ++i) p = "\\(" + p + "\\)";
        return p.insert(2 * n, "a");
    };
    const Case cases[] = {
        // The shapes real parse rules have.
        {">\\([^ ]*\\)", 1},
        {">sp|\\([^|]*\\)|", 1},
        {"\\*\\(.*\\)", 1},
        {"^>[A-Z0-9]*|\\([^ ]*\\)", 1},
        {">[^ ]* \\(.*\\)", 1},
        {"^\\(GI|[0-9]*\\)", 1},
        {"\\([^]]*\\)", 1},
        {"[[:alpha:]]\\([0-9]*\\)", 1},
        // Escaped ordinary characters stand for themselves.
        {"\\[\\([^]]*\\)\\]", 1},
        {"\\(a\\-b\\/c\\)", 1},
        {"\\|\\(x\\)\\+\\?", 1},
        {"\\}\\(x\\)", 1},
        {"\\(.*\\)$", 1},
        {"\\(a*\\)*", 1},
        {"\\(a\\)\\1", 1},
        {"\\(\\)", 1},
        // Counts other than one.
        {"abc", 0},
        {"", 0},
        {"(a)", 0},
        {"a\\{1,2\\}", 0},
        {"\\(a\\)\\(b\\)", 2},
        {"\\(\\(x\\)\\)", 2},
        // A star with nothing in front of it is a plain star.
        {"*a", 0},
        {"^*a", 0},
        {"\\(*a\\)", 1},
        {"[*]\\(x\\)", 1},
        // Faults.
        {"\\(", -1},
        {"\\)", -1},
        {"[", -1},
        {"[a-", -1},
        {"[z-a]", -1},
        {"[[:foo:]]", -1},
        {"a\\{2,1\\}", -1},
        {"x\\{\\}", -1},
        {"\\{1\\}", -1},
        {"\\(a\\)\\2", -1},
        {"\\", -1},
        // The limits, each at its edge, before either engine sees a pattern.
        {nested(16), 16},
        {nested(17), -1},
        {"a\\{255\\}", 0},
        {"a\\{1,256\\}", -1},
        {"\\(a\\{100\\}\\)\\{100\\}", 1},
        {"\\(a\\{100\\}\\)\\{101\\}", -1},
        {"\\(\\(\\(a\\{1,255\\}\\)\\{1,255\\}\\)\\{1,255\\}\\)", -1},
        {std::string(1024, 'a'), 0},
        {std::string(1025, 'a'), -1},
    };
    for (const Case& c : cases) {
        std::string error = "stale";
        std::unique_ptr<qx_regex> compiled = qx_regex::compile(c.pattern, error);
        if (c.groups < 0) {
            EXPECT_EQ(compiled, nullptr) << c.pattern;
            EXPECT_FALSE(error.empty()) << c.pattern;
        } else {
            ASSERT_NE(compiled, nullptr) << c.pattern << ": " << error;
            EXPECT_EQ(compiled->subExpressionCount(), static_cast<size_t>(c.groups)) << c.pattern;
            EXPECT_EQ(error, "") << c.pattern;
        }
    }
}

TEST(ParseRule, CompileReportsTheEngineTextAndTheGroupCount)
{
    struct Case {
        const char* pattern;
        bool compiled;
        int32_t code;  // 0: no message
    };
    const Case cases[] = {
        {">\\([^ ]*\\)", true, 0},
        {"\\(", false, qxerr::ruleCompile},
        {"no group", false, qxerr::ruleSubExpressions},
        {"\\(a\\)\\(b\\)", false, qxerr::ruleSubExpressions},
    };
    for (const Case& c : cases) {
        qx_parserule rule;
        rule.setActive(true);
        rule.setPattern(c.pattern);
        qx_errorlist errors;
        EXPECT_EQ(rule.compile(&errors), c.compiled) << c.pattern;
        EXPECT_EQ(rule.isCompiled(), c.compiled) << c.pattern;
        EXPECT_TRUE(rule.isActive()) << "a failed compile leaves the rule defined";
        EXPECT_EQ(errors.getErrorNumber(1), c.code) << c.pattern;
        // Without a list the faults go nowhere.
        qx_parserule quiet(rule);
        EXPECT_EQ(quiet.compile(nullptr), c.compiled);
    }

    qx_errorlist errors;
    qx_parserule rule;
    rule.setPattern("\\(");
    rule.compile(&errors);
    std::string engineText;
    qx_regex::compile("\\(", engineText);
    EXPECT_EQ(errors.getMessage(1), "Error compiling the parse rule: \\(. Error string: " + engineText.substr(0, 127));

    rule.setPattern("\\(a\\)\\(b\\)");
    rule.compile(&errors);
    EXPECT_EQ(errors.getMessage(2), "Only one sub-expression per parse rule allowed. Found 2 in \\(a\\)\\(b\\)");
}

TEST(ParseRule, CopyRecompilesOnlyWhatWasCompiled)
{
    qx_parserule compiled;
    compiled.setActive(true);
    compiled.setPattern(">\\(.*\\)");
    ASSERT_TRUE(compiled.compile(nullptr));
    qx_parserule copy(compiled);
    EXPECT_TRUE(copy.isCompiled());
    EXPECT_NE(copy.getCompiled(), compiled.getCompiled()) << "a copy owns its own compiled form";

    qx_parserule defined;
    defined.setActive(true);
    defined.setPattern(">\\(.*\\)");
    copy = defined;
    EXPECT_FALSE(copy.isCompiled());
    EXPECT_TRUE(copy.isActive());
    EXPECT_EQ(copy.getPattern(), ">\\(.*\\)");

    copy = compiled;
    copy.setPattern("other");
    EXPECT_FALSE(copy.isCompiled()) << "a new pattern drops the old compiled form";
}
