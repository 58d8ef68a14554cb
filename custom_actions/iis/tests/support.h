// What the IIS action tests share: the emulator registered for the test,
// with COM on the thread, and sessions with the web server features.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "atlu/runtime.h"
#include "qxtest/metabase.h"
#include "qxtest/session.h"

namespace iistest {

std::string N(const std::wstring& w);

class WithMetabase : public ::testing::Test {
protected:
    atlutils::ComRuntime com_;
    qxtest::TempDir dir_;
    qxtest::MetabaseEmulator emulator_{dir_.File(L"metabase.txt")};
    void Use(const std::string& text) { emulator_.Reset(text); }
};

// Tables for a feature IISWeb (installed at level 1, absent at 200) with one
// component, QuorixWebSiteIIS, and the scheduled name of the deferred action.
std::vector<std::wstring> PackageTables(bool iisSelected);

// A session costed, so that feature and component states are known.
class CostedSession : public qxtest::Session {
public:
    CostedSession(const qxtest::Props& props, bool iisSelected);
};

}  // namespace iistest
