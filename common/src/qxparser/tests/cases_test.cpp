// The data-driven tests of reading and saving quorix.dat. Two kinds of data:
// - corpus/NAME.dat against NAME.expected (the save, byte for byte) and
//   NAME.messages (as qxdat and the install log show them);
// - cases/*.txt (see runBlocks): the file's lines, and what the read gives:
//   every message, every value that differs from an empty file's, and
//   "-- saved" with the save when it differs from the input. Behind a line
//   "-- calls" the input goes on with calls on what was read, one a line (a
//   verb of kCalls and its words, split at single blanks); their answers
//   come first, the messages after them.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <sstream>

#include "orvane/qx_datfile.h"
#include "orvane/qx_filesource.h"
#include "orvane/qx_zip.h"
#include "model_dump.h"
#include "roundtrip_law.h"
#include "test_files.h"

namespace fs = std::filesystem;
using namespace orvane;
using namespace qxtestfiles;
using qxmodel::dump;

namespace {

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

using Words = std::vector<std::string>;

// The server's packed form: the plain length in four bytes, low first, then a zlib stream.
std::string prefix(uint32_t n)
{
    return {char(n), char(n >> 8), char(n >> 16), char(n >> 24)};
}

std::string zlib(const std::string& plain)
{
    uLongf room = compressBound(uLong(plain.size()));
    std::string out(room, '\0');
    compress((Bytef*)&out[0], &room, (const Bytef*)plain.data(), uLong(plain.size()));
    return out.substr(0, room);
}

// A section of the read by its head; any other name is a free-standing list of lines.
qx_customproperty& section(qx_datfile& d, std::map<std::string, qx_customproperty>& free, const std::string& n)
{
    if (n == "Options") return d.getQuorixOptions();
    if (n == "WWW") return d.getWWWOptions();
    if (n == "PARSE") return d.getParseOptions();
    return free[n];
}

std::string entries(const qx_customproperty& p)
{
    std::string out;
    for (int i = 0; i < p.lineCount(); ++i) out += "[" + p.getName(i) + "|" + p.getDelimiter(i) + "|" + p.getValue(i) + "]";
    return out + "\n";
}

// What a case's input gives, in its expectation's form.
std::string runCase(std::string input, const std::map<std::string, std::string>& defaults)
{
    size_t cut = input.find("-- calls\n");
    std::istringstream calls(cut == std::string::npos ? "" : input.substr(cut + 9));
    input = input.substr(0, cut);
    qx_datfile dat;
    std::string path = qxtestfiles::readInto(input, dat), out, line;
    std::map<std::string, qx_customproperty> free;
    qx_databaseoptions entry;
    qx_errorlist& errors = dat.getErrorRepository();
    auto num = [](const std::string& w) { return std::stoi(w); };
    const std::map<std::string, std::function<std::string(const Words&, const std::string&)>> kCalls = {
        // Lines: the section's word, then the rest of the line (at 2: the rest behind a number).
        {"parse", [&](const Words& w, const std::string& rest) { return section(dat, free, w[1]).parseLine(rest), ""; }},
        {"parse-front", [&](const Words& w, const std::string& rest) { return section(dat, free, w[1]).parseLine(rest, true), ""; }},
        {"parse-null", [&](const Words& w, const std::string&) { return section(dat, free, w[1]).parseLine((const char*)nullptr), ""; }},
        {"clear", [&](const Words& w, const std::string&) { return section(dat, free, w[1]).clearLines(), ""; }},
        {"delimiter", [&](const Words& w, const std::string& rest) { auto& p = section(dat, free, w[1]); p.setDefaultDelimiter(rest == "null" ? nullptr : rest.c_str()); return "[" + p.getDefaultDelimiter() + "]\n"; }},
        {"set-value", [&](const Words& w, const std::string& rest) { return section(dat, free, w[1]).setValue(num(w[2]), rest.substr(rest.find(' ') + 1)), ""; }},
        {"set", [&](const Words& w, const std::string&) { return section(dat, free, w[1]).setProperty(w[2], w[3], w.size() > 4), ""; }},
        {"set-bool", [&](const Words& w, const std::string&) { return section(dat, free, w[1]).setBoolProperty(w[2], w[3] == "1", w.size() > 4), ""; }},
        {"remove", [&](const Words& w, const std::string&) { return section(dat, free, w[1]).removeProperty(w[2]), ""; }},
        {"find", [&](const Words& w, const std::string&) { return std::to_string(section(dat, free, w[1]).findName(w[2], num(w[3]))) + "\n"; }},
        {"uncomment", [&](const Words& w, const std::string&) { return std::to_string(section(dat, free, w[1]).uncomment(num(w[2]), w.size() > 3 ? w[3].c_str() : nullptr)) + "\n"; }},
        {"copy-lines", [&](const Words& w, const std::string&) { auto& p = section(dat, free, w[1]); p.copyLines(section(dat, free, w[2])); return "[" + p.getDefaultDelimiter() + "]\n"; }},
        {"entries", [&](const Words& w, const std::string&) { return entries(section(dat, free, w[1])); }},
        {"placeholders", [&](const Words& w, const std::string&) { return qx_datfile::replacePlaceholders(section(dat, free, w[1]), w[2], w[3], w.size() > 4 ? w[4] : ""), ""; }},
        // The sections' own setters.
        {"cluster", [&](const Words& w, const std::string&) { auto& c = dat.getClusterParams(); return c.setEnabled(w[1] == "1"), c.setDefaultNodeOS(num(w[2])), c.setDefaultNodeHomeDir(w[3]), ""; }},
        {"os-name", [&](const Words& w, const std::string&) { auto n = qx_clusterparams::nodeOSName(num(w[1])); return std::string(n ? n : "null") + "\n"; }},
        {"options", [&](const Words& w, const std::string&) { auto& o = dat.getQuorixOptions(); return o.setForkForUnixApache(w[1] == "1"), o.setNTIUserGroup(w[2]), o.setNTMonitorGroup(w[3]), o.setResultsFullURL(w[4]), ""; }},
        {"www", [&](const Words& w, const std::string&) { qx_wwwentry e; e.databaseName = w[1], e.type = num(w[2]), e.number = num(w[3]), e.path = w[4]; return dat.getWWWOptions().addWWWEntry(e), ""; }},
        {"rule", [&](const Words& w, const std::string&) { qx_parserule r; r.setActive(w.size() > 2), r.setPattern(w.size() > 2 ? w[2] : ""); return dat.getParseOptions().setRule(num(w[1]), r), ""; }},
        {"find-or-add", [&](const Words& w, const std::string&) { bool added = false; int n = dat.getParseOptions().findOrAddRule(w[1], added); return std::to_string(n) + " added " + std::to_string(added) + "\n"; }},
        // A database entry of its own, and the read's Databases.
        {"entry", [&](const Words& w, const std::string& rest) { return std::to_string(entry.readLine(rest, w[1] == "1")) + "\n"; }},
        {"entry-set", [&](const Words& w, const std::string&) { entry.setThreads(num(w[1])); if (w.size() > 2) entry.setPath(w[2]), entry.setAccessionRule(num(w[3])), entry.setDescriptionRule(num(w[4])), entry.setAccessionRefRule(num(w[5])), entry.setTaxonomyRule(num(w[6])), entry.setActive(w[7] == "1"); return "[" + entry.getLineText() + "]\n"; }},
        {"db-find", [&](const Words& w, const std::string&) { return std::to_string(dat.getDatabases().findDatabase(w[1] == "null" ? nullptr : w[1] == "empty" ? "" : w[1].c_str(), w[2] == "1")) + "\n"; }},
        {"db-update", [&](const Words& w, const std::string&) { return std::to_string(dat.getDatabases().updateDatabase(num(w[1]), entry)) + "\n"; }},
        {"db-append", [&](const Words&, const std::string&) { return dat.getDatabases().appendDatabase(entry), ""; }},
        {"db-reset", [&](const Words&, const std::string&) { return dat.getDatabases().reset(), ""; }},
        // A copy made with each way there is: its entries and comments.
        {"db-copies", [&](const Words&, const std::string&) { qx_databases made(dat.getDatabases()), assigned; qx_datfile other; readInto("Databases\n## mine\nend\n", other), other.getDatabases() = dat.getDatabases();
            made.appendDatabase(entry); std::string o; for (auto* d : {&made, &other.getDatabases(), &dat.getDatabases()}) o += std::to_string(d->getNumberOfDatabases()) + " " + std::to_string(d->isAvailable()) + " [" + qxmodel::join(d->getComments()) + "]\n"; return o; }},
        // The whole read: copied, read again (from another working folder), reset; '|' ends a line.
        {"copy", [&](const Words&, const std::string&) { qx_datfile b; b.copyFrom(dat); dat.reset(), dat.setFileName(""), errors.addError(qxerr::noQuorixDat), dat.copyFrom(b); return "same name " + std::to_string(dat.getFileName() == path) + "\n"; }},
        {"set-taxonomy", [&](const Words& w, const std::string&) { return dat.setTaxonomyRules(num(w[1]), w[2] == "null" ? nullptr : dat.getTaxonomyRules(num(w[2]))), ""; }},
        {"has-taxonomy", [&](const Words& w, const std::string&) { return std::to_string(dat.getTaxonomyRules(num(w[1])) != nullptr) + "\n"; }},
        {"taxonomy-defaults", [&](const Words& w, const std::string&) { qx_taxonomyrules t(*dat.getTaxonomyRules(num(w[1]))); t.defaultValues(); return std::to_string(t.getRules().size()) + " " + std::to_string(t.getConcatRefFileLines()) + "\n"; }},
        {"write", [&](const Words& w, const std::string& rest) { return fs::create_directories(fs::path(w[1]).parent_path()), writeBytes(w[1], replaceAll(rest, "|", "\n")), ""; }},
        {"cd", [&](const Words& w, const std::string&) { return fs::current_path(w[1]), ""; }},
        {"read", [&](const Words&, const std::string&) { return path = readInto(replaceAll(line.substr(5), "|", "\n"), dat), ""; }},
        {"reset", [&](const Words&, const std::string&) { return dat.reset(), "same name " + std::to_string(dat.getFileName() == path) + " nodes " + dat.getQuorixFiles().getNodeListFile() + "\n"; }},
        // Reading files: '|' ends a line, TEMP/ is this program's own folder, "null" no name.
        {"kind", [&](const Words& w, const std::string&) { return std::to_string(sourceKind(w[1] == "null" ? nullptr : w[1].c_str())) + "\n"; }},
        {"lines", [&](const Words& w, const std::string&) { qx_filesource f(&dat, qx_connection_settings()); std::string text = replaceAll(line.substr(6), "|", "\n"), o, l;
            f.openText(text.data(), text.size()); while (f.getLine(l)) o += "[" + l + "]";
            return o + (f.getLine(l) ? " and more\n" : "\n"); }},
        {"pieces", [&](const Words& w, const std::string& rest) { qx_filesource f(&dat, qx_connection_settings()); char b[8]; int n = -1; char* at = nullptr; std::string o = std::to_string(f.getLine(b, 8, n, at)), text = replaceAll(line.substr(7), "|", "\n");
            for (f.openText(text.data(), text.size()); f.getLine(b, 8, n, at);) o += " [" + std::string(at) + "] " + std::to_string(n == int(std::strlen(b)));
            return o + "\n"; }},
        {"open", [&](const Words& w, const std::string&) { qx_filesource f(&dat, qx_connection_settings()); std::string l, o; for (int i = 0; i < 2; ++i) o += std::to_string(f.open(w[1].c_str())) + std::to_string(f.isOpen()) + (f.getLine(l) ? " [" + l + "] " : " "); return o + "\n"; }},
        {"open-file", [&](const Words& w, const std::string&) { std::FILE* f = openFile(w[1].c_str(), w[2].c_str(), w.size() > 3 ? nullptr : &dat); return std::to_string(f != nullptr) + "\n" + (f ? std::to_string(std::fclose(f)) : ""); }},
        {"exists", [&](const Words& w, const std::string&) { return std::to_string(fileExists(w[1] == "null" ? nullptr : w[1].c_str())) + "\n"; }},
        {"locate", [&](const Words& w, const std::string&) { return "[" + locateConfigFile(w[1].c_str(), w.size() > 2 ? nullptr : &dat, 0) + "]\n"; }},
        {"locate-from", [&](const Words& w, const std::string&) { auto was = fs::current_path(); fs::current_path(w[1]); std::string found = locateConfigFile("", &dat, 0); fs::current_path(was); return std::to_string(found == defaultRelativeConfigPath()) + "\n"; }},
        // A rule compiled, copied, assigned and changed.
        {"compile", [&](const Words& w, const std::string&) { qx_parserule r, defined; r.setActive(true), r.setPattern(line.substr(8)), defined = r; bool ok = r.compile(&errors); qx_parserule copy(r), assigned, quiet(defined); assigned = defined;
            std::string o = std::to_string(ok) + std::to_string(r.isCompiled()) + std::to_string(r.isActive()) + " copies " + std::to_string(copy.isCompiled()) + std::to_string(copy.getCompiled() != r.getCompiled() || !ok) + std::to_string(assigned.isCompiled()) + std::to_string(quiet.compile(nullptr));
            return copy.setPattern("other"), o + std::to_string(copy.isCompiled()) + "\n"; }},
        // Packed data: a length prefix ("-" none) and a zlib stream of a text ("z:" cut to w[3]) or bytes as they stand.
        {"unpack", [&](const Words& w, const std::string& rest) { std::string data = w.size() < 3 || w[2].rfind("z:", 0) ? rest : zlib(w[2].substr(2)).substr(0, w.size() > 3 ? num(w[3]) : -1);
            qx_zip z(true, (w[1] == "-" ? "" : prefix(std::stoul(w[1]))) + data); errors.appendFrom(z.getErrorRepository()); return std::to_string(z.isValid()) + " [" + z.getUncompressed() + "]\n"; }},
        // Packs N bytes (random from seed w[2], else 'q's and an 'x'), and unpacks them with zlib and with the class.
        {"pack", [&](const Words& w, const std::string&) { std::string plain(std::stoull(w[1]), 'q'), data; std::mt19937 gen(num(w[2])); for (char& c : plain) c = w[2] == "0" ? c : char(gen()); if (plain.size() > 12345) plain[12345] = 'x';
            qx_zip packed(false, plain); data = packed.getCompressed(); uLongf n = uLongf(plain.size()); std::string out(n, '\0'); qx_zip unpacked(true, data);
            bool plainZlib = data.size() > 4 && uncompress((Bytef*)&out[0], &n, (const Bytef*)data.data() + 4, uLong(data.size() - 4)) == Z_OK && out == plain;
            errors.appendFrom(packed.getErrorRepository()), errors.appendFrom(unpacked.getErrorRepository());
            return std::to_string(packed.isValid()) + std::to_string(data.size() == packed.getCompressedLength()) + std::to_string(data.substr(0, 4) == prefix(uint32_t(plain.size()))) + std::to_string(plainZlib) + " unpacked " +
                   std::to_string(unpacked.isValid()) + std::to_string(unpacked.getUncompressed() == plain) + std::to_string(unpacked.getUncompressedLength() == plain.size()) + "\n"; }},
        // The message list.
        {"error", [&](const Words& w, const std::string&) { return errors.addError(num(w[1]), w.size() > 2 ? w[2].c_str() : "", w.size() > 3 ? w[3].c_str() : ""), ""; }},
        {"error-int", [&](const Words& w, const std::string&) { return errors.addError(num(w[1]), num(w[2])), ""; }},
        {"fold", [&](const Words& w, const std::string&) { return errors.setFoldRepeats(w[1] == "1"), ""; }},
        {"level", [&](const Words& w, const std::string&) { return errors.setLoggingLevel(num(w[1])), ""; }},
        {"clear-errors", [&](const Words&, const std::string&) { return errors.clearAll(), ""; }},
        {"append-errors", [&](const Words&, const std::string&) { return errors.appendFrom(errors), ""; }},
        {"message", [&](const Words& w, const std::string&) { int n = num(w[1]); return "[" + errors.getMessage(n) + "] " + std::to_string(errors.getSeverity(n)) + " " + std::to_string(errors.getRepeats(n)) + " valid " + std::to_string(errors.isValid()) + "\n"; }},
    };
    const fs::path cwd = fs::current_path();
    while (std::getline(calls, line)) {
        line = replaceAll(line, "TEMP/", tempPath(""));
        Words w;
        for (std::istringstream words(line); std::getline(words, w.emplace_back(), ' ');) {}
        w.pop_back();
        size_t rest = line.find(' ', line.find(' ') + 1);
        out += kCalls.at(w[0])(w, rest == std::string::npos ? "" : line.substr(rest + 1));
    }
    fs::current_path(cwd);
    // The engine's own text behind a failed compile differs by platform.
    out = encode(out + messages(errors, path, "F", false));
    for (std::string tag : {"Error string: ", "the following error: "})
        for (size_t at = out.find(tag); at != std::string::npos; at = out.find(tag, at + 1))
            out.replace(at + tag.size(), out.find('\n', at) - at - tag.size(), "ENGINE");
    for (const auto& [key, value] : dump(dat)) {
        auto d = defaults.find(key);
        if (d == defaults.end() || d->second != value) out += key + " = " + encode(value) + "\n";
    }
    std::string out2 = qxtestfiles::tempPath("case-saved.dat");
    dat.setFileName(out2);
    if (!dat.save()) out += "save failed\n";
    std::string saved = qxtestfiles::lfText(readBytes(out2));
    if (saved != input) out += "-- saved\n" + encode(saved) + (saved.empty() || saved.back() != '\n' ? "\n<NOEOL>\n" : "");
    return replaceAll(out, tempPath(""), "TEMP/");
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
