#include "support.h"

namespace iistest {

std::string N(const std::wstring& w) { return std::string(w.begin(), w.end()); }

std::vector<std::wstring> PackageTables(bool iisSelected)
{
    return {
        L"CREATE TABLE `Directory` (`Directory` CHAR(72) NOT NULL, `Directory_Parent` CHAR(72), "
        L"`DefaultDir` CHAR(255) NOT NULL PRIMARY KEY `Directory`)",
        L"INSERT INTO `Directory` (`Directory`, `DefaultDir`) VALUES ('TARGETDIR', 'SourceDir')",
        L"CREATE TABLE `Feature` (`Feature` CHAR(38) NOT NULL, `Feature_Parent` CHAR(38), `Title` CHAR(64), "
        L"`Description` CHAR(255), `Display` SHORT, `Level` SHORT NOT NULL, `Directory_` CHAR(72), "
        L"`Attributes` SHORT NOT NULL PRIMARY KEY `Feature`)",
        L"CREATE TABLE `Component` (`Component` CHAR(72) NOT NULL, `ComponentId` CHAR(38), "
        L"`Directory_` CHAR(72) NOT NULL, `Attributes` SHORT NOT NULL, `Condition` CHAR(255), "
        L"`KeyPath` CHAR(72) PRIMARY KEY `Component`)",
        L"CREATE TABLE `FeatureComponents` (`Feature_` CHAR(38) NOT NULL, `Component_` CHAR(72) NOT NULL "
        L"PRIMARY KEY `Feature_`, `Component_`)",
        std::wstring(L"INSERT INTO `Feature` (`Feature`, `Level`, `Attributes`) VALUES ('IISWeb', ") +
            (iisSelected ? L"1" : L"200") + L", 0)",
        L"INSERT INTO `Component` (`Component`, `ComponentId`, `Directory_`, `Attributes`) VALUES "
        L"('QuorixWebSiteIIS', '{7B2E4D61-3C5A-4F8E-9D10-2A6B8C4E1F37}', 'TARGETDIR', 0)",
        L"INSERT INTO `FeatureComponents` (`Feature_`, `Component_`) VALUES ('IISWeb', 'QuorixWebSiteIIS')",
        L"CREATE TABLE `CustomAction` (`Action` CHAR(72) NOT NULL, `Type` SHORT NOT NULL, `Source` CHAR(72), "
        L"`Target` CHAR(255), `ExtendedType` LONG PRIMARY KEY `Action`)",
        L"CREATE TABLE `Binary` (`Name` CHAR(72) NOT NULL, `Data` OBJECT NOT NULL PRIMARY KEY `Name`)",
        L"INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) VALUES "
        L"('QuorixIISConfigExec', 3073, 'QuorixCA', 'QuorixIISConfigDeferred')",
    };
}

CostedSession::CostedSession(const qxtest::Props& props, bool iisSelected)
    : qxtest::Session(props, PackageTables(iisSelected))
{
    for (const wchar_t* a : {L"CostInitialize", L"FileCost", L"CostFinalize"}) MsiDoActionW(Handle(), a);
    capture.messages.clear();
}

}  // namespace iistest
