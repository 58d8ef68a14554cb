// Processor detection, played through simulated machines from machines.txt,
// and once on the processor this test runs on.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "orvane/qx_processors.h"
#include "test_files.h"

using orvane::qx_cpuidregs;
using orvane::qx_processorfacts;
using orvane::qx_processors;
using namespace qxtestfiles;

namespace {

// A machine of logical processors with their APIC ids. CPUID leaf 1 answers
// with the APIC id of the processor the process is pinned to.
class sim_machine : public qx_processorfacts {
public:
    qx_cpuidregs leaf0, leaf1, leaf4, ext0, ext8;
    std::vector<uint8_t> apicIds;
    uint64_t process = 0;
    uint64_t system = 0;
    bool affinityFails = false;
    uint64_t refuses = 0;  // processors that won't take a pin

    uint64_t pinned = 0;
    std::vector<uint64_t> pins;
    int yields = 0;

    qx_cpuidregs cpuid(uint32_t leaf) override
    {
        switch (leaf) {
        case 0: return leaf0;
        case 1: {
            qx_cpuidregs r = leaf1;
            int current = 0;
            while (current < 64 && !(pinned & (uint64_t{1} << current))) ++current;
            const uint32_t apic = current < static_cast<int>(apicIds.size()) ? apicIds[current] : 0;
            r.ebx = (r.ebx & 0x00FFFFFFu) | (apic << 24);
            return r;
        }
        case 4: return leaf4;
        case 0x80000000u: return ext0;
        case 0x80000008u: return ext8;
        default: return {};
        }
    }
    bool getAffinity(uint64_t& p, uint64_t& s) override
    {
        if (affinityFails) return false;
        p = process;
        s = system;
        return true;
    }
    bool setAffinity(uint64_t mask) override
    {
        pins.push_back(mask);
        const bool single = (mask & (mask - 1)) == 0;
        if (single && (mask & refuses)) return false;
        pinned = mask;
        return true;
    }
    void yield() override { ++yields; }
};

constexpr uint32_t kFlag = 1u << 28;

uint64_t lowBits(int n) { return n >= 64 ? ~uint64_t{0} : (uint64_t{1} << n) - 1; }

std::string hex(uint64_t v)
{
    char text[20];
    std::snprintf(text, sizeof text, "%llx", static_cast<unsigned long long>(v));
    return text;
}

// A block's first line makes the machine (intel or amd, then key=value
// words) and detects; each further line changes it and detects again; a line
// "call ..." asks one of the class's helpers instead.
std::string play(const std::string& input)
{
    std::istringstream lines(input);
    std::string out, line;
    sim_machine m;
    std::unique_ptr<qx_processors> p;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::map<std::string, std::string> k;
        std::string kind, word;
        words >> kind;
        for (; words >> word;) k[word.substr(0, word.find('='))] = word.substr(word.find('=') + 1);
        if (kind == "call") {
            if (k.count("idWidth")) out += std::to_string(qx_processors::idWidth(std::stoi(k["idWidth"]))) + "\n";
            if (k.count("coreText")) out += qx_processors::coreText(std::stoi(k["coreText"])) + "\n";
            if (k.count("hyperThreadingText")) out += std::string("[") + qx_processors::hyperThreadingText(std::stoi(k["hyperThreadingText"])) + "]\n";
            if (k.count("parseCpuList")) out += hex(qx_processorfacts::parseCpuList(replaceAll(k["parseCpuList"], "<LF>", "\n"))) + "\n";
            continue;
        }
        std::vector<uint8_t> apics;
        for (std::istringstream list(k["apics"]); std::getline(list, word, ',');) apics.push_back(std::stoi(word));
        if (kind == "intel" || kind == "amd") {
            const bool amd = kind == "amd";
            const uint32_t cores = std::stoi(k["cores"]);
            m = sim_machine();
            m.leaf0 = amd ? qx_cpuidregs{0x10, 0x68747541, 0x444D4163, 0x69746E65} : qx_cpuidregs{4, 0x756E6547, 0x6C65746E, 0x49656E69};
            m.leaf1.edx = amd || k["ht"] == "1" ? kFlag : 0;
            m.leaf1.ebx = (amd ? cores : std::stoi(k["logical"])) << 16;
            m.leaf4.eax = amd ? 0 : (cores - 1) << 26;
            m.ext0.eax = amd && k["extended"] != "0" ? 0x80000008u : 0;
            m.ext8.ecx = amd ? cores - 1 : 0;
            m.apicIds = apics;
            m.process = m.system = m.pinned = lowBits(static_cast<int>(apics.size()));
        }
        if (k["make"] == "centaur") m.leaf0 = {0x16, 0x746E6543, 0x736C7561, 0x48727561};
        if (k.count("process")) m.process = std::stoull(k["process"], nullptr, 16);
        if (k.count("system")) m.system = std::stoull(k["system"], nullptr, 16);
        if (k.count("refuses")) m.refuses = std::stoull(k["refuses"], nullptr, 16);
        if (k.count("affinityFails")) m.affinityFails = k["affinityFails"] == "1";
        if (k.count("ht")) m.leaf1.edx = k["ht"] == "1" ? kFlag : 0;
        m.pins.clear();
        m.yields = 0;
        if (p) p->detect();
        else p = std::make_unique<qx_processors>(m);
        out += p->getVendor() + " | " + p->getDescription() + " | valid " + std::to_string(p->isValid()) + " ht " +
               std::to_string(p->getHyperThreading()) + " physical " + std::to_string(p->getPhysicalCPUCount()) +
               " logical/physical " + std::to_string(p->getLogicalPerPhysical()) + " cores " +
               std::to_string(p->getCoresPerPackage()) + " siblings " + hex(p->getSiblingMask()) + "\n  system " +
               std::to_string(p->getSystemCPUCount()) + " process " + std::to_string(p->getProcessCPUCount()) +
               " mask " + hex(p->getProcessMask()) + " pinned " + hex(m.pinned) + " yields " +
               std::to_string(m.yields) + "\n  pins";
        for (uint64_t pin : m.pins) out += " " + hex(pin);
        out += "\n  packages";
        for (size_t i = 0; i < apics.size(); ++i) out += " " + std::to_string(p->getPackageId(static_cast<int>(i)));
        out += "\n";
        for (int n = 1; n <= p->getErrorRepository().getMessageCount(); ++n)
            out += "  " + std::to_string(p->getErrorRepository().getErrorNumber(n)) + " " + p->getErrorRepository().getMessage(n) + "\n";
    }
    return out;
}

}  // namespace

