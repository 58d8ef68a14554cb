// The Options section: the server's general settings. Every key is read into
// a typed member; every line, good or bad, stays in the property list.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "orvane/qx_section.h"

namespace orvane {

class qx_datfile;

// How the sequence viewer finds an accession in a BLAST line.
class qx_blastaccession {
public:
    // The server keeps each text in 255 bytes.
    static constexpr size_t kMaxChars = 254;

    qx_blastaccession() = default;
    qx_blastaccession(const qx_blastaccession&) = default;
    qx_blastaccession& operator=(const qx_blastaccession&) = default;
    virtual ~qx_blastaccession() = default;

    bool getUseRegex() const { return useRegex; }
    int32_t getFieldNumber() const { return fieldNumber; }
    const std::string& getStartChars() const { return startChars; }
    const std::string& getEndChars() const { return endChars; }

private:
    friend class qx_quorixoptions;
    bool useRegex = false;
    int32_t fieldNumber = 3;
    std::string startChars = " ";
    std::string endChars = "| ";
};

// The plainly read keys: getter, member, key, default and what a bad value
// does. The rest of the keys are read by hand, see qx_quorixoptions.cpp.
//
// Flags: "%*s %d" into a temporary holding the default; true if it is 1.
#define QX_OPTIONS_FLAGS(X)                                                   \
    X(SaveLastQueryAsc, saveLastQueryAsc, "SaveLastQueryAsc", false)          \
    X(SaveEveryLastQueryAsc, saveEveryLastQueryAsc, "SaveEveryLastQueryAsc", true) \
    X(EmailUsersEnabled, emailUsersEnabled, "EmailUsersEnabled", false)       \
    X(EmailErrorsEnabled, emailErrorsEnabled, "EmailErrorsEnabled", false)    \
    X(ForkForUnixApache, forkForUnixApache, "ForkForUnixApache", false)       \
    X(RequireBoldRed, requireBoldRed, "RequireBoldRed", false)                \
    X(StoreModPermutations, storeModPermutations, "StoreModPermutations", true) \
    X(MoveOldDbToOldDir, moveOldDbToOldDir, "MoveOldDbToOldDir", true)        \
    X(RemoveOldIndexFiles, removeOldIndexFiles, "RemoveOldIndexFiles", true)  \
    X(EncryptURL, encryptURL, "EncryptURL", false)                            \
    X(AutoSelectCharge, autoSelectCharge, "AutoSelectCharge", true)           \
    X(IteratePMFIntensities, iteratePMFIntensities, "IteratePMFIntensities", true)

// Integers: "%*s %d" straight into the member, then the check: a value
// outside [low, high] becomes `bad`, reported if `report` is set.
#define QX_INT_ANY INT32_MIN, INT32_MAX
#define QX_OPTIONS_INTS(X)                                                              \
    X(UniqueJobStartNumber, uniqueJobStartNumber, "UniqueJobStartNumber", 1, 0, INT32_MAX, 1, true) \
    X(MassDecimalPlaces, massDecimalPlaces, "MassDecimalPlaces", 2, QX_INT_ANY, 2, false) \
    X(IonsDecimalPlaces, ionsDecimalPlaces, "IonsDecimalPlaces", 2, QX_INT_ANY, 2, false) \
    X(IntensitySigFigs, intensitySigFigs, "IntensitySigFigs", 2, QX_INT_ANY, 2, false)  \
    X(MailTransport, mailTransport, "MailTransport", 2, 0, 3, 2, true)                  \
    X(EmailTimeOutPeriod, emailTimeOutPeriod, "EmailTimeOutPeriod", 120, 1, INT32_MAX, 120, true) \
    X(MonitorEmailCheckFreq, monitorEmailCheckFreq, "MonitorEmailCheckFreq", 300, 1, INT32_MAX, 300, true) \
    X(MonitorTestTimeout, monitorTestTimeout, "MonitorTestTimeout", 1200, 1, INT32_MAX, 1200, true) \
    X(UnixWebUserGroup, unixWebUserGroup, "UnixWebUserGroup", -1, QX_INT_ANY, -1, false) \
    X(SeparateLockMem, separateLockMem, "SeparateLockMem", 0, 0, INT32_MAX, 0, true)    \
    X(MaxSequenceLen, maxSequenceLen, "MaxSequenceLen", 50000, 1, INT32_MAX, 50000, true) \
    X(MaxConcurrentSearches, maxConcurrentSearches, "MaxConcurrentSearches", 10, 1, INT32_MAX, 10, true) \
    X(MaxSearchesPerUser, maxSearchesPerUser, "MaxSearchesPerUser", 0, 0, INT32_MAX, 0, true) \
    X(MaxDescriptionLen, maxDescriptionLen, "MaxDescriptionLen", 100, 1, INT32_MAX, 100, true) \
    X(MaxNumPeptides, maxNumPeptides, "MaxNumPeptides", 12500, 1, INT32_MAX, 12500, true) \
    X(MinPepLenInPepSummary, minPepLenInPepSummary, "MinPepLenInPepSummary", 5, 1, 9, 5, false) \
    X(MaxQueries, maxQueries, "MaxQueries", 10000, 10, INT32_MAX, 10, false)            \
    X(MaxVarMods, maxVarMods, "MaxVarMods", 9, 0, INT32_MAX, 9, true)                   \
    X(MaxEtVarMods, maxEtVarMods, "MaxEtVarMods", 2, 0, INT32_MAX, 2, true)             \
    X(ErrTolMaxAccessions, errTolMaxAccessions, "ErrTolMaxAccessions", 0, 0, INT32_MAX, 0, true) \
    X(ProteinsInResultsFile, proteinsInResultsFile, "ProteinsInResultsFile", 2, 1, 3, 2, true) \
    X(SplitNumberOfQueries, splitNumberOfQueries, "SplitNumberOfQueries", 1000, 1, INT32_MAX, 1000, true) \
    X(SplitDataFileSize, splitDataFileSize, "SplitDataFileSize", 10000000, 1, INT32_MAX, 10000000, true) \
    X(FeatureTableLength, featureTableLength, "FeatureTableLength", 30000, 0, INT32_MAX, 30000, true) \
    X(MinPeakIteration, minPeakIteration, "MinPeakIteration", 1, 1, 10, 1, true)        \
    X(Mudpit, mudpit, "Mudpit", 1000, QX_INT_ANY, 1000, false)                          \
    X(MinPepLenInSearch, minPepLenInSearch, "MinPepLenInSearch", 3, QX_INT_ANY, 3, false) \
    X(MaxPepNumVarMods, maxPepNumVarMods, "MaxPepNumVarMods", 5, QX_INT_ANY, 5, false)

// Texts: "%*s %s", the second run of non-space characters. `required`: an
// empty value gives the default and a report.
#define QX_OPTIONS_TEXTS(X)                                                             \
    X(LastQueryAscFile, lastQueryAscFile, "LastQueryAscFile", "../logs/lastquery.asc", true) \
    X(ErrorLogFile, errorLogFile, "ErrorLogFile", "../logs/errorlog.txt", true)          \
    X(SearchLogFile, searchLogFile, "SearchLogFile", "../logs/searches.log", true)       \
    X(MonitorLogFile, monitorLogFile, "MonitorLogFile", "../logs/monitor.log", true)     \
    X(InterFileBasePath, interFileBasePath, "InterFileBasePath", "C:/InetPub/Quorix/data", true) \
    X(InterFileRelPath, interFileRelPath, "InterFileRelPath", "../data", true)           \
    X(QuorixCmdLine, quorixCmdLine, "QuorixCmdLine", "../cgi/nph-quorix.exe", true)      \
    X(TestDirectory, testDirectory, "TestDirectory", "../data/test", true)               \
    X(QuorixControlFile, quorixControlFile, "QuorixControlFile", "../data/quorix.control", true) \
    X(QuorixNodeControlFile, quorixNodeControlFile, "QuorixNodeControlFile", "../data/quorixnode.control", true) \
    X(QuorixJobIdFile, quorixJobIdFile, "QuorixJobIdFile", "../data/quorix.job", true)   \
    X(GetSeqJobIdFile, getSeqJobIdFile, "GetSeqJobIdFile", "../data/getseq.job", true)   \
    X(ResultsPerlScript, resultsPerlScript, "ResultsPerlScript", "../cgi/master_results.pl", true) \
    X(NoResultsScript, noResultsScript, "NoResultsScript", "../cgi/master_results.pl", true) \
    X(ResultsFullURL, resultsFullURL, "ResultsFullURL", "http://www.quorix.com/cgi/master_results.pl", true) \
    X(LogoImageFile, logoImageFile, "LogoImageFile", "../images/88x31_logo_white.gif", true) \
    X(EmailService, emailService, "EmailService", "", false)                             \
    X(EmailPassword, emailPassword, "EmailPassword", "", false)                          \
    X(SendmailPath, sendmailPath, "sendmailPath", "/usr/lib/sendmail", true)             \
    X(EmailFromUser, emailFromUser, "EmailFromUser", "", false)                          \
    X(MailTempFile, mailTempFile, "MailTempFile", "C:/TEMP/MXXXXXX", true)               \
    X(ErrMessageEmailTo, errMessageEmailTo, "ErrMessageEmailTo", "", false)              \
    X(FormVersion, formVersion, "FormVersion", "1.01", true)                             \
    X(ProxyServer, proxyServer, "proxy_server", "", false)                               \
    X(ProxyUsername, proxyUsername, "proxy_username", "", false)                         \
    X(ProxyPassword, proxyPassword, "proxy_password", "", false)                         \
    X(MonitorPidFile, monitorPidFile, "MonitorPidFile", "../bin/monitor.pid", true)

// Rests: everything behind the key and the blanks, tabs and colons behind it.
#define QX_OPTIONS_RESTS(X)                                                             \
    X(EmailProfile, emailProfile, "EmailProfile", "", false)                             \
    X(NTMonitorGroup, ntMonitorGroup, "NTMonitorGroup", "Administrators", true)          \
    X(NTIUserGroup, ntIUserGroup, "NTIUserGroup", "Guests", true)                        \
    X(QuorixMessage, quorixMessage, "QuorixMessage", "", false)                          \
    X(ICATLight, icatLight, "ICATLight", "ICAT_light", false)                            \
    X(ICATHeavy, icatHeavy, "ICATHeavy", "ICAT_heavy", false)                            \
    X(ICATQuantitationMethod, icatQuantitationMethod, "ICATQuantitationMethod", "ICAT", false) \
    X(ResultsFileFormatVersion, resultsFileFormatVersion, "ResultsFileFormatVersion", "", false)

class qx_quorixoptions : public qx_section {
public:
    static constexpr size_t kReviewColumns = 15;

