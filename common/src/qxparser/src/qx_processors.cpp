#include "orvane/qx_processors.h"

#include <set>
#include <string>

#if defined(__i386__) || defined(__x86_64__)
#include <cpuid.h>
#define QX_HAVE_CPUID 1
#endif

#ifdef _WIN32
#include <windows.h>
#else
#include <sched.h>
#include <unistd.h>

#include <fstream>
#endif

namespace orvane {

namespace {

// The twelve characters of leaf 0 in EBX, EDX, ECX.
constexpr uint32_t kIntelEbx = 0x756E6547, kIntelEdx = 0x49656E69, kIntelEcx = 0x6C65746E;
constexpr uint32_t kAmdEbx = 0x68747541, kAmdEdx = 0x69746E65, kAmdEcx = 0x444D4163;

constexpr uint32_t kHyperThreadingFlag = 1u << 28;

uint32_t bits(uint32_t value, int low, int high)
{
    const int count = high - low + 1;
    const uint32_t mask = count >= 32 ? 0xFFFFFFFFu : ((1u << count) - 1u);
    return (value >> low) & mask;
}

class platform_facts : public qx_processorfacts {
public:
    qx_cpuidregs cpuid(uint32_t leaf) override
    {
        qx_cpuidregs r;
#ifdef QX_HAVE_CPUID
        __cpuid_count(leaf, 0, r.eax, r.ebx, r.ecx, r.edx);
#else
        (void)leaf;  // no such instruction: every make reads as none
#endif
        return r;
    }

#ifdef _WIN32
    bool getAffinity(uint64_t& processMask, uint64_t& systemMask) override
    {
        DWORD_PTR process = 0, system = 0;
        if (!GetProcessAffinityMask(GetCurrentProcess(), &process, &system)) return false;
        processMask = process;
        systemMask = system;
        return true;
    }

    bool setAffinity(uint64_t mask) override
    {
        return SetProcessAffinityMask(GetCurrentProcess(), static_cast<DWORD_PTR>(mask)) != 0;
    }

    void yield() override { Sleep(0); }
#else
    // Linux pins threads, not processes; the detection runs on one thread
    // and restores that thread's mask, which is what the process started with.
    bool getAffinity(uint64_t& processMask, uint64_t& systemMask) override
    {
        cpu_set_t set;
        CPU_ZERO(&set);
        if (sched_getaffinity(0, sizeof set, &set) != 0) return false;
        processMask = 0;
        for (int i = 0; i < qx_processors::kMaxProcessors; ++i)
            if (CPU_ISSET(i, &set)) processMask |= uint64_t{1} << i;
        systemMask = onlineMask();
        return systemMask != 0;
    }

    bool setAffinity(uint64_t mask) override
    {
        cpu_set_t set;
        CPU_ZERO(&set);
        for (int i = 0; i < qx_processors::kMaxProcessors; ++i)
            if (mask & (uint64_t{1} << i)) CPU_SET(i, &set);
        return sched_setaffinity(0, sizeof set, &set) == 0;
    }

    void yield() override { sched_yield(); }

private:
    // The system's mask is the list of online processors, "0-3,6" and so on.
    static uint64_t onlineMask()
    {
        std::ifstream in("/sys/devices/system/cpu/online");
        std::string text;
        if (in && std::getline(in, text)) return parseCpuList(text);
        const long count = sysconf(_SC_NPROCESSORS_ONLN);
        if (count <= 0) return 0;
        return count >= 64 ? ~uint64_t{0} : (uint64_t{1} << count) - 1;
    }
#endif
};

}  // namespace

uint64_t qx_processorfacts::parseCpuList(const std::string& text)
{
    uint64_t mask = 0;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t end = text.find(',', pos);
        if (end == std::string::npos) end = text.size();
        const std::string item = text.substr(pos, end - pos);
        pos = end + 1;
        if (item.empty() || item.find_first_not_of("0123456789-\n") != std::string::npos) return 0;
        const size_t dash = item.find('-');
        unsigned long first = 0, last = 0;
        try {
            first = std::stoul(item.substr(0, dash));
            last = dash == std::string::npos ? first : std::stoul(item.substr(dash + 1));
        } catch (...) {
            return 0;
        }
        if (last < first) return 0;
        for (unsigned long i = first; i <= last && i < 64; ++i) mask |= uint64_t{1} << i;
    }
    return mask;
}

qx_processorfacts& qx_processorfacts::platform()
{
    static platform_facts facts;
    return facts;
}

qx_processors::qx_processors() : qx_processors(qx_processorfacts::platform()) {}

qx_processors::qx_processors(qx_processorfacts& source) : facts(source)
{
    detect();
}

qx_processors::~qx_processors() = default;

const char* qx_processors::hyperThreadingText(int32_t state)
{
    switch (state) {
    case htNone: return "No hyper-threading in cpu";
    case htEnabled: return "hyper-threading enabled";
    case htDisabledInCpu: return "hyper-threading disabled in cpu";
    case htDisabledInBios: return "hyper-threading disabled in bios";
    case htUnknown: return "Cannot detect hyper-threading";
    default: return "";
    }
}

