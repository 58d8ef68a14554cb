// The platform layer: trimming, comparing and number parsing, a conversion
// error's text and the catalog's not-found text from the rows of numbers.txt
// (the same rows natively and under Wine); the counter block, the lock, and
// on Windows the code-page conversions and the message catalog.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>
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

// Every number parser, trim and case rule, a conversion error's text and the
// catalog's not-found text against tests/numbers.txt: a row is the parser,
// the base (an error's code), the text and "value N" or the code of the
// StrCvtError it throws, or "text [T]" for the text functions (narrow and
// wide alike).
// <TAB>, <CR>, <LF>, <VT> and <FF> stand for those characters; a text ends at " | ".
TEST(NumberParsers, ValuesAndExactFailureCodes)
{
    std::ifstream table(QX_PAL_NUMBERS);
    int rows = 0;
    for (std::string line; std::getline(table, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream in(line);
        std::string parser, text, expected;
        int base = 0;
        in >> parser >> base;
        std::getline(in, text);
        expected = text.substr(text.find(" | ") + 3);
        text = text.substr(1, text.find(" | ") - 1);
        for (std::string* s : {&text, &expected})
            for (auto [code, c] : {std::pair{"<TAB>", '\t'}, {"<CR>", '\r'}, {"<LF>", '\n'}, {"<VT>", '\v'}, {"<FF>", '\f'}})
                for (size_t at; (at = s->find(code)) != std::string::npos;) s->replace(at, std::strlen(code), 1, c);
        const std::wstring wide(text.begin(), text.end());
        std::string got;
        if (parser.rfind("trim", 0) == 0) {
            auto trim = [&](const auto& t) { return parser == "trim" ? PAL::Trim(t) : parser == "trimleft" ? PAL::TrimLeft(t) : PAL::TrimRight(t); };
            const std::wstring w = trim(wide);
            EXPECT_EQ(std::string(w.begin(), w.end()), trim(text)) << line;
            got = "text [" + trim(text) + "]";
        } else if (parser == "error" || parser == "catalog" || parser == "lower") {
            const std::wstring t = parser == "error"   ? PAL::StrCvtError(1, "string", base).Text()
                                   : parser == "lower" ? PAL::ToLower(wide)
                                                       : PAL::MsgCatalog(L"").GetText(std::stoul(text, nullptr, base));
            got = "text [" + std::string(t.begin(), t.end()) + "]";
        } else if (parser == "compare") {  // the sign for "A B"
            const int c = PAL::CompareNoCase(wide.substr(0, wide.find(L' ')), wide.substr(wide.find(L' ') + 1));
            got = "value " + std::to_string((c > 0) - (c < 0));
        } else try {
            int64_t v = parser == "ushort" ? static_cast<int64_t>(PAL::StrToUShort(wide, base))
                        : parser == "long"   ? static_cast<int64_t>(PAL::StrToLong(wide, base))
                        : parser == "ulong"  ? static_cast<int64_t>(PAL::StrToULong(wide, base))
                        : parser == "int"    ? static_cast<int64_t>(PAL::StrToInt(wide, base))
                                             : static_cast<int64_t>(PAL::StrToBool(wide, base != 0));
            got = "value " + std::to_string(v);
        } catch (const PAL::StrCvtError& e) {
            EXPECT_STREQ(e.File(), "string");
            got = "code " + std::to_string(e.Code());
        }
        EXPECT_EQ(got, expected) << line;
        ++rows;
    }
    EXPECT_GT(rows, 60);
}

// Runs `body` on four threads at once and waits for them.
template <class Body>
static void OnFourThreads(Body body)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) threads.emplace_back(body);
    for (auto& t : threads) t.join();
}

struct Tracked {
    int* deaths;
    ~Tracked() { ++*deaths; }
};

TEST(SharedPtr, OwnersCountAndTheLastDeletesOnce)
{
    int deaths = 0;
    {
        PAL::SharedPtr<Tracked> a(new Tracked{&deaths}), b(a), c;
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
        a.reset(new Tracked{&deaths});
        b.reset();
        EXPECT_EQ(b.use_count(), 0);
        EXPECT_EQ(deaths, 0) << "d still holds the first object";
        d.reset();
        d.reset();  // resetting nothing to nothing is no mistake
        EXPECT_EQ(deaths, 1);
        // Copies on many threads dispose exactly once.
        OnFourThreads([a] {
            for (int i = 0; i < 2000; ++i) {
                PAL::SharedPtr<Tracked> copy(a), again;
                again = copy;
            }
        });
        EXPECT_EQ(a.use_count(), 1);
        EXPECT_EQ(deaths, 1);
    }
    EXPECT_EQ(deaths, 2);
}

TEST(Mutex, GuardSerialisesIncrements)
{
    PAL::Mutex m;
    long counter = 0;
    OnFourThreads([&] {
        for (int i = 0; i < 10000; ++i) {
            PAL::Mutex::Guard g(m);
            const long v = counter;
            std::this_thread::yield();  // invites another thread in between read and write
            counter = v + 1;
        }
    });
    EXPECT_EQ(counter, 40000);
}

#ifdef _WIN32

