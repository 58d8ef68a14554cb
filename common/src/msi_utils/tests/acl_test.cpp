// The access entry list and the DACL merge. Wine merges for real and refuses
// unknown names, but keeps no DACL it is given and makes each directory's
// list up from its mode bits; the store stand-in records what is written and
// hands it back on the next read.
#include <gtest/gtest.h>

#include "msiu/acl.h"
#include "msiu/session.h"
#include "qxtest/aclstore.h"
#include "qxtest/session.h"

namespace {

TEST(ExplicitAccessList, RecordsPointAtTheListsOwnStableNames)
{
    msiu::ExplicitAccessList list;
    std::vector<std::wstring> names;
    for (int i = 0; i < 200; ++i) names.push_back(i % 2 ? L"g" + std::to_wstring(i) : std::wstring(40, L'a' + i % 26));
    for (const auto& n : names) list.Add(n, 0x1200A9, GRANT_ACCESS, 3);
    ASSERT_EQ(list.Count(), 200u);
    for (size_t i = 0; i < names.size(); ++i) {
        const EXPLICIT_ACCESS_W& e = list.Entries()[i];
        ASSERT_EQ(e.Trustee.TrusteeForm, TRUSTEE_IS_NAME);
        EXPECT_EQ(std::wstring(e.Trustee.ptstrName), names[i]) << i;
        EXPECT_NE(e.Trustee.ptstrName, names[i].c_str()) << "a copy of the list's own";
        EXPECT_EQ(e.grfAccessPermissions, 0x1200A9u);
        EXPECT_EQ(e.grfAccessMode, GRANT_ACCESS);
        EXPECT_EQ(e.grfInheritance, 3u);
    }
    list.Clear();
    EXPECT_EQ(list.Count(), 0u);
    list.Add(L"Everyone", 0x1F01FF, GRANT_ACCESS, 3);
    EXPECT_EQ(std::wstring(list.Entries()[0].Trustee.ptstrName), L"Everyone");
}

struct Merge {
    UINT result = 0;
    std::vector<std::wstring> fatal;
};

Merge MergeIn(const std::wstring& path, const std::wstring& trustee, DWORD rights, bool skip = true)
{
    qxtest::Session s;
    Merge m;
    m.result = msiu::RunAction(s.Handle(), L"Acl", false, [&] {
        msiu::ExplicitAccessList list;
        list.Add(trustee, rights, GRANT_ACCESS, 3);
        msiu::MergeDacl(path, SE_FILE_OBJECT, list, skip);
    });
    m.fatal = s.capture.Texts(0);
    return m;
}

TEST(MergeDacl, WritesTheOldEntriesWithTheNewOneMerged)
{
    qxtest::TempDir dir;
    qxtest::AclStore store;
    ASSERT_EQ(MergeIn(dir.Path(), L"Everyone", 0x1F01FF).result, 0u);
    ASSERT_EQ(store.writes.size(), 1u);
    EXPECT_EQ(store.writes[0].path, dir.Path());
    const auto aces = qxtest::AclStore::Aces(store.writes[0].dacl);
    EXPECT_NE(std::find(aces.begin(), aces.end(), qxtest::AclStore::Ace{L"S-1-1-0", 0x1F01FF, 3}), aces.end());
    // The entries the directory had stay: none of Wine's made-up ones is lost.
    for (const auto& old : aces)
        if (old.sid != L"S-1-1-0") EXPECT_NE(old.mask, 0u);
    EXPECT_GE(aces.size(), 2u);
}

// Wine's merge adds a GRANT entry again even when the list holds it already
// (measured: a second merge of the same entry gives one more ACE), where
// Windows combines it with the one in place. So the merge that changes
// nothing is shown here with no entries at all; the byte comparison that
// spares the write is the same for either.
Merge MergeNothing(const std::wstring& path, bool skip)
{
    qxtest::Session s;
    Merge m;
    m.result = msiu::RunAction(s.Handle(), L"Acl", false, [&] {
        msiu::ExplicitAccessList list;
        msiu::MergeDacl(path, SE_FILE_OBJECT, list, skip);
    });
    m.fatal = s.capture.Texts(0);
    return m;
}

TEST(MergeDacl, MergeThatChangesNothingWritesNothing)
{
    qxtest::TempDir dir;
    qxtest::AclStore store;
    ASSERT_EQ(MergeIn(dir.Path(), L"Everyone", 0x1200A9).result, 0u);
    ASSERT_EQ(store.writes.size(), 1u);
    ASSERT_EQ(MergeNothing(dir.Path(), true).result, 0u);
    EXPECT_EQ(store.writes.size(), 1u) << "the merged list equals the stored one";
    EXPECT_EQ(store.reads.size(), 2u);
    // Unless asked to write regardless.
    ASSERT_EQ(MergeNothing(dir.Path(), false).result, 0u);
    ASSERT_EQ(store.writes.size(), 2u);
    EXPECT_EQ(store.writes[1].dacl, store.writes[0].dacl);
}

TEST(MergeDacl, EachFailingStepHasItsText)
{
    qxtest::TempDir dir;
    const std::wstring missing = dir.File(L"no such dir");
    struct Case {
        const char* name;
        std::wstring path, trustee;
        int failInfoCall;
        DWORD failSet;
        std::wstring fatal;
    };
    const Case cases[] = {
        {"MissingDirectory", missing, L"Everyone", 0, 0,
         L"Acl:  Failed to retrieve DACL for: " + missing + L"  (0x80070002)"},
        {"UnknownName", dir.Path(), L"No Such Group 4711", 0, 0,
         L"Acl:  Failed to set entries in DACL for: " + dir.Path() + L"  (0x80070057)"},
        {"OldSize", dir.Path(), L"Everyone", 1, 0, L"Acl:  Unable to get size information from old DACL.  (0x80070538)"},
        {"NewSize", dir.Path(), L"Everyone", 2, 0, L"Acl:  Unable to get size information from new DACL.  (0x80070538)"},
        {"Apply", dir.Path(), L"Everyone", 0, ERROR_ACCESS_DENIED,
         L"Acl:  Failed to apply new DACL to: " + dir.Path() + L"  (0x80070005)"},
    };
    for (const auto& c : cases) {
        qxtest::AclStore store;
        store.failInfoCall = c.failInfoCall;
        store.failSet = c.failSet;
        const Merge m = MergeIn(c.path, c.trustee, 0x1F01FF);
        EXPECT_EQ(m.result, 1603u) << c.name;
        EXPECT_EQ(m.fatal, std::vector<std::wstring>{c.fatal}) << c.name;
        EXPECT_TRUE(store.writes.empty()) << c.name;
    }
}

}  // namespace
