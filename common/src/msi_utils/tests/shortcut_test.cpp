// One Internet shortcut: Wine's own shortcut object, which has no
// IShellLinkW, shows the failure path; the stand-in class, registered for
// the same class id, shows the file that is written and the failures of the
// single steps. The cases are in cases/shortcut.txt.
#include <objbase.h>

#include <memory>
#include <thread>

#include "cases.h"
#include "msiu/session.h"
#include "msiu/shortcut.h"
#include "qxtest/standins.h"

namespace {

TEST(UrlShortcut, Cases)
{
    qxtest::TempDir dir;
    // object | x's in the file before | file | url | description ("d1024": 1024 d's) | COM started => the
    // result, every line, the file after; made on a fresh thread: no COM unless the case starts it.
    cases::Run("shortcut.txt", {{"url", [&](const cases::Args& a) {
        std::unique_ptr<qxtest::ShortcutClassLock> wine(a[0] == L"wine" ? new qxtest::ShortcutClassLock : nullptr);
        std::unique_ptr<qxtest::ShortcutStandIn> standIn(a[0] == L"wine" ? nullptr : new qxtest::ShortcutStandIn);
        const std::wstring path = dir.File(a[2]), description = a[4] == L"d1024" ? std::wstring(1024, L'd') : a[4];
        if (a[1] != L"0") qxtest::WriteFileBytes(path, std::string(std::stoi(a[1]), 'x'));
        std::wstring r;
        std::thread([&] {
            qxtest::Session s;
            r = std::to_wstring(msiu::RunAction(s.Handle(), L"Url", false, [&] {
                if (a[5] == L"1") CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
                struct Uninit {
                    bool on;
                    ~Uninit() { if (on) CoUninitialize(); }
                } uninit{a[5] == L"1"};
                msiu::CreateURLShortcut(path, a[3], description);
            }));
            for (const auto& m : s.capture.messages) r += L" | " + m.text;
        }).join();
        r += L" | file " + (qxtest::Exists(path) ? cases::Escaped(cases::W(qxtest::ReadFileBytes(path))) : L"-");
        DeleteFileW(path.c_str());
        for (size_t at; (at = r.find(dir.Path())) != std::wstring::npos;) r.replace(at, dir.Path().size(), L"<dir>\\");
        return r;
    }}});
}

}  // namespace
