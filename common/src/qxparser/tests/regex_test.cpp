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

// The engine's own text behind a failed compile, cut to its room; the case
// files show it masked, as it differs by platform.
TEST(ParseRule, CompileReportsTheEngineText)
{
    qx_errorlist errors;
    qx_parserule rule;
    rule.setPattern("\\(");
    rule.compile(&errors);
    std::string engineText;
    qx_regex::compile("\\(", engineText);
    EXPECT_EQ(errors.getMessage(1), "Error compiling the parse rule: \\(. Error string: " + engineText.substr(0, 127));
}
