// Cloud phone books: XML documents fetched by HTTP into /tmp, read with
// Mini-XML, merged into the five book blocks of an update and searched by
// pinyin initials. Nothing here locks: the updater's list and the pinyin
// matcher are process-wide, so a search and an update must not overlap.

#include <mxml.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "base/json.h"
#include "bus/vocabulary.h"
#include "directory/cloud_internal.h"
#include "phonecore/bus_client.h"
#include "phonecore/cloudbook.h"
#include "phonecore/config.h"
#include "phonecore/http_client.h"
#include "phonecore/json_msg.h"
#include "phonecore/md5.h"
#include "phonecore/text.h"

static_assert(sizeof(RemoteBookEntry) == 200);
static_assert(offsetof(RemoteBookEntry, index) == 0);
static_assert(offsetof(RemoteBookEntry, is_menu) == 4);
static_assert(offsetof(RemoteBookEntry, url) == 8);
static_assert(offsetof(RemoteBookEntry, name) == 136);
static_assert(sizeof(CloudEntry) == 130);
static_assert(offsetof(CloudEntry, id) == 0);
static_assert(offsetof(CloudEntry, name) == 2);
static_assert(offsetof(CloudEntry, telephone) == 66);
static_assert(sizeof(CloudBook) == 8 + CLOUD_BOOK_ENTRIES * 130);
static_assert(offsetof(CloudBook, count) == 0);
static_assert(offsetof(CloudBook, length) == 4);
static_assert(offsetof(CloudBook, entries) == 8);
static_assert(sizeof(ContactRecord) == 336);

