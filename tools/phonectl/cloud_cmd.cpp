// phonectl cloud: the cloud phone books: the list of books, fetching them,
// a cached book, a search, and the update event.
#include <phonecore/cloudbook.h>
#include <phonecore/config.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "phonectl.h"

namespace phonectl {
namespace {

json_object *text(const char *s) { return json_object_new_string(s); }

// The configured books, as the library lists them.
int cloud_books(Context &ctx, Args) {
  RemoteBookEntry *list = nullptr;
  int count = 0;
  remote_cloudlist_get(&list, &count);
  json_object *books = json_object_new_array();
  for (int i = 0; i < count; ++i) {
    json_object *b = json_object_new_object();
    json_object_object_add(b, "index", json_object_new_int(list[i].index));
    json_object_object_add(b, "name", text(list[i].name));
    json_object_object_add(b, "url", text(list[i].url));
    json_object_object_add(b, "menu", json_object_new_boolean(list[i].is_menu));
    json_object_array_add(books, b);
  }
  std::free(list);
  json_object *r = json_object_new_object();
  json_object_object_add(r, "books", books);
  print(ctx, r);
  return kOk;
}

// Sets the book of slot INDEX in the list: an element with that "Index" is
// replaced, else one is added.
int cloud_book(Context &ctx, Args args) {
  long index = 0;
  if (!parse_int(args[0], 1, CLOUD_BOOK_SLOTS, index)) return fail(kUsage, "INDEX is a book slot, 1 to 5");
  json_object *root = read_gnl_config_json(CLOUD_BOOK_LIST_FILE);
  if (root == nullptr) return fail(kRefused, std::string(CLOUD_BOOK_LIST_FILE) + " can't be read");
  json_object *list = nullptr, *data = nullptr;
  if (!json_object_object_get_ex(root, "MaillistRemotePhoneBook", &list) ||
      !json_object_is_type(list, json_type_object)) {
    list = json_object_new_object();
    json_object_object_add(root, "MaillistRemotePhoneBook", list);
  }
  if (!json_object_object_get_ex(list, "data", &data) || !json_object_is_type(data, json_type_array)) {
    data = json_object_new_array();
    json_object_object_add(list, "data", data);
  }
  json_object *book = json_object_new_object();
  json_object_object_add(book, "RemotePhoneBookURL", text(args[1]));
  json_object_object_add(book, "RemotePhoneBookName", text(args[2]));
  json_object_object_add(book, "Index", text(args[0]));
  size_t at = json_object_array_length(data);
  for (size_t i = 0; i < json_object_array_length(data); ++i) {
    json_object *index_text = nullptr;
    if (json_object_object_get_ex(json_object_array_get_idx(data, i), "Index", &index_text) &&
        std::atoi(json_object_get_string(index_text)) == index)
      at = i;
  }
  if (at < json_object_array_length(data)) json_object_array_put_idx(data, at, book);
  else json_object_array_add(data, book);
  const int written = write_gnl_config_json(CLOUD_BOOK_LIST_FILE, root);
  json_object_put(root);
  if (written != 0) return fail(kRefused, "the list was not written");
  json_object *r = json_object_new_object();
  json_object_object_add(r, "index", json_object_new_int(static_cast<int>(index)));
  json_object_object_add(r, "url", text(args[1]));
  json_object_object_add(r, "name", text(args[2]));
  print(ctx, r);
  return kOk;
}

// Every book fetched again into the five slots; the entries of each.
int cloud_fetch(Context &ctx, Args) {
  CloudBook *books[CLOUD_BOOK_SLOTS] = {};
  clound_book_update(books);
  json_object *slots = json_object_new_array();
  for (int s = 0; s < CLOUD_BOOK_SLOTS; ++s) {
    json_object *slot = json_object_new_object();
    json_object_object_add(slot, "index", json_object_new_int(s + 1));
    json_object_object_add(slot, "held", json_object_new_boolean(books[s] != nullptr));
    json_object_object_add(slot, "count", json_object_new_int(books[s] != nullptr ? books[s]->count : 0));
    json_object_array_add(slots, slot);
    std::free(books[s]);
  }
  json_object *r = json_object_new_object();
  json_object_object_add(r, "slots", slots);
  print(ctx, r);
  return kOk;
}

// The cached document of URL (fetched when missing): a menu's items or a
// directory's entries.
int cloud_show(Context &ctx, Args args) {
  char path[CLOUD_BOOK_PATH_ROOM];
  api_cloud_url_uni_name(args[0], path);
  json_object *r = json_object_new_object();
  json_object_object_add(r, "file", text(path));
  json_object *list = json_object_new_array();
  int count = 0;
  int result;
  if (api_cloud_check_if_Menuitem(args[0])) {
    std::vector<RemoteBookEntry> items(CLOUD_BOOK_LIST_ROOM);
    result = api_cloud_list_get_Menuitem(items.data(), &count, path);
    for (int i = 0; i < count; ++i) {
      json_object *e = json_object_new_object();
      json_object_object_add(e, "name", text(items[i].name));
      json_object_object_add(e, "url", text(items[i].url));
      json_object_array_add(list, e);
    }
    json_object_object_add(r, "menu", json_object_new_boolean(1));
  } else {
    std::vector<CloudEntry> entries(CLOUD_BOOK_LIST_ROOM);
    result = api_cloud_list_get(entries.data(), &count, path);
    for (int i = 0; i < count; ++i) {
      json_object *e = json_object_new_object();
      json_object_object_add(e, "name", text(entries[i].name));
      json_object_object_add(e, "telephone", text(entries[i].telephone));
      json_object_array_add(list, e);
    }
    json_object_object_add(r, "menu", json_object_new_boolean(0));
  }
  json_object_object_add(r, "entries", list);
  if (result != 0) {
    json_object_put(r);
    return fail(kRefused, std::string(args[0]) + " is no phone book");
  }
  print(ctx, r);
  return kOk;
}

int cloud_search(Context &ctx, Args args) {
  ContactRecord hits[CLOUD_BOOK_SEARCH_ROOM];
  int count = 0;
  api_cloud_search(args[0], hits, &count);
  json_object *list = json_object_new_array();
  for (int i = 0; i < count; ++i) {
    json_object *e = json_object_new_object();
    json_object_object_add(e, "name", text(hits[i].name));
    json_object_object_add(e, "number", text(hits[i].phone_number));
    json_object_array_add(list, e);
  }
  json_object *r = json_object_new_object();
  json_object_object_add(r, "hits", list);
  print(ctx, r);
  return count > 0 ? kOk : kRefused;
}

int cloud_notify(Context &ctx, Args args) {
  long id = -1;
  if (!args.empty() && !parse_int(args[0], -2147483647L, 2147483647L, id)) return fail(kUsage, "ID is a number");
  if (args.empty()) clound_book_update_now();
  else api_clound_book_del_byid(static_cast<int>(id));
  json_object *r = json_object_new_object();
  json_object_object_add(r, "clearid", json_object_new_int(static_cast<int>(id)));
  print(ctx, r);
  return kOk;
}

constexpr Command kCommands[] = {
    {"cloud", "books", "cloud books", "the configured cloud phone books: slot, name, URL, whether a menu", 0, 0,
     cloud_books},
    {"cloud", "book", "cloud book INDEX URL NAME", "sets the book of slot INDEX (1 to 5) in the list of books", 3, 3,
     cloud_book},
    {"cloud", "fetch", "cloud fetch",
     "fetches every book again (menus six levels deep) and tells how many entries each slot holds", 0, 0, cloud_fetch},
    {"cloud", "show", "cloud show URL", "the cached document of URL (fetched when missing): menu items or entries", 1,
     1, cloud_show},
    {"cloud", "search", "cloud search TEXT",
     "the cached books searched for TEXT (pinyin initials or digits), 40 hits at most", 1, 1, cloud_search},
    {"cloud", "notify", "cloud notify [ID]",
     "broadcasts the event clound_update with clearid ID (-1 when none: update all)", 0, 1, cloud_notify},
};

}  // namespace

std::span<const Command> cloud_commands() { return kCommands; }

}  // namespace phonectl
