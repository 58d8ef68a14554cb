#include "test_files.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
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

std::string tempPath(const std::string& name)
{
    return tempDir() + "/" + name;
}

std::string corpusDir()
{
    return QX_CORPUS_DIR;
}

void writeBytes(const std::string& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(out.good()) << path;
}

std::string readBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
}

std::string platformText(const std::string& text)
{
#ifdef _WIN32
    std::string out;
    for (char c : text) {
        if (c == '\n') out += '\r';
        out += c;
    }
    return out;
#else
    return text;
#endif
}

std::string lfText(const std::string& text)
{
#ifdef _WIN32
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
        out += text[i];
    }
    return out;
#else
    return text;
#endif
}

std::string readAndSave(const std::string& input, orvane::qx_datfile& dat)
{
    static std::atomic<int> counter{0};
    int n = counter++;
    std::string in = tempPath("in" + std::to_string(n) + ".dat");
    std::string out = tempPath("out" + std::to_string(n) + ".dat");
    writeBytes(in, input);
    dat.setFileName(in);
    dat.read();
    dat.setFileName(out);
    dat.save();
    return readBytes(out);
}

std::string readInto(const std::string& text, orvane::qx_datfile& dat)
{
    static std::atomic<int> counter{0};
    std::string path = tempPath("read" + std::to_string(counter++) + ".dat");
    writeBytes(path, text);
    dat.setFileName(path);
    dat.read();
    return path;
}

std::string codes(const orvane::qx_errorlist& list)
{
    std::string out;
    for (int n = 1; n <= list.getMessageCount(); ++n) out += std::to_string(list.getErrorNumber(n)) + ";";
    return out;
}

std::string readAndSave(const std::string& input)
{
    orvane::qx_datfile dat;
    return readAndSave(input, dat);
}

}  // namespace qxtestfiles
