#include "orvane/qx_filesource.h"

#include <sys/stat.h>

#include <cctype>
#include <clocale>
#include <cstring>
#include <ctime>

#ifdef _WIN32
#include <share.h>
#endif

#include "byte_stream.h"
#include "orvane/http_url.h"
#include "orvane/qx_errors.h"

namespace orvane {

void qx_connection_settings::defaultValues()
{
    sessionID.clear();
    proxyServer.clear();
    proxyUsername.clear();
    proxyPassword.clear();
    proxyType = 1;
    httpVersion = 2;
    timeoutSeconds = 60;
}

int sourceKind(const char* name)
{
    if (!name) return QX_SOURCE_NONE;
    size_t n = std::strlen(name);
    if (n < 4) return QX_SOURCE_NONE;
    bool xml = std::strcmp(name + n - 3, "xml") == 0;
    auto startsNoCase = [&](const char* prefix) {
        for (size_t i = 0; prefix[i]; ++i) {
            if (i >= n || std::tolower(static_cast<unsigned char>(name[i])) != prefix[i]) return false;
        }
        return true;
    };
    bool url = startsNoCase("http:") || startsNoCase("https:");
    if (url) return xml ? QX_SOURCE_XML_URL : QX_SOURCE_URL;
    return xml ? QX_SOURCE_XML_FILE : QX_SOURCE_FILE;
}

bool fileExists(const char* path)
{
    if (!path) return false;
    std::string p(path);
#ifdef _WIN32
    // stat refuses a bare drive; with its root it counts as existing.
    if (p.size() == 2 && std::isalpha(static_cast<unsigned char>(p[0])) && p[1] == ':') p += '/';
#endif
    struct stat info;
    return ::stat(p.c_str(), &info) == 0;
}

FILE* openFile(const char* path, const char* mode, qx_errors* errors)
{
    std::string p(path ? path : "");
#ifdef _WIN32
    for (char& c : p) {
        if (c == '/') c = '\\';
    }
#endif
    // Elsewhere '/' is the separator itself and the path is used as given.
    FILE* file = std::fopen(p.c_str(), mode);
    if (!file && errors) {
        errors->getErrorRepository().addOsError(qxerr::openFile, path ? path : "", mode);
    }
    return file;
}

#ifdef _WIN32
const char* defaultRelativeConfigPath() { return "..\\config\\quorix.dat"; }
const char* defaultAbsoluteConfigPath() { return "C:\\inetpub\\quorix\\config\\quorix.dat"; }
#else
// The same layout on a Unix host: programs run in a directory beside config,
// and a server installed as an add-on package lives under /opt.
const char* defaultRelativeConfigPath() { return "../config/quorix.dat"; }
const char* defaultAbsoluteConfigPath() { return "/opt/quorix/config/quorix.dat"; }
#endif

std::string locateConfigFile(const char* name, qx_errors* errors, int timeoutSeconds)
{
    std::time_t start = std::time(nullptr);
    do {
        const char* candidate = nullptr;
        if (!name || !*name) {
            if (fileExists(defaultRelativeConfigPath())) {
                candidate = defaultRelativeConfigPath();
            } else if (fileExists(defaultAbsoluteConfigPath())) {
                candidate = defaultAbsoluteConfigPath();
            }
        } else if (fileExists(name)) {
            candidate = name;
        }
        if (candidate) return candidate;
        // A file that is being written by another process may appear any
        // moment; the caller's timeout says how long that is worth waiting.
    } while (std::difftime(std::time(nullptr), start) <= timeoutSeconds);
    if (errors) errors->getErrorRepository().addError(qxerr::noQuorixDat);
    return std::string();
}

qx_filesource::qx_filesource(qx_errors* errors, const qx_connection_settings& settings)
    : errors(errors), settings(settings)
{
}

qx_filesource::~qx_filesource()
{
    close();
}

void qx_filesource::close()
{
    current = nullptr;
    textStream.reset();
    text.reset();
    fileStream.reset();
}

bool qx_filesource::open(const char* name, int mode, int parameter)
{
    close();
    int kind = sourceKind(name);
    if (kind == QX_SOURCE_URL || kind == QX_SOURCE_XML_URL) return openUrl(name, mode, parameter);
    // Binary on every platform: the reader cuts carriage returns itself, and
    // a Ctrl-Z is data rather than the end of the file.
#ifdef _WIN32
    FILE* file = _fsopen(name ? name : "", "rb", _SH_DENYNO);
#else
    FILE* file = std::fopen(name ? name : "", "rb");
#endif
    if (!file) {
        if (errors) errors->getErrorRepository().addOsError(qxerr::openFile, name ? name : "", "r");
        return false;
    }
    fileStream = std::make_unique<qxparser_internal::file_stream>(file);
    current = fileStream.get();
    return true;
}

bool qx_filesource::openUrl(const char* name, int mode, int parameter)
{
    // The client reports into a list; without one there is nowhere to say why.
    if (!errors || mode < 0 || mode > 7) return false;
    HttpUrl http(errors, &settings);
    bool ok = false;
    switch (mode) {
    case 0: ok = http.get(name); break;
    case 1: ok = http.getQuorixDat(name); break;
    case 2: ok = http.getEnzymes(name); break;
    case 3: ok = http.getFragmentationRules(name); break;
    case 4: ok = http.getMasses(name); break;
    case 5: ok = http.getModFile(name, parameter != 0); break;
    case 6: ok = http.getUnimodXml(name); break;
    case 7: ok = http.getTaxonomy(name); break;
    }
    if (!ok) return false;
    openText(http.getBody().data(), http.getBody().size());
    return true;
}

void qx_filesource::openText(const char* data, size_t size)
{
    close();
    text.reset(new char[size + 1]);
    if (size) std::memcpy(text.get(), data, size);
    text[size] = '\0';
    textStream = std::make_unique<qxparser_internal::memory_stream>(text.get(), size);
    current = textStream.get();
}

namespace {
inline bool isBlankOrTab(char c)
{
    return c == ' ' || c == '\t';
}
}  // namespace

bool qx_filesource::getLine(char* buffer, int size, int& length, char*& start)
{
    start = buffer;
    length = 0;
    if (!current || !buffer || size < 2) return false;
    bool ended = false;
    size_t taken = current->readPart(buffer, static_cast<size_t>(size - 1), ended);
    if (taken < 1) {
        buffer[0] = '\0';
        return false;
    }
    size_t stored = ended ? taken - 1 : taken;
    while (stored > 0 && buffer[stored - 1] == '\r') --stored;
    buffer[stored] = '\0';
    length = static_cast<int>(stored);
    while (isBlankOrTab(*start)) ++start;
    return true;
}

bool qx_filesource::getLine(std::string& line)
{
    line.clear();
    if (!current) return false;
    if (current->readLine(line) < 1) return false;
    size_t end = line.size();
    // Every carriage return before the line feed belongs to the line end: a
    // CR CR LF is then one line end, as text-mode reading plus a single cut
    // would see it, and a save doesn't turn it into a different line.
    while (end > 0 && line[end - 1] == '\r') --end;
    size_t begin = 0;
    while (begin < end && isBlankOrTab(line[begin])) ++begin;
    if (end < line.size()) line.erase(end);
    if (begin > 0) line.erase(0, begin);
    return true;
}

}  // namespace orvane

namespace qxparser_internal {

file_ptr::~file_ptr()
{
    if (file) std::fclose(file);
}

locale_setter::locale_setter()
{
    const char* current = std::setlocale(LC_ALL, nullptr);
    if (current) {
        size_t n = std::strlen(current);
        savedLocale.reset(new char[n + 1]);
        std::memcpy(savedLocale.get(), current, n + 1);
    }
#ifdef _WIN32
    std::setlocale(LC_ALL, "English");
#else
    // There is no locale named "English" here; "C" gives the decimal point.
    std::setlocale(LC_ALL, "C");
#endif
}

locale_setter::~locale_setter()
{
    if (savedLocale) std::setlocale(LC_ALL, savedLocale.get());
}

}  // namespace qxparser_internal
