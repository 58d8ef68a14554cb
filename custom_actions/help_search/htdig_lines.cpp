// The line rewrite of htdig.conf, kept free of Windows headers so that it
// builds natively as well, where the fuzzer drives it.
#include <istream>
#include <ostream>
#include <string>
#include <utility>

#include "help_search/help_search.h"
#include "msiu/error.h"

namespace quorix::help_search {

std::string DatabaseDirLine(const std::string& databaseDir) { return "database_dir:\t" + databaseDir; }
std::string StartUrlLine(const std::string& webUrl) { return "start_url:\t" + webUrl + "/home.html"; }
std::string LimitUrlsLine(const std::string& webUrl) { return "limit_urls_to:\t" + webUrl; }

void RewriteConfLines(std::istream& in, std::ostream& out, const std::string& databaseDir, const std::string& webUrl,
                      const std::wstring& inName, const std::wstring& outName)
{
    // The key must be the first text of the line: a commented-out key, or
    // one behind another key, stays as it is.
    const std::pair<const char*, std::string> keys[] = {
        {"database_dir:", DatabaseDirLine(databaseDir)},
        {"start_url:", StartUrlLine(webUrl)},
        {"limit_urls_to:", LimitUrlsLine(webUrl)},
    };
    for (std::string line; std::getline(in, line);) {
        const size_t p = line.find_first_not_of(" \t");
        const std::string* replacement = nullptr;
        if (p != std::string::npos) {
            for (const auto& key : keys) {
                if (line.find(key.first) == p) {
                    replacement = &key.second;
                    break;
                }
            }
        }
        if (p == std::string::npos) out << '\n';
        else out << (replacement ? *replacement : line) << '\n';
        out.flush();
    }
    if (in.fail() && !in.eof()) msiu::ThrowError(msiu::kFail, L"Failed reading file: %s", inName.c_str());
    if (out.fail()) msiu::ThrowError(msiu::kFail, L"Failed writing file: %s", outName.c_str());
}

}  // namespace quorix::help_search
