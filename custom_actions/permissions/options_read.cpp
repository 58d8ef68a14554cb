// The one place where the permissions look into quorix.dat. The Options
// section's typed reader is still being written; until it lands, the two
// values are taken from the section's own lines by the reader's rules.
#include <windows.h>

#include "msiu/error.h"
#include "pal/strings.h"
#include "permissions/permissions.h"

#ifdef QX_HAVE_ORVANE
#include "orvane/qx_datfile.h"
#include "parser_log/parser_log.h"
#endif

namespace quorix::permissions {

Settings SettingsFromOptionLines(const std::vector<std::string>& lines)
{
    const OptionValues values = OptionValuesFromLines(lines);
    return {PAL::WideText(values.group).str(), PAL::WideText(values.interFileBasePath).str()};
}

#ifdef QX_HAVE_ORVANE

Settings ReadSettings(const std::wstring& datPath)
{
    orvane::qx_datfile file(PAL::NarrowText(datPath).str(), 0, nullptr);
    orvane::logParserErrors(file);
    if (!file.isValid())
        msiu::ThrowError(msiu::kFail, L"Failed to read quorix.dat: %s",
                         PAL::WideText(file.getErrorRepository().getMessage(-1)).c_str());
    file.clearAllErrors();

    const orvane::qx_customproperty& options = file.getQuorixOptions();
    std::vector<std::string> lines;
    for (int i = 0; i < options.lineCount(); ++i)
        lines.push_back(options.getName(i) + options.getDelimiter(i) + options.getValue(i));
    return SettingsFromOptionLines(lines);
}

#else

// A tree built without the configuration library can't read the file.
Settings ReadSettings(const std::wstring&)
{
    msiu::ThrowError(msiu::kFail, L"Failed to read quorix.dat: %s", L"no configuration library in this build");
}

#endif

}  // namespace quorix::permissions