TEST(ProcessorsTest, Machines)
{
    EXPECT_GT(runBlocks(corpusDir() + "/../machines.txt", [](const std::string&, const std::string& input) { return play(input); }), 10);
}

// The real processor: whatever it is, the object must agree with itself and
// leave the process where it was.
TEST(ProcessorsTest, ThisMachine)
{
    qx_processorfacts& facts = qx_processorfacts::platform();
    uint64_t before[2] = {}, after[2] = {};
    ASSERT_TRUE(facts.getAffinity(before[0], before[1]));
    qx_processors p;
    ASSERT_TRUE(facts.getAffinity(after[0], after[1]));
    EXPECT_TRUE(after[0] == before[0] && after[1] == before[1]) << "the process is left where it was";
    ASSERT_TRUE(p.isValid());
    EXPECT_TRUE(p.getProcessCPUCount() >= 1 && p.getPhysicalCPUCount() >= 1 && p.getLogicalPerPhysical() >= 1);
    EXPECT_LE(p.getPhysicalCPUCount(), p.getSystemCPUCount());
    EXPECT_EQ(p.getProcessMask() & ~before[0], 0u);
    const std::string vendor = p.getVendor();
    if (vendor == "AMD") EXPECT_EQ(std::to_string(p.getHyperThreading()) + p.getDescription(), "0" + std::string(qx_processors::coreText(p.getCoresPerPackage())));
    else if (vendor == "Intel") EXPECT_EQ(p.getDescription().rfind(qx_processors::hyperThreadingText(p.getHyperThreading()), 0), 0u);
    else EXPECT_EQ(vendor + p.getDescription(), "");
}
