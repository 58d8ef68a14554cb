// The regular expression interface judges a pattern the same way on every
// platform: the table in cases/regex.tsv runs on both.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "orvane/qx_errors.h"
#include "orvane/qx_parserules.h"
#include "orvane/qx_regex.h"
#include "test_files.h"

using namespace orvane;

TEST(Regex, SameCompileResultAndSubExpressionCountOnEveryPlatform)
{
    std::ifstream table(qxtestfiles::corpusDir() + "/../cases/regex.tsv");
    int rows = 0;
    for (std::string line; std::getline(table, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::string pattern = line.substr(line.find('\t') + 1), error = "stale";
        int groups = std::stoi(line);
        std::unique_ptr<qx_regex> compiled = qx_regex::compile(pattern, error);
        ++rows;
        EXPECT_EQ(compiled ? static_cast<int>(compiled->subExpressionCount()) : -1, groups) << pattern << ": " << error;
        EXPECT_EQ(error.empty(), groups >= 0) << pattern;
    }
    EXPECT_GT(rows, 40);
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
