// A Cron job line: a line that parses, written out again from its time sets
// and command, parses into the same sets and command; a line that doesn't
// parse leaves at most one message, and that one a Cron field's.
#include <array>
#include <cstdint>
#include <string>

#include "fuzz_support.h"
#include "orvane/qx_errors.h"
#include "orvane/qx_serversections.h"

using orvane::qx_cronjob;
using orvane::qx_cronoptions;
using orvane::qx_errorlist;

namespace {

template <size_t N>
std::string list(const std::array<bool, N>& values)
{
    std::string out;
    for (size_t i = 0; i < N; ++i)
        if (values[i]) out += (out.empty() ? "" : ",") + std::to_string(i);
    return out;
}

std::string describe(const qx_cronjob& job)
{
    return "minutes=" + list(job.minutes) + "\nhours=" + list(job.hours) + "\ndays=" + list(job.daysOfMonth) +
           "\nmonths=" + list(job.months) + "\nweekdays=" + list(job.daysOfWeek) + "\ncommand=" + job.command;
}

// An empty set is written as a range that runs backwards, which sets nothing.
template <size_t N>
std::string field(const std::array<bool, N>& values, int low)
{
    const std::string text = list(values);
    return text.empty() ? std::to_string(N - 1) + "-" + std::to_string(low) : text;
}

std::string compose(const qx_cronjob& job)
{
    return field(job.minutes, 0) + " " + field(job.hours, 0) + "\t" + field(job.daysOfMonth, 1) + " " +
           field(job.months, 1) + " " + field(job.daysOfWeek, 0) + " " + job.command;
}

bool isCronCode(int32_t code)
{
    return code >= orvane::qxerr::cronCharacter && code <= orvane::qxerr::cronDash;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string line(reinterpret_cast<const char*>(data), size);
    qx_cronjob first;
    qx_errorlist errors;
    if (!qx_cronoptions::parseJob(line, first, errors, "quorix.dat")) {
        if (errors.getMessageCount() > 1 || (errors.getMessageCount() == 1 && !isCronCode(errors.getErrorNumber(1))))
            qxfuzz::broken("a refused line has at most one Cron message", line, errors.getMessage(-1));
        return 0;
    }
    if (errors.getMessageCount() != 0) qxfuzz::broken("a job line parses quietly", line, errors.getMessage(1));
    if (first.command.empty() || first.command.find_first_of("\r\n") != std::string::npos)
        qxfuzz::broken("a command is one non-empty line", line, first.command);
    if (first.daysOfMonth[0] || first.months[0])
        qxfuzz::broken("days of the month and months start at 1", line, describe(first));

    const std::string again = compose(first);
    qx_cronjob second;
    if (!qx_cronoptions::parseJob(again, second, errors, "quorix.dat"))
        qxfuzz::broken("a written job line parses", line, again + "\n" + errors.getMessage(-1));
    qxfuzz::expectSame("a written job line parses into the same job", describe(first), describe(second));
    return 0;
}
