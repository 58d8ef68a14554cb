// Processor detection, played through simulated machines, and once on the
// processor this test runs on.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "orvane/qx_processors.h"

using orvane::qx_cpuidregs;
using orvane::qx_processorfacts;
using orvane::qx_processors;

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

sim_machine intel(bool flag, int logicalPerPackage, int cores, std::vector<uint8_t> apics)
{
    sim_machine m;
    m.leaf0 = {4, 0x756E6547, 0x6C65746E, 0x49656E69};
    m.leaf1.edx = flag ? kFlag : 0;
    m.leaf1.ebx = static_cast<uint32_t>(logicalPerPackage) << 16;
    m.leaf4.eax = static_cast<uint32_t>(cores - 1) << 26;
    m.apicIds = std::move(apics);
    m.process = m.system = lowBits(static_cast<int>(m.apicIds.size()));
    m.pinned = m.process;
    return m;
}

sim_machine amd(int cores, std::vector<uint8_t> apics, bool extended = true)
{
    sim_machine m;
    m.leaf0 = {0x10, 0x68747541, 0x444D4163, 0x69746E65};
    m.leaf1.edx = kFlag;
    m.leaf1.ebx = static_cast<uint32_t>(cores) << 16;
    m.ext0.eax = extended ? 0x80000008u : 0;
    m.ext8.ecx = static_cast<uint32_t>(cores - 1);
    m.apicIds = std::move(apics);
    m.process = m.system = lowBits(static_cast<int>(m.apicIds.size()));
    m.pinned = m.process;
    return m;
}

struct expected {
    std::string vendor;
    std::string description;
    int32_t hyperThreading;
    int32_t physical;
    int32_t logicalPerPhysical;
    int32_t cores;
    bool walks;
    uint64_t siblingMask;
};

struct machine_case {
    const char* name;
    sim_machine machine;
    expected want;
};

std::vector<machine_case> machineCases()
{
    std::vector<machine_case> cases;
    cases.push_back({"intel_without_flag", intel(false, 0, 1, {0, 1}),
                     {"Intel", "No hyper-threading in cpu, single core", 0, 2, 1, 1, false, 0}});
    cases.push_back({"intel_flag_one_logical", intel(true, 1, 1, {0, 1}),
                     {"Intel", "hyper-threading disabled in cpu, single core", 2, 2, 1, 1, false, 0}});
    cases.push_back({"intel_dual_core_without_ht", intel(true, 2, 2, {0, 1}),
                     {"Intel", "hyper-threading disabled in bios, dual core", 3, 1, 2, 2, true, 0b10}});
    cases.push_back({"intel_dual_core_ht_one_package", intel(true, 4, 2, {0, 1, 2, 3}),
                     {"Intel", "hyper-threading enabled, dual core", 1, 1, 4, 2, true, 0b1110}});
    cases.push_back({"intel_dual_core_ht_two_packages", intel(true, 4, 2, {0, 1, 2, 3, 4, 5, 6, 7}),
                     {"Intel", "hyper-threading enabled, dual core", 1, 2, 4, 2, true, 0b11101110}});
    // Siblings that can't show: one logical processor per package each.
    cases.push_back({"intel_ht_capable_no_siblings", intel(true, 2, 1, {0, 2}),
                     {"Intel", "hyper-threading disabled in bios, single core", 3, 2, 1, 1, true, 0}});
    cases.push_back({"intel_three_cores", intel(true, 3, 3, {0, 1, 2}),
                     {"Intel", "hyper-threading disabled in bios, 3 core", 3, 1, 3, 3, true, 0b110}});
    cases.push_back({"amd_dual_core", amd(2, {0, 1}), {"AMD", "dual core", 0, 1, 2, 2, true, 0b10}});
    cases.push_back({"amd_quad_core", amd(4, {0, 1, 2, 3}), {"AMD", "quad core", 0, 1, 4, 4, true, 0b1110}});
    cases.push_back({"amd_single_core", amd(1, {0, 1}), {"AMD", "single core", 0, 2, 1, 1, false, 0}});
    cases.push_back({"amd_without_extended_leaves", amd(2, {0, 1}, false), {"AMD", "single core", 0, 2, 2, 1, false, 0}});
    {
        sim_machine other = intel(true, 8, 4, {0, 1});
        other.leaf0 = {0x16, 0x746E6543, 0x736C7561, 0x48727561};  // CentaurHauls
        cases.push_back({"other_make", other, {"", "", 0, 2, 8, 1, false, 0}});
    }
    return cases;
}

class machine_test : public testing::TestWithParam<machine_case> {};

