// Client of the configuration service: one GnlConfigRecord out and one
// back per call, on a fresh socket, through frame_exchange (5000 ms).

#include <json-c/json.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/c_boundary.h"
#include "config/gnl_config_internal.h"
#include "config/gnl_frame.h"
#include "phonecore/config.h"

using namespace phonecore::config;

namespace phonecore::config {

void fill_head(GnlConfigRecord* r, uint16_t category, uint16_t operation, std::optional<uint16_t> format,
               const char* path) {
  r->magic = kGnlMagic;
  r->category = category;
  r->operation = operation;
  if (format) r->format = *format;
  std::memset(r->path, 0, sizeof r->path);
  r->path_length = 0;
  if (path != nullptr) {
    const size_t n = strnlen(path, sizeof r->path - 1);
    std::memcpy(r->path, path, n);
    r->path_length = static_cast<uint16_t>(n);
  }
}

std::optional<size_t> exchange(GnlConfigRecord* r, uint16_t expect_category) {
  const auto got = frame_exchange(kConfigPort, *r, *r);
  if (!got) return std::nullopt;
  auto head = decode_gnl_head({reinterpret_cast<const uint8_t*>(r), *got});
  if (!head || head->category != expect_category) return std::nullopt;
  // The data as far as the reply holds it; one byte stays for a terminator.
  const size_t held = *got - kGnlHeaderSize;
  return std::min<size_t>({head->data_length, held, kGnlDataSize - 1});
}

json_object* parse_reply(const uint8_t* bytes, size_t size) {
  auto head = decode_gnl_head({bytes, size});
  if (!head) return nullptr;
  const size_t n = std::min<size_t>({head->data_length, size - kGnlHeaderSize, kGnlDataSize - 1});
  // No memory for the copy reads as no reply.
  return phonecore::base::or_failure(static_cast<json_object*>(nullptr), [&] {
    std::string text(reinterpret_cast<const char*>(bytes) + kGnlHeaderSize, n);
    return json_tokener_parse(text.c_str());
  });
}

}  // namespace phonecore::config

namespace {

// The one cache entry of a category.
int slot_of(int category) {
  if (category >= kCategoryFile) return GNL_CONFIG_CACHE_SIZE - 1;
  const int slot = category - kCategoryNetwork;
  return slot >= 0 && slot < GNL_CONFIG_CACHE_SIZE - 1 ? slot : -1;
}

json_object* read_store(int category, const char* path, uint16_t format) {
  auto* r = static_cast<GnlConfigRecord*>(std::calloc(1, sizeof(GnlConfigRecord)));
  if (r == nullptr) return nullptr;
  fill_head(r, static_cast<uint16_t>(category), kOperationRead, format, path);
  json_object* result = nullptr;
  if (auto n = exchange(r, static_cast<uint16_t>(category))) {
    r->data[*n] = 0;
    result = json_tokener_parse(reinterpret_cast<const char*>(r->data));
  }
  std::free(r);
  return result;
}

// Sends data of length bytes as a write. false when it does not fit.
bool write_store(uint16_t category, const char* path, uint16_t format, bool set_format, const void* data,
                 size_t length) {
  if (length > kGnlDataSize - kGnlTrailer) return false;
  // The buffer isn't cleared: without set_format the format word is what
  // the heap held, and the service ignores it for its numbered stores.
  auto* r = static_cast<GnlConfigRecord*>(std::malloc(sizeof(GnlConfigRecord)));
  if (r == nullptr) return false;
  fill_head(r, category, kOperationWrite, set_format ? std::optional<uint16_t>(format) : std::nullopt, path);
  std::memcpy(r->data, data, length);
  r->data[length] = 0;
  r->data_length = static_cast<uint16_t>(length);
  exchange(r, category);
  std::free(r);
  return true;
}

}  // namespace

