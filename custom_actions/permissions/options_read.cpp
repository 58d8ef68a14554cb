// The one place where the permissions look into quorix.dat: the Options
// section's own reader gives the two values.
#include <windows.h>

#include "msiu/error.h"
#include "pal/strings.h"
#include "permissions/permissions.h"

#include "orvane/qx_datfile.h"
#include "parser_log/parser_log.h"

namespace quorix::permissions {

Settings ReadSettings(const std::wstring& datPath)
{
    orvane::qx_datfile file(PAL::NarrowText(datPath).str(), 0, nullptr);
    orvane::logParserErrors(file);
    if (!file.isValid())
        msiu::ThrowError(msiu::kFail, L"Failed to read quorix.dat: %s",
                         PAL::WideText(file.getErrorRepository().getMessage(-1)).c_str());
    file.clearAllErrors();

    const orvane::qx_quorixoptions& options = file.getQuorixOptions();
    return {PAL::WideText(options.getNTIUserGroup()).str(), PAL::WideText(options.getInterFileBasePath()).str()};
}

}  // namespace quorix::permissions
