// Any settings file's JSON through the loader of ap_cfg, the settings
// pages' get copy and the store of their record. The texts of the result
// must stay terminated within their fields.

#include <json-c/json.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/json.h"
#include "phonecore/provision.h"
#include "provision/settings.h"

namespace {

void check_terminated(const char* field, size_t size) {
  if (strnlen(field, size) == size) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  namespace provision = phonecore::provision;
  const std::string text(reinterpret_cast<const char*>(data), size);
  phonecore::json::Owned root(json_tokener_parse(text.c_str()));

  autoprovision_cfg_t cfg;
  std::memset(&cfg, 0x7f, sizeof cfg);
  provision::load_settings(root.get(), cfg);
  for (const char* field : {cfg.AutoProvisionServerURL, cfg.AutoProvisionUser, cfg.AutoProvisionPassword,
                            cfg.AutoProvisionUpgradeURL, cfg.AutoProvisionGetCrtName})
    check_terminated(field, AUTOPROVISION_TEXT_SIZE);
  if (cfg.AutopRetryDelay < 1 || cfg.AutopRetryDelay > 300 || cfg.ZeroWaitTime < 1 || cfg.ZeroWaitTime > 100)
    std::abort();
  for (int32_t slot : cfg.AutoProvisionWeeklyMask)
    if (slot < -1 || slot > 6) std::abort();

  AutoProvisionSetting setting;
  std::memset(&setting, 'x', sizeof setting);  // no terminators at all
  provision::copy_settings(root.get(), setting);
  // The store reads the fields as they are, terminated or not.
  phonecore::json::Owned copy(json_object_new_object());
  provision::store_settings(copy.get(), setting);
  if (json_object_object_length(phonecore::json::at(copy.get(), provision::kSection)) != 9) std::abort();
  if (json_object_is_type(root.get(), json_type_object)) provision::store_settings(root.get(), setting);
  return 0;
}