// A message's text from the system (flags 0x1300) or a module (0xB00), trimmed.
static std::wstring Formatted(DWORD flags, HMODULE module, DWORD id)
{
    wchar_t* buffer = nullptr;
    const DWORD n = FormatMessageW(flags, module, id, 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    const std::wstring text = n ? std::wstring(buffer, n) : std::wstring();
    LocalFree(buffer);
    return PAL::TrimRight(text);
}

TEST(MsgCatalog, SystemTextIsTrimmedAtTheRight)
{
    const std::wstring expected = Formatted(0x1300, nullptr, ERROR_FILE_NOT_FOUND);
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(PAL::MsgCatalog(L"").GetText(ERROR_FILE_NOT_FOUND), expected);
    EXPECT_EQ(PAL::WindowsError(1, "x", ERROR_FILE_NOT_FOUND).Text(), expected);
    EXPECT_EQ(PAL::WindowsError(1, "x", 0x1234ABCD).Text(), L"Message 0x1234abcd not found in the catalog.");
}

// A catalog that looks for its message library in a directory of the test's.
struct DirCatalog : PAL::MsgCatalog {
    DirCatalog(std::wstring dir, std::wstring base) : MsgCatalog(std::move(base)), dir(std::move(dir)) {}
    std::wstring DirectoryPrefix() const override { return dir; }
    std::wstring dir;
};

TEST(MsgCatalog, LoadsTheUsersLanguageFirstThenTheBritishOne)
{
    // The internet library's message table knows 12029, which the system's
    // own table does not: so the text shows where it came from.
    const DWORD id = 12029;
    wchar_t path[MAX_PATH];
    GetSystemDirectoryW(path, MAX_PATH);
    const std::wstring source = std::wstring(path) + L"\\wininet.dll";
    HMODULE module = LoadLibraryExW(source.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    const std::wstring fromLibrary = Formatted(0xB00, module, id);
    FreeLibrary(module);
    std::wstring fromSystem = Formatted(0x1300, nullptr, id);
    if (fromSystem.empty()) fromSystem = L"Message 0x2efd not found in the catalog.";
    ASSERT_NE(fromLibrary, fromSystem);

    GetTempPathW(MAX_PATH, path);
    const std::wstring dir = path + (L"qxcat" + std::to_wstring(GetCurrentProcessId()) + L"\\");
    CreateDirectoryW(dir.c_str(), nullptr);
    wchar_t lang[8];
    swprintf(lang, 8, L"%04x", static_cast<unsigned>(GetUserDefaultLangID()));
    // The library's language (empty: no library at all); a catalog without
    // a prefix of its own does not look in this directory.
    const struct {
        const wchar_t* base;
        std::wstring fileLang;
        bool inDir;
        const std::wstring& expected;
    } cases[] = {{L"qxuser", lang, true, fromLibrary},
                 {L"qxbrit", L"0809", true, fromLibrary},
                 {L"qxother", L"0407", true, fromSystem},
                 {L"qxnone", L"", true, fromSystem},
                 {L"qxuser", lang, false, fromSystem}};
    for (const auto& c : cases) {
        const std::wstring file = dir + c.base + c.fileLang + L".dll";
        ASSERT_TRUE(c.fileLang.empty() || CopyFileW(source.c_str(), file.c_str(), FALSE));
        EXPECT_EQ(c.inDir ? DirCatalog(dir, c.base).GetText(id) : PAL::MsgCatalog(c.base).GetText(id), c.expected)
            << c.base << c.inDir;
        EXPECT_EQ(DirCatalog(dir, c.base).GetText(0x7FFF1234u), L"Message 0x7fff1234 not found in the catalog.");
        EXPECT_TRUE(c.fileLang.empty() || DeleteFileW(file.c_str()));
    }
    RemoveDirectoryW(dir.c_str());
}

TEST(TextConversion, RoundTripsShortAndLongTextsInOwnBufferOrOnTheHeap)
{
    const std::wstring accented = L"caf\u00e9 \u00fc";
    std::string longUtf8;
    for (int i = 0; i < 5000; ++i) longUtf8 += "\xc3\xa9";
    const struct {
        std::wstring wide;
        unsigned codePage;
        std::string narrow;
    } cases[] = {
        {L"", CP_ACP, ""}, {L"quorix.dat", CP_ACP, "quorix.dat"},
        {accented, 1252, "caf\xe9 \xfc"}, {accented, CP_UTF8, "caf\xc3\xa9 \xc3\xbc"},
        {std::wstring(31, L'a'), CP_ACP, std::string(31, 'a')},  // 4 bytes a character: fits
        {std::wstring(32, L'b'), CP_ACP, std::string(32, 'b')},  // one past the small buffer
        {std::wstring(127, L'x'), CP_ACP, std::string(127, 'x')},  // either side of the small
        {std::wstring(128, L'x'), CP_ACP, std::string(128, 'x')},  // buffer's 128 bytes
        {std::wstring(5000, L'\u00e9'), CP_UTF8, longUtf8},
    };
    for (const auto& c : cases) {
        PAL::NarrowText n(c.wide, c.codePage);
        EXPECT_EQ(n.str(), c.narrow) << c.wide.size();
        EXPECT_EQ(n.size(), c.narrow.size());
        EXPECT_EQ(n.c_str()[n.size()], '\0');
        PAL::WideText w(c.narrow, c.codePage);
        EXPECT_EQ(w.str(), c.wide);
        EXPECT_EQ(w.c_str()[w.size()], L'\0');
        EXPECT_EQ(std::wstring(PAL::WideText(c.narrow.c_str(), c.codePage)), c.wide);
    }
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
