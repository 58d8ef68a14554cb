// An install can die at any moment: power, a killed process, a crashed host.
// For each file we rewrite by transaction, a phase is stopped before one of
// its file operations, with the input of that operation torn or not, and the
// phase the installer runs next is then run from what was on disk there. The
// table of interruption points and what each leaves is
// tests/interruption/points.txt.
#include <windows.h>
#include <msi.h>

#include "../../common/src/msi_utils/tests/cases.h"
#include "msiu/deferred.h"
#include "msiu/files.h"

extern "C" UINT __stdcall CreateApacheConfDeferred(MSIHANDLE);
extern "C" UINT __stdcall UpdateHtDigConfDeferred(MSIHANDLE);
extern "C" UINT __stdcall UpdateQuorixDatDeferred(MSIHANDLE);

namespace {

using Action = UINT(__stdcall*)(MSIHANDLE);
const std::wstring kPackage = L"" QX_PACKAGE_DIR;
using msiu::Phase;

struct Subject {
    std::wstring name;
    Action action;
    const wchar_t* file;
    std::string original;  // empty: a first install, no F before
    std::function<std::wstring(const std::wstring& target)> data;
};

const Subject& Find(const std::wstring& name)
{
    const auto apache = [](const std::wstring& t) { return L"1.0|" + t + L"|C:\\q\\cgi\\|C:\\q\\x\\|C:\\q\\h\\|quorix"; };
    const auto htdig = [](const std::wstring& t) { return t + L"|C:\\Quorix\\help\\db|http://qxhost/quorix"; };
    const auto dat = [](const std::wstring& t) {
        return msiu::JoinFields({kPackage + L"/not.quorix.dat", t, L"C:\\Quorix\\", L"http://qxhost/quorix/", L"D:\\seq\\", L"0",
                                 L"0", L"Users", L"Administrators", L"136", L"0"});
    };
    static const std::vector<Subject> all{
        {L"httpd_conf_first_install", CreateApacheConfDeferred, L"httpd.conf", "", apache},
        {L"httpd_conf_upgrade", CreateApacheConfDeferred, L"httpd.conf", "# the administrator's fragment\n", apache},
        {L"htdig_conf", UpdateHtDigConfDeferred, L"htdig.conf",
         "# help search\r\ndatabase_dir:\t/old/db\r\nstart_url:\thttp://old/home.html\r\nmaxhops: 4\r\n", htdig},
        {L"quorix_dat_first_install", UpdateQuorixDatDeferred, L"quorix.dat", "", dat},
        {L"quorix_dat_upgrade", UpdateQuorixDatDeferred, L"quorix.dat", qxtest::ReadFileBytes(kPackage + L"/not.quorix.dat"), dat},
    };
    return *std::find_if(all.begin(), all.end(), [&](const Subject& s) { return s.name == name; });
}

UINT RunPhase(const Subject& s, Phase phase, const std::wstring& target)
{
    qxtest::Session session(qxtest::Props{{L"CustomActionData", s.data(target)}});
    msiu::detail::SetPhaseOverride(phase);
    const UINT result = s.action(session.Handle());
    msiu::detail::SetPhaseOverride(Phase::None);
    return result;
}

// A phase stopped before its N-th file operation: what was on disk there, as
// a killed process would leave it (the operation, and a name's content or
// nothing). The phase itself runs on; the test puts that state back after it.
struct Stop {
    int at = 0;
    std::wstring step;
    std::vector<std::wstring> names;
    std::vector<std::pair<bool, std::string>> disk;
} g_stop;

void Snapshot(const wchar_t* operation, const std::wstring& path)
{
    if (--g_stop.at != 0) return;
    g_stop.step = operation + (L" " + path);
    for (const auto& name : g_stop.names) g_stop.disk.push_back({qxtest::Exists(name), qxtest::Exists(name) ? qxtest::ReadFileBytes(name) : ""});
}

TEST(Interruption, EachPointEndsInTheOldOrTheNewFileWhole)
{
    cases::Run("tests/interruption/points.txt", {{"kill", [](const cases::Args& a) {
        const Subject& s = Find(a[0]);
        const Phase phase = a[1] == L"execute" ? Phase::Execute : a[1] == L"commit" ? Phase::Commit : Phase::Rollback;
        qxtest::TempDir dir;
        const msiu::FileTransaction t(dir.File(s.file));
        const std::wstring files[] = {t.Target(), t.Temp(), t.Backup(), t.Staging(), t.Temp() + L".part"};
        const auto prepare = [&] {
            for (const std::wstring& name : files) DeleteFileW(name.c_str());
            if (!s.original.empty()) qxtest::WriteFileBytes(t.Target(), s.original);
        };
        // The new file as an execute that is never interrupted writes it.
        prepare();
        std::wstring r = RunPhase(s, Phase::Execute, t.Target()) ? L"execute failed " : L"";
        const std::string fresh = qxtest::ReadFileBytes(t.Target());
        // F T B N P with their contents: the old file, the new one, or neither whole.
        const auto onDisk = [&](UINT result) {
            std::wstring out = std::to_wstring(result);
            for (int i = 0; i < 5; ++i) {
                const std::string bytes = qxtest::Exists(files[i]) ? qxtest::ReadFileBytes(files[i]) : "-";
                out += std::wstring(L" ") + L"FTBNP"[i] + L"=" + (bytes == "-" ? L"-" : bytes == s.original ? L"old" : bytes == fresh ? L"new" : L"torn");
            }
            return out;
        };
        if (phase == Phase::Execute) prepare();
        g_stop = Stop{std::stoi(a[2]), L"", {files, files + 5}, {}};
        msiu::detail::SetFileStepHook(&Snapshot);
        const UINT finished = RunPhase(s, phase, t.Target());
        msiu::detail::SetFileStepHook(nullptr);
        for (size_t i = 0; i < g_stop.disk.size(); ++i)
            if (DeleteFileW(files[i].c_str()), g_stop.disk[i].first) qxtest::WriteFileBytes(files[i], g_stop.disk[i].second);
        std::wstring step = g_stop.step;
        for (size_t at; (at = step.find(dir.Path())) != std::wstring::npos;) step.erase(at, dir.Path().size());
        // A crash in the middle of writing the file the operation would put in place leaves it torn.
        const std::wstring torn = step.rfind(L"rename ", 0) == 0 ? files[4] : step.rfind(L"replace ", 0) == 0 ? files[3] : L"";
        if (a[3] == L"torn" && qxtest::Exists(torn)) {
            const std::string bytes = qxtest::ReadFileBytes(torn);
            qxtest::WriteFileBytes(torn, bytes.substr(0, bytes.size() / 2));
        }
        r += (step.empty() ? L"" : L"killed before " + step + L" ") + onDisk(step.empty() ? finished : 0);
        // Rollback after an interrupted execute; an interrupted commit or rollback runs again.
        r += L" | next " + onDisk(RunPhase(s, phase == Phase::Execute ? Phase::Rollback : phase, t.Target()));
        // The install tried again goes through as if nothing had happened.
        const UINT again = RunPhase(s, Phase::Execute, t.Target());
        return r + L" | again " + onDisk(again + RunPhase(s, Phase::Commit, t.Target()));
    }}});
}

}  // namespace
