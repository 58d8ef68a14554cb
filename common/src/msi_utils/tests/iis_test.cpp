// Metabase access against the metabase emulator: paths, a site's binding, a
// node's script map, the children of a container, finding a site by its
// display name, and the extension record wrappers, each with its failures.
// The cases are in cases/iis.txt.
#include <memory>

#include "atlu/runtime.h"
#include "cases.h"
#include "msiu/iis.h"
#include "qxtest/metabase.h"

namespace {

using cases::Args;
using cases::Outcome;

std::wstring Join(const std::vector<std::wstring>& items)
{
    std::wstring out;
    for (size_t i = 0; i < items.size(); ++i) out += (i ? L" ; " : L"") + items[i];
    return out;
}

TEST(IIS, Cases)
{
    atlutils::ComRuntime com;
    qxtest::TempDir dir;
    auto emulator = std::make_unique<qxtest::MetabaseEmulator>(dir.File(L"metabase.txt"));
    cases::Run("iis.txt", {
        {"site", [](const Args& a) { return Outcome([&] { return msiu::IISSitePath(a[0], a[1]); }); }},
        {"vdir", [](const Args& a) { return Outcome([&] { return msiu::IISVirtualDirPath(a[0], a[1], a[2]); }); }},
        {"service", [](const Args& a) { return msiu::IISServicePath(a[0]); }},
        {"join", [](const Args& a) { return Outcome([&] { return msiu::JoinIISPath(a[0], a[1]); }); }},
        // noprovider | path: the emulator gone, as on a machine without IIS
        {"noprovider", [&](const Args& a) {
             emulator.reset();
             qxtest::MetabaseLock nobodyRegisters;
             return Outcome([&] { msiu::GetIISNode(a[0]); return std::wstring(); });
         }},
        {"metabase", [&](const Args& a) { emulator->Reset(cases::N(a[0])); return std::wstring(); }},
        // binding | site | ssl => address, port, host
        {"binding", [](const Args& a) {
             std::wstring ip = L"x", port = L"x", host = L"x";
             return Outcome([&] {
                 msiu::GetIISSiteBinding(msiu::IISSitePath(a[0], L"localhost"), ip, port, host, a[1] == L"1");
                 return Join({ip, port, host});
             });
         }},
        {"scriptmap", [](const Args& a) {
             return Outcome(
                 [&] { return msiu::GetIISScriptMapTarget(msiu::IISVirtualDirPath(a[0], L"", L"localhost"), a[1]); });
         }},
        // children | container => the names, in order (the list starts with stale entries)
        {"children", [](const Args& a) {
             return Outcome([&] {
                 std::vector<msiu::IADsPtr> list(3);
                 msiu::ListIISChildren(a[0], list);
                 std::vector<std::wstring> names;
                 for (auto& child : list) {
                     atlutils::Bstr name;
                     child->get_Name(name.Put());
                     names.push_back(name.Text());
                 }
                 return Join(names);
             });
         }},
        // find | service path | display name => found, site
        {"find", [](const Args& a) {
             std::wstring site = L"left over";
             const std::wstring r =
                 Outcome([&] { return cases::B(msiu::FindIISSiteByComment(a[0], a[1], site)); });
             return r + L" [" + site + L"]";
         }},
        // extension | add or enable | file => outcome; then the emulator's record list and change log
        {"extension", [&](const Args& a) {
             msiu::IADsPtr node = msiu::GetIISNode(L"IIS://localhost/w3svc");
             atlutils::ComPtr<IISWebService> service;
             node->QueryInterface(atlutils::kIID_IISWebService, service.PutVoid());
             const std::wstring r = Outcome([&] {
                 if (a[0] == L"add") msiu::AddIISExtensionFile(service.Get(), a[1], a[2], a[3], true, false);
                 else msiu::EnableIISExtensionFile(service.Get(), a[1]);
                 return std::wstring();
             });
             return r + L" | " + Join(emulator->Read().Find(L"/w3svc")->Find(L"WebSvcExtRestrictionList")->list) +
                    L" | " + emulator->Changes().back();
         }},
    });
}

}  // namespace
