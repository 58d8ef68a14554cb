// QuorixIISConfig and its deferred function: the virtual directory's CGI
// time-out of at least a day, and on an IIS with extension lists the server's
// programs and the Perl interpreter allowed to run. All best effort: a
// failure is a warning and the install goes on; nothing is undone.
#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include <adserr.h>

#include <sstream>

#include "atlu/iisext.h"
#include "iis/iis_config.h"
#include "msiu/database.h"
#include "msiu/deferred.h"
#include "msiu/error.h"
#include "msiu/iis.h"
#include "msiu/log.h"
#include "msiu/property.h"
#include "msiu/session.h"
#include "pal/strings.h"

namespace quorix::iis {

namespace {

constexpr LONG kMinimumCgiTimeout = 86400;  // one day, in seconds
constexpr uint16_t kFirstVersionWithExtensionLists = 600;

const wchar_t kRestrictionList[] = L"WebSvcExtRestrictionList";

struct ExtensionRow {
    bool xcgi;  // in the second CGI directory
    const wchar_t* file;
    const wchar_t* groupId;
    const wchar_t* description;
};

const ExtensionRow kExtensions[] = {
    {false, L"htsearch.exe", L"QuorixCGI", L"Quorix CGI"},
    {false, L"qx-geterror.exe", L"QuorixCGI", L"Quorix CGI"},
    {false, L"nph-quorix.exe", L"QuorixCGI", L"Quorix CGI"},
    {true, L"qx-config.exe", L"QuorixXCGI", L"Quorix X-CGI"},
    {true, L"qx-getseq.exe", L"QuorixXCGI", L"Quorix X-CGI"},
    {true, L"qx-gettaxonomy.exe", L"QuorixXCGI", L"Quorix X-CGI"},
    {true, L"qx-review.exe", L"QuorixXCGI", L"Quorix X-CGI"},
    {true, L"qx-status.exe", L"QuorixXCGI", L"Quorix X-CGI"},
};

// Never added any more; only its record is cleared.
const wchar_t kRetiredProgram[] = L"qx-daemonget.exe";

void Warn(const wchar_t* text) { msiu::LogText(msiu::kMsgWarning, text, false); }

void RaiseCgiTimeout(const std::wstring& vdirPath)
{
    msiu::LogMessage(msiu::kMsgInfo, L"Checking that CGITimeout has a minimum value of: %d", kMinimumCgiTimeout);
    msiu::IADsPtr node = msiu::GetIISNode(vdirPath);
    atlutils::Bstr name(std::wstring(L"CGITimeout"));
    atlutils::Variant current;
    const HRESULT hr = node->Get(name.Get(), &current);
    if (hr != E_ADS_PROPERTY_NOT_FOUND) {
        if (FAILED(hr)) msiu::ThrowError(hr, L"Failed to get \"%s\" property at: %s", L"CGITimeout", vdirPath.c_str());
        VARIANT minimum;
        VariantInit(&minimum);
        minimum.vt = VT_I4;
        minimum.lVal = kMinimumCgiTimeout;
        if (VarCmp(&current.Get(), &minimum, LOCALE_USER_DEFAULT, 0) != VARCMP_LT) return;
    }
    // Without the property there is no old value; its number says nothing.
    LONG old = 0;
    atlutils::Variant asNumber;
    if (SUCCEEDED(VariantChangeType(&asNumber, &current, 0, VT_I4))) old = asNumber.Get().lVal;
    msiu::LogMessage(msiu::kMsgInfo, L"Replacing previous CGITimeout value: %d", old);

    VARIANT value;
    VariantInit(&value);
    value.vt = VT_I4;
    value.lVal = kMinimumCgiTimeout;
    HRESULT set = node->Put(name.Get(), value);
    if (SUCCEEDED(set)) set = node->SetInfo();
    if (FAILED(set)) msiu::ThrowError(set, L"Failed to set \"%s\" property at: %s", L"CGITimeout", vdirPath.c_str());
}

void EnablePerl(IISWebService* service, const std::wstring& vdirPath)
{
    const std::wstring target = msiu::GetIISScriptMapTarget(vdirPath, L".pl");
    try {
        if (target.empty()) msiu::ThrowError(msiu::kInvalidArg, L"No Perl CGI script mapping found at: %s", vdirPath.c_str());
        msiu::LogMessage(msiu::kMsgInfo, L"Enabling Perl CGI script mapping extension: %s", target.c_str());
        // The whole mapping, arguments included, is the extension's name.
        msiu::EnableIISExtensionFile(service, target);
    } catch (const msiu::MSIError& e) {
        msiu::LogError(e, msiu::kMsgInfo);
        Warn(L"The Perl CGI web service extension in IIS could not be enabled. The Quorix Perl scripts may be "
             L"prevented from running.");
    }
}

void ConfigureExtensions(const ConfigData& data)
{
    const std::wstring servicePath = msiu::IISServicePath(L"localhost");
    msiu::IADsPtr node = msiu::GetIISNode(servicePath);
    {
        // Only whether the server keeps extension lists at all is asked.
        atlutils::Variant list;
        const HRESULT hr = node->GetEx(atlutils::Bstr(std::wstring(kRestrictionList)).Get(), &list);
        const bool absent = hr == E_ADS_PROPERTY_NOT_SUPPORTED || hr == E_ADS_PROPERTY_NOT_FOUND;
        if (!absent && FAILED(hr))
            msiu::ThrowError(hr, L"Failed to get \"%s\" property at: %s", kRestrictionList, servicePath.c_str());
        if (absent || data.version < kFirstVersionWithExtensionLists) {
            msiu::LogMessage(msiu::kMsgInfo, L"No \"%s\" property found - not configuring any IIS service extensions.",
                             kRestrictionList);
            return;
        }
    }
    msiu::LogMessage(msiu::kMsgInfo, L"%s IIS web service extensions.", data.removing ? L"Removing" : L"Configuring");

    atlutils::ComPtr<IISWebService> service;
    node->QueryInterface(atlutils::kIID_IISWebService, service.PutVoid());
    if (!service) msiu::ThrowError(static_cast<HRESULT>(0x80004002), L"Interface IISWebService not available");

    bool ok = true;
    for (const ExtensionRow& row : kExtensions) {
        const std::wstring file = (row.xcgi ? data.xcgiDir : data.cgiDir) + row.file;
        ok = ReconfigureExtensionFile(service.Get(), file, row.groupId, row.description, data.removing);
        if (!ok) break;
    }
    if (!ok)
        Warn(L"One or more web service extensions for Quorix could not be added to IIS. Some Quorix programs may be "
             L"prevented from running.");

    atlutils::Bstr retired(data.xcgiDir + kRetiredProgram);
    service->DeleteExtensionFileRecord(retired.Get());

    if (!data.removing) EnablePerl(service.Get(), data.virtualDirPath);
}

}  // namespace

void ConfigureIIS(const ConfigData& data)
{
    if (!data.removing) {
        try {
            RaiseCgiTimeout(data.virtualDirPath);
        } catch (const msiu::MSIError& e) {
            msiu::LogError(e, msiu::kMsgInfo);
            Warn(L"Unable to configure the CGI timeout value for Quorix in IIS.");
        }
    }
    try {
        ConfigureExtensions(data);
    } catch (const msiu::MSIError& e) {
        msiu::LogError(e, msiu::kMsgInfo);
        Warn(L"Unable to probe and/or configure web service extensions for Quorix in IIS.");
    }
}

}  // namespace quorix::iis

