// Directory search for the table actions: relative paths of what a directory
// holds, with options for logging, recursion, directories and skipping.
#pragma once

#include <string>
#include <vector>

namespace msiu {

enum SearchOptions : unsigned {
    kSearchLog = 1,             // log what is searched and ignored
    kSearchRecurse = 2,         // descend into subdirectories
    kSearchDirectories = 4,     // list directories too
    kSearchSkipUnmodified = 8,  // leave out files not written since their creation
    kSearchSkipVersioned = 16,  // leave out files that carry a version resource
};

void FindFiles(const std::wstring& directory, std::vector<std::wstring>& files, unsigned options);
void SearchDirectory(const std::wstring& base, const std::wstring& relative, std::vector<std::wstring>& files,
                     unsigned options);

}  // namespace msiu
