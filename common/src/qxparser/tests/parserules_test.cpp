// PARSE and Taxonomy_N sections: reading rules, messages, the rule table's
// operations and the check of the databases' rules.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orvane/qx_datfile.h"
#include "test_files.h"

using namespace orvane;
using qxtestfiles::codes;
using qxtestfiles::readInto;

namespace {

std::string message(const qx_datfile& dat, int n)
{
    return dat.getErrorRepository().getMessage(n);
}

}  // namespace

TEST(ParseSection, RuleLinesAndTheirMessages)
{
    const std::string in126 = "\"" + std::string(126, 'x') + "\"";
    const std::string in127 = "\"" + std::string(127, 'x') + "\"";
    struct Case {
        std::string line;
        int rule;             // the rule the line defines, -1 none
        std::string pattern;
        std::string text;     // the message, with F for the file's path; empty: none
    };
    const std::vector<Case> cases = {
        {"RULE_12 \"\\(.*\\)\"", 12, "\\(.*\\)", ""},
        {"rule_0\t\">\\([^ ]*\\)\"", 0, ">\\([^ ]*\\)", ""},
        {"RULE_255 \"a\"b\"", 255, "a\"b", ""},
        {"RULE_7 " + in126, 7, std::string(126, 'x'), ""},
        {"RULE_8 " + in127, -1, "",
         "In the file F: maximimum length of parse string (128) is exceeded in: RULE_8 " + in127},
        {"RULE_256 \"x\"", -1, "", "In the file F: all parsing rules must have numbers between 1 and 256: Rule invalid: RULE_256 \"x\""},
        {"RULE_-1 \"x\"", -1, "", "In the file F: all parsing rules must have numbers between 1 and 256: Rule invalid: RULE_-1 \"x\""},
        {"RULE_x \"x\"", -1, "", "In the file F: all parsing rules must have numbers between 1 and 256: Rule invalid: RULE_x \"x\""},
        {"RULE_3 \"x", -1, "", "Missing quote in parse rule in F: RULE_3 \"x"},
        {"RULE_4 x", -1, "", "Missing quote in parse rule in F: RULE_4 x"},
        {"Rules 5", -1, "", "Invalid parsing rule syntax in F file. Expecting RULE_, found Rules 5"},
    };
    for (const Case& c : cases) {
        qx_datfile dat;
        std::string path = readInto("PARSE\n" + c.line + "  \nend\n", dat);
        SCOPED_TRACE(c.line);
        const qx_parseoptions& parse = dat.getParseOptions();
        for (int i = 0; i < parse.getNumberOfRules(); ++i) {
            EXPECT_EQ(parse.getRule(i).isActive(), i == c.rule) << i;
        }
        if (c.rule >= 0) {
            EXPECT_EQ(parse.getRule(c.rule).getPattern(), c.pattern);
            EXPECT_FALSE(parse.getRule(c.rule).isCompiled()) << "reading compiles nothing";
        }
        std::string expected = c.text;
        if (!expected.empty()) expected.replace(expected.find(" F") + 1, 1, path);
        EXPECT_EQ(dat.getErrorRepository().getMessageCount(), c.text.empty() ? 0 : 1);
        if (!c.text.empty()) EXPECT_EQ(message(dat, 1), expected);
        // The line, bad or good, stays as it stood, trailing blanks included.
        ASSERT_EQ(parse.lineCount(), 1);
        EXPECT_EQ(parse.getName(0) + parse.getDelimiter(0) + parse.getValue(0), c.line + "  ");
        EXPECT_TRUE(dat.isValid());
    }
}

TEST(ParseSection, FirstDefinitionStandsAndBadRulesComeBack)
{
    qx_datfile dat;
    std::string path = readInto("PARSE\nRULE_12 \"first\"\n# c\nRULE_12 \"second\"\nRULE_300 \"x\"\nend\n", dat);
    EXPECT_EQ(codes(dat.getErrorRepository()), "1548;1547;");
    EXPECT_EQ(message(dat, 1), "In the file " + path + ": parsing rule 12 has been defined twice: Second one is: RULE_12 \"second\"");
    EXPECT_EQ(dat.getParseOptions().getRule(12).getPattern(), "first");
    EXPECT_EQ(qxtestfiles::lfText(qxtestfiles::readAndSave("PARSE\nRULE_12 \"first\"\nRULE_12 \"second\"\nRULE_300 \"x\"\nend\n")),
              "PARSE\nRULE_12 \"first\"\nRULE_12 \"second\"\nRULE_300 \"x\"\nend\n");
}

