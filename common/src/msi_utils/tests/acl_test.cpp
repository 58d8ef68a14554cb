// The access entry list and the DACL merge. Wine merges for real and refuses
// unknown names, but keeps no DACL it is given and makes each directory's
// list up from its mode bits; the store stand-in records what is written and
// hands it back on the next read.
#include <algorithm>

#include "cases.h"
#include "msiu/acl.h"
#include "msiu/session.h"
#include "qxtest/aclstore.h"

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
        EXPECT_NE(e.Trustee.ptstrName, names[i].c_str()) << "a copy of the list's own";
        EXPECT_EQ(msiu::Format(L"%s %d %x %d %u", e.Trustee.ptstrName, e.Trustee.TrusteeForm, e.grfAccessPermissions, e.grfAccessMode,
                               e.grfInheritance), msiu::Format(L"%s %d 1200a9 %d 3", names[i].c_str(), TRUSTEE_IS_NAME, GRANT_ACCESS));
    }
    list.Clear();
    EXPECT_EQ(list.Count(), 0u);
    list.Add(L"Everyone", 0x1F01FF, GRANT_ACCESS, 3);
    EXPECT_EQ(std::wstring(list.Entries()[0].Trustee.ptstrName), L"Everyone");
}

// The frame's result and its fatal lines; no trustee merges an empty list.
std::wstring MergeIn(const std::wstring& path, const std::wstring& trustee, DWORD rights, bool skip = true)
{
    qxtest::Session s;
    std::wstring r = std::to_wstring(msiu::RunAction(s.Handle(), L"Acl", false, [&] {
        msiu::ExplicitAccessList list;
        if (!trustee.empty()) list.Add(trustee, rights, GRANT_ACCESS, 3);
        msiu::MergeDacl(path, SE_FILE_OBJECT, list, skip);
    }));
    for (const auto& line : s.capture.Texts(0)) r += L" | " + line;
    return r;
}

TEST(MergeDacl, WritesTheOldEntriesWithTheNewOneAndNothingWhenNothingChanges)
{
    qxtest::TempDir dir;
    qxtest::AclStore store;
    ASSERT_EQ(MergeIn(dir.Path(), L"Everyone", 0x1F01FF), L"0");
    ASSERT_EQ(store.writes.size(), 1u);
    EXPECT_EQ(store.writes[0].path, dir.Path());
    const auto aces = qxtest::AclStore::Aces(store.writes[0].dacl);
    EXPECT_NE(std::find(aces.begin(), aces.end(), qxtest::AclStore::Ace{L"S-1-1-0", 0x1F01FF, 3}), aces.end());
    // The entries the directory had stay: none of Wine's made-up ones is lost.
    for (const auto& old : aces)
        if (old.sid != L"S-1-1-0") EXPECT_NE(old.mask, 0u);
    EXPECT_GE(aces.size(), 2u);

    // Wine's merge adds a GRANT entry again even when the list holds it
    // already (measured), where Windows combines it with the one in place: so
    // the merge that changes nothing is shown with no entries at all; the byte
    // comparison that spares the write is the same for either.
    ASSERT_EQ(MergeIn(dir.Path(), L"", 0), L"0");
    EXPECT_EQ(store.writes.size(), 1u) << "the merged list equals the stored one";
    EXPECT_EQ(store.reads.size(), 2u);
    // Unless asked to write regardless.
    ASSERT_EQ(MergeIn(dir.Path(), L"", 0, false), L"0");
    ASSERT_EQ(store.writes.size(), 2u);
    EXPECT_EQ(store.writes[1].dacl, store.writes[0].dacl);
}

TEST(MergeDacl, EachFailingStepHasItsText)
{
    qxtest::TempDir dir;
    const std::wstring missing = dir.File(L"no such dir");
    const struct {
        std::wstring path, trustee;
        int failInfoCall;
        DWORD failSet;
        std::wstring fatal;
    } cases[] = {
        {missing, L"Everyone", 0, 0, L"Failed to retrieve DACL for: " + missing + L"  (0x80070002)"},
        {dir.Path(), L"No Such Group 4711", 0, 0, L"Failed to set entries in DACL for: " + dir.Path() + L"  (0x80070057)"},
        {dir.Path(), L"Everyone", 1, 0, L"Unable to get size information from old DACL.  (0x80070538)"},
        {dir.Path(), L"Everyone", 2, 0, L"Unable to get size information from new DACL.  (0x80070538)"},
        {dir.Path(), L"Everyone", 0, ERROR_ACCESS_DENIED, L"Failed to apply new DACL to: " + dir.Path() + L"  (0x80070005)"},
    };
    for (const auto& c : cases) {
        qxtest::AclStore store;
        store.failInfoCall = c.failInfoCall;
        store.failSet = c.failSet;
        EXPECT_EQ(MergeIn(c.path, c.trustee, 0x1F01FF), L"1603 | Acl:  " + c.fatal);
        EXPECT_TRUE(store.writes.empty()) << cases::N(c.fatal);
    }
}

}  // namespace
