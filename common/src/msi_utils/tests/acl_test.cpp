// The access entry list and the DACL merge. Wine merges for real and refuses
// unknown names, but keeps no DACL it is given and makes each directory's
// list up from its mode bits; the store stand-in records what is written and
// hands it back on the next read. The merge cases are in cases/acl.txt.
#include <memory>

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
    list.Clear();
    for (const auto& n : names) list.Add(n, 0x1200A9, GRANT_ACCESS, 3);
    ASSERT_EQ(list.Count(), 200u);
    for (size_t i = 0; i < names.size(); ++i) {
        const EXPLICIT_ACCESS_W& e = list.Entries()[i];
        EXPECT_NE(e.Trustee.ptstrName, names[i].c_str()) << "a copy of the list's own";
        EXPECT_EQ(msiu::Format(L"%s %d %x %d %u", e.Trustee.ptstrName, e.Trustee.TrusteeForm, e.grfAccessPermissions, e.grfAccessMode,
                               e.grfInheritance), msiu::Format(L"%s %d 1200a9 %d 3", names[i].c_str(), TRUSTEE_IS_NAME, GRANT_ACCESS));
    }
}

TEST(MergeDacl, Cases)
{
    qxtest::TempDir dir;
    std::unique_ptr<qxtest::AclStore> store;
    cases::Run("acl.txt", {{"merge", [&](const cases::Args& a) {
        if (a[0] != L"=") store.reset(), store = std::make_unique<qxtest::AclStore>();
        store->failInfoCall = std::stoi(a[3]);
        store->failSet = std::stoul(a[4]);
        qxtest::Session s;
        std::wstring r = std::to_wstring(msiu::RunAction(s.Handle(), L"Acl", false, [&] {
            msiu::ExplicitAccessList list;
            if (!a[2].empty()) list.Add(a[2], 0x1F01FF, GRANT_ACCESS, 3);
            msiu::MergeDacl(dir.File(a[1]), SE_FILE_OBJECT, list, a[5] == L"1");
        }));
        for (const auto& line : s.capture.Texts(0)) r += L" | " + line;
        r += msiu::Format(L" | reads %u writes %u", static_cast<unsigned>(store->reads.size()), static_cast<unsigned>(store->writes.size()));
        const auto& w = store->writes;
        if (!w.empty()) {
            // The directory's own entries stay beside the new one: none of Wine's made-up ones is lost.
            size_t kept = 0;
            for (const auto& ace : qxtest::AclStore::Aces(w.back().dacl))
                if (ace == qxtest::AclStore::Ace{L"S-1-1-0", 0x1F01FF, 3}) r += L" | Everyone full";
                else kept += ace.mask != 0;
            r += (w.back().path == dir.File(a[1]) ? L" | of the path" : L" | elsewhere") + std::wstring(kept ? L", its own kept" : L"");
            if (w.size() > 1) r += w.back().dacl == w[w.size() - 2].dacl ? L", as before" : L", changed";
        }
        const std::wstring path = dir.Path().substr(0, dir.Path().size() - 1);
        for (size_t at; (at = r.find(path)) != std::wstring::npos;) r.replace(at, path.size(), L"<dir>");
        return r;
    }}});
}

}  // namespace
