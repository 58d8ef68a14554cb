// CustomActionData splitting, the deferred frame's field count, the file
// operations and the .tmp/.bak transaction.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "msiu/deferred.h"
#include "msiu/error.h"
#include "msiu/files.h"
#include "msiu/session.h"
#include "qxtest/session.h"

namespace {

struct SplitCase {
    std::wstring text;
    std::vector<std::wstring> fields;
};

TEST(SplitFields, Table)
{
    const SplitCase cases[] = {
        {L"", {}},
        {L"a|b", {L"a", L"b"}},
        {L"a|", {L"a", L""}},
        {L"|", {L"", L""}},
        {L"a||", {L"a", L"", L""}},
        {L"||a", {L"", L"", L"a"}},
        {L" a \t| b\r\n", {L"a", L"b"}},
        {L"   |x", {L"", L"x"}},
        {L"   ", {L""}},
        {L"one", {L"one"}},
        {L"C:\\Srv\\cgi\\|1.0", {L"C:\\Srv\\cgi\\", L"1.0"}},
    };
    for (const auto& c : cases) {
        std::vector<std::wstring> got{L"stale"};
        msiu::SplitFields(c.text, got, L'|');
        EXPECT_EQ(got, c.fields) << std::string(c.text.begin(), c.text.end());
    }
    std::vector<std::wstring> dots;
    msiu::SplitFields(L"4.1.", dots, L'.');
    EXPECT_EQ(dots, (std::vector<std::wstring>{L"4", L"1", L""}));
}

TEST(DeferredFrame, FieldCountMustMatchExactly)
{
    const std::pair<std::wstring, std::wstring> cases[] = {
        {L"a|b", L""},
        {L"a", L"T:  Missing or incomplete CA data  (0x80070057)"},
        {L"a|b|c", L"T:  Missing or incomplete CA data  (0x80070057)"},
        {L"", L"T:  Property \"CustomActionData\" does not exist  (0x80070057)"},
    };
    for (const auto& c : cases) {
        qxtest::Session s(qxtest::Props{{L"CustomActionData", c.first}});
        msiu::RunAction(s.Handle(), L"T", false, [] { msiu::GetDeferredFields(2); });
        const auto fatal = s.capture.Texts(0);
        EXPECT_EQ(fatal.empty() ? L"" : fatal[0], c.second);
    }
}

TEST(DeferredFrame, NoRunModeOutsideTheScriptMeansNothingToDo)
{
    qxtest::Session s;
    msiu::RunAction(s.Handle(), L"T", false, [] { EXPECT_EQ(msiu::CurrentPhase(), msiu::Phase::None); });
}

TEST(DeferredFrame, SchedulingAnUnknownActionFails)
{
    qxtest::Session s;
    msiu::RunAction(s.Handle(), L"T", false, [] { msiu::ScheduleDeferredAction(L"NoSuchActionExec", L"a|b"); });
    const auto fatal = s.capture.Texts(0);
    ASSERT_EQ(fatal.size(), 1u);
    EXPECT_EQ(fatal[0].rfind(L"T:  Failed to schedule deferred CA: NoSuchActionExec  (0x8007", 0), 0u) << fatal[0].c_str();
    const auto info = s.capture.Texts(0x4000000);
    const std::wstring line = L"T:  Error " + fatal[0].substr(fatal[0].size() - 11, 10) +
                              L": Failed MsiDoAction on deferred action";
    EXPECT_NE(std::find(info.begin(), info.end(), line), info.end()) << std::string(line.begin(), line.end());
}

TEST(Paths, SlashesAndSpaces)
{
    EXPECT_EQ(msiu::ToForwardSlashes(L"C:\\Srv\\cgi\\"), L"C:/Srv/cgi/");
    EXPECT_EQ(msiu::ToBackSlashes(L"C:/Srv/cgi/"), L"C:\\Srv\\cgi\\");
    EXPECT_EQ(msiu::CanonicalPath(L"C:\\a\\b\\..\\c\\.\\d"), L"C:\\a\\c\\d");
    qxtest::Session s;
    msiu::RunAction(s.Handle(), L"T", false, [] { msiu::CheckPathHasNoSpaces(L"C:\\Program Files\\x"); });
    EXPECT_EQ(s.capture.Texts(0),
              std::vector<std::wstring>{L"T:  Path name may not contain spaces: C:\\Program Files\\x  (0x80070057)"});
}

class FileOps : public ::testing::Test {
protected:
    qxtest::TempDir dir;
    qxtest::Session s;
    std::wstring F = dir.File(L"httpd.conf");

