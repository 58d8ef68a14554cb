// Every value a read of quorix.dat makes, by name: the case files compare
// it with an empty file's, the fuzz targets a read with the read of its save.
#pragma once

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "orvane/qx_datfile.h"
#include "orvane/qx_regex.h"

namespace qxmodel {

using namespace orvane;

template <typename T>
inline std::string join(const T& list)
{
    std::ostringstream out;
    for (const auto& v : list) out << (&v == &*list.begin() ? "" : ",") << v;
    return out.str();
}

template <size_t N>
inline std::string bits(const std::array<bool, N>& set)
{
    std::vector<size_t> on;
    for (size_t i = 0; i < N; ++i)
        if (set[i]) on.push_back(i);
    return on.size() == N ? "*" : join(on);
}

inline std::string rule(const qx_parserule& r)
{
    return r.getPattern().empty() && !r.isActive() ? "" : (r.isActive() ? "on " : "off ") + r.getPattern() +
                                                             (r.isCompiled() ? " compiled/" + std::to_string(r.getCompiled()->subExpressionCount()) : "");
}

inline void lines(std::map<std::string, std::string>& d, const std::string& key, const qx_section& s)
{
    d[key] = s.isAvailable() ? "present" : "";
    for (int i = 0; i < s.lineCount(); ++i)
        d[key + "." + std::to_string(i)] = "[" + s.getName(i) + "][" + s.getDelimiter(i) + "][" + s.getValue(i) + "]";
}

// Every value the read makes, by name.
inline std::map<std::string, std::string> dump(qx_datfile& dat)
{
    std::map<std::string, std::string> d;
    std::ostringstream o;
    d["valid"] = std::to_string(dat.isValid());
    for (const auto& dropped : dat.getDroppedLines()) d["dropped." + std::to_string(dropped.line)] = dropped.reason;
    const qx_clusterparams& c = dat.getClusterParams();
    const qx_computeraddress& m = c.getMasterComputer();
    lines(d, "Cluster", c);
    d["Cluster:"] = join(std::vector<std::string>{
        std::to_string(c.isEnabled()), std::to_string(c.getDefaultNodeOS()), c.getDefaultNodeHomeDir(),
        std::to_string(c.getDefaultPort()), c.getDefaultNodeHomeDirFromMaster(), c.getQuorixNodeScript(),
        c.getQuorixNodeRebootScript(), std::to_string(c.getIpcTimeout()), std::to_string(c.getIpcLogging()),
        c.getIpcLogfile(), std::to_string(c.getCheckNodesAliveFreq()), std::to_string(c.getSecsToWaitForNodeAtStartup())});
    d["Cluster:sub"] = join(c.getSubClusterIds()) + "/" + join(c.getSubClusterThreads());
    d["Cluster:master"] = m.getName() + "|" + m.getIpAddress() + "|" + std::to_string(m.getPort()) + "|" + m.getRawText();
    const qx_processoroptions& p = dat.getProcessorOptions();
    lines(d, "Processor", p);
    d["Processor:set"] = join(p.getProcessorSet());
    for (const auto& s : p.getDatabaseProcessors()) d["Processor:" + s.databaseName] = join(s.processors);
    const qx_cronoptions& cron = dat.getCronOptions();
    lines(d, "Cron", cron);
    d["Cron:enabled"] = std::to_string(cron.isCronEnabled());
    for (int i = 0; i < cron.getNumberOfJobs(); ++i) {
        const qx_cronjob& j = *cron.getJob(i);
        d["Cron:" + std::to_string(i)] = bits(j.minutes) + " " + bits(j.hours) + " " + bits(j.daysOfMonth) + " " +
                                         bits(j.months) + " " + bits(j.daysOfWeek) + " [" + j.command + "][" +
                                         j.lineText + "]";
    }
    lines(d, "WWW", dat.getWWWOptions());
    for (const qx_wwwentry& e : dat.getWWWOptions().getEntries())
        d["WWW:" + e.keyText()] = e.databaseName + "|" + std::to_string(e.type) + "|" + e.valueText();
    lines(d, "UniGene", dat.getUniGeneOptions());
    const qx_quorixoptions& q = dat.getQuorixOptions();
    lines(d, "Options", q);
#define QX_DUMP(Getter, member, key, ...) o.str(""), o << q.get##Getter(), d["Options:" key] = o.str();
    QX_OPTIONS_FLAGS(QX_DUMP) QX_OPTIONS_INTS(QX_DUMP) QX_OPTIONS_TEXTS(QX_DUMP) QX_OPTIONS_RESTS(QX_DUMP)
#undef QX_DUMP
    const qx_blastaccession& b = q.getGetSeqBlastAccession();
    o.str("");
    o << q.getEmailFromTextName() << "|" << q.getCentroidWidth() << "|" << q.getVmemory() << "|"
      << join(q.getReportNumberChoices()) << "|" << join(q.getReviewColWidths()) << "|" << q.getShowSubsets() << "|"
      << q.getSigThreshold() << "|" << q.getIgnoreIonsScoreBelow() << "|" << q.getFeatureTableMinScore() << "|"
      << q.getICATFilter() << "|" << join(q.getIgnoreDupeAccessions()) << "|" << b.getUseRegex() << ","
      << b.getFieldNumber() << ",[" << b.getStartChars() << "],[" << b.getEndChars() << "]|" << q.getUnixDirPerm()
      << "," << q.isUnixDirPermDefined() << "|" << q.getPrecursorCutOutLow() << "," << q.getPrecursorCutOutHigh()
      << "|" << q.getTaxBrowserURL() << "|" << q.getSortUnassigned();
    d["Options:special"] = o.str();
    const qx_databases& dbs = dat.getDatabases();
    d["Databases"] = dbs.isAvailable() ? "present" : "";
    d["Databases:comments"] = join(dbs.getComments());
    for (int i = 0; i < dbs.getNumberOfDatabases(); ++i) {
        const qx_databaseoptions& e = *dbs.getDatabase(i);
        o.str("");
        o << e.isActive() << " [" << e.getName() << "][" << e.getPath() << "] " << e.isNucleic() << " "
          << e.getColumn4() << " " << e.getColumn5() << " " << e.getColumn6() << " " << e.getColumn7Off() << " "
          << e.getThreads() << " " << e.getColumn9() << " " << e.getHasAccessionRefRule() << " "
          << e.getAccessionRule() << " " << e.getDescriptionRule() << " " << e.getAccessionRefRule() << " "
          << e.getTaxonomyRule();
        d["Databases." + std::to_string(i)] = o.str();
        d["Databases." + std::to_string(i) + ".text"] = e.getLineText();
    }
    const qx_parseoptions& parse = dat.getParseOptions();
    lines(d, "PARSE", parse);
    for (int i = 0; i < parse.getNumberOfRules(); ++i) d["PARSE:" + std::to_string(i)] = rule(parse.getRule(i));
    for (int n = 0; n <= qx_datfile::kHighestTaxonomy; ++n) {
        const qx_taxonomyrules* t = dat.getTaxonomyRules(n);
        if (!t) continue;
        std::string k = "Taxonomy_" + std::to_string(n);
        lines(d, k, *t);
        o.str("");
        o << t->isEnabled() << "|" << t->getIdentifier() << "|" << t->getErrorLevel() << "|" << t->getFromRefFile()
          << "|" << t->getConcatRefFileLines() << "|" << int(t->getDescriptionLineSep()) << "|"
          << join(t->getNoBreakDescLineIf()) << "|" << join(t->getPrefixRemoves()) << "|"
          << join(t->getSuffixRemoves()) << "|" << t->getQuickRefSearch() << "|" << t->getTaxId() << "|"
          << t->getMitochondrialTranslation();
        d[k + ":"] = o.str();
        for (auto* files : {&t->getSpeciesFiles(), &t->getStrStrFiles()})
            for (const auto& f : *files) d[k + ":" + (files == &t->getSpeciesFiles() ? "species." : "strstr.") + f.getFileName()] = std::to_string(f.getFileType());
        for (auto* files : {&t->getNodesFiles(), &t->getGencodeFiles()})
            for (const auto& f : *files) d[k + ":" + (files == &t->getNodesFiles() ? "nodes." : "gencode.") + f.getFileName()] = std::to_string(f.getFileType());
        for (const auto* r : {&t->getSrcDatabaseRule(), &t->getDoThisRuleFirst(), &t->getAccFromSpeciesLine()})
            d[k + ":rule" + std::to_string(r == &t->getSrcDatabaseRule() ? 0 : r == &t->getDoThisRuleFirst() ? 1 : 2)] = rule(*r);
        std::vector<const qx_parserule_plus*> plus{&t->getDefaultRule(), &t->getStrStrRule()};
        for (const auto& r : t->getRules()) plus.push_back(&r);
        for (size_t i = 0; i < plus.size(); ++i)
            d[k + ":plus" + std::to_string(i)] = std::to_string(plus[i]->getSource()) + " " +
                                                 std::to_string(plus[i]->getChopFlags()) + " [" +
                                                 plus[i]->getRuleKey() + "] " + rule(plus[i]->getRule());
    }
    return d;
}

}  // namespace qxmodel
