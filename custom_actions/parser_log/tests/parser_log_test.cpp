// The parser's messages in the install log: one info line per message, with
// the action's prefix, and the list left as it was. The installer sees the
// brackets escaped; the log file shows them as written (tests/e2e).
#include <gtest/gtest.h>

#include "msiu/log.h"
#include "msiu/session.h"
#include "orvane/qx_datfile.h"
#include "parser_log/parser_log.h"
#include "qxtest/session.h"

using namespace orvane;

TEST(LogParserErrors, OneInfoLinePerMessageInOrderWithSeverityAndRepeats)
{
    qx_errorlist list;
    list.setLoggingLevel(3);
    list.addError(qxerr::threadCount, 4);
    for (int i = 0; i < 4; ++i) list.addError(qxerr::databaseParameters, "q.dat", "Swiss[Prot]");
    list.addError(qxerr::noHostname);
    qx_datfile empty, dat;  // a file's list: nothing for an empty one
    dat.getErrorRepository().addError(qxerr::serviceNotRunning);

    qxtest::Session s;
    EXPECT_EQ(msiu::RunAction(s.Handle(), L"ParserLog", false, [&] {
        logParserErrors(list);
        logParserErrors(empty);
        logParserErrors(dat);
    }), 0u);
    const std::wstring db =
        L"Error in the configuration file q.dat - database Swiss[\\[]Prot[\\]] doesn't have enough parameters";
    EXPECT_EQ(s.capture.Texts(msiu::kMsgInfo),
              (std::vector<std::wstring>{
                  L"ParserLog:  qxparser [\\[]3:0[\\]] -- Setting number of threads to 4",
                  L"ParserLog:  qxparser [\\[]2:0[\\]] -- " + db,
                  L"ParserLog:  qxparser [\\[]2:2[\\]] -- " + db + L" (Error repeated 3 times)",
                  L"ParserLog:  qxparser [\\[]1:0[\\]] -- Failed to determine the hostname",
                  L"ParserLog:  qxparser [\\[]1:0[\\]] -- The Quorix service is not running. Unable to retrieve "
                  L"configuration file.",
              }));
    EXPECT_EQ(list.getMessageCount(), 4);
}
