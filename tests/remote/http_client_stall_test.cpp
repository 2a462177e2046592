// The HTTP client against a server that answers nothing: each function is
// cut at its own time-out (5 s for the one-shot post, 20 s for the kept
// post and get, 60 s for the two downloads), and one without a time-out
// waits for the answer however late. The functions run side by side, so
// the test takes about as long as the longest time-out.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "phonecore/http_client.h"
#include "support/files.h"
#include "support/http_peer.h"

namespace {

using phonecore::testing::HttpPeer;
using Clock = std::chrono::steady_clock;

// The server holds every answer this long, or until the client leaves:
// far beyond every time-out.
const std::string kStall = HttpPeer::url("/stall/600");

size_t discard(void*, size_t size, size_t n, void*) { return size * n; }

struct Outcome {
  int result = 99;
  double seconds = 0;
};

template <typename Body>
std::thread timed(Outcome& out, Body body) {
  return std::thread([&out, body] {
    const auto start = Clock::now();
    out.result = body();
    out.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  });
}

TEST(HttpClientStall, EachFunctionIsCutAtItsOwnTimeOut) {
  ASSERT_TRUE(HttpPeer().clear());
  Outcome sj, post, get, dl, dl2, late;
  std::vector<std::thread> threads;
  threads.push_back(timed(sj, [] { return sj_curl_post_get("s", kStall.c_str(), 0, 0, &discard); }));
  threads.push_back(timed(post, [] {
    CURL* h = http_curl_post_init_no_header(kStall.c_str());
    const int r = http_curl_post_send(h, "p", 0, 0, &discard, nullptr);
    http_curl_post_release(h, nullptr);
    return r;
  }));
  threads.push_back(timed(get, [] {
    CURL* h = http_curl_get_init_no_header(kStall.c_str());
    const int r = http_curl_get_send(h, 0, 0, 0, &discard, nullptr);
    http_curl_get_release(h, nullptr);
    return r;
  }));
  threads.push_back(timed(dl, [] {
    CURL* h = curl_easy_init();
    const int r = download(h, kStall.c_str(), "/tmp/stall.part", 5);
    curl_easy_cleanup(h);
    return r;
  }));
  threads.push_back(timed(dl2, [] { return download2({kStall.c_str(), nullptr}); }));
  // No time-out at all: a 3-second stall is waited out and its page saved.
  threads.push_back(timed(
      late, [] { return http_downloadfile(HttpPeer::url("/stall/3").c_str(), "/tmp/stall.late", nullptr, nullptr); }));
  for (auto& t : threads) t.join();

  EXPECT_EQ(sj.result, -1);
  EXPECT_GE(sj.seconds, 4.9);
  EXPECT_EQ(post.result, -1);
  EXPECT_GE(post.seconds, 19.9);
  EXPECT_EQ(get.result, 0);  // cut, and still 0
  EXPECT_GE(get.seconds, 19.9);
  EXPECT_EQ(dl.result, 0);
  EXPECT_GE(dl.seconds, 59.9);
  EXPECT_EQ(dl2.result, 0);
  EXPECT_GE(dl2.seconds, 59.9);
  EXPECT_EQ(late.result, 0);
  EXPECT_GE(late.seconds, 2.9);
  EXPECT_EQ(phonecore::testing::slurp("/tmp/stall.late"), "late\n");
  // Cut by the client, not ended by the server's 600 s.
  for (const Outcome* o : {&sj, &post, &get, &dl, &dl2}) EXPECT_LT(o->seconds, 400);
  // All six reached the server.
  EXPECT_EQ(HttpPeer().requests(6).size(), 6u);
}

}  // namespace
