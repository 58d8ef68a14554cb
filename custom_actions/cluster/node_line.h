// The form of a line of nodelist.txt, before any address in it is looked at.
// Free of Windows headers, so that it builds natively as well, where the
// fuzzer drives it.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

enum class NodeLineForm {
    kNode,          // "Node " and at least six fields, the fourth Windows_NT
    kUnrecognised,  // no "Node " in front
    kIncomplete,    // fewer than six fields
    kNotWindows,    // the fourth field isn't Windows_NT, in any case
};

// One line up to and including its line feed; false at the end of the file.
bool ReadNodeListLine(FILE* file, std::string& line);

// The text behind "Node " cut at every comma, each piece trimmed.
std::vector<std::wstring> SplitNodeFields(const std::wstring& text);

// The form of a trimmed line; `fields` receives the pieces whenever the line
// starts with "Node ".
NodeLineForm CheckNodeLine(const std::wstring& line, std::vector<std::wstring>& fields);

// The log text of a refused form, with %s for the line; null for kNode.
const wchar_t* RefusalFormat(NodeLineForm form);
