// Read, save and install-time merge of generated quorix.dat files of 100 KB,
// 1 MB and 10 MB, against a plain read and write of the same bytes in the
// same run: what the object model costs on top of the file system. Each
// benchmark also reports the peak of heap bytes in use during one iteration.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "orvane/qx_datfile.h"

namespace fs = std::filesystem;

// Heap bytes in use and their peak, counted by the global allocation
// functions; the block size is kept in front of each block. Plain counters:
// the benchmarks run on one thread, and atomic ones (three locked
// instructions per allocation) made the library's side about 5% slower,
// a cost of the counting that the plain copy, with one allocation, didn't
// pay.
namespace {
size_t g_inUse = 0;
size_t g_peak = 0;
constexpr size_t kHeader = alignof(std::max_align_t);
}  // namespace

void* operator new(size_t size)
{
    void* p = std::malloc(size + kHeader);
    if (!p) throw std::bad_alloc();
    *static_cast<size_t*>(p) = size;
    g_inUse += size;
    if (g_inUse > g_peak) g_peak = g_inUse;
    return static_cast<char*>(p) + kHeader;
}
void operator delete(void* p) noexcept
{
    if (!p) return;
    char* block = static_cast<char*>(p) - kHeader;
    g_inUse -= *reinterpret_cast<size_t*>(block);
    std::free(block);
}
void* operator new[](size_t size) { return operator new(size); }
void operator delete[](void* p) noexcept { operator delete(p); }
void operator delete(void* p, size_t) noexcept { operator delete(p); }
void operator delete[](void* p, size_t) noexcept { operator delete(p); }

namespace {

// Peak heap bytes above what was in use when the scope began.
class PeakScope {
public:
    PeakScope() : base_(g_inUse) { g_peak = base_; }
    size_t Peak() const { return g_peak - base_; }

private:
    size_t base_;
};

// Every kind of section, comments between and inside them, both database
// line forms, and enough Options lines to reach the target size.
std::string generate(size_t targetBytes)
{
    // The section sizes scale with the target; Options fill the rest.
    const int databases = static_cast<int>(targetBytes / 520);
    const int taxonomyRules = std::max<int>(1, static_cast<int>(targetBytes / 52000));
    const int wwwEntries = static_cast<int>(targetBytes / 5200);
    std::string text;
    text.reserve(targetBytes + 4096);
    text += "# Quorix configuration file\n# generated for the benchmark\n";
    text += "Databases\n";
    for (int i = 0; i < databases; ++i) {
        if (i % 50 == 0) text += "## group " + std::to_string(i / 50) + "\n";
        if (i % 7 == 0) text += "#";
        text += "DB" + std::to_string(i) + "\tdb" + std::to_string(i) + "/db_*.fasta\tAA\t1234\t1\t1\t1\t" +
                std::to_string(1 + i % 8) + "\t0\t1\t" + std::to_string(1 + i % 200) + "\t" +
                std::to_string(2 + i % 200) + "\t3" + (i % 3 ? "\t0\n" : "\n");
    }
    text += "end\n# parse rules\nPARSE\n";
    for (int i = 1; i < 256; ++i) text += "RULE_" + std::to_string(i) + "\t\">\\([^ ]*\\) rule " + std::to_string(i) + "\"\n";
    text += "end\nWWW\n";
    for (int i = 0; i < wwwEntries; ++i)
        text += "DB" + std::to_string(i) + "_SEQ\t\"1\"\t\"localhost\"\t\"80\"\t\"/quorix/x-cgi/ms-getseq.exe\"\n";
    text += "end\n";
    for (int t = 0; t <= 64; ++t) {
        text += "Taxonomy_" + std::to_string(t) + "\nEnabled 1\nIdentifier taxonomy " + std::to_string(t) + "\n";
        for (int i = 0; i < taxonomyRules; ++i) text += "RULE_" + std::to_string(i) + "\tNCBI,CHOP:P\t\"x\\(.*\\)\"\n";
        text += "end\n";
    }
    text += "Cluster\nEnabled 0\nMasterComputerName master\nend\nUniGene\nHuman ../unigene/Hs.data\nend\n";
    text += "Processor\nProcessorSet=0,1,2,3\nend\nCron\nCronEnable 1\n0 1-3,5 * * * cmd with blanks\nend\n";
    text += "# the options\nOptions\n";
    for (int i = 0; text.size() < targetBytes; ++i) {
        if (i % 100 == 0) text += "# options group " + std::to_string(i / 100) + "\n";
        text += "Option" + std::to_string(i) + "  :  value number " + std::to_string(i) + " with some text   \n";
    }
    text += "end\n# trailing comment\n";
    return text;
}

struct Files {
    std::string input, output;
    size_t size = 0;

