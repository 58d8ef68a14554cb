// Directory permissions: the two values from the Options section and what
// is refused of them (refusals.txt), and the walk over the six directories
// with its warnings.
// Under Wine nothing written to an access list is kept (measured), so the
// store stand-in records each write and gives it back on the next read;
// merging and refusing unknown names are Wine's own.
#include "qxtest/kit.h"

#include "permissions/permissions.h"
#include "qxtest/aclstore.h"

namespace {

using quorix::permissions::Settings;

const std::wstring kRootWarning =
    L"Unable to set the permissions on the Quorix root directory. If Quorix does not function correctly, this may "
    L"need further investigation.";
const std::wstring kDirsWarning =
    L"One or more Quorix directories could not be made writeable. If Quorix does not function correctly, this may "
    L"need further investigation.";

// quorix.dat's path and the root, www, config, data and logs directories, as
// the walk takes them; and the inter-file directory, with forward slashes.
struct Tree {
    qxtest::TempDir dir;
    qxkit::Lines fields{dir.File(L"config\\quorix.dat")};
    std::wstring inter = dir.File(L"inter"), interForward = inter;
    Tree()
    {
        for (const wchar_t* name : {L"www\\", L"config\\", L"data\\", L"logs\\", L"sessions\\", L"inter\\"}) {
            CreateDirectoryW(dir.File(name).c_str(), nullptr);
            if (fields.size() < 6) fields.push_back(dir.File(name));
        }
        std::replace(interForward.begin(), interForward.end(), L'\\', L'/');
    }
    qxkit::Frame Grant(const Settings& settings) const
    {
        const auto f = qxkit::InFrame(L"Perm", [&] { quorix::permissions::GrantAccess(fields, settings); });
        EXPECT_EQ(f.result, 0u);
        EXPECT_TRUE(f.fatal.empty());
        return f;
    }
};

// quorix.dat is writable by the group it names: what a member may put there,
// from refusals.txt.
TEST(Refusals, NameTheValueTheFileAndTheReason)
{
    for (const qxkit::Case& c : qxkit::ReadCases(qxtest::SourceDir() + L"\\custom_actions\\permissions\\tests\\refusals.txt")) {
        SCOPED_TRACE(c.name);
        Tree t;
        std::wstring group = qxkit::W(c.in.at(0)), path = c.in.at(1).empty() ? t.interForward : qxkit::W(c.in[1]);
        wchar_t me[256];
        DWORD size = 256;
        if (group == L"<me>") group = GetUserNameW(me, &size) ? me : L"";
        if (path == L"<link>") {  // Wine shows a Unix link to a directory as a reparse point
            path = t.dir.File(L"linked");
            using ToUnix = char*(CDECL*)(const wchar_t*);
            const auto toUnix = reinterpret_cast<ToUnix>(GetProcAddress(GetModuleHandleW(L"kernel32"), "wine_get_unix_file_name"));
            if (!toUnix) continue;  // no Wine to make a link with
            std::wstring command = L"Z:\\bin\\ln -s inter " + qxkit::W(toUnix(path.c_str()));
            STARTUPINFOW si{sizeof si};
            PROCESS_INFORMATION pi{};
            ASSERT_TRUE(CreateProcessW(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi));
            EXPECT_TRUE(qxkit::Poll([&] { return qxtest::Exists(path); }));
        }
        const std::wstring refused = c.expect.empty() ? L"" : qxkit::W(c.expect[0]);
        const bool isGroup = refused.rfind(L"a group", 0) == 0 || refused == L"not a group";
        EXPECT_EQ(quorix::permissions::Refusal(t.fields, {group, path}),
                  refused.empty() ? L"" : L"Permissions left as they were: " +
                      std::wstring(isGroup ? L"NTIUserGroup" : L"InterFileBasePath") + L" \"" +
                      (isGroup ? group : path) + L"\" in " + t.fields[0] + L" is " + refused);
    }
}

TEST(GrantAccess, RootGetsReadExecuteAndFiveDirectoriesFullControl)
{
    Tree t;
    qxtest::AclStore store;
    const auto f = t.Grant({L"Everyone", t.interForward});
    EXPECT_TRUE(f.warnings.empty());
    qxkit::Lines info, paths(t.fields.begin() + 1, t.fields.end());
    paths.push_back(t.inter);  // forward slashes of the file reach the platform as back slashes
    for (const auto& p : paths)
        info.push_back(L"Perm:  Granting " + std::wstring(info.empty() ? L"read/execute" : L"full control") +
                       L" to \"Everyone\" on: " + p);
    EXPECT_EQ(f.info, info);
    EXPECT_EQ(store.reads, paths);
    ASSERT_EQ(store.writes.size(), 6u);
    for (size_t i = 0; i < 6; ++i) {
        const auto aces = qxtest::AclStore::Aces(store.writes[i].dacl);
        const qxtest::AclStore::Ace wanted{L"S-1-1-0", i ? 0x1F01FFu : 0x1200A9u, 3};
        EXPECT_NE(std::find(aces.begin(), aces.end(), wanted), aces.end()) << i;
    }
}

TEST(GrantAccess, UnknownGroupGivesBothWarningsOnceAndALineForEachPath)
{
    Tree t;
    qxtest::AclStore store;
    const auto f = t.Grant({L"No Such Group 4711", t.interForward});
    EXPECT_EQ(f.warnings, (qxkit::Lines{kRootWarning, kDirsWarning}));
    qxkit::Lines failures, wanted;
    for (const auto& line : f.info)
        if (line.find(L"Failed to set entries in DACL for: ") != std::wstring::npos) failures.push_back(line);
    for (size_t i = 1; i <= 6; ++i)
        wanted.push_back(L"Perm:  Failed to set entries in DACL for: " + (i < 6 ? t.fields[i] : t.inter) + L"  (0x80070057)");
    EXPECT_EQ(failures, wanted);
    EXPECT_TRUE(store.writes.empty());
}

TEST(GrantAccess, WalkGoesOnAfterAFailedDirectory)
{
    Tree t;
    RemoveDirectoryW(t.fields[2].c_str());  // the first of the five is gone
    qxtest::AclStore store;
    const auto f = t.Grant({L"Everyone", t.interForward});
    EXPECT_EQ(f.warnings, qxkit::Lines{kDirsWarning}) << "the root went well";
    EXPECT_EQ(f.info.at(2), L"Perm:  Failed to retrieve DACL for: " + t.fields[2] + L"  (0x80070002)");
    ASSERT_EQ(store.writes.size(), 5u);
    EXPECT_EQ(store.writes[1].path, t.fields[3]);
    EXPECT_EQ(store.writes[4].path, t.inter);
}

TEST(GrantAccess, InterFileBasePathMayNameTheDataDirectory)
{
    Tree t;
    qxtest::AclStore store;
    std::wstring data = t.fields[3].substr(0, t.fields[3].size() - 1);
    std::replace(data.begin(), data.end(), L'\\', L'/');
    // The directory is merged twice, the second time over what the first
    // wrote. Windows then finds the entry in place and writes nothing; Wine's
    // merge adds it once more (measured), so the spared write can't be shown.
    EXPECT_TRUE(t.Grant({L"Everyone", data}).warnings.empty());
    ASSERT_EQ(store.reads.size(), 6u);
    EXPECT_EQ(store.reads[2], t.fields[3]);
    EXPECT_EQ(store.reads[5], t.fields[3].substr(0, t.fields[3].size() - 1));
}

TEST(ReadSettings, ValuesComeFromTheOptionsSectionAndAnUnreadableFileFails)
{
    qxtest::TempDir dir;
    const std::wstring dat = dir.File(L"quorix.dat");
    auto f = qxkit::InFrame(L"Perm", [&] { quorix::permissions::ReadSettings(dat); });
    EXPECT_EQ(f.result, 1603u);
    ASSERT_EQ(f.fatal.size(), 1u);
    EXPECT_EQ(f.fatal[0].rfind(L"Perm:  Failed to read quorix.dat: ", 0), 0u);
    EXPECT_FALSE(f.info.empty()) << "the reader's own messages went to the log first";

    qxtest::WriteFileBytes(dat, "Options\nNTIUserGroup Quorix Users\nInterFileBasePath D:/qx/data\nend\n");
    Settings got;
    EXPECT_EQ(qxkit::InFrame(L"Perm", [&] { got = quorix::permissions::ReadSettings(dat); }).result, 0u);
    EXPECT_EQ(got.group, L"Quorix Users");
    EXPECT_EQ(got.interFileBasePath, L"D:/qx/data");
}

}  // namespace
