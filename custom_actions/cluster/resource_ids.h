// Ids of the dialog templates, controls and strings in resources/quorixca.rc.
#pragma once

namespace cluster_ids {

enum Dialog : int { kNodeListDialog = 102, kNodeEditDialog = 103 };

enum Control : int {
    kNodeList = 1003,
    kAdd = 1004,
    kEdit = 1005,
    kDelete = 1006,
    kUNCPath = 1009,
    kBrowse = 1010,
    kLocalPath = 1011,
    kUseHostName = 1013,
    kHostName = 1014,
    kUseIPAddress = 1015,
    kIPAddress = 1016,
    kPort = 1017,
    kCpuCount = 1019,
    kCpuSpinner = 1020,
};

enum String : unsigned {
    kUNCPathEmpty = 105,
    kUNCPathNoShare = 106,
    kPathBadCharacters = 107,
    kLocalPathEmpty = 108,
    kLocalPathNoDrive = 109,
    kPortRange = 110,
    kCpuRange = 111,
    kHostNameEmpty = 112,
    kHostNameBadCharacters = 113,
    kIPAddressEmpty = 114,
    kIPAddressFormat = 115,
    kHostNameIsAddress = 116,
    kHostNameMissing = 117,
    kUNCServerMissing = 118,
    kIPAddressBadCharacters = 119,
    kBrowseTitle = 120,
    kUNCServerInvalid = 121,
    kWarningCaption = 122,
    kCantOpenNodeList = 123,
    kNodeListReadError = 124,
    kNodeListLinesSkipped = 125,
    kHostNameLabel = 126,
    kNotUNCPath = 127,
    kAddressNotUsable = 128,
    kNodesNotUnique = 129,
    kNoIPv6 = 130,
    kNoNodes = 131,
};

}  // namespace cluster_ids