bool ReconfigureExtensionFile(IISWebService* service, const std::wstring& file, const std::wstring& groupId,
                              const std::wstring& description, bool removing)
{
    try {
        // Whether a record was there or not: a repair finds them all present.
        service->DeleteExtensionFileRecord(atlutils::Bstr(file).Get());
        if (removing) return true;
        msiu::AddIISExtensionFile(service, file, groupId, description, true, false);
        return true;
    } catch (const msiu::MSIError& e) {
        msiu::LogError(e, msiu::kMsgInfo);
        return false;
    }
}

extern "C" UINT __stdcall QuorixIISConfig(MSIHANDLE session)
{
    return msiu::RunAction(session, L"QuorixIISConfig", false, [] {
        const std::wstring vdir = msiu::GetProperty(L"QUORIX_IIS_WEB_VDIR", true);
        const std::wstring site = msiu::GetProperty(L"QUORIX_IIS_WEB_SITE", true);
        const bool removing = msiu::WillBeAbsent(msiu::GetComponentState(L"QuorixWebSiteIIS"));
        const std::wstring xcgi = msiu::GetProperty(L"QuorixXCGIDir", true);
        const std::wstring cgi = msiu::GetProperty(L"QuorixCGIDir", true);
        const std::wstring version = msiu::GetProperty(L"IISVersion", true);

        std::wostringstream data;
        data << (removing ? L"1" : L"0") << L'|' << version << L'|'
             << msiu::IISVirtualDirPath(site, vdir, L"localhost") << L'|' << cgi << L'|' << xcgi;
        msiu::ScheduleDeferredAction(L"QuorixIISConfigExec", data.str());
    });
}

extern "C" UINT __stdcall QuorixIISConfigDeferred(MSIHANDLE session)
{
    return msiu::RunAction(session, L"QuorixIISConfigDeferred", false, [] {
        std::vector<std::wstring> fields;
        msiu::GetPropertyFields(L"CustomActionData", fields, true, false, L'|');
        if (fields.size() != 5) msiu::ThrowError(msiu::kInvalidArg, L"Missing or incomplete CA data");
        // Read before the mode test, so that bad data fails in every mode.
        quorix::iis::ConfigData data;
        data.removing = PAL::StrToBool(fields[0], false);
        data.version = PAL::StrToUShort(fields[1], 10);
        data.virtualDirPath = fields[2];
        data.cgiDir = fields[3];
        data.xcgiDir = fields[4];
        if (!msiu::GetRunMode(MSIRUNMODE_SCHEDULED)) return;
        quorix::iis::ConfigureIIS(data);
    });
}
