// The pieces of a provisioning run that tests look at on their own.
#pragma once

#include <cstdint>

#include "config/gnl_frame.h"

namespace phonecore::provision {

// The request to the configuration service about /appconfigs/phone.cfg
// (operation kOperationUploadConfig or kOperationDownloadConfig): a head
// of category 4102, format 2, everything else zero; 77 bytes go out.
config::GnlConfigRecord config_file_request(uint16_t operation);

}  // namespace phonecore::provision