    template <class Body>
    UINT Run(Body body)
    {
        s.capture.messages.clear();
        return msiu::RunAction(s.Handle(), L"T", false, body);
    }
};

TEST_F(FileOps, CopyOntoItselfIsIgnored)
{
    qxtest::WriteFileBytes(F, "old");
    const std::wstring sameFile[] = {F, dir.File(L"HTTPD.CONF"), dir.File(L"sub\\..\\httpd.conf")};
    for (const auto& other : sameFile) {
        EXPECT_EQ(Run([&] { msiu::CopyFileTo(F, other, false); }), 0u);
        ASSERT_EQ(s.capture.messages.size(), 2u);
        EXPECT_EQ(s.capture.messages[1].text, L"T:  Copy file ignored - source and destination are the same.");
        EXPECT_EQ(Run([&] { msiu::MoveFileTo(F, other, false); }), 0u);
        EXPECT_EQ(s.capture.messages.back().text, L"T:  Move file ignored - source and destination are the same.");
    }
    EXPECT_EQ(qxtest::ReadFileBytes(F), "old");
}

TEST_F(FileOps, CopyAndMoveLogAndFailWithTheSystemReason)
{
    qxtest::WriteFileBytes(F, "old");
    const std::wstring T = F + L".tmp", missing = dir.File(L"missing");
    EXPECT_EQ(Run([&] { msiu::CopyFileTo(F, T, true); }), 0u);
    EXPECT_EQ(s.capture.AllTexts(), std::vector<std::wstring>{L"T:  Copying file \"" + F + L"\" to \"" + T + L"\""});
    EXPECT_EQ(qxtest::ReadFileBytes(T), "old");

    EXPECT_EQ(Run([&] { msiu::CopyFileTo(F, T, false); }), 1603u);
    EXPECT_EQ(s.capture.Texts(0).at(0), L"T:  Failed to copy \"" + F + L"\" to \"" + T + L"\".  Reason: " +
                                            qxtest::SystemText(static_cast<HRESULT>(0x80070050)) +
                                            L"  (0x80070050)");

    EXPECT_EQ(Run([&] { msiu::MoveFileTo(missing, T, true); }), 1603u);
    EXPECT_EQ(s.capture.Texts(0).at(0), L"T:  Failed to move \"" + missing + L"\" to \"" + T + L"\".  Reason: " +
                                            qxtest::SystemText(static_cast<HRESULT>(0x80070002)) +
                                            L"  (0x80070002)");
}

TEST_F(FileOps, MakeDirectoryToleratesAnExistingOneOnlyWhenAsked)
{
    const std::wstring d = dir.File(L"a\\b\\c");
    long first = -1, again = -1;
    EXPECT_EQ(Run([&] { first = msiu::MakeDirectory(d, false); }), 0u);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(s.capture.AllTexts(), std::vector<std::wstring>{L"T:  Creating directory: " + d});
    EXPECT_EQ(Run([&] { again = msiu::MakeDirectory(d, true); }), 0u);
    EXPECT_TRUE(again == 183 || again == 80) << again;
    EXPECT_EQ(Run([&] { msiu::MakeDirectory(d, false); }), 1603u);
    EXPECT_EQ(s.capture.Texts(0).at(0).rfind(L"T:  Can't create directory: " + d + L"  (0x800700", 0), 0u);
}

TEST_F(FileOps, TempFileIsMadeInTheTempDirectory)
{
    std::wstring name;
    EXPECT_EQ(Run([&] { name = msiu::MakeTempFileName(); }), 0u);
    EXPECT_TRUE(qxtest::Exists(name));
    EXPECT_EQ(name.rfind(msiu::GetTempDir(), 0), 0u);
    DeleteFileW(name.c_str());
}

// The transaction as seen on disk: what F, T and B hold after each phase.
struct TxCase {
    const char* name;
    const char* before;  // F before, nullptr for none
    const char* staleT;  // a T left by an interrupted install
    const char* oldB;
    char phase;          // 'c' commit, 'r' rollback
    const char* F;
    const char* T;
    const char* B;
};

class Transaction : public FileOps, public ::testing::WithParamInterface<TxCase> {};

const char* Content(const std::wstring& path, std::string& holder)
{
    if (!qxtest::Exists(path)) return nullptr;
    holder = qxtest::ReadFileBytes(path);
    return holder.c_str();
}

TEST_P(Transaction, LeavesTheRightFiles)
{
    const TxCase& c = GetParam();
    msiu::FileTransaction tx(F);
    if (c.before) qxtest::WriteFileBytes(F, c.before);
    if (c.staleT) qxtest::WriteFileBytes(tx.Temp(), c.staleT);
    if (c.oldB) qxtest::WriteFileBytes(tx.Backup(), c.oldB);
    ASSERT_EQ(Run([&] {
                  tx.SaveOriginal();
                  qxtest::WriteFileBytes(F, "new");
                  if (c.phase == 'c') tx.Commit();
                  else tx.Rollback();
              }),
              0u);
    std::string f, t, b;
    auto eq = [](const char* got, const char* want) {
        return (got == nullptr && want == nullptr) || (got && want && std::string(got) == want);
    };
    EXPECT_TRUE(eq(Content(F, f), c.F)) << "F: " << (Content(F, f) ? f : "(none)");
    EXPECT_TRUE(eq(Content(tx.Temp(), t), c.T)) << "T: " << (Content(tx.Temp(), t) ? t : "(none)");
    EXPECT_TRUE(eq(Content(tx.Backup(), b), c.B)) << "B: " << (Content(tx.Backup(), b) ? b : "(none)");
}

INSTANTIATE_TEST_SUITE_P(
    Phases, Transaction,
    ::testing::Values(TxCase{"FirstInstallCommit", nullptr, nullptr, nullptr, 'c', "new", nullptr, nullptr},
                      TxCase{"FirstInstallRollbackKeepsNewFile", nullptr, nullptr, nullptr, 'r', "new", nullptr, nullptr},
                      TxCase{"UpgradeCommit", "old", nullptr, nullptr, 'c', "new", nullptr, "old"},
                      TxCase{"UpgradeRollback", "old", nullptr, nullptr, 'r', "old", nullptr, nullptr},
                      TxCase{"CommitReplacesOlderBackup", "old", nullptr, "older", 'c', "new", nullptr, "old"},
                      TxCase{"RollbackLeavesOlderBackup", "old", nullptr, "older", 'r', "old", nullptr, "older"},
                      TxCase{"StaleTempKeptAsBackupOnCommit", nullptr, "stale", nullptr, 'c', "new", nullptr, "stale"},
                      TxCase{"StaleTempNeverRestoredOnRollback", nullptr, "stale", nullptr, 'r', "new", nullptr, "stale"},
                      TxCase{"StaleTempBesideFKeptAsBackup", "old", "stale", "older", 'r', "old", nullptr, "stale"}),
    [](const auto& info) { return std::string(info.param.name); });

// What a member of the group that may write F's directory can leave there
// before an install: each execute either goes through with its log line or
// refuses with the file and the reason and changes nothing, and the next
// install (the trap gone) goes through.
enum class Lay { LinkAtF, LinkedDir, LinkAtT, LinkAtN, StaleT, StalePart, ReadOnlyF, LockedF, ReadOnlyB };
struct TrapCase {
    const char* name;
    Lay lay;
    const wchar_t* fatal;  // %s: F, its directory or the leftover
    HRESULT code;          // the platform's reason ends a "Reason: " text
    const wchar_t* info;
    const char* B;  // after the execute that went through and its commit
};

std::wstring g_linked;  // the name that looks like a link or junction
unsigned long LinkProbe(const wchar_t* path)
{
    const DWORD a = GetFileAttributesW(path);
    if (g_linked != path) return a;
    return (a == INVALID_FILE_ATTRIBUTES ? FILE_ATTRIBUTE_NORMAL : a) | FILE_ATTRIBUTE_REPARSE_POINT;
}

class Traps : public FileOps, public ::testing::WithParamInterface<TrapCase> {};

TEST_P(Traps, RefusedOrCleanedNeverFollowed)
{
    const TrapCase& c = GetParam();
    msiu::FileTransaction tx(F);
    qxtest::WriteFileBytes(F, "old");
    qxtest::WriteFileBytes(tx.Backup(), "older");
    const std::wstring part = tx.Temp() + L".part", directory = F.substr(0, F.rfind(L'\\'));
    const std::map<Lay, std::wstring> named{{Lay::LinkAtF, F},         {Lay::LinkedDir, directory},
                                            {Lay::LinkAtT, tx.Temp()}, {Lay::LinkAtN, tx.Staging()},
                                            {Lay::StaleT, tx.Temp()},  {Lay::StalePart, part},
                                            {Lay::ReadOnlyF, F},       {Lay::LockedF, F},
                                            {Lay::ReadOnlyB, F}};
    const std::wstring& name = named.at(c.lay);
    HANDLE lock = INVALID_HANDLE_VALUE;
    switch (c.lay) {
    case Lay::LinkAtF: case Lay::LinkedDir: g_linked = name; break;
    case Lay::LinkAtT: case Lay::LinkAtN: g_linked = name; [[fallthrough]];
    case Lay::StaleT: case Lay::StalePart: qxtest::WriteFileBytes(name, "stale"); break;
    case Lay::ReadOnlyF: SetFileAttributesW(F.c_str(), FILE_ATTRIBUTE_READONLY); break;
    case Lay::LockedF: lock = CreateFileW(F.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr); break;
    case Lay::ReadOnlyB: SetFileAttributesW(tx.Backup().c_str(), FILE_ATTRIBUTE_READONLY); break;
    }
    msiu::detail::SetAttributeProbe(&LinkProbe);
    const auto execute = [&] {
        tx.SaveOriginal();
        qxtest::WriteFileBytes(tx.Staging(), "new");
        ASSERT_TRUE(tx.InstallStaging());
    };
    const UINT first = Run(execute);
    if (c.fatal) {
        EXPECT_EQ(first, 1603u);
        std::wstring text = msiu::Format(c.fatal, name.c_str());
        if (text.back() == L' ') text += qxtest::SystemText(c.code);
        EXPECT_EQ(s.capture.Texts(0).at(0), L"T:  " + text + msiu::Format(L"  (0x%08X)", c.code));
        if (lock != INVALID_HANDLE_VALUE) CloseHandle(lock);
        EXPECT_EQ(qxtest::ReadFileBytes(F), "old");
        EXPECT_EQ(qxtest::Exists(tx.Temp()), c.lay == Lay::LinkAtT);
        // The trap gone, the next install goes through.
        g_linked.clear();
        SetFileAttributesW(F.c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileW(tx.Temp().c_str());
        EXPECT_EQ(Run(execute), 0u);
    } else {
        EXPECT_EQ(first, 0u);
    }
    if (c.info) {
        const auto info = s.capture.Texts(0x4000000);
        EXPECT_NE(std::find(info.begin(), info.end(), L"T:  " + msiu::Format(c.info, name.c_str())), info.end());
    }
    g_linked.clear();
    EXPECT_EQ(Run([&] { tx.Commit(); }), 0u);
    msiu::detail::SetAttributeProbe(nullptr);
    EXPECT_EQ(qxtest::ReadFileBytes(F), "new");
    EXPECT_EQ(qxtest::ReadFileBytes(tx.Backup()), c.B);
    EXPECT_EQ(GetFileAttributesW(tx.Backup().c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
    for (const std::wstring& gone : {tx.Temp(), tx.Staging(), part}) EXPECT_FALSE(qxtest::Exists(gone));
}

const wchar_t* const kLink = L"Not following a link or junction: %s";
const wchar_t* const kCantChange = L"Can't change \"%s\".  Reason: ";
const HRESULT kDenied = static_cast<HRESULT>(0x80070005);
INSTANTIATE_TEST_SUITE_P(
    Directory, Traps,
    ::testing::Values(TrapCase{"LinkAtF", Lay::LinkAtF, kLink, kDenied, nullptr, "old"},
                      TrapCase{"LinkedDirectory", Lay::LinkedDir, kLink, kDenied, nullptr, "old"},
                      TrapCase{"LinkAtLeftoverT", Lay::LinkAtT, kLink, kDenied, nullptr, "old"},
                      TrapCase{"LinkAtN", Lay::LinkAtN, nullptr, 0, L"Removed unfinished file: %s", "old"},
                      TrapCase{"LeftoverT", Lay::StaleT, nullptr, 0, L"Found a file left by an earlier install: %s", "old"},
                      TrapCase{"LeftoverPart", Lay::StalePart, nullptr, 0, L"Removed unfinished file: %s", "old"},
                      TrapCase{"ReadOnlyF", Lay::ReadOnlyF, kCantChange, kDenied, nullptr, "old"},
                      TrapCase{"LockedF", Lay::LockedF, kCantChange, static_cast<HRESULT>(0x80070020), nullptr, "old"},
                      TrapCase{"ReadOnlyBackup", Lay::ReadOnlyB, nullptr, 0, nullptr, "old"}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
