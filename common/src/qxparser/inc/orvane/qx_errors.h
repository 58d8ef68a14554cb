// Numbered messages. Nothing in the configuration library throws for bad
// input: faults, warnings and progress notes land in an object's error list,
// and the caller looks at the list when the operation is over.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orvane {

enum qx_severity : int32_t {
    QX_SEV_ERROR = 1,    // the object isn't valid
    QX_SEV_WARNING = 2,
    QX_SEV_INFO = 3,
};

// The codes this system raises. Their severities and texts live in the
// message table (qx_errors.cpp); a code that isn't there raises nothing.
namespace qxerr {
constexpr int32_t openFile = 256;
constexpr int32_t fileNotFound = 260;
constexpr int32_t processorCount = 261;
constexpr int32_t writeFile = 264;
constexpr int32_t noQuorixDat = 1537;
constexpr int32_t missingRule = 1538;
constexpr int32_t ruleCompile = 1539;
constexpr int32_t ruleSubExpressions = 1540;
constexpr int32_t databaseParameters = 1541;
constexpr int32_t optionsLine = 1542;
constexpr int32_t clusterEntry = 1543;
constexpr int32_t subClusterCpus = 1544;
constexpr int32_t tooManyCronJobs = 1545;
constexpr int32_t ruleSyntax = 1546;
constexpr int32_t ruleNumber = 1547;
constexpr int32_t ruleTwice = 1548;
constexpr int32_t ruleQuote = 1549;
constexpr int32_t ruleLength = 1550;
constexpr int32_t taxonomyEntry = 1551;
constexpr int32_t taxIdConflict = 1552;
constexpr int32_t tooManyPrefixes = 1553;
constexpr int32_t tooManySuffixes = 1554;
constexpr int32_t tooManyNoBreaks = 1555;
constexpr int32_t cronCharacter = 1556;
constexpr int32_t cronRange = 1557;
constexpr int32_t cronStar = 1558;
constexpr int32_t cronComma = 1559;
constexpr int32_t cronDash = 1560;
constexpr int32_t processorLine = 1561;
constexpr int32_t tooManyProcessors = 1565;
constexpr int32_t wwwEntry = 1566;
constexpr int32_t taxonomyTwice = 1567;
constexpr int32_t emptyIcatFilter = 1568;
constexpr int32_t httpFailed = 2305;
constexpr int32_t invalidUrl = 2306;
constexpr int32_t serviceNotRunning = 2307;
constexpr int32_t wininetFailure = 2308;
constexpr int32_t zipMemory = 5889;
constexpr int32_t zipBufferTooSmall = 5890;
constexpr int32_t zipDataInvalid = 5891;
constexpr int32_t zipUnknown = 5892;
constexpr int32_t zipLengthDiffers = 5893;
constexpr int32_t zipTooLong = 5894;
constexpr int32_t zipEmpty = 5895;
constexpr int32_t logicalProcessors = 6144;
constexpr int32_t cpuInfoFailed = 6145;
constexpr int32_t threadCount = 6146;
constexpr int32_t templateLoaded = 6147;
constexpr int32_t existingLoaded = 6148;
constexpr int32_t taxonomyAppended = 6149;
constexpr int32_t swissProtAdded = 6150;
constexpr int32_t noSwissProtEntry = 6151;
constexpr int32_t taxonomyChanged = 6152;
constexpr int32_t parseRuleAdded = 6153;
constexpr int32_t parseRuleFailed = 6154;
constexpr int32_t optionAdded = 6155;
constexpr int32_t optionSet = 6156;
constexpr int32_t clusterSet = 6157;
constexpr int32_t noHostname = 6158;
constexpr int32_t noSubClusterSet = 6159;
constexpr int32_t parseRuleChanged = 6160;
// Hostile or careless input: refused before the work, or kept whole.
constexpr int32_t utf8MarkSkipped = 6161;
constexpr int32_t wideText = 6162;
constexpr int32_t crLineEnds = 6163;
constexpr int32_t notRegularFile = 6164;
constexpr int32_t fileTooLarge = 6165;
constexpr int32_t lineTooLong = 6166;
constexpr int32_t noMainSections = 6167;
constexpr int32_t includeRefused = 6168;
constexpr int32_t regexLimit = 6169;
constexpr int32_t lineDropped = 6170;
}  // namespace qxerr

// One row of the message table.
struct qx_messagerow {
    int32_t severity;
    int32_t code;
    const char* format;
};

class qx_errorlist {
public:
    qx_errorlist();

    // The row of `code`, or null. The table ends with a row of code -1.
    static const qx_messagerow* findRow(int32_t code);
    static const qx_messagerow* messageTable();

    // Further arguments are those of the row's printf format; texts are
    // passed as const char*.
    void addError(int32_t code, ...);
    // As addError, with the operating system's text of the last error, and
    // without regard to the logging level.
    void addOsError(int32_t code, ...);
    void addMessage(int32_t code, const std::string& text, int32_t severity,
                    const std::string& sessionName = std::string(), int32_t userId = -1);

    int getMessageCount() const;
    // n counts from 1; -1 means the last message.
    std::string getMessage(int n) const;
    int32_t getErrorNumber(int n) const;
    int32_t getRepeats(int n) const;
    int32_t getSeverity(int n) const;

    bool isValid() const;
    void clearAll();
    void appendFrom(const qx_errorlist& other);

    void setLoggingLevel(int32_t level) { loggingLevel = level; }
    int32_t getLoggingLevel() const { return loggingLevel; }
    void setFoldRepeats(bool flag) { foldRepeats = flag; }
    bool getFoldRepeats() const { return foldRepeats; }
    void setLogFileName(const std::string& name) { logFileName = name; }
    const std::string& getLogFileName() const { return logFileName; }

private:
    int indexOf(int n) const;
    // Whether a message of `code` now only adds to the count of the one
    // before: the third of a run and every one after it.
    bool foldsInto(int32_t code) const;
    void writeLogLine(int32_t code, const std::string& text, int32_t severity,
                      const std::string& sessionName, int32_t userId) const;

    std::vector<int32_t> errorNumbers;
    std::vector<std::string> messages;
    std::vector<int32_t> severities;
    std::vector<int32_t> repeats;
    std::string logFileName;
    int32_t loggingLevel = QX_SEV_WARNING;
    bool foldRepeats = true;
};

// Base of every object that reports into its own list.
class qx_errors {
public:
    virtual ~qx_errors() = default;

    qx_errorlist& getErrorRepository() { return errorList; }
    const qx_errorlist& getErrorRepository() const { return errorList; }
    bool isValid() const { return errorList.isValid(); }
    void clearAllErrors() { errorList.clearAll(); }

protected:
    qx_errorlist errorList;
};

}  // namespace orvane
