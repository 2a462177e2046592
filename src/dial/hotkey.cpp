// Hot keys: the process's list of key bindings from
// "default/programing_key.cfg", its reload monitor on the bus, the editors
// of single bindings in the file, and the lookups of a pressed key.
//
// The list is shared without a lock between the monitor's thread, which
// rebuilds it, and the threads that look keys up. The order of writes
// keeps lookups sound: a rebuild first sets hotkey_data_lens to 0, then
// publishes the new (cleared) list, then fills it record by record,
// raising hotkey_data_lens behind each record. A lookup reads the list
// pointer, then the count, and never walks past the room of the list it
// holds. Lookups announce themselves in a counter while they read; the
// rebuild frees the list it replaced only once that counter has been
// seen at zero after the new list was published.

#include <json-c/json.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "base/atomic_field.h"
#include "base/json.h"
#include "bus/vocabulary.h"
#include "dial/hotkey_internal.h"
#include "phonecore/bus_client.h"
#include "phonecore/config.h"
#include "phonecore/hotkey.h"

namespace json = phonecore::json;

using phonecore::base::load;
using phonecore::base::store;

static_assert(HOTKEY_MSGTYPE_RELOAD == phonecore::bus::kMsgtypeHotkeyReload);
static_assert(sizeof(hotkey_record) == 12 + 4 * HOTKEY_TEXT_SIZE);
static_assert(offsetof(hotkey_record, Type) == 4 && offsetof(hotkey_record, Line) == 8 &&
              offsetof(hotkey_record, Key) == 12 && offsetof(hotkey_record, Value) == 76 &&
              offsetof(hotkey_record, Label) == 140 && offsetof(hotkey_record, Extension) == 204);
static_assert(sizeof(hotkey_node) == 6 * HOTKEY_TEXT_SIZE && offsetof(hotkey_node, Type) == 64 &&
              offsetof(hotkey_node, Line) == 128 && offsetof(hotkey_node, Label) == 192 &&
              offsetof(hotkey_node, Value) == 256 && offsetof(hotkey_node, Extension) == 320);

