#include "orvane/qx_errors.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#ifdef _WIN32
#include <windows.h>
#endif

#include "orvane/qx_filesource.h"

namespace orvane {

namespace {

// In ascending order of code families. Codes the server reserves for its own
// functions have no rows here: raising them stores nothing.
const qx_messagerow kMessages[] = {
    {1, 256, "Failed to open file %s for %s"},
    {1, 260, "Cannot find file '%s'"},
    {1, 261, "Failed to find information about number of processors available"},
    {1, 264, "Failed to wtite to file '%s' (file not open or disk full)"},
    {1, 1537, "Cannot find file 'quorix.dat'. It contains the most important configuration parameters"},
    {2, 1538, "In the file %s the database %s has no %s rule"},
    {2, 1539, "Error compiling the parse rule: %s. Error string: %s"},
    {2, 1540, "Only one sub-expression per parse rule allowed. Found %d in %s"},
    {2, 1541, "Error in the configuration file %s - database %s doesn't have enough parameters"},
    {2, 1542, "Error in line in Options section of the configuration file %s: %s"},
    {2, 1543, "Invalid entry in Cluster section of the configuration file %s: %s"},
    {2, 1544, "Too many cpus in sub cluster %d. Setting number of usable cpus to %d"},
    {2, 1545, "Too many cron jobs in the configuration file %s. The limit is %d"},
    {2, 1546, "Invalid parsing rule syntax in %s file. Expecting RULE_, found %s"},
    {2, 1547, "In the file %s: all parsing rules must have numbers between 1 and %d: Rule invalid: %s"},
    {2, 1548, "In the file %s: parsing rule %d has been defined twice: Second one is: %s"},
    {2, 1549, "Missing quote in parse rule in %s: %s"},
    {2, 1550, "In the file %s: maximimum length of parse string (%d) is exceeded in: %s"},
    {2, 1551, "Invalid entry in the configuration file %s - taxonomy section: %s"},
    {2, 1552, "Incompatible TAXID with some other taxonomy rule parameters in taxonomy section of %s: %s"},
    {2, 1553, "In taxonomy section of %s, max prefixes (%d) exceeded"},
    {2, 1554, "In taxonomy section of %s, max suffixed (%d) exceeded"},
    {2, 1555, "In taxonomy section of %s, max no breaks (%d) exceeded"},
    {2, 1556, "Invalid character in cron section of %s. Line is: %s"},
    {2, 1557, "Number out of range in cron section of %s. Line is: %s"},
    {2, 1558, "Invalid * in cron section of %s. Line is: %s"},
    {2, 1559, "Expecting number before , in cron section of %s. Line is: %s"},
    {2, 1560, "Expecting number before - in cron section of %s. Line is: %s"},
    {2, 1561, "Invalid line in %s file starting with: %s"},
    {2, 1565, "In the file %s: there are %d threads for database '%s'. Too many processors named"},
    {2, 1566, "Error in WWW section of %s: %s"},
    {2, 1567, "A taxonomy rule with duplicate number %d has been encountered"},
    {2, 1568, "Empty ICAT filter is not allowed. Specify simply 'C' if you are not sure."},
    {1, 2305, "Http-transmission failed with error: %s"},
    {1, 2306, "Invalid URL: %s"},
    {1, 2307, "The Quorix service is not running. Unable to retrieve configuration file."},
    {1, 2308, "Wininet failure: %s"},
    {1, 5889, "Insufficient memory to compress/decompress the data"},
    {1, 5890, "Buffer too small - %lu"},
    {1, 5891, "Compressed data is invalid"},
    {1, 5892, "Unknown zip error"},
    {2, 5893, "Expected length of uncompressed data (%u) differs from actual length (%lu)"},
    {1, 5894, "Uncompressed data longer (%lu) than maxium permitted (%lu)"},
    {1, 5895, "Cannot compress zero length data"},
    {3, 6144, "Detected %d logical processors per physical CPU"},
    {2, 6145, "Failed to get CPU information. Assuming single core and no hyper-threading"},
    {3, 6146, "Setting number of threads to %d"},
    {3, 6147, "Successfully loaded not.quorix.dat from %s"},
    {3, 6148, "Successfully loaded existing quorix.dat from %s"},
    {3, 6149, "Appended taxonomy section %d"},
    {3, 6150, "Adding entry for SwissProt to quorix.dat"},
    {2, 6151, "No entry for SwissProt found in not.quorix.dat"},
    {2, 6152, "Changed taxonomy entry for %s"},
    {2, 6153, "Added parse rule number %d"},
    {1, 6154, "Failed to added parse rule required for SwissProt - too many rules already in quorix.dat?"},
    {3, 6155, "Added %s %s to the options section of quorix.dat"},
    {3, 6156, "Set the value of %s to %s in the options section of quorix.dat"},
    {3, 6157, "Set the value of %s to %s in the cluster section of quorix.dat"},
    {1, 6158, "Failed to determine the hostname"},
    {1, 6159, "No SubClusterSet entry in quorix.dat"},
    {3, 6160, "Changed %s parse rule from rule %d to %d"},
    {2, 6161, "%s, line 1: a UTF-8 byte order mark was skipped; a save writes the file without it"},
    {1, 6162, "%s, line %d: the file is UTF-16 or binary (it holds NUL bytes); save it as ANSI or UTF-8 text. The file was not read"},
    {1, 6163, "%s, line 1: the lines end in carriage returns alone; save the file with CR LF or LF line ends. Nothing was read"},
    {1, 6164, "%s is not a regular file. Nothing was read"},
    {1, 6165, "%s is larger than %d MB. Nothing was read"},
    {1, 6166, "%s, line %d is longer than %d characters. The file was not read"},
    {1, 6167, "%s has none of the sections Databases, PARSE and Options: it is cut short, empty or no quorix.dat. It was left as it is; move it aside for a first install"},
    {1, 6168, "%s, line %d: @include %s is not followed: %s"},
    {2, 6169, "%s, line %d: the regular expression %s is not compiled: %s"},
    {2, 6170, "%s, line %d: dropped: %s"},
    {0, -1, nullptr},
};

constexpr size_t kFormatBuffer = 2048;

std::string formatRow(const char* format, va_list args)
{
    char buffer[kFormatBuffer];
    int n = std::vsnprintf(buffer, sizeof buffer, format, args);
    if (n < 0) return std::string();
    // vsnprintf has already cut an overlong text to the buffer.
    return std::string(buffer);
}

std::string osErrorText()
{
#ifdef _WIN32
    DWORD error = GetLastError();
    char buffer[1024];
    DWORD n = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                             error, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), buffer,
                             sizeof buffer, nullptr);
    long number = static_cast<long>(error);
    std::string text = n > 0 ? std::string(buffer, n) : std::string();
#else
    int error = errno;
    long number = error;
    const char* s = error != 0 ? std::strerror(error) : nullptr;
    std::string text = s ? s : "";
#endif
    if (text.empty()) {
        char fallback[64];
        std::snprintf(fallback, sizeof fallback, "(Error: %ld)", number);
        return fallback;
    }
    for (char& c : text) {
        if (c == '\r' || c == '\n') c = ' ';
    }
    return text;
}

}  // namespace

