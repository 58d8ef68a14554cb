// What the web server checks share: the HTTP probe, the web path test and
// the one builder of QUORIX_WEB_URL.
#pragma once

#include <cstdint>
#include <string>

namespace msiu {

// One HEAD request for "/": any answer, of any status, is a success.
void ProbeHttpServer(const std::wstring& host, uint16_t port, bool useSSL);

// Refuses an empty web path and one with a character a URL path cannot take.
void CheckVirtualDirName(const std::wstring& name);

// Sets QUORIX_WEB_URL: scheme, host with the port unless it is the scheme's
// default, slash, web path.
void SetWebURLProperty(const std::wstring& host, uint16_t port, const std::wstring& virtualDir, bool useSSL);

// The characters a web path may not hold; the first is a blank.
extern const wchar_t* const kVirtualDirBadChars;

}  // namespace msiu
