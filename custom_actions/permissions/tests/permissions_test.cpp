// Directory permissions: the two values from the Options section and what
// is refused of them, the walk
// over the six directories with its warnings, and the exported actions.
// Under Wine nothing written to an access list is kept (measured), so the
// store stand-in records each write and gives it back on the next read;
// merging and refusing unknown names are Wine's own.
#include <gtest/gtest.h>

#include <cstring>

#include "msiu/session.h"
#include "permissions/permissions.h"
#include "qxtest/aclstore.h"
#include "qxtest/session.h"

namespace {

using quorix::permissions::GrantAccess;
using quorix::permissions::Settings;

// ---- the walk ----------------------------------------------------------------

const std::wstring kRootWarning =
    L"Unable to set the permissions on the Quorix root directory. If Quorix does not function correctly, this may "
    L"need further investigation.";
const std::wstring kDirsWarning =
    L"One or more Quorix directories could not be made writeable. If Quorix does not function correctly, this may "
    L"need further investigation.";

struct Tree {
    qxtest::TempDir dir;
    std::vector<std::wstring> fields;
    Tree()
    {
        fields.push_back(dir.File(L"config\\quorix.dat"));
        for (const wchar_t* name : {L"www\\", L"config\\", L"data\\", L"logs\\", L"sessions\\", L"inter\\"}) {
            CreateDirectoryW(dir.File(name).c_str(), nullptr);
            if (fields.size() < 6) fields.push_back(dir.File(name));
        }
    }
    std::wstring InterForward() const
    {
        std::wstring p = dir.File(L"inter");
        for (auto& c : p)
            if (c == L'\\') c = L'/';
        return p;
    }
};

// quorix.dat is writable by the group it names: what a member may put there.
struct RefusalCase {
    const char* name;
    std::wstring group, path;  // an empty path: the tree's own inter-file directory
    std::wstring refused;      // "key \"value\" in <file> is <reason>", or nothing
};

class Refusals : public ::testing::TestWithParam<RefusalCase> {};

TEST_P(Refusals, NameTheValueTheFileAndTheReason)
{
    const RefusalCase& c = GetParam();
    Tree t;
    std::wstring path = c.path.empty() ? t.InterForward() : c.path, group = c.group;
    if (group == L"<me>") {  // the account running the test: a user, not a group
        wchar_t name[256];
        DWORD size = 256;
        ASSERT_TRUE(GetUserNameW(name, &size));
        group = name;
    }
    if (path == L"<link>") {  // Wine shows a Unix link to a directory as a reparse point
        path = t.dir.File(L"linked");
        char unixPath[1024] = {};
        WideCharToMultiByte(CP_UTF8, 0, t.InterForward().c_str(), -1, unixPath, sizeof unixPath, nullptr, nullptr);
        using ToUnix = char*(CDECL*)(const wchar_t*);
        const auto toUnix = reinterpret_cast<ToUnix>(GetProcAddress(GetModuleHandleW(L"kernel32"), "wine_get_unix_file_name"));
        if (!toUnix) GTEST_SKIP() << "no Wine to make a link with";
        std::wstring command = L"Z:\\bin\\ln -s inter ";
        const char* at = toUnix(path.c_str());
        command += std::wstring(at, at + strlen(at));
        STARTUPINFOW si{sizeof si};
        PROCESS_INFORMATION pi{};
        ASSERT_TRUE(CreateProcessW(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi));
        for (int i = 0; i < 100 && GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES; ++i) Sleep(50);
    }
    const std::wstring got = quorix::permissions::Refusal(t.fields, {group, path});
    if (c.refused.empty()) {
        EXPECT_EQ(got, L"");
    } else {
        const bool isGroup = c.refused.rfind(L"a group", 0) == 0 || c.refused == L"not a group";
        EXPECT_EQ(got, L"Permissions left as they were: " +
                           std::wstring(isGroup ? L"NTIUserGroup" : L"InterFileBasePath") + L" \"" +
                           (isGroup ? group : path) + L"\" in " + t.fields[0] + L" is " + c.refused);
    }
}

const wchar_t kWide[] = L"a group wider than the machine's users";
INSTANTIATE_TEST_SUITE_P(
    Cases, Refusals,
    ::testing::Values(RefusalCase{"UsersInTheTree", L"Users", L"", L""},
                      RefusalCase{"UnknownNameFailsLaterOnItsOwn", L"No Such Group 4711", L"", L""},
                      RefusalCase{"OtherDrive", L"Users", L"D:/qx/data", L""},
                      RefusalCase{"Everyone", L"Everyone", L"", kWide},
                      RefusalCase{"EveryoneAnyCase", L"eVERYONE", L"", kWide},
                      RefusalCase{"Anonymous", L"ANONYMOUS LOGON", L"", kWide},
                      RefusalCase{"AuthenticatedUsers", L"NT AUTHORITY\\Authenticated Users", L"", kWide},
                      RefusalCase{"Network", L"NETWORK", L"", kWide},
                      RefusalCase{"GuestsTheDefault", L"Guests", L"", kWide},
                      RefusalCase{"AUser", L"<me>", L"", L"not a group"},
                      RefusalCase{"LinkedDirectory", L"Users", L"<link>", L"a link or junction"},
                      RefusalCase{"Dot", L"Users", L".", L"not an absolute path on a local drive"},
                      RefusalCase{"Relative", L"Users", L"qx/data", L"not an absolute path on a local drive"},
                      RefusalCase{"Unc", L"Users", L"//server/share/data", L"not an absolute path on a local drive"},
                      RefusalCase{"DotDot", L"Users", L"D:/qx/../Windows", L"a path with . or .. in it"},
                      RefusalCase{"DriveRoot", L"Users", L"C:/", L"the root of a drive"},
                      RefusalCase{"System32", L"Users", L"C:/Windows/System32", L"inside the Windows or program folders"},
                      RefusalCase{"ProgramFiles", L"Users", L"c:/program files/Common Files",
                                  L"inside the Windows or program folders"}),
    [](const auto& info) { return std::string(info.param.name); });

struct Walk {
    UINT result = 0;
    std::vector<std::wstring> info, warnings;
};

Walk Grant(const std::vector<std::wstring>& fields, const Settings& settings)
{
    qxtest::Session s;
    Walk w;
    w.result = msiu::RunAction(s.Handle(), L"Perm", false, [&] { GrantAccess(fields, settings); });
    w.info = s.capture.Texts(0x4000000);
    w.warnings = s.capture.Texts(0x2000000);
    EXPECT_TRUE(s.capture.Texts(0).empty());
    return w;
}

TEST(GrantAccess, RootGetsReadExecuteAndFiveDirectoriesFullControl)
{
    Tree t;
    qxtest::AclStore store;
    const Walk w = Grant(t.fields, {L"Everyone", t.InterForward()});
    EXPECT_EQ(w.result, 0u);
    EXPECT_TRUE(w.warnings.empty());
    const std::wstring inter = t.dir.File(L"inter");
    EXPECT_EQ(w.info, (std::vector<std::wstring>{
                          L"Perm:  Granting read/execute to \"Everyone\" on: " + t.fields[1],
                          L"Perm:  Granting full control to \"Everyone\" on: " + t.fields[2],
                          L"Perm:  Granting full control to \"Everyone\" on: " + t.fields[3],
                          L"Perm:  Granting full control to \"Everyone\" on: " + t.fields[4],
                          L"Perm:  Granting full control to \"Everyone\" on: " + t.fields[5],
                          L"Perm:  Granting full control to \"Everyone\" on: " + inter,
                      }));
    // Forward slashes of the file reach the platform as back slashes.
    EXPECT_EQ(store.reads, (std::vector<std::wstring>{t.fields[1], t.fields[2], t.fields[3], t.fields[4],
                                                      t.fields[5], inter}));
    ASSERT_EQ(store.writes.size(), 6u);
    const qxtest::AclStore::Ace readExecute{L"S-1-1-0", 0x1200A9, 3}, full{L"S-1-1-0", 0x1F01FF, 3};
    for (size_t i = 0; i < 6; ++i) {
        const auto aces = qxtest::AclStore::Aces(store.writes[i].dacl);
        const auto& wanted = i == 0 ? readExecute : full;
        EXPECT_NE(std::find(aces.begin(), aces.end(), wanted), aces.end()) << i;
    }
}

TEST(GrantAccess, UnknownGroupGivesBothWarningsOnceAndALineForEachPath)
{
    Tree t;
    qxtest::AclStore store;
    const Walk w = Grant(t.fields, {L"No Such Group 4711", t.InterForward()});
    EXPECT_EQ(w.result, 0u);
    EXPECT_EQ(w.warnings, (std::vector<std::wstring>{kRootWarning, kDirsWarning}));
    std::vector<std::wstring> failures;
    for (const auto& line : w.info)
        if (line.find(L"Failed to set entries in DACL for: ") != std::wstring::npos) failures.push_back(line);
    const std::wstring paths[] = {t.fields[1], t.fields[2], t.fields[3], t.fields[4], t.fields[5],
                                  t.dir.File(L"inter")};
    ASSERT_EQ(failures.size(), 6u);
    for (size_t i = 0; i < 6; ++i)
        EXPECT_EQ(failures[i], L"Perm:  Failed to set entries in DACL for: " + paths[i] + L"  (0x80070057)");
    EXPECT_TRUE(store.writes.empty());
}

TEST(GrantAccess, WalkGoesOnAfterAFailedDirectory)
{
    Tree t;
    RemoveDirectoryW(t.fields[2].c_str());  // the first of the five is gone
    qxtest::AclStore store;
    const Walk w = Grant(t.fields, {L"Everyone", t.InterForward()});
    EXPECT_EQ(w.result, 0u);
    EXPECT_EQ(w.warnings, std::vector<std::wstring>{kDirsWarning}) << "the root went well";
    EXPECT_EQ(w.info.at(2), L"Perm:  Failed to retrieve DACL for: " + t.fields[2] + L"  (0x80070002)");
    ASSERT_EQ(store.writes.size(), 5u);
    EXPECT_EQ(store.writes[1].path, t.fields[3]);
    EXPECT_EQ(store.writes[4].path, t.dir.File(L"inter"));
}

TEST(GrantAccess, InterFileBasePathMayNameTheDataDirectory)
{
    Tree t;
    qxtest::AclStore store;
    // InterFileBasePath names the data directory.
    std::wstring data = t.fields[3];
    data.pop_back();
    for (auto& c : data)
        if (c == L'\\') c = L'/';
    // The directory is merged twice, the second time over what the first
    // wrote. Windows then finds the entry in place and writes nothing; Wine's
    // merge adds it once more (measured), so the spared write can't be shown.
    const Walk w = Grant(t.fields, {L"Everyone", data});
    EXPECT_EQ(w.result, 0u);
    EXPECT_TRUE(w.warnings.empty());
    ASSERT_EQ(store.reads.size(), 6u);
    EXPECT_EQ(store.reads[2], t.fields[3]);
    EXPECT_EQ(store.reads[5], t.fields[3].substr(0, t.fields[3].size() - 1));
}

// ---- the exported actions ------------------------------------------------------

const qxtest::Props kDirs = {{L"QuorixConfigDir", L"C:\\Srv\\config\\"},    {L"QUORIX_WEB_ROOT_DIR", L"C:\\Srv\\"},
                             {L"QuorixDataDir", L"C:\\Srv\\data\\"},        {L"QuorixLogsDir", L"C:\\Srv\\logs\\"},
                             {L"QuorixSessionsDir", L"C:\\Srv\\sessions\\"}};

const std::vector<std::wstring> kExec = {
    L"CREATE TABLE `CustomAction` (`Action` CHAR(72) NOT NULL, `Type` SHORT NOT NULL, `Source` CHAR(72), "
    L"`Target` CHAR(255), `ExtendedType` LONG PRIMARY KEY `Action`)",
    L"INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) VALUES "
    L"('FixDirPermissionsExec', 3073, 'QuorixCA', 'FixDirPermissionsDeferred')",
};

TEST(FixDirPermissions, PacksTheSixFields)
{
    qxtest::Session s(kDirs, kExec);
    ASSERT_EQ(qxtest::Action("FixDirPermissions")(s.Handle()), 0u);
    EXPECT_EQ(s.Property(L"FixDirPermissionsExec"),
              L"C:\\Srv\\config\\quorix.dat|C:\\Srv\\|C:\\Srv\\config\\|C:\\Srv\\data\\|C:\\Srv\\logs\\|"
              L"C:\\Srv\\sessions\\");
}

TEST(FixDirPermissions, PropertiesAreReadLastToFirst)
{
    const wchar_t* order[] = {L"QuorixSessionsDir", L"QuorixLogsDir", L"QuorixDataDir", L"QuorixConfigDir",
                              L"QUORIX_WEB_ROOT_DIR"};
    for (size_t missing = 0; missing < 5; ++missing) {
        qxtest::Session s(kDirs, kExec);
        for (size_t k = missing; k < 5; ++k) s.SetProperty(order[k], L"");
        EXPECT_EQ(qxtest::Action("FixDirPermissions")(s.Handle()), 1603u);
        EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{L"FixDirPermissions:  Property \"" +
                                                                std::wstring(order[missing]) +
                                                                L"\" does not exist  (0x80070057)"});
    }
}

