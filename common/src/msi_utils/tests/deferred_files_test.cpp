// CustomActionData splitting, the deferred frame's field count, the file
// operations and the .tmp/.bak transaction. The tables are in cases/deferred.txt.
#include "cases.h"
#include "msiu/deferred.h"
#include "msiu/files.h"
#include "msiu/session.h"

namespace {

using cases::Args;

// Runs body in action T of the session: the result, then every message.
template <class Body>
std::wstring InFrame(qxtest::Session& s, Body body)
{
    s.capture.messages.clear();
    std::wstring out = std::to_wstring(msiu::RunAction(s.Handle(), L"T", false, body));
    for (const auto& m : s.capture.messages) out += L" | " + m.text;
    return out;
}

std::wstring Content(const std::wstring& path) { return qxtest::Exists(path) ? cases::W(qxtest::ReadFileBytes(path)) : L"-"; }

// What a member of the group that may write F's directory can leave there
// before an install (the trap rows): each execute either goes through
// with its log line or refuses with the file and the reason and changes
// nothing, and the next install (the trap gone) goes through.
std::wstring g_linked;  // the name that looks like a link or junction
unsigned long LinkProbe(const wchar_t* path)
{
    const DWORD a = GetFileAttributesW(path);
    if (g_linked != path) return a;
    return (a == INVALID_FILE_ATTRIBUTES ? FILE_ATTRIBUTE_NORMAL : a) | FILE_ATTRIBUTE_REPARSE_POINT;
}

TEST(Deferred, Cases)
{
    msiu::detail::SetAttributeProbe(&LinkProbe);
    qxtest::TempDir dir;
    const std::wstring F = dir.File(L"httpd.conf");
    cases::Run("deferred.txt", {
        // split | text | separator, with <t> <r> <n> for tab, CR and LF => [field]...
        {"split", [](const Args& a) {
             std::wstring text = a[0], out;
             for (auto [from, to] : {std::pair{L"<t>", L"\t"}, {L"<r>", L"\r"}, {L"<n>", L"\n"}})
                 for (size_t at; (at = text.find(from)) != std::wstring::npos;) text.replace(at, 3, to);
             std::vector<std::wstring> got{L"stale"};
             msiu::SplitFields(text, got, a[1][0]);
             for (const auto& f : got) out += L"[" + f + L"]";
             return out;
         }},
        {"fields", [](const Args& a) {
             qxtest::Session s(qxtest::Props{{L"CustomActionData", a[0]}});
             return InFrame(s, [&] { msiu::GetDeferredFields(std::stoi(a[1])); });
         }},
        {"forward", [](const Args& a) { return msiu::ToForwardSlashes(a[0]); }},
        {"back", [](const Args& a) { return msiu::ToBackSlashes(a[0]); }},
        {"canonical", [](const Args& a) { return msiu::CanonicalPath(a[0]); }},
        // schedule | action | data: outside the script, with no run mode
        {"schedule", [](const Args& a) {
             qxtest::Session s;
             int phase = -1;
             const std::wstring r = InFrame(s, [&] { phase = static_cast<int>(msiu::CurrentPhase()); msiu::ScheduleDeferredAction(a[0], a[1]); });
             return r + L" | phase " + std::to_wstring(phase);
         }},
        {"tempfile", [](const Args&) {
             const std::wstring name = msiu::MakeTempFileName();
             const std::wstring r = cases::B(qxtest::Exists(name)) + cases::B(name.rfind(msiu::GetTempDir(), 0) == 0);
             DeleteFileW(name.c_str());
             return r;
         }},
        {"nospaces", [](const Args& a) {
             qxtest::Session s;
             return InFrame(s, [&] { msiu::CheckPathHasNoSpaces(a[0]); });
         }},
        // file | copy or move | from | to | replace, file | mkdir | directory | tolerate one => the result, its
        // lines, what it gave, the files' contents, with the test's folder as <dir>
        {"file", [&](const Args& a) {
             qxtest::Session s;
             const std::wstring from = dir.File(a[1]), to = dir.File(a[2]), path = dir.Path().substr(0, dir.Path().size() - 1);
             long gave = 0;
             std::wstring r = InFrame(s, [&] {
                 if (a[0] == L"copy") msiu::CopyFileTo(from, to, a[3] == L"1");
                 if (a[0] == L"move") msiu::MoveFileTo(from, to, a[3] == L"1");
                 if (a[0] == L"mkdir") gave = msiu::MakeDirectory(from, a[2] == L"1");
                 if (a[0] == L"write") qxtest::WriteFileBytes(from, cases::N(a[2]));
             });
             r += L" | gave " + std::to_wstring(gave);
             if (a[0] != L"mkdir") r += L" | " + Content(from) + L" " + Content(to);
             for (size_t at; (at = r.find(path)) != std::wstring::npos;) r.replace(at, path.size(), L"<dir>");
             return r;
         }},
        // interrupted | F | T | B | N | P | phase: the phase alone over what an interrupted execute left
        // => the result and its lines, then F, T, B, N and P after it
        {"interrupted", [&](const Args& a) {
             msiu::FileTransaction tx(F);
             const std::wstring files[] = {F, tx.Temp(), tx.Backup(), tx.Staging(), tx.Temp() + L".part"};
             for (int i = 0; i < 5; ++i)
                 if (DeleteFileW(files[i].c_str()), a[i] != L"-") qxtest::WriteFileBytes(files[i], cases::N(a[i]));
             qxtest::Session s;
             std::wstring r = InFrame(s, [&] { a[5] == L"commit" ? tx.Commit() : tx.Rollback(); });
             for (const auto& f : files) r += L" " + Content(f);
             for (size_t at; (at = r.find(dir.Path())) != std::wstring::npos;) r.replace(at, dir.Path().size(), L"<dir>\\");
             return r;
         }},
        // trap | what | where (see the rows)
        {"trap", [](const Args& a) {
             qxtest::TempDir dir;
             qxtest::Session s;
             const std::wstring F = dir.File(L"httpd.conf");
             msiu::FileTransaction tx(F);
             qxtest::WriteFileBytes(F, "old");
             qxtest::WriteFileBytes(tx.Backup(), "older");
             const std::wstring part = tx.Temp() + L".part";
             const std::wstring name = std::vector<std::wstring>{F, dir.Path().substr(0, dir.Path().size() - 1), tx.Temp(), tx.Staging(), part, tx.Backup()}[std::stoi(a[1])];
             HANDLE lock = INVALID_HANDLE_VALUE;
             if (a[0] == L"link") g_linked = name;
             if ((a[0] == L"link" && a[1] >= L"2") || a[0] == L"stale") qxtest::WriteFileBytes(name, "stale");
             if (a[0] == L"readonly") SetFileAttributesW(name.c_str(), FILE_ATTRIBUTE_READONLY);
             if (a[0] == L"locked") lock = CreateFileW(F.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
             const auto execute = [&] {
                 tx.SaveOriginal();
                 qxtest::WriteFileBytes(tx.Staging(), "new");
                 if (!tx.InstallStaging()) throw 1;
             };
             std::wstring r = InFrame(s, execute);
             if (lock != INVALID_HANDLE_VALUE) CloseHandle(lock);
             r += L" | F=" + Content(F) + L" T=" + Content(tx.Temp());
             g_linked.clear();
             if (r[0] == L'1') {  // the trap gone, the next install goes through
                 SetFileAttributesW(F.c_str(), FILE_ATTRIBUTE_NORMAL);
                 DeleteFileW(tx.Temp().c_str());
                 r += L" | again " + InFrame(s, execute).substr(0, 1);
             }
             r += L" | commit " + InFrame(s, [&] { tx.Commit(); }).substr(0, 1);
             r += L" F=" + Content(F) + L" B=" + Content(tx.Backup()) + (GetFileAttributesW(tx.Backup().c_str()) & FILE_ATTRIBUTE_READONLY ? L" read-only" : L"");
             for (const std::wstring& gone : {tx.Temp(), tx.Staging(), part})
                 if (qxtest::Exists(gone)) r += L" left " + gone;
             const std::wstring path = dir.Path().substr(0, dir.Path().size() - 1);
             for (size_t at; (at = r.find(path)) != std::wstring::npos;) r.replace(at, path.size(), L"<dir>");
             return r;
         }},
    });
    msiu::detail::SetAttributeProbe(nullptr);
}



}  // namespace
