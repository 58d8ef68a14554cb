// Parse rules: the PARSE section's numbered table of regular expressions, and
// the Taxonomy_N sections that say how a sequence's species is found.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "orvane/qx_regex.h"
#include "orvane/qx_section.h"

namespace orvane {

class qx_errorlist;

class qx_parserule {
public:
    // The PARSE section's limit: a longer pattern is refused there.
    static constexpr size_t kMaxPatternLength = 126;

    qx_parserule() = default;
    // Copies pattern and state; a compiled source is compiled anew, quietly.
    qx_parserule(const qx_parserule& other);
    qx_parserule& operator=(const qx_parserule& other);
    // A move takes the compiled form over.
    qx_parserule(qx_parserule&&) noexcept;
    qx_parserule& operator=(qx_parserule&&) noexcept;
    virtual ~qx_parserule();

    bool isActive() const { return active; }
    const std::string& getPattern() const { return pattern; }
    bool isCompiled() const { return compiled != nullptr; }
    const qx_regex* getCompiled() const { return compiled.get(); }

    void setActive(bool flag) { active = flag; }
    // A new pattern drops the compiled form of the old one.
    void setPattern(std::string text);
    // Compiles the pattern; faults go to `errors` if it isn't null. True if
    // the rule is now compiled.
    bool compile(qx_errorlist* errors);

private:
    bool active = false;
    std::string pattern;
    std::unique_ptr<qx_regex> compiled;
};

class qx_parseoptions : public qx_section {
public:
    static constexpr int kRuleCount = 256;

    qx_parseoptions() { qx_parseoptions::defaultValues(); }
    void defaultValues() override;

    int getNumberOfRules() const { return kRuleCount; }
    // Rule i for i from 0 to 255; any other i gives a rule that is never active.
    qx_parserule& getRule(int i);
    const qx_parserule& getRule(int i) const;
    // Rule i becomes a copy of `rule`, and its line follows: set if the rule
    // is active, removed otherwise.
    void setRule(int i, const qx_parserule& rule);
    // The highest active rule from 1 to 255 with exactly this pattern, or a
    // new rule at the lowest free number; -1 if there is none.
    int findOrAddRule(const std::string& text, bool& added);

protected:
    qx_linestorage lineStorage() const override { return qx_linestorage::beforeCut; }
    void readValue(std::string_view line, qxparser_internal::section_input& in) override;

private:
    std::array<qx_parserule, kRuleCount> rules;
    qx_parserule outOfRange;
};

// Where a taxonomy rule or file comes from.
enum qx_taxsource : int32_t {
    QX_TAX_NCBI = 0,
    QX_TAX_SWISSPROT = 1,
    QX_TAX_PDB = 2,
    QX_TAX_GI2TAXID = 3,
};

class qx_parserule_plus {
public:
    // Chop flags.
    static constexpr int32_t kChopP = 1;
    static constexpr int32_t kChopS = 2;
    static constexpr int32_t kChopW = 4;

    qx_parserule_plus() = default;
    qx_parserule_plus(const qx_parserule_plus&) = default;
    qx_parserule_plus& operator=(const qx_parserule_plus&) = default;
    qx_parserule_plus(qx_parserule_plus&&) noexcept = default;
    qx_parserule_plus& operator=(qx_parserule_plus&&) noexcept = default;
    virtual ~qx_parserule_plus() = default;

    int32_t getSource() const { return source; }
    const qx_parserule& getRule() const { return rule; }
    qx_parserule& getRule() { return rule; }
    int32_t getChopFlags() const { return chopFlags; }
    const std::string& getRuleKey() const { return ruleKey; }

private:
    friend class qx_taxonomyrules;
    int32_t source = QX_TAX_NCBI;
    qx_parserule rule;
    int32_t chopFlags = 0;
    std::string ruleKey;
};

class qx_taxspeciesfiles {
public:
    qx_taxspeciesfiles() = default;
    qx_taxspeciesfiles(int32_t type, std::string name) : fileType(type), fileName(std::move(name)) {}
    qx_taxspeciesfiles(const qx_taxspeciesfiles&) = default;
    qx_taxspeciesfiles& operator=(const qx_taxspeciesfiles&) = default;
    virtual ~qx_taxspeciesfiles() = default;

    int32_t getFileType() const { return fileType; }
    const std::string& getFileName() const { return fileName; }

private:
    int32_t fileType = QX_TAX_NCBI;
    std::string fileName;
};

class qx_taxnodesfiles {
public:
    qx_taxnodesfiles() = default;
    qx_taxnodesfiles(int32_t type, std::string name) : fileType(type), fileName(std::move(name)) {}
    qx_taxnodesfiles(const qx_taxnodesfiles&) = default;
    qx_taxnodesfiles& operator=(const qx_taxnodesfiles&) = default;
    virtual ~qx_taxnodesfiles() = default;

    int32_t getFileType() const { return fileType; }
    const std::string& getFileName() const { return fileName; }

private:
    int32_t fileType = QX_TAX_NCBI;
    std::string fileName;
};

class qx_taxonomyrules : public qx_section {
public:
    static constexpr size_t kMaxNoBreaks = 300;
    static constexpr size_t kMaxPrefixes = 100;
    static constexpr size_t kMaxSuffixes = 100;

