// DetectLegacyUpgrade and SetNewLegacyPathProps on real sessions, from
// legacy.txt, and the URL split behind them, from url.txt.
#include "atlu/runtime.h"
#include "atlu/url.h"
#include "qxtest/kit.h"
#include "qxtest/metabase.h"

namespace {

const std::wstring kDir = qxtest::SourceDir() + L"\\custom_actions\\legacy\\tests\\";

TEST(LegacyActions, EachCaseOfLegacyTxt)
{
    atlutils::ComRuntime com{COINIT_APARTMENTTHREADED};
    for (const qxkit::Case& c : qxkit::ReadCases(kDir + L"legacy.txt")) {
        qxtest::TempDir dir;
        std::string metabase;
        for (const auto& line : c.in)
            if (line.rfind("metabase ", 0) == 0) metabase += line.substr(9) + "\n";
        std::unique_ptr<qxtest::MetabaseEmulator> iis;
        if (!metabase.empty()) iis.reset(new qxtest::MetabaseEmulator(dir.File(L"metabase.txt")));
        if (iis) iis->Reset(metabase);
        qxkit::ExpectCase(kDir + L"legacy.txt", c, qxkit::RunActions(c));
    }
}

TEST(CrackUrl, EachCaseOfUrlTxt)
{
    for (const qxkit::Case& c : qxkit::ReadCases(kDir + L"url.txt")) {
        atlutils::UrlParts p;
        p.host = L"stale";
        const bool ok = atlutils::CrackUrl(qxkit::W(c.in.at(0)), p);
        qxkit::ExpectCase(kDir + L"url.txt", c, {std::to_string(ok) + "|" + qxkit::N(p.scheme) + "|" + qxkit::N(p.host) + "|" +
                                         qxkit::N(p.path) + "|" + qxkit::N(p.extra) + "|" + std::to_string(p.port)});
    }
}

}  // namespace
