// UpdateQuorixDat's fields and flags in costed installer sessions, and the
// execute phase on real files: the merged file, the kept original, the
// install log lines and each failure with the old file left in place.
#include "qxtest/kit.h"
#include "test_machine.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "master_config/master_config.h"
#include "msiu/deferred.h"
#include "msiu/error.h"
#include "msiu/files.h"
#include "msiu/session.h"
#include "orvane/qx_filesource.h"
#include "orvane/qx_machine.h"
#include "qxtest/session.h"

using namespace quorix::master_config;

namespace {

const std::wstring kPackage = L"" QX_PACKAGE_DIR;

// ApacheWeb and SwissProt absent unless a test selects them, and the three
// scheduled names.
class CostedSession : public qxkit::CostedSession {
public:
    CostedSession(const qxtest::Props& props, bool apache, bool swissProt)
        : qxkit::CostedSession(props, Rows())
    {
        if (apache) EXPECT_EQ(MsiSetFeatureStateW(Handle(), L"ApacheWeb", INSTALLSTATE_LOCAL), 0u);
        if (swissProt) EXPECT_EQ(MsiSetFeatureStateW(Handle(), L"SwissProt", INSTALLSTATE_LOCAL), 0u);
    }
    static qxkit::Lines Rows()
    {
        qxkit::Lines rows = qxkit::Scheduled(L"UpdateQuorixDat");
        for (const wchar_t* f : {L"ApacheWeb", L"SwissProt"}) {
            rows.push_back(qxkit::Row(L"Feature", L"'" + std::wstring(f) + L"', 200, 0"));
            rows.push_back(qxkit::Row(L"Component", L"'C_" + std::wstring(f) + L"', '{5A2D4E6F-1A3B-4C5D-9E8F-A0B1C2D3E4" +
                                                        (f[0] == L'A' ? L"01" : L"02") + L"}', 'TARGETDIR', 0, ''"));
            rows.push_back(qxkit::Row(L"FeatureComponents", L"'" + std::wstring(f) + L"', 'C_" + f + L"'"));
        }
        return rows;
    }
};

struct packing_case {
    const char* name;
    bool existing, apache, swissProt;
    const wchar_t* clusterSet;  // QUORIX_USE_CLUSTER_MODE_SET, or null
    const wchar_t* clusterMode;
    const wchar_t* flags;
    const wchar_t* fieldClusterMode;
};

TEST(UpdateQuorixDat, PacksElevenFieldsWithTheMergeFlags)
{
    const packing_case cases[] = {
        {"first_install", false, true, false, nullptr, nullptr, L"136", L"0"},
        {"first_install_swissprot", false, true, true, nullptr, nullptr, L"140", L"0"},
        {"first_install_no_apache", false, false, false, nullptr, nullptr, L"136", L"0"},
        {"upgrade", true, true, false, nullptr, nullptr, L"243", L"0"},
        {"upgrade_cluster_on", true, true, false, L"1", L"1", L"251", L"1"},
        {"upgrade_cluster_off_is_cleared", true, true, true, L"1", nullptr, L"255", L"0"},
        {"mode_without_set_is_ignored", true, true, false, nullptr, L"1", L"243", L"0"},
    };
    const std::wstring users = LocalGroupName(DOMAIN_ALIAS_RID_USERS);
    const std::wstring admins = LocalGroupName(DOMAIN_ALIAS_RID_ADMINS);
    EXPECT_FALSE(users.empty());
    EXPECT_FALSE(admins.empty());
    for (const packing_case& c : cases) {
        SCOPED_TRACE(c.name);
        qxtest::TempDir dir;
        if (c.existing) qxtest::WriteFileBytes(dir.File(L"quorix.dat"), "Options\nend\n");
        qxtest::Props props = {{L"QuorixConfigDir", dir.Path()},
                               {L"QUORIX_WEB_URL", L"http://srv/quorix"},
                               {L"QUORIX_WEB_ROOT_DIR", L"C:\\inetpub\\quorix\\"},
                               {L"QUORIX_SEQ_DB_DIR", L"D:\\sequence\\"}};
        if (c.clusterSet) props.push_back({L"QUORIX_USE_CLUSTER_MODE_SET", c.clusterSet});
        if (c.clusterMode) props.push_back({L"QUORIX_USE_CLUSTER_MODE", c.clusterMode});
        CostedSession s(props, c.apache, c.swissProt);
        ASSERT_EQ(qxtest::Action("UpdateQuorixDat")(s.Handle()), 0u);
        // No file table here: the template's path formats to nothing.
        const std::wstring data = msiu::JoinFields(
            {L"", dir.Path() + L"quorix.dat", L"C:\\inetpub\\quorix\\", L"http://srv/quorix", L"D:\\sequence\\",
             c.fieldClusterMode, c.apache ? L"0" : L"1", users, admins, c.flags, c.swissProt ? L"1" : L"0"});
        for (const wchar_t* name : {L"UpdateQuorixDatRollback", L"UpdateQuorixDatExec", L"UpdateQuorixDatCommit"})
            EXPECT_EQ(s.Property(name), data) << name;
    }
}

TEST(UpdateQuorixDat, PathsWithBlanksAndMissingPropertiesFail)
{
    struct bad {
        const wchar_t* property;
        const wchar_t* value;
        std::wstring text;
    };
    const bad cases[] = {
        {L"QUORIX_WEB_ROOT_DIR", L"C:\\inet pub\\", L"UpdateQuorixDat:  Path name may not contain spaces: C:\\inet pub\\  (0x80070057)"},
        {L"QUORIX_SEQ_DB_DIR", L"D:\\my seq\\", L"UpdateQuorixDat:  Path name may not contain spaces: D:\\my seq\\  (0x80070057)"},
        {L"QUORIX_WEB_URL", L"", L"UpdateQuorixDat:  Property \"QUORIX_WEB_URL\" does not exist  (0x80070057)"},
    };
    for (const bad& c : cases) {
        qxtest::TempDir dir;
        qxtest::Props props = {{L"QuorixConfigDir", dir.Path()},
                               {L"QUORIX_WEB_URL", L"http://srv/quorix"},
                               {L"QUORIX_WEB_ROOT_DIR", L"C:\\inetpub\\quorix\\"},
                               {L"QUORIX_SEQ_DB_DIR", L"D:\\sequence\\"}};
        for (auto& p : props)
            if (p.first == c.property) p.second = c.value;
        CostedSession s(props, true, false);
        EXPECT_EQ(qxtest::Action("UpdateQuorixDat")(s.Handle()), 1603u);
        EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{c.text});
        EXPECT_EQ(s.Property(L"UpdateQuorixDatExec"), L"");
    }
}