TEST(ParseOptions, SetRuleWritesOrRemovesTheLine)
{
    qx_parseoptions parse;
    qx_parserule rule;
    rule.setActive(true);
    rule.setPattern(">\\(.*\\)");
    parse.setRule(5, rule);
    parse.setRule(5, rule);
    ASSERT_EQ(parse.lineCount(), 1);
    EXPECT_EQ(parse.getName(0), "RULE_5");
    EXPECT_EQ(parse.getDelimiter(0), "\t");
    EXPECT_EQ(parse.getValue(0), "\">\\(.*\\)\"");
    EXPECT_TRUE(parse.getRule(5).isActive());

    parse.setRule(5, qx_parserule());
    EXPECT_EQ(parse.lineCount(), 0);
    EXPECT_FALSE(parse.getRule(5).isActive());

    parse.setRule(256, rule);
    parse.setRule(-1, rule);
    EXPECT_EQ(parse.lineCount(), 0);
    EXPECT_FALSE(parse.getRule(256).isActive());
}

TEST(ParseOptions, FindOrAddRule)
{
    auto withRules = [](std::vector<std::pair<int, std::string>> defined) {
        qx_parseoptions parse;
        for (auto& [n, text] : defined) {
            qx_parserule rule;
            rule.setActive(true);
            rule.setPattern(text);
            parse.setRule(n, rule);
        }
        return parse;
    };
    struct Case {
        const char* name;
        std::vector<std::pair<int, std::string>> defined;
        int result;
        bool added;
    };
    std::vector<std::pair<int, std::string>> full;
    for (int n = 1; n <= 255; ++n) full.emplace_back(n, "r" + std::to_string(n));
    const std::vector<Case> cases = {
        {"empty table: first free is 1", {}, 1, true},
        {"rule 0 doesn't count", {{0, "x"}}, 1, true},
        {"a match", {{1, "a"}, {4, "x"}}, 4, false},
        {"the last match wins", {{3, "x"}, {9, "x"}}, 9, false},
        {"first free behind defined ones", {{1, "a"}, {2, "b"}, {4, "c"}}, 3, true},
        {"full table", full, -1, false},
    };
    for (const Case& c : cases) {
        qx_parseoptions parse = withRules(c.defined);
        bool added = !c.added;
        EXPECT_EQ(parse.findOrAddRule("x", added), c.result) << c.name;
        EXPECT_EQ(added, c.added) << c.name;
        if (c.added) {
            EXPECT_EQ(parse.getRule(c.result).getPattern(), "x");
            EXPECT_EQ(parse.getValue(parse.findName("RULE_" + std::to_string(c.result))), "\"x\"");
        }
    }
}

TEST(DatabaseRules, CheckedAndCompiledAtTheEndOfARead)
{
    const std::string parse =
        "PARSE\nRULE_1 \">\\(.*\\)\"\nRULE_2 \"no group\"\nRULE_3 \">\\([^ ]*\\)\"\nend\n";
    struct Case {
        const char* name;
        std::string databases;
        std::string codes;
    };
    const Case cases[] = {
        {"all defined", "A p AA 1 1 1 1 1 0 1 1 3 1\n", ""},
        {"missing description rule", "A p AA 1 1 1 1 1 0 0 1 9 0\n", "1538;"},
        {"accession ref only if flagged", "A p AA 1 1 1 1 1 0 0 1 3 200\n", ""},
        {"accession ref flagged and missing", "A p AA 1 1 1 1 1 0 1 1 3 200\n", "1538;"},
        {"rule numbers out of range (the third folds into the second)", "A p AA 1 1 1 1 1 0 1 -1 999 256\n", "1538;1538;"},
        {"a rule without one group", "A p AA 1 1 1 1 1 0 0 2 1 0\n", "1540;"},
        {"the walk stops at the first inactive entry", "A p AA 1 1 1 1 1 0 0 1 1 0\n#B p AA 1 1 1 1 1 0 0 9 9 0\nC p AA 1 1 1 1 1 0 0 9 9 0\n", ""},
    };
    for (const Case& c : cases) {
        qx_datfile dat;
        readInto("Databases\n" + c.databases + "end\n" + parse, dat);
        EXPECT_EQ(codes(dat.getErrorRepository()), c.codes) << c.name;
        EXPECT_TRUE(dat.isValid()) << c.name;
    }

    qx_datfile dat;
    std::string path = readInto("Databases\nA p AA 1 1 1 1 1 0 1 1 9 8\nend\n" + parse, dat);
    EXPECT_EQ(message(dat, 1), "In the file " + path + " the database A has no description rule");
    EXPECT_EQ(message(dat, 2), "In the file " + path + " the database A has no accessionRef rule");
    EXPECT_TRUE(dat.getParseOptions().getRule(1).isCompiled());
    EXPECT_FALSE(dat.getParseOptions().getRule(3).isCompiled()) << "only rules in use are compiled";

    // A file read over it anew starts with no compiled rules.
    qx_datfile noRules;
    readInto("Databases\nA p AA 1 1 1 1 1 0 0 1 1 0\nend\n", noRules);
    EXPECT_EQ(message(noRules, 1), "In the file " + noRules.getFileName() + " the database A has no accession rule");
}