std::string qx_processors::coreText(int32_t cores)
{
    switch (cores) {
    case 1: return "single core";
    case 2: return "dual core";
    case 4: return "quad core";
    default: return std::to_string(cores) + " core";
    }
}

int qx_processors::idWidth(int32_t logical)
{
    // An APIC id has 8 bits; no package can spread wider than that.
    int width = 0;
    for (int64_t value = 1; value < logical && width < 8; value *= 2) ++width;
    return width;
}

void qx_processors::detect()
{
    clearAllErrors();
    packageIds.fill(kNotVisited);
    systemCPUCount = physicalCPUCount = processCPUCount = 0;
    processMask = siblingMask = 0;
    hyperThreading = htNone;
    logicalPerPhysical = coresPerPackage = 1;
    vendor.clear();
    description.clear();

    uint64_t process = 0, system = 0;
    if (!facts.getAffinity(process, system)) {
        errorList.addError(qxerr::processorCount);
    } else {
        for (int i = 0; i < kMaxProcessors; ++i) {
            const uint64_t bit = uint64_t{1} << i;
            if (process & bit) {
                processMask |= bit;
                ++processCPUCount;
            }
            if (system & bit) {
                ++systemCPUCount;
                ++physicalCPUCount;
            }
        }
    }

    make maker = make::none;
    const bool canHaveSiblings = identify(maker);
    if (!canHaveSiblings) {
        hyperThreading = htNone;
    } else if (logicalPerPhysical == 1) {
        hyperThreading = htDisabledInCpu;
    } else {
        bool walked = false, siblings = false;
        walk(walked, siblings);
        if (siblings) {
            std::set<int16_t> packages;
            for (int i = 0; i < kMaxProcessors; ++i) {
                if (packageIds[i] == kNotVisited)
                    processMask &= ~(uint64_t{1} << i);
                else
                    packages.insert(packageIds[i]);
            }
            physicalCPUCount = static_cast<int32_t>(packages.size());
            logicalPerPhysical = systemCPUCount / physicalCPUCount;
            if (maker == make::intel)
                hyperThreading = (logicalPerPhysical > coresPerPackage && walked) ? htEnabled : htDisabledInBios;
            else
                hyperThreading = htNone;
        } else {
            logicalPerPhysical = 1;
            if (maker == make::intel) hyperThreading = walked ? htDisabledInBios : htUnknown;
        }
    }
    composeTexts(maker);
}

bool qx_processors::identify(make& maker)
{
    maker = make::none;
    coresPerPackage = 1;
    logicalPerPhysical = 1;

    const qx_cpuidregs leaf0 = facts.cpuid(0);
    const uint32_t highest = leaf0.eax;
    if (leaf0.ebx == kIntelEbx && leaf0.edx == kIntelEdx && leaf0.ecx == kIntelEcx)
        maker = make::intel;
    else if (leaf0.ebx == kAmdEbx && leaf0.edx == kAmdEdx && leaf0.ecx == kAmdEcx)
        maker = make::amd;

    const qx_cpuidregs leaf1 = facts.cpuid(1);
    const bool flag = (leaf1.edx & kHyperThreadingFlag) != 0;
    if (flag) logicalPerPhysical = static_cast<int32_t>(bits(leaf1.ebx, 16, 23));

    switch (maker) {
    case make::intel:
        if (highest >= 4) coresPerPackage = static_cast<int32_t>(bits(facts.cpuid(4).eax, 26, 31)) + 1;
        return flag;
    case make::amd:
        if (facts.cpuid(0x80000000u).eax == 0) return false;
        coresPerPackage = static_cast<int32_t>(bits(facts.cpuid(0x80000008u).ecx, 0, 3)) + 1;
        return coresPerPackage > 1;
    case make::none: break;
    }
    return false;
}

void qx_processors::walk(bool& walked, bool& siblings)
{
    siblings = false;
    uint64_t process = 0, system = 0;
    facts.getAffinity(process, system);
    if (process != system) {
        // Processors outside our mask can't be visited: no honest answer.
        walked = false;
        return;
    }
    const int width = idWidth(logicalPerPhysical);
    const uint32_t logicalMask = (1u << width) - 1u;
    int i = 0;
    for (uint64_t bit = 1; bit != 0 && bit <= process; bit <<= 1, ++i) {
        if (!(process & bit) || !facts.setAffinity(bit)) continue;
        facts.yield();
        const uint32_t apicId = bits(facts.cpuid(1).ebx, 24, 31);
        if ((apicId & logicalMask) != 0) {
            siblings = true;
            siblingMask |= bit;
        }
        packageIds[i] = static_cast<int16_t>(apicId >> width);
    }
    facts.setAffinity(process);
    walked = true;
}

void qx_processors::composeTexts(make maker)
{
    switch (maker) {
    case make::none: vendor.clear(); break;
    case make::intel:
        vendor = "Intel";
        description = hyperThreadingText(hyperThreading);
        if (!description.empty()) description += ", ";
        description += coreText(coresPerPackage);
        break;
    case make::amd:
        vendor = "AMD";
        description = coreText(coresPerPackage);
        break;
    }
}

}  // namespace orvane