TEST(UpdateQuorixDat, AGroupWithoutANameFails)
{
    try {
        LocalGroupName(999);
        FAIL() << "no failure";
    } catch (const msiu::MSIError& e) {
        EXPECT_EQ(e.Text(), L"Can't find the local name of group S-1-5-32-999");
        EXPECT_EQ(e.Code(), msiu::HResultFromWin32(1332));
    }
}

using qxtestfiles::test_machine;

std::string WithoutCR(std::string text)
{
    std::string out;
    for (char c : text)
        if (c != '\r') out += c;
    return out;
}

class WriteQuorixDatTest : public testing::Test {
protected:
    void SetUp() override { orvane::qx_machine::replace(&machine); }
    void TearDown() override { orvane::qx_machine::replace(nullptr); }

    std::vector<std::wstring> Fields(const std::wstring& templ, const std::wstring& flags, const std::wstring& swiss)
    {
        return {templ, dir.File(L"quorix.dat"), L"C:\\Quorix\\", L"http://qxhost/quorix/", L"D:\\seq\\", L"0", L"0",
                L"Users", L"Administrators", flags, swiss};
    }

    // The execute phase inside an action frame, so that its lines reach the log.
    UINT Run(qxtest::Session& s, const std::vector<std::wstring>& fields)
    {
        return msiu::RunAction(s.Handle(), L"UpdateQuorixDatDeferred", false, [&] { WriteQuorixDat(fields); });
    }

