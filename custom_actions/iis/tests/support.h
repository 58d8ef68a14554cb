// What the IIS action tests share: the emulator registered for the test,
// with COM on the thread, and costed sessions with the web server feature.
#pragma once

#include "atlu/runtime.h"
#include "qxtest/kit.h"
#include "qxtest/metabase.h"

namespace iistest {

using qxkit::N;

class WithMetabase : public ::testing::Test {
protected:
    atlutils::ComRuntime com_;
    qxtest::TempDir dir_;
    qxtest::MetabaseEmulator emulator_{dir_.File(L"metabase.txt")};
    void Use(const std::string& text) { emulator_.Reset(text); }
};

// A feature IISWeb (installed at level 1, absent at 200) with the component
// QuorixWebSiteIIS.
struct CostedSession : qxkit::CostedSession {
    CostedSession(const qxtest::Props& props, bool iisSelected)
        : qxkit::CostedSession(props, {qxkit::Row(L"Feature", iisSelected ? L"'IISWeb', 1, 0" : L"'IISWeb', 200, 0"),
                                       qxkit::Row(L"Component", L"'QuorixWebSiteIIS', "
                                                                L"'{7B2E4D61-3C5A-4F8E-9D10-2A6B8C4E1F37}', 'TARGETDIR', 0, ''"),
                                       qxkit::Row(L"FeatureComponents", L"'IISWeb', 'QuorixWebSiteIIS'")})
    {
    }
};

}  // namespace iistest
