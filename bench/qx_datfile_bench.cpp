// Read and save of a generated 10 MB quorix.dat, against a plain read and
// write of the same bytes in the same run: what the object model costs on
// top of the file system.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "orvane/qx_datfile.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t kTargetBytes = 10 * 1024 * 1024;

// Every kind of section, comments between and inside them, both database
// line forms, and enough Options lines to reach the target size.
std::string generate()
{
    std::string text;
    text.reserve(kTargetBytes + 4096);
    text += "# Quorix configuration file\n# generated for the benchmark\n";
    text += "Databases\n";
    for (int i = 0; i < 20000; ++i) {
        if (i % 50 == 0) text += "## group " + std::to_string(i / 50) + "\n";
        if (i % 7 == 0) text += "#";
        text += "DB" + std::to_string(i) + "\tdb" + std::to_string(i) + "/db_*.fasta\tAA\t1234\t1\t1\t1\t" +
                std::to_string(1 + i % 8) + "\t0\t1\t" + std::to_string(1 + i % 200) + "\t" +
                std::to_string(2 + i % 200) + "\t3" + (i % 3 ? "\t0\n" : "\n");
    }
    text += "end\n# parse rules\nPARSE\n";
    for (int i = 1; i < 256; ++i) text += "RULE_" + std::to_string(i) + "\t\">\\([^ ]*\\) rule " + std::to_string(i) + "\"\n";
    text += "end\nWWW\n";
    for (int i = 0; i < 2000; ++i)
        text += "DB" + std::to_string(i) + "_SEQ\t\"1\"\t\"localhost\"\t\"80\"\t\"/quorix/x-cgi/ms-getseq.exe\"\n";
    text += "end\n";
    for (int t = 0; t <= 64; ++t) {
        text += "Taxonomy_" + std::to_string(t) + "\nEnabled 1\nIdentifier taxonomy " + std::to_string(t) + "\n";
        for (int i = 0; i < 200; ++i) text += "RULE_" + std::to_string(i) + "\tNCBI,CHOP:P\t\"x\\(.*\\)\"\n";
        text += "end\n";
    }
    text += "Cluster\nEnabled 0\nMasterComputerName master\nend\nUniGene\nHuman ../unigene/Hs.data\nend\n";
    text += "Processor\nProcessorSet=0,1,2,3\nend\nCron\nCronEnable 1\n0 1-3,5 * * * cmd with blanks\nend\n";
    text += "# the options\nOptions\n";
    for (int i = 0; text.size() < kTargetBytes; ++i) {
        if (i % 100 == 0) text += "# options group " + std::to_string(i / 100) + "\n";
        text += "Option" + std::to_string(i) + "  :  value number " + std::to_string(i) + " with some text   \n";
    }
    text += "end\n# trailing comment\n";
    return text;
}

struct Files {
    std::string input, output;
    size_t size = 0;

    Files()
    {
        fs::path dir = fs::temp_directory_path() / "qx_datfile_bench";
        fs::create_directories(dir);
        input = (dir / "quorix.dat").string();
        output = (dir / "saved.dat").string();
        std::string text = generate();
        size = text.size();
        std::FILE* f = std::fopen(input.c_str(), "wb");
        std::fwrite(text.data(), 1, text.size(), f);
        std::fclose(f);
    }
};

const Files& files()
{
    static const Files f;
    return f;
}

void BM_PlainReadWrite(benchmark::State& state)
{
    const Files& f = files();
    std::vector<char> buffer(f.size);
    for (auto _ : state) {
        std::FILE* in = std::fopen(f.input.c_str(), "rb");
        size_t n = std::fread(buffer.data(), 1, buffer.size(), in);
        std::fclose(in);
        std::FILE* out = std::fopen(f.output.c_str(), "wb");
        std::fwrite(buffer.data(), 1, n, out);
        std::fclose(out);
        benchmark::DoNotOptimize(n);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(f.size));
}
BENCHMARK(BM_PlainReadWrite)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_DatfileReadSave(benchmark::State& state)
{
    const Files& f = files();
    for (auto _ : state) {
        orvane::qx_datfile dat;
        dat.setFileName(f.input);
        if (!dat.read()) state.SkipWithError("read failed");
        dat.setFileName(f.output);
        if (!dat.save()) state.SkipWithError("save failed");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(f.size));
}
BENCHMARK(BM_DatfileReadSave)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_DatfileReadOnly(benchmark::State& state)
{
    const Files& f = files();
    for (auto _ : state) {
        orvane::qx_datfile dat;
        dat.setFileName(f.input);
        if (!dat.read()) state.SkipWithError("read failed");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(f.size));
}
BENCHMARK(BM_DatfileReadOnly)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
