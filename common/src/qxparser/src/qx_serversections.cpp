#include "orvane/qx_serversections.h"

#include "orvane/qx_databases.h"
#include "orvane/qx_errors.h"
#include "qx_scan.h"
#include "qx_text.h"

namespace orvane {

using namespace qxparser_internal;

// ----------------------------------------------------------------- Processor

void qx_processoroptions::defaultValues()
{
    resetLines("=");
    processorSet.clear();
    databaseProcessors.clear();
}

void qx_processoroptions::readValue(std::string_view view, section_input& in)
{
    const std::string line(view);
    std::string_view s(line);
    if (startsWithNoCase(s, "ProcessorSet")) {
        // The key and the one character behind it, as in "ProcessorSet=1,2".
        if (s.size() > 13) {
            for (std::string_view item : splitItems(s.substr(13), ", \r\n")) processorSet.push_back(leadingInt(item));
        }
        return;
    }
    size_t nameAt = skipChars(s, 0, " =");
    size_t nameEnd = skipToChars(s, nameAt, " =");
    qx_processorset record;
    record.databaseName = std::string(s.substr(nameAt, nameEnd - nameAt));
    // The databases must have been read before: a Processor section in
    // front of them knows none.
    int index = in.databases ? in.databases->findDatabase(record.databaseName.c_str(), false) : -1;
    if (index < 0) {
        in.errors.addError(qxerr::processorLine, in.fileName.c_str(), line.c_str());
        return;
    }
    int32_t threads = in.databases->getDatabase(index)->getThreads();
    std::string_view rest = nameEnd < s.size() ? s.substr(nameEnd + 1) : std::string_view();
    for (std::string_view item : splitItems(rest, "=, \r\n")) {
        // A database runs one thread on each processor named, so it can't
        // name more processors than it has threads.
        if (static_cast<int64_t>(record.processors.size()) >= threads) {
            in.errors.addError(qxerr::tooManyProcessors, in.fileName.c_str(), static_cast<int>(threads),
                               record.databaseName.c_str());
            break;
        }
        record.processors.push_back(leadingInt(item));
    }
    databaseProcessors.push_back(std::move(record));
}

// ---------------------------------------------------------------------- Cron

namespace {

enum class star_meaning { refused, setsAll, clearsAll };

// A number that grows past every range is reported as out of range, so a
// field can hold any count of digits without overflowing anything.
constexpr int32_t kNumberCeiling = 100000;

template <size_t N>
bool parseTimeField(std::string_view text, std::array<bool, N>& values, int32_t low, int32_t high,
                    star_meaning star, qx_errorlist& errors, const std::string& fileName,
                    const std::string& line)
{
    auto fail = [&](int32_t code) {
        errors.addError(code, fileName.c_str(), line.c_str());
        return false;
    };
    auto inRange = [&](int32_t n) { return n >= low && n <= high; };
    auto apply = [&](int32_t pending, int32_t n) {
        if (pending < 0) {
            values[static_cast<size_t>(n)] = true;
        } else {
            for (int32_t i = pending; i <= n; ++i) values[static_cast<size_t>(i)] = true;
        }
    };
    int32_t pending = -1;
    int32_t number = -1;  // -1: no digit yet
    for (char c : text) {
        if (c == '*') {
            if (star == star_meaning::refused) return fail(qxerr::cronStar);
            for (int32_t i = low; i <= high; ++i) values[static_cast<size_t>(i)] = star == star_meaning::setsAll;
            return true;
        }
        if (isDigit(c)) {
            if (number < 0) number = 0;
            if (number < kNumberCeiling) number = number * 10 + (c - '0');
        } else if (c == '-') {
            if (number < 0) return fail(qxerr::cronDash);
            if (!inRange(number)) return fail(qxerr::cronRange);
            pending = number;
            number = -1;
        } else if (c == ',') {
            if (number < 0) return fail(qxerr::cronComma);
            if (!inRange(number)) return fail(qxerr::cronRange);
            apply(pending, number);
            pending = -1;
            number = -1;
        } else {
            return fail(qxerr::cronCharacter);
        }
    }
    if (number < 0) number = 0;
    if (!inRange(number)) return fail(qxerr::cronRange);
    apply(pending, number);
    return true;
}

}  // namespace

void qx_cronoptions::defaultValues()
{
    resetLines(" ");
    cronEnabled = false;
    jobs.clear();
}

const qx_cronjob* qx_cronoptions::getJob(int i) const
{
    return i >= 0 && i < getNumberOfJobs() ? &jobs[static_cast<size_t>(i)] : nullptr;
}

bool qx_cronoptions::parseJob(const std::string& line, qx_cronjob& job, qx_errorlist& errors,
                              const std::string& fileName)
{
    constexpr std::string_view separators = " \t\r\n";
    std::string_view s(line);
    size_t pos = 0;
    size_t end = 0;
    for (int field = 0; field < 5; ++field) {
        pos = skipChars(s, end, separators);
        if (pos == s.size()) return false;
        end = skipToChars(s, pos, separators);
        std::string_view token = s.substr(pos, end - pos);
        bool good = false;
        switch (field) {
        case 0: good = parseTimeField(token, job.minutes, 0, 59, star_meaning::refused, errors, fileName, line); break;
        case 1: good = parseTimeField(token, job.hours, 0, 23, star_meaning::setsAll, errors, fileName, line); break;
        case 2: good = parseTimeField(token, job.daysOfMonth, 1, 31, star_meaning::clearsAll, errors, fileName, line); break;
        case 3: good = parseTimeField(token, job.months, 1, 12, star_meaning::setsAll, errors, fileName, line); break;
        default: good = parseTimeField(token, job.daysOfWeek, 0, 6, star_meaning::clearsAll, errors, fileName, line); break;
        }
        if (!good) return false;
    }
    // The command starts behind the one separator that ended the fifth field.
    if (end >= s.size()) return false;
    size_t commandAt = skipChars(s, end + 1, "\r\n");
    if (commandAt == s.size()) return false;
    job.command = std::string(s.substr(commandAt, skipToChars(s, commandAt, "\r\n") - commandAt));
    return true;
}

void qx_cronoptions::readValue(std::string_view view, section_input& in)
{
    const std::string line(view);
    if (startsWithNoCase(line, "CronEnable")) {
        int32_t value = 0;
        scanSecondInt(line, value);
        cronEnabled = value == 1;
        return;
    }
    qx_cronjob job;
    if (!parseJob(line, job, in.errors, in.fileName)) return;
    job.lineText = line;
    if (jobs.size() >= kMaxJobs) {
        in.errors.addError(qxerr::tooManyCronJobs, in.fileName.c_str(), static_cast<int>(kMaxJobs));
        return;
    }
    jobs.push_back(std::move(job));
}

// ----------------------------------------------------------------------- WWW

std::string qx_wwwentry::keyText() const
{
    return databaseName + (type == QX_WWW_REP ? "_REP" : "_SEQ");
}

std::string qx_wwwentry::valueText() const
{
    return "\"" + std::to_string(number) + "\"\t\"" + host + "\"\t\"" + std::to_string(port) + "\"\t\"" + path +
           "\"";
}

bool qx_wwwentry::parse(const std::string& line)
{
    std::string_view s(line);
    size_t blank = s.find_first_of(" \t");
    if (blank == std::string_view::npos) return false;
    size_t underscore = s.substr(0, blank).rfind('_');
    if (underscore == std::string_view::npos) return false;
    std::string_view word = s.substr(underscore + 1, 3);
    if (word == "SEQ") {
        type = QX_WWW_SEQ;
    } else if (word == "REP") {
        type = QX_WWW_REP;
    } else {
        return false;
    }
    size_t pos = underscore + 4;
    if (pos >= s.size() || (s[pos] != ' ' && s[pos] != '\t')) return false;
    // A colon would split the key elsewhere when the saved line is read
    // again, and the entry would then be added once more at every save.
    std::string_view name = s.substr(0, underscore);
    if (name.find(':') != std::string_view::npos) return false;
    databaseName = std::string(name);

    // Each value: blanks and tabs, any one character as its opening quote,
    // the value, and a double quote that closes it.
    auto readNumber = [&](int32_t& out) {
        pos = skipChars(s, pos, " \t");
        if (pos >= s.size()) return false;
        ++pos;
        if (!scanInt(s, pos, out)) return false;
        size_t close = s.find('"', pos);
        if (close == std::string_view::npos) return false;
        pos = close + 1;
        return true;
    };
    auto readText = [&](std::string& out) {
        pos = skipChars(s, pos, " \t");
        if (pos >= s.size()) return false;
        ++pos;
        size_t close = s.find('"', pos);
        if (close == std::string_view::npos) return false;
        out = std::string(s.substr(pos, close - pos));
        pos = close + 1;
        return true;
    };
    return readNumber(number) && readText(host) && readNumber(port) && readText(path);
}

void qx_wwwoptions::defaultValues()
{
    resetLines("\t");
    entries.clear();
}

void qx_wwwoptions::addWWWEntry(const qx_wwwentry& entry)
{
    entries.push_back(entry);
    setProperty(entry.keyText(), entry.valueText());
}

void qx_wwwoptions::readValue(std::string_view view, section_input& in)
{
    const std::string line(view);
    qx_wwwentry entry;
    if (!entry.parse(line)) {
        in.errors.addError(qxerr::wwwEntry, in.fileName.c_str(), line.c_str());
        return;
    }
    addWWWEntry(entry);
}

}  // namespace orvane
