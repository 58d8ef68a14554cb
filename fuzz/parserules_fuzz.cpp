// The PARSE section and a Taxonomy section read from the same lines: what
// they hold after a read is what they hold after a save and a second read; a
// copied rule is the rule; an active rule is found by its own pattern.
#include "fuzz_support.h"
#include "model_dump.h"

using namespace orvane;

QX_FUZZ_TARGET
{
    const std::string file = "PARSE\n" + input + "\nend\nTaxonomy_1\n" + input + "\nend\n";
    qx_datfile first;
    qxfuzz::expectSameAfterSave("a saved PARSE and Taxonomy section read the same", file, first, [](qx_datfile& dat) {
        const auto dump = qxmodel::dump(dat);
        return qxfuzz::selected(dump, "PARSE:") + qxfuzz::selected(dump, "Taxonomy_1:");
    });
    qx_parseoptions& parse = first.getParseOptions();
    for (int i = 0; i < parse.getNumberOfRules(); ++i) {
        const qx_parserule& rule = parse.getRule(i);
        QX_LAW(!rule.isActive() || rule.getPattern().size() <= qx_parserule::kMaxPatternLength,
               "an active rule's pattern is within the limit", file, qxmodel::rule(rule));
        qxfuzz::expectSame("a copied rule is the rule", qxmodel::rule(rule), qxmodel::rule(qx_parserule(rule)));
        if (i == 0 || !rule.isActive()) continue;
        bool added = true;
        const int found = parse.findOrAddRule(rule.getPattern(), added);
        QX_LAW(!added && found >= i && parse.getRule(found).getPattern() == rule.getPattern(),
               "an active rule is found by its pattern", file,
               std::to_string(i) + " -> " + std::to_string(found) + " " + rule.getPattern());
    }
}
