#include "orvane/qx_filesource.h"

#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <clocale>
#include <cstring>
#include <ctime>

#ifdef _WIN32
#include <share.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

#include "byte_stream.h"
#include "qx_text.h"
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

namespace {

qx_includereader includeReader = nullptr;

enum class local_open { ok, failed, notRegular, tooLarge, link };

// A stdio file over a regular file of at most maxBytes, and its size then.
// A FIFO or a device is refused before a single byte is read from it:
// opening one must not block, and reading one may never end.
local_open openLocal(const std::string& path, long long maxBytes, bool noLinks, FILE*& file, long long& size)
{
    file = nullptr;
#ifdef _WIN32
    (void)noLinks;
    // Binary: the reader cuts carriage returns itself, and a Ctrl-Z is data.
    FILE* f = _fsopen(path.c_str(), "rb", _SH_DENYNO);
    if (!f) return local_open::failed;
    struct _stat64 info;
    if (_fstat64(_fileno(f), &info) != 0 || (info.st_mode & _S_IFMT) != _S_IFREG) {
        std::fclose(f);
        return local_open::notRegular;
    }
#else
    struct stat info;
    // A socket can't even be opened: the name alone says what it is.
    if (::stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) return local_open::notRegular;
    int flags = O_RDONLY | O_NONBLOCK | O_CLOEXEC | (noLinks ? O_NOFOLLOW : 0);
    int fd = ::open(path.c_str(), flags);
    if (fd < 0) return noLinks && errno == ELOOP ? local_open::link : local_open::failed;
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        return local_open::notRegular;
    }
    ::fcntl(fd, F_SETFL, O_RDONLY);
    FILE* f = ::fdopen(fd, "rb");
    if (!f) {
        ::close(fd);
        return local_open::failed;
    }
#endif
    if (static_cast<long long>(info.st_size) > maxBytes) {
        std::fclose(f);
        return local_open::tooLarge;
    }
    file = f;
    size = static_cast<long long>(info.st_size);
    return local_open::ok;
}

// The rest of an opened file, at most maxBytes of it (a file that grows
// while it is read stops there), into one buffer; closes the file. `known`
// is its size when it was opened.
std::string readWhole(FILE* file, long long known, long long maxBytes)
{
    qxparser_internal::file_ptr guard(file);
    std::string body;
    body.resize(static_cast<size_t>(known < maxBytes ? known : maxBytes));
#ifdef _WIN32
    const auto take = [file](char* into, size_t count) { return std::fread(into, 1, count, file); };
#else
    // Straight from the descriptor, as nothing has gone through stdio yet:
    // stdio would ask for the size again and read through a buffer of its own.
    const int fd = fileno(file);
    const auto take = [fd](char* into, size_t count) {
        size_t got = 0;
        while (got < count) {
            const ssize_t n = ::read(fd, into + got, count - got);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            got += static_cast<size_t>(n);
        }
        return got;
    };
#endif
    body.resize(take(&body[0], body.size()));
    // The size may be behind what a writer has added meanwhile; a probe on
    // the stack keeps the buffer at its size when it isn't, which is nearly
    // always.
    char more[4096];
    size_t n = 0;
    while (static_cast<long long>(body.size()) < maxBytes && (n = take(more, sizeof more)) > 0) {
        const size_t room = static_cast<size_t>(maxBytes - static_cast<long long>(body.size()));
        body.append(more, n < room ? n : room);
    }
    return body;
}

}  // namespace

void qx_filesource::setIncludeReader(qx_includereader reader)
{
    includeReader = reader;
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
    lines = 0;
    stream.reset();
    text.reset();
}

bool qx_filesource::open(const char* name, int mode, int parameter)
{
    close();
    this->name = name ? name : "";
    int kind = sourceKind(name);
    if (kind == QX_SOURCE_URL || kind == QX_SOURCE_XML_URL) return openUrl(name, mode, parameter);
    FILE* file = nullptr;
    long long size = 0;
    const local_open result = openLocal(this->name, kMaxFileBytes, false, file, size);
    if (result != local_open::ok) {
        if (!errors) return false;
        qx_errorlist& list = errors->getErrorRepository();
        if (result == local_open::notRegular) {
            list.addError(qxerr::notRegularFile, this->name.c_str());
        } else if (result == local_open::tooLarge) {
            list.addError(qxerr::fileTooLarge, this->name.c_str(), static_cast<int>(kMaxFileBytes >> 20));
        } else {
            list.addOsError(qxerr::openFile, this->name.c_str(), "r");
        }
        return false;
    }
    openText(readWhole(file, size, kMaxFileBytes));
    return checkEncoding();
}

