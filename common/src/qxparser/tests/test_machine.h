// A machine with a fixed name and two packages of two logical processors, of
// a make that isn't walked: 2 x 2 = 4 threads. With it the merge's output is
// the same on every machine. Tests install it with qx_machine::replace.
#pragma once

#include <cstdint>
#include <string>

#include "orvane/qx_machine.h"
#include "orvane/qx_processors.h"

namespace qxtestfiles {

class fixed_processors : public orvane::qx_processorfacts {
public:
    bool fails = false;  // the affinity query fails
    orvane::qx_cpuidregs cpuid(uint32_t leaf) override
    {
        orvane::qx_cpuidregs r;
        if (leaf == 1) {
            r.edx = 1u << 28;
            r.ebx = 2u << 16;
        }
        return r;
    }
    bool getAffinity(uint64_t& p, uint64_t& s) override
    {
        p = s = 0b11;
        return !fails;
    }
    bool setAffinity(uint64_t) override { return true; }
    void yield() override {}
};

class test_machine : public orvane::qx_machine {
public:
    std::string name = "QXHOST";
    bool nameFails = false;
    fixed_processors processors;

    bool computerName(std::string& out) override
    {
        out = name;
        return !nameFails;
    }
    orvane::qx_processorfacts& processorFacts() override { return processors; }
};

}  // namespace qxtestfiles
