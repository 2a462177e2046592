// Cloud phone books for tests: the list of books as the configuration
// service keeps it, the cache file of a book's URL, and documents made to
// measure.
#pragma once

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <string>
#include <utility>
#include <vector>

#include "phonecore/cloudbook.h"
#include "phonecore/config.h"

namespace phonecore::testing {

// One row of the book list: its URL, its name, its "Index" (slot) as typed.
struct Book {
  std::string url;
  std::string name;
  std::string index;
};

// Writes the book list through the configuration service.
inline void set_books(const std::vector<Book>& books) {
  json_object* root = json_object_new_object();
  json_object* list = json_object_new_object();
  json_object* data = json_object_new_array();
  for (const Book& b : books) {
    json_object* e = json_object_new_object();
    json_object_object_add(e, "RemotePhoneBookURL", json_object_new_string(b.url.c_str()));
    json_object_object_add(e, "RemotePhoneBookName", json_object_new_string(b.name.c_str()));
    json_object_object_add(e, "Index", json_object_new_string(b.index.c_str()));
    json_object_array_add(data, e);
  }
  json_object_object_add(list, "data", data);
  json_object_object_add(root, "MaillistRemotePhoneBook", list);
  EXPECT_EQ(write_gnl_config_json(CLOUD_BOOK_LIST_FILE, root), 0) << "the book list";
  json_object_put(root);
}

// The cache file the library keeps a book of this URL in.
inline std::string cache_of(const std::string& url) {
  char path[CLOUD_BOOK_PATH_ROOM];
  api_cloud_url_uni_name(url.c_str(), path);
  return path;
}

// One directory entry "Person<i>" with telephone 7000000 + i.
inline std::string person_entry(int i) {
  return "<DirectoryEntry><Name>Person" + std::to_string(i) + "</Name><Telephone>" + std::to_string(7000000 + i) +
         "</Telephone></DirectoryEntry>\n";
}

// A directory document of n such entries.
inline std::string directory_of(int n, const char* root = "VornIPPhoneDirectory") {
  std::string s = std::string("<?xml version=\"1.0\"?>\n<") + root + ">\n";
  for (int i = 0; i < n; ++i) s += person_entry(i);
  return s + "</" + root + ">\n";
}

// A menu document of (name, URL) items.
inline std::string menu_of(const std::vector<std::pair<std::string, std::string>>& items) {
  std::string s = "<?xml version=\"1.0\"?>\n<CiscoIPPhoneMenu>\n";
  for (const auto& [name, url] : items) s += "<MenuItem><Name>" + name + "</Name><URL>" + url + "</URL></MenuItem>\n";
  return s + "</CiscoIPPhoneMenu>\n";
}

}  // namespace phonecore::testing
