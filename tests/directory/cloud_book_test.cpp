// Cloud phone books in the box: the fixtures of box/rootfs/srv/books are
// served by the recording HTTP peer (/books/NAME), the list of books goes
// through the configuration service, and the cache files land in /tmp.

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "phonecore/cloudbook.h"
#include "phonecore/config.h"
#include "phonecore/md5.h"
#include "support/cloud_books.h"
#include "support/files.h"
#include "support/http_peer.h"
#include "support/process_stats.h"
#include "support/put_file.h"
#include "support/raw_session.h"
#include "support/web_server.h"

namespace fs = std::filesystem;
using phonecore::testing::Book;
using phonecore::testing::cache_of;
using phonecore::testing::directory_of;
using phonecore::testing::HttpPeer;
using phonecore::testing::HttpRecord;
using phonecore::testing::menu_of;
using phonecore::testing::open_descriptors;
using phonecore::testing::put_file;
using phonecore::testing::RawSession;
using phonecore::testing::set_books;
using phonecore::testing::slurp;
using phonecore::testing::WebServer;

namespace {

const std::string kServed = "/run/phonebox/books/";
const std::string kFixtures = std::string(PHONECORE_SOURCE_DIR) + "/box/rootfs/srv/books/";

std::string book_url(const std::string& name) { return HttpPeer::url("/books/" + name); }

class CloudBookTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(kServed);
    for (const auto& e : fs::directory_iterator(kFixtures))
      fs::copy_file(e.path(), kServed + e.path().filename().string(), fs::copy_options::overwrite_existing);
    for (const auto& e : fs::directory_iterator("/tmp"))
      if (e.path().filename().string().starts_with("clound_")) fs::remove(e.path());
    ASSERT_TRUE(peer_.clear());
  }
  void TearDown() override {
    for (CloudBook*& b : books_) {
      std::free(b);
      b = nullptr;
    }
  }

  // How many requests the peer heard for each path below /books/, once
  // it heard at least `expected` and no more came.
  std::map<std::string, int> fetched(size_t expected) const {
    std::map<std::string, int> out;
    for (const std::string& line : peer_.settled_log(expected)) {
      const HttpRecord r = HttpPeer::parse(line);
      std::string target = r.target;
      if (target.starts_with("/books/")) target = target.substr(7);
      ++out[target];
    }
    return out;
  }

  std::string update() {
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(clound_book_update(books_), 0);
    return ::testing::internal::GetCapturedStdout();
  }

  std::vector<ContactRecord> search(const char* text) {
    std::vector<ContactRecord> hits(CLOUD_BOOK_SEARCH_ROOM);
    int count = 0;
    EXPECT_EQ(api_cloud_search(text, hits.data(), &count), 0);
    hits.resize(static_cast<size_t>(count));
    return hits;
  }

  HttpPeer peer_;
  CloudBook* books_[CLOUD_BOOK_SLOTS] = {};
};

size_t occurrences(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size())) ++n;
  return n;
}

TEST(CloudBookRooms, TheCallerRoomsAreTheLibrarysLimits) {
  EXPECT_EQ(CLOUD_BOOK_LIST_ROOM, 1025);
  EXPECT_EQ(CLOUD_BOOK_SEARCH_ROOM, 40);
  EXPECT_EQ(CLOUD_BOOK_ENTRIES, 256);
  EXPECT_EQ(CLOUD_BOOK_PATH_ROOM, 64);
  EXPECT_EQ(sizeof(CloudBook), 8u + 256u * 130u);
}

TEST_F(CloudBookTest, CachePathIsTheLowerCaseMd5OfTheUrl) {
  const std::string url = "http://example.com/Book.xml";
  char md5[33];
  calculateStringMd5(url.data(), static_cast<unsigned>(url.size()), md5);
  char path[CLOUD_BOOK_PATH_ROOM];
  EXPECT_EQ(api_cloud_url_uni_name(url.c_str(), path), 1);
  EXPECT_EQ(std::string(path), "/tmp/clound_" + std::string(md5) + ".xml");
  for (const char* p = md5; *p; ++p) EXPECT_FALSE(*p >= 'A' && *p <= 'Z');
}

