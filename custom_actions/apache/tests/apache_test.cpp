// The fragment's text, and the deferred function's failure and rollback in
// real installer sessions (the scheduling is in testing/kit/schedule.txt).
#include <gtest/gtest.h>

#include "apache/apache_conf.h"
#include "msiu/deferred.h"
#include "msiu/files.h"
#include "qxtest/session.h"

extern "C" UINT __stdcall CreateApacheConfDeferred(MSIHANDLE session);

namespace {

TEST(Fragment, PathsAndWebPathLandWhereTheyBelong)
{
    EXPECT_EQ(quorix::apache::BuildFragment({"4.2.1", "C:/Srv/cgi/", "C:/Srv/x cgi/", "D:/html", "qx"}),
              qxtest::ReadFileBytes(qxtest::SourceDir() + L"\\custom_actions\\apache\\tests\\golden\\fragment.conf"));
}

// The phases are run here one at a time, as the install script would run
// them. F turns read-only, or another program opens it, after the old file
// was saved and just before the new one replaces it (a read-only or locked F
// found at the start is refused before anything changes); or a name is
// planted at N as T is put in place, after the clean-up, and is neither
// written nor removed.
enum Spoil { readOnly, held, planted };
HANDLE gHolder = INVALID_HANDLE_VALUE;
Spoil gSpoil = readOnly;
std::wstring gTarget;

void SpoilTargetBeforeReplace(const wchar_t* operation, const std::wstring& path)
{
    const std::wstring op = operation;
    if (gSpoil == planted && op == L"rename" && path == gTarget + L".tmp") qxtest::WriteFileBytes(gTarget + L".new", "planted");
    if (op == L"replace" && path == gTarget && gSpoil == readOnly) SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
    else if (op == L"replace" && path == gTarget)
        gHolder = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
}

TEST(CreateApacheConfDeferred, UnwritableFileFailsAndRollbackPutsTheOldOneBack)
{
    const std::string old = "# the administrator's fragment\r\n";
    for (const Spoil spoil : {readOnly, held, planted}) {
        qxtest::TempDir dir;
        const std::wstring F = gTarget = dir.File(L"httpd.conf");
        qxtest::WriteFileBytes(F, old);
        gSpoil = spoil;
        msiu::detail::SetFileStepHook(SpoilTargetBeforeReplace);
        qxtest::Session s(qxtest::Props{{L"CustomActionData", L"1.0|" + F + L"|C:\\a\\|C:\\b\\|C:\\c\\|q"}});
        msiu::detail::SetPhaseOverride(msiu::Phase::Execute);
        EXPECT_EQ(CreateApacheConfDeferred(s.Handle()), 1603u);
        msiu::detail::SetFileStepHook(nullptr);
        EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{L"CreateApacheConfDeferred:  Unable to write httpd.conf "
                                                                L"file: " + F + L"  (0x80004005)"})
            << spoil;
        EXPECT_TRUE(qxtest::Exists(F + L".tmp"));
        if (spoil == planted) {
            EXPECT_EQ(qxtest::ReadFileBytes(F + L".new"), "planted");
        }
        if (gHolder != INVALID_HANDLE_VALUE) CloseHandle(gHolder);
        gHolder = INVALID_HANDLE_VALUE;

        msiu::detail::SetPhaseOverride(msiu::Phase::Rollback);
        EXPECT_EQ(CreateApacheConfDeferred(s.Handle()), 0u) << spoil;
        msiu::detail::SetPhaseOverride(msiu::Phase::None);
        EXPECT_EQ(qxtest::ReadFileBytes(F), old);
        EXPECT_FALSE(qxtest::Exists(F + L".tmp"));
        EXPECT_FALSE(qxtest::Exists(F + L".new"));
        SetFileAttributesW(F.c_str(), FILE_ATTRIBUTE_NORMAL);
    }
}

}  // namespace
