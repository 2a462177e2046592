// The text members of the settings pages' record (AutoProvisionSetting), in
// the order the library stores them after AutoProvisionEnableDHCPOption.
// Data only: the library walks it to load and store the record, phonectl to
// show and set it.
#pragma once

#include "phonecore/provision.h"

namespace phonecore::provision {

struct SettingText {
  const char* member;
  char (AutoProvisionSetting::*field)[AUTOPROVISION_TEXT_SIZE];
};

inline constexpr SettingText kSettingTexts[] = {
    {"DhcpOptionValue", &AutoProvisionSetting::DhcpOptionValue},
    {"AutoProvisionOptionTypeIPv6", &AutoProvisionSetting::AutoProvisionOptionTypeIPv6},
    {"AutoProvisionServerURL", &AutoProvisionSetting::AutoProvisionServerURL},
    {"AutoProvisionUser", &AutoProvisionSetting::AutoProvisionUser},
    {"AutoProvisionPassword", &AutoProvisionSetting::AutoProvisionPassword},
    {"AutopRetryDelay", &AutoProvisionSetting::AutopRetryDelay},
    {"AutoProvisionAESKey16", &AutoProvisionSetting::AutoProvisionAESKey16},
    {"AutoProvisionAESKey16MAC", &AutoProvisionSetting::AutoProvisionAESKey16MAC},
};

}  // namespace phonecore::provision
