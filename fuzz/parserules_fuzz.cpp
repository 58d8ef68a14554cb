// The PARSE section and a Taxonomy section read from the same lines: what
// they hold after a read is what they hold after a save and a second read; a
// copied rule is the rule; an active rule is found by its own pattern.
#include <cstdint>
#include <string>

#include "fuzz_support.h"
#include "model_dump.h"

using namespace orvane;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string body(reinterpret_cast<const char*>(data), size);
    const std::string input = "PARSE\n" + body + "\nend\nTaxonomy_1\n" + body + "\nend\n";
    qx_datfile first;
    qxfuzz::expectSameAfterSave("a saved PARSE and Taxonomy section read the same", input, first, [](qx_datfile& dat) {
        const auto dump = qxmodel::dump(dat);
        return qxfuzz::selected(dump, "PARSE:") + qxfuzz::selected(dump, "Taxonomy_1:");
    });
    qx_parseoptions& parse = first.getParseOptions();
    for (int i = 0; i < parse.getNumberOfRules(); ++i) {
        const qx_parserule& rule = parse.getRule(i);
        if (rule.getPattern().size() > qx_parserule::kMaxPatternLength && rule.isActive())
            qxfuzz::broken("an active rule's pattern is within the limit", input, qxmodel::rule(rule));
        qxfuzz::expectSame("a copied rule is the rule", qxmodel::rule(rule), qxmodel::rule(qx_parserule(rule)));
        if (i == 0 || !rule.isActive()) continue;
        bool added = true;
        const int found = parse.findOrAddRule(rule.getPattern(), added);
        if (added || found < i || parse.getRule(found).getPattern() != rule.getPattern())
            qxfuzz::broken("an active rule is found by its pattern", input,
                           std::to_string(i) + " -> " + std::to_string(found) + " " + rule.getPattern());
    }
    return 0;
}
