#include "orvane/qx_quorixoptions.h"

#include <cmath>

#include "orvane/qx_errors.h"
#include "qx_scan.h"
#include "qx_text.h"

namespace orvane {

using namespace qxparser_internal;

namespace {

// Options keys count with their case.
inline bool hasKey(std::string_view line, std::string_view key)
{
    // The first byte rules out nearly every key before a compare is called.
    return !line.empty() && line[0] == key[0] && line.substr(0, key.size()) == key;
}

// Whether any key of the four tables starts with a byte: a line whose first
// byte starts none of them goes straight to the keys read one by one.
struct first_bytes {
    bool any[256] = {};
    void add(std::string_view key) { any[static_cast<unsigned char>(key[0])] = true; }
    bool has(std::string_view line) const { return !line.empty() && any[static_cast<unsigned char>(line[0])]; }
};

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

void qx_quorixoptions::readValue(std::string_view line, section_input& in)
{
    auto report = [&]() { in.errors.addError(qxerr::optionsLine, in.fileName.c_str(), std::string(line).c_str()); };

    struct flag_row {
        std::string_view key;
        bool qx_quorixoptions::*member;
        bool def;
    };
    static const first_bytes tableStarts = [] {
        first_bytes starts;
#define QX_START(Getter, member, key, ...) starts.add(key);
        QX_OPTIONS_FLAGS(QX_START)
        QX_OPTIONS_INTS(QX_START)
        QX_OPTIONS_TEXTS(QX_START)
        QX_OPTIONS_RESTS(QX_START)
#undef QX_START
        return starts;
    }();
    if (!tableStarts.has(line)) {
        readSpecial(line, in);
        return;
    }

    static const flag_row flags[] = {
#define QX_ROW(Getter, member, key, def) {key, &qx_quorixoptions::member, def},
        QX_OPTIONS_FLAGS(QX_ROW)
#undef QX_ROW
    };
    for (const flag_row& row : flags) {
        if (!hasKey(line, row.key)) continue;
        int32_t value = row.def ? 1 : 0;
        scanSecondInt(line, value);
        this->*row.member = value == 1;
        return;
    }

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
    for (const int_row& row : ints) {
        if (!hasKey(line, row.key)) continue;
        int32_t& member = this->*row.member;
        bool scanned = scanSecondInt(line, member);
        if (row.member == &qx_quorixoptions::mudpit) {
            if (!scanned) report();
        } else if (row.member == &qx_quorixoptions::minPepLenInSearch ||
                   row.member == &qx_quorixoptions::maxPepNumVarMods) {
            if (!scanned) {
                member = row.def;
                report();
            }
        } else if (member < row.low || member > row.high) {
            member = row.member == &qx_quorixoptions::maxNumPeptides ? maxSequenceLen / 4 : row.bad;
            if (row.report) report();
        }
        // Read before or after MaxNumPeptides, the sequence length sets it;
        // a MaxNumPeptides line further down has the last word.
        if (row.member == &qx_quorixoptions::maxSequenceLen) maxNumPeptides = maxSequenceLen / 4;
        return;
    }

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
    for (const text_row& row : texts) {
        if (!hasKey(line, row.key)) continue;
        std::string value;
        if (scanSecondWord(line, value)) {
            this->*row.member = value;
        } else if (row.required) {
            this->*row.member = row.def;
            report();
        }
        return;
    }

    static const text_row rests[] = {
#define QX_ROW(Getter, member, key, def, required) {key, &qx_quorixoptions::member, def, required},
        QX_OPTIONS_RESTS(QX_ROW)
#undef QX_ROW
    };
    for (const text_row& row : rests) {
        if (!hasKey(line, row.key)) continue;
        std::string value(line.substr(valueStart(line, row.key.size())));
        if (value.empty() && row.required) {
            this->*row.member = row.def;
            report();
        } else {
            this->*row.member = value;
        }
        return;
    }

    readSpecial(line, in);
}

bool qx_quorixoptions::readSpecial(std::string_view s, section_input& in)
{
    // The few keys with readers of their own get the line as a string.
    const auto line = [s]() { return std::string(s); };
    auto report = [&]() { in.errors.addError(qxerr::optionsLine, in.fileName.c_str(), line().c_str()); };

    if (hasKey(s, "EmailFromTextName")) {
        size_t pos = skipChars(s, 17, " \t");
        bool quoted = pos < s.size() && (s[pos] == '"' || s[pos] == '\'');
        if (quoted) ++pos;
        std::string value(s.substr(pos, skipToChars(s, pos, "\r\n") - pos));
        if (value.size() > 256) value.resize(256);
        if (quoted && !value.empty() && (value.back() == '"' || value.back() == '\'')) value.pop_back();
        emailFromTextName = value;
    } else if (hasKey(s, "CentroidWidth")) {
        float value = 0.25f;
        scanSecondFloat(s, value);
        if (value > 0 && value < 10) {
            centroidWidth = value;
        } else {
            report();
        }
    } else if (hasKey(s, "Vmemory")) {
        float value = -1.0f;
        scanSecondFloat(s, value);
        if (value >= -1) {
            vmemory = toInt64(value);
        } else {
            report();
        }
    } else if (hasKey(s, "ReportNumberChoices")) {
        readReportNumberChoices(line(), in);
    } else if (hasKey(s, "ReviewColWidths")) {
        readReviewColWidths(line(), in);
    } else if (hasKey(s, "ShowSubsets")) {
        int32_t value = 0;
        scanSecondInt(s, value);
        showSubsets = value == 1 ? 1.0 : 0.0;
    } else if (hasKey(s, "SigThreshold")) {
        double value = 0.05;
        scanSecondDouble(s, value);
        if (value >= 0) {
            sigThreshold = value;
        } else {
            report();
        }
    } else if (hasKey(s, "IgnoreIonsScoreBelow")) {
        scanSecondDouble(s, ignoreIonsScoreBelow);
        if (!(ignoreIonsScoreBelow >= 0)) {
            ignoreIonsScoreBelow = 0.0;
            report();
        }
    } else if (hasKey(s, "FeatureTableMinScore")) {
        float value = 13.0f;
        scanSecondFloat(s, value);
        if (value > 0) {
            featureTableMinScore = value;
        } else {
            report();
        }
    } else if (hasKey(s, "ICATFilter")) {
        size_t pos = valueStart(s, 10);
        icatFilter = std::string(s.substr(pos, skipToChars(s, pos, " \t:") - pos));
        if (icatFilter.empty()) {
            icatFilter = "C";
            in.errors.addError(qxerr::emptyIcatFilter);
        }
    } else if (hasKey(s, "IgnoreDupeAccessions")) {
        ignoreDupeAccessions.clear();
        for (std::string_view item : splitItems(s.substr(valueStart(s, 21)), " ,\t")) {
            ignoreDupeAccessions.emplace_back(item);
        }
    } else if (hasKey(s, "GetSeqBlastAccession")) {
        readBlastAccession(line(), in);
    } else if (hasKey(s, "UnixDirPerm")) {
        int32_t value = 511;
        scanSecondOctal(s, value);
        unixDirPerm = value;
        unixDirPermDefined = true;
    } else if (hasKey(s, "PrecursorCutOut")) {
        readPrecursorCutOut(line(), in);
    } else if (hasKey(s, "TaxBrowserURL")) {
        // Stops at the colon of a scheme: the typed value of a full URL is
        // its scheme, as the server has always read it; the line stays whole.
        size_t pos = valueStart(s, 13);
        taxBrowserURL = std::string(s.substr(pos, skipToChars(s, pos, " \t:") - pos));
    } else if (hasKey(s, "SortUnassigned")) {
        std::string value(s.substr(valueStart(s, 14)));
        sortUnassigned = value == "scoredown" || value == "queryup" || value == "intdown" ? value : "scoredown";
    } else {
        return false;
    }
    return true;
}

void qx_quorixoptions::readReportNumberChoices(const std::string& line, section_input& in)
{
    auto report = [&]() { in.errors.addError(qxerr::optionsLine, in.fileName.c_str(), line.c_str()); };
    std::string_view s(line);
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

void qx_quorixoptions::readReviewColWidths(const std::string& line, section_input& in)
{
    std::vector<std::string_view> items = splitItems(std::string_view(line).substr(15), " ,\t");
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
    if (bad) in.errors.addError(qxerr::optionsLine, in.fileName.c_str(), line.c_str());
}

void qx_quorixoptions::readBlastAccession(const std::string& line, section_input& in)
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
    auto fault = [&]() { in.errors.addError(qxerr::optionsLine, in.fileName.c_str(), line.c_str()); };
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

void qx_quorixoptions::readPrecursorCutOut(const std::string& line, section_input& in)
{
    auto fault = [&]() {
        precursorCutOutLow = precursorCutOutHigh = -1.0;
        in.errors.addError(qxerr::optionsLine, in.fileName.c_str(), line.c_str());
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
