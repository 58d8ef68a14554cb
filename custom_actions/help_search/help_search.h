// The help search's configuration file and index: the parts of the two
// deferred functions that tests call directly.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace quorix::help_search {

// The three lines the install writes, each without its line end.
std::string DatabaseDirLine(const std::string& databaseDir);  // forward slashes already
std::string StartUrlLine(const std::string& webUrl);
std::string LimitUrlsLine(const std::string& webUrl);

// Copies in to out line by line, replacing the lines whose first non-blank
// text is one of the three keys. Blank lines come out empty; every line is
// ended and flushed. Throws msiu::MSIError on a failed read of in (naming
// inName) or a failed write of out (naming outName).
void RewriteConfLines(std::istream& in, std::ostream& out, const std::string& databaseDir, const std::string& webUrl,
                      const std::wstring& inName, const std::wstring& outName);

// Execute phase of UpdateHtDigConfDeferred: file F is kept as F.tmp and
// written anew from it.
void UpdateConfFile(const std::wstring& file, const std::wstring& databaseDir, const std::wstring& webUrl);

// The five tool runs, in order, from the six fields of RebuildHtDigIndex.
std::vector<std::wstring> IndexCommandLines(const std::vector<std::wstring>& fields);

// Execute phase of RebuildHtDigIndexDeferred: every run is tried; a run that
// fails is logged and turns into one warning at the end.
void RebuildIndex(const std::vector<std::wstring>& fields);

}  // namespace quorix::help_search