    explicit Files(size_t target)
    {
        fs::path dir = fs::temp_directory_path() / "qx_datfile_bench";
        fs::create_directories(dir);
        input = (dir / ("quorix-" + std::to_string(target) + ".dat")).string();
        output = (dir / ("saved-" + std::to_string(target) + ".dat")).string();
        std::string text = generate(target);
        size = text.size();
        std::FILE* f = std::fopen(input.c_str(), "wb");
        std::fwrite(text.data(), 1, text.size(), f);
        std::fclose(f);
    }
};

const Files& files(const benchmark::State& state)
{
    static std::map<int64_t, std::unique_ptr<Files>> all;
    auto& f = all[state.range(0)];
    if (!f) f = std::make_unique<Files>(static_cast<size_t>(state.range(0)));
    return *f;
}

// Runs one iteration's work per iteration and reports bytes per second of
// the file and the peak heap of the last iteration.
template <typename Work>
void Measure(benchmark::State& state, Work work)
{
    const Files& f = files(state);
    size_t peak = 0;
    for (auto _ : state) {
        PeakScope scope;
        work(state, f);
        peak = scope.Peak();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(f.size));
    state.counters["peak_heap_MB"] = static_cast<double>(peak) / (1024.0 * 1024.0);
    state.counters["file_MB"] = static_cast<double>(f.size) / (1024.0 * 1024.0);
}

#define QX_SIZES ->Arg(100 * 1024)->Arg(1024 * 1024)->Arg(10 * 1024 * 1024)->Unit(benchmark::kMillisecond)->UseRealTime()

void BM_PlainReadWrite(benchmark::State& state)
{
    Measure(state, [](benchmark::State&, const Files& f) {
        std::vector<char> buffer(f.size);
        std::FILE* in = std::fopen(f.input.c_str(), "rb");
        size_t n = std::fread(buffer.data(), 1, buffer.size(), in);
        std::fclose(in);
        std::FILE* out = std::fopen(f.output.c_str(), "wb");
        std::fwrite(buffer.data(), 1, n, out);
        std::fclose(out);
        benchmark::DoNotOptimize(n);
    });
}
BENCHMARK(BM_PlainReadWrite) QX_SIZES;

// The least a save that keeps lines can do: find each line, split it into
// name, delimiter and value as a place in the text, and write it back
// without its trailing blanks through the same 64 KB block as the library.
// No line is checked and nothing is interpreted, so the library can't get
// under it; its distance to the plain copy is the price of lines alone.
void BM_LineKeepingCopy(benchmark::State& state)
{
    struct place {
        uint32_t at, name, delimiter, value;
    };
    Measure(state, [](benchmark::State&, const Files& f) {
        std::string text(f.size, '\0');
        std::FILE* in = std::fopen(f.input.c_str(), "rb");
        text.resize(std::fread(text.data(), 1, text.size(), in));
        std::fclose(in);
        const auto blank = [](char c) { return c == ' ' || c == '\t'; };
        const auto delimiting = [&blank](char c) { return blank(c) || c == ':' || c == '='; };
        std::vector<place> lines;
        lines.reserve(text.size() / 40);
        const char* const base = text.data();
        const char* const last = base + text.size();
        for (const char* p = base; p < last;) {
            const char* feed = static_cast<const char*>(std::memchr(p, '\n', static_cast<size_t>(last - p)));
            const char* end = feed ? feed : last;
            while (p < end && blank(*p)) ++p;
            while (end > p && (end[-1] == '\r' || blank(end[-1]))) --end;
            const char* name = p;
            while (name < end && !delimiting(*name)) ++name;
            const char* value = name;
            while (value < end && delimiting(*value)) ++value;
            lines.push_back({static_cast<uint32_t>(p - base), static_cast<uint32_t>(name - p),
                             static_cast<uint32_t>(value - name), static_cast<uint32_t>(end - value)});
            p = feed ? feed + 1 : last;
        }
        std::FILE* out = std::fopen(f.output.c_str(), "wb");
        std::setvbuf(out, nullptr, _IONBF, 0);
        static char block[65536];
        size_t used = 0;
        for (const place& line : lines) {
            const size_t size = line.name + line.delimiter + line.value;
            if (used + size + 1 > sizeof block) {
                std::fwrite(block, 1, used, out);
                used = 0;
            }
            if (size + 1 > sizeof block) {  // a line longer than the block goes as it is
                std::fwrite(base + line.at, 1, size, out);
                std::fputc('\n', out);
                continue;
            }
            std::memcpy(block + used, base + line.at, size);
            used += size;
            block[used++] = '\n';
        }
        std::fwrite(block, 1, used, out);
        std::fclose(out);
        benchmark::DoNotOptimize(lines.data());
    });
}
BENCHMARK(BM_LineKeepingCopy) QX_SIZES;

void BM_DatfileReadSave(benchmark::State& state)
{
    Measure(state, [](benchmark::State& s, const Files& f) {
        orvane::qx_datfile dat;
        dat.setFileName(f.input);
        if (!dat.read()) s.SkipWithError("read failed");
        dat.setFileName(f.output);
        if (!dat.save()) s.SkipWithError("save failed");
    });
}
BENCHMARK(BM_DatfileReadSave) QX_SIZES;

void BM_DatfileReadOnly(benchmark::State& state)
{
    Measure(state, [](benchmark::State& s, const Files& f) {
        orvane::qx_datfile dat;
        dat.setFileName(f.input);
        if (!dat.read()) s.SkipWithError("read failed");
    });
}
BENCHMARK(BM_DatfileReadOnly) QX_SIZES;

// The save alone, of a file read once before the runs.
void BM_DatfileSaveOnly(benchmark::State& state)
{
    const Files& f = files(state);
    orvane::qx_datfile dat;
    dat.setFileName(f.input);
    if (!dat.read()) state.SkipWithError("read failed");
    dat.setFileName(f.output);
    Measure(state, [&dat](benchmark::State& s, const Files&) {
        if (!dat.save()) s.SkipWithError("save failed");
    });
}
BENCHMARK(BM_DatfileSaveOnly) QX_SIZES;

// The upgrade an install makes: the package's template merged into the
// generated file as the existing quorix.dat, then saved.
void BM_MergeAndSave(benchmark::State& state)
{
    Measure(state, [](benchmark::State& s, const Files& f) {
        orvane::qx_errorlist errors;
        orvane::qx_datfile dat;
        dat.mergeInstalledDefaults(errors, QX_PACKAGE_DIR "/not.quorix.dat", f.input, "C:\\Quorix\\",
                                   "http://qxhost/quorix/", "D:\\seq\\", false, 0, "", "", 243);
        if (!errors.isValid()) s.SkipWithError(errors.getMessage(-1).c_str());
        dat.setFileName(f.output);
        if (!dat.save()) s.SkipWithError("save failed");
    });
}
BENCHMARK(BM_MergeAndSave) QX_SIZES;

}  // namespace

BENCHMARK_MAIN();