namespace phonecore::cloud {
namespace {

constexpr int kListRoom = CLOUD_BOOK_LIST_ROOM;
constexpr int kBookRoom = CLOUD_BOOK_ENTRIES;
constexpr int kHitRoom = CLOUD_BOOK_SEARCH_ROOM;
constexpr int kMaxDepth = CLOUD_BOOK_MAX_DEPTH;
// A menu item's URL is copied by its first 64 bytes only.
constexpr size_t kMenuUrlCopy = 64;
constexpr const char* kMenuRoot = "CiscoIPPhoneMenu";
constexpr const char* kUnreadable = "{\"status\":\"type error000\"}";
constexpr const char* kUnparsable = "{\"status\":\"type error111\"}";
constexpr const char* kWrongRoot = "{\"status\":\"type error222\"}";
constexpr const char* kCleanAll = "===>clean all\n\r";

struct Tree {
  mxml_node_t* node = nullptr;
  Tree() = default;
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;
  ~Tree() {
    if (node != nullptr) mxmlDelete(node);
  }
};

// Loads the document at path; prints the status of a failure.
bool load(Tree& tree, const char* path, mxml_load_cb_t how) {
  FILE* file = path != nullptr ? std::fopen(path, "r") : nullptr;
  if (file == nullptr) {
    std::printf("%s\n", kUnreadable);
    return false;
  }
  // The document goes below a node of our own: when a parse fails half
  // way, what Mini-XML built stays below the top it was given and goes
  // with it (without a top, the half-built nodes leak).
  tree.node = mxmlNewElement(MXML_NO_PARENT, "phonecore");
  const mxml_node_t* loaded = tree.node != nullptr ? mxmlLoadFile(tree.node, file, how) : nullptr;
  std::fclose(file);
  if (loaded == nullptr) {
    std::printf("%s\n", kUnparsable);
    return false;
  }
  return true;
}

mxml_node_t* find(mxml_node_t* from, mxml_node_t* top, const char* name) {
  return mxmlFindElement(from, top, name, nullptr, nullptr, MXML_DESCEND);
}

const char* word_of(mxml_node_t* element) {
  const char* text = mxmlGetText(element, nullptr);
  return text != nullptr ? text : "";
}
const char* opaque_of(mxml_node_t* element) {
  const char* text = mxmlGetOpaque(element);
  return text != nullptr ? text : "";
}

// The two kinds of document: their roots in the order looked for, their
// entries and the two children each entry must hold, and how text loads.
// A directory is loaded as words (an element's text is its first word), a
// menu opaque (blanks stay). The directory's third root looks for the
// Cisco name once more and finds nothing the second did not.
struct DocumentKind {
  const char* roots[3];
  const char* entry;
  const char* first;
  const char* second;
  const char* missing;
  mxml_load_cb_t load;
  const char* (*text)(mxml_node_t*);
};
constexpr DocumentKind kDirectory{{"VornIPPhoneDirectory", "CiscoIPPhoneDirectory", "CiscoIPPhoneDirectory"},
                                  "DirectoryEntry",
                                  "Name",
                                  "Telephone",
                                  "Name || Telephone not found",
                                  MXML_TEXT_CALLBACK,
                                  &word_of};
constexpr DocumentKind kMenu{{kMenuRoot, nullptr, nullptr}, "MenuItem",           "Name",    "URL",
                             "Name || URL not found",       MXML_OPAQUE_CALLBACK, &opaque_of};

// Calls each(name, telephone or URL) for every whole entry of the document
// at path until it answers false. 0, or -1 when the document is
// unreadable, broken or of another kind.
template <typename Each>
int walk(const DocumentKind& kind, const char* path, Each&& each) {
  Tree tree;
  if (!load(tree, path, kind.load)) return -1;
  mxml_node_t* root = nullptr;
  for (const char* name : kind.roots) {
    if (name != nullptr) root = find(tree.node, tree.node, name);
    if (root != nullptr) break;
  }
  if (root == nullptr) {
    std::printf("%s\n", kWrongRoot);
    return -1;
  }
  for (mxml_node_t* e = find(root, root, kind.entry); e != nullptr; e = find(e, root, kind.entry)) {
    mxml_node_t* first = find(e, e, kind.first);
    mxml_node_t* second = find(e, e, kind.second);
    if (first == nullptr || second == nullptr) {
      std::printf("%s\n", kind.missing);
      continue;
    }
    if (!each(kind.text(first), kind.text(second))) break;
  }
  return 0;
}

struct CachePath {
  char text[CLOUD_BOOK_PATH_ROOM] = {};
  explicit CachePath(const char* url) { api_cloud_url_uni_name(url, text); }
};

// The items of the menu cached for url; empty when it is none.
std::vector<RemoteBookEntry> menu_items(const char* url) {
  std::vector<RemoteBookEntry> items(kListRoom);
  int count = 0;
  CachePath path(url);
  if (api_cloud_list_get_Menuitem(items.data(), &count, path.text) != 0) count = 0;
  items.resize(static_cast<size_t>(std::clamp(count, 0, kListRoom)));
  return items;
}

void fill_entry(CloudEntry& e, uint16_t id, const char* name, const char* telephone) {
  std::memset(&e, 0, sizeof e);
  e.id = id;
  json::copy_text(e.name, name);
  json::copy_text(e.telephone, telephone);
}

// A hit: the telephone is copied whole, but never past the record; the
// number and text fields after it are emptied afterwards, as they always
// were, so a telephone longer than its field reads as its first 64 bytes.
void fill_hit(ContactRecord& r, int id, const char* name, const char* telephone) {
  std::memset(&r, 0, sizeof r);
  r.id = id;
  json::copy_text(r.name, name);
  char* at = reinterpret_cast<char*>(&r) + offsetof(ContactRecord, phone_number);
  const size_t room = sizeof(ContactRecord) - offsetof(ContactRecord, phone_number);
  json::copy_text(at, room, telephone);
  r.first_number[0] = '\0';
  r.other_number[0] = '\0';
  r.extra[0] = '\0';
  r.value_a = r.value_b = r.value_c = 0;
}

std::string lowered(const char* text) {
  std::string key = text != nullptr ? text : "";
  to_lowwer(key.data());
  return key;
}

// The updater's list of books, process-wide.
RemoteBookEntry* g_books = nullptr;
int g_book_count = 0;

int send_update_event(int clearid) {
  char text[JSON_MSG_TEXT_MAX] = {};
  make_simple_request("clound_update", json::Builder().integer("clearid", clearid).release(), text);
  instant_message_send(bus::kBusIdAll, bus::kMsgtypeJson, bus::kKindEvent, text,
                       static_cast<int>(std::strlen(text)) + 1);
  return 0;
}

}  // namespace

int search_book(const char* path, const char* key, ContactRecord* records, int* count) {
  if (records == nullptr || count == nullptr || key == nullptr) return -1;
  *count = std::clamp(*count, 0, kHitRoom);
  if (*count > kHitRoom - 1) return 0;
  return walk(kDirectory, path, [&](const char* name, const char* telephone) {
    if (*count >= kHitRoom) return false;
    if (name_match(name, key) || name_match(telephone, key)) {
      fill_hit(records[*count], *count, name, telephone);
      ++*count;
    }
    return true;
  });
}

int cached_is_menu(const char* path) {
  FILE* file = path != nullptr ? std::fopen(path, "rb") : nullptr;
  if (file == nullptr) return 0;
  char head[8192];
  const size_t got = std::fread(head, 1, sizeof head, file);
  std::fclose(file);
  std::string_view s(head, got);
  if (s.starts_with("\xEF\xBB\xBF")) s.remove_prefix(3);
  // Skips blanks, the declaration, comments and the doctype before the root.
  while (true) {
    const size_t lt = s.find_first_not_of(" \t\r\n");
    if (lt == std::string_view::npos || s[lt] != '<') return 0;
    s.remove_prefix(lt);
    std::string_view end;
    if (s.starts_with("<?")) end = "?>";
    else if (s.starts_with("<!--")) end = "-->";
    else if (s.starts_with("<!")) end = ">";
    else break;
    const size_t close = s.find(end);
    if (close == std::string_view::npos) return 0;
    s.remove_prefix(close + end.size());
  }
  s.remove_prefix(1);
  const std::string_view root(kMenuRoot);
  if (!s.starts_with(root) || s.size() == root.size()) return 0;
  const char after = s[root.size()];
  return after == '>' || after == '/' || after == ' ' || after == '\t' || after == '\r' || after == '\n' ? 1 : 0;
}

}  // namespace phonecore::cloud