TEST_F(CloudBookTest, DirectoryValueEndsAtItsFirstBlankAndIncompleteEntriesAreSkipped) {
  std::vector<CloudEntry> e(CLOUD_BOOK_LIST_ROOM);
  int count = -1;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(api_cloud_list_get(e.data(), &count, (kServed + "vorn.xml").c_str()), 0);
  const std::string out = ::testing::internal::GetCapturedStdout();
  ASSERT_EQ(count, 5);
  EXPECT_STREQ(e[0].name, "张三");
  EXPECT_STREQ(e[1].name, "李四");
  EXPECT_STREQ(e[2].name, "Zhang") << "\"Zhang San\" is read up to its blank";
  EXPECT_STREQ(e[2].telephone, "5550103");
  EXPECT_STREQ(e[3].telephone, "555") << "\"555 0104\" is read up to its blank";
  EXPECT_STREQ(e[4].name, "Alice");
  for (int i = 0; i < count; ++i) EXPECT_EQ(e[i].id, i);
  EXPECT_EQ(occurrences(out, "Name || Telephone not found"), 2u);
}

TEST_F(CloudBookTest, MenuNamesKeepTheirBlanksAndItemsWithoutUrlAreSkipped) {
  std::vector<RemoteBookEntry> e(CLOUD_BOOK_LIST_ROOM);
  int count = -1;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(api_cloud_list_get_Menuitem(e.data(), &count, (kServed + "menu.xml").c_str()), 0);
  const std::string out = ::testing::internal::GetCapturedStdout();
  ASSERT_EQ(count, 2);
  EXPECT_STREQ(e[0].name, "Sales Team East");
  EXPECT_EQ(std::string(e[0].url), book_url("vorn.xml"));
  EXPECT_STREQ(e[1].name, "Sub menu");
  EXPECT_EQ(e[0].index, 0);
  EXPECT_EQ(e[1].index, 1);
  EXPECT_NE(out.find("@Cloudinfo@Sales Team East@" + book_url("vorn.xml") + "@\n\r"), std::string::npos) << out;
  EXPECT_EQ(occurrences(out, "Name || URL not found"), 2u);
}

TEST_F(CloudBookTest, AMenuItemUrlKeepsItsFirst64Bytes) {
  std::vector<RemoteBookEntry> e(CLOUD_BOOK_LIST_ROOM);
  int count = 0;
  ASSERT_EQ(api_cloud_list_get_Menuitem(e.data(), &count, (kServed + "long_url_menu.xml").c_str()), 0);
  ASSERT_EQ(count, 1);
  const std::string doc = slurp(kServed + "long_url_menu.xml");
  const size_t from = doc.find("<URL>") + 5;
  const std::string full = doc.substr(from, doc.find("</URL>") - from);
  ASSERT_EQ(full.size(), 100u);
  EXPECT_EQ(std::string(e[0].url), full.substr(0, 64));
  // An update then asks for the cut URL.
  set_books({{book_url("long_url_menu.xml"), "far", "1"}});
  update();
  EXPECT_EQ(fetched(3).count(full.substr(std::string(book_url("")).size(), 64 - book_url("").size())), 1u);
}

TEST_F(CloudBookTest, VornRootIsLookedForBeforeCisco) {
  std::vector<CloudEntry> e(CLOUD_BOOK_LIST_ROOM);
  int count = 0;
  ASSERT_EQ(api_cloud_list_get(e.data(), &count, (kServed + "both_roots.xml").c_str()), 0);
  ASSERT_EQ(count, 1);
  EXPECT_STREQ(e[0].name, "VornFirst");
  ASSERT_EQ(api_cloud_list_get(e.data(), &count, (kServed + "cisco.xml").c_str()), 0);
  EXPECT_EQ(count, 2);
}

TEST_F(CloudBookTest, TheThreeTypeErrors) {
  std::vector<CloudEntry> e(CLOUD_BOOK_LIST_ROOM);
  struct Row {
    const char* file;
    const char* status;
  };
  const Row rows[] = {
      {"no-such-file.xml", "{\"status\":\"type error000\"}"}, {"unclosed.xml", "{\"status\":\"type error111\"}"},
      {"cut.xml", "{\"status\":\"type error111\"}"},          {"empty.xml", "{\"status\":\"type error111\"}"},
      {"addressbook.xml", "{\"status\":\"type error222\"}"},  {"menu.xml", "{\"status\":\"type error222\"}"},
  };
  for (const Row& r : rows) {
    int count = 7;
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(api_cloud_list_get(e.data(), &count, (kServed + r.file).c_str()), -1) << r.file;
    const std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find(r.status), std::string::npos) << r.file << ": " << out;
    EXPECT_EQ(count, 0) << r.file;
  }
  // The menu loader knows the same three.
  std::vector<RemoteBookEntry> m(CLOUD_BOOK_LIST_ROOM);
  int count = 0;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(api_cloud_list_get_Menuitem(m.data(), &count, (kServed + "vorn.xml").c_str()), -1);
  EXPECT_NE(::testing::internal::GetCapturedStdout().find("type error222"), std::string::npos);
}

