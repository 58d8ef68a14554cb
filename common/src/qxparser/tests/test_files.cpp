#include "test_files.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

namespace fs = std::filesystem;

namespace qxtestfiles {

std::string tempDir()
{
    static const std::string dir = [] {
        fs::path base = fs::temp_directory_path() / "qxparser-tests";
        fs::create_directories(base);
        for (int n = 0;; ++n) {
            fs::path candidate = base / std::to_string(n);
            if (fs::create_directory(candidate)) return candidate.generic_string();
        }
    }();
    return dir;
}

std::string tempPath(const std::string& name) { return tempDir() + "/" + name; }

std::string corpusDir() { return QX_CORPUS_DIR; }

void writeBytes(const std::string& path, const std::string& bytes)
{
    ASSERT_TRUE((std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes).good()) << path;
}

std::string readBytes(const std::string& path)
{
    std::ostringstream all;
    all << std::ifstream(path, std::ios::binary).rdbuf();
    return all.str();
}

#ifdef _WIN32
std::string platformText(const std::string& text) { return replaceAll(text, "\n", "\r\n"); }
std::string lfText(const std::string& text) { return replaceAll(text, "\r\n", "\n"); }
#else
std::string platformText(const std::string& text) { return text; }
std::string lfText(const std::string& text) { return text; }
#endif

std::string readInto(const std::string& text, orvane::qx_datfile& dat)
{
    static std::atomic<int> counter{0};
    std::string path = tempPath("read" + std::to_string(counter++) + ".dat");
    writeBytes(path, text);
    dat.setFileName(path);
    dat.read();
    return path;
}

std::string replaceAll(std::string s, const std::string& from, const std::string& to)
{
    for (size_t at = 0; !from.empty() && (at = s.find(from, at)) != std::string::npos; at += to.size())
        s.replace(at, from.size(), to);
    return s;
}

std::string decode(std::string s)
{
    return replaceAll(replaceAll(replaceAll(s, "<TAB>", "\t"), "<CR>", "\r"), "<1A>", "\x1a");
}

std::string encode(std::string s)
{
    return replaceAll(replaceAll(replaceAll(s, "\t", "<TAB>"), "\r", "<CR>"), "\x1a", "<1A>");
}

static std::string diff(const std::string& expected, const std::string& actual)
{
    std::istringstream e(expected), a(actual);
    std::string out, le, la;
    for (bool me = true, ma = true; (me = bool(std::getline(e, le))) | (ma = bool(std::getline(a, la)));) {
        if (me && ma && le == la) out += " " + le + "\n";
        else out += (me ? "-" + le + "\n" : "") + (ma ? "+" + la + "\n" : "");
    }
    return out;
}

int runBlocks(const std::string& path, const std::function<std::string(const std::string&, const std::string&)>& run)
{
    std::ifstream in(path);
    std::string line, rewritten, name, input, expected;
    int part = 0, count = 0;  // part 1: input, 2: expectation
    bool bless = std::getenv("QX_BLESS") != nullptr;
    auto finish = [&] {
        if (part == 0) return;
        if (input.size() >= 8 && input.compare(input.size() - 8, 8, "<NOEOL>\n") == 0) {
            input.resize(input.size() - 8);
            if (!input.empty()) input.pop_back();
        }
        std::string actual = run(name, decode(input));
        ++count;
        if (bless) rewritten += "-- expect\n" + actual;
        else EXPECT_EQ(expected, actual) << path << ": " << name << "\n" << diff(expected, actual);
    };
    while (std::getline(in, line)) {
        if (line.rfind("== ", 0) == 0) {
            finish();
            name = line.substr(3), input.clear(), expected.clear(), part = 1;
        } else if (line == "-- expect" && part == 1) {
            part = 2;
            continue;
        }
        if (part == 2) expected += line + "\n";
        else {
            if (part == 1 && line.rfind("== ", 0) != 0) input += line + "\n";
            rewritten += line + "\n";
        }
    }
    finish();
    if (bless) std::ofstream(path, std::ios::binary) << rewritten;
    return count;
}
}  // namespace qxtestfiles
