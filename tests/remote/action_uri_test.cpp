// The Action URI parser and word splitters, without the bus and without the
// port: requests over a socket pair, words straight into the globals.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "phonecore/action_uri.h"
#include "remote/action_uri_internal.h"

namespace {

using phonecore::remote::kHelloAnswer;
using phonecore::remote::kHelloAnswerBytes;
using phonecore::remote::kKeyRows;
using phonecore::remote::kSettingsHeadBytes;
using phonecore::remote::SilentSockets;

std::vector<std::string> rows() {
  std::vector<std::string> out;
  for (int i = 0; i < key_method_count; ++i) out.emplace_back(key_method[i]);
  return out;
}

std::vector<std::string> items() {
  std::vector<std::string> out;
  for (int i = 0; i < cfg_count; ++i) out.emplace_back(cfg_method[i]);
  return out;
}

TEST(ParseUrl, SkipsTheTargetsFirstCharacterWhateverItIs) {
  ActionUriRequest r;
  ASSERT_EQ(parse_url(&r, "GET /servlet?key=OK HTTP/1.1\r\n\r\n"), 0);
  EXPECT_STREQ(r.url, "servlet?key=OK");
  EXPECT_EQ(r.method, 0);
  ASSERT_EQ(parse_url(&r, "GET Xservlet?key=OK HTTP/1.1\r\n\r\n"), 0);
  EXPECT_STREQ(r.url, "servlet?key=OK");
}

TEST(ParseUrl, PostIsMethodOneAndItsBodyIsNotLookedAt) {
  ActionUriRequest r;
  ASSERT_EQ(parse_url(&r, "POST /servlet?key=MUTE HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc"), 0);
  EXPECT_STREQ(r.url, "servlet?key=MUTE");
  EXPECT_EQ(r.method, 1);
}

TEST(ParseUrl, DecodesNothingAndKeepsTheQuery) {
  ActionUriRequest r;
  ASSERT_EQ(parse_url(&r, "GET /servlet?phonecfg=get%5Ba%5D&x=1 HTTP/1.1\r\n\r\n"), 0);
  EXPECT_STREQ(r.url, "servlet?phonecfg=get%5Ba%5D&x=1");
}

TEST(ParseUrl, WithoutTheBlankLineIsMalformed) {
  ActionUriRequest r;
  EXPECT_EQ(parse_url(&r, "GET / HTTP/1.1\r\n"), 1);
  EXPECT_EQ(parse_url(&r, "GET / HTTP/1.1\n\n"), 1);
  EXPECT_EQ(parse_url(&r, nullptr), 1);
  EXPECT_EQ(parse_url(nullptr, "GET / HTTP/1.1\r\n\r\n"), 1);
}

TEST(ParseUrl, OtherMethodsAndAMissingHttpAreMalformed) {
  ActionUriRequest r;
  EXPECT_EQ(parse_url(&r, "PUT /servlet?key=OK HTTP/1.1\r\n\r\n"), 1);
  EXPECT_EQ(parse_url(&r, "get / HTTP/1.1\r\n\r\n"), 1);
  EXPECT_EQ(parse_url(&r, "GET /servlet?key=OK\r\n\r\n"), 1);
  EXPECT_EQ(parse_url(&r, "GET \r\n\r\n"), 1);
  EXPECT_EQ(parse_url(&r, "\r\n\r\n"), 1);
}

TEST(ParseUrl, ATargetOf1024OrMoreLeavesTheUrlEmptyButParses) {
  ActionUriRequest r;
  const std::string long_target(1024, 'a');
  ASSERT_EQ(parse_url(&r, ("GET /" + long_target + " HTTP/1.1\r\n\r\n").c_str()), 0);
  EXPECT_STREQ(r.url, "");
  const std::string fits(1023, 'b');
  ASSERT_EQ(parse_url(&r, ("GET /" + fits + " HTTP/1.1\r\n\r\n").c_str()), 0);
  EXPECT_EQ(std::string(r.url), fits);
}

TEST(CheckFormat, OnlyTheBeginningCounts) {
  EXPECT_EQ(check_format("servlet?key=OK", "servlet?key="), 0);
  EXPECT_EQ(check_format("x/servlet?key=OK", "servlet?key="), -1);
  EXPECT_EQ(check_format("servlet?key", "servlet?key="), -1);
  EXPECT_EQ(check_format(nullptr, "servlet?key="), -1);
}

TEST(InitKeyMethod, SplitsAtSemicolons) {
  init_key_method("servlet?key=OK;");
  EXPECT_EQ(rows(), (std::vector<std::string>{"OK"}));
  init_key_method("servlet?key=OK;;1");
  EXPECT_EQ(rows(), (std::vector<std::string>{"OK", "", "1"}));
  init_key_method("servlet?key=DNDOn;HOLD:12;AlwaysFwdOn=8001");
  EXPECT_EQ(rows(), (std::vector<std::string>{"DNDOn", "HOLD:12", "AlwaysFwdOn=8001"}));
  init_key_method("servlet?nothing");
  EXPECT_EQ(key_method_count, 0);
  init_key_method("servlet?key=");
  EXPECT_EQ(key_method_count, 0);
}

TEST(InitKeyMethod, FiftyOneWordsAreCountedAndTheWalkEnds) {
  std::string url = "servlet?key=";
  for (int i = 0; i < 60; ++i) url += "OK;";
  init_key_method(url.c_str());
  EXPECT_EQ(key_method_count, 51);
  url = "servlet?key=";
  for (int i = 0; i < 50; ++i) url += std::string(i ? ";" : "") + "1";
  init_key_method(url.c_str());
  EXPECT_EQ(key_method_count, 50);
}

TEST(InitKeyMethod, ALongWordIsCutAndTheRestIsLost) {
  const std::string url = "servlet?key=OK;" + std::string(100, 'w') + ";MUTE;1";
  init_key_method(url.c_str());
  ASSERT_EQ(key_method_count, 2);
  EXPECT_EQ(std::string(key_method[1]), std::string(63, 'w'));
  init_key_method(("servlet?key=" + std::string(200, 'z')).c_str());
  ASSERT_EQ(key_method_count, 1);
  EXPECT_EQ(std::strlen(key_method[0]), 63u);
}

TEST(IsKeyboardMethod, NamesAreExactAndTheEndMarkNeverMatches) {
  EXPECT_EQ(is_keyboard_method("OK"), 35);
  EXPECT_EQ(is_keyboard_method("MUTE"), 21);
  EXPECT_EQ(is_keyboard_method("0"), 40);
  EXPECT_EQ(is_keyboard_method("*"), 50);
  EXPECT_EQ(is_keyboard_method("ok"), 0);
  EXPECT_EQ(is_keyboard_method("end"), 0);
  EXPECT_EQ(is_keyboard_method("OK;"), 0);
  EXPECT_EQ(is_keyboard_method(""), 0);
  EXPECT_EQ(is_keyboard_method(nullptr), 0);
}

TEST(IsKeyboardMethod, ReadsTheCodesLowByte) {
  const int saved = my_action_uri_keyboard_conf[0].code;
  my_action_uri_keyboard_conf[0].code = 0x1234;
  EXPECT_EQ(is_keyboard_method("OK"), 0x34);
  my_action_uri_keyboard_conf[0].code = saved;
}

TEST(KeyboardConf, IsTheTableOfTheKeys) {
  ASSERT_EQ(sizeof my_action_uri_keyboard_conf / sizeof my_action_uri_keyboard_conf[0], 37u);
  for (int i = 0; i < ACTION_URI_KEYBOARD_ROWS; ++i) {
    EXPECT_EQ(my_action_uri_keyboard_conf[i].id, kKeyRows[i].id);
    EXPECT_EQ(std::string(my_action_uri_keyboard_conf[i].name), kKeyRows[i].name);
    EXPECT_EQ(my_action_uri_keyboard_conf[i].code, kKeyRows[i].code);
  }
  EXPECT_STREQ(my_action_uri_keyboard_conf[36].name, "end");
  EXPECT_EQ(my_action_uri_keyboard_conf[36].code, 255);
  EXPECT_STREQ(my_action_uri_keyboard_conf[35].name, "MUTE");
  EXPECT_EQ(my_action_uri_keyboard_conf[28].code, 65);
}

TEST(IfHad, ZeroWhenTheMarkIsThere) {
  EXPECT_EQ(if_had_equal("a=b"), 0);
  EXPECT_EQ(if_had_equal("a:b"), -1);
  EXPECT_EQ(if_had_colon("a:b"), 0);
  EXPECT_EQ(if_had_colon("ab"), -1);
  EXPECT_EQ(if_had_colon(nullptr), -1);
}

TEST(GetEqualValue, SplitsAtEqualsAmpersandAndColon) {
  get_equal_value("AlwaysFwdOn=8001");
  EXPECT_STREQ(equal1, "AlwaysFwdOn");
  EXPECT_STREQ(equal2, "8001");
  EXPECT_STREQ(equal3, "");
  get_equal_value("NoAnswFwdOn=8001&12");
  EXPECT_STREQ(equal3, "12");
  get_equal_value("a=b&c:d=e&f:g=h");
  EXPECT_STREQ(equal1, "a");
  EXPECT_STREQ(equal5, "e");
  EXPECT_STREQ(equal6, "f");
  get_equal_value(("x=" + std::string(80, 'y')).c_str());
  EXPECT_EQ(std::string(equal2), std::string(63, 'y'));
}

TEST(GetCfgMethod, ThreeCharactersBehindTheFirstEquals) {
  EXPECT_EQ(get_cfg_method("servlet?phonecfg=get[a]"), 0);
  EXPECT_EQ(get_cfg_method("servlet?phonecfg=set[a]"), 1);
  EXPECT_EQ(get_cfg_method("servlet?phonecfg=xyz[a]"), -1);
  EXPECT_EQ(get_cfg_method("servlet?phonecfg=ge"), -1);
  EXPECT_EQ(get_cfg_method("servlet"), -1);
  EXPECT_EQ(get_cfg_method(nullptr), -1);
}

TEST(GetCfgValue, CollectsBracketedItems) {
  get_cfg_value("servlet?phonecfg=get[a][b]");
  EXPECT_EQ(items(), (std::vector<std::string>{"a", "b"}));
  get_cfg_value("servlet?phonecfg=get[a");
  EXPECT_EQ(cfg_count, 0);
  std::string url = "servlet?phonecfg=get";
  for (int i = 0; i < 15; ++i) url += "[i" + std::to_string(i) + "]";
  get_cfg_value(url.c_str());
  EXPECT_EQ(cfg_count, 11);
  get_cfg_value(("servlet?phonecfg=get[" + std::string(64, 'k') + "][b]").c_str());
  EXPECT_EQ(items(), (std::vector<std::string>{"", "b"}));
  get_cfg_value(("servlet?phonecfg=get[" + std::string(63, 'k') + "]").c_str());
  EXPECT_EQ(items(), (std::vector<std::string>{std::string(63, 'k')}));
}

TEST(GetCfgValue1, CollectsEncodedBracketsOnly) {
  get_cfg_value1("servlet?phonecfg=get%5Ba%5D%5Bb%5D[c]");
  EXPECT_EQ(items(), (std::vector<std::string>{"a", "b"}));
  get_cfg_value("servlet?phonecfg=get%5Ba%5D");
  EXPECT_EQ(cfg_count, 0);
}

// handle over a socket pair: what the client side gets.
struct Pair {
  int server = -1, client = -1;
  Pair() {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) == 0) server = fds[0], client = fds[1];
  }
  ~Pair() {
    if (client >= 0) close(client);
  }
  std::string answer() const {
    std::string out;
    char b[8192];
    for (;;) {
      pollfd p{client, POLLIN, 0};
      if (poll(&p, 1, 2000) <= 0) break;
      const ssize_t n = read(client, b, sizeof b);
      if (n <= 0) break;
      out.append(b, static_cast<size_t>(n));
    }
    return out;
  }
};

