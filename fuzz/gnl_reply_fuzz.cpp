// The configuration service's reply, as the client takes it: any bytes of
// any length up to the 32844-byte buffer.

#include <json-c/json.h>

#include <cstdint>
#include <vector>

#include "config/gnl_config_internal.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > GNL_CONFIG_BUFFER_SIZE) return 0;
  std::vector<uint8_t> reply(data, data + size);
  json_object* o = phonecore::config::parse_reply(reply.data(), reply.size());
  json_object_put(o);
  return 0;
}