TEST(TaxonomySection, KeysAndTheirValues)
{
    qx_datfile dat;
    readInto("Taxonomy_2\n"
             "enabled 1\n"
             "Identifier  \tNCBI nr species\n"
             "ErrorLevel 3\n"
             "ConcatRefFileLines 0\n"
             "DescriptionLineSep 257\n"
             "MitochondrialTranslation 1\n"
             "SpeciesFiles NCBI:names.dmp,gi2taxid:gi.bin\tswissprot:sp.txt pdb:pdb.txt\n"
             "StrStrFiles ncbi:a SwissProt:b\n"
             "NodesFiles NCBI:nodes.dmp\n"
             "GencodeFiles NCBI:gencode.dmp\n"
             "RULE_abc NCBI,CHOP:PW \"x\\(.*\\)\"\n"
             "RULE_def\tSWISSPROT  CHOP: \"OS=\\([^ ]*\\)\"\n"
             "DefaultRule GI2TAXID CHOP:sss \"\\(.*\\)\"\n"
             "StrStrRule PDB,,CHOP:w \">\\(.*\\)\"\n"
             "NoBreakDescLineIf abc, def\n"
             "PrefixRemoves gi ref\n"
             "SuffixRemoves x\n"
             "SrcDatabaseRule \"\\(sp\\)|\"\n"
             "QuickRefSearch  \"OS=\"\n"
             "unknown key stays\n"
             "end\n",
             dat);
    EXPECT_EQ(codes(dat.getErrorRepository()), "");
    const qx_taxonomyrules* tax = dat.getTaxonomyRules(2);
    ASSERT_NE(tax, nullptr);
    EXPECT_TRUE(tax->isEnabled());
    EXPECT_EQ(tax->getIdentifier(), "NCBI nr species");
    EXPECT_EQ(tax->getErrorLevel(), 3);
    EXPECT_FALSE(tax->getConcatRefFileLines());
    EXPECT_EQ(tax->getDescriptionLineSep(), 1) << "the low byte";
    EXPECT_TRUE(tax->getMitochondrialTranslation());
    ASSERT_EQ(tax->getSpeciesFiles().size(), 4u);
    const int32_t speciesTypes[] = {QX_TAX_NCBI, QX_TAX_GI2TAXID, QX_TAX_SWISSPROT, QX_TAX_PDB};
    const char* speciesNames[] = {"names.dmp", "gi.bin", "sp.txt", "pdb.txt"};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(tax->getSpeciesFiles()[i].getFileType(), speciesTypes[i]);
        EXPECT_EQ(tax->getSpeciesFiles()[i].getFileName(), speciesNames[i]);
    }
    ASSERT_EQ(tax->getStrStrFiles().size(), 2u);
    EXPECT_EQ(tax->getStrStrFiles()[1].getFileType(), QX_TAX_SWISSPROT);
    ASSERT_EQ(tax->getNodesFiles().size(), 1u);
    EXPECT_EQ(tax->getNodesFiles()[0].getFileName(), "nodes.dmp");
    ASSERT_EQ(tax->getGencodeFiles().size(), 1u);

    ASSERT_EQ(tax->getRules().size(), 2u);
    const qx_parserule_plus& abc = tax->getRules()[0];
    EXPECT_EQ(abc.getRuleKey(), "abc");
    EXPECT_EQ(abc.getSource(), QX_TAX_NCBI);
    EXPECT_EQ(abc.getChopFlags(), 5);
    EXPECT_EQ(abc.getRule().getPattern(), "x\\(.*\\)");
    EXPECT_TRUE(abc.getRule().isCompiled()) << "taxonomy rules are compiled as they are read";
    EXPECT_EQ(tax->getRules()[1].getRuleKey(), "def");
    EXPECT_EQ(tax->getRules()[1].getSource(), QX_TAX_SWISSPROT);
    EXPECT_EQ(tax->getRules()[1].getChopFlags(), 0);
    EXPECT_EQ(tax->getDefaultRule().getSource(), QX_TAX_GI2TAXID);
    EXPECT_EQ(tax->getDefaultRule().getChopFlags(), 2);
    EXPECT_TRUE(tax->getDefaultRule().getRule().isActive());
    EXPECT_EQ(tax->getStrStrRule().getSource(), QX_TAX_PDB);
    EXPECT_EQ(tax->getStrStrRule().getChopFlags(), 4);

    EXPECT_EQ(tax->getNoBreakDescLineIf(), (std::vector<std::string>{"ABC", "DEF"}));
    EXPECT_EQ(tax->getPrefixRemoves(), (std::vector<std::string>{"GI ", "REF "}));
    EXPECT_EQ(tax->getSuffixRemoves(), (std::vector<std::string>{" X"}));
    EXPECT_EQ(tax->getSrcDatabaseRule().getPattern(), "\\(sp\\)|");
    EXPECT_TRUE(tax->getSrcDatabaseRule().isCompiled());
    EXPECT_FALSE(tax->getSrcDatabaseRule().isActive()) << "a quoted expression doesn't touch active";
    EXPECT_EQ(tax->getQuickRefSearch(), "OS=");
    EXPECT_EQ(tax->getTaxId(), -1);
    EXPECT_EQ(tax->lineCount(), 20);

    // Copies are deep.
    qx_taxonomyrules copy(*tax);
    EXPECT_EQ(copy.getRules().size(), 2u);
    EXPECT_TRUE(copy.getRules()[0].getRule().isCompiled());
    EXPECT_NE(copy.getRules()[0].getRule().getCompiled(), abc.getRule().getCompiled());
    copy.defaultValues();
    EXPECT_TRUE(copy.getRules().empty());
    EXPECT_TRUE(copy.getSpeciesFiles().empty());
    EXPECT_TRUE(copy.getConcatRefFileLines());
    EXPECT_EQ(tax->getRules().size(), 2u);
}