TEST_F(CloudBookTest, EveryBrokenFixtureFailsThroughEveryLoader) {
  std::vector<CloudEntry> e(CLOUD_BOOK_LIST_ROOM);
  std::vector<RemoteBookEntry> m(CLOUD_BOOK_LIST_ROOM);
  auto book = std::make_unique<CloudBook>();
  for (const char* f : {"unclosed.xml", "cut.xml", "empty.xml", "binary.xml", "addressbook.xml", "page.html"}) {
    const std::string path = kServed + f;
    int count = 0;
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(api_cloud_list_get(e.data(), &count, path.c_str()), -1) << f;
    EXPECT_EQ(api_cloud_list_get_Menuitem(m.data(), &count, path.c_str()), -1) << f;
    EXPECT_EQ(api_cloud_list_get_write_local(book.get(), path.c_str()), -1) << f;
    count = 3;
    EXPECT_EQ(api_cloud_write_local(book.get(), path.c_str(), &count), -1) << f;
    EXPECT_EQ(count, 3) << f;
    ::testing::internal::GetCapturedStdout();
  }
  // The entity bomb is not expanded: it loads at once, whatever it holds.
  int count = 0;
  ::testing::internal::CaptureStdout();
  api_cloud_list_get(e.data(), &count, (kServed + "bomb.xml").c_str());
  ::testing::internal::GetCapturedStdout();
  EXPECT_LE(count, 1);
  if (count == 1) {
    EXPECT_LT(std::strlen(e[0].name), 64u);
  }
}

TEST_F(CloudBookTest, ListGetKeeps1025Entries) {
  put_file(kServed + "big.xml", directory_of(2000));
  std::vector<CloudEntry> e(CLOUD_BOOK_LIST_ROOM + 1);
  e.back().id = 0xBEEF;
  int count = 0;
  ASSERT_EQ(api_cloud_list_get(e.data(), &count, (kServed + "big.xml").c_str()), 0);
  EXPECT_EQ(count, 1025);
  EXPECT_EQ(e[1024].id, 1024);
  EXPECT_STREQ(e[1024].name, "Person1024");
  EXPECT_EQ(e.back().id, 0xBEEF) << "nothing past the room";
}

TEST_F(CloudBookTest, MenuListingKeeps1025Items) {
  std::vector<std::pair<std::string, std::string>> items;
  for (int i = 0; i < 2000; ++i) items.emplace_back("Item " + std::to_string(i), book_url("x" + std::to_string(i)));
  put_file(kServed + "bigmenu.xml", menu_of(items));
  std::vector<RemoteBookEntry> e(CLOUD_BOOK_LIST_ROOM);
  int count = 0;
  ::testing::internal::CaptureStdout();
  ASSERT_EQ(api_cloud_list_get_Menuitem(e.data(), &count, (kServed + "bigmenu.xml").c_str()), 0);
  ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(count, 1025);
  EXPECT_STREQ(e[1024].name, "Item 1024");
}

TEST_F(CloudBookTest, ABookOf300EntriesKeeps256WithIdsFromCountPlusOne) {
  put_file(kServed + "b300.xml", directory_of(300));
  auto book = std::make_unique<CloudBook>();
  int count = 0;
  ASSERT_EQ(api_cloud_write_local(book.get(), (kServed + "b300.xml").c_str(), &count), 0);
  EXPECT_EQ(count, 256);
  EXPECT_EQ(book->count, 256);
  EXPECT_EQ(book->length, 256 * 130);
  EXPECT_EQ(book->entries[0].id, 1);
  EXPECT_EQ(book->entries[255].id, 256);
  EXPECT_STREQ(book->entries[255].name, "Person255");
  // Appending from 250 adds six.
  put_file(kServed + "b10.xml", directory_of(10, "CiscoIPPhoneDirectory"));
  count = 250;
  ASSERT_EQ(api_cloud_write_local(book.get(), (kServed + "b10.xml").c_str(), &count), 0);
  EXPECT_EQ(count, 256);
  EXPECT_EQ(book->entries[250].id, 251);
  EXPECT_STREQ(book->entries[250].name, "Person0");
  EXPECT_STREQ(book->entries[255].name, "Person5");
}

