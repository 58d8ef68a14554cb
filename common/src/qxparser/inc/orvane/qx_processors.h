// What the processors of this machine really are: logical processors the
// process may use, physical packages behind them, cores per package and the
// state of hyper-threading. All the work is done in the constructor.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "orvane/qx_errors.h"

namespace orvane {

struct qx_cpuidregs {
    uint32_t eax = 0;
    uint32_t ebx = 0;
    uint32_t ecx = 0;
    uint32_t edx = 0;
};

// The few processor facts the detection reads. The machine's own answers come
// from platform(); a test plays any processor through its own subclass.
class qx_processorfacts {
public:
    virtual ~qx_processorfacts() = default;

    // CPUID with ECX 0, on the logical processor the thread runs on now.
    virtual qx_cpuidregs cpuid(uint32_t leaf) = 0;
    // The process's mask and the system's; false if they can't be had.
    virtual bool getAffinity(uint64_t& processMask, uint64_t& systemMask) = 0;
    // Pins the process to the processors of `mask`; false if refused.
    virtual bool setAffinity(uint64_t mask) = 0;
    // Gives up the time slice, so that a new pin takes effect.
    virtual void yield() = 0;

    static qx_processorfacts& platform();
    // A processor list as Linux writes it ("0-3,6"); 0 for anything else.
    static uint64_t parseCpuList(const std::string& text);
};

class qx_processors : public qx_errors {
public:
    static constexpr int kMaxProcessors = 64;
    static constexpr int16_t kNotVisited = -1;

    enum hyperthreading : int32_t {
        htNone = 0,
        htEnabled = 1,
        htDisabledInCpu = 2,
        htDisabledInBios = 3,
        htUnknown = 4,
    };

    qx_processors();
    explicit qx_processors(qx_processorfacts& facts);
    ~qx_processors() override;

    void detect();

    int32_t getLogicalPerPhysical() const { return logicalPerPhysical; }
    int32_t getPhysicalCPUCount() const { return physicalCPUCount; }
    int32_t getSystemCPUCount() const { return systemCPUCount; }
    int32_t getProcessCPUCount() const { return processCPUCount; }
    uint64_t getProcessMask() const { return processMask; }
    int32_t getHyperThreading() const { return hyperThreading; }
    int16_t getPackageId(int index) const { return packageIds.at(index); }
    uint64_t getSiblingMask() const { return siblingMask; }
    int32_t getCoresPerPackage() const { return coresPerPackage; }
    const std::string& getVendor() const { return vendor; }
    const std::string& getDescription() const { return description; }

    // "hyper-threading enabled" and the others; empty outside 0 to 4.
    static const char* hyperThreadingText(int32_t state);
    // "single core", "dual core", "quad core", else "<n> core".
    static std::string coreText(int32_t cores);
    // Doublings of 1 until it reaches `logical`, at most the 8 bits of an APIC id.
    static int idWidth(int32_t logical);

private:
    enum class make { none, intel, amd };

    bool identify(make& maker);
    void walk(bool& walked, bool& siblings);
    void composeTexts(make maker);

    qx_processorfacts& facts;

    int32_t systemCPUCount = 0;
    int32_t physicalCPUCount = 0;
    int32_t processCPUCount = 0;
    uint64_t processMask = 0;
    int32_t hyperThreading = htNone;
    int32_t logicalPerPhysical = 1;
    std::array<int16_t, kMaxProcessors> packageIds{};
    uint64_t siblingMask = 0;
    std::string vendor;
    std::string description;
    int32_t coresPerPackage = 1;
};

}  // namespace orvane