    qx_taxonomyrules() { qx_taxonomyrules::defaultValues(); }
    void defaultValues() override;

    bool isEnabled() const { return enabled; }
    const std::string& getIdentifier() const { return identifier; }
    int32_t getErrorLevel() const { return errorLevel; }
    bool getFromRefFile() const { return fromRefFile; }
    bool getConcatRefFileLines() const { return concatRefFileLines; }
    uint8_t getDescriptionLineSep() const { return descriptionLineSep; }
    const std::vector<std::string>& getNoBreakDescLineIf() const { return rare().noBreakDescLineIf; }
    const std::vector<qx_taxspeciesfiles>& getSpeciesFiles() const { return speciesFiles; }
    const std::vector<qx_taxspeciesfiles>& getStrStrFiles() const { return rare().strStrFiles; }
    const std::vector<qx_taxnodesfiles>& getNodesFiles() const { return nodesFiles; }
    const std::vector<qx_taxnodesfiles>& getGencodeFiles() const { return rare().gencodeFiles; }
    const std::vector<qx_parserule_plus>& getRules() const { return rules; }
    const std::vector<std::string>& getPrefixRemoves() const { return rare().prefixRemoves; }
    const std::vector<std::string>& getSuffixRemoves() const { return rare().suffixRemoves; }
    const qx_parserule& getSrcDatabaseRule() const { return rare().srcDatabaseRule; }
    const qx_parserule& getDoThisRuleFirst() const { return rare().doThisRuleFirst; }
    const qx_parserule& getAccFromSpeciesLine() const { return rare().accFromSpeciesLine; }
    const qx_parserule_plus& getDefaultRule() const { return rare().defaultRule; }
    const qx_parserule_plus& getStrStrRule() const { return rare().strStrRule; }
    const std::string& getQuickRefSearch() const { return rare().quickRefSearch; }
    int32_t getTaxId() const { return taxId; }
    bool getMitochondrialTranslation() const { return mitochondrialTranslation; }

protected:
    qx_linestorage lineStorage() const override { return qx_linestorage::beforeCut; }
    void readValue(std::string_view line, qxparser_internal::section_input& in) override;
    void finishSection(qxparser_internal::section_input& in) override;

private:
    // Reading state of one pass over the section; not part of the value.
    struct read_state {
        bool taxIdSeen = false;
        bool conflictNoted = false;
        std::string conflictLine;
    };

    // What a TaxID section goes without (the settings noteConflict watches)
    // and the gencode files. Most sections set none of it, so it is made on
    // the first line that sets some: a large file's many short sections
    // then cost a pointer each for it instead of some 550 bytes.
    struct rarely_set {
        std::vector<std::string> noBreakDescLineIf;
        std::vector<qx_taxspeciesfiles> strStrFiles;
        std::vector<qx_taxnodesfiles> gencodeFiles;
        std::vector<std::string> prefixRemoves;
        std::vector<std::string> suffixRemoves;
        qx_parserule srcDatabaseRule;
        qx_parserule doThisRuleFirst;
        qx_parserule accFromSpeciesLine;
        qx_parserule_plus defaultRule;
        qx_parserule_plus strStrRule;
        std::string quickRefSearch;
    };
    // Copies what it holds, as the members it stands for would be copied.
    struct rarely_set_ptr {
        std::unique_ptr<rarely_set> held;
        rarely_set_ptr() = default;
        rarely_set_ptr(const rarely_set_ptr& other) : held(copyOf(other)) {}
        rarely_set_ptr& operator=(const rarely_set_ptr& other)
        {
            if (this != &other) held = copyOf(other);
            return *this;
        }
        rarely_set_ptr(rarely_set_ptr&&) noexcept = default;
        rarely_set_ptr& operator=(rarely_set_ptr&&) noexcept = default;
        static std::unique_ptr<rarely_set> copyOf(const rarely_set_ptr& other)
        {
            return other.held ? std::make_unique<rarely_set>(*other.held) : nullptr;
        }
    };
    // The defaults where nothing was set.
    const rarely_set& rare() const;
    rarely_set& rareToSet();

    void noteConflict(std::string_view line);
    void readFiles(std::string_view line, size_t keyLength, bool allowSpecies, bool allowStrStr,
                   qxparser_internal::section_input& in, int which);
    void readItems(std::string_view line, size_t keyLength, std::vector<std::string>& list,
                   size_t limit, int32_t limitCode, const char* prefix, const char* suffix,
                   qxparser_internal::section_input& in);
    void readQuoted(std::string_view line, qx_parserule& rule, qxparser_internal::section_input& in);
    // False if the value failed and the rule is to be dropped.
    bool readRuleValue(std::string_view line, size_t valueAt, qx_parserule_plus& rule,
                       qxparser_internal::section_input& in);

    bool enabled = false;
    std::string identifier;
    int32_t errorLevel = 1;
    bool fromRefFile = false;
    bool concatRefFileLines = true;
    uint8_t descriptionLineSep = 0;
    std::vector<qx_taxspeciesfiles> speciesFiles;
    std::vector<qx_taxnodesfiles> nodesFiles;
    std::vector<qx_parserule_plus> rules;
    rarely_set_ptr more;
    int32_t taxId = -1;
    bool mitochondrialTranslation = false;
    read_state state;
};

}  // namespace orvane