TEST_P(machine_test, DetectsTopologyAndRestoresAffinity)
{
    machine_case c = GetParam();
    const uint64_t before = c.machine.process;
    qx_processors p(c.machine);

    EXPECT_TRUE(p.isValid());
    EXPECT_EQ(p.getVendor(), c.want.vendor);
    EXPECT_EQ(p.getDescription(), c.want.description);
    EXPECT_EQ(p.getHyperThreading(), c.want.hyperThreading);
    EXPECT_EQ(p.getPhysicalCPUCount(), c.want.physical);
    EXPECT_EQ(p.getLogicalPerPhysical(), c.want.logicalPerPhysical);
    EXPECT_EQ(p.getCoresPerPackage(), c.want.cores);
    EXPECT_EQ(p.getSiblingMask(), c.want.siblingMask);
    const int count = static_cast<int>(c.machine.apicIds.size());
    EXPECT_EQ(p.getSystemCPUCount(), count);
    EXPECT_EQ(p.getProcessCPUCount(), count);
    EXPECT_EQ(p.getProcessMask(), before);

    if (c.want.walks) {
        // One pin and one time slice per processor, then the mask as it was.
        ASSERT_EQ(c.machine.pins.size(), c.machine.apicIds.size() + 1);
        for (int i = 0; i < count; ++i) EXPECT_EQ(c.machine.pins[i], uint64_t{1} << i);
        EXPECT_EQ(c.machine.pins.back(), before);
        EXPECT_EQ(c.machine.yields, count);
        const int width = qx_processors::idWidth(static_cast<int32_t>(c.machine.leaf1.ebx >> 16 & 0xFF));
        for (int i = 0; i < count; ++i) EXPECT_EQ(p.getPackageId(i), c.machine.apicIds[i] >> width) << i;
    } else {
        EXPECT_TRUE(c.machine.pins.empty());
        for (int i = 0; i < count; ++i) EXPECT_EQ(p.getPackageId(i), qx_processors::kNotVisited);
    }
    EXPECT_EQ(c.machine.pinned, before);
}

INSTANTIATE_TEST_SUITE_P(Machines, machine_test, testing::ValuesIn(machineCases()),
                         [](const testing::TestParamInfo<machine_case>& info) { return info.param.name; });

TEST(ProcessorsTest, NarrowProcessMaskStopsTheWalk)
{
    sim_machine m = intel(true, 4, 2, {0, 1, 2, 3});
    m.process = 0b0011;
    qx_processors p(m);
    EXPECT_EQ(p.getHyperThreading(), qx_processors::htUnknown);
    EXPECT_EQ(p.getDescription(), "Cannot detect hyper-threading, dual core");
    EXPECT_EQ(p.getLogicalPerPhysical(), 1);
    EXPECT_EQ(p.getPhysicalCPUCount(), 4);
    EXPECT_EQ(p.getProcessCPUCount(), 2);
    EXPECT_EQ(p.getProcessMask(), 0b0011u);
    EXPECT_TRUE(m.pins.empty());
}

TEST(ProcessorsTest, NarrowProcessMaskOnAmdLeavesHyperThreadingAlone)
{
    sim_machine m = amd(2, {0, 1, 2, 3});
    m.process = 0b0101;
    qx_processors p(m);
    EXPECT_EQ(p.getHyperThreading(), qx_processors::htNone);
    EXPECT_EQ(p.getLogicalPerPhysical(), 1);
    EXPECT_EQ(p.getDescription(), "dual core");
}

TEST(ProcessorsTest, RefusedProcessorIsNotVisitedAndLeavesTheMask)
{
    sim_machine m = intel(true, 4, 2, {0, 1, 2, 3, 4, 5, 6, 7});
    m.refuses = 0b00100000;
    qx_processors p(m);
    EXPECT_TRUE(p.isValid());
    EXPECT_EQ(p.getPackageId(5), qx_processors::kNotVisited);
    EXPECT_EQ(p.getPackageId(4), 1);
    EXPECT_EQ(p.getProcessMask(), 0b11011111u);
    EXPECT_EQ(p.getProcessCPUCount(), 8);
    EXPECT_EQ(p.getPhysicalCPUCount(), 2);
    EXPECT_EQ(m.pins.back(), 0xFFu);
    EXPECT_EQ(m.pinned, 0xFFu);
}

TEST(ProcessorsTest, MaskWithAGapVisitsOnlyItsProcessors)
{
    sim_machine m = intel(true, 2, 1, {0, 0, 3});
    m.process = m.system = 0b101;
    qx_processors p(m);
    ASSERT_EQ(m.pins.size(), 3u);
    EXPECT_EQ(m.pins[0], 0b001u);
    EXPECT_EQ(m.pins[1], 0b100u);
    EXPECT_EQ(p.getPackageId(1), qx_processors::kNotVisited);
    EXPECT_EQ(p.getPackageId(2), 1);
    EXPECT_EQ(p.getSiblingMask(), 0b100u);
    EXPECT_EQ(p.getPhysicalCPUCount(), 2);
    EXPECT_EQ(p.getLogicalPerPhysical(), 1);
}

TEST(ProcessorsTest, AffinityQueryFailureIsMessage261)
{
    sim_machine m = intel(true, 4, 2, {0, 1, 2, 3});
    m.affinityFails = true;
    qx_processors p(m);
    EXPECT_FALSE(p.isValid());
    const auto& errors = p.getErrorRepository();
    ASSERT_EQ(errors.getMessageCount(), 1);
    EXPECT_EQ(errors.getErrorNumber(1), 261);
    EXPECT_EQ(errors.getMessage(1), "Failed to find information about number of processors available");
    EXPECT_EQ(p.getSystemCPUCount(), 0);
    EXPECT_EQ(p.getPhysicalCPUCount(), 0);
    EXPECT_EQ(p.getProcessCPUCount(), 0);
}

