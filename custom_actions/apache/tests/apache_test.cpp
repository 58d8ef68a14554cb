// CreateApacheConf and its deferred function, called through the DLL's
// exports on real installer sessions, and the fragment's text.
#include <gtest/gtest.h>

#include "apache/apache_conf.h"
#include "msiu/deferred.h"
#include "msiu/files.h"
#include "qxtest/session.h"

extern "C" UINT __stdcall CreateApacheConfDeferred(MSIHANDLE session);

namespace {

TEST(Fragment, PathsAndWebPathLandWhereTheyBelong)
{
    const std::string text = quorix::apache::BuildFragment({"4.2.1", "C:/Srv/cgi/", "C:/Srv/x cgi/", "D:/html", "qx"});
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t nl; (nl = text.find('\n', start)) != std::string::npos; start = nl + 1)
        lines.push_back(text.substr(start, nl - start));
    ASSERT_EQ(start, text.size()) << "the text ends behind the last line's end";
    ASSERT_EQ(lines.size(), 29u);
    const std::pair<int, std::string> expected[] = {
        {1, "### "},
        {3, "### Lines written by Quorix installation version 4.2.1"},
        {4, "<Directory C:/Srv/cgi/>"},
        {10, "ScriptAlias /qx/cgi C:/Srv/cgi/"},
        {11, ""},
        {12, "<Directory C:/Srv/x cgi/>"},
        {18, "ScriptAlias /qx/x-cgi C:/Srv/x cgi/"},
        {19, ""},
        {20, "<Directory D:/html>"},
        {26, "Alias /qx D:/html"},
        {27, ""},
        {28, ""},
        {29, "ScriptInterpreterSource Registry"},
    };
    for (const auto& e : expected) EXPECT_EQ(lines[e.first - 1], e.second) << "line " << e.first;
    for (int block : {5, 13, 21}) {
        EXPECT_EQ(lines[block - 1], "  AllowOverride None");
        EXPECT_EQ(lines[block], "  Options None");
        EXPECT_EQ(lines[block + 1], "  Order allow,deny");
        EXPECT_EQ(lines[block + 2], "  Allow from all");
        EXPECT_EQ(lines[block + 3], "</Directory>");
    }
}

const qxtest::Props kAll = {
    {L"QuorixConfigDir", L"C:\\Srv\\config\\"}, {L"QUORIX_APACHE_WEB_VDIR", L"quorix"},
    {L"QuorixHTMLDir", L"C:\\Srv\\html\\"},     {L"QuorixXCGIDir", L"C:\\Srv\\x-cgi\\"},
    {L"QuorixCGIDir", L"C:\\Srv\\cgi\\"},
};

// The three scheduled names, as a package defines them.
const std::vector<std::wstring> kTriple = {
    L"CREATE TABLE `CustomAction` (`Action` CHAR(72) NOT NULL, `Type` SHORT NOT NULL, `Source` CHAR(72), "
    L"`Target` CHAR(255), `ExtendedType` LONG PRIMARY KEY `Action`)",
    L"CREATE TABLE `Binary` (`Name` CHAR(72) NOT NULL, `Data` OBJECT NOT NULL PRIMARY KEY `Name`)",
    L"INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) VALUES "
    L"('CreateApacheConfRollback', 3329, 'QuorixCA', 'CreateApacheConfDeferred')",
    L"INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) VALUES "
    L"('CreateApacheConfExec', 3073, 'QuorixCA', 'CreateApacheConfDeferred')",
    L"INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) VALUES "
    L"('CreateApacheConfCommit', 3585, 'QuorixCA', 'CreateApacheConfDeferred')",
};

TEST(CreateApacheConf, PacksSixFieldsForAllThreeScheduledNames)
{
    qxtest::Session s(kAll, kTriple);
    ASSERT_EQ(qxtest::Action("CreateApacheConf")(s.Handle()), 0u);
    EXPECT_TRUE(s.capture.Texts(0).empty());
    const std::wstring data = L"1.0.0|C:\\Srv\\config\\httpd.conf|C:\\Srv\\cgi\\|C:\\Srv\\x-cgi\\|C:\\Srv\\html\\|quorix";
    for (const wchar_t* name : {L"CreateApacheConfRollback", L"CreateApacheConfExec", L"CreateApacheConfCommit"})
        EXPECT_EQ(s.Property(name), data);
}