namespace phonecore::dial {
namespace {

// Each handler does nothing; the caller of HoykeyProcess acts on the type.
int hotkey_no_action(hotkey_record*, int, int) { return 0; }

// The room of a list lies in front of its first record.
struct ListHead {
  int32_t capacity;
  int32_t reserved;
};
static_assert(sizeof(ListHead) % alignof(hotkey_record) == 0);

hotkey_record* list_allocate(int capacity) {
  auto* head = static_cast<ListHead*>(std::calloc(1, sizeof(ListHead) + sizeof(hotkey_record) * capacity));
  if (head == nullptr) return nullptr;
  head->capacity = capacity;
  return reinterpret_cast<hotkey_record*>(head + 1);
}

int list_capacity(const hotkey_record* list) {
  return list != nullptr ? reinterpret_cast<const ListHead*>(list)[-1].capacity : 0;
}

void list_free(hotkey_record* list) {
  if (list != nullptr) std::free(reinterpret_cast<ListHead*>(list) - 1);
}

// Rebuilds and appends are serialised among themselves; lookups take no
// lock.
pthread_mutex_t g_rebuild_mutex = PTHREAD_MUTEX_INITIALIZER;

// Lookups under way. Sequentially consistent with the publication of the
// list pointer: a rebuild that sees no lookup after publishing knows that
// every later lookup holds the new list.
std::atomic<int> g_lookups{0};

struct Lookup {
  Lookup() { g_lookups.fetch_add(1); }
  ~Lookup() { g_lookups.fetch_sub(1); }
  Lookup(const Lookup&) = delete;
  Lookup& operator=(const Lookup&) = delete;
};

void publish_list(hotkey_record* list) { std::atomic_ref<hotkey_record*>(_g_pHoykey_list).store(list); }

hotkey_record* published_list() { return std::atomic_ref<hotkey_record*>(_g_pHoykey_list).load(); }

constexpr useconds_t kLookupDrainUs = 100;

void wait_for_lookups() {
  while (g_lookups.load() != 0) usleep(kLookupDrainUs);
}

// Appends rows of a bindings array behind the valid records.
void append_rows(json_object* array, int count) {
  hotkey_record* list = published_list();
  const int capacity = list_capacity(list);
  int next = load(hotkey_data_lens);
  for (int i = 0; i < count && next < capacity; ++i) {
    json_object* element = json_object_array_get_idx(array, static_cast<size_t>(i));
    hotkey_record& record = list[next];
    record = hotkey_record{};
    fill_record(record, element);
    store(hotkey_data_lens, ++next);
  }
}

// The first element of a bindings array whose "RealKey", cut to 8 bits,
// is key.
json_object* find_by_real_key(json_object* array, int key) {
  for (size_t i = 0; i < json::length(array); ++i) {
    json_object* element = json_object_array_get_idx(array, i);
    if ((json::integer(element, "RealKey") & 0xff) == key) return element;
  }
  return nullptr;
}

void set_member_number(json_object* object, const char* key, int value) {
  char text[16];
  std::snprintf(text, sizeof text, "%d", value);
  json::put(object, key, json::new_text(text));
}

void node_to_element(const hotkey_node& node, json_object* element) {
  json::put(element, "Key", json::new_text(node.Key));
  json::put(element, "Type", json::new_text(node.Type));
  json::put(element, "Line", json::new_text(node.Line));
  json::put(element, "Value", json::new_text(node.Value));
  json::put(element, "Label", json::new_text(node.Label));
  json::put(element, "Extension", json::new_text(node.Extension));
}

// The valid part of the list as a lookup sees it.
struct ListView {
  hotkey_record* records;
  int count;
};

// Call with a Lookup held.
ListView current_list() {
  hotkey_record* list = published_list();
  const int count = load(hotkey_data_lens);
  const int capacity = list_capacity(list);
  return {list, count < capacity ? count : capacity};
}

// A copy of the first record of the key, so that nothing of the list is
// held once the lookup ends.
bool find_record(int key, hotkey_record* found) {
  const Lookup lookup;
  const ListView view = current_list();
  for (int i = 0; i < view.count; ++i) {
    if (view.records[i].RealKey == key) {
      *found = view.records[i];
      return true;
    }
  }
  return false;
}

int reload_on_change(uint16_t, uint16_t msgtype, void*, uint32_t) {
  if (msgtype == HOTKEY_MSGTYPE_RELOAD) LocalReload();
  return 0;
}

}  // namespace

void fill_record(hotkey_record& record, json_object* element) {
  record.RealKey = static_cast<uint8_t>(json::integer(element, "RealKey") & 0xff);
  record.Type = json::text_to_int(json::text(element, "Type"));
  record.Line = json::text_to_int(json::text(element, "Line"));
  json::copy_text(record.Key, sizeof record.Key, json::text(element, "Key"), sizeof record.Key - 1);
  json::copy_text(record.Value, sizeof record.Value, json::text(element, "Value"), sizeof record.Value - 1);
  json::copy_text(record.Label, sizeof record.Label, json::text(element, "Label"), sizeof record.Label - 1);
  json::copy_text(record.Extension, sizeof record.Extension, json::text(element, "Extension"),
                  sizeof record.Extension - 1);
}

json_object* find_binding(json_object* root, int key) {
  json_object* found = find_by_real_key(json::array(root, kHotKeyArray, "data"), key);
  return found != nullptr ? found : find_by_real_key(json::array(root, kLineKeyArray, "data"), key);
}

}  // namespace phonecore::dial

using namespace phonecore::dial;

