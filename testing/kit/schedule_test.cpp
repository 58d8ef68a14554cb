// Every action that schedules deferred work, from schedule.txt: the fields it
// packs for each scheduled name, the properties it requires in the order it
// reads them, that its deferred function takes exactly that many fields, and that outside
// the install script the deferred function does nothing.
#include "qxtest/kit.h"

#include <filesystem>

using namespace qxkit;

namespace {

std::wstring Sub(std::string text, const std::wstring& dir)  // $T: a fresh temporary folder
{
    std::wstring w = W(text);
    for (size_t at; (at = w.find(L"$T")) != std::wstring::npos;) w.replace(at, 2, dir.substr(0, dir.size() - 1));
    return w;
}

TEST(Scheduling, EveryActionOfTheTable)
{
    for (const Case& c : ReadCases(qxtest::SourceDir() + L"\\testing\\kit\\schedule.txt")) {
        SCOPED_TRACE(c.name);
        qxtest::TempDir dir;
        const std::string action = c.name.substr(0, c.name.find(' ')), deferred = action + "Deferred";
        qxtest::Props props;
        Lines rows, phases, required;
        std::string outside;
        for (const std::string& line : c.in) {
            if (line.empty()) continue;
            std::string key = line.substr(0, line.find(' ')), rest = line.substr(key.size() + 1);
            if (key == "prop") props.push_back({W(rest.substr(0, rest.find('='))), Sub(rest.substr(rest.find('=') + 1), dir.Path())});
            else if (key == "sql") rows.push_back(W(rest));
            else if (key == "outside") outside = rest;
            for (std::istringstream list(rest); (key == "names" || key == "required") && list >> rest;)
                (key == "names" ? phases : required).push_back(W(rest));
        }
        const Lines sched = Scheduled(W(action), phases);
        rows.insert(rows.end(), sched.begin(), sched.end());
        const std::wstring data = Sub(c.expect.at(0), dir.Path()), first = W(action) + phases.at(0);
        {
            CostedSession s(props, rows);
            const Frame f = Call(action.c_str(), s);
            EXPECT_EQ(f.result, 0u) << Diff(Lines{}, f.fatal);
            for (const auto& p : phases) EXPECT_EQ(s.Property(W(action) + p), data) << N(p);
        }
        for (size_t k = 0; k < required.size(); ++k) {
            CostedSession s(props, rows);
            for (size_t j = k; j < required.size(); ++j) s.SetProperty(required[j], L"");
            const Frame f = Call(action.c_str(), s);
            EXPECT_EQ(f.result, 1603u);
            EXPECT_EQ(f.fatal, Lines{W(action) + L":  Property \"" + required[k] + L"\" does not exist  (0x80070057)"});
            EXPECT_EQ(s.Property(first), L"");
        }
        {
            CostedSession s(props, Lines(rows.begin(), rows.end() - sched.size()));
            const Frame f = Call(action.c_str(), s);
            EXPECT_EQ(f.result, 1603u) << "without its scheduled names";
            ASSERT_EQ(f.fatal.size(), 1u);
            EXPECT_EQ(f.fatal[0].rfind(W(action) + L":  Failed to schedule deferred CA: " + first + L"  (0x8007", 0), 0u)
                << N(f.fatal[0]);
        }
        for (const std::wstring& bad : {data.substr(0, data.rfind(L'|')), data + L"|x"}) {  // a field less, one more
            qxtest::Session s({{L"CustomActionData", bad}});
            const Frame f = Call(deferred.c_str(), s);
            EXPECT_EQ(f.result, 1603u) << N(bad);
            EXPECT_EQ(f.fatal, Lines{W(deferred) + L":  Missing or incomplete CA data  (0x80070057)"});
        }
        if (outside.empty()) continue;
        qxtest::Session s({{L"CustomActionData", Sub(outside, dir.Path())}});
        const Frame f = Call(deferred.c_str(), s);
        EXPECT_EQ(f.result, 0u) << Diff(Lines{}, f.fatal);
        EXPECT_TRUE(f.fatal.empty() && f.warnings.empty());
        EXPECT_TRUE(std::filesystem::is_empty(dir.Path())) << "outside the install script nothing is written";
    }
}

}  // namespace