    test_machine machine;
    qxtest::TempDir dir;
};

TEST_F(WriteQuorixDatTest, FirstInstallWritesTheMergedTemplateAndLogsEachMessage)
{
    qxtest::Session s;
    ASSERT_EQ(Run(s, Fields(kPackage + L"/not.quorix.dat", L"136", L"0")), 0u);
    EXPECT_EQ(WithoutCR(qxtest::ReadFileBytes(dir.File(L"quorix.dat"))),
              WithoutCR(qxtest::ReadFileBytes(qxtest::SourceDir() + L"/common/src/qxparser/tests/merge/first_install.expected")));
    EXPECT_FALSE(qxtest::Exists(dir.File(L"quorix.dat.tmp")));
    const auto log = s.capture.Texts(INSTALLMESSAGE_INFO);
    ASSERT_EQ(log.size(), 11u) << testing::PrintToString(log);
    EXPECT_EQ(log[0], L"UpdateQuorixDatDeferred:  qxparser [\\[]3:0[\\]] -- Successfully loaded not.quorix.dat from " + kPackage + L"/not.quorix.dat");
    EXPECT_EQ(log[2], L"UpdateQuorixDatDeferred:  qxparser [\\[]3:0[\\]] -- Setting number of threads to 4");
}

TEST_F(WriteQuorixDatTest, UpgradeKeepsTheOldFileAsTmpAndActivatesSwissProt)
{
    const std::string old = qxtest::ReadFileBytes(qxtest::SourceDir() + L"/common/src/qxparser/tests/merge/admin.dat");
    qxtest::WriteFileBytes(dir.File(L"quorix.dat"), old);
    qxtest::Session s;
    ASSERT_EQ(Run(s, Fields(kPackage + L"/not.quorix.dat", L"247", L"1")), 0u);
    EXPECT_EQ(qxtest::ReadFileBytes(dir.File(L"quorix.dat.tmp")), old);
    const std::string now = WithoutCR(qxtest::ReadFileBytes(dir.File(L"quorix.dat")));
    EXPECT_NE(now.find("\nSwissProt\tD:/sequence/SwissProt/current/SwissProt_*.fasta\t"), std::string::npos) << now;
    // The groups are the administrator's on an upgrade.
    EXPECT_NE(now.find("\nNTIUserGroup QuorixUsers\n"), std::string::npos);
    EXPECT_NE(now.find("\nNTMonitorGroup QuorixAdmins\n"), std::string::npos);
}

TEST_F(WriteQuorixDatTest, EachFailureLeavesTheOldFileInPlace)
{
    std::string full = "PARSE\n";
    for (int r = 1; r <= 255; ++r) full += "RULE_" + std::to_string(r) + "\t\"r" + std::to_string(r) + "\\(.*\\)\"\n";
    full += "end\n";
    const std::string noSwissTemplate = "Databases\nX\tx\tAA\t1\t1\t1\t1\t1\t0\t0\t1\t2\t0\nend\n"
                                        "Cluster\nSubClusterSet 0 ###THREADS###\nend\n";
    qxtest::WriteFileBytes(dir.File(L"noswiss.dat"), noSwissTemplate);

    struct failure {
        const char* name;
        std::string existing;
        std::wstring templ;
        const wchar_t* flags;
        const wchar_t* swiss;
        bool nameFails;
        std::wstring text;
    };
    const failure cases[] = {
        {"no_computer_name", "Options\nend\n", kPackage + L"/not.quorix.dat", L"243", L"0", true,
         L"Can't create new quorix.dat: Failed to determine the hostname"},
        {"unreadable_template", "Options\nend\n", dir.File(L"missing.dat"), L"243", L"0", false,
         L"Can't create new quorix.dat: Cannot find file 'quorix.dat'. It contains the most important configuration "
         L"parameters"},
        {"no_free_rule", full, kPackage + L"/not.quorix.dat", L"4", L"0", false,
         L"Can't create new quorix.dat: Failed to added parse rule required for SwissProt - too many rules already in "
         L"quorix.dat?"},
        {"no_subclusterset", "Options\nend\nCluster\nEnabled 1\nend\n", kPackage + L"/not.quorix.dat", L"251", L"0", false,
         L"Can't create new quorix.dat: No SubClusterSet entry in quorix.dat"},
        {"no_swissprot_at_activation", "Databases\nY\ty\tAA\t1\t1\t1\t1\t1\t0\t0\t1\t2\t0\nend\n",
         dir.File(L"noswiss.dat"), L"247", L"1", false, L"Can't locate SwissProt entry in quorix.dat"},
    };
    for (const failure& c : cases) {
        SCOPED_TRACE(c.name);
        machine.nameFails = c.nameFails;
        qxtest::WriteFileBytes(dir.File(L"quorix.dat"), c.existing);
        qxtest::Session s;
        EXPECT_EQ(Run(s, Fields(c.templ, c.flags, c.swiss)), 1603u);
        const auto errors = s.capture.Texts(0);
        ASSERT_FALSE(errors.empty());
        EXPECT_EQ(errors.back(), L"UpdateQuorixDatDeferred:  " + c.text + L"  (0x80004005)");
        EXPECT_EQ(qxtest::ReadFileBytes(dir.File(L"quorix.dat")), c.existing);
        EXPECT_EQ(qxtest::ReadFileBytes(dir.File(L"quorix.dat.tmp")), c.existing);
    }
}

