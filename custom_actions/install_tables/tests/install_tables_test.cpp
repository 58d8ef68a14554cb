// The table actions on real sessions: the rows they add to the session's
// temporary tables, read back in the same session, and their refusals (the
// service and Perl rows in tables.txt).
#include "qxtest/kit.h"

namespace {

const std::vector<std::wstring> kTables = {
    L"CREATE TABLE `RemoveFile` (`FileKey` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL, "
    L"`FileName` CHAR(255), `DirProperty` CHAR(72) NOT NULL, `InstallMode` SHORT NOT NULL PRIMARY KEY `FileKey`)",
    L"CREATE TABLE `MoveFile` (`FileKey` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL, "
    L"`SourceName` CHAR(255), `DestName` CHAR(255), `SourceFolder` CHAR(72), `DestFolder` CHAR(72) NOT NULL, "
    L"`Options` SHORT NOT NULL PRIMARY KEY `FileKey`)",
};

// tables.txt: SchedMonitorSvcStart and SchedDuplicatePerlMods.
TEST(TableActions, EachCaseOfTablesTxt)
{
    const std::wstring file = qxtest::SourceDir() + L"\\custom_actions\\install_tables\\tests\\tables.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) qxkit::ExpectCase(file, c, qxkit::RunActions(c));
}

// Rows without the table's name, as the swap-out's checks read them.
std::vector<std::wstring> Rows(MSIHANDLE session, const std::string& table)
{
    std::vector<std::wstring> rows;
    for (const auto& row : qxkit::TableRows(session, table)) rows.push_back(qxkit::W(row.substr(table.size() + 2)));
    return rows;
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
    for (const auto& r : Rows(s.Handle(), "RemoveFile")) removed.push_back(r.substr(r.find(L'|') + 1));
    for (const auto& r : Rows(s.Handle(), "MoveFile")) moved.push_back(r.substr(r.find(L'|') + 1));
    EXPECT_EQ(Sorted(removed), Sorted({L"CmpFasta|a.i00|current_8|1", L"CmpFasta|a.stats|current_8|1",
                                       L"CmpFasta|both.stats|current_8|1", L"CmpFasta|*|old_8|1"}));
    EXPECT_EQ(moved, std::vector<std::wstring>{L"CmpFasta|notes.txt|~|current_8|old_8|1"});

    std::vector<std::wstring> keys;
    for (const char* table : {"RemoveFile", "MoveFile"})
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
    EXPECT_EQ(Rows(s.Handle(), "MoveFile").size(), 1u);
    EXPECT_EQ(Rows(s.Handle(), "RemoveFile").size(), 1u);  // the closing row
}

TEST_F(SchedSeqDBSwapOut, NothingMovedMeansNoClosingRow)
{
    Files({L"x.i00", L"db.FASTA", L"README"});
    qxtest::Session s(Props(), kTables);
    ASSERT_EQ(qxtest::Action("SchedSeqDBSwapOut")(s.Handle()), 0u);
    EXPECT_EQ(Rows(s.Handle(), "RemoveFile").size(), 1u);
    EXPECT_TRUE(Rows(s.Handle(), "MoveFile").empty());
}

TEST_F(SchedSeqDBSwapOut, AbsentDirectoryAddsNothing)
{
    qxtest::Session s(Props(), kTables);
    ASSERT_EQ(qxtest::Action("SchedSeqDBSwapOut")(s.Handle()), 0u);
    EXPECT_TRUE(Rows(s.Handle(), "RemoveFile").empty());
    EXPECT_TRUE(Rows(s.Handle(), "MoveFile").empty());
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
