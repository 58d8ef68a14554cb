#include "orvane/qx_quorixoptions.h"

#include <cmath>
#include <iterator>
#include <vector>

#include "orvane/qx_errors.h"
#include "qx_scan.h"
#include "qx_text.h"

namespace orvane {

using namespace qxparser_internal;

namespace {

// Behind the key and the blanks, tabs and colons that follow it.
inline size_t valueStart(std::string_view line, size_t at)
{
    return skipChars(line, at > line.size() ? line.size() : at, " \t:");
}

// A float outside the 64-bit range would make the conversion undefined.
int64_t toInt64(double value)
{
    if (value >= 9.2e18) return INT64_MAX;
    return static_cast<int64_t>(value);
}

}  // namespace

const std::array<int32_t, qx_quorixoptions::kReviewColumns>& qx_quorixoptions::defaultReviewColWidths()
{
    static const std::array<int32_t, kReviewColumns> widths = {7, 8, 8, 27, 30, 100, 32, 25, 6, 13, 2, 4, 6, 16, 7};
    return widths;
}

void qx_quorixoptions::defaultValues()
{
    resetLines(" ");
#define QX_RESET(Getter, member, key, def, ...) member = def;
    QX_OPTIONS_FLAGS(QX_RESET)
    QX_OPTIONS_INTS(QX_RESET)
    QX_OPTIONS_TEXTS(QX_RESET)
    QX_OPTIONS_RESTS(QX_RESET)
#undef QX_RESET
    emailFromTextName.clear();
    centroidWidth = 0.25;
    vmemory = -1;
    reportNumberChoices.clear();
    reviewColWidths = defaultReviewColWidths();
    showSubsets = 0.0;
    sigThreshold = 0.05;
    ignoreIonsScoreBelow = 0.0;
    featureTableMinScore = 13.0;
    icatFilter = "C";
    ignoreDupeAccessions.assign(1, "EST_others");
    getSeqBlastAccession = qx_blastaccession();
    unixDirPerm = 511;
    unixDirPermDefined = false;
    precursorCutOutLow = -1.0;
    precursorCutOutHigh = -1.0;
    taxBrowserURL.clear();
    sortUnassigned = "scoredown";
}

namespace {

void reportLine(section_input& in, std::string_view line)
{
    in.errors.addError(qxerr::optionsLine, in.fileName.c_str(), std::string(line).c_str());
}

}  // namespace

void qx_quorixoptions::readValue(std::string_view line, section_input& in)
{
    struct flag_row {
        std::string_view key;
        bool qx_quorixoptions::*member;
        bool def;
    };
    static const flag_row flags[] = {
#define QX_ROW(Getter, member, key, def) {key, &qx_quorixoptions::member, def},
        QX_OPTIONS_FLAGS(QX_ROW)
#undef QX_ROW
    };
    struct int_row {
        std::string_view key;
        int32_t qx_quorixoptions::*member;
        int32_t def, low, high, bad;
        bool report;
    };
    static const int_row ints[] = {
#define QX_ROW(Getter, member, key, def, ...) {key, &qx_quorixoptions::member, def, __VA_ARGS__},
        QX_OPTIONS_INTS(QX_ROW)
#undef QX_ROW
    };
    struct text_row {
        std::string_view key;
        std::string qx_quorixoptions::*member;
        const char* def;
        bool required;
    };
    static const text_row texts[] = {
#define QX_ROW(Getter, member, key, def, required) {key, &qx_quorixoptions::member, def, required},
        QX_OPTIONS_TEXTS(QX_ROW)
#undef QX_ROW
    };
    static const text_row rests[] = {
#define QX_ROW(Getter, member, key, def, required) {key, &qx_quorixoptions::member, def, required},
        QX_OPTIONS_RESTS(QX_ROW)
#undef QX_ROW
    };
    // The keys with readers of their own.
    struct special_row {
        std::string_view key;
        void (*read)(qx_quorixoptions& o, std::string_view s, section_input& in);
    };
    static const special_row specials[] = {
        {"EmailFromTextName",
         [](qx_quorixoptions& o, std::string_view s, section_input&) {
             size_t pos = skipChars(s, 17, " \t");
             bool quoted = pos < s.size() && (s[pos] == '"' || s[pos] == '\'');
             if (quoted) ++pos;
             std::string value(s.substr(pos, skipToChars(s, pos, "\r\n") - pos));
             if (value.size() > 256) value.resize(256);
             if (quoted && !value.empty() && (value.back() == '"' || value.back() == '\'')) value.pop_back();
             o.emailFromTextName = value;
         }},
        {"CentroidWidth",
         [](qx_quorixoptions& o, std::string_view s, section_input& in) {
             float value = 0.25f;
             scanSecondFloat(s, value);
             if (value > 0 && value < 10) {
                 o.centroidWidth = value;
             } else {
                 reportLine(in, s);
             }
         }},
        {"Vmemory",
         [](qx_quorixoptions& o, std::string_view s, section_input& in) {
             float value = -1.0f;
             scanSecondFloat(s, value);
             if (value >= -1) {
                 o.vmemory = toInt64(value);
             } else {
                 reportLine(in, s);
             }
         }},
        {"ReportNumberChoices",
         [](qx_quorixoptions& o, std::string_view s, section_input& in) { o.readReportNumberChoices(s, in); }},
        {"ReviewColWidths",
         [](qx_quorixoptions& o, std::string_view s, section_input& in) { o.readReviewColWidths(s, in); }},
        {"ShowSubsets",
         [](qx_quorixoptions& o, std::string_view s, section_input&) {
             int32_t value = 0;
             scanSecondInt(s, value);
             o.showSubsets = value == 1 ? 1.0 : 0.0;
         }},
        {"SigThreshold",
         [](qx_quorixoptions& o, std::string_view s, section_input& in) {
             double value = 0.05;
             scanSecondDouble(s, value);
             if (value >= 0) {
                 o.sigThreshold = value;
             } else {
                 reportLine(in, s);
             }
         }},
        {"IgnoreIonsScoreBelow",
         [](qx_quorixoptions& o, std::string_view s, section_input& in) {
             scanSecondDouble(s, o.ignoreIonsScoreBelow);
             if (!(o.ignoreIonsScoreBelow >= 0)) {
                 o.ignoreIonsScoreBelow = 0.0;
                 reportLine(in, s);
             }
         }},
        {"FeatureTableMinScore",
         [](qx_quorixoptions& o, std::string_view s, section_input& in) {
             float value = 13.0f;
             scanSecondFloat(s, value);
             if (value > 0) {
                 o.featureTableMinScore = value;
             } else {
                 reportLine(in, s);
             }
         }},
        {"ICATFilter",
         [](qx_quorixoptions& o, std::string_view s, section_input& in) {
             size_t pos = valueStart(s, 10);
             o.icatFilter = std::string(s.substr(pos, skipToChars(s, pos, " \t:") - pos));
             if (o.icatFilter.empty()) {
                 o.icatFilter = "C";
                 in.errors.addError(qxerr::emptyIcatFilter);
             }
         }},
        {"IgnoreDupeAccessions",
         [](qx_quorixoptions& o, std::string_view s, section_input&) {
             o.ignoreDupeAccessions.clear();
             for (std::string_view item : splitItems(s.substr(valueStart(s, 21)), " ,\t"))
                 o.ignoreDupeAccessions.emplace_back(item);
         }},
        {"GetSeqBlastAccession",
         [](qx_quorixoptions& o, std::string_view s, section_input& in) { o.readBlastAccession(s, in); }},
        {"UnixDirPerm",
         [](qx_quorixoptions& o, std::string_view s, section_input&) {
             int32_t value = 511;
             scanSecondOctal(s, value);
             o.unixDirPerm = value;
             o.unixDirPermDefined = true;
         }},
        {"PrecursorCutOut",
         [](qx_quorixoptions& o, std::string_view s, section_input& in) { o.readPrecursorCutOut(s, in); }},
        {"TaxBrowserURL",
         [](qx_quorixoptions& o, std::string_view s, section_input&) {
             // Stops at the colon of a scheme: the typed value of a full URL
             // is its scheme, as the server has always read it; the line
             // stays whole.
             size_t pos = valueStart(s, 13);
             o.taxBrowserURL = std::string(s.substr(pos, skipToChars(s, pos, " \t:") - pos));
         }},
        {"SortUnassigned",
         [](qx_quorixoptions& o, std::string_view s, section_input&) {
             std::string_view value = s.substr(valueStart(s, 14));
             o.sortUnassigned = value == "scoredown" || value == "queryup" || value == "intdown"
                                    ? std::string(value)
                                    : "scoredown";
         }},
    };

    // Every key by its first byte, each byte's keys in the order the tables
    // give them (flags, numbers, texts, rests, then the special keys), so
    // that the first key a line starts with is the one it always was: a
    // line is compared with the few keys of its first byte, not with all of
    // them (an Options section is most of a large file).
    enum class kind : uint8_t { flag, integer, text, rest, special };
    struct key_ref {
        std::string_view key;
        kind what;
        uint16_t row;
    };
    struct key_index {
        std::vector<key_ref> keys;
        uint16_t from[257] = {};
    };
    static const key_index index = [] {
        std::vector<key_ref> all;
        auto add = [&all](const auto& table, kind what) {
            for (size_t r = 0; r < std::size(table); ++r) all.push_back({table[r].key, what, static_cast<uint16_t>(r)});
        };
        add(flags, kind::flag);
        add(ints, kind::integer);
        add(texts, kind::text);
        add(rests, kind::rest);
        add(specials, kind::special);
        key_index built;
        for (int b = 0; b < 256; ++b) {
            built.from[b] = static_cast<uint16_t>(built.keys.size());
            for (const key_ref& k : all)
                if (static_cast<unsigned char>(k.key[0]) == b) built.keys.push_back(k);
        }
        built.from[256] = static_cast<uint16_t>(built.keys.size());
        return built;
    }();

    if (line.empty()) return;
    const unsigned char first = static_cast<unsigned char>(line[0]);
    for (size_t k = index.from[first]; k < index.from[first + 1]; ++k) {
        const key_ref& ref = index.keys[k];
        if (line.substr(0, ref.key.size()) != ref.key) continue;
        switch (ref.what) {
        case kind::flag: {
            const flag_row& row = flags[ref.row];
            int32_t value = row.def ? 1 : 0;
            scanSecondInt(line, value);
            this->*row.member = value == 1;
            return;
        }
        case kind::integer: {
            const int_row& row = ints[ref.row];
            int32_t& member = this->*row.member;
            bool scanned = scanSecondInt(line, member);
            if (row.member == &qx_quorixoptions::mudpit) {
                if (!scanned) reportLine(in, line);
            } else if (row.member == &qx_quorixoptions::minPepLenInSearch ||
                       row.member == &qx_quorixoptions::maxPepNumVarMods) {
                if (!scanned) {
                    member = row.def;
                    reportLine(in, line);
                }
            } else if (member < row.low || member > row.high) {
                member = row.member == &qx_quorixoptions::maxNumPeptides ? maxSequenceLen / 4 : row.bad;
                if (row.report) reportLine(in, line);
            }
            // Read before or after MaxNumPeptides, the sequence length sets
            // it; a MaxNumPeptides line further down has the last word.
            if (row.member == &qx_quorixoptions::maxSequenceLen) maxNumPeptides = maxSequenceLen / 4;
            return;
        }
        case kind::text: {
            const text_row& row = texts[ref.row];
            std::string value;
            if (scanSecondWord(line, value)) {
                this->*row.member = value;
            } else if (row.required) {
                this->*row.member = row.def;
                reportLine(in, line);
            }
            return;
        }
        case kind::rest: {
            const text_row& row = rests[ref.row];
            std::string_view value = line.substr(valueStart(line, row.key.size()));
            if (value.empty() && row.required) {
                this->*row.member = row.def;
                reportLine(in, line);
            } else {
                this->*row.member = std::string(value);
            }
            return;
        }
        case kind::special:
            specials[ref.row].read(*this, line, in);
            return;
        }
    }
}

void qx_quorixoptions::readReportNumberChoices(std::string_view line, section_input& in)
{
    auto report = [&]() { reportLine(in, line); };
    std::string_view s = line;
    // A second line adds to the first: the list isn't cleared.
    for (std::string_view item : splitItems(s.substr(valueStart(s, 20)), " ,\t")) {
        if (startsWithNoCase(item, "Auto")) {
            reportNumberChoices.push_back(-1);
            continue;
        }
        size_t pos = 0;
        int32_t value = 0;
        if (!scanInt(item, pos, value)) {
            report();
            return;
        }
        reportNumberChoices.push_back(value);
    }
    if (reportNumberChoices.empty()) {
        report();
        return;
    }
    for (int32_t& value : reportNumberChoices) {
        if (value < 1 && value != -1) {
            value = 10;
            report();
            break;
        }
    }
}

void qx_quorixoptions::readReviewColWidths(std::string_view line, section_input& in)
{
    std::vector<std::string_view> items = splitItems(line.substr(15), " ,\t");
    bool bad = false;
    for (size_t c = 0; c < kReviewColumns; ++c) {
        reviewColWidths[c] = defaultReviewColWidths()[c];
        if (c >= items.size()) continue;
        size_t pos = 0;
        int32_t width = 0;
        if (scanInt(items[c], pos, width) && width >= 2 && width <= 300) {
            reviewColWidths[c] = width;
        } else {
            bad = true;
        }
    }
    if (bad) reportLine(in, line);
}

void qx_quorixoptions::readBlastAccession(std::string_view line, section_input& in)
{
    std::string_view s(line);
    std::string_view value = s.substr(valueStart(s, 20));
    if (value.empty()) return;
    qx_blastaccession& blast = getSeqBlastAccession;
    if (startsWithNoCase(value, "REGEX")) {
        blast.useRegex = true;
        return;
    }
    blast.useRegex = false;
    // "(start),(end),(n)". What was taken before a fault stays. A text longer
    // than the server's 255 bytes holds is a fault of its own: it is neither
    // cut (the server would see another accession) nor stored whole.
    auto fault = [&]() { reportLine(in, line); };
    if (value[0] != '(') return fault();
    size_t startEnd = value.find("),(", 1);
    if (startEnd == std::string_view::npos) return fault();
    if (startEnd - 1 > qx_blastaccession::kMaxChars) return fault();
    blast.startChars = std::string(value.substr(1, startEnd - 1));
    size_t endAt = startEnd + 3;
    size_t endEnd = value.find("),(", endAt);
    if (endEnd == std::string_view::npos) return fault();
    if (endEnd - endAt > qx_blastaccession::kMaxChars) return fault();
    blast.endChars = std::string(value.substr(endAt, endEnd - endAt));
    size_t fieldAt = endEnd + 3;
    if (fieldAt + 1 >= value.size() || !isDigit(value[fieldAt]) || value[fieldAt + 1] != ')') return fault();
    blast.fieldNumber = value[fieldAt] - '0';
}

void qx_quorixoptions::readPrecursorCutOut(std::string_view line, section_input& in)
{
    auto fault = [&]() {
        precursorCutOutLow = precursorCutOutHigh = -1.0;
        reportLine(in, line);
    };
    std::string_view s(line);
    size_t start = valueStart(s, 16);
    size_t end = skipToChars(s, start, " ,\t");
    size_t pos = 0;
    float first = 0;
    if (!scanFloat(s.substr(start, end - start), pos, first)) return fault();
    if (end >= s.size()) {
        // One value: only "off" may stand alone.
        if (std::fabs(first - (-1.0)) > 0.01) return fault();
        precursorCutOutLow = precursorCutOutHigh = first;
        return;
    }
    precursorCutOutLow = precursorCutOutHigh = first;
    pos = end + 1;
    float second = 0;
    if (!scanFloat(s, pos, second) || !(second >= first)) return fault();
    precursorCutOutHigh = second;
}

void qx_quorixoptions::setForkForUnixApache(bool flag)
{
    forkForUnixApache = flag;
    setBoolProperty("ForkForUnixApache", flag);
}

void qx_quorixoptions::setNTIUserGroup(const std::string& text)
{
    ntIUserGroup = text;
    setProperty("NTIUserGroup", text);
}

void qx_quorixoptions::setNTMonitorGroup(const std::string& text)
{
    ntMonitorGroup = text;
    setProperty("NTMonitorGroup", text);
}

void qx_quorixoptions::setResultsFullURL(const std::string& text)
{
    resultsFullURL = text;
    setProperty("ResultsFullURL", text);
}

}  // namespace orvane