// qxdat's table of hostile files, through the install: a kept file upgrades,
// a refused one fails with check's error and stays as it was. The @include
// rows point at FIFOs, devices and links: they are for POSIX only.
TEST_F(WriteQuorixDatTest, HostileFilesAreKeptWholeOrRefusedWithTheirMessage)
{
    const std::filesystem::path hostile = QX_HOSTILE_DIR;
    const std::wstring F = dir.File(L"quorix.dat");
    int rows = 0;
    for (const auto& e : std::filesystem::directory_iterator(hostile)) {
        if (e.path().extension() != ".dat") continue;
        SCOPED_TRACE(e.path().filename().string());
        std::string input = qxtest::ReadFileBytes(e.path().wstring());
        std::string check = qxtest::ReadFileBytes(std::filesystem::path(e.path()).replace_extension(".check").wstring());
        if (input.find("@include") != std::string::npos) continue;
        const size_t longAt = input.find("$LONG");
        if (longAt != std::string::npos) input.replace(longAt, 5, std::string(orvane::kMaxLineBytes + 1, 'x'));
        ++rows;
        qxtest::WriteFileBytes(F, input);
        qxtest::Session s;
        const size_t error = check.rfind("qxparser [1:0] -- $F");
        if (error == std::string::npos) {
            EXPECT_EQ(Run(s, Fields(kPackage + L"/not.quorix.dat", L"243", L"0")), 0u);
            // Each line that check names as dropped has a log line of its own.
            const auto log = s.capture.Texts(INSTALLMESSAGE_INFO);
            const std::string rows = "\n" + check;
            for (size_t at = 0; (at = rows.find("\n$F:", at)) != std::string::npos; ++at) {
                const std::string row = rows.substr(at + 4, rows.find('\n', at + 1) - at - 4);
                const size_t kind = row.find(": warning: dropped: ");
                if (kind == std::string::npos) continue;
                const std::string want = ", line " + row.substr(0, kind) + ": dropped: " + row.substr(kind + 20);
                EXPECT_NE(std::find(log.begin(), log.end(),
                                    L"UpdateQuorixDatDeferred:  " + F + std::wstring(want.begin(), want.end())),
                          log.end()) << want;
            }
            continue;
        }
        EXPECT_EQ(Run(s, Fields(kPackage + L"/not.quorix.dat", L"243", L"0")), 1603u);
        const std::string tail = check.substr(error + 20, check.find('\n', error) - error - 20);
        const auto errors = s.capture.Texts(0);
        ASSERT_FALSE(errors.empty());
        const std::wstring want = std::wstring(tail.begin(), tail.end()) + L"  (0x80004005)";
        EXPECT_EQ(errors.back().rfind(L"UpdateQuorixDatDeferred:  Can't create new quorix.dat: "), 0u) << errors.back();
        EXPECT_EQ(errors.back().substr(errors.back().size() - want.size()), want);
        EXPECT_EQ(qxtest::ReadFileBytes(F), input);
    }
    EXPECT_GE(rows, 9);
}

