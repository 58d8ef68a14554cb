// The directory search behind the table actions, over a tree the test builds.
#include <gtest/gtest.h>

#include <algorithm>

#include "msiu/search.h"
#include "msiu/session.h"
#include "qxtest/session.h"

namespace {

class Search : public ::testing::Test {
protected:
    qxtest::TempDir dir;
    qxtest::Session s;

    void SetUp() override
    {
        for (auto d : {L"sub", L"sub\\deeper"}) CreateDirectoryW(dir.File(d).c_str(), nullptr);
        for (auto f : {L"a.txt", L"fresh.txt", L"sub\\b.txt", L"sub\\deeper\\c.txt"}) qxtest::WriteFileBytes(dir.File(f), "x");
        // "fresh.txt" looks never written since its creation; the others were.
        SetTimes(L"fresh.txt", 2000, 1000);
        for (auto f : {L"a.txt", L"sub\\b.txt", L"sub\\deeper\\c.txt"}) SetTimes(f, 1000, 2000);
        // A file with a version resource.
        CopyFileW(qxtest::ActionDllPath().c_str(), dir.File(L"versioned.dll").c_str(), FALSE);
        SetTimes(L"versioned.dll", 1000, 2000);
    }

    void SetTimes(const wchar_t* name, unsigned long long created, unsigned long long written)
    {
        HANDLE h = CreateFileW(dir.File(name).c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        FILETIME c{static_cast<DWORD>(created), 0x01D00000}, w{static_cast<DWORD>(written), 0x01D00000};
        SetFileTime(h, &c, nullptr, &w);
        CloseHandle(h);
    }

    bool WrittenSinceCreation(const std::wstring& name)
    {
        WIN32_FILE_ATTRIBUTE_DATA a;
        GetFileAttributesExW(dir.File(name).c_str(), GetFileExInfoStandard, &a);
        return CompareFileTime(&a.ftLastWriteTime, &a.ftCreationTime) > 0;
    }

    std::vector<std::wstring> Find(unsigned options, bool sorted = true)
    {
        std::vector<std::wstring> files{L"stale"};
        msiu::RunAction(s.Handle(), L"T", false, [&] { msiu::FindFiles(dir.Path(), files, options); });
        if (sorted) std::sort(files.begin(), files.end());
        return files;
    }
};

TEST_F(Search, OptionsChooseWhatIsListed)
{
    using V = std::vector<std::wstring>;
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
        if (c.first & msiu::kSearchSkipUnmodified)
            c.second.erase(std::remove_if(c.second.begin(), c.second.end(),
                                          [&](const std::wstring& f) { return !WrittenSinceCreation(f); }),
                           c.second.end());
        EXPECT_EQ(Find(c.first), c.second) << "options " << c.first;
    }
    EXPECT_TRUE(s.capture.messages.empty());
}

TEST_F(Search, SubdirectoryContentsComeBehindTheirParent)
{
    const auto files = Find(msiu::kSearchRecurse | msiu::kSearchDirectories, false);
    auto at = [&](const wchar_t* n) { return std::find(files.begin(), files.end(), n) - files.begin(); };
    for (auto top : {L"a.txt", L"fresh.txt", L"sub", L"versioned.dll"}) EXPECT_LT(at(top), at(L"sub\\b.txt"));
    EXPECT_LT(at(L"sub\\deeper"), at(L"sub\\deeper\\c.txt"));
    EXPECT_LT(at(L"sub\\b.txt"), at(L"sub\\deeper\\c.txt"));
}

TEST_F(Search, LogsWhatItSearchesAndIgnores)
{
    Find(msiu::kSearchLog | msiu::kSearchSkipVersioned);
    auto texts = s.capture.Texts(0x4000000);
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ(texts, (std::vector<std::wstring>{L"T:  Ignoring versioned file: " + dir.File(L"versioned.dll"),
                                                L"T:  Searching for files in: " + dir.File(L"*")}));
    s.capture.messages.clear();
    Find(msiu::kSearchLog | msiu::kSearchSkipUnmodified);
    texts = s.capture.Texts(0x4000000);
    EXPECT_NE(std::find(texts.begin(), texts.end(), L"T:  Ignoring unmodified file: " + dir.File(L"fresh.txt")),
              texts.end());
}

TEST_F(Search, MissingDirectoryFailsWithThePattern)
{
    std::vector<std::wstring> files;
    EXPECT_EQ(msiu::RunAction(s.Handle(), L"T", false, [&] { msiu::FindFiles(dir.File(L"nowhere"), files, 0); }), 1603u);
    const auto fatal = s.capture.Texts(0);
    ASSERT_EQ(fatal.size(), 1u);
    EXPECT_EQ(fatal[0].rfind(L"T:  Failed to search directory: " + dir.File(L"nowhere\\*") + L"  (0x8007", 0), 0u);
}

}  // namespace