TEST(FixDirPermissionsDeferred, SixFieldsAndNoFileOpenedOutsideTheScript)
{
    const std::pair<std::wstring, UINT> cases[] = {
        {L"Z:\\no\\such\\quorix.dat|a|b|c|d|e", 0u},
        {L"Z:\\no\\such\\quorix.dat|a|b|c|d", 1603u},
        {L"Z:\\no\\such\\quorix.dat|a|b|c|d|e|f", 1603u},
    };
    for (const auto& c : cases) {
        qxtest::Session s(qxtest::Props{{L"CustomActionData", c.first}});
        EXPECT_EQ(qxtest::Action("FixDirPermissionsDeferred")(s.Handle()), c.second);
        if (c.second)
            EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{
                                              L"FixDirPermissionsDeferred:  Missing or incomplete CA data  (0x80070057)"});
        else
            EXPECT_TRUE(s.capture.messages.empty()) << "the missing file was never opened";
    }
}

TEST(ReadSettings, UnreadableFileFailsWithTheLastMessage)
{
    qxtest::TempDir dir;
    const std::wstring dat = dir.File(L"quorix.dat");
    qxtest::Session s;
    const UINT result = msiu::RunAction(s.Handle(), L"Perm", false, [&] { quorix::permissions::ReadSettings(dat); });
    EXPECT_EQ(result, 1603u);
    const auto fatal = s.capture.Texts(0);
    ASSERT_EQ(fatal.size(), 1u);
    EXPECT_EQ(fatal[0].rfind(L"Perm:  Failed to read quorix.dat: ", 0), 0u);
    // The reader's own messages went to the log first.
    EXPECT_FALSE(s.capture.Texts(0x4000000).empty());
}

TEST(ReadSettings, ValuesComeFromTheOptionsSection)
{
    qxtest::TempDir dir;
    const std::wstring dat = dir.File(L"quorix.dat");
    qxtest::WriteFileBytes(dat, "Options\nNTIUserGroup Quorix Users\nInterFileBasePath D:/qx/data\nend\n");
    Settings got;
    qxtest::Session s;
    EXPECT_EQ(msiu::RunAction(s.Handle(), L"Perm", false, [&] { got = quorix::permissions::ReadSettings(dat); }), 0u);
    EXPECT_EQ(got.group, L"Quorix Users");
    EXPECT_EQ(got.interFileBasePath, L"D:/qx/data");
}

}  // namespace
