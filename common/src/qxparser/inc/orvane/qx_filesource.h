// Where configuration text comes from: a local file, or the body of an HTTP
// response. Readers open a name and ask for lines, and get the same
// kind of line from either.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace orvane {

class qx_errors;

class qx_connection_settings {
public:
    qx_connection_settings() { defaultValues(); }
    qx_connection_settings(const qx_connection_settings&) = default;
    qx_connection_settings& operator=(const qx_connection_settings&) = default;
    virtual ~qx_connection_settings() = default;

    void defaultValues();

    const std::string& getSessionID() const { return sessionID; }
    const std::string& getProxyServer() const { return proxyServer; }
    const std::string& getProxyUsername() const { return proxyUsername; }
    const std::string& getProxyPassword() const { return proxyPassword; }
    int32_t getProxyType() const { return proxyType; }
    int32_t getHttpVersion() const { return httpVersion; }
    int32_t getTimeoutSeconds() const { return timeoutSeconds; }

    // For callers of the library that reach a server in their own way.
    void setSessionID(const std::string& value) { sessionID = value; }
    void setProxyServer(const std::string& value) { proxyServer = value; }
    void setProxyUsername(const std::string& value) { proxyUsername = value; }
    void setProxyPassword(const std::string& value) { proxyPassword = value; }
    void setProxyType(int32_t value) { proxyType = value; }
    void setHttpVersion(int32_t value) { httpVersion = value; }
    void setTimeoutSeconds(int32_t value) { timeoutSeconds = value; }

private:
    std::string sessionID;
    std::string proxyServer;
    std::string proxyUsername;
    std::string proxyPassword;
    int32_t proxyType = 1;
    int32_t httpVersion = 2;
    int32_t timeoutSeconds = 60;
};

// Kinds of a source name.
enum qx_sourcekind : int {
    QX_SOURCE_NONE = 0,
    QX_SOURCE_FILE = 1,
    QX_SOURCE_XML_FILE = 2,
    QX_SOURCE_URL = 3,
    QX_SOURCE_XML_URL = 4,
};

int sourceKind(const char* name);
bool fileExists(const char* path);
// stdio open that reports a failure as error 256 with the caller's path.
FILE* openFile(const char* path, const char* mode, qx_errors* errors);
// Polls for the file until it exists or timeoutSeconds have passed; an empty
// name means the default locations. Empty result and error 1537 if none.
std::string locateConfigFile(const char* name, qx_errors* errors, int timeoutSeconds);

// Where locateConfigFile looks when it is given no name, in that order.
const char* defaultRelativeConfigPath();
const char* defaultAbsoluteConfigPath();

}  // namespace orvane

namespace qxparser_internal {

class byte_stream;

// Closes a stdio file on every path.
class file_ptr {
public:
    explicit file_ptr(FILE* f) : file(f) {}
    file_ptr(const file_ptr&) = delete;
    file_ptr& operator=(const file_ptr&) = delete;
    virtual ~file_ptr();
    FILE* get() const { return file; }

private:
    FILE* file;
};

// Holds the process's locale on one that scans and prints numbers with a
// decimal point, and puts the old one back at the end of the scope.
class locale_setter {
public:
    locale_setter();
    locale_setter(const locale_setter&) = delete;
    locale_setter& operator=(const locale_setter&) = delete;
    virtual ~locale_setter();

private:
    std::unique_ptr<char[]> savedLocale;
};

}  // namespace qxparser_internal

namespace orvane {

// What a read takes in, checked before the work: no input makes a read hang,
// or grow without bound. Real files are far below each.
constexpr long long kMaxFileBytes = 64LL << 20;
constexpr long long kMaxIncludeBytes = 1LL << 20;
constexpr size_t kMaxLineBytes = 1u << 20;

// Serves the text of an @include path instead of the file system (the fuzz
// targets' seam). False means no such file.
using qx_includereader = bool (*)(const std::string& path, std::string& text);

class qx_filesource {
public:
    qx_filesource(qx_errors* errors, const qx_connection_settings& settings);
    qx_filesource(const qx_filesource&) = delete;
    qx_filesource& operator=(const qx_filesource&) = delete;
    virtual ~qx_filesource();

    // True if lines can now be read. `mode` and `parameter` matter for URLs.
    bool open(const char* name, int mode = 1, int parameter = 0);
    // Serves lines out of a text held in memory, as for an HTTP response body.
    void openText(const char* data, size_t size);
    // The same, taking the text over without a copy.
    void openText(std::string&& body);
    bool isOpen() const { return current != nullptr; }
    // The file of an @include at line `line` of `from`: a regular file only,
    // not a link, at most kMaxIncludeBytes. Failures are reported here.
    bool openInclude(const std::string& path, const std::string& from, int line);
    static void setIncludeReader(qx_includereader reader);
    // Lines handed out so far; a refused read gives the line it stopped at.
    int lineNumber() const { return lines; }

    // Fixed-buffer form: at most size - 1 characters of a line. `start`
    // points behind leading blanks and tabs, `length` counts the characters
    // in the buffer. A longer line isn't lost: what didn't fit comes with the
    // next call.
    bool getLine(char* buffer, int size, int& length, char*& start);
    // Whole-line form, used by every reader of quorix.dat so that no line is
    // ever cut: the physical line without its line feed, leading blanks and
    // tabs and trailing carriage returns. `line` keeps its capacity between
    // calls, so a read allocates only when a longer line appears.
    bool getLine(std::string& line);
    // The same line as a view into the source's text, which sharedText()
    // keeps alive for as long as a reader holds on to it.
    bool getLine(std::string_view& line);
    const std::shared_ptr<const std::string>& sharedText() const { return text; }
    // How many lines stand ahead before an end line of a section: what a
    // section's line list reserves, so that it doesn't grow by doubling.
    size_t linesToEndLine() const;

private:
    void close();
    // A name of kind 3 or 4: `mode` picks what is asked of the server.
    bool openUrl(const char* name, int mode, int parameter);
    // Looks at the start of what was opened: skips a UTF-8 mark, refuses
    // UTF-16 and lines that end in carriage returns alone.
    bool checkEncoding();

    std::string name;
    int lines = 0;

    qx_errors* errors;
    qx_connection_settings settings;
    // The whole text, read at once: lines are views into it.
    std::shared_ptr<const std::string> text;
    std::unique_ptr<qxparser_internal::byte_stream> stream;
    qxparser_internal::byte_stream* current = nullptr;
};

}  // namespace orvane
