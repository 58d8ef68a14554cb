// The directory search behind the table actions, over a tree the test builds.
#include <gtest/gtest.h>

#include <algorithm>

#include "msiu/search.h"
#include "msiu/session.h"
#include "qxtest/session.h"

namespace {

using V = std::vector<std::wstring>;

struct Search : ::testing::Test {
    qxtest::TempDir dir;
    qxtest::Session s;
    void SetUp() override
    {
        for (auto d : {L"sub", L"sub\\deeper"}) CreateDirectoryW(dir.File(d).c_str(), nullptr);
        CopyFileW(qxtest::ActionDllPath().c_str(), dir.File(L"versioned.dll").c_str(), FALSE);  // has a version
        // "fresh.txt" looks never written since its creation; the others were.
        for (auto f : {L"a.txt", L"fresh.txt", L"sub\\b.txt", L"sub\\deeper\\c.txt", L"versioned.dll"}) {
            if (wcscmp(f, L"versioned.dll")) qxtest::WriteFileBytes(dir.File(f), "x");
            HANDLE h = CreateFileW(dir.File(f).c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
            const bool fresh = f[0] == L'f';
            FILETIME c{fresh ? 2000u : 1000u, 0x01D00000}, w{fresh ? 1000u : 2000u, 0x01D00000};
            SetFileTime(h, &c, nullptr, &w);
            CloseHandle(h);
        }
    }
    V Find(unsigned options, bool sorted = true)
    {
        V files{L"stale"};
        msiu::RunAction(s.Handle(), L"T", false, [&] { msiu::FindFiles(dir.Path(), files, options); });
        if (sorted) std::sort(files.begin(), files.end());
        return files;
    }
};

TEST_F(Search, OptionsChooseWhatIsListed)
{
    const std::pair<unsigned, V> cases[] = {
        {0, {L"a.txt", L"fresh.txt", L"versioned.dll"}},
        {msiu::kSearchDirectories, {L"a.txt", L"fresh.txt", L"sub", L"versioned.dll"}},
        {msiu::kSearchRecurse, {L"a.txt", L"fresh.txt", L"sub\\b.txt", L"sub\\deeper\\c.txt", L"versioned.dll"}},
        {msiu::kSearchRecurse | msiu::kSearchDirectories,
         {L"a.txt", L"fresh.txt", L"sub", L"sub\\b.txt", L"sub\\deeper", L"sub\\deeper\\c.txt", L"versioned.dll"}},
        {msiu::kSearchSkipUnmodified, {L"a.txt", L"versioned.dll"}},
        {msiu::kSearchSkipVersioned, {L"a.txt", L"fresh.txt"}},
        {msiu::kSearchSkipUnmodified | msiu::kSearchSkipVersioned, {L"a.txt"}},
    };
    for (auto c : cases) {
        // Wine makes the creation time up from the Unix times, which never
        // lie before the last write: there, every file counts as unmodified.
        const auto unmodified = [&](const std::wstring& f) {
            WIN32_FILE_ATTRIBUTE_DATA a;
            GetFileAttributesExW(dir.File(f).c_str(), GetFileExInfoStandard, &a);
            return CompareFileTime(&a.ftLastWriteTime, &a.ftCreationTime) <= 0;
        };
        if (c.first & msiu::kSearchSkipUnmodified)
            c.second.erase(std::remove_if(c.second.begin(), c.second.end(), unmodified), c.second.end());
        EXPECT_EQ(Find(c.first), c.second) << "options " << c.first;
    }
    EXPECT_TRUE(s.capture.messages.empty());
    // Unsorted, a subdirectory's contents come behind their parent.
    const auto files = Find(msiu::kSearchRecurse | msiu::kSearchDirectories, false);
    auto at = [&](const wchar_t* n) { return std::find(files.begin(), files.end(), n) - files.begin(); };
    for (auto top : {L"a.txt", L"fresh.txt", L"sub", L"versioned.dll"}) EXPECT_LT(at(top), at(L"sub\\b.txt"));
    EXPECT_LT(at(L"sub\\deeper"), at(L"sub\\deeper\\c.txt"));
    EXPECT_LT(at(L"sub\\b.txt"), at(L"sub\\deeper\\c.txt"));
}

TEST_F(Search, LogsWhatItSearchesAndIgnoresAndFailsWithThePattern)
{
    Find(msiu::kSearchLog | msiu::kSearchSkipVersioned);
    V texts = s.capture.Texts(0x4000000), files;
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ(texts, (V{L"T:  Ignoring versioned file: " + dir.File(L"versioned.dll"),
                        L"T:  Searching for files in: " + dir.File(L"*")}));
    Find(msiu::kSearchLog | msiu::kSearchSkipUnmodified);
    texts = s.capture.Texts(0x4000000);
    EXPECT_NE(std::find(texts.begin(), texts.end(), L"T:  Ignoring unmodified file: " + dir.File(L"fresh.txt")),
              texts.end());
    EXPECT_EQ(msiu::RunAction(s.Handle(), L"T", false, [&] { msiu::FindFiles(dir.File(L"nowhere"), files, 0); }), 1603u);
    ASSERT_EQ(s.capture.Texts(0).size(), 1u);
    EXPECT_EQ(s.capture.Texts(0)[0].rfind(L"T:  Failed to search directory: " + dir.File(L"nowhere\\*") + L"  (0x8007", 0), 0u);
}

}  // namespace
