// What the install-time merge asks of the machine it runs on: its name and
// its processors. Tests put a machine of their own in its place.
#pragma once

#include <string>

#include "orvane/qx_processors.h"

namespace orvane {

class qx_machine {
public:
    virtual ~qx_machine() = default;

    // The computer's name (GetComputerNameA with a buffer of 16 characters,
    // gethostname elsewhere); false if it can't be had.
    virtual bool computerName(std::string& name);
    virtual qx_processorfacts& processorFacts();

    static qx_machine& current();
    // Null puts this machine's own answers back.
    static void replace(qx_machine* machine);
};

}  // namespace orvane