    qx_quorixoptions() { qx_quorixoptions::defaultValues(); }
    void defaultValues() override;

#define QX_GETTER(Getter, member, key, def, ...) \
    auto get##Getter() const { return member; }
    QX_OPTIONS_FLAGS(QX_GETTER)
    QX_OPTIONS_INTS(QX_GETTER)
#undef QX_GETTER
#define QX_GETTER(Getter, member, key, def, ...) \
    const std::string& get##Getter() const { return member; }
    QX_OPTIONS_TEXTS(QX_GETTER)
    QX_OPTIONS_RESTS(QX_GETTER)
#undef QX_GETTER

    const std::string& getEmailFromTextName() const { return emailFromTextName; }
    double getCentroidWidth() const { return centroidWidth; }
    int64_t getVmemory() const { return vmemory; }
    const std::vector<int32_t>& getReportNumberChoices() const { return reportNumberChoices; }
    const std::array<int32_t, kReviewColumns>& getReviewColWidths() const { return reviewColWidths; }
    double getShowSubsets() const { return showSubsets; }
    double getSigThreshold() const { return sigThreshold; }
    double getIgnoreIonsScoreBelow() const { return ignoreIonsScoreBelow; }
    double getFeatureTableMinScore() const { return featureTableMinScore; }
    const std::string& getICATFilter() const { return icatFilter; }
    const std::vector<std::string>& getIgnoreDupeAccessions() const { return ignoreDupeAccessions; }
    const qx_blastaccession& getGetSeqBlastAccession() const { return getSeqBlastAccession; }
    int32_t getUnixDirPerm() const { return unixDirPerm; }
    bool isUnixDirPermDefined() const { return unixDirPermDefined; }
    double getPrecursorCutOutLow() const { return precursorCutOutLow; }
    double getPrecursorCutOutHigh() const { return precursorCutOutHigh; }
    const std::string& getTaxBrowserURL() const { return taxBrowserURL; }
    const std::string& getSortUnassigned() const { return sortUnassigned; }

