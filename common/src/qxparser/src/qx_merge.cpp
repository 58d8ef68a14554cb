// The install-time merge: the package's template into this machine's
// quorix.dat. Everything is worked out on copies of the sections, which go
// back into the object one by one; only the caller's save writes the file.
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "orvane/qx_datfile.h"
#include "orvane/qx_machine.h"
#include "orvane/qx_processors.h"

namespace orvane {

namespace {

// An option name by its length and three of its bytes: every name of a large
// file is looked up among the template's few, and a full hash of each was
// the merge's largest step of its own.
struct name_hash {
    size_t operator()(std::string_view s) const
    {
        if (s.empty()) return 0;
        const auto byte = [&s](size_t i) { return static_cast<size_t>(static_cast<unsigned char>(s[i])); };
        return (s.size() * 0x9E3779B1u) ^ byte(0) ^ (byte(s.size() / 2) << 8) ^ (byte(s.size() - 1) << 16);
    }
};

constexpr uint32_t kAppendTaxonomy = 1;
constexpr uint32_t kAppendParseRules = 2;
constexpr uint32_t kAlignSwissProt = 4;
constexpr uint32_t kSetCluster = 8;
constexpr uint32_t kEstTaxonomy = 16;
constexpr uint32_t kAppendOptions = 32;
constexpr uint32_t kAutoReportNumbers = 64;
constexpr uint32_t kSetFork = 128;

constexpr int kHighestRule = 255;
const char* const kNodeHome = "C:/QuorixNode";

std::string trimSlashes(std::string text)
{
    while (!text.empty() && text.back() == '/') text.pop_back();
    return text;
}

std::string forwardSlashes(std::string text)
{
    for (char& c : text)
        if (c == '\\') c = '/';
    return trimSlashes(std::move(text));
}

// The three rule references of a database entry, as the merge walks them.
struct rule_ref {
    const char* label;
    int32_t (qx_databaseoptions::*get)() const;
    void (qx_databaseoptions::*set)(int32_t);
};
const rule_ref kRuleRefs[] = {
    {"accession", &qx_databaseoptions::getAccessionRule, &qx_databaseoptions::setAccessionRule},
    {"description", &qx_databaseoptions::getDescriptionRule, &qx_databaseoptions::setDescriptionRule},
    {"accession reference ", &qx_databaseoptions::getAccessionRefRule, &qx_databaseoptions::setAccessionRefRule},
};

}  // namespace

bool qx_datfile::mergeInstalledDefaults(qx_errorlist& errors, const std::string& templatePath,
                                        const std::string& existingPath, const std::string& rootDir,
                                        const std::string& webUrl, const std::string& sequenceDir, bool clusterMode,
                                        int32_t noApache, const std::string& usersGroup,
                                        const std::string& adminsGroup, uint32_t flags)
{
    errors.setFoldRepeats(false);
    const std::string root = forwardSlashes(rootDir);
    const std::string sequence = forwardSlashes(sequenceDir);
    const std::string url = trimSlashes(webUrl);

    qx_machine& machine = qx_machine::current();
    std::string host;
    if (!machine.computerName(host) || host.empty()) {
        errors.addError(qxerr::noHostname);
        return false;
    }

    qx_datfile templ(templatePath, 0, nullptr);
    if (!templ.isValid()) {
        errors.appendFrom(templ.getErrorRepository());
        return false;
    }
    errors.addError(qxerr::templateLoaded, templatePath.c_str());

    bool fresh = false;
    if (!existingPath.empty()) {
        setFileName(existingPath);
        // Every message of the read reaches the log, each with its own line.
        errorList.setFoldRepeats(false);
        read();
        if (isValid() && !hasMainSections()) errorList.addError(qxerr::noMainSections, existingPath.c_str());
        // The read's warnings (a skipped mark, a rule over a limit) belong
        // in the install's log as well.
        errors.appendFrom(errorList);
        clearAllErrors();
        if (!errors.isValid()) return false;
        errors.addError(qxerr::existingLoaded, existingPath.c_str());
    } else {
        copyFrom(templ);
        fresh = true;
    }

    int32_t threads = 1;
    qx_processors processors(machine.processorFacts());
    if (processors.isValid()) {
        threads = processors.getPhysicalCPUCount() * processors.getLogicalPerPhysical();
        errors.addError(qxerr::logicalProcessors, processors.getLogicalPerPhysical());
    } else {
        errors.addError(qxerr::cpuInfoFailed);
    }

    // On a cluster the nodes do the work; the master searches single-threaded.
    qx_clusterparams cluster = clusterParams;
    const bool clustered = (flags & kSetCluster) ? clusterMode : cluster.isEnabled();
    if (clustered) threads = 1;
    errors.addError(qxerr::threadCount, threads);

    // The sections are taken out and moved back where nothing between can
    // fail: a copy of each was a large part of a merge of a large file.
    qx_parseoptions rules = std::move(parseOptions);

    bool added10 = false, added11 = false;
    if (flags & kAppendTaxonomy) {
        for (int n = 1; n <= kHighestTaxonomy; ++n) {
            const qx_taxonomyrules* section = templ.getTaxonomyRules(n);
            if (!section || getTaxonomyRules(n)) continue;
            setTaxonomyRules(n, section);
            errors.addError(qxerr::taxonomyAppended, n);
            added10 = added10 || n == 10;
            added11 = added11 || n == 11;
        }
    }

    const qx_parseoptions& templateRules = templ.getParseOptions();
    if (flags & kAppendParseRules) {
        for (int r = 1; r <= kHighestRule; ++r) {
            if (templateRules.getRule(r).isActive() && !rules.getRule(r).isActive()) {
                rules.setRule(r, templateRules.getRule(r));
                rules.setAvailable(true);
                errors.addError(qxerr::parseRuleAdded, r);
            }
        }
    }

    // Worked on in place: nothing between here and the end of the entries
    // can fail, and a copy of every entry was the merge's peak.
    qx_databases& databaseCopy = databases;
    bool swissProtAdded = false;
    if (flags & kAlignSwissProt) {
        const qx_databases& templateDatabases = templ.getDatabases();
        const int t = templateDatabases.findDatabase("SwissProt", false);
        if (t < 0) {
            errors.addError(qxerr::noSwissProtEntry);
        } else {
            const qx_databaseoptions& templateEntry = *templateDatabases.getDatabase(t);
            const int found = databaseCopy.findDatabase("SwissProt", true);
            qx_databaseoptions entry = templateEntry;
            if (found < 0) {
                errors.addError(qxerr::swissProtAdded);
                swissProtAdded = true;
            } else {
                entry = *databaseCopy.getDatabase(found);
            }
            for (const rule_ref& ref : kRuleRefs) {
                const std::string& text = templateRules.getRule((templateEntry.*ref.get)()).getPattern();
                bool added = false;
                const int r = rules.findOrAddRule(text, added);
                if (r == -1) {
                    errors.addError(qxerr::parseRuleFailed);
                    continue;
                }
                const int32_t old = (entry.*ref.get)();
                if (old != r) {
                    errors.addError(qxerr::parseRuleChanged, ref.label, old, r);
                    (entry.*ref.set)(r);
                }
                if (added) {
                    rules.setAvailable(true);
                    errors.addError(qxerr::parseRuleAdded, r);
                }
            }
            entry.setActive(false);
            if (swissProtAdded) {
                databaseCopy.appendDatabase(entry);
                databaseCopy.setAvailable(true);
            }
            else
                databaseCopy.updateDatabase(found, entry);
        }
    }
    parseOptions = std::move(rules);

    for (int i = 0; i < databaseCopy.getNumberOfDatabases(); ++i) {
        qx_databaseoptions& entry = *databaseCopy.getDatabase(i);
        const std::string_view placeholder = "###ROOT###/sequence";
        const size_t at = entry.pathView().find(placeholder);
        if (at != std::string::npos) {
            std::string path(entry.pathView());
            path.replace(at, placeholder.size(), sequence);
            entry.setPath(path);
        }
        // Writes the line anew from the fields in any case.
        entry.setThreads(threads);
        if (flags & kEstTaxonomy) {
            if (entry.getName() == "EST_human" && entry.getTaxonomyRule() == 0 && added10) {
                entry.setTaxonomyRule(10);
                errors.addError(qxerr::taxonomyChanged, entry.getName().c_str());
            }
            if (entry.getName() == "EST_mouse" && entry.getTaxonomyRule() == 0 && added11) {
                entry.setTaxonomyRule(11);
                errors.addError(qxerr::taxonomyChanged, entry.getName().c_str());
            }
        }
        if (entry.getName() == "SwissProt" && fresh) entry.setActive(false);
    }

    qx_wwwoptions www = std::move(wwwOptions);
    if (swissProtAdded) {
        const qx_wwwoptions& templateWww = templ.getWWWOptions();
        for (const char* name : {"SwissProt_SEQ", "SwissProt_REP"}) {
            const int k = templateWww.findName(name);
            if (www.findName(name) < 0 && k >= 0) {
                www.appendEntry(name, templateWww.getValue(k), " ");
                www.setAvailable(true);
            }
        }
    }
    replacePlaceholders(www, root, host, url);
    wwwOptions = std::move(www);

    replacePlaceholders(unigeneOptions, root, host, url);

    // The Options section is most of a large file.
    qx_quorixoptions options = std::move(quorixOptions);
    replacePlaceholders(options, root, host, url);
    if (flags & kSetFork) {
        options.setForkForUnixApache(noApache == 0);
        errors.addError(qxerr::optionSet, "ForkForUnixApache", noApache == 0 ? "1" : "0");
    }
    if (!usersGroup.empty()) {
        options.setNTIUserGroup(usersGroup);
        errors.addError(qxerr::optionSet, "NTIUserGroup", usersGroup.c_str());
    }
    if (!adminsGroup.empty()) {
        options.setNTMonitorGroup(adminsGroup);
        errors.addError(qxerr::optionSet, "NTMonitorGroup", adminsGroup.c_str());
    }
    if (!url.empty()) {
        const std::string results = url + "/cgi/master_results.pl";
        options.setResultsFullURL(results);
        errors.addError(qxerr::optionSet, "ResultsFullURL", results.c_str());
    }
    if (flags & kAppendOptions) {
        const qx_quorixoptions& templateOptions = templ.getQuorixOptions();
        // One pass over the file's options tells which of the template's
        // names it has, instead of a search of all of them for each name.
        std::unordered_set<std::string_view, name_hash> present;
        for (int k = 0; k < templateOptions.lineCount(); ++k) present.insert(templateOptions.nameView(k));
        std::unordered_set<std::string_view, name_hash> has;
        for (int i = 0; i < options.lineCount(); ++i) {
            // The set keeps the template's view: the options' own may move.
            const auto found = present.find(options.nameView(i));
            if (found != present.end()) has.insert(*found);
        }
        for (int k = 0; k < templateOptions.lineCount(); ++k) {
            const std::string name = templateOptions.getName(k);
            if (!has.insert(templateOptions.nameView(k)).second) continue;
            const std::string value = templateOptions.getValue(k);
            options.appendEntry(name, value, " ");
            // What the log says was added is in the saved file.
            options.setAvailable(true);
            errors.addError(qxerr::optionAdded, name.c_str(), value.c_str());
        }
    }
    if (flags & kAutoReportNumbers) {
        const int k = options.findName("ReportNumberChoices");
        if (k >= 0) {
            const std::string value = options.getValue(k);
            if (value.find("AUTO") == std::string::npos) {
                options.setValue(k, "AUTO," + value);
                errors.addError(qxerr::optionSet, "ReportNumberChoices", ("AUTO," + value).c_str());
            }
        }
    }
    quorixOptions = std::move(options);

    replacePlaceholders(cronOptions, root, host, url);

    replacePlaceholders(cluster, root, host, url);
    if (flags & kSetCluster) {
        errors.addError(qxerr::clusterSet, "Enabled", clusterMode ? "1" : "0");
        const int k = cluster.findName("SubClusterSet");
        if (k < 0) {
            errors.addError(qxerr::noSubClusterSet);
            return false;
        }
        const std::string subCluster = "0 " + std::to_string(threads);
        cluster.setValue(k, subCluster);
        errors.addError(qxerr::clusterSet, "SubClusterSet", subCluster.c_str());
        cluster.setDefaultNodeOS(QX_OS_WINDOWS_NT);
        errors.addError(qxerr::clusterSet, "DefaultNodeOS", "Windows_NT");
        cluster.setDefaultNodeHomeDir(kNodeHome);
        errors.addError(qxerr::clusterSet, "DefaultNodeHomeDir", kNodeHome);
        // Only a comment line is made active: a setting whose value merely
        // mentions the key would lose its own name to the uncomment.
        for (int i = 0; i < cluster.lineCount(); ++i)
            if (cluster.getName(i).empty() && cluster.getValue(i).find("DefaultNodeHomeDirFromMaster") != std::string::npos)
                cluster.uncomment(i, " ");
        cluster.setEnabled(clusterMode);
    }
    setClusterParams(cluster);
    return true;
}

qx_datfile::install_result qx_datfile::installQuorixDat(
    qx_errorlist& errors, const std::string& templatePath, const std::string& existingPath,
    const std::string& rootDir, const std::string& webUrl, const std::string& sequenceDir, bool clusterMode,
    int32_t noApache, const std::string& usersGroup, const std::string& adminsGroup, uint32_t flags,
    bool activateSwissProt, const std::string& savePath, FILE* saveTo)
{
    mergeInstalledDefaults(errors, templatePath, existingPath, rootDir, webUrl, sequenceDir, clusterMode, noApache,
                           usersGroup, adminsGroup, flags);
    if (!errors.isValid()) return mergeFailed;
    if (activateSwissProt) {
        qx_databases copy = databases;
        const int i = copy.findDatabase("SwissProt", true);
        if (i < 0) return noSwissProt;
        qx_databaseoptions entry = *copy.getDatabase(i);
        entry.setActive(true);
        copy.updateDatabase(i, entry);
        setDatabases(copy);
        errors.appendFrom(errorList);
        if (!isValid()) return activateFailed;
    }
    setFileName(savePath);
    const bool saved = saveTo ? save(saveTo) : save();
    errors.appendFrom(errorList);
    return saved ? installed : saveFailed;
}

}  // namespace orvane
