// The web service interface of the IIS directory provider. The platform
// headers declare it but no library defines its id.
#pragma once

#include <windows.h>
#include <ole2.h>
#include <iads.h>
#include <iiisext.h>

namespace atlutils {

// {EE46D40C-1B38-4A02-898D-358E74DFC9D2}
constexpr IID kIID_IISWebService = {0xEE46D40C, 0x1B38, 0x4A02, {0x89, 0x8D, 0x35, 0x8E, 0x74, 0xDF, 0xC9, 0xD2}};

}  // namespace atlutils
