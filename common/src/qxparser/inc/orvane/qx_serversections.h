// Four small sections of quorix.dat: Processor, Cron, UniGene and WWW.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "orvane/qx_section.h"

namespace orvane {

class qx_errorlist;

// The processors one database may use.
class qx_processorset {
public:
    std::string databaseName;
    std::vector<int32_t> processors;
};

class qx_processoroptions : public qx_section {
public:
    qx_processoroptions() { qx_processoroptions::defaultValues(); }
    void defaultValues() override;

    const std::vector<int32_t>& getProcessorSet() const { return processorSet; }
    const std::vector<qx_processorset>& getDatabaseProcessors() const { return databaseProcessors; }

protected:
    qx_linestorage lineStorage() const override { return qx_linestorage::beforeCut; }
    void readValue(std::string_view line, qxparser_internal::section_input& in) override;

private:
    std::vector<int32_t> processorSet;
    std::vector<qx_processorset> databaseProcessors;
};

// One line of the job table, in the form of the Unix tool.
class qx_cronjob {
public:
    qx_cronjob() = default;
    qx_cronjob(const qx_cronjob&) = default;
    qx_cronjob& operator=(const qx_cronjob&) = default;
    virtual ~qx_cronjob() = default;

    std::array<bool, 60> minutes{};
    std::array<bool, 24> hours{};
    std::array<bool, 32> daysOfMonth{};  // 1 to 31
    std::array<bool, 13> months{};       // 1 to 12
    std::array<bool, 7> daysOfWeek{};
    std::string command;
    std::string lineText;
};

class qx_cronoptions : public qx_section {
public:
    static constexpr size_t kMaxJobs = 256;

    qx_cronoptions() { qx_cronoptions::defaultValues(); }
    void defaultValues() override;

    bool isCronEnabled() const { return cronEnabled; }
    int getNumberOfJobs() const { return static_cast<int>(jobs.size()); }
    // Null if there is no job i.
    const qx_cronjob* getJob(int i) const;

    // Parses a job line; false, with any fault in `errors`, if it isn't one.
    // Exposed for the tests and for tools that check a single line.
    static bool parseJob(const std::string& line, qx_cronjob& job, qx_errorlist& errors,
                         const std::string& fileName);

protected:
    qx_linestorage lineStorage() const override { return qx_linestorage::beforeCut; }
    void readValue(std::string_view line, qxparser_internal::section_input& in) override;

private:
    bool cronEnabled = false;
    std::vector<qx_cronjob> jobs;
};

class qx_unigeneoptions : public qx_section {
public:
    qx_unigeneoptions() { qx_unigeneoptions::defaultValues(); }
    void defaultValues() override { resetLines(" "); }

protected:
    qx_linestorage lineStorage() const override { return qx_linestorage::afterCut; }
};

enum qx_wwwtype : int32_t {
    QX_WWW_SEQ = 0,
    QX_WWW_REP = 1,
};

class qx_wwwentry {
public:
    qx_wwwentry() = default;
    qx_wwwentry(const qx_wwwentry&) = default;
    qx_wwwentry& operator=(const qx_wwwentry&) = default;
    virtual ~qx_wwwentry() = default;

    // The texts a line of this entry has in the file.
    std::string keyText() const;
    std::string valueText() const;
    // False if the line isn't a WWW entry; the entry may then be half filled.
    bool parse(const std::string& line);

    std::string databaseName;
    int32_t type = QX_WWW_SEQ;
    int32_t number = -1;
    std::string host = "localhost";
    int32_t port = 80;
    std::string path;
};

class qx_wwwoptions : public qx_section {
public:
    qx_wwwoptions() { qx_wwwoptions::defaultValues(); }
    void defaultValues() override;

    const std::vector<qx_wwwentry>& getEntries() const { return entries; }
    // Appends a copy, and gives a line of the same key the entry's value.
    void addWWWEntry(const qx_wwwentry& entry);

protected:
    qx_linestorage lineStorage() const override { return qx_linestorage::beforeCut; }
    void readValue(std::string_view line, qxparser_internal::section_input& in) override;

private:
    std::vector<qx_wwwentry> entries;
};

}  // namespace orvane
