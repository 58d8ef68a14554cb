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

// quorix.dat's path and the directories the walk takes from it, the root
// first; and the inter-file directory, with forward slashes.
struct Tree {
    qxtest::TempDir dir;
    qxkit::Lines fields{dir.File(L"config\\quorix.dat")};
    std::wstring interForward = dir.File(L"inter");
    Tree()
    {
        for (const wchar_t* name : {L"www\\", L"config\\", L"data\\", L"logs\\", L"sessions\\", L"inter\\"}) {
            CreateDirectoryW(dir.File(name).c_str(), nullptr);
            if (fields.size() < 6) fields.push_back(dir.File(name));
        }
        std::replace(interForward.begin(), interForward.end(), L'\\', L'/');
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
            const auto toUnix = reinterpret_cast<ToUnix>(
                reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32"), "wine_get_unix_file_name")));
            if (!toUnix) continue;  // no Wine to make a link with
            std::wstring command = L"Z:\\bin\\ln -s inter " + qxkit::W(toUnix(path.c_str()));
            STARTUPINFOW si{};
            si.cb = sizeof si;
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

// walk.txt: the walk over the tree.
TEST(GrantAccess, EachCaseOfWalkTxt)
{
    const std::wstring file = qxtest::SourceDir() + L"\\custom_actions\\permissions\\tests\\walk.txt";
    for (const qxkit::Case& c : qxkit::ReadCases(file)) {
        Tree t;
        qxtest::AclStore store;
        Settings settings;
        for (const auto& line : c.in) {
            const std::wstring value = qxkit::W(line.substr(line.find(' ') + 1)), path = t.dir.File(value);
            if (line.rfind("group ", 0) == 0) settings.group = value;
            if (line.rfind("inter ", 0) == 0) settings.interFileBasePath = path;
            if (line.rfind("gone ", 0) == 0) RemoveDirectoryW(path.c_str());
        }
        std::replace(settings.interFileBasePath.begin(), settings.interFileBasePath.end(), L'\\', L'/');
        auto got = qxkit::Transcript(qxkit::InFrame(L"Perm", [&] { quorix::permissions::GrantAccess(t.fields, settings); }));
        for (const auto& p : store.reads) got.push_back("read " + qxkit::N(p));
        for (const auto& w : store.writes) {
            got.push_back("write " + qxkit::N(w.path));
            for (const auto& ace : qxtest::AclStore::Aces(w.dacl))  // the merged entry comes first
                if (ace.sid == L"S-1-1-0" && got.back()[0] == 'w')
                    got.push_back("  Everyone " + std::to_string(ace.mask) + " " + std::to_string(ace.flags));
        }
        const std::string tree = qxkit::N(t.dir.Path());
        for (auto& line : got)
            for (size_t at; (at = line.find(tree)) != std::string::npos;) line.replace(at, tree.size(), "{tree}");
        qxkit::ExpectCase(file, c, got);
    }
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
