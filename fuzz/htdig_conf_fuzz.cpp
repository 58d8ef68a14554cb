// The htdig.conf line rewrite. The input is the database folder, a line
// feed, the web address, a line feed and the file. Every line comes out as
// one ended line, and a rewritten file rewrites to itself. Which line comes
// out as which is the help search's golden files' business.
#include "fuzz_support.h"
#include "help_search/help_search.h"

QX_FUZZ_TARGET
{
    const size_t dirEnd = input.find('\n'), urlEnd = input.find('\n', dirEnd + 1);
    if (urlEnd == std::string::npos || dirEnd == std::string::npos) return;
    const auto rewrite = [&](const std::string& text) {
        std::istringstream in(text);
        std::ostringstream out;
        quorix::help_search::RewriteConfLines(in, out, input.substr(0, dirEnd),
                                              input.substr(dirEnd + 1, urlEnd - dirEnd - 1), L"htdig.conf.tmp",
                                              L"htdig.conf");
        return out.str();
    };
    const std::string file = input.substr(urlEnd + 1), once = rewrite(file);
    QX_LAW(qxfuzz::lines(file).size() == qxfuzz::lines(once).size() && (once.empty() || once.back() == '\n'),
           "every line comes out as one ended line", file, once);
    qxfuzz::expectSame("a rewritten file rewrites to itself", once, rewrite(once));
}
