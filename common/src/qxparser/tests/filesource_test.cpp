#include <gtest/gtest.h>

#include <clocale>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "orvane/qx_errors.h"
#include "orvane/qx_filesource.h"
#include "test_files.h"

using namespace orvane;
using qxtestfiles::tempPath;
using qxtestfiles::writeBytes;

namespace {

std::vector<std::string> linesOf(const std::string& text)
{
    qx_errors r;
    qx_filesource source(&r, qx_connection_settings());
    source.openText(text.data(), text.size());
    std::vector<std::string> lines;
    std::string line;
    while (source.getLine(line)) lines.push_back(line);
    EXPECT_FALSE(source.getLine(line)) << "stays at the end";
    return lines;
}

}  // namespace

TEST(FileSource, KindsOfNamesAndWholeLines)
{
    const std::pair<const char*, int> kinds[] = {
        {nullptr, 0}, {"abc", 0}, {"abcd", 1}, {"http://host/cgi/quorix.dat", 3}, {"HTTPS://host/x/config.xml", 4},
        {"hTtP:x.xml", 4}, {"https://host/config.XML", 3}, {"a.xml", 2}, {"xml", 0},
        {"C:\\quorix\\config\\quorix.dat", 1}, {"ftp://host/quorix.dat", 1},
    };
    for (const auto& [name, kind] : kinds) EXPECT_EQ(sourceKind(name), kind) << (name ? name : "null");
    std::string longLine(5000, 'x');
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"", {}}, {"\n", {""}}, {"a\nb", {"a", "b"}}, {"   \t \n", {""}},
        {"\t  key value  \n", {"key value  "}},  // indentation skipped, trailing blanks kept
        {"a\r\nb\r\n", {"a", "b"}}, {"a\r\r\n", {"a"}}, {"a\rb\n", {"a\rb"}}, {"\x1a\n", {"\x1a"}},
        {longLine + "\nnext\n", {longLine, "next"}},
    };
    for (const auto& [input, lines] : cases) EXPECT_EQ(linesOf(input), lines) << input;
}

TEST(FileSource, FixedBufferDeliversALongLineInPiecesWithoutLosingTheRest)
{
    qx_errors r;
    qx_filesource source(&r, qx_connection_settings());
    char buffer[8];
    int length = -1;
    char* start = nullptr;
    EXPECT_FALSE(source.getLine(buffer, sizeof buffer, length, start)) << "nothing open";

    std::string text = "  abcdefghij\r\nxy\r\n";
    source.openText(text.data(), text.size());
    std::vector<std::string> got;
    while (source.getLine(buffer, sizeof buffer, length, start)) {
        EXPECT_EQ(static_cast<int>(std::strlen(buffer)), length);
        got.push_back(start);
    }
    EXPECT_EQ(got, (std::vector<std::string>{"abcde", "fghij", "xy"}));
}

TEST(FileSource, OpenReportsMissingFilesAndUrls)
{
    qx_errors r;
    qx_filesource source(&r, qx_connection_settings());
    std::string missing = tempPath("missing.dat");
    EXPECT_FALSE(source.open(missing.c_str()));
    EXPECT_FALSE(source.isOpen());
    std::string head = "Failed to open file " + missing + " for r. OS returned the following error: ";
    EXPECT_EQ(r.getErrorRepository().getMessage(1).compare(0, head.size(), head), 0)
        << r.getErrorRepository().getMessage(1);

    // A list that already holds an error stops a URL before anything is sent.
    EXPECT_FALSE(source.open("http://localhost/cgi/get_params.pl"));
    EXPECT_FALSE(source.isOpen());
    EXPECT_EQ(r.getErrorRepository().getMessageCount(), 1);
    EXPECT_FALSE(r.isValid());

    std::string present = tempPath("present.dat");
    writeBytes(present, "one\ntwo");
    ASSERT_TRUE(source.open(present.c_str()));
    std::string line;
    ASSERT_TRUE(source.getLine(line));
    EXPECT_EQ(line, "one");
    // Opening again starts over.
    ASSERT_TRUE(source.open(present.c_str()));
    ASSERT_TRUE(source.getLine(line));
    EXPECT_EQ(line, "one");
}

TEST(OpenFile, TakesForwardSlashesAndReportsThePathAsGiven)
{
    std::string dir = tempPath("of");
    std::filesystem::create_directories(dir);
    std::string present = dir + "/f.txt";
    writeBytes(present, "x");
    qx_errors r;
    std::FILE* f = openFile(present.c_str(), "r", &r);
    ASSERT_NE(f, nullptr);
    std::fclose(f);
    EXPECT_EQ(r.getErrorRepository().getMessageCount(), 0);

    std::string missing = dir + "/no/such.txt";
    EXPECT_EQ(openFile(missing.c_str(), "w", &r), nullptr);
    std::string head = "Failed to open file " + missing + " for w. OS returned";
    EXPECT_EQ(r.getErrorRepository().getMessage(1).compare(0, head.size(), head), 0)
        << r.getErrorRepository().getMessage(1);
    EXPECT_EQ(openFile(missing.c_str(), "r", nullptr), nullptr) << "no list, no crash";
}

TEST(FileExists, FilesFoldersAndBareDrives)
{
    std::string present = tempPath("exists.txt");
    writeBytes(present, "");
    EXPECT_TRUE(fileExists(present.c_str()));
    EXPECT_TRUE(fileExists(qxtestfiles::tempDir().c_str()));
    EXPECT_FALSE(fileExists(tempPath("nope").c_str()));
    EXPECT_FALSE(fileExists(nullptr));
#ifdef _WIN32
    EXPECT_TRUE(fileExists("C:"));
#endif
}

TEST(LocateConfigFile, NamedDefaultAndMissing)
{
    qx_errors r;
    std::string present = tempPath("locate.dat");
    writeBytes(present, "");
    EXPECT_EQ(locateConfigFile(present.c_str(), &r, 0), present);
    EXPECT_EQ(r.getErrorRepository().getMessageCount(), 0);

    EXPECT_EQ(locateConfigFile(tempPath("gone.dat").c_str(), &r, 0), "");
    EXPECT_EQ(r.getErrorRepository().getMessage(1),
              "Cannot find file 'quorix.dat'. It contains the most important configuration parameters");
    EXPECT_EQ(locateConfigFile(tempPath("gone.dat").c_str(), nullptr, 0), "");

    // With no name, the folder beside config is looked at first.
    namespace fs = std::filesystem;
    fs::path root = tempPath("layout");
    fs::create_directories(root / "cgi");
    fs::create_directories(root / "config");
    writeBytes((root / "config" / "quorix.dat").generic_string(), "");
    fs::path saved = fs::current_path();
    fs::current_path(root / "cgi");
    std::string found = locateConfigFile("", &r, 0);
    fs::current_path(saved);
    EXPECT_EQ(found, defaultRelativeConfigPath());
}

TEST(LocaleSetter, ScansWithADecimalPointAndRestores)
{
    std::string before = std::setlocale(LC_ALL, nullptr);
    {
        qxparser_internal::locale_setter guard;
        EXPECT_STREQ(std::localeconv()->decimal_point, ".");
    }
    EXPECT_EQ(std::string(std::setlocale(LC_ALL, nullptr)), before);
}
