// The table actions on real sessions: the rows they add to the session's
// temporary tables, read back in the same session, and their refusals.
#include <gtest/gtest.h>

#include <algorithm>

#include "qxtest/session.h"

namespace {

const std::vector<std::wstring> kTables = {
    L"CREATE TABLE `ServiceControl` (`ServiceControl` CHAR(72) NOT NULL, `Name` CHAR(255) NOT NULL, "
    L"`Event` SHORT NOT NULL, `Arguments` CHAR(255), `Wait` SHORT, `Component_` CHAR(72) NOT NULL "
    L"PRIMARY KEY `ServiceControl`)",
    L"CREATE TABLE `DuplicateFile` (`FileKey` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL, "
    L"`File_` CHAR(72) NOT NULL, `DestName` CHAR(255), `DestFolder` CHAR(72) PRIMARY KEY `FileKey`)",
    L"CREATE TABLE `RemoveFile` (`FileKey` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL, "
    L"`FileName` CHAR(255), `DirProperty` CHAR(72) NOT NULL, `InstallMode` SHORT NOT NULL PRIMARY KEY `FileKey`)",
    L"CREATE TABLE `MoveFile` (`FileKey` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL, "
    L"`SourceName` CHAR(255), `DestName` CHAR(255), `SourceFolder` CHAR(72), `DestFolder` CHAR(72) NOT NULL, "
    L"`Options` SHORT NOT NULL PRIMARY KEY `FileKey`)",
};

// Every row of a table as "col|col|...", a null column as "~".
std::vector<std::wstring> Rows(MSIHANDLE session, const std::wstring& table)
{
    std::vector<std::wstring> rows;
    MSIHANDLE db = MsiGetActiveDatabase(session), view = 0, record = 0;
    MsiDatabaseOpenViewW(db, (L"SELECT * FROM `" + table + L"`").c_str(), &view);
    MsiViewExecute(view, 0);
    while (MsiViewFetch(view, &record) == ERROR_SUCCESS) {
        std::wstring row;
        const UINT n = MsiRecordGetFieldCount(record);
        for (UINT i = 1; i <= n; ++i) {
            if (i > 1) row += L'|';
            if (MsiRecordIsNull(record, i)) {
                row += L'~';
                continue;
            }
            wchar_t buffer[512];
            DWORD cch = 512;
            MsiRecordGetStringW(record, i, buffer, &cch);
            row += buffer;
        }
        rows.push_back(row);
        MsiCloseHandle(record);
    }
    MsiViewClose(view);
    MsiCloseHandle(view);
    MsiCloseHandle(db);
    return rows;
}

TEST(SchedMonitorSvcStart, AddsTheServiceStartRow)
{
    qxtest::Session s({}, kTables);
    EXPECT_EQ(qxtest::Action("SchedMonitorSvcStart")(s.Handle()), 0u);
    EXPECT_EQ(Rows(s.Handle(), L"ServiceControl"),
              std::vector<std::wstring>{L"StartMonitorSvcAfterUpdate|OrvaneQuorixService|1|~|0|CtlMonitorService"});
    EXPECT_EQ(s.capture.AllTexts(),
              std::vector<std::wstring>{L"SchedMonitorSvcStart:  Adding row to the ServiceControl table."});
}

TEST(SchedMonitorSvcStart, WithoutTheTableTheViewFails)
{
    qxtest::Session s;
    EXPECT_EQ(qxtest::Action("SchedMonitorSvcStart")(s.Handle()), 1603u);
    const auto fatal = s.capture.Texts(0);
    ASSERT_EQ(fatal.size(), 1u);
    EXPECT_EQ(fatal[0].rfind(L"SchedMonitorSvcStart:  Failed to execute view query: SELECT * FROM `ServiceControl`  (0x8007", 0), 0u)
        << std::string(fatal[0].begin(), fatal[0].end());
}

struct PerlCase {
    const char* name;
    std::wstring version;
    bool is64;
    UINT result;
    std::vector<std::wstring> rows;  // DuplicateFile rows, in key order
};

class SchedDuplicatePerlMods : public ::testing::TestWithParam<PerlCase> {};

TEST_P(SchedDuplicatePerlMods, ChoosesTheRowsForThePerlFound)
{
    const PerlCase& c = GetParam();
    qxtest::Props props = {{L"PerlVersion", c.version}};
    if (c.is64) props.push_back({L"PerlExeIs64Bit", L"anything"});
    qxtest::Session s(props, kTables);
    EXPECT_EQ(qxtest::Action("SchedDuplicatePerlMods")(s.Handle()), c.result);
    auto rows = Rows(s.Handle(), L"DuplicateFile");
    std::sort(rows.begin(), rows.end());
    EXPECT_EQ(rows, c.rows);
    if (c.result) {
        EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{L"SchedDuplicatePerlMods:  Unexpected Perl version: " +
                                                                std::to_wstring(std::stoi(c.version.substr(c.version[0] == L'#'))) +
                                                                L"  (0x80070057)"});
    } else {
        EXPECT_EQ(s.capture.Texts(0x4000000).size(), c.rows.size());
        EXPECT_EQ(s.capture.Texts(0x4000000).front(),
                  L"SchedDuplicatePerlMods:  Adding row to the DuplicateFile table: qxparser.dll_dup|" +
                      c.rows.back().substr(17, c.rows.back().find(L'|', 17) - 17) + L"|" +
                      c.rows.back().substr(17, c.rows.back().find(L'|', 17) - 17) + L"|qxparser.dll");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Versions, SchedDuplicatePerlMods,
    ::testing::Values(
        PerlCase{"Perl58x64", L"5008", true, 0,
                 {L"GD.dll_dup|GD58_64.dll|GD58_64.dll|GD.dll|~", L"bgd.dll_dup|bgd58_64.dll|bgd58_64.dll|bgd.dll|~",
                  L"qxparser.dll_dup|qxparser58_64.dll|qxparser58_64.dll|qxparser.dll|~"}},
        PerlCase{"Perl58HashForm", L"#5008", false, 0,
                 {L"GD.dll_dup|GD58.dll|GD58.dll|GD.dll|~", L"qxparser.dll_dup|qxparser58.dll|qxparser58.dll|qxparser.dll|~"}},
        PerlCase{"Perl56", L"5006", false, 0,
                 {L"GD.dll_dup|GD56.dll|GD56.dll|GD.dll|~", L"qxparser.dll_dup|qxparser56.dll|qxparser56.dll|qxparser.dll|~"}},
        PerlCase{"Perl56On64BitRefused", L"5006", true, 1603, {}},
        PerlCase{"Perl510Refused", L"5010", false, 1603, {}},
        PerlCase{"Perl510On64BitRefused", L"5010", true, 1603, {}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(SchedDuplicatePerlModsRequired, MissingVersionIsRefusedByName)
{
    qxtest::Session s({}, kTables);
    EXPECT_EQ(qxtest::Action("SchedDuplicatePerlMods")(s.Handle()), 1603u);
    EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{
                                      L"SchedDuplicatePerlMods:  Property \"PerlVersion\" does not exist  (0x80070057)"});
}

class SchedSeqDBSwapOut : public ::testing::Test {
protected:
    qxtest::TempDir dir;
    std::wstring current = dir.File(L"current");

    qxtest::Props Props(const std::wstring& glob = L"*.fasta")
    {
        return {{L"SwissProtDBFastaCompKey", L"CmpFasta"}, {L"SwissProtDBFastaGlob", glob}, {L"current_8", current}};
    }
    void Files(std::initializer_list<const wchar_t*> names)
    {
        CreateDirectoryW(current.c_str(), nullptr);
        for (auto n : names) qxtest::WriteFileBytes(current + L"\\" + n, "x");
    }
    // Rows with their generated keys replaced by the file name they carry, so
    // that the platform's listing order does not matter.
    static std::vector<std::wstring> Sorted(std::vector<std::wstring> rows)
    {
        std::sort(rows.begin(), rows.end());
        return rows;
    }
};

TEST_F(SchedSeqDBSwapOut, DeletesIndexFilesMovesOthersKeepsTheDatabaseAndReadme)
{
    Files({L"a.i00", L"a.stats", L"SwissProt_1.fasta", L"README", L"notes.txt", L"both.stats"});
    CreateDirectoryW((current + L"\\subdir").c_str(), nullptr);
    qxtest::WriteFileBytes(current + L"\\subdir\\inner.txt", "x");
    qxtest::Session s(Props(L"*.fasta;both*"), kTables);
    ASSERT_EQ(qxtest::Action("SchedSeqDBSwapOut")(s.Handle()), 0u);

    // Keys carry the listing position; check names per table, and that keys are unique.
    std::vector<std::wstring> removed, moved;
    for (const auto& r : Rows(s.Handle(), L"RemoveFile")) removed.push_back(r.substr(r.find(L'|') + 1));
    for (const auto& r : Rows(s.Handle(), L"MoveFile")) moved.push_back(r.substr(r.find(L'|') + 1));
    EXPECT_EQ(Sorted(removed), Sorted({L"CmpFasta|a.i00|current_8|1", L"CmpFasta|a.stats|current_8|1",
                                       L"CmpFasta|both.stats|current_8|1", L"CmpFasta|*|old_8|1"}));
    EXPECT_EQ(moved, std::vector<std::wstring>{L"CmpFasta|notes.txt|~|current_8|old_8|1"});

    std::vector<std::wstring> keys;
    for (const auto& table : {L"RemoveFile", L"MoveFile"})
        for (const auto& r : Rows(s.Handle(), table)) keys.push_back(r.substr(0, r.find(L'|')));
    EXPECT_NE(std::find(keys.begin(), keys.end(), L"SchedSeqDBSwapOut__old"), keys.end());
    for (const auto& k : keys) {
        if (k == L"SchedSeqDBSwapOut__old") continue;
        ASSERT_EQ(k.rfind(L"SchedSeqDBSwapOut__current", 0), 0u);
        const int n = std::stoi(k.substr(26));
        EXPECT_TRUE(n >= 1 && n <= 7) << n;  // six files and the subdirectory's slot at most
    }
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(std::adjacent_find(keys.begin(), keys.end()), keys.end());

    const auto info = s.capture.Texts(0x4000000);
    EXPECT_EQ(std::count(info.begin(), info.end(), L"SchedSeqDBSwapOut:  Adding row to the RemoveFile table: ???"), 4);
    EXPECT_EQ(std::count(info.begin(), info.end(), L"SchedSeqDBSwapOut:  Adding row to the MoveFile table: ???"), 1);
}

TEST_F(SchedSeqDBSwapOut, ReadmeIsKeptOnlyInItsExactCase)
{
    Files({L"readme"});
    qxtest::Session s(Props(), kTables);
    ASSERT_EQ(qxtest::Action("SchedSeqDBSwapOut")(s.Handle()), 0u);
    EXPECT_EQ(Rows(s.Handle(), L"MoveFile").size(), 1u);
    EXPECT_EQ(Rows(s.Handle(), L"RemoveFile").size(), 1u);  // the closing row
}

TEST_F(SchedSeqDBSwapOut, NothingMovedMeansNoClosingRow)
{
    Files({L"x.i00", L"db.FASTA", L"README"});
    qxtest::Session s(Props(), kTables);
    ASSERT_EQ(qxtest::Action("SchedSeqDBSwapOut")(s.Handle()), 0u);
    EXPECT_EQ(Rows(s.Handle(), L"RemoveFile").size(), 1u);
    EXPECT_TRUE(Rows(s.Handle(), L"MoveFile").empty());
}

TEST_F(SchedSeqDBSwapOut, AbsentDirectoryAddsNothing)
{
    qxtest::Session s(Props(), kTables);
    ASSERT_EQ(qxtest::Action("SchedSeqDBSwapOut")(s.Handle()), 0u);
    EXPECT_TRUE(Rows(s.Handle(), L"RemoveFile").empty());
    EXPECT_TRUE(Rows(s.Handle(), L"MoveFile").empty());
    EXPECT_TRUE(s.capture.messages.empty());
}

TEST_F(SchedSeqDBSwapOut, RequiredPropertiesAreCheckedInOrder)
{
    const wchar_t* names[] = {L"SwissProtDBFastaCompKey", L"SwissProtDBFastaGlob", L"current_8"};
    for (int missing = 0; missing < 3; ++missing) {
        qxtest::Props props;
        for (int k = 0; k < missing; ++k) props.push_back(Props()[k]);
        qxtest::Session s(props, kTables);
        EXPECT_EQ(qxtest::Action("SchedSeqDBSwapOut")(s.Handle()), 1603u);
        EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{std::wstring(L"SchedSeqDBSwapOut:  Property \"") +
                                                                names[missing] + L"\" does not exist  (0x80070057)"});
    }
}

}  // namespace
