// Every section class of quorix.dat but Databases, and the fixed file list.
#pragma once

#include <string>

#include "orvane/qx_clusterparams.h"
#include "orvane/qx_parserules.h"
#include "orvane/qx_quorixoptions.h"
#include "orvane/qx_section.h"
#include "orvane/qx_serversections.h"

namespace orvane {

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