extern "C" {

hotkey_record* _g_pHoykey_list = nullptr;
int hotkey_data_lens = 0;
MsgHook* __gl_pHoykey_hook = nullptr;
hotkey_handler_row hotkey_list[HOTKEY_HANDLER_COUNT] = {
    {5, hotkey_no_action},   {201, hotkey_no_action}, {301, hotkey_no_action},
    {401, hotkey_no_action}, {117, hotkey_no_action}, {213, hotkey_no_action},
};
static_assert(std::size(hotkey_list) == 6);

int LocalReload(void) noexcept {
  json_object* root = read_gnl_config_json(kBindingsFile);
  if (root == nullptr) return 0;
  json_object* hot = json::array(root, kHotKeyArray, "data");
  json_object* line = json::array(root, kLineKeyArray, "data");
  const int hot_count = static_cast<int>(json::length(hot));
  const int line_count = static_cast<int>(json::length(line));

  pthread_mutex_lock(&g_rebuild_mutex);
  store(hotkey_data_lens, 0);
  hotkey_record* replaced = published_list();
  publish_list(list_allocate(hot_count + line_count));
  wait_for_lookups();
  list_free(replaced);
  append_rows(hot, hot_count);
  append_rows(line, line_count);
  pthread_mutex_unlock(&g_rebuild_mutex);

  json_object_put(root);
  return 0;
}

int parse_node(json_object* array, int count) noexcept {
  if (array == nullptr || !json_object_is_type(array, json_type_array)) return 0;
  const int length = static_cast<int>(json_object_array_length(array));
  pthread_mutex_lock(&g_rebuild_mutex);
  append_rows(array, count < length ? count : length);
  pthread_mutex_unlock(&g_rebuild_mutex);
  return 0;
}

int LocalHoyKeyAddMonitor(MessageClient* client, int depth) noexcept {
  std::printf("%s, %d\n", __func__, __LINE__);
  MsgHook* hook = add_hook_bymsgtype(client, HOTKEY_MSGTYPE_RELOAD, depth * 16, depth);
  store(__gl_pHoykey_hook, hook);
  add_hook_monitor_thread(hook, reload_on_change);
  return 0;
}

int LocalHoyKeyUpdateExt(void) noexcept {
  namespace bus = phonecore::bus;
  instant_message_send(bus::kBusIdAll, bus::kMsgtypeHotkeyReload, bus::kKindNumeric, nullptr, 0);
  return 0;
}

int SetHotKeyVal(int key, int type, int line, const char* value, const char* label, const char* extension) noexcept {
  json_object* root = read_gnl_config_json(kBindingsFile);
  if (root == nullptr) return 0;
  // The list is emptied, not rebuilt: lookups find nothing until the next
  // LocalReload, which the announcement of the change brings.
  store(hotkey_data_lens, 0);
  json_object* element = find_binding(root, key);
  if (element != nullptr) {
    set_member_number(element, "Type", type);
    set_member_number(element, "Line", line);
    json::put(element, "Value", json::new_text(value));
    json::put(element, "Label", json::new_text(label));
    json::put(element, "Extension", json::new_text(extension));
  }
  write_gnl_config_json(kBindingsFile, root);
  json_object_put(root);
  return 0;
}

int HoykeyProcess(int key) noexcept {
  hotkey_record record;
  if (!find_record(key, &record)) return 0;
  HotKeyFindAndProcess(&record, 0, 0);
  return record.Type;
}

int HotKeyFindAndProcess(hotkey_record* record, int a, int b) noexcept {
  if (record == nullptr) return -1;
  for (const hotkey_handler_row& row : hotkey_list) {
    if (row.type == record->Type) return row.handler != nullptr ? row.handler(record, a, b) : 0;
  }
  return -1;
}

int GetKeyDisplayContext(int key, char* out) noexcept {
  hotkey_record record;
  if (!find_record(key, &record)) return -1;
  if (out != nullptr) json::copy_text(out, HOTKEY_TEXT_SIZE, record.Key, HOTKEY_TEXT_SIZE - 1);
  return 0;
}

int hotkey_node_set(const hotkey_node* node) noexcept {
  if (node == nullptr) return -1;
  json_object* root = read_gnl_config_json(kBindingsFile);
  if (root == nullptr) return -1;
  json_object* array = json::array(root, kHotKeyArray, "data");
  json_object* element = nullptr;
  if (array == nullptr) {
    json_object* section = json::step(root, kHotKeyArray);
    if (section == nullptr || !json_object_is_type(section, json_type_object)) {
      section = json_object_new_object();
      json_object_object_add(root, kHotKeyArray, section);
    }
    array = json_object_new_array();
    json_object_object_add(section, "data", array);
  } else {
    bool equal_found = false;
    const size_t n = std::min<size_t>(json_object_array_length(array), HOTKEY_NODE_MAX);
    for (size_t i = 0; i < n; ++i) {
      element = json_object_array_get_idx(array, i);
      const char* key = json::text(element, "Key");
      if (key != nullptr && std::strncmp(key, node->Key, HOTKEY_TEXT_SIZE) == 0) {
        node_to_element(*node, element);
        equal_found = true;
      }
    }
    if (equal_found) array = nullptr;
  }
  if (array != nullptr) {
    element = json_object_new_object();
    node_to_element(*node, element);
    json_object_array_add(array, element);
  }
  write_gnl_config_json(kBindingsFile, root);
  json_object_put(root);
  return 0;
}

int hotkey_node_get(hotkey_node* slots, void** result) noexcept {
  json_object* root = read_gnl_config_json(kBindingsFile);
  if (root == nullptr) return -1;
  json_object* array = json::array(root, kHotKeyArray, "data");
  if (array == nullptr) {
    if (result != nullptr) *result = nullptr;
  } else if (slots != nullptr) {
    // Every member goes to the start of the element's slot, over the one
    // before: the slot ends up holding the "Extension".
    static constexpr const char* kOrder[] = {"Key", "Type", "Line", "Value", "Label", "Extension"};
    const size_t n = std::min<size_t>(json_object_array_length(array), HOTKEY_NODE_MAX);
    for (size_t i = 0; i < n; ++i) {
      json_object* element = json_object_array_get_idx(array, i);
      for (const char* name : kOrder) {
        json::copy_text(slots[i].Key, sizeof slots[i].Key, json::text(element, name), sizeof slots[i].Key - 1);
      }
    }
  }
  json_object_put(root);
  return 0;
}

}  // extern "C"