extern "C" {

json_object* g_config_json[GNL_CONFIG_CACHE_SIZE] = {};

json_object* read_gnl_config(int category, const char* path) noexcept {
  return read_store(category, path, kFormatJson);
}

json_object* read_gnl_config_json(const char* path) noexcept {
  if (path == nullptr) return nullptr;
  return read_store(kCategoryFile, path, kFormatJson);
}

int read_gnl_config_hex(const char* path, char** buffer) noexcept {
  if (path == nullptr) return -1;
  auto* r = static_cast<GnlConfigRecord*>(std::calloc(1, sizeof(GnlConfigRecord)));
  if (r == nullptr) return 0;
  fill_head(r, kCategoryFile, kOperationRead, kFormatRaw, path);
  int result = 0;
  if (auto n = exchange(r, kCategoryFile)) {
    // An empty file still gives a block to free.
    char* copy = static_cast<char*>(std::malloc(*n > 0 ? *n : 1));
    if (copy != nullptr) {
      std::memcpy(copy, r->data, *n);
      if (buffer != nullptr) *buffer = copy;
      else std::free(copy);
      result = static_cast<int>(*n);
    }
  }
  std::free(r);
  return result;
}

int write_gnl_config(int category, const char* path, json_object* object) noexcept {
  const char* text = object != nullptr ? json_object_get_string(object) : "";
  write_store(static_cast<uint16_t>(category), path, 0, false, text, std::strlen(text) + 1);
  return 0;
}

int write_gnl_config_json(const char* path, json_object* object) noexcept {
  if (path == nullptr || object == nullptr) return -1;
  const char* text = json_object_get_string(object);
  return write_store(kCategoryFile, path, kFormatJson, true, text, std::strlen(text) + 1) ? 0 : -1;
}

int write_gnl_config_hex(const char* path, const void* buffer, int length) noexcept {
  if (path == nullptr || buffer == nullptr || length < 0) return -1;
  return write_store(kCategoryFile, path, kFormatRaw, true, buffer, static_cast<size_t>(length)) ? 0 : -1;
}

int reload_config(int category, const char* path) noexcept {
  auto* r = static_cast<GnlConfigRecord*>(std::calloc(1, sizeof(GnlConfigRecord)));
  if (r == nullptr) return -1;
  fill_head(r, static_cast<uint16_t>(category), kOperationReload, kFormatRaw, path);
  const bool answered = exchange(r, static_cast<uint16_t>(category)).has_value();
  std::free(r);
  return answered ? 0 : -1;
}

json_object* read_network_config(void) noexcept { return read_gnl_config(kCategoryNetwork, nullptr); }

json_object* read_status_config(void) noexcept { return read_gnl_config(kCategoryStatus, nullptr); }

int open_config_client(void) noexcept {
  // The entries are forgotten, not released.
  for (json_object*& entry : g_config_json) entry = nullptr;
  return 0;
}

int close_config_client(void) noexcept { return 0; }

int refresh_config(int category, int direction, const char* path) noexcept {
  const int slot = slot_of(category);
  if (slot < 0) return 0;
  const bool shared = category >= kCategoryFile;
  if (direction == 0) {
    // An earlier object in the entry is overwritten without being released.
    g_config_json[slot] = read_gnl_config(category, shared ? path : nullptr);
  } else {
    write_gnl_config(category, path, g_config_json[slot]);
  }
  return 0;
}

json_object* get_config_slot(int category) noexcept {
  const int slot = slot_of(category);
  if (slot < 0) return nullptr;
  if (g_config_json[slot] == nullptr) refresh_config(category, 0, nullptr);
  return g_config_json[slot];
}

int get_config_file_ABSpath(const char* name, char* destination) noexcept {
  if (destination == nullptr) return 0;
  sprintf(destination, "%s/%s", "/appconfigs", name != nullptr ? name : "");
  return 0;
}

int read_json_val_from_file(int argc, char** argv) noexcept {
  if (argc < 3 || argv == nullptr || argv[2] == nullptr) return -1;
  json_object* root = json_object_from_file(argv[2]);
  if (root == nullptr) return -1;
  json_object* o = root;
  for (int i = 3; i < argc; ++i) {
    if (!json_object_object_get_ex(o, argv[i], &o)) {
      json_object_put(root);
      return 0;
    }
  }
  printf("%s", json_object_get_string(o));
  json_object_put(root);
  return 0;
}

}  // extern "C"
