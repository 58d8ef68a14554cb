// The check of the Apache settings that the user gave.
#pragma once

namespace msiu {

// Invalid input is an MSIError. In the dialog (isUI) an empty field gets a
// friendly text; in a silent install it fails as a missing property.
void CheckApacheSettings(bool isUI);

}  // namespace msiu
