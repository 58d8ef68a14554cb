// A Cron job line: a line that parses, written out again from its time sets
// and command, parses into the same sets and command; a line that doesn't
// parse leaves at most one message, and that one a Cron field's.
#include "fuzz_support.h"
#include "orvane/qx_errors.h"
#include "orvane/qx_serversections.h"

using namespace orvane;

// An empty set is written as a range that runs backwards, which sets nothing.
template <size_t N>
static std::string field(const std::array<bool, N>& values, int low)
{
    std::string out;
    for (size_t i = 0; i < N; ++i)
        if (values[i]) out += (out.empty() ? "" : ",") + std::to_string(i);
    return out.empty() ? std::to_string(N - 1) + "-" + std::to_string(low) : out;
}

// The one text of a job's sets and command, so two jobs are the same when their texts are.
static std::string compose(const qx_cronjob& job)
{
    return field(job.minutes, 0) + " " + field(job.hours, 0) + "\t" + field(job.daysOfMonth, 1) + " " +
           field(job.months, 1) + " " + field(job.daysOfWeek, 0) + " " + job.command;
}

QX_FUZZ_TARGET
{
    qx_cronjob first, second;
    qx_errorlist errors;
    if (!qx_cronoptions::parseJob(input, first, errors, "quorix.dat")) {
        const int32_t code = errors.getMessageCount() ? errors.getErrorNumber(1) : qxerr::cronCharacter;
        return QX_LAW(errors.getMessageCount() <= 1 && code >= qxerr::cronCharacter && code <= qxerr::cronDash,
                      "a refused line has at most one Cron message", input, errors.getMessage(-1));
    }
    QX_LAW(errors.getMessageCount() == 0, "a job line parses quietly", input, errors.getMessage(1));
    QX_LAW(!first.command.empty() && first.command.find_first_of("\r\n") == std::string::npos,
           "a command is one non-empty line", input, first.command);
    const std::string again = compose(first);
    QX_LAW(!first.daysOfMonth[0] && !first.months[0], "days of the month and months start at 1", input, again);
    QX_LAW(qx_cronoptions::parseJob(again, second, errors, "quorix.dat"), "a written job line parses", input,
           again + "\n" + errors.getMessage(-1));
    qxfuzz::expectSame("a written job line parses into the same job", again, compose(second));
}