TEST(Handle, TheHelloPageIs101BytesWithItsZero) {
  Pair p;
  const char request[] = "GET / HTTP/1.1\r\n\r\n";
  ASSERT_EQ(write(p.client, request, sizeof request - 1), static_cast<ssize_t>(sizeof request - 1));
  EXPECT_EQ(handle(p.server), 0);
  const std::string answer = p.answer();
  ASSERT_EQ(answer.size(), 101u);
  EXPECT_EQ(answer, std::string(kHelloAnswer, kHelloAnswerBytes));
  EXPECT_EQ(answer.back(), '\0');
  EXPECT_TRUE(answer.starts_with("HTTP/1.1 200 OK\r\n"));
  EXPECT_TRUE(answer.ends_with(std::string("<h1>Hello!</h1>") + '\0'));
  EXPECT_EQ(kSettingsHeadBytes, 142u);
}

TEST(Handle, AnUnknownTargetGetsTheSamePageWithStatus200) {
  Pair p;
  const char request[] = "POST /nothing/here HTTP/1.0\r\n\r\nbody";
  ASSERT_GT(write(p.client, request, sizeof request - 1), 0);
  EXPECT_EQ(handle(p.server), 0);
  EXPECT_EQ(p.answer(), std::string(kHelloAnswer, kHelloAnswerBytes));
  EXPECT_STREQ(url_test1.url, "nothing/here");
  EXPECT_EQ(url_test1.method, 1);
}

