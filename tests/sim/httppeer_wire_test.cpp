// httppeer on the wire, seen through the curl tool and a raw socket: what
// it records of each connection and how each route answers.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>

#include "support/http_peer.h"

namespace {

using phonecore::testing::HttpPeer;
using phonecore::testing::HttpRecord;

// Runs a command in the box; its standard output.
std::string run(const std::string& command) {
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::string out;
  std::array<char, 4096> buf;
  for (size_t n; pipe && (n = fread(buf.data(), 1, buf.size(), pipe.get())) > 0;) out.append(buf.data(), n);
  return out;
}

// Sends bytes on a fresh connection (closing the sending side when
// half_close) and gives back what came until the peer closed.
std::string raw_exchange(const std::string& bytes, bool half_close = true) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(HttpPeer::kPort);
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    close(fd);
    return "connect failed";
  }
  send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  if (half_close) shutdown(fd, SHUT_WR);
  std::string in;
  char buf[4096];
  for (pollfd p{fd, POLLIN, 0}; poll(&p, 1, 10000) > 0;) {
    const ssize_t n = recv(fd, buf, sizeof buf, 0);
    if (n <= 0) break;
    in.append(buf, static_cast<size_t>(n));
  }
  close(fd);
  return in;
}

class HttpPeerWire : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(peer.clear()); }
  HttpPeer peer;
};

TEST_F(HttpPeerWire, RecordsACurlPost) {
  EXPECT_EQ(run("curl -s -H 'X-B: 2' -H 'X-A: 1' --data-binary 'hello' 'http://127.0.0.1:18080/p?q=1'"), "ok\n");
  const auto r = peer.requests(1);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].method, "POST");
  EXPECT_EQ(r[0].target, "/p?q=1");
  EXPECT_EQ(r[0].body, "hello");
  ASSERT_GE(r[0].headers.size(), 4u);
  EXPECT_EQ(r[0].headers[0].first, "Host");
  EXPECT_EQ(r[0].headers[3], (std::pair<std::string, std::string>{"X-B", "2"}));
  EXPECT_EQ(r[0].headers[4], (std::pair<std::string, std::string>{"X-A", "1"}));
  EXPECT_EQ(r[0].raw.substr(r[0].raw.size() - 9), "\r\n\r\nhello");
}

TEST_F(HttpPeerWire, RoutesAnswerAsDocumented) {
  EXPECT_EQ(run("curl -s -o /dev/null -w '%{http_code}' http://127.0.0.1:18080/status/418"), "418");
  EXPECT_EQ(run("curl -s -w ' %{http_code}' http://127.0.0.1:18080/redirect"), "moved\n 302");
  EXPECT_EQ(run("curl -s -L http://127.0.0.1:18080/redirect"), "status 200\n");
  EXPECT_EQ(run("curl -s -w ' %{http_code}' http://127.0.0.1:18080/auth"), "who are you\n 401");
  EXPECT_EQ(run("curl -s -u user:pass http://127.0.0.1:18080/auth"), "secret\n");
  EXPECT_EQ(run("curl -s -u user:wrong -o /dev/null -w '%{http_code}' http://127.0.0.1:18080/auth"), "401");
  EXPECT_EQ(run("curl -s -o /dev/null -w '%{exitcode}' http://127.0.0.1:18080/short"), "18");
  EXPECT_EQ(run("curl -s -o /dev/null -w '%{exitcode}' http://127.0.0.1:18080/close"), "18");
  EXPECT_EQ(run("curl -s http://127.0.0.1:18080/long"), "five ");
  EXPECT_EQ(run("curl -s -o /dev/null -w '%{size_header}' http://127.0.0.1:18080/big-headers").size(), 5u);
  EXPECT_EQ(run("curl -s -r 10-19 http://127.0.0.1:18080/file/30"), "abcdefghijklmnopqrstuvwxyzabcd");
  EXPECT_EQ(run("curl -s -m 1 -o /dev/null -w '%{exitcode}' http://127.0.0.1:18080/stall/5"), "28");
}

