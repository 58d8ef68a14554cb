// The sections of quorix.dat other than Databases. Each keeps every line in
// its property list, which is what a save writes; the typed members that
// callers read come on top of that list.
#pragma once

#include <string>

#include "orvane/qx_customproperty.h"

namespace qxparser_internal {
struct section_input;
}

namespace orvane {

// How a section stores a line in its property list.
enum class qx_linestorage {
    beforeCut,           // as the line source gave it, trailing blanks included
    afterCut,            // after blanks, tabs and line breaks at the end are cut
    afterCutUnlessBlank, // as afterCut, but a blank line is stored as it stood
};

class qx_section : public qx_customproperty {
public:
    // Clears the property list, sets the section's delimiter, marks the
    // section unavailable and gives every typed member its default.
    virtual void defaultValues() = 0;

    bool isAvailable() const { return sectionAvailable; }
    void setAvailable(bool flag) { sectionAvailable = flag; }

    // Reads the section's lines up to and including its end line.
    virtual void readSection(qxparser_internal::section_input& in);
    // Head, lines and end line.
    void writeSection(FILE* file, const std::string& head) const;

protected:
    qx_section() = default;
    void resetLines(const char* delimiter);
    void readLines(qxparser_internal::section_input& in, qx_linestorage storage);
    virtual qx_linestorage lineStorage() const = 0;

    bool sectionAvailable = false;
};

class qx_parseoptions : public qx_section {
public:
    qx_parseoptions() { qx_parseoptions::defaultValues(); }
    void defaultValues() override { resetLines("\t"); }

protected:
    qx_linestorage lineStorage() const override { return qx_linestorage::beforeCut; }
};

class qx_wwwoptions : public qx_section {
public:
    qx_wwwoptions() { qx_wwwoptions::defaultValues(); }
    void defaultValues() override { resetLines("\t"); }

protected:
    qx_linestorage lineStorage() const override { return qx_linestorage::beforeCut; }
};

class qx_taxonomyrules : public qx_section {
public:
    qx_taxonomyrules() { qx_taxonomyrules::defaultValues(); }
    void defaultValues() override { resetLines("\t"); }

protected:
    qx_linestorage lineStorage() const override { return qx_linestorage::beforeCut; }
};

class qx_clusterparams : public qx_section {
public:
    qx_clusterparams() { qx_clusterparams::defaultValues(); }
    void defaultValues() override { resetLines(" "); }

protected:
    qx_linestorage lineStorage() const override { return qx_linestorage::afterCutUnlessBlank; }
};

class qx_unigeneoptions : public qx_section {
public:
    qx_unigeneoptions() { qx_unigeneoptions::defaultValues(); }
    void defaultValues() override { resetLines(" "); }

protected:
    qx_linestorage lineStorage() const override { return qx_linestorage::afterCut; }
};

class qx_processoroptions : public qx_section {
public:
    qx_processoroptions() { qx_processoroptions::defaultValues(); }
    void defaultValues() override { resetLines("="); }

protected:
    qx_linestorage lineStorage() const override { return qx_linestorage::beforeCut; }
};

class qx_quorixoptions : public qx_section {
public:
    qx_quorixoptions() { qx_quorixoptions::defaultValues(); }
    void defaultValues() override { resetLines(" "); }

protected:
    qx_linestorage lineStorage() const override { return qx_linestorage::afterCut; }
};

class qx_cronoptions : public qx_section {
public:
    qx_cronoptions() { qx_cronoptions::defaultValues(); }
    void defaultValues() override { resetLines(" "); }

protected:
    qx_linestorage lineStorage() const override { return qx_linestorage::beforeCut; }
};

// Four fixed paths of the server's own files; no section of the file feeds it.
class qx_quorixfiles : public qx_customproperty {
public:
    qx_quorixfiles() { qx_quorixfiles::defaultValues(); }
    virtual void defaultValues();

    const std::string& getModFile() const { return modFile; }
    const std::string& getEnzymesFile() const { return enzymesFile; }
    const std::string& getFreqsFile() const { return freqsFile; }
    const std::string& getNodeListFile() const { return nodeListFile; }

private:
    std::string modFile;
    std::string enzymesFile;
    std::string freqsFile;
    std::string nodeListFile;
};

}  // namespace orvane