TEST(TaxonomySection, BadValuesAreReportedAndKeepTheirLines)
{
    struct Case {
        std::string line;
        std::string codes;
        size_t rules;  // entries in `rules` afterwards
    };
    const std::vector<Case> cases = {
        {"ErrorLevel -2", "1551;", 0},
        {"DescriptionLineSep -1", "1551;", 0},
        {"SpeciesFiles NCBI:a FOO:b NCBI:c", "1551;", 0},
        {"NodesFiles PDB:a", "1551;", 0},
        {"StrStrFiles GI2TAXID:a", "1551;", 0},
        {"GencodeFiles SWISSPROT:a", "1551;", 0},
        {"SrcDatabaseRule no quotes", "1551;", 0},
        {"DoThisRuleFirst \"\\(\"", "1539;", 0},
        {"AccFromSpeciesLine \"no group\"", "1540;", 0},
        {"RULE_x ncbi CHOP: \"a\\(b\\)\"", "1551;", 0},
        {"RULE_x NCBI \"a\\(b\\)\"", "1551;", 0},
        {"RULE_x NCBI CHOP:PX \"a\\(b\\)\"", "1551;", 0},
        {"RULE_x NCBI CHOP:P no quotes", "1551;", 1},
        {"RULE_x NCBI CHOP:P \"\\(a\\)\\(b\\)\"", "1540;", 1},
        {"RULE_x NCBI CHOP:P \"\\(a\\)\"", "", 1},
    };
    for (const Case& c : cases) {
        qx_datfile dat;
        std::string path = readInto("Taxonomy_1\n" + c.line + "\nend\n", dat);
        SCOPED_TRACE(c.line);
        EXPECT_EQ(codes(dat.getErrorRepository()), c.codes);
        const qx_taxonomyrules* tax = dat.getTaxonomyRules(1);
        ASSERT_NE(tax, nullptr);
        EXPECT_EQ(tax->getRules().size(), c.rules);
        if (c.codes == "1551;") {
            EXPECT_EQ(message(dat, 1), "Invalid entry in the configuration file " + path + " - taxonomy section: " + c.line);
        }
        EXPECT_EQ(tax->lineCount(), 1);
        EXPECT_TRUE(dat.isValid());
    }

    qx_datfile dat;
    readInto("Taxonomy_1\nErrorLevel -2\nSpeciesFiles NCBI:a FOO:b NCBI:c\nRULE_x NCBI CHOP:P no quotes\nend\n", dat);
    const qx_taxonomyrules* tax = dat.getTaxonomyRules(1);
    EXPECT_EQ(tax->getErrorLevel(), 1);
    ASSERT_EQ(tax->getSpeciesFiles().size(), 1u) << "items before the bad one stay";
    EXPECT_FALSE(tax->getRules()[0].getRule().isActive());
}

