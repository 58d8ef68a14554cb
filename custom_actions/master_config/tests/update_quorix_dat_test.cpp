// UpdateQuorixDat in costed installer sessions and its execute phase on real
// files, from update_quorix_dat.txt (the merge itself is the library's).
#include "qxtest/kit.h"
#include "test_machine.h"

#include <filesystem>

#include "master_config/master_config.h"
#include "msiu/error.h"

using namespace quorix::master_config;

namespace {

TEST(UpdateQuorixDat, EachCaseOfUpdateQuorixDatTxt)
{
    const std::wstring file = qxtest::SourceDir() + L"\\custom_actions\\master_config\\tests\\update_quorix_dat.txt";
    qxkit::Lines rows = qxkit::Scheduled(L"UpdateQuorixDat");
    for (const std::wstring f : {L"ApacheWeb", L"SwissProt"}) {
        rows.push_back(qxkit::Row(L"Component", L"'C_" + f + L"', '{5A2D4E6F-1A3B-4C5D-9E8F-A0B1C2D3E4" +
                                                    (f[0] == L'A' ? L"01" : L"02") + L"}', 'TARGETDIR', 0, ''"));
        rows.push_back(qxkit::Row(L"FeatureComponents", L"'" + f + L"', 'C_" + f + L"'"));
    }
    for (const qxkit::Case& c : qxkit::ReadCases(file)) {
        qxtestfiles::test_machine machine;
        orvane::qx_machine::replace(&machine);
        qxtest::TempDir dir;
        const std::map<std::string, std::string> fill = {{"$D\\", qxkit::N(dir.Path())}, {"$PKG", QX_PACKAGE_DIR}};
        const auto filled = [&](std::string line, bool back) {
            for (const auto& [key, value] : fill)
                for (size_t at; (at = line.find(back ? value : key)) != std::string::npos;)
                    line.replace(at, (back ? value : key).size(), back ? key : value);
            return line;
        };
        std::map<std::string, std::string> given;  // name: what the file held before
        std::vector<std::string> got, fields;
        for (const std::string& raw : c.in) {
            const std::string line = filled(raw, false), arg = line.substr(line.find(' ') + 1);
            const std::string name = arg.substr(0, arg.find('=')), value = arg.substr(arg.find('=') + 1);
            if (line.rfind("file ", 0) == 0) {
                std::string text = value[0] == '@' ? qxtest::ReadFileBytes(qxtest::SourceDir() + L"\\" + qxkit::W(value.substr(1))) : value;
                for (size_t at; (at = text.find("<LF>")) != std::string::npos;) text.replace(at, 4, "\n");
                qxtest::WriteFileBytes(dir.File(qxkit::W(name)), given[name] = text);
            }
            if (line.rfind("rules ", 0) == 0) {  // a PARSE section of that many rules
                std::string rules = "PARSE\n";
                for (int r = 1; r <= std::stoi(arg); ++r) rules += "RULE_" + std::to_string(r) + "\t\"r" + std::to_string(r) + "\\(.*\\)\"\n";
                qxtest::WriteFileBytes(dir.File(L"quorix.dat"), given["quorix.dat"] += rules + "end\n");
            }
            machine.nameFails = machine.nameFails || line == "nohost";
            if (line.rfind("fields ", 0) == 0) {
                std::istringstream split(arg + "|");
                for (std::string f; std::getline(split, f, '|');) fields.push_back(f);
            }
            if (line.rfind("group ", 0) == 0) try {
                got.push_back("group " + qxkit::N(LocalGroupName(std::stoul(arg))));
            } catch (const msiu::MSIError& e) {
                got.push_back("group refused: " + qxkit::N(e.Text()) + " (" + std::to_string(e.Code() & 0xFFFF) + ")");
            }
        }
        if (!fields.empty()) {
            std::vector<std::wstring> wide;
            for (const auto& f : fields) wide.push_back(qxkit::W(f));
            got = qxkit::Transcript(qxkit::InFrame(L"UpdateQuorixDatDeferred", [&] { WriteQuorixDat(wide); }));
        }
        std::vector<std::string> in;
        for (const auto& line : c.in) in.push_back(filled(line, false));
        if (std::count(c.in.begin(), c.in.end(), "costed"))
            got = qxkit::RunActions({c.name, in, {}}, rows);
        // What the folder holds afterwards: a file as some file was before, as a
        // golden file of the merge's tests, or the lines asked for with "grep".
        for (const auto& e : std::filesystem::directory_iterator(dir.Path())) {
            const auto read = [](const std::wstring& path) {
                std::string text = qxtest::ReadFileBytes(path);
                text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
                return text;
            };
            const std::string name = e.path().filename().string(), text = read(e.path().wstring());
            std::string as = " is new";
            for (const auto& [was, before] : given)
                if (qxtest::ReadFileBytes(e.path().wstring()) == before) as = " = " + was + " as it was";
            for (const auto& line : c.in)
                if (line.rfind("golden ", 0) == 0 && text == read(qxtest::SourceDir() + L"\\" + qxkit::W(line.substr(7))))
                    as = " = " + line.substr(7);
            got.push_back(name + as);
            std::istringstream lines(text);
            for (std::string l; std::getline(lines, l);)
                for (const auto& line : c.in)
                    if (line.rfind("grep ", 0) == 0 && l.find(line.substr(5)) != std::string::npos) got.push_back(name + ": " + l);
        }
        for (auto& line : got) line = filled(line, true);
        qxkit::ExpectCase(file, c, got);
        orvane::qx_machine::replace(nullptr);
    }
}

}  // namespace
