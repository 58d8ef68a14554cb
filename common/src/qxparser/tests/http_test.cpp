// Reading over HTTP against the tests' own server, case by case from
// http.txt. A case's first line may set the connection ("@ key=value ..."),
// then each line is one call; ROOT stands for the server's address, PORT for
// its port. Each call shows its result, its messages, its body (by the name
// of the server's file when it is one) and the request line the server
// logged for the call's path, if any.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>
#include <vector>
#include <map>
#include <sstream>

#include "http_server.h"
#include "orvane/http_url.h"
#include "orvane/qx_datfile.h"
#include "orvane/qx_filesource.h"
#include "test_files.h"

using namespace orvane;
using qxtestfiles::replaceAll;

namespace {

#ifdef _WIN32
const char* const kCall = "HttpSendRequest";
#else
const char* const kCall = "curl_easy_perform";
#endif

std::string shown(const std::string& text)
{
    std::string out = replaceAll(replaceAll(text, qxhttp::root(), "ROOT/"), std::to_string(qxhttp::port()), "PORT");
    // A closed port's failure is the engine's own text, which varies.
    size_t at = out.find("failed with error: "), end = out.find(", with URL:http://127.0.0.1:1/");
    if (at != std::string::npos && end != std::string::npos) out.replace(at + 19, end - at - 19, "ENGINE");
    out = replaceAll(replaceAll(out, qxhttp::agent(), "AGENT"), kCall, "CALL");
    for (const char* file : {"quorix.dat", "enzymes", "fragmentation_rules", "masses", "mod_file", "substitutions",
                             "taxonomy", "unimod.xml"})
        if (!text.empty() && text == qxhttp::configFile(file)) return std::string("file ") + file;
    return out;
}

std::string messages(const qx_errorlist& list)
{
    std::string all;
    for (int n = 1; n <= list.getMessageCount(); ++n)
        all += "  " + std::to_string(list.getErrorNumber(n)) + " " + shown(list.getMessage(n)) + "\n";
    return all;
}

const std::map<std::string, std::function<bool(HttpUrl&, const std::string&)>> kGetters = {
    {"getQuorixDat", [](HttpUrl& h, const std::string& b) { return h.getQuorixDat(b); }},
    {"getEnzymes", [](HttpUrl& h, const std::string& b) { return h.getEnzymes(b); }},
    {"getFragmentationRules", [](HttpUrl& h, const std::string& b) { return h.getFragmentationRules(b); }},
    {"getMasses", [](HttpUrl& h, const std::string& b) { return h.getMasses(b); }},
    {"getModFile", [](HttpUrl& h, const std::string& b) { return h.getModFile(b, false); }},
    {"getSubstitutions", [](HttpUrl& h, const std::string& b) { return h.getModFile(b, true); }},
    {"getTaxonomy", [](HttpUrl& h, const std::string& b) { return h.getTaxonomy(b); }},
    {"getUnimodXml", [](HttpUrl& h, const std::string& b) { return h.getUnimodXml(b); }},
    {"get", [](HttpUrl& h, const std::string& url) { return h.get(url); }},
};

std::vector<std::string> requests(const std::string& part)
{
    std::vector<std::string> found;
    std::istringstream log(qxhttp::accessLog());
    for (std::string line; std::getline(log, line);)
        if (line.find(part) != std::string::npos) found.push_back(line);
    return found;
}

std::string run(const std::string& input)
{
    std::istringstream lines(input);
    std::string out, line;
    qx_connection_settings s;
    while (std::getline(lines, line)) {
        line = replaceAll(replaceAll(line, "ROOT/", qxhttp::root()), "PORT", std::to_string(qxhttp::port()));
        std::istringstream words(line);
        std::string call, arg, path;
        words >> call >> arg;
        if (call == "@") {
            for (std::string w = arg; !w.empty(); w.clear(), words >> w) {
                std::string key = w.substr(0, w.find('=')), value = w.substr(w.find('=') + 1);
                if (key == "session") s.setSessionID(value);
                if (key == "version") s.setHttpVersion(std::stoi(value));
                if (key == "timeout") s.setTimeoutSeconds(std::stoi(value));
                if (key == "proxyType") s.setProxyType(std::stoi(value));
                if (key == "proxy") s.setProxyServer(value);
                if (key == "proxyUser") s.setProxyUsername(value);
                if (key == "proxyPassword") s.setProxyPassword(value);
                if (key == "maxBody") qxparser_internal::maxBodyBytes = std::stoull(value);
            }
            continue;
        }
        qx_errors r;
        std::string result, body;
        const size_t at = qxhttp::root().size() - 1;
        const std::string part = arg.compare(0, at, qxhttp::root(), 0, at) == 0 ? arg.substr(at, arg.find('?') - at) : "";
        const size_t before = part.empty() ? 0 : requests(part).size();
        words >> path;  // a source's mode
        if (call == "error-first") {  // nothing is sent while the list holds an error
            r.getErrorRepository().addError(qxerr::invalidUrl, "earlier");
            call = "get";
        }
        if (call == "parse") {  // the URL's parts, or "refused"
            qxparser_internal::url_parts p;
            out += qxparser_internal::parseUrl(arg, p) ? std::to_string(p.secure) + " [" + p.user + "] [" + p.password +
                                                             "] [" + p.host + "] " + std::to_string(p.port) + " [" +
                                                             p.object + "]\n"
                                                       : "refused\n";
            continue;
        }
        if (kGetters.count(call)) {
            HttpUrl http(&r, &s);
            result = std::to_string(kGetters.at(call)(http, arg));
            body = http.getBody();
        } else if (call == "source") {  // source NAME MODE [PARAMETER]
            qx_filesource source(&r, s);
            source.openText("x\n", 2);  // an open source is closed by a failed open
            int mode = std::stoi(path), parameter = words >> path ? std::stoi(path) : 0;
            result = std::to_string(source.open(arg.c_str(), mode, parameter));
            for (std::string text; source.getLine(text);) body += text + "\n";
        } else if (call == "datfile") {
            qx_datfile dat(arg, 0, &s);
            result = std::to_string(dat.isValid());
            r.getErrorRepository().appendFrom(dat.getErrorRepository());
            dat.setFileName(qxtestfiles::tempPath("http-saved.dat"));
            if (dat.isValid() && dat.save()) body = qxtestfiles::lfText(qxtestfiles::readBytes(dat.getFileName()));
        }
        qxparser_internal::maxBodyBytes = 64u << 20;
        out += call + " -> " + result + "\n" + messages(r.getErrorRepository());
        if (!body.empty()) out += "  body " + qxtestfiles::encode(shown(body)) + "\n";
        // The server logs a request after it has answered it: wait for a
        // new line with the call's path, within a deadline.
        for (int i = 0; i < 50 && !part.empty(); ++i, std::this_thread::sleep_for(std::chrono::milliseconds(50))) {
            std::vector<std::string> now = requests(part);
            if (now.size() > before) {
                out += "  logged " + shown(now.back()) + "\n";
                break;
            }
        }
    }
    qxparser_internal::maxBodyBytes = 64u << 20;
    return out;
}

}  // namespace

TEST(Http, EveryCase)
{
    EXPECT_GT(qxtestfiles::runBlocks(std::string(QX_HTTP_CASES), [](const std::string&, const std::string& in) { return run(in); }), 10);
}