using namespace phonecore;
using namespace phonecore::cloud;

extern "C" {

int api_cloud_url_uni_name(const char* url, char* path) noexcept {
  if (path == nullptr) return 1;
  const char* text = url != nullptr ? url : "";
  char md5[33] = {};
  calculateStringMd5(text, static_cast<unsigned int>(std::strlen(text)), md5);
  md5[32] = '\0';
  std::snprintf(path, CLOUD_BOOK_PATH_ROOM, "/tmp/clound_%s.xml", md5);
  return 1;
}

int cloud_book_download(const char* url, const char* path) noexcept {
  if (url == nullptr || path == nullptr) return -1;
  unlink(path);
  return http_downloadfile(url, path, "", "");
}

int api_cloud_check_if_Menuitem(const char* url) noexcept {
  if (url == nullptr) return 0;
  CachePath path(url);
  if (access(path.text, F_OK) != 0) cloud_book_download(url, path.text);
  return cached_is_menu(path.text);
}

int remote_cloudlist_get(RemoteBookEntry** entries, int* count) noexcept {
  if (entries == nullptr || count == nullptr) return -1;
  std::free(*entries);
  *entries = nullptr;
  *count = 0;
  json::Owned list(read_gnl_config_json(CLOUD_BOOK_LIST_FILE));
  json_object* data = json::array(list.get(), "MaillistRemotePhoneBook", "data");
  const size_t n = json::length(data);
  if (n == 0) return 0;
  auto* out = static_cast<RemoteBookEntry*>(std::calloc(n, sizeof(RemoteBookEntry)));
  if (out == nullptr) return 0;
  int kept = 0;
  for (size_t i = 0; i < n; ++i) {
    json_object* book = json::element(data, i);
    const char* url = json::text(book, "RemotePhoneBookURL");
    const char* name = json::text(book, "RemotePhoneBookName");
    if (url == nullptr || name == nullptr || *url == '\0') continue;
    RemoteBookEntry& e = out[kept++];
    e.index = json::text_to_int(json::text(book, "Index"));
    json::copy_text(e.url, url);
    json::copy_text(e.name, name);
    CachePath path(e.url);
    e.is_menu = cached_is_menu(path.text);
  }
  *entries = out;
  *count = kept;
  return 0;
}

int api_cloud_list_get(CloudEntry* entries, int* count, const char* path) noexcept {
  if (entries == nullptr || count == nullptr) return -1;
  int n = 0;
  const int rc = walk(kDirectory, path, [&](const char* name, const char* telephone) {
    if (n >= kListRoom) return false;
    fill_entry(entries[n], static_cast<uint16_t>(n), name, telephone);
    ++n;
    return true;
  });
  *count = n;
  return rc;
}

int api_cloud_list_get_write_local(CloudBook* book, const char* path) noexcept {
  if (book == nullptr) return -1;
  book->count = 0;
  book->length = 0;
  int n = 0;
  return walk(kDirectory, path, [&](const char* name, const char* telephone) {
    if (n >= kBookRoom) return false;
    fill_entry(book->entries[n++], 0, name, telephone);
    return true;
  });
}

int api_cloud_write_local(CloudBook* book, const char* path, int* count) noexcept {
  if (book == nullptr || count == nullptr) return -1;
  int n = std::clamp(*count, 0, kBookRoom);
  const int rc = walk(kDirectory, path, [&](const char* name, const char* telephone) {
    if (n >= kBookRoom) return false;
    fill_entry(book->entries[n], static_cast<uint16_t>(n + 1), name, telephone);
    ++n;
    return true;
  });
  *count = n;
  book->count = n;
  book->length = n * static_cast<int>(sizeof(CloudEntry));
  return rc;
}

int api_cloud_list_get_Menuitem(RemoteBookEntry* entries, int* count, const char* path) noexcept {
  if (entries == nullptr || count == nullptr) return -1;
  int n = 0;
  const int rc = walk(kMenu, path, [&](const char* name, const char* url) {
    if (n >= kListRoom) return false;
    RemoteBookEntry& e = entries[n];
    std::memset(&e, 0, sizeof e);
    e.index = n;
    json::copy_text(e.url, sizeof e.url, url, kMenuUrlCopy);
    json::copy_text(e.name, name);
    CachePath cached(e.url);
    e.is_menu = cached_is_menu(cached.text);
    std::printf("@Cloudinfo@%s@%s@\n\r", e.name, e.url);
    ++n;
    return true;
  });
  *count = n;
  return rc;
}

int api_cloud_search_menuitem(int depth, const char* text, const char* url, ContactRecord* records,
                              int* count) noexcept {
  if (depth > kMaxDepth) return 0;
  if (url == nullptr || records == nullptr || count == nullptr) return 0;
  *count = std::clamp(*count, 0, kHitRoom);
  if (*count > kHitRoom - 1) return 0;
  const std::string key = lowered(text);
  for (const RemoteBookEntry& item : menu_items(url)) {
    if (*count > kHitRoom - 1) break;
    if (api_cloud_check_if_Menuitem(item.url)) {
      api_cloud_search_menuitem(depth + 1, key.c_str(), item.url, records, count);
    } else {
      CachePath path(item.url);
      search_book(path.text, key.c_str(), records, count);
    }
  }
  return 0;
}

int api_cloud_search(const char* text, ContactRecord* records, int* count) noexcept {
  if (records == nullptr || count == nullptr) return -1;
  *count = std::clamp(*count, 0, kHitRoom);
  const std::string key = lowered(text);
  json::Owned list(read_gnl_config_json(CLOUD_BOOK_LIST_FILE));
  json_object* data = json::array(list.get(), "MaillistRemotePhoneBook", "data");
  for (size_t i = 0; i < json::length(data); ++i) {
    if (*count > kHitRoom - 1) break;
    json_object* book = json::element(data, i);
    const char* url = json::text(book, "RemotePhoneBookURL");
    const char* name = json::text(book, "RemotePhoneBookName");
    if (url == nullptr || name == nullptr || *url == '\0') continue;
    if (api_cloud_check_if_Menuitem(url)) {
      api_cloud_search_menuitem(0, key.c_str(), url, records, count);
    } else {
      CachePath path(url);
      search_book(path.text, key.c_str(), records, count);
    }
  }
  return 0;
}

int api_cloud_redownload_all(const char* url, int depth) noexcept {
  if (depth > kMaxDepth || url == nullptr) return 0;
  CachePath path(url);
  cloud_book_download(url, path.text);
  if (!cached_is_menu(path.text)) return 0;
  for (const RemoteBookEntry& item : menu_items(url)) api_cloud_redownload_all(item.url, depth + 1);
  return 0;
}

int api_cloud_menuitem_update(const char* url, int depth, CloudBook* book, int* count) noexcept {
  if (depth > kMaxDepth || url == nullptr || book == nullptr || count == nullptr) return 0;
  for (const RemoteBookEntry& item : menu_items(url)) {
    if (api_cloud_check_if_Menuitem(item.url)) {
      api_cloud_menuitem_update(item.url, depth + 1, book, count);
    } else {
      CachePath path(item.url);
      api_cloud_write_local(book, path.text, count);
    }
  }
  return 0;
}

int clound_book_update(CloudBook** books) noexcept {
  if (books == nullptr) return -1;
  remote_cloudlist_get(&g_books, &g_book_count);
  for (int slot = 0; slot < CLOUD_BOOK_SLOTS; ++slot) {
    std::free(books[slot]);
    books[slot] = nullptr;
    std::printf("%s", kCleanAll);
  }
  for (int i = 0; i < g_book_count; ++i) {
    const RemoteBookEntry& e = g_books[i];
    const int slot = e.index - 1;
    const bool in_range = slot >= 0 && slot < CLOUD_BOOK_SLOTS;
    if (e.url[0] == '\0') {
      if (in_range) {
        std::free(books[slot]);
        books[slot] = nullptr;
      }
      continue;
    }
    CachePath path(e.url);
    cloud_book_download(e.url, path.text);
    api_cloud_redownload_all(e.url, 0);
    if (!in_range) {
      // Only slots 1 to 5 exist; a book with another "Index" has no block.
      std::printf("clound_book_update: Index %d has no slot\n", e.index);
      continue;
    }
    if (books[slot] == nullptr) books[slot] = static_cast<CloudBook*>(std::calloc(1, sizeof(CloudBook)));
    if (books[slot] == nullptr) continue;
    int count = 0;
    if (api_cloud_check_if_Menuitem(e.url)) api_cloud_menuitem_update(e.url, 0, books[slot], &count);
    else api_cloud_write_local(books[slot], path.text, &count);
  }
  return 0;
}

int clound_book_update_now(void) noexcept { return send_update_event(-1); }

int api_clound_book_del_byid(int id) noexcept { return send_update_event(id); }

}  // extern "C"