TEST(TaxonomySection, ItemLimits)
{
    auto items = [](const char* prefix, int count) {
        std::string line = prefix;
        for (int i = 0; i < count; ++i) line += " i" + std::to_string(i);
        return line;
    };
    struct Case {
        const char* key;
        int limit;
        std::string text;  // with F for the path and L for the limit
    };
    const Case cases[] = {
        {"NoBreakDescLineIf", 300, "In taxonomy section of F, max no breaks (L) exceeded"},
        {"PrefixRemoves", 100, "In taxonomy section of F, max prefixes (L) exceeded"},
        {"SuffixRemoves", 100, "In taxonomy section of F, max suffixed (L) exceeded"},
    };
    for (const Case& c : cases) {
        qx_datfile atLimit;
        readInto("Taxonomy_1\n" + items(c.key, c.limit) + "\nend\n", atLimit);
        EXPECT_EQ(codes(atLimit.getErrorRepository()), "") << c.key;

        qx_datfile over;
        std::string path = readInto("Taxonomy_1\n" + items(c.key, c.limit - 1) + "\n" + items(c.key, 3) + "\nend\n", over);
        std::string text = c.text;
        text.replace(text.find('F'), 1, path);
        text.replace(text.find('L'), 1, std::to_string(c.limit));
        ASSERT_EQ(over.getErrorRepository().getMessageCount(), 1) << c.key;
        EXPECT_EQ(over.getErrorRepository().getMessage(1), text);
        const qx_taxonomyrules* tax = over.getTaxonomyRules(1);
        size_t held = std::string(c.key) == "NoBreakDescLineIf" ? tax->getNoBreakDescLineIf().size()
                      : std::string(c.key) == "PrefixRemoves"   ? tax->getPrefixRemoves().size()
                                                                : tax->getSuffixRemoves().size();
        EXPECT_EQ(held, static_cast<size_t>(c.limit)) << c.key;
    }
}

TEST(TaxonomySection, TaxIdConflictsWithRuleKeys)
{
    struct Case {
        std::string lines;
        std::string conflict;  // the line named, empty: no message
    };
    const std::vector<Case> cases = {
        {"TaxID 9606\nDefaultRule NCBI CHOP: \"\\(a\\)\"\n", "DefaultRule NCBI CHOP: \"\\(a\\)\""},
        {"PrefixRemoves gi\nTaxID 9606\nSuffixRemoves x\n", "PrefixRemoves gi"},
        {"TaxID 9606\nFromRefFile 0\n", ""},
        {"FromRefFile 1\nTaxID 1\n", "FromRefFile 1"},
        {"QuickRefSearch x\n", ""},
        {"TaxID 9606\nSpeciesFiles NCBI:a\nNodesFiles NCBI:b\n", ""},
    };
    for (const Case& c : cases) {
        qx_datfile dat;
        std::string path = readInto("Taxonomy_4\n" + c.lines + "end\n", dat);
        if (c.conflict.empty()) {
            EXPECT_EQ(codes(dat.getErrorRepository()), "") << c.lines;
        } else {
            EXPECT_EQ(codes(dat.getErrorRepository()), "1552;") << c.lines;
            EXPECT_EQ(message(dat, 1),
                      "Incompatible TAXID with some other taxonomy rule parameters in taxonomy section of " + path + ": " +
                          c.conflict);
        }
    }
    qx_datfile dat;
    readInto("Taxonomy_4\nTaxID 9606\nend\n", dat);
    EXPECT_EQ(dat.getTaxonomyRules(4)->getTaxId(), 9606);
}