qx_errorlist::qx_errorlist() = default;

const qx_messagerow* qx_errorlist::messageTable()
{
    return kMessages;
}

const qx_messagerow* qx_errorlist::findRow(int32_t code)
{
    for (const qx_messagerow* row = kMessages; row->code != -1; ++row) {
        if (row->code == code) return row;
    }
    return nullptr;
}

void qx_errorlist::addError(int32_t code, ...)
{
    const qx_messagerow* row = findRow(code);
    if (!row || row->severity > loggingLevel) return;
    // A repeat that folds into the message before it and goes to no log is
    // only counted: a file with thousands of the same fault mustn't format
    // each of them.
    if (logFileName.empty() && foldsInto(code)) {
        ++repeats.back();
        return;
    }
    va_list args;
    va_start(args, code);
    std::string text = formatRow(row->format, args);
    va_end(args);
    addMessage(code, text, row->severity, std::string(), -1);
}

void qx_errorlist::addOsError(int32_t code, ...)
{
    // Fetched first: formatting may touch the error state.
    std::string osText = osErrorText();
    const qx_messagerow* row = findRow(code);
    if (!row) return;
    va_list args;
    va_start(args, code);
    std::string text = formatRow(row->format, args);
    va_end(args);
    char buffer[kFormatBuffer];
    std::snprintf(buffer, sizeof buffer, "%s. OS returned the following error: %s", text.c_str(),
                  osText.c_str());
    addMessage(code, buffer, row->severity, std::string(), -1);
}