TEST(CreateApacheConf, EachMissingPropertyFailsTheInstallByName)
{
    // Checked in this order, so that the first missing one is the one told.
    const wchar_t* order[] = {L"QUORIX_APACHE_WEB_VDIR", L"QuorixHTMLDir", L"QuorixXCGIDir", L"QuorixCGIDir",
                              L"ProductVersion"};
    for (size_t missing = 0; missing < 5; ++missing) {
        qxtest::Session s(kAll, kTriple);
        for (size_t k = missing; k < 5; ++k) s.SetProperty(order[k], L"");
        EXPECT_EQ(qxtest::Action("CreateApacheConf")(s.Handle()), 1603u);
        EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{std::wstring(L"CreateApacheConf:  Property \"") +
                                                                order[missing] +
                                                                L"\" does not exist  (0x80070057)"});
        EXPECT_EQ(s.Property(L"CreateApacheConfExec"), L"");
    }
}

TEST(CreateApacheConf, WithoutTheScheduledActionsTheSchedulingFails)
{
    qxtest::Session s(kAll);
    EXPECT_EQ(qxtest::Action("CreateApacheConf")(s.Handle()), 1603u);
    const auto fatal = s.capture.Texts(0);
    ASSERT_EQ(fatal.size(), 1u);
    EXPECT_EQ(fatal[0].rfind(L"CreateApacheConf:  Failed to schedule deferred CA: CreateApacheConfRollback  (0x8007", 0),
              0u);
}

TEST(CreateApacheConfDeferred, DataMustHaveExactlySixFields)
{
    qxtest::TempDir dir;
    const std::wstring F = dir.File(L"httpd.conf");
    const std::wstring six = L"1.0|" + F + L"|C:\\a\\|C:\\b\\|C:\\c\\|q";
    const std::pair<std::wstring, UINT> cases[] = {
        {six, 0u},
        {six + L"|extra", 1603u},
        {L"1.0|" + F + L"|C:\\a\\|C:\\b\\|C:\\c\\", 1603u},
    };
    for (const auto& c : cases) {
        qxtest::Session s(qxtest::Props{{L"CustomActionData", c.first}});
        EXPECT_EQ(qxtest::Action("CreateApacheConfDeferred")(s.Handle()), c.second);
        if (c.second)
            EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{
                                              L"CreateApacheConfDeferred:  Missing or incomplete CA data  (0x80070057)"});
        // Outside the install script no phase runs: nothing is written.
        EXPECT_FALSE(qxtest::Exists(F));
    }
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
    if (gSpoil == planted && std::wstring(operation) == L"rename" && path == gTarget + L".tmp")
        qxtest::WriteFileBytes(gTarget + L".new", "planted");
    if (std::wstring(operation) != L"replace" || path != gTarget) return;
    if (gSpoil == readOnly)
        SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
    else
        gHolder = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
}

TEST(CreateApacheConfDeferred, UnwritableFileFailsAndRollbackPutsTheOldOneBack)
{
    const std::string old = "# the administrator's fragment\r\n";
    for (const Spoil spoil : {readOnly, held, planted}) {
        qxtest::TempDir dir;
        const std::wstring F = dir.File(L"httpd.conf");
        qxtest::WriteFileBytes(F, old);
        gSpoil = spoil;
        gTarget = F;
        msiu::detail::SetFileStepHook(SpoilTargetBeforeReplace);
        HANDLE& holder = gHolder;
        qxtest::Session s(qxtest::Props{{L"CustomActionData", L"1.0|" + F + L"|C:\\a\\|C:\\b\\|C:\\c\\|q"}});
        msiu::detail::SetPhaseOverride(msiu::Phase::Execute);
        EXPECT_EQ(CreateApacheConfDeferred(s.Handle()), 1603u);
        msiu::detail::SetFileStepHook(nullptr);
        EXPECT_EQ(s.capture.Texts(0), std::vector<std::wstring>{L"CreateApacheConfDeferred:  Unable to write httpd.conf "
                                                                L"file: " + F + L"  (0x80004005)"})
            << spoil;
        EXPECT_TRUE(qxtest::Exists(F + L".tmp"));
        if (spoil == planted) EXPECT_EQ(qxtest::ReadFileBytes(F + L".new"), "planted");
        if (holder != INVALID_HANDLE_VALUE) CloseHandle(holder);
        holder = INVALID_HANDLE_VALUE;

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
