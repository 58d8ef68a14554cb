// The counter block, the lock, and on Windows the code-page conversions and
// the message catalog.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "pal/exception.h"
#include "pal/msgcatalog.h"
#include "pal/mutex.h"
#include "pal/smartptr/shared_ptr.h"
#include "pal/strings.h"

#ifdef _WIN32
#include <windows.h>
#include "pal/atlexception.h"
#endif

namespace {

struct Tracked {
    explicit Tracked(int* deaths) : deaths_(deaths) {}
    ~Tracked() { ++*deaths_; }
    int* deaths_;
};

TEST(SharedPtr, OwnersCountAndTheLastDeletesOnce)
{
    int deaths = 0;
    {
        PAL::SharedPtr<Tracked> a(new Tracked(&deaths));
        PAL::SharedPtr<Tracked> b(a), c;
        c = b;
        EXPECT_EQ(a.use_count(), 3);
        PAL::SharedPtr<Tracked> d(std::move(c));
        EXPECT_FALSE(c);
        EXPECT_EQ(d.get(), a.get());
        EXPECT_EQ(a.use_count(), 3);
        try {
            a.reset(a.get());
            ADD_FAILURE() << "resetting to the held pointer must assert";
        } catch (const PAL::AssertFailure& e) {
            EXPECT_EQ(e.Text(), L"Assert Failure: ptr == m_ptr");
        }
        a.reset(new Tracked(&deaths));
        b.reset();
        EXPECT_EQ(b.use_count(), 0);
        EXPECT_EQ(deaths, 0) << "d still holds the first object";
        d.reset();
        d.reset();  // resetting nothing to nothing is no mistake
        EXPECT_EQ(deaths, 1);
        // Copies on many threads dispose exactly once.
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([a] {
                for (int i = 0; i < 2000; ++i) {
                    PAL::SharedPtr<Tracked> copy(a), again;
                    again = copy;
                }
            });
        for (auto& t : threads) t.join();
        EXPECT_EQ(a.use_count(), 1);
        EXPECT_EQ(deaths, 1);
    }
    EXPECT_EQ(deaths, 2);
}

TEST(Mutex, GuardSerialisesIncrements)
{
    PAL::Mutex m;
    long counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 10000; ++i) {
                PAL::Mutex::Guard g(m);
                long v = counter;
                std::this_thread::yield();
                counter = v + 1;
                if (i % 1000 == 0) std::this_thread::yield();
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(counter, 40000);
}

TEST(MsgCatalog, UnknownIdGivesTheNotFoundTextInLowerCaseHex)
{
    PAL::MsgCatalog catalog(L"");
    EXPECT_EQ(catalog.GetText(0x1234ABCDu), L"Message 0x1234abcd not found in the catalog.");
    EXPECT_EQ(catalog.GetText(0x0F00BAAu), L"Message 0xf00baa not found in the catalog.");
}

#ifdef _WIN32

// A message's text from the system (flags 0x1300) or a module (0xB00), trimmed.
std::wstring Formatted(DWORD flags, HMODULE module, DWORD id)
{
    wchar_t* buffer = nullptr;
    DWORD n = FormatMessageW(flags, module, id, 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    std::wstring text = n ? std::wstring(buffer, n) : std::wstring();
    if (buffer) LocalFree(buffer);
    return PAL::TrimRight(text);
}

std::wstring SystemMessage(DWORD id) { return Formatted(0x1300, nullptr, id); }

TEST(MsgCatalog, SystemTextIsTrimmedAtTheRight)
{
    const std::wstring expected = SystemMessage(ERROR_FILE_NOT_FOUND);
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(PAL::MsgCatalog(L"").GetText(ERROR_FILE_NOT_FOUND), expected);
    EXPECT_NE(expected.back(), L'\n');
    EXPECT_EQ(PAL::WindowsError(1, "x", ERROR_FILE_NOT_FOUND).Text(), expected);
    EXPECT_EQ(PAL::WindowsError(1, "x", 0x1234ABCD).Text(), L"Message 0x1234abcd not found in the catalog.");
}

// A catalog that looks for its message library in a directory of the test's.
class DirCatalog : public PAL::MsgCatalog {
public:
    DirCatalog(std::wstring dir, std::wstring base) : MsgCatalog(std::move(base)), dir_(std::move(dir)) {}
    ~DirCatalog() override = default;
    std::wstring DirectoryPrefix() const override { return dir_; }

private:
    std::wstring dir_;
};

std::wstring TempDirectory()
{
    wchar_t dir[MAX_PATH];
    GetTempPathW(MAX_PATH, dir);
    std::wstring path = std::wstring(dir) + L"qxcat" + std::to_wstring(GetCurrentProcessId()) + L"\\";
    CreateDirectoryW(path.c_str(), nullptr);
    return path;
}

std::wstring ModuleMessage(const std::wstring& file, DWORD id)
{
    HMODULE m = LoadLibraryExW(file.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    if (!m) return std::wstring();
    std::wstring text = Formatted(0xB00, m, id);
    FreeLibrary(m);
    return text;
}

TEST(MsgCatalog, LoadsTheUsersLanguageFirstThenTheBritishOne)
{
    // The internet library's message table knows 12029, which the system's
    // own table does not: so the text shows where it came from.
    const DWORD id = 12029;
    wchar_t system[MAX_PATH];
    GetSystemDirectoryW(system, MAX_PATH);
    const std::wstring source = std::wstring(system) + L"\\wininet.dll";
    const std::wstring fromLibrary = ModuleMessage(source, id);
    ASSERT_FALSE(fromLibrary.empty());
    std::wstring fromSystem = SystemMessage(id);
    if (fromSystem.empty()) fromSystem = L"Message 0x2efd not found in the catalog.";
    ASSERT_NE(fromLibrary, fromSystem);

    const std::wstring dir = TempDirectory();
    wchar_t lang[8];
    swprintf(lang, 8, L"%04x", static_cast<unsigned>(GetUserDefaultLangID()));
    struct Case {
        const wchar_t* base;
        std::wstring fileLang;  // empty: no library at all
        const std::wstring* expected;
    };
    const Case cases[] = {{L"qxuser", lang, &fromLibrary},
                          {L"qxbrit", L"0809", &fromLibrary},
                          {L"qxother", L"0407", &fromSystem},
                          {L"qxnone", L"", &fromSystem}};
    for (const auto& c : cases) {
        std::wstring file;
        if (!c.fileLang.empty()) {
            file = dir + c.base + c.fileLang + L".dll";
            ASSERT_TRUE(CopyFileW(source.c_str(), file.c_str(), FALSE));
        }
        {
            DirCatalog catalog(dir, c.base);
            EXPECT_EQ(catalog.GetText(id), *c.expected) << c.base;
            EXPECT_EQ(catalog.GetText(0x7FFF1234u), L"Message 0x7fff1234 not found in the catalog.");
        }
        if (!file.empty()) {
            EXPECT_TRUE(DeleteFileW(file.c_str()));
        }
    }
    // Without a prefix of its own a catalog does not look at this directory.
    {
        const std::wstring file = dir + L"qxuser" + lang + L".dll";
        ASSERT_TRUE(CopyFileW(source.c_str(), file.c_str(), FALSE));
        EXPECT_EQ(PAL::MsgCatalog(L"qxuser").GetText(id), fromSystem);
        DeleteFileW(file.c_str());
    }
    RemoveDirectoryW(dir.c_str());
}

TEST(TextConversion, RoundTripsShortAndLongTextsInOwnBufferOrOnTheHeap)
{
    const std::wstring accented = L"caf\u00e9 \u00fc";
    struct Case {
        std::wstring wide;
        unsigned codePage;
        std::string narrow;
    };
    std::vector<Case> cases = {
        {L"", CP_ACP, ""},
        {L"quorix.dat", CP_ACP, "quorix.dat"},
        {accented, 1252, "caf\xe9 \xfc"},
        {accented, CP_UTF8, "caf\xc3\xa9 \xc3\xbc"},
        {std::wstring(31, L'a'), CP_ACP, std::string(31, 'a')},    // 4 bytes a character: fits
        {std::wstring(32, L'b'), CP_ACP, std::string(32, 'b')},    // one past the small buffer
        {std::wstring(5000, L'\u00e9'), CP_UTF8, std::string()},    // filled below
    };
    for (int i = 0; i < 5000; ++i) cases.back().narrow += "\xc3\xa9";
    for (const auto& c : cases) {
        PAL::NarrowText n(c.wide, c.codePage);
        EXPECT_EQ(n.str(), c.narrow) << c.wide.size();
        EXPECT_EQ(n.size(), c.narrow.size());
        EXPECT_EQ(n.c_str()[n.size()], '\0');
        PAL::WideText w(c.narrow, c.codePage);
        EXPECT_EQ(w.str(), c.wide);
        EXPECT_EQ(w.c_str()[w.size()], L'\0');
        const std::wstring viaOperator = PAL::WideText(c.narrow.c_str(), c.codePage);
        EXPECT_EQ(viaOperator, c.wide);
    }
    // Either side of the small buffer's 128 bytes.
    for (size_t n : {127, 128}) EXPECT_EQ(PAL::WideText(std::string(n, 'x')).str(), std::wstring(n, L'x'));
}

TEST(TextConversion, NullStaysNullAndABadCodePageThrows)
{
    EXPECT_EQ(PAL::NarrowText(static_cast<const wchar_t*>(nullptr)).c_str(), nullptr);
    EXPECT_EQ(PAL::WideText(static_cast<const char*>(nullptr)).c_str(), nullptr);
    EXPECT_EQ(std::string(PAL::NarrowText(static_cast<const wchar_t*>(nullptr))), "");

    for (int direction = 0; direction < 2; ++direction) try {
        direction ? void(PAL::WideText("x", 12345)) : void(PAL::NarrowText(L"x", 12345));
        ADD_FAILURE() << "an unknown code page must throw";
    } catch (const ATL::CAtlException& e) {
        EXPECT_EQ(static_cast<uint32_t>(e.m_hr), 0x80070057u) << direction;
    }
}

#endif

}  // namespace
