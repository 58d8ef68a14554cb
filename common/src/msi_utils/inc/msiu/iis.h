// The local IIS through its directory provider: metabase paths, binding a
// node, a web site's binding, a node's script map, finding a site by its
// display name, and the web service extension records. Failures are
// MSIErrors that name the path, except where a _com_error passes on.
#pragma once

#include <windows.h>
#include <ole2.h>
#include <iads.h>

#include <string>
#include <vector>

#include "atlu/com.h"
#include "atlu/iisext.h"

namespace msiu {

using IADsPtr = atlutils::ComPtr<IADs>;

std::wstring IISServicePath(const std::wstring& host);
std::wstring IISSitePath(const std::wstring& site, const std::wstring& host);
std::wstring IISVirtualDirPath(const std::wstring& site, const std::wstring& vdir, const std::wstring& host);
std::wstring JoinIISPath(const std::wstring& left, const std::wstring& right);

IADsPtr GetIISNode(const std::wstring& path);

// The first entry of ServerBindings (SecureBindings with useSSL): address,
// port and host header, each trimmed and not validated.
void GetIISSiteBinding(const std::wstring& path, std::wstring& ip, std::wstring& port, std::wstring& host,
                       bool useSSL);

// The executable mapped to the extension, arguments included; empty when no
// entry has the extension.
std::wstring GetIISScriptMapTarget(const std::wstring& path, const std::wstring& extension);

void ListIISChildren(const std::wstring& path, std::vector<IADsPtr>& list);

// The node name of the first web site whose ServerComment is displayName,
// regardless of case.
bool FindIISSiteByComment(const std::wstring& servicePath, const std::wstring& displayName, std::wstring& site);

void AddIISExtensionFile(IISWebService* service, const std::wstring& file, const std::wstring& groupId,
                         const std::wstring& description, bool access, bool canDelete);
void EnableIISExtensionFile(IISWebService* service, const std::wstring& file);

}  // namespace msiu
