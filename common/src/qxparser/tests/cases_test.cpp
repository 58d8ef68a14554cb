// The data-driven tests of reading and saving quorix.dat. Two kinds of data:
// - corpus/NAME.dat against NAME.expected (the save, byte for byte) and
//   NAME.messages (as qxdat and the install log show them);
// - cases/*.txt (see runBlocks): the file's lines, and what the read gives:
//   every message, every value that differs from an empty file's, and
//   "-- saved" with the save when it differs from the input.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "orvane/qx_datfile.h"
#include "roundtrip_law.h"
#include "test_files.h"

namespace fs = std::filesystem;
using namespace orvane;
using namespace qxtestfiles;

namespace {

template <typename T>
std::string join(const T& list)
{
    std::ostringstream out;
    for (const auto& v : list) out << (&v == &*list.begin() ? "" : ",") << v;
    return out.str();
}

template <size_t N>
std::string bits(const std::array<bool, N>& set)
{
    std::vector<size_t> on;
    for (size_t i = 0; i < N; ++i)
        if (set[i]) on.push_back(i);
    return on.size() == N ? "*" : join(on);
}

std::string rule(const qx_parserule& r)
{
    return r.getPattern().empty() && !r.isActive() ? "" : (r.isActive() ? "on " : "off ") + r.getPattern() +
                                                             (r.isCompiled() ? " compiled" : "");
}

void lines(std::map<std::string, std::string>& d, const std::string& key, const qx_section& s)
{
    d[key] = s.isAvailable() ? "present" : "";
    for (int i = 0; i < s.lineCount(); ++i)
        d[key + "." + std::to_string(i)] = "[" + s.getName(i) + "][" + s.getDelimiter(i) + "][" + s.getValue(i) + "]";
}

// Every value the read makes, by name.
std::map<std::string, std::string> dump(qx_datfile& dat)
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
          << e.getTaxonomyRule() << " [" << e.getLineText() << "]";
        d["Databases." + std::to_string(i)] = o.str();
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

// The corpus shows messages as qxdat and the install log do, the cases with their codes.
std::string messages(const qx_errorlist& list, const std::string& path, const std::string& name, bool corpus)
{
    std::string out;
    for (int n = 1; n <= list.getMessageCount(); ++n)
        out += (corpus ? "qxparser [" : std::to_string(list.getErrorNumber(n)) + " [") +
               std::to_string(list.getSeverity(n)) + ":" + std::to_string(list.getRepeats(n)) +
               (corpus ? "] -- " : "] ") + replaceAll(list.getMessage(n), path, name) + "\n";
    return out;
}

// What a case's input gives, in its expectation's form.
std::string runCase(const std::string& input, const std::map<std::string, std::string>& defaults)
{
    qx_datfile dat;
    std::string path = qxtestfiles::readInto(input, dat);
    std::string out = encode(messages(dat.getErrorRepository(), path, "F", false));
    for (const auto& [key, value] : dump(dat)) {
        auto d = defaults.find(key);
        if (d == defaults.end() || d->second != value) out += key + " = " + encode(value) + "\n";
    }
    std::string out2 = qxtestfiles::tempPath("case-saved.dat");
    dat.setFileName(out2);
    if (!dat.save()) out += "save failed\n";
    std::string saved = qxtestfiles::lfText(readBytes(out2));
    if (saved != input) out += "-- saved\n" + encode(saved) + (saved.empty() || saved.back() != '\n' ? "\n<NOEOL>\n" : "");
    return out;
}

}  // namespace

TEST(Cases, EveryBlockOfEveryCaseFile)
{
    qx_datfile empty;
    qxtestfiles::readInto("", empty);
    const auto defaults = dump(empty);
    int count = 0;
    for (const auto& entry : fs::directory_iterator(qxtestfiles::corpusDir() + "/../cases"))
        if (entry.path().extension() == ".txt")
            count += qxtestfiles::runBlocks(entry.path().string(), [&](const std::string&, const std::string& input) {
                return runCase(input, defaults);
            });
    EXPECT_GT(count, 100);
}

TEST(Cases, CorpusSavedFormAndMessagesMatchByteForByteAndObeyTheRoundTripLaw)
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(qxtestfiles::corpusDir()))
        if (entry.path().extension() == ".dat") names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    EXPECT_GE(names.size(), 10u);
    for (const std::string& stem : names) {
        SCOPED_TRACE(stem);
        std::string input = qxtestfiles::corpusDir() + "/" + stem + ".dat";
        std::string first = qxtestfiles::tempPath(stem + ".1"), second = qxtestfiles::tempPath(stem + ".2");
        qx_datfile dat;
        dat.getErrorRepository().setLoggingLevel(QX_SEV_INFO);
        dat.setFileName(input);
        dat.read();
        EXPECT_EQ(messages(dat.getErrorRepository(), input, stem + ".dat", true), readBytes(qxtestfiles::corpusDir() + "/" + stem + ".messages"));
        dat.setFileName(first);
        ASSERT_TRUE(dat.save()) << dat.getErrorRepository().getMessage(1);
        std::string saved = readBytes(first);
        EXPECT_EQ(saved, qxtestfiles::platformText(readBytes(qxtestfiles::corpusDir() + "/" + stem + ".expected")));
        qx_datfile again;
        again.setFileName(first);
        again.read();
        again.setFileName(second);
        ASSERT_TRUE(again.save());
        EXPECT_EQ(qxlaw::violation(saved, readBytes(second)), "");
    }
}
