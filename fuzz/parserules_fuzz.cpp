// The PARSE section and a Taxonomy section read from the same lines: what
// they hold after a read is what they hold after a save and a second read;
// every compiled rule compiles again with the same count of sub-expressions;
// an active rule is found by its own pattern.
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "orvane/qx_datfile.h"
#include "orvane/qx_parserules.h"
#include "orvane/qx_regex.h"

using namespace orvane;

namespace {

std::string describe(const qx_parserule& rule)
{
    std::string out = rule.isActive() ? "on " : "off ";
    out += "[" + rule.getPattern() + "]";
    if (rule.isCompiled()) out += " compiled/" + std::to_string(rule.getCompiled()->subExpressionCount());
    return out;
}

std::string describe(const qx_parserule_plus& rule)
{
    return "source " + std::to_string(rule.getSource()) + " chop " + std::to_string(rule.getChopFlags()) + " key [" +
           rule.getRuleKey() + "] " + describe(rule.getRule());
}

std::string describe(const std::vector<std::string>& items)
{
    std::string out;
    for (const auto& item : items) out += "[" + item + "]";
    return out;
}

template <class Files>
std::string describeFiles(const Files& files)
{
    std::string out;
    for (const auto& f : files) out += std::to_string(f.getFileType()) + ":[" + f.getFileName() + "]";
    return out;
}

std::string describe(const qx_parseoptions& parse)
{
    std::string out = parse.isAvailable() ? "PARSE\n" : "no PARSE\n";
    for (int i = 0; i < parse.getNumberOfRules(); ++i) {
        const qx_parserule& rule = parse.getRule(i);
        if (rule.isActive() || !rule.getPattern().empty()) out += std::to_string(i) + " " + describe(rule) + "\n";
    }
    return out;
}

std::string describe(const qx_taxonomyrules* tax)
{
    if (!tax) return "no taxonomy\n";
    std::string out = "enabled " + std::to_string(tax->isEnabled()) + "\nidentifier [" + tax->getIdentifier() +
                      "]\nerrorLevel " + std::to_string(tax->getErrorLevel()) + "\nfromRefFile " +
                      std::to_string(tax->getFromRefFile()) + "\nconcat " +
                      std::to_string(tax->getConcatRefFileLines()) + "\nsep " +
                      std::to_string(tax->getDescriptionLineSep()) + "\nnoBreak " +
                      describe(tax->getNoBreakDescLineIf()) + "\nspecies " + describeFiles(tax->getSpeciesFiles()) +
                      "\nstrstr " + describeFiles(tax->getStrStrFiles()) + "\nnodes " +
                      describeFiles(tax->getNodesFiles()) + "\ngencode " + describeFiles(tax->getGencodeFiles()) +
                      "\nprefixes " + describe(tax->getPrefixRemoves()) + "\nsuffixes " +
                      describe(tax->getSuffixRemoves()) + "\nsrcDatabase " + describe(tax->getSrcDatabaseRule()) +
                      "\nfirst " + describe(tax->getDoThisRuleFirst()) + "\naccFromSpecies " +
                      describe(tax->getAccFromSpeciesLine()) + "\ndefault " + describe(tax->getDefaultRule()) +
                      "\nstrStrRule " + describe(tax->getStrStrRule()) + "\nquickRef [" + tax->getQuickRefSearch() +
                      "]\ntaxId " + std::to_string(tax->getTaxId()) + "\nmito " +
                      std::to_string(tax->getMitochondrialTranslation()) + "\n";
    for (const auto& rule : tax->getRules()) out += describe(rule) + "\n";
    return out;
}

std::string describe(qx_datfile& dat) { return describe(dat.getParseOptions()) + describe(dat.getTaxonomyRules(1)); }

void checkRules(qx_parseoptions& parse, const std::string& input)
{
    for (int i = 0; i < parse.getNumberOfRules(); ++i) {
        const qx_parserule& rule = parse.getRule(i);
        if (rule.getPattern().size() > qx_parserule::kMaxPatternLength && rule.isActive())
            qxfuzz::broken("an active rule's pattern is within the limit", input, describe(rule));
        if (rule.isCompiled()) {
            std::string error;
            auto again = qx_regex::compile(rule.getPattern(), error);
            if (!again || again->subExpressionCount() != rule.getCompiled()->subExpressionCount())
                qxfuzz::broken("a compiled rule compiles the same again", input, describe(rule) + " " + error);
            qx_parserule copy(rule);
            qxfuzz::expectSame("a copied rule is the rule", describe(rule), describe(copy));
        }
    }
    for (int i = 1; i < parse.getNumberOfRules(); ++i) {
        if (!parse.getRule(i).isActive()) continue;
        const std::string pattern = parse.getRule(i).getPattern();
        bool added = true;
        const int found = parse.findOrAddRule(pattern, added);
        if (added || found < i || parse.getRule(found).getPattern() != pattern)
            qxfuzz::broken("an active rule is found by its pattern", input,
                           std::to_string(i) + " -> " + std::to_string(found) + " " + pattern);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string body(reinterpret_cast<const char*>(data), size);
    const std::string input = "PARSE\n" + body + "\nend\nTaxonomy_1\n" + body + "\nend\n";
    const std::string path = qxfuzz::workPath("rules.dat"), saved = qxfuzz::workPath("saved.dat");
    qxfuzz::writeBytes(path, input);

    qx_datfile first;
    first.setFileName(path);
    first.read();
    const std::string once = describe(first);
    first.setFileName(saved);
    if (!first.save()) qxfuzz::broken("a read file saves", input, first.getErrorRepository().getMessage(-1));

    qx_datfile second;
    second.setFileName(saved);
    second.read();
    qxfuzz::expectSame("a saved PARSE and Taxonomy section read the same", once, describe(second));

    checkRules(first.getParseOptions(), input);
    return 0;
}