bool qx_filesource::openInclude(const std::string& path, const std::string& from, int line)
{
    close();
    name = path;
    qx_errorlist* list = errors ? &errors->getErrorRepository() : nullptr;
    if (includeReader) {
        std::string body;
        if (!includeReader(path, body)) {
            if (list) list->addError(qxerr::fileNotFound, path.c_str());
            return false;
        }
        if (static_cast<long long>(body.size()) > kMaxIncludeBytes) {
            if (list) list->addError(qxerr::includeRefused, from.c_str(), line, path.c_str(), "larger than 1 MB");
            return false;
        }
        openText(std::move(body));
        name = path;
        return checkEncoding();
    }
    if (!fileExists(path.c_str())) {
        if (list) list->addError(qxerr::fileNotFound, path.c_str());
        return false;
    }
    FILE* file = nullptr;
    long long size = 0;
    const local_open result = openLocal(path, kMaxIncludeBytes, true, file, size);
    if (result != local_open::ok) {
        if (!list) return false;
        if (result == local_open::failed) {
            list->addOsError(qxerr::openFile, path.c_str(), "r");
        } else {
            const char* why = result == local_open::notRegular ? "not a regular file"
                              : result == local_open::link     ? "a symbolic link"
                                                               : "larger than 1 MB";
            list->addError(qxerr::includeRefused, from.c_str(), line, path.c_str(), why);
        }
        return false;
    }
    openText(readWhole(file, size, kMaxIncludeBytes));
    name = path;
    return checkEncoding();
}

bool qx_filesource::checkEncoding()
{
    std::string_view head = current->head();
    qx_errorlist* list = errors ? &errors->getErrorRepository() : nullptr;
    auto refuse = [&](int32_t code) {
        if (list) list->addError(code, name.c_str());
        close();
        return false;
    };
    if (head.substr(0, 3) == "\xEF\xBB\xBF") {
        // Editors put it there; it is no part of the first head.
        current->skip(3);
        if (list) list->addError(qxerr::utf8MarkSkipped, name.c_str());
        head.remove_prefix(3);
    }
    // A narrow reader would see a few odd lines in UTF-16 text and lose the
    // rest. Without its mark, its NUL bytes give it away (see getLine).
    if (head.substr(0, 2) == "\xFF\xFE" || head.substr(0, 2) == "\xFE\xFF") {
        if (list) list->addError(qxerr::wideText, name.c_str(), 1);
        close();
        return false;
    }
    // Carriage returns alone as line ends make the whole file one line.
    // A line feed, the common case, is found at the end of the first line.
    if (head.find('\n') != std::string_view::npos) return true;
    const size_t cr = head.find('\r');
    if (cr != std::string_view::npos && head.find_first_not_of('\r', cr) != std::string_view::npos)
        return refuse(qxerr::crLineEnds);
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
    this->name = name;
    return checkEncoding();
}

void qx_filesource::openText(const char* data, size_t size)
{
    openText(std::string(data, size));
}

void qx_filesource::openText(std::string&& body)
{
    close();
    text = std::make_shared<const std::string>(std::move(body));
    stream = std::make_unique<qxparser_internal::byte_stream>(text->data(), text->size());
    current = stream.get();
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

size_t qx_filesource::linesToEndLine() const
{
    return current ? current->linesBefore(qxparser_internal::isEndLine) : 0;
}

bool qx_filesource::getLine(std::string& line)
{
    std::string_view view;
    const bool got = getLine(view);
    line.assign(view.data(), view.size());
    return got;
}

bool qx_filesource::getLine(std::string_view& line)
{
    line = std::string_view();
    if (!current) return false;
    bool tooLong = false;
    const size_t taken = current->readLine(line, kMaxLineBytes, tooLong);
    if (tooLong) {
        if (errors)
            errors->getErrorRepository().addError(qxerr::lineTooLong, name.c_str(), lines + 1,
                                                  static_cast<int>(kMaxLineBytes));
        line = std::string_view();
        current = nullptr;
        return false;
    }
    if (taken < 1) return false;
    ++lines;
    const char* nul = current->nulByte();
    if (nul && nul < line.data() + line.size()) {
        // No text of ours holds one, and no save could write it back.
        if (errors) errors->getErrorRepository().addError(qxerr::wideText, name.c_str(), lines);
        line = std::string_view();
        current = nullptr;
        return false;
    }
    size_t end = line.size();
    // Every carriage return before the line feed belongs to the line end: a
    // CR CR LF is then one line end, as text-mode reading plus a single cut
    // would see it, and a save doesn't turn it into a different line.
    while (end > 0 && line[end - 1] == '\r') --end;
    size_t begin = 0;
    while (begin < end && isBlankOrTab(line[begin])) ++begin;
    line = line.substr(begin, end - begin);
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
