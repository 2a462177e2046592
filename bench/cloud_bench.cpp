// Searching a cached cloud phone book of 10,000 entries, by number and by
// initials (under 40 hits each), beside a naive linear scan measured in the
// same run: the book list read through the configuration service, one
// mxmlLoadFile, name_match on every Name and Telephone. Run in the box
// (box/phonebox run -- cloud_bench); traces go to /dev/null.

#include <fcntl.h>
#include <json-c/json.h>
#include <mxml.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "phonecore/cloudbook.h"
#include "phonecore/config.h"
#include "phonecore/text.h"
#include "support/timing.h"

using namespace phonecore::bench;

namespace {

constexpr int kEntries = 10000;
constexpr int kRounds = 60;
const std::string kUrl = "http://127.0.0.1:18080/books/bench.xml";

// The floor: what any search of the book must do at least.
int naive_scan(const char* key) {
  json_object* list = read_gnl_config_json(CLOUD_BOOK_LIST_FILE);
  if (list == nullptr) return -1;
  json_object_put(list);
  char path[CLOUD_BOOK_PATH_ROOM];
  api_cloud_url_uni_name(kUrl.c_str(), path);
  FILE* f = std::fopen(path, "r");
  if (f == nullptr) return -1;
  mxml_node_t* tree = mxmlLoadFile(nullptr, f, MXML_TEXT_CALLBACK);
  std::fclose(f);
  int hits = 0;
  for (mxml_node_t* e = mxmlFindElement(tree, tree, "DirectoryEntry", nullptr, nullptr, MXML_DESCEND); e != nullptr;
       e = mxmlFindElement(e, tree, "DirectoryEntry", nullptr, nullptr, MXML_DESCEND)) {
    mxml_node_t* name = mxmlFindElement(e, e, "Name", nullptr, nullptr, MXML_DESCEND);
    mxml_node_t* tel = mxmlFindElement(e, e, "Telephone", nullptr, nullptr, MXML_DESCEND);
    if (name == nullptr || tel == nullptr) continue;
    if (name_match(mxmlGetText(name, nullptr), key) || name_match(mxmlGetText(tel, nullptr), key)) ++hits;
  }
  mxmlDelete(tree);
  return hits;
}

}  // namespace

int main() {
  const int console = dup(1);
  FILE* out = fdopen(console, "w");
  if (std::freopen("/dev/null", "w", stdout) == nullptr) return 1;

  char path[CLOUD_BOOK_PATH_ROOM];
  api_cloud_url_uni_name(kUrl.c_str(), path);
  {
    std::ofstream book(path, std::ios::trunc);
    book << "<?xml version=\"1.0\"?>\n<VornIPPhoneDirectory>\n";
    for (int i = 0; i < kEntries; ++i)
      book << "<DirectoryEntry><Name>Person" << i << "</Name><Telephone>" << 7000000 + i
           << "</Telephone></DirectoryEntry>\n";
    book << "</VornIPPhoneDirectory>\n";
  }
  json_object* root = json_tokener_parse(("{\"MaillistRemotePhoneBook\":{\"data\":[{\"RemotePhoneBookURL\":\"" + kUrl +
                                          "\",\"RemotePhoneBookName\":\"bench\",\"Index\":\"1\"}]}}")
                                             .c_str());
  write_gnl_config_json(CLOUD_BOOK_LIST_FILE, root);
  json_object_put(root);

  std::fprintf(out, "cloud_bench: a cached book of %d entries, %d searches each\n", kEntries, kRounds);
  struct Case {
    const char* name;
    const char* key;
    int hits;
  };
  for (const Case& c : {Case{"by number 7004321", "7004321", 1}, Case{"by initials person999", "person999", 11}}) {
    std::vector<ContactRecord> hits(CLOUD_BOOK_SEARCH_ROOM);
    const Stats base = measure(kRounds, [&] { return naive_scan(c.key) == c.hits; });
    const Stats search = measure(kRounds, [&] {
      int count = 0;
      return api_cloud_search(c.key, hits.data(), &count) == 0 && count == c.hits;
    });
    report(out, (std::string("naive scan ") + c.name).c_str(), base);
    report(out, (std::string("api_cloud_search ") + c.name).c_str(), search, &base);
  }
  std::fclose(out);
  return 0;
}