TEST_F(CloudBookTest, ListGetWriteLocalLeavesTheHeadEmptyAndIdsZero) {
  put_file(kServed + "b300.xml", directory_of(300));
  auto book = std::make_unique<CloudBook>();
  book->count = 9;
  book->length = 9 * 130;
  ASSERT_EQ(api_cloud_list_get_write_local(book.get(), (kServed + "b300.xml").c_str()), 0);
  EXPECT_EQ(book->count, 0);
  EXPECT_EQ(book->length, 0);
  EXPECT_STREQ(book->entries[0].name, "Person0");
  EXPECT_STREQ(book->entries[255].name, "Person255");
  EXPECT_EQ(book->entries[255].id, 0);
}

TEST_F(CloudBookTest, AnUpdateFetchesEveryDocumentAgainTheTopOneTwiceWithEmptyBasicCredentials) {
  set_books({{book_url("menu.xml"), "company", "1"}, {book_url("cisco.xml"), "cisco", "2"}});
  const std::string out = update();
  EXPECT_EQ(occurrences(out, "===>clean all\n\r"), 5u);
  auto f = fetched(7);
  EXPECT_EQ(f["menu.xml"], 2);
  EXPECT_EQ(f["vorn.xml"], 1);
  EXPECT_EQ(f["submenu.xml"], 1);
  EXPECT_EQ(f["cisco.xml"], 3) << "twice as a top book, once below the menu";
  for (const std::string& line : peer_.log()) {
    const HttpRecord r = HttpPeer::parse(line);
    ASSERT_NE(r.header("Authorization"), nullptr) << r.target;
    EXPECT_EQ(*r.header("Authorization"), "Basic Og==");
  }
  ASSERT_NE(books_[0], nullptr);
  ASSERT_NE(books_[1], nullptr);
  EXPECT_EQ(books_[2], nullptr);
  // The menu's book: vorn.xml's five, then cisco.xml's two, ids running on.
  EXPECT_EQ(books_[0]->count, 7);
  EXPECT_EQ(books_[0]->length, 7 * 130);
  EXPECT_STREQ(books_[0]->entries[2].name, "Zhang");
  EXPECT_STREQ(books_[0]->entries[5].name, "张思");
  EXPECT_EQ(books_[0]->entries[6].id, 7);
  EXPECT_EQ(books_[1]->count, 2);
  EXPECT_EQ(books_[1]->entries[0].id, 1);
  // The next update fetches them all again.
  ASSERT_TRUE(peer_.clear());
  update();
  f = fetched(7);
  EXPECT_EQ(f["menu.xml"], 2);
  EXPECT_EQ(f["vorn.xml"], 1);
  EXPECT_EQ(f["cisco.xml"], 3);
  EXPECT_EQ(books_[0]->count, 7);
}

TEST_F(CloudBookTest, ASearchFetchesOnlyWhatIsMissingAndFindsChineseInitials) {
  set_books({{book_url("menu.xml"), "company", "1"}});
  auto hits = search("ZS");
  ASSERT_EQ(hits.size(), 2u);
  EXPECT_STREQ(hits[0].name, "张三");
  EXPECT_STREQ(hits[0].phone_number, "5550101");
  EXPECT_EQ(hits[0].id, 0);
  EXPECT_STREQ(hits[1].name, "张思");
  EXPECT_EQ(hits[1].id, 1);
  EXPECT_STREQ(hits[1].first_number, "");
  EXPECT_EQ(hits[1].value_a, 0);
  auto f = fetched(4);
  EXPECT_EQ(f["menu.xml"], 1);
  EXPECT_EQ(f["vorn.xml"], 1);
  EXPECT_EQ(f["submenu.xml"], 1);
  EXPECT_EQ(f["cisco.xml"], 1);
  ASSERT_TRUE(peer_.clear());
  // Cached now: a second search reads the files alone, and digits match
  // as a substring.
  hits = search("50102");
  ASSERT_EQ(hits.size(), 1u);
  EXPECT_STREQ(hits[0].name, "李四");
  EXPECT_TRUE(peer_.log().empty());
  // A stale cache is what the search sees.
  put_file(cache_of(book_url("vorn.xml")), directory_of(3));
  EXPECT_EQ(search("person").size(), 3u);
}