TEST_F(HttpPeerWire, FaultRoutesAnswerAsDocumented) {
  const std::string far =
      run("curl -s -o /dev/null -w '%{http_code} %{redirect_url}' http://127.0.0.1:18080/long-redirect");
  EXPECT_EQ(far.size(), 4u + 300u);
  EXPECT_EQ(far.substr(0, 38), "302 http://127.0.0.1:18080/status/200?");
  EXPECT_EQ(far.back(), 'p');
  // N bytes of twice as many, then silence or a reset
  EXPECT_EQ(run("curl -s -m 1 -w ' %{exitcode}' http://127.0.0.1:18080/stall-after/5"), "abcde 28");
  EXPECT_EQ(run("curl -s -w ' %{exitcode}' http://127.0.0.1:18080/reset/5"), "abcde 56");
  const std::string lower = raw_exchange("GET /lower-length/7 HTTP/1.1\r\n\r\n");
  EXPECT_NE(lower.find("\r\ncontent-length: 7\r\n"), std::string::npos) << lower;
  EXPECT_EQ(lower.substr(lower.size() - 11), "\r\n\r\nabcdefg");
  const std::string lower_head = raw_exchange("HEAD /lower-length/7 HTTP/1.1\r\n\r\n");
  EXPECT_EQ(lower_head.substr(lower_head.size() - 4), "\r\n\r\n");
  const std::string head = raw_exchange("HEAD /head/5000000000 HTTP/1.1\r\n\r\n");
  EXPECT_NE(head.find("\r\nContent-Length: 5000000000\r\n"), std::string::npos) << head;
  EXPECT_EQ(head.substr(head.size() - 4), "\r\n\r\n");
  EXPECT_EQ(run("curl -s http://127.0.0.1:18080/head/5"), "ok\n");
}

// A PUT over the limit is read (after "100 Continue") and reset; one within
// it is stored; the HEAD tells the limit.
TEST_F(HttpPeerWire, PutResetKeepsTheLimit) {
  EXPECT_EQ(run("printf 0123456789abcdefghij | curl -s -T - -w '%{exitcode}' http://127.0.0.1:18080/put-reset/10"),
            "56");
  EXPECT_EQ(run("printf 0123456789 | curl -s -T - http://127.0.0.1:18080/put-reset/10"), "stored\n");
  EXPECT_EQ(run("curl -s -I http://127.0.0.1:18080/put-reset/10 | grep -i length"), "Content-Length: 10\r\n");
  EXPECT_EQ(run("curl -s -I http://127.0.0.1:18080/put-reset/10/lower | grep -i length"), "content-length: 10\r\n");
  const auto r = peer.requests(4);
  ASSERT_EQ(r.size(), 4u);
  int bodies = 0;
  for (const auto& one : r)
    if (one.method == "PUT") {
      ASSERT_NE(one.header("Expect"), nullptr);
      bodies += one.body == "14\r\n0123456789abcdefghij\r\n0\r\n\r\n";
      bodies += one.body == "a\r\n0123456789\r\n0\r\n\r\n";
    }
  EXPECT_EQ(bodies, 2);
}

TEST_F(HttpPeerWire, SurvivesGarbageAndRecordsIt) {
  const std::string garbage("\x01\x02 no request\0here\r\n\r\n", 23);
  EXPECT_EQ(raw_exchange(garbage).substr(0, 24), "HTTP/1.1 400 Bad Request");
  // cut mid-way, and a head that never ends: refused the same way
  EXPECT_EQ(raw_exchange("GET / HT").substr(0, 24), "HTTP/1.1 400 Bad Request");
  EXPECT_EQ(raw_exchange(std::string(300000, 'x')).substr(0, 24), "HTTP/1.1 400 Bad Request");
  // Each connection is written down when its own thread is done with it:
  // the three may stand in any order.
  const auto r = peer.requests(3);
  ASSERT_EQ(r.size(), 3u);
  auto with_raw = [&r](const std::string& raw) {
    for (const auto& one : r)
      if (one.raw == raw) return &one;
    return static_cast<const HttpRecord*>(nullptr);
  };
  const HttpRecord* first = with_raw(garbage);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->method, "");
  EXPECT_NE(with_raw("GET / HT"), nullptr);
  const HttpRecord* long_head = with_raw(std::string(8192, 'x'));
  ASSERT_NE(long_head, nullptr);
  EXPECT_GE(long_head->size, 256u * 1024);
  EXPECT_EQ(run("curl -s http://127.0.0.1:18080/still"), "ok\n");
}

TEST_F(HttpPeerWire, SilentRecordsAndAnswersNothing) {
  ASSERT_TRUE(peer.silent(true));
  EXPECT_EQ(raw_exchange("GET /quiet HTTP/1.1\r\n\r\n"), "");
  ASSERT_TRUE(peer.silent(false));
  const auto r = peer.requests(1);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].target, "/quiet");
}

}  // namespace
