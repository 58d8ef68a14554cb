#include "orvane/qx_parserules.h"

#include "orvane/qx_errors.h"
#include "orvane/qx_filesource.h"
#include "orvane/qx_regex.h"
#include "qx_scan.h"
#include "qx_text.h"

namespace orvane {

using namespace qxparser_internal;

// ---------------------------------------------------------------- qx_parserule

qx_parserule::qx_parserule(const qx_parserule& other) : active(other.active), pattern(other.pattern)
{
    if (other.compiled) compile(nullptr);
}

qx_parserule& qx_parserule::operator=(const qx_parserule& other)
{
    if (this == &other) return *this;
    active = other.active;
    pattern = other.pattern;
    compiled.reset();
    if (other.compiled) compile(nullptr);
    return *this;
}

qx_parserule::qx_parserule(qx_parserule&&) noexcept = default;
qx_parserule& qx_parserule::operator=(qx_parserule&&) noexcept = default;
qx_parserule::~qx_parserule() = default;

void qx_parserule::setPattern(std::string text)
{
    pattern = std::move(text);
    compiled.reset();
}

bool qx_parserule::compile(qx_errorlist* errors)
{
    compiled.reset();
    std::string engineText;
    std::unique_ptr<qx_regex> result = qx_regex::compile(pattern, engineText);
    if (!result) {
        // The engine's text goes into a buffer of 128 bytes.
        if (engineText.size() > 127) engineText.resize(127);
        if (errors) errors->addError(qxerr::ruleCompile, pattern.c_str(), engineText.c_str());
        return false;
    }
    size_t groups = result->subExpressionCount();
    if (groups != 1) {
        if (errors) errors->addError(qxerr::ruleSubExpressions, static_cast<int>(groups), pattern.c_str());
        return false;
    }
    compiled = std::move(result);
    return true;
}

namespace {

// A pattern beyond the engines' limits is named with its file and line before
// any engine sees it; the line itself stays in the section.
bool patternWithinLimits(const std::string& text, section_input& in)
{
    std::string reason;
    if (qx_regex::withinLimits(text, reason)) return true;
    in.errors.addError(qxerr::regexLimit, in.fileName.c_str(), in.source.lineNumber(), text.c_str(),
                       reason.c_str());
    return false;
}

}  // namespace

// ------------------------------------------------------------- qx_parseoptions

void qx_parseoptions::defaultValues()
{
    resetLines("\t");
    for (qx_parserule& rule : rules) rule = qx_parserule();
    outOfRange = qx_parserule();
}

qx_parserule& qx_parseoptions::getRule(int i)
{
    if (i >= 0 && i < kRuleCount) return rules[static_cast<size_t>(i)];
    // A caller that wrote into it must not make a rule out of range exist.
    outOfRange = qx_parserule();
    return outOfRange;
}

const qx_parserule& qx_parseoptions::getRule(int i) const
{
    static const qx_parserule none;
    return i >= 0 && i < kRuleCount ? rules[static_cast<size_t>(i)] : none;
}

void qx_parseoptions::setRule(int i, const qx_parserule& rule)
{
    if (i < 0 || i >= kRuleCount) return;
    rules[static_cast<size_t>(i)] = rule;
    const std::string key = "RULE_" + std::to_string(i);
    if (rule.isActive()) {
        setProperty(key, "\"" + rule.getPattern() + "\"");
    } else {
        removeProperty(key);
    }
}

int qx_parseoptions::findOrAddRule(const std::string& text, bool& added)
{
    added = false;
    int match = -1;
    int firstFree = -1;
    for (int n = 1; n < kRuleCount; ++n) {
        const qx_parserule& rule = rules[static_cast<size_t>(n)];
        if (rule.isActive()) {
            if (rule.getPattern() == text) match = n;
        } else if (firstFree < 0) {
            firstFree = n;
        }
    }
    if (match >= 0) return match;
    if (firstFree < 0) return -1;
    qx_parserule rule;
    rule.setActive(true);
    rule.setPattern(text);
    setRule(firstFree, rule);
    added = true;
    return firstFree;
}

void qx_parseoptions::readValue(std::string_view line, section_input& in)
{
    // The line is copied only into a message.
    const auto text_of = [line]() { return std::string(line); };
    const char* file = in.fileName.c_str();
    if (!startsWithNoCase(line, "RULE_")) {
        in.errors.addError(qxerr::ruleSyntax, file, text_of().c_str());
        return;
    }
    // No number behind RULE_ is as bad as one out of range: it names no rule.
    size_t pos = 5;
    int32_t n = -1;
    if (!scanInt(line, pos, n) || n < 0 || n >= kRuleCount) {
        in.errors.addError(qxerr::ruleNumber, file, kRuleCount, text_of().c_str());
        return;
    }
    qx_parserule& rule = rules[static_cast<size_t>(n)];
    if (rule.isActive()) {
        in.errors.addError(qxerr::ruleTwice, file, static_cast<int>(n), text_of().c_str());
        return;
    }
    std::string text;
    if (!quotedText(line, text)) {
        in.errors.addError(qxerr::ruleQuote, file, text_of().c_str());
        return;
    }
    if (text.size() > qx_parserule::kMaxPatternLength) {
        in.errors.addError(qxerr::ruleLength, file, static_cast<int>(qx_parserule::kMaxPatternLength + 2),
                           text_of().c_str());
        return;
    }
    rule.setActive(true);
    patternWithinLimits(text, in);
    rule.setPattern(std::move(text));
}

// ------------------------------------------------------------ qx_taxonomyrules

namespace {

constexpr std::string_view kItemSeparators = " ,\t";

struct file_prefix {
    std::string_view text;
    int32_t type;
};

constexpr file_prefix kFilePrefixes[] = {
    {"NCBI:", QX_TAX_NCBI},
    {"GI2TAXID:", QX_TAX_GI2TAXID},
    {"SWISSPROT:", QX_TAX_SWISSPROT},
    {"PDB:", QX_TAX_PDB},
};

constexpr file_prefix kSourceWords[] = {
    {"NCBI", QX_TAX_NCBI},
    {"GI2TAXID", QX_TAX_GI2TAXID},
    {"SWISSPROT", QX_TAX_SWISSPROT},
    {"PDB", QX_TAX_PDB},
};

// Which item list a file line fills.
enum file_list { kSpecies, kStrStr, kNodes, kGencode };

}  // namespace

void qx_taxonomyrules::defaultValues()
{
    resetLines("\t");
    enabled = false;
    identifier.clear();
    errorLevel = 1;
    fromRefFile = false;
    concatRefFileLines = true;
    descriptionLineSep = 0;
    speciesFiles.clear();
    nodesFiles.clear();
    rules.clear();
    more.held.reset();
    taxId = -1;
    mitochondrialTranslation = false;
    state = read_state();
}

const qx_taxonomyrules::rarely_set& qx_taxonomyrules::rare() const
{
    static const rarely_set none;
    return more.held ? *more.held : none;
}

qx_taxonomyrules::rarely_set& qx_taxonomyrules::rareToSet()
{
    if (!more.held) more.held = std::make_unique<rarely_set>();
    return *more.held;
}

namespace {
// The message of a taxonomy line that is refused, with the line in it.
void refuseEntry(std::string_view line, section_input& in)
{
    in.errors.addError(qxerr::taxonomyEntry, in.fileName.c_str(), std::string(line).c_str());
}
}  // namespace

void qx_taxonomyrules::noteConflict(std::string_view line)
{
    if (state.conflictNoted) return;
    state.conflictNoted = true;
    state.conflictLine.assign(line);
}

void qx_taxonomyrules::readFiles(std::string_view line, size_t keyLength, bool allowSpecies,
                                 bool allowStrStr, section_input& in, int which)
{
    std::string_view rest = line.substr(keyLength);
    for (std::string_view item : splitItems(rest, kItemSeparators)) {
        const file_prefix* found = nullptr;
        for (const file_prefix& prefix : kFilePrefixes) {
            if (!startsWithNoCase(item, prefix.text)) continue;
            bool allowed = prefix.type == QX_TAX_NCBI ||
                           (prefix.type == QX_TAX_GI2TAXID && allowSpecies) ||
                           ((prefix.type == QX_TAX_SWISSPROT || prefix.type == QX_TAX_PDB) && allowStrStr);
            if (allowed) found = &prefix;
            break;
        }
        if (!found) {
            refuseEntry(line, in);
            return;
        }
        std::string name(item.substr(found->text.size()));
        switch (which) {
        case kSpecies: speciesFiles.emplace_back(found->type, std::move(name)); break;
        case kStrStr: rareToSet().strStrFiles.emplace_back(found->type, std::move(name)); break;
        case kNodes: nodesFiles.emplace_back(found->type, std::move(name)); break;
        default: rareToSet().gencodeFiles.emplace_back(found->type, std::move(name)); break;
        }
    }
}

void qx_taxonomyrules::readItems(std::string_view line, size_t keyLength, std::vector<std::string>& list,
                                 size_t limit, int32_t limitCode, const char* prefix, const char* suffix,
                                 section_input& in)
{
    if (line.size() <= keyLength + 1) return;
    std::string_view rest = line.substr(keyLength + 1);
    for (std::string_view item : splitItems(rest, kItemSeparators)) {
        if (list.size() >= limit) {
            in.errors.addError(limitCode, in.fileName.c_str(), static_cast<int>(limit));
            return;
        }
        list.push_back(prefix + upperAscii(item) + suffix);
    }
}

void qx_taxonomyrules::readQuoted(std::string_view line, qx_parserule& rule, section_input& in)
{
    // These three have no length limit of their own: the pattern is kept
    // whole, so nothing is cut and nothing overflows, and the engine judges it.
    std::string text;
    if (!quotedText(line, text)) {
        refuseEntry(line, in);
        return;
    }
    rule.setPattern(text);
    if (patternWithinLimits(text, in)) rule.compile(&in.errors);
}

bool qx_taxonomyrules::readRuleValue(std::string_view line, size_t valueAt, qx_parserule_plus& plus,
                                     section_input& in)
{
    const std::string_view s = line;
    size_t pos = skipChars(s, valueAt, " \t");
    const file_prefix* word = nullptr;
    for (const file_prefix& candidate : kSourceWords) {
        if (s.substr(pos, candidate.text.size()) == candidate.text) {
            word = &candidate;
            break;
        }
    }
    if (!word) {
        refuseEntry(line, in);
        return false;
    }
    plus.source = word->type;
    pos += word->text.size();

    plus.chopFlags = 0;
    pos = skipChars(s, pos, " \t,");
    if (s.substr(pos, 5) != "CHOP:") {
        refuseEntry(line, in);
        return false;
    }
    pos += 5;
    bool good = true;
    for (; pos < s.size() && s[pos] != ' '; ++pos) {
        switch (s[pos]) {
        case 'P': case 'p': plus.chopFlags |= qx_parserule_plus::kChopP; break;
        case 'S': case 's': plus.chopFlags |= qx_parserule_plus::kChopS; break;
        case 'W': case 'w': plus.chopFlags |= qx_parserule_plus::kChopW; break;
        default: good = false; break;
        }
    }
    if (!good) {
        refuseEntry(line, in);
        return false;
    }
    std::string text;
    if (!quotedText(s.substr(pos), text)) {
        // The rule stays undefined, but the value itself was good.
        refuseEntry(line, in);
        return true;
    }
    plus.rule.setActive(true);
    plus.rule.setPattern(text);
    if (patternWithinLimits(text, in)) plus.rule.compile(&in.errors);
    return true;
}

// The line stays a view into the file's text: a large section's lines cost
// no copy each.
void qx_taxonomyrules::readValue(std::string_view line, section_input& in)
{
    auto is = [&](std::string_view key) { return startsWithNoCase(line, key); };
    // A flag's temporary starts at its own value, so that a line without a
    // number gives that value.
    auto flag = [&](int32_t start) {
        int32_t value = start;
        scanSecondInt(line, value);
        return value == 1;
    };

    if (is("Enabled")) {
        enabled = flag(0);
    } else if (is("Identifier")) {
        identifier.assign(line.substr(skipChars(line, 10, " \t")));
    } else if (is("ErrorLevel")) {
        scanSecondInt(line, errorLevel);
        if (errorLevel < 0) {
            errorLevel = 1;
            refuseEntry(line, in);
        }
    } else if (is("FromRefFile")) {
        fromRefFile = flag(0);
        if (fromRefFile) noteConflict(line);
    } else if (is("ConcatRefFileLines")) {
        concatRefFileLines = flag(1);
    } else if (is("DescriptionLineSep")) {
        int32_t value = 0;
        scanSecondInt(line, value);
        if (value < 0) {
            value = 0;
            refuseEntry(line, in);
        }
        descriptionLineSep = static_cast<uint8_t>(value & 0xFF);
    } else if (is("GencodeFiles")) {
        readFiles(line, 12, false, false, in, kGencode);
    } else if (is("TaxID")) {
        scanSecondInt(line, taxId);
        state.taxIdSeen = true;
    } else if (is("MitochondrialTranslation")) {
        mitochondrialTranslation = flag(0);
    } else if (is("SrcDatabaseRule")) {
        noteConflict(line);
        readQuoted(line, rareToSet().srcDatabaseRule, in);
    } else if (is("DoThisRuleFirst")) {
        noteConflict(line);
        readQuoted(line, rareToSet().doThisRuleFirst, in);
    } else if (is("AccFromSpeciesLine")) {
        noteConflict(line);
        readQuoted(line, rareToSet().accFromSpeciesLine, in);
    } else if (is("SpeciesFiles")) {
        readFiles(line, 12, true, true, in, kSpecies);
    } else if (is("StrStrFiles")) {
        noteConflict(line);
        readFiles(line, 11, false, true, in, kStrStr);
    } else if (is("NodesFiles")) {
        readFiles(line, 10, false, false, in, kNodes);
    } else if (is("RULE_")) {
        qx_parserule_plus plus;
        size_t keyEnd = skipToChars(line, 5, " \t");
        plus.ruleKey.assign(line.substr(5, keyEnd - 5));
        if (readRuleValue(line, keyEnd, plus, in)) rules.push_back(std::move(plus));
    } else if (is("DefaultRule")) {
        noteConflict(line);
        qx_parserule_plus plus;
        if (readRuleValue(line, 11, plus, in)) rareToSet().defaultRule = std::move(plus);
    } else if (is("StrStrRule")) {
        noteConflict(line);
        qx_parserule_plus plus;
        if (readRuleValue(line, 10, plus, in)) rareToSet().strStrRule = std::move(plus);
    } else if (is("NoBreakDescLineIf")) {
        noteConflict(line);
        readItems(line, 17, rareToSet().noBreakDescLineIf, kMaxNoBreaks, qxerr::tooManyNoBreaks, "", "", in);
    } else if (is("PrefixRemoves")) {
        noteConflict(line);
        readItems(line, 13, rareToSet().prefixRemoves, kMaxPrefixes, qxerr::tooManyPrefixes, "", " ", in);
    } else if (is("SuffixRemoves")) {
        noteConflict(line);
        readItems(line, 13, rareToSet().suffixRemoves, kMaxSuffixes, qxerr::tooManySuffixes, " ", "", in);
    } else if (is("QuickRefSearch")) {
        noteConflict(line);
        size_t pos = line.size() > 15 ? skipChars(line, 15, " \t") : line.size();
        if (pos < line.size() && line[pos] == '"') ++pos;
        rareToSet().quickRefSearch.assign(line.substr(pos, skipToChars(line, pos, "\"\r\n") - pos));
    }
}

void qx_taxonomyrules::finishSection(section_input& in)
{
    if (state.taxIdSeen && state.conflictNoted) {
        in.errors.addError(qxerr::taxIdConflict, in.fileName.c_str(), state.conflictLine.c_str());
    }
    state = read_state();
}

}  // namespace orvane