// N cannot be made: its directory is missing, or a name is planted at N
// after the clean-up; that name is neither written nor removed, F is
// as it was and the rollback puts it back.
TEST_F(WriteQuorixDatTest, AFileThatCannotBeWrittenFails)
{
    const std::string old = "Options\nend\n";
    for (const bool planted : {false, true}) {
        SCOPED_TRACE(planted);
        auto fields = Fields(kPackage + L"/not.quorix.dat", L"136", L"0");
        if (planted)
            qxtest::WriteFileBytes(fields[kQuorixDat], old);
        else
            fields[kQuorixDat] = dir.File(L"no\\such\\quorix.dat");
        const std::wstring F = fields[kQuorixDat];
        msiu::detail::SetFileStepHook(!planted ? nullptr : +[](const wchar_t* step, const std::wstring& path) {
            // T, F.tmp, is renamed into place after the clean-up of N.
            if (std::wstring(step) == L"rename")
                qxtest::WriteFileBytes(path.substr(0, path.size() - 4) + L".new", "planted");
        });
        qxtest::Session s;
        EXPECT_EQ(Run(s, fields), 1603u);
        msiu::detail::SetFileStepHook(nullptr);
        const auto errors = s.capture.Texts(0);
        ASSERT_FALSE(errors.empty());
        EXPECT_EQ(errors.back().rfind(L"UpdateQuorixDatDeferred:  Failed to write new quorix.dat: ", 0), 0u)
            << errors.back();
        if (!planted) continue;
        EXPECT_EQ(errors.back().substr(errors.back().size() - 14), L"  (0x80070050)");
        EXPECT_EQ(qxtest::ReadFileBytes(F + L".new"), "planted");
        EXPECT_EQ(qxtest::ReadFileBytes(F), old);
        qxtest::WriteFileBytes(F, "half-done");  // the rollback takes T, not what F is now
        msiu::FileTransaction(F).Rollback();
        EXPECT_EQ(qxtest::ReadFileBytes(F), old);
    }
}

TEST_F(WriteQuorixDatTest, AFileHeldOpenByAnotherProgramIsLeftAsItWas)
{
    const std::wstring F = dir.File(L"quorix.dat");
    const std::string existing = qxtest::ReadFileBytes(kPackage + L"/not.quorix.dat");
    qxtest::WriteFileBytes(F, existing);
    // Readable for the copy and the merge, but it may not be replaced.
    HANDLE holder = CreateFileW(F.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(holder, INVALID_HANDLE_VALUE);
    qxtest::Session s;
    const UINT result = Run(s, Fields(kPackage + L"/not.quorix.dat", L"247", L"0"));
    CloseHandle(holder);
    EXPECT_EQ(result, 1603u);
    const auto errors = s.capture.Texts(0);
    ASSERT_FALSE(errors.empty());
    const std::wstring& last = errors.back();
    const size_t code = last.rfind(L"  (0x");
    ASSERT_NE(code, std::wstring::npos) << last;
    const HRESULT hr = static_cast<HRESULT>(std::stoul(last.substr(code + 5, 8), nullptr, 16));
    // Refused before anything is made beside it.
    EXPECT_EQ(last, L"UpdateQuorixDatDeferred:  Can't change \"" + F + L"\".  Reason: " + qxtest::SystemText(hr) +
                        last.substr(code));
    EXPECT_EQ(qxtest::ReadFileBytes(F), existing);
    EXPECT_FALSE(qxtest::Exists(F + L".tmp"));
    EXPECT_FALSE(qxtest::Exists(F + L".new")) << "nothing half-done stays beside it";
}

}  // namespace