TEST_F(CloudBookTest, ASearchStopsAt40AndOpensNoFurtherDocument) {
  put_file(kServed + "many.xml", directory_of(100));
  set_books({{book_url("many.xml"), "many", "1"}, {book_url("vorn.xml"), "vorn", "2"}});
  auto hits = search("person");
  ASSERT_EQ(hits.size(), 40u);
  EXPECT_EQ(hits[39].id, 39);
  EXPECT_STREQ(hits[39].name, "Person39");
  const auto f = fetched(1);
  EXPECT_EQ(f.count("vorn.xml"), 0u) << "the second book is not even looked at";
  // A count handed in is where the hits go on.
  std::vector<ContactRecord> room(CLOUD_BOOK_SEARCH_ROOM);
  int count = 38;
  ASSERT_EQ(api_cloud_search("person", room.data(), &count), 0);
  EXPECT_EQ(count, 40);
  EXPECT_STREQ(room[38].name, "Person0");
  // A count out of the room is held to it.
  for (int given : {-5, 41, 1000}) {
    count = given;
    ASSERT_EQ(api_cloud_search("person", room.data(), &count), 0);
    EXPECT_EQ(count, 40) << given;
    count = given;
    ASSERT_EQ(api_cloud_search_menuitem(0, "person", book_url("menu.xml").c_str(), room.data(), &count), 0);
    EXPECT_GE(count, 0);
    EXPECT_LE(count, 40);
  }
}

TEST_F(CloudBookTest, ALongTelephoneIsCopiedWholeThenCutByTheFieldsEmptiedAfterIt) {
  set_books({{book_url("long.xml"), "long", "1"}});
  const std::string tel(100, '1');
  auto hits = search("1111");
  ASSERT_EQ(hits.size(), 1u);
  EXPECT_EQ(std::string(hits[0].phone_number), tel.substr(0, 64));
  EXPECT_EQ(hits[0].other_number[0], '\0');
  EXPECT_EQ(std::string(hits[0].other_number + 1, 35), tel.substr(65)) << "the rest of the copy";
  std::vector<CloudEntry> e(CLOUD_BOOK_LIST_ROOM);
  int count = 0;
  ASSERT_EQ(api_cloud_list_get(e.data(), &count, cache_of(book_url("long.xml")).c_str()), 0);
  EXPECT_EQ(std::string(e[0].telephone), tel.substr(0, 63));
}

TEST_F(CloudBookTest, MenusAreWalkedSixLevelsDeep) {
  set_books({{book_url("m0.xml"), "chain", "1"}});
  update();
  auto f = fetched(7);
  EXPECT_EQ(f["m0.xml"], 2);
  for (int i = 1; i <= 5; ++i) EXPECT_EQ(f["m" + std::to_string(i) + ".xml"], 1) << i;
  EXPECT_EQ(f.count("m7.xml"), 0u);
  EXPECT_EQ(f.count("d6.xml"), 0u);
  ASSERT_NE(books_[0], nullptr);
  std::vector<std::string> names;
  for (int i = 0; i < books_[0]->count; ++i) names.push_back(books_[0]->entries[i].name);
  EXPECT_EQ(names, (std::vector<std::string>{"Depth5", "Depth4", "Depth3", "Depth2", "Depth1", "Depth0"}));
  // The search reaches the same depth.
  EXPECT_EQ(search("depth").size(), 6u);
  EXPECT_TRUE(search("depth6").empty());
}

TEST_F(CloudBookTest, AMenuListingItselfEndsAtTheDepthLimit) {
  set_books({{book_url("self.xml"), "self", "1"}});
  update();
  EXPECT_EQ(fetched(7)["self.xml"], 7) << "the top twice, then depth 1 to 5";
  ASSERT_NE(books_[0], nullptr);
  EXPECT_EQ(books_[0]->count, 0);
  EXPECT_TRUE(search("x").empty());
}

