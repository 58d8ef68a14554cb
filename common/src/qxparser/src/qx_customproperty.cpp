#include "orvane/qx_customproperty.h"

#include "qx_text.h"

namespace orvane {

namespace {
inline bool isDelimiterChar(char c)
{
    return c == ' ' || c == '\t' || c == ':';
}
}  // namespace

qx_customproperty::qx_customproperty() : defaultDelimiter(" ") {}

qx_customproperty::~qx_customproperty() = default;

int qx_customproperty::findName(const std::string& name, int from) const
{
    if (from < 0) from = 0;
    for (size_t i = static_cast<size_t>(from); i < names.size(); ++i) {
        if (names[i] == name) return static_cast<int>(i);
    }
    return -1;
}

std::string qx_customproperty::getName(int i) const
{
    return i >= 0 && i < lineCount() ? names[i] : std::string();
}

std::string qx_customproperty::getValue(int i) const
{
    return i >= 0 && i < lineCount() ? values[i] : std::string();
}

std::string qx_customproperty::getDelimiter(int i) const
{
    return i >= 0 && i < lineCount() ? delimiters[i] : std::string();
}

void qx_customproperty::setName(int i, const std::string& text)
{
    if (i >= 0 && i < lineCount()) names[i] = text;
}

void qx_customproperty::setValue(int i, const std::string& text)
{
    if (i < 0 || i >= lineCount()) return;
    values[i] = text;
    // A key that stood alone needs something between it and its new value.
    if (delimiters[i].empty() && !names[i].empty()) delimiters[i] = defaultDelimiter;
}

void qx_customproperty::setDefaultDelimiter(const char* text)
{
    defaultDelimiter = (text && *text) ? text : " ";
}

bool qx_customproperty::uncomment(int i, const char* delimiter)
{
    if (i < 0 || i >= lineCount()) return false;
    std::string delim = delimiter ? delimiter : defaultDelimiter;
    std::string text = values[i];
    size_t first = text.find_first_not_of("# \t");
    text.erase(0, first == std::string::npos ? text.size() : first);
    size_t at = delim.empty() ? std::string::npos : text.find(delim);
    if (at == std::string::npos) return false;
    names[i] = text.substr(0, at);
    values[i] = text.substr(at + delim.size());
    delimiters[i] = delim;
    return true;
}

void qx_customproperty::clearLines()
{
    names.clear();
    values.clear();
    delimiters.clear();
    defaultDelimiter = " ";
}

void qx_customproperty::copyLines(const qx_customproperty& other)
{
    names = other.names;
    values = other.values;
    delimiters = other.delimiters;
    defaultDelimiter = other.defaultDelimiter;
}

void qx_customproperty::appendEntry(std::string name, std::string value, std::string delimiter,
                                    bool atFront)
{
    if (atFront) {
        names.insert(names.begin(), std::move(name));
        values.insert(values.begin(), std::move(value));
        delimiters.insert(delimiters.begin(), std::move(delimiter));
    } else {
        names.push_back(std::move(name));
        values.push_back(std::move(value));
        delimiters.push_back(std::move(delimiter));
    }
}

void qx_customproperty::parseLine(const char* line, bool atFront)
{
    parseLine(line ? std::string_view(line) : std::string_view(), atFront);
}

void qx_customproperty::parseLine(std::string_view line, bool atFront)
{
    size_t begin = 0;
    while (begin < line.size() && (line[begin] == ' ' || line[begin] == '\t')) ++begin;
    size_t end = line.size();
    while (end > begin && (line[end - 1] == '\r' || line[end - 1] == '\n')) --end;
    std::string_view text = line.substr(begin, end - begin);

    if (text.empty() || text[0] == '#') {
        appendEntry(std::string(), std::string(text), std::string(), atFront);
        return;
    }
    size_t at = 0;
    while (at < text.size() && !isDelimiterChar(text[at])) ++at;
    if (at == text.size()) {
        appendEntry(std::string(text), std::string(), std::string(), atFront);
        return;
    }
    size_t valueAt = at;
    while (valueAt < text.size() && isDelimiterChar(text[valueAt])) ++valueAt;
    appendEntry(std::string(text.substr(0, at)), std::string(text.substr(valueAt)),
                std::string(text.substr(at, valueAt - at)), atFront);
}

void qx_customproperty::setProperty(const std::string& name, const std::string& value, bool atFront)
{
    int i = findName(name, 0);
    if (i >= 0) {
        setValue(i, value);
    } else {
        appendEntry(name, value, defaultDelimiter, atFront);
    }
}

void qx_customproperty::setBoolProperty(const std::string& name, bool flag, bool atFront)
{
    setProperty(name, flag ? "1" : "0", atFront);
}

void qx_customproperty::removeProperty(const std::string& name)
{
    size_t out = 0;
    for (size_t i = 0; i < names.size(); ++i) {
        if (names[i] == name) continue;
        if (out != i) {
            names[out] = std::move(names[i]);
            values[out] = std::move(values[i]);
            delimiters[out] = std::move(delimiters[i]);
        }
        ++out;
    }
    names.resize(out);
    values.resize(out);
    delimiters.resize(out);
}

void qx_customproperty::writeLines(FILE* file) const
{
    for (size_t i = 0; i < names.size(); ++i) {
        qxparser_internal::writeText(file, names[i]);
        qxparser_internal::writeText(file, delimiters[i]);
        qxparser_internal::writeLine(file, values[i]);
    }
}

}  // namespace orvane
