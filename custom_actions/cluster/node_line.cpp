#include "cluster/node_line.h"

#include "pal/strings.h"

bool ReadNodeListLine(FILE* file, std::string& line)
{
    line.clear();
    char buffer[512];
    while (std::fgets(buffer, sizeof buffer, file)) {
        line += buffer;
        if (!line.empty() && line.back() == '\n') return true;
    }
    return !line.empty();
}

std::vector<std::wstring> SplitNodeFields(const std::wstring& text)
{
    std::vector<std::wstring> pieces;
    size_t start = 0;
    for (size_t comma; (comma = text.find(L',', start)) != std::wstring::npos; start = comma + 1)
        pieces.push_back(PAL::Trim(text.substr(start, comma - start)));
    pieces.push_back(PAL::Trim(text.substr(start)));
    return pieces;
}

NodeLineForm CheckNodeLine(const std::wstring& line, std::vector<std::wstring>& fields)
{
    fields.clear();
    if (line.compare(0, 5, L"Node ") != 0) return NodeLineForm::kUnrecognised;
    fields = SplitNodeFields(line.substr(5));
    if (fields.size() < 6) return NodeLineForm::kIncomplete;
    if (PAL::CompareNoCase(fields[3], L"Windows_NT") != 0) return NodeLineForm::kNotWindows;
    return NodeLineForm::kNode;
}

const wchar_t* RefusalFormat(NodeLineForm form)
{
    switch (form) {
    case NodeLineForm::kUnrecognised: return L"Unrecognised node line: %s";
    case NodeLineForm::kIncomplete: return L"Incomplete node line: %s";
    case NodeLineForm::kNotWindows: return L"Not a Windows node: %s";
    case NodeLineForm::kNode: break;
    }
    return nullptr;
}