TEST(Handle, AMalformedRequestIsReadButNeitherAnsweredNorClosed) {
  Pair p;
  const char request[] = "GET / HTTP/1.1\r\n";
  ASSERT_GT(write(p.client, request, sizeof request - 1), 0);
  EXPECT_EQ(handle(p.server), 0);
  pollfd poll_client{p.client, POLLIN, 0};
  EXPECT_EQ(poll(&poll_client, 1, 200), 0) << "an answer or an end reached the client";
  close(p.server);
}

TEST(Handle, AClientGoneBeforeItSentIsARecvError) {
  Pair p;
  close(p.client);
  p.client = -1;
  EXPECT_EQ(handle(p.server), -1);
  close(p.server);
}

TEST(SilentSockets, TheCapClosesTheOldest) {
  SilentSockets kept(2);
  Pair a, b, c;
  kept.keep(a.server);
  kept.keep(b.server);
  kept.keep(c.server);
  EXPECT_EQ(kept.size(), 2u);
  char byte;
  EXPECT_EQ(read(a.client, &byte, 1), 0) << "the oldest is closed";
  pollfd pb{b.client, POLLIN, 0};
  EXPECT_EQ(poll(&pb, 1, 0), 0) << "the younger stay open";
}

TEST(SilentSockets, ASocketWhoseClientClosedIsSweptEvenWithBytesUnread) {
  SilentSockets kept;
  Pair a, b;
  ASSERT_EQ(write(a.client, "xyz", 3), 3);
  kept.keep(a.server);
  kept.keep(b.server);
  close(a.client);
  a.client = -1;
  kept.sweep();
  EXPECT_EQ(kept.size(), 1u);
}

}  // namespace