bool qx_errorlist::foldsInto(int32_t code) const
{
    const size_t n = errorNumbers.size();
    return foldRepeats && n >= 2 && errorNumbers[n - 1] == code && errorNumbers[n - 2] == code;
}

void qx_errorlist::addMessage(int32_t code, const std::string& text, int32_t severity,
                              const std::string& sessionName, int32_t userId)
{
    if (foldsInto(code)) {
        ++repeats.back();
    } else {
        errorNumbers.push_back(code);
        messages.push_back(text);
        severities.push_back(severity);
        repeats.push_back(0);
    }
    if (!logFileName.empty() && severity <= loggingLevel) {
        writeLogLine(code, text, severity, sessionName, userId);
    }
}

void qx_errorlist::writeLogLine(int32_t code, const std::string& text, int32_t severity,
                                const std::string& sessionName, int32_t userId) const
{
    bool existed = fileExists(logFileName.c_str());
    FILE* file = std::fopen(logFileName.c_str(), "a");
    if (!file) return;
    if (!existed) {
        std::fputs("Date, IP_address, Error_number, Severity, session_name, user_id, message\n", file);
    }
    std::time_t now = std::time(nullptr);
    const std::tm* local = std::localtime(&now);
    std::string date = local ? std::string(std::asctime(local)).substr(0, 24) : std::string();
    const char* address = std::getenv("REMOTE_ADDR");
    std::fprintf(file, "\"%s\",\"%s\",%d,%d,\"%s\",%d,\"%s\"\n", date.c_str(),
                 address ? address : "localhost", static_cast<int>(code), static_cast<int>(severity),
                 sessionName.c_str(), static_cast<int>(userId), text.c_str());
    std::fclose(file);
}

int qx_errorlist::indexOf(int n) const
{
    int count = getMessageCount();
    if (n == -1) return count - 1;
    if (n < 1 || n > count) return -1;
    return n - 1;
}

int qx_errorlist::getMessageCount() const
{
    return static_cast<int>(errorNumbers.size());
}

std::string qx_errorlist::getMessage(int n) const
{
    int i = indexOf(n);
    if (i < 0) return std::string();
    if (repeats[i] <= 0) return messages[i];
    char note[64];
    std::snprintf(note, sizeof note, " (Error repeated %d times)", static_cast<int>(repeats[i]) + 1);
    return messages[i] + note;
}

int32_t qx_errorlist::getErrorNumber(int n) const
{
    int i = indexOf(n);
    return i < 0 ? 0 : errorNumbers[i];
}

int32_t qx_errorlist::getRepeats(int n) const
{
    int i = indexOf(n);
    return i < 0 ? 0 : repeats[i];
}

int32_t qx_errorlist::getSeverity(int n) const
{
    int i = indexOf(n);
    return i < 0 ? QX_SEV_WARNING : severities[i];
}

bool qx_errorlist::isValid() const
{
    for (int32_t s : severities) {
        if (s == QX_SEV_ERROR) return false;
    }
    return true;
}

void qx_errorlist::clearAll()
{
    errorNumbers.clear();
    messages.clear();
    severities.clear();
    repeats.clear();
}

void qx_errorlist::appendFrom(const qx_errorlist& other)
{
    // Room first: a list appended to itself then copies its own elements
    // without their moving, and the merge's many messages are copied once.
    const size_t n = other.errorNumbers.size();
    errorNumbers.reserve(errorNumbers.size() + n);
    messages.reserve(messages.size() + n);
    severities.reserve(severities.size() + n);
    repeats.reserve(repeats.size() + n);
    for (size_t i = 0; i < n; ++i) {
        errorNumbers.push_back(other.errorNumbers[i]);
        messages.push_back(other.messages[i]);
        severities.push_back(other.severities[i]);
        repeats.push_back(other.repeats[i]);
    }
}

}  // namespace orvane
