// The tests' own Apache (testing/http/qx-httpd): where it listens, what it
// logged, and the files its get_params.pl serves.
#pragma once

#include <string>

namespace qxhttp {

int port();
// "http://127.0.0.1:<port>/<state>/cgi/": the state is "quorix" for a running
// server, "down" for one whose service is stopped, "broken" for a damaged
// packed file; any other name is a running server too, which keeps each
// test's requests apart in the log.
std::string baseUrl(const std::string& state);
std::string root();  // "http://127.0.0.1:<port>/"

// The request lines, statuses and agents of the access log, one a line.
std::string accessLog();

// A file of the server's configuration directory, byte for byte.
std::string configFile(const std::string& name);

// The agent string this platform's client sends.
const char* agent();

}  // namespace qxhttp