TEST(ProcessorsTest, DetectAgainStartsFromScratch)
{
    sim_machine m = intel(true, 4, 2, {0, 1, 2, 3});
    m.affinityFails = true;
    qx_processors p(m);
    ASSERT_FALSE(p.isValid());
    m.affinityFails = false;
    m.pins.clear();
    p.detect();
    EXPECT_TRUE(p.isValid());
    EXPECT_EQ(p.getPhysicalCPUCount(), 1);
    EXPECT_EQ(p.getLogicalPerPhysical(), 4);
    EXPECT_EQ(p.getDescription(), "hyper-threading enabled, dual core");

    // The same object on a machine that lost its siblings forgets them.
    m.leaf1.edx = 0;
    p.detect();
    EXPECT_EQ(p.getSiblingMask(), 0u);
    EXPECT_EQ(p.getPackageId(1), qx_processors::kNotVisited);
    EXPECT_EQ(p.getDescription(), "No hyper-threading in cpu, dual core");
}

TEST(ProcessorsTest, IdWidthCountsDoublingsUpToEightBits)
{
    const std::pair<int32_t, int> cases[] = {{0, 0}, {1, 0}, {2, 1}, {3, 2}, {4, 2}, {5, 3},
                                             {8, 3}, {9, 4}, {128, 7}, {129, 8}, {255, 8}};
    for (const auto& [logical, width] : cases) EXPECT_EQ(qx_processors::idWidth(logical), width) << logical;
}

TEST(ProcessorsTest, TextsOfStatesAndCores)
{
    const std::pair<int32_t, const char*> cores[] = {
        {1, "single core"}, {2, "dual core"}, {3, "3 core"}, {4, "quad core"}, {6, "6 core"}, {16, "16 core"}};
    for (const auto& [n, text] : cores) EXPECT_EQ(qx_processors::coreText(n), text);
    EXPECT_STREQ(qx_processors::hyperThreadingText(5), "");
    EXPECT_STREQ(qx_processors::hyperThreadingText(-1), "");
}

TEST(ProcessorsTest, CpuListsAsLinuxWritesThem)
{
    const std::pair<const char*, uint64_t> cases[] = {
        {"0", 0x1},        {"0-1", 0x3},     {"0-1\n", 0x3},   {"0-3,6", 0x4F},  {"2,4-5", 0x34},
        {"0-70", ~uint64_t{0}}, {"", 0},     {"x", 0},         {"3-1", 0},       {"1,,2", 0},
        {"-1", 0},         {"63", uint64_t{1} << 63}};
    for (const auto& [text, mask] : cases) EXPECT_EQ(qx_processorfacts::parseCpuList(text), mask) << text;
}

// The real processor: whatever it is, the object must agree with itself and
// leave the process where it was.
TEST(ProcessorsTest, ThisMachine)
{
    qx_processorfacts& facts = qx_processorfacts::platform();
    uint64_t processBefore = 0, systemBefore = 0;
    ASSERT_TRUE(facts.getAffinity(processBefore, systemBefore));

    qx_processors p;
    uint64_t processAfter = 0, systemAfter = 0;
    ASSERT_TRUE(facts.getAffinity(processAfter, systemAfter));
    EXPECT_EQ(processAfter, processBefore);
    EXPECT_EQ(systemAfter, systemBefore);

    ASSERT_TRUE(p.isValid());
    EXPECT_GE(p.getSystemCPUCount(), 1);
    EXPECT_GE(p.getProcessCPUCount(), 1);
    EXPECT_GE(p.getPhysicalCPUCount(), 1);
    EXPECT_LE(p.getPhysicalCPUCount(), p.getSystemCPUCount());
    EXPECT_GE(p.getLogicalPerPhysical(), 1);
    EXPECT_EQ(p.getProcessMask() & ~processBefore, 0u);
    const std::string vendor = p.getVendor();
    if (vendor == "AMD") {
        EXPECT_EQ(p.getHyperThreading(), qx_processors::htNone);
        EXPECT_EQ(p.getDescription(), qx_processors::coreText(p.getCoresPerPackage()));
    } else if (vendor == "Intel") {
        EXPECT_EQ(p.getDescription().rfind(qx_processors::hyperThreadingText(p.getHyperThreading()), 0), 0u);
    } else {
        EXPECT_EQ(vendor, "");
        EXPECT_EQ(p.getDescription(), "");
    }
    RecordProperty("vendor", vendor);
    RecordProperty("description", p.getDescription());
    RecordProperty("physical", p.getPhysicalCPUCount());
    RecordProperty("logicalPerPhysical", p.getLogicalPerPhysical());
    std::printf("this machine: %s '%s', %d physical, %d logical per physical, %d cores per package\n",
                vendor.c_str(), p.getDescription().c_str(), p.getPhysicalCPUCount(), p.getLogicalPerPhysical(),
                p.getCoresPerPackage());
}

}  // namespace