TEST_F(CloudBookTest, AnyStatusIsKeptAndParsed) {
  const std::string url = book_url("gone.xml");
  set_books({{url, "gone", "1"}});
  const std::string out = update();
  EXPECT_NE(slurp(cache_of(url)).find("404 Not Found"), std::string::npos) << "the 404 page is the cached book";
  EXPECT_NE(out.find("type error222"), std::string::npos) << out;
  ASSERT_NE(books_[0], nullptr);
  EXPECT_EQ(books_[0]->count, 0);
  // A book served with status 500 is still a book.
  EXPECT_EQ(cloud_book_download(HttpPeer::url("/status/500").c_str(), "/tmp/status.xml"), 0);
  EXPECT_EQ(slurp("/tmp/status.xml"), "status 500\n");
}

TEST_F(CloudBookTest, AFailedDownloadLeavesAnEmptyBookAndTheOthersAreFetched) {
  // A closed port, a redirect (not followed: its own body is the book), a
  // connection reset in the middle of the body.
  set_books({{"http://127.0.0.1:1/nothing.xml", "closed", "1"},
             {book_url("cisco.xml"), "cisco", "2"},
             {HttpPeer::url("/redirect"), "moved", "3"},
             {HttpPeer::url("/close"), "cut", "4"},
             {book_url("vorn.xml"), "vorn", "5"}});
  update();
  for (int slot : {0, 2, 3}) {
    ASSERT_NE(books_[slot], nullptr) << slot;
    EXPECT_EQ(books_[slot]->count, 0) << slot;
  }
  EXPECT_EQ(slurp(cache_of(HttpPeer::url("/redirect"))), "moved\n");
  EXPECT_EQ(fetched(2).count("/status/200"), 0u) << "the redirect is not followed";
  ASSERT_NE(books_[1], nullptr);
  EXPECT_EQ(books_[1]->count, 2);
  ASSERT_NE(books_[4], nullptr);
  EXPECT_EQ(books_[4]->count, 5);
}

// The box's real web server serves the same fixtures over HTTPS: on 8443
// with a certificate of the box's CA, which the phone's bundle holds, and
// on 8444 with a self-signed one, which fails the check.
TEST_F(CloudBookTest, BooksOverHttpsAreFetchedOnlyWithACertificateTheBundleTrusts) {
  const std::string trusted = "https://127.0.0.1:8443/books/vorn.xml";
  const std::string self_signed = "https://127.0.0.1:8444/books/vorn.xml";
  set_books({{trusted, "tls", "1"}, {self_signed, "self", "2"}, {book_url("cisco.xml"), "plain", "3"}});
  update();
  ASSERT_NE(books_[0], nullptr);
  EXPECT_EQ(books_[0]->count, 5);
  EXPECT_EQ(slurp(cache_of(trusted)), slurp(kFixtures + "vorn.xml"));
  ASSERT_NE(books_[1], nullptr);
  EXPECT_EQ(books_[1]->count, 0) << "the self-signed server's book stays empty";
  EXPECT_EQ(slurp(cache_of(self_signed)), "") << "opened before the transfer, left empty";
  ASSERT_NE(books_[2], nullptr);
  EXPECT_EQ(books_[2]->count, 2);
  EXPECT_NE(WebServer::access_log_line("/books/vorn.xml"), "") << "lighttpd served the trusted book";
}

TEST_F(CloudBookTest, AThousandFailedFetchesLeaveTheDescriptorsAsTheyWere) {
  set_books({{"http://127.0.0.1:1/a.xml", "closed", "1"}});
  update();  // libcurl's first use sets up what it keeps
  const int before = open_descriptors();
  ASSERT_GE(before, 0);
  std::vector<CloudEntry> e(CLOUD_BOOK_LIST_ROOM);
  ::testing::internal::CaptureStdout();
  for (int i = 0; i < 1000; ++i) {
    EXPECT_NE(cloud_book_download("http://127.0.0.1:1/a.xml", "/tmp/closed.xml"), 0);
    int count = 0;
    EXPECT_EQ(api_cloud_list_get(e.data(), &count, "/tmp/closed.xml"), -1);
  }
  ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(open_descriptors(), before);
}

TEST_F(CloudBookTest, ABookRemovedFromTheListLeavesItsSlotFreed) {
  set_books({{book_url("vorn.xml"), "a", "1"}, {book_url("cisco.xml"), "c", "3"}});
  update();
  ASSERT_NE(books_[2], nullptr);
  set_books({{book_url("vorn.xml"), "a", "1"}});
  update();
  EXPECT_NE(books_[0], nullptr);
  EXPECT_EQ(books_[2], nullptr);
}