    static const std::array<int32_t, kReviewColumns>& defaultReviewColWidths();

    // The install's setters: member and line change together.
    void setForkForUnixApache(bool flag);
    void setNTIUserGroup(const std::string& text);
    void setNTMonitorGroup(const std::string& text);
    void setResultsFullURL(const std::string& text);

protected:
    qx_linestorage lineStorage() const override { return qx_linestorage::afterCut; }
    void readValue(std::string_view line, qxparser_internal::section_input& in) override;

private:
    // A node reads the node's control file in the master's place; the file
    // itself keeps the master's.
    friend class qx_datfile;
    void useNodeControlFile() { quorixControlFile = quorixNodeControlFile; }

    void readReportNumberChoices(std::string_view line, qxparser_internal::section_input& in);
    void readReviewColWidths(std::string_view line, qxparser_internal::section_input& in);
    void readBlastAccession(std::string_view line, qxparser_internal::section_input& in);
    void readPrecursorCutOut(std::string_view line, qxparser_internal::section_input& in);

#define QX_MEMBER(Getter, member, key, def, ...) bool member = def;
    QX_OPTIONS_FLAGS(QX_MEMBER)
#undef QX_MEMBER
#define QX_MEMBER(Getter, member, key, def, ...) int32_t member = def;
    QX_OPTIONS_INTS(QX_MEMBER)
#undef QX_MEMBER
#define QX_MEMBER(Getter, member, key, def, ...) std::string member = def;
    QX_OPTIONS_TEXTS(QX_MEMBER)
    QX_OPTIONS_RESTS(QX_MEMBER)
#undef QX_MEMBER

    std::string emailFromTextName;
    double centroidWidth = 0.25;
    int64_t vmemory = -1;
    std::vector<int32_t> reportNumberChoices;
    std::array<int32_t, kReviewColumns> reviewColWidths{};
    double showSubsets = 0.0;
    double sigThreshold = 0.05;
    double ignoreIonsScoreBelow = 0.0;
    double featureTableMinScore = 13.0;
    std::string icatFilter = "C";
    std::vector<std::string> ignoreDupeAccessions;
    qx_blastaccession getSeqBlastAccession;
    int32_t unixDirPerm = 511;
    bool unixDirPermDefined = false;
    double precursorCutOutLow = -1.0;
    double precursorCutOutHigh = -1.0;
    std::string taxBrowserURL;
    std::string sortUnassigned = "scoredown";
};

}  // namespace orvane
