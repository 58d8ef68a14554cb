// A whole quorix.dat in memory: read, changed by the installer, saved back
// with every line it doesn't understand intact.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "orvane/qx_customproperty.h"
#include "orvane/qx_databases.h"
#include "orvane/qx_errors.h"
#include "orvane/qx_filesource.h"
#include "orvane/qx_sections.h"

namespace orvane {

class qx_datfile : public qx_errors {
public:
    static constexpr int kHighestTaxonomy = 64;

    qx_datfile();
    // Reads the file at once; judge the result by isValid().
    explicit qx_datfile(const std::string& fileName, int32_t timeoutSeconds = 0,
                        const qx_connection_settings* connectionSettings = nullptr);
    qx_datfile(const qx_datfile&) = delete;
    qx_datfile& operator=(const qx_datfile&) = delete;
    virtual ~qx_datfile();

    void setFileName(const std::string& name) { fileName = name; }
    const std::string& getFileName() const { return fileName; }
    void setTimeoutSeconds(int32_t seconds) { timeoutSeconds = seconds; }
    int32_t getTimeoutSeconds() const { return timeoutSeconds; }

    // Both start by clearing this object's messages; the result is isValid().
    bool read();
    bool save();
    // The same text to a file the caller opened and closes; the file name
    // stays the one that messages give.
    bool save(FILE* file);
    void reset();
    void copyFrom(const qx_datfile& other);

    qx_databases& getDatabases() { return databases; }
    void setDatabases(const qx_databases& section) { databases = section; }
    qx_parseoptions& getParseOptions() { return parseOptions; }
    void setParseOptions(const qx_parseoptions& section) { parseOptions = section; }
    qx_wwwoptions& getWWWOptions() { return wwwOptions; }
    void setWWWOptions(const qx_wwwoptions& section) { wwwOptions = section; }
    qx_processoroptions& getProcessorOptions() { return processorOptions; }
    void setProcessorOptions(const qx_processoroptions& section) { processorOptions = section; }
    qx_clusterparams& getClusterParams() { return clusterParams; }
    void setClusterParams(const qx_clusterparams& section) { clusterParams = section; }
    qx_unigeneoptions& getUniGeneOptions() { return unigeneOptions; }
    void setUniGeneOptions(const qx_unigeneoptions& section) { unigeneOptions = section; }
    qx_quorixoptions& getQuorixOptions() { return quorixOptions; }
    void setQuorixOptions(const qx_quorixoptions& section) { quorixOptions = section; }
    qx_cronoptions& getCronOptions() { return cronOptions; }
    void setCronOptions(const qx_cronoptions& section) { cronOptions = section; }
    const qx_quorixfiles& getQuorixFiles() const { return quorixFiles; }

    // Null if there is no section n.
    qx_taxonomyrules* getTaxonomyRules(int n);
    // Null deletes section n; otherwise it is made if missing and copied.
    void setTaxonomyRules(int n, const qx_taxonomyrules* rules);
    int getNumberOfTaxonomyRules() const { return kHighestTaxonomy; }
    // A file without any of Databases, PARSE and Options is cut short or no
    // quorix.dat at all: nothing to upgrade.
    bool hasMainSections() const
    {
        return databases.isAvailable() || parseOptions.isAvailable() || quorixOptions.isAvailable();
    }

    // Compiles the parse rules that the active databases name, up to the
    // first inactive one; a rule that isn't defined is reported. `read`
    // runs it at its end.
    void checkDatabaseRules();

    // The install's merge of the package's template into this object: all
    // messages go to `errors`, whose isValid() tells the outcome. An empty
    // existingPath means a first install; flags choose the steps.
    bool mergeInstalledDefaults(qx_errorlist& errors, const std::string& templatePath,
                                const std::string& existingPath, const std::string& rootDir,
                                const std::string& webUrl, const std::string& sequenceDir, bool clusterMode,
                                int32_t noApache, const std::string& usersGroup, const std::string& adminsGroup,
                                uint32_t flags);

    // The install's execute phase on quorix.dat, for the installer and qxdat
    // alike: the merge above, then SwissProt's entry made active if asked,
    // then a save to savePath (a new file that the caller puts in place), or
    // to saveTo when the caller opened savePath itself.
    // All messages go to `errors`; the result names the step that failed.
    enum install_result { installed, mergeFailed, noSwissProt, activateFailed, saveFailed };
    install_result installQuorixDat(qx_errorlist& errors, const std::string& templatePath,
                                    const std::string& existingPath, const std::string& rootDir,
                                    const std::string& webUrl, const std::string& sequenceDir, bool clusterMode,
                                    int32_t noApache, const std::string& usersGroup, const std::string& adminsGroup,
                                    uint32_t flags, bool activateSwissProt, const std::string& savePath,
                                    FILE* saveTo = nullptr);

    // The lines that the last read won't give to a save, each with why; the
    // messages (6170, 1541) say the same, folded when they repeat.
    struct dropped_line {
        int line;
        std::string reason;
    };
    const std::vector<dropped_line>& getDroppedLines() const { return droppedLines; }
    // The comment blocks between sections that a save puts before another
    // section than the one they stood before, by their first comment line:
    // comment texts keep their ordinal places, sections don't.
    const std::vector<dropped_line>& getMovedComments() const { return movedComments; }
    // The lines that a save writes in another form only (a head's case, an
    // "END", blanks at the end), each with how.
    const std::vector<dropped_line>& getRewrittenLines() const;

    // The texts that stood between sections, by ordinal place.
    const std::vector<std::string>& getComments() const { return comments; }
    const qx_connection_settings& getConnectionSettings() const { return connectionSettings; }

    // Fills the template's placeholders into the values of a section's
    // lines: the first "###ROOT###", "###HOSTNAME###" and, if url isn't
    // empty, "###URL###" of each value. Typed members aren't touched.
    static void replacePlaceholders(qx_customproperty& section, const std::string& root,
                                    const std::string& host, const std::string& url);

private:
    // False if the read met the search status page and must end at once.
    bool readTopLevel(qx_filesource& source);
    void readNodeIdentity();
    // The head that the section now read is saved under; empty if none.
    std::string readTaxonomy(qxparser_internal::section_input& in);
    // The available sections by the heads a save writes, in its order;
    // Databases, which has a writer of its own, with a null section.
    std::vector<std::pair<std::string, const qx_section*>> savedSections() const;
    void writeCommentSlot(qxparser_internal::block_writer& out, size_t i) const;
    bool writeTo(FILE* file);

    std::string fileName;
    int32_t timeoutSeconds = 0;
    qx_databases databases;
    qx_parseoptions parseOptions;
    qx_wwwoptions wwwOptions;
    qx_processoroptions processorOptions;
    std::array<std::unique_ptr<qx_taxonomyrules>, kHighestTaxonomy + 1> taxonomy;
    qx_clusterparams clusterParams;
    qx_unigeneoptions unigeneOptions;
    qx_quorixoptions quorixOptions;
    qx_cronoptions cronOptions;
    qx_quorixfiles quorixFiles;
    std::vector<std::string> comments;
    qx_connection_settings connectionSettings;
    std::vector<dropped_line> droppedLines, movedComments;
    // Lines whose blanks at the end a save cuts, as runs of first and last
    // line number, made into notes when asked for: a note of its own for
    // each such line cost more than the line (a file of padded options).
    mutable std::vector<std::pair<int, int>> cutRuns;
    mutable std::vector<dropped_line> rewrittenLines;
};

}  // namespace orvane
