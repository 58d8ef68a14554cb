// The htdig.conf line rewrite. The input is the database folder, a line
// feed, the web address, a line feed and the file. Every line comes out as
// one line: a blank one empty, one whose first text is a key as the key's
// line, any other as it stood; a rewritten file rewrites to itself.
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "help_search/help_search.h"

using namespace quorix::help_search;

namespace {

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) out.push_back(line);
    return out;
}

std::string rewrite(const std::string& text, const std::string& databaseDir, const std::string& webUrl)
{
    std::istringstream in(text);
    std::ostringstream out;
    RewriteConfLines(in, out, databaseDir, webUrl, L"htdig.conf.tmp", L"htdig.conf");
    return out.str();
}

std::string expected(const std::string& line, const std::string& databaseDir, const std::string& webUrl)
{
    const size_t first = line.find_first_not_of(" \t");
    if (first == std::string::npos) return "";
    const std::string rest = line.substr(first);
    if (rest.rfind("database_dir:", 0) == 0) return DatabaseDirLine(databaseDir);
    if (rest.rfind("start_url:", 0) == 0) return StartUrlLine(webUrl);
    if (rest.rfind("limit_urls_to:", 0) == 0) return LimitUrlsLine(webUrl);
    return line;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    const size_t dirEnd = input.find('\n');
    if (dirEnd == std::string::npos) return 0;
    const size_t urlEnd = input.find('\n', dirEnd + 1);
    if (urlEnd == std::string::npos) return 0;
    const std::string databaseDir = input.substr(0, dirEnd);
    const std::string webUrl = input.substr(dirEnd + 1, urlEnd - dirEnd - 1);
    const std::string file = input.substr(urlEnd + 1);

    const std::string once = rewrite(file, databaseDir, webUrl);
    const std::vector<std::string> in = lines(file), out = lines(once);
    if (in.size() != out.size() || (!once.empty() && once.back() != '\n'))
        qxfuzz::broken("every line comes out as one ended line", file, once);
    for (size_t i = 0; i < in.size(); ++i)
        qxfuzz::expectSame("a line is blank, a key's line or itself", expected(in[i], databaseDir, webUrl), out[i]);
    qxfuzz::expectSame("a rewritten file rewrites to itself", once, rewrite(once, databaseDir, webUrl));
    return 0;
}