TEST_F(CloudBookTest, ListLeavesOutBooksWithoutUrlOrNameAndReadsTheIndex) {
  json_object* root = json_tokener_parse(
      "{\"MaillistRemotePhoneBook\":{\"data\":["
      "{\"RemotePhoneBookURL\":\"http://a/1\",\"RemotePhoneBookName\":\"one\",\"Index\":\"4\"},"
      "{\"RemotePhoneBookURL\":\"\",\"RemotePhoneBookName\":\"empty\",\"Index\":\"2\"},"
      "{\"RemotePhoneBookName\":\"no url\",\"Index\":\"3\"},"
      "{\"RemotePhoneBookURL\":\"http://a/2\",\"Index\":\"5\"},"
      "{\"RemotePhoneBookURL\":\"http://a/3\",\"RemotePhoneBookName\":\"three\",\"Index\":\"x\"}]}}");
  ASSERT_EQ(write_gnl_config_json(CLOUD_BOOK_LIST_FILE, root), 0);
  json_object_put(root);
  RemoteBookEntry* list = static_cast<RemoteBookEntry*>(std::malloc(16));  // freed by the call
  int count = -1;
  ASSERT_EQ(remote_cloudlist_get(&list, &count), 0);
  ASSERT_EQ(count, 2);
  EXPECT_EQ(list[0].index, 4);
  EXPECT_STREQ(list[0].name, "one");
  EXPECT_STREQ(list[0].url, "http://a/1");
  EXPECT_EQ(list[0].is_menu, 0);
  EXPECT_EQ(list[1].index, 0);
  std::free(list);
  EXPECT_TRUE(peer_.log().empty()) << "the list alone fetches nothing";
}

TEST_F(CloudBookTest, AnIndexOutsideOneToFiveHasNoSlot) {
  set_books({{book_url("vorn.xml"), "six", "6"}, {book_url("cisco.xml"), "zero", "0"}});
  const std::string out = update();
  for (CloudBook* b : books_) EXPECT_EQ(b, nullptr);
  EXPECT_NE(out.find("Index 6 has no slot"), std::string::npos);
}

TEST_F(CloudBookTest, CheckIfMenuitemFetchesOnlyAMissingDocument) {
  EXPECT_EQ(api_cloud_check_if_Menuitem(book_url("menu.xml").c_str()), 1);
  EXPECT_EQ(api_cloud_check_if_Menuitem(book_url("menu.xml").c_str()), 1);
  EXPECT_EQ(api_cloud_check_if_Menuitem(book_url("vorn.xml").c_str()), 0);
  EXPECT_EQ(api_cloud_check_if_Menuitem(book_url("unclosed.xml").c_str()), 0);
  EXPECT_EQ(api_cloud_check_if_Menuitem(nullptr), 0);
  auto f = fetched(2);
  EXPECT_EQ(f["menu.xml"], 1);
  EXPECT_EQ(f["vorn.xml"], 1);
}

TEST_F(CloudBookTest, TheUpdateEventGoesToEveryProcessWithItsTerminator) {
  RawSession listener(2461);
  ASSERT_TRUE(listener.ok());
  struct Row {
    int (*send)();
    int clearid;
  };
  const Row rows[] = {{&clound_book_update_now, -1}, {[] { return api_clound_book_del_byid(3); }, 3}};
  for (const Row& row : rows) {
    ASSERT_EQ(row.send(), 0);
    auto in = listener.receive();
    ASSERT_TRUE(in);
    const auto h = RawSession::header(*in);
    EXPECT_EQ(h.msgtype, 0);
    EXPECT_EQ(h.kind, 2);
    EXPECT_EQ(h.dest, 65535);
    const char* text = reinterpret_cast<const char*>(in->data() + 16);
    EXPECT_EQ(h.length, std::strlen(text) + 1) << "the terminator is counted";
    json_object* o = json_tokener_parse(text);
    ASSERT_NE(o, nullptr) << text;
    json_object *name = nullptr, *data = nullptr, *id = nullptr;
    ASSERT_TRUE(json_object_object_get_ex(o, "msgtype", &name));
    EXPECT_STREQ(json_object_get_string(name), "clound_update");
    ASSERT_TRUE(json_object_object_get_ex(o, "data", &data));
    ASSERT_TRUE(json_object_object_get_ex(data, "clearid", &id));
    EXPECT_EQ(json_object_get_int(id), row.clearid);
    json_object_put(o);
  }
}

}  // namespace
