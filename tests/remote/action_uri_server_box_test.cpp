// The Action URI server in the box, as clients on the network meet it: it
// runs in a process of its own ("phonectl uri serve", its thread never
// ends), and this program speaks TCP to 127.0.0.1:8335, listens to the bus
// and looks at the server's descriptors and memory.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "bus/vocabulary.h"
#include "phonecore/action_uri.h"
#include "phonecore/config.h"
#include "remote/action_uri_internal.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/process_stats.h"
#include "support/raw_session.h"

namespace {

using phonecore::remote::kHelloAnswer;
using phonecore::remote::kHelloAnswerBytes;
using phonecore::remote::kRecvTimeoutSeconds;
using phonecore::remote::kSettingsHead;
using phonecore::remote::kSettingsHeadBytes;
using phonecore::remote::kSilentSocketCap;
using phonecore::testing::FactoryFiles;
using phonecore::testing::RawSession;
using phonecore::testing::slurp;
using phonecore::testing::write_file;
namespace bus = phonecore::bus;

const std::string kHello(kHelloAnswer, kHelloAnswerBytes);
const std::string kOkPressed = std::string(R"({"cmd":"send_keyboard", "keycode":"35"})") + '\0';

// A client socket connected to the server, from the address given.
int connect_client(const char* from = nullptr) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) return -1;
  if (from != nullptr) {
    sockaddr_in local{};
    local.sin_family = AF_INET;
    inet_pton(AF_INET, from, &local.sin_addr);
    if (bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) {
      close(fd);
      return -1;
    }
  }
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(ACTION_URI_PORT);
  to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

void send_text(int fd, const std::string& bytes) { send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL); }

// What came back until the server closed (closed true) or kept silent for
// quiet_ms.
struct Answer {
  std::string bytes;
  bool closed = false;
};
Answer read_answer(int fd, int quiet_ms) {
  Answer a;
  for (;;) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, quiet_ms) <= 0) return a;
    char buffer[8192];
    const ssize_t n = recv(fd, buffer, sizeof buffer, 0);
    if (n <= 0) {
      a.closed = true;
      return a;
    }
    a.bytes.append(buffer, static_cast<size_t>(n));
  }
}

// One request on a connection of its own; the server is given 10 s.
Answer ask(const std::string& request, const char* from = nullptr) {
  const int fd = connect_client(from);
  if (fd < 0) return {};
  send_text(fd, request);
  Answer a = read_answer(fd, 10000);
  close(fd);
  return a;
}

// The server's process: phonectl from the box's PATH.
class ServerProcess {
 public:
  ServerProcess() {
    pid_ = fork();
    if (pid_ == 0) {
      execlp("phonectl", "phonectl", "uri", "serve", static_cast<char*>(nullptr));
      _exit(127);
    }
    for (int i = 0; i < 500; ++i) {
      const int fd = connect_client();
      if (fd >= 0) {
        // A connection that says nothing at once would hold the server
        // until its time-out: this one says something it answers.
        send_text(fd, "GET / HTTP/1.1\r\n\r\n");
        read_answer(fd, 10000);
        close(fd);
        return;
      }
      usleep(20000);
    }
  }
  ~ServerProcess() {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      waitpid(pid_, nullptr, 0);
    }
  }
  pid_t pid() const { return pid_; }
  bool running() const { return pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == 0; }
  size_t open_descriptors() const {
    return static_cast<size_t>(phonecore::testing::open_descriptors(std::to_string(pid_)));
  }
  long rss_kib() const { return phonecore::testing::resident_kib(std::to_string(pid_)); }

 private:
  pid_t pid_ = -1;
};

// The command broadcasts heard until 400 ms of quiet, without terminators.
std::vector<std::string> commands(RawSession& s) {
  std::vector<std::string> out;
  while (auto in = s.receive(400))
    if (RawSession::header(*in).kind == bus::kKindCommand) out.push_back(RawSession::payload(*in));
  return out;
}

// The port held by someone else: the thread body prints "bind error!" and
// comes back with 0. Runs first, before any server process holds the port.
std::atomic<bool> g_server_returned{false};
void* run_server(void*) {
  void* r = http_server(nullptr);
  g_server_returned.store(true);
  return r;
}

TEST(ActionUriPortTaken, BindErrorAndTheThreadReturnsZero) {
  const int holder = socket(AF_INET, SOCK_STREAM, 0);
  const int on = 1;
  setsockopt(holder, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(ACTION_URI_PORT);
  ASSERT_EQ(bind(holder, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
  ASSERT_EQ(listen(holder, 1), 0);
  testing::internal::CaptureStdout();
  pthread_t t;
  ASSERT_EQ(pthread_create(&t, nullptr, run_server, nullptr), 0);
  for (int i = 0; i < 3000 && !g_server_returned.load(); ++i) usleep(10000);
  std::fflush(stdout);
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_TRUE(g_server_returned.load());
  EXPECT_NE(printed.find("bind error!"), std::string::npos) << printed;
  EXPECT_EQ(printed.find("hello_server start"), std::string::npos);
  close_pc_connect_info();
  close(holder);
}

class ActionUriServer : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { server_ = new ServerProcess; }
  static void TearDownTestSuite() {
    delete server_;
    server_ = nullptr;
  }
  void SetUp() override {
    ASSERT_TRUE(server_->running());
    ASSERT_TRUE(listener_.ok());
    commands(listener_);
  }
  void TearDown() override { EXPECT_TRUE(server_->running()) << "the server process ended"; }

  static ServerProcess* server_;
  FactoryFiles files_{"default/function.cfg"};
  RawSession listener_{3301};
};
ServerProcess* ActionUriServer::server_ = nullptr;

TEST_F(ActionUriServer, RootGetsTheHelloPageAndNothingHappens) {
  const Answer a = ask("GET / HTTP/1.1\r\n\r\n");
  EXPECT_EQ(a.bytes, kHello);
  EXPECT_EQ(a.bytes.size(), 101u);
  EXPECT_TRUE(a.closed);
  EXPECT_EQ(commands(listener_), std::vector<std::string>{});
}

TEST_F(ActionUriServer, KeyOkPressesOkThenAnswers) {
  EXPECT_EQ(ask("GET /servlet?key=OK HTTP/1.1\r\n\r\n").bytes, kHello);
  EXPECT_EQ(commands(listener_), std::vector<std::string>{kOkPressed});
}

TEST_F(ActionUriServer, APostIsAGetAndItsBodyIsNotLookedAt) {
  EXPECT_EQ(ask("POST /servlet?key=OK HTTP/1.1\r\nContent-Length: 16\r\n\r\nservlet?key=MUTE").bytes, kHello);
  EXPECT_EQ(commands(listener_), std::vector<std::string>{kOkPressed});
}

TEST_F(ActionUriServer, TheTargetsFirstCharacterIsSkippedWhateverItIs) {
  EXPECT_EQ(ask("GET Xservlet?key=OK HTTP/1.1\r\n\r\n").bytes, kHello);
  EXPECT_EQ(commands(listener_), std::vector<std::string>{kOkPressed});
  EXPECT_EQ(ask("GET /x/servlet?key=OK HTTP/1.1\r\n\r\n").bytes, kHello);
  EXPECT_EQ(commands(listener_), std::vector<std::string>{});
}

TEST_F(ActionUriServer, NothingIsDecoded) {
  EXPECT_EQ(ask("GET /servlet?key=%4FK HTTP/1.1\r\n\r\n").bytes, kHello);
  EXPECT_EQ(ask("GET /servlet%3Fkey=OK HTTP/1.1\r\n\r\n").bytes, kHello);
  EXPECT_EQ(commands(listener_), std::vector<std::string>{});
}

TEST_F(ActionUriServer, FailedMethodsStillGetStatus200) {
  std::filesystem::remove("/appconfigs/default/function.cfg");
  EXPECT_EQ(ask("GET /servlet?key=DNDOn;nonsense HTTP/1.1\r\n\r\n").bytes, kHello);
  EXPECT_EQ(commands(listener_), std::vector<std::string>{std::string(R"({"cmd":"reload_transfer_dnd"})") + '\0'});
}

// What curl prints of the answer to a URL given as it stands ("-g": the
// brackets are not curl's ranges).
std::string curl_body(const std::string& url) {
  FILE* curl = popen(("curl -s -g '" + url + "'").c_str(), "r");
  if (curl == nullptr) return "<no curl>";
  std::string body;
  char b[512];
  for (size_t n; (n = std::fread(b, 1, sizeof b, curl)) > 0;) body.append(b, n);
  return pclose(curl) == 0 ? body : "<curl failed>";
}

TEST_F(ActionUriServer, ASettingsReadIsAnsweredWithTheFileAsAnAttachment) {
  const std::string file =
      "[Status]\nFirmwareVersion = 1.0.0\n[DND]\nState=0\n[Config]\nAccount1.AccountLabel = Office 1001\n";
  const Answer a = ask("GET /servlet?phonecfg=get[dnd=1][Account1.AccountLabel] HTTP/1.1\r\n\r\n");
  EXPECT_TRUE(a.closed);
  EXPECT_EQ(a.bytes, std::string(kSettingsHead, kSettingsHeadBytes) + file);
  // Byte for byte through curl, the passwords in clear among them.
  EXPECT_EQ(curl_body("http://127.0.0.1:8335/servlet?phonecfg=get[dnd=1][Account1.AccountLabel]"), file);
  EXPECT_EQ(curl_body("http://127.0.0.1:8335/servlet?phonecfg=get[Account1.AccountPassword]"),
            "[Status]\nFirmwareVersion = 1.0.0\n[Config]\nAccount1.AccountPassword = desk1001\n");
  // Eleven items: the Hello page.
  std::string eleven = "GET /servlet?phonecfg=get";
  for (int i = 0; i < 11; ++i) eleven += "[dnd=1]";
  EXPECT_EQ(ask(eleven + " HTTP/1.1\r\n\r\n").bytes, kHello);
  EXPECT_EQ(commands(listener_), std::vector<std::string>{});
}

TEST_F(ActionUriServer, ASettingsWriteIsAppliedAndAnsweredWithTheHelloPage) {
  FactoryFiles accounts{"voip.cfg", "default/voiplist.cfg", "default/dss.cfg", "default/programing_key.cfg"};
  EXPECT_EQ(curl_body("http://127.0.0.1:8335/servlet?phonecfg=set[Account1.AccountLabel=Reception]"),
            std::string("<h1>Hello!</h1>") + '\0');
  const std::string registered = phonecore::testing::text_at("default/voiplist.cfg", {"AccountRegister"});
  EXPECT_NE(registered.find("\"AccountLabel\": \"Reception\""), std::string::npos) << registered;
  const std::vector<std::string> heard = commands(listener_);
  ASSERT_FALSE(heard.empty());
  EXPECT_EQ(heard.back(), std::string(R"({"cmd":"reload_account"})") + '\0');
  EXPECT_EQ(slurp("/tmp/reloading"), "0");
  EXPECT_TRUE(accounts.restore());
}

TEST_F(ActionUriServer, ALongTargetIsAnsweredWithTheHelloPage) {
  EXPECT_EQ(ask("GET /servlet?key=" + std::string(1100, '1') + " HTTP/1.1\r\n\r\n").bytes, kHello);
  EXPECT_EQ(commands(listener_), std::vector<std::string>{});
}

TEST_F(ActionUriServer, WithoutTheBlankLineNothingIsSentAndTheSocketStaysOpen) {
  const int fd = connect_client();
  ASSERT_GE(fd, 0);
  send_text(fd, "GET /servlet?key=OK HTTP/1.1\r\n");
  const Answer a = read_answer(fd, 1500);
  EXPECT_EQ(a.bytes, "");
  EXPECT_FALSE(a.closed);
  // The server has moved on.
  EXPECT_EQ(ask("GET / HTTP/1.1\r\n\r\n").bytes, kHello);
  EXPECT_EQ(commands(listener_), std::vector<std::string>{});
  close(fd);
}

TEST_F(ActionUriServer, AnyAddressIsServedWhateverAuriLimitIpSays) {
  json_object* root = read_gnl_config_json("default/function.cfg");
  ASSERT_NE(root, nullptr);
  json_object* remote = nullptr;
  ASSERT_TRUE(json_object_object_get_ex(root, "FeatureRemote", &remote));
  json_object_object_add(remote, "AURILimitIP", json_object_new_string("10.9.8.7"));
  ASSERT_EQ(write_gnl_config_json("default/function.cfg", root), 0);
  json_object_put(root);
  EXPECT_EQ(ask("GET /servlet?key=OK HTTP/1.1\r\n\r\n", "127.0.0.2").bytes, kHello);
  EXPECT_EQ(commands(listener_), std::vector<std::string>{kOkPressed});
}

TEST_F(ActionUriServer, DuringAReloadNoConnectionIsServedOrClosed) {
  for (const char* marker : {"1", "00", ""}) {
    ASSERT_TRUE(write_file("/tmp/reloading", marker));
    const int fd = connect_client();
    ASSERT_GE(fd, 0);
    send_text(fd, "GET /servlet?key=OK HTTP/1.1\r\n\r\n");
    const Answer a = read_answer(fd, 1000);
    EXPECT_EQ(a.bytes, "") << "marker '" << marker << "'";
    EXPECT_FALSE(a.closed) << "marker '" << marker << "'";
    close(fd);
  }
  EXPECT_EQ(commands(listener_), std::vector<std::string>{});
  ASSERT_TRUE(write_file("/tmp/reloading", "0"));
  EXPECT_EQ(ask("GET /servlet?key=OK HTTP/1.1\r\n\r\n").bytes, kHello);
  EXPECT_EQ(commands(listener_), std::vector<std::string>{kOkPressed});
  std::filesystem::remove("/tmp/reloading");
}

TEST_F(ActionUriServer, ASilentClientIsGivenUpAfterTheTimeOut) {
  const int fd = connect_client();
  ASSERT_GE(fd, 0);
  const auto start = std::chrono::steady_clock::now();
  const Answer a = read_answer(fd, 60000);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_TRUE(a.closed);
  EXPECT_EQ(a.bytes, "");
  EXPECT_GE(waited, std::chrono::seconds(kRecvTimeoutSeconds) - std::chrono::milliseconds(500));
  close(fd);
  EXPECT_EQ(ask("GET / HTTP/1.1\r\n\r\n").bytes, kHello);
}

TEST_F(ActionUriServer, AClientGoneMidReplyDoesNotEndTheServer) {
  for (int i = 0; i < 5; ++i) {
    const int fd = connect_client();
    ASSERT_GE(fd, 0);
    send_text(fd, "GET /servlet?key=OK HTTP/1.1\r\n\r\n");
    linger reset{1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    close(fd);
  }
  EXPECT_EQ(ask("GET / HTTP/1.1\r\n\r\n").bytes, kHello);
  EXPECT_TRUE(server_->running());
}

TEST_F(ActionUriServer, ASecondServerCannotHaveThePort) {
  const int status = std::system("phonectl uri serve >/dev/null 2>&1");
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_EQ(ask("GET / HTTP/1.1\r\n\r\n").bytes, kHello);
}

TEST_F(ActionUriServer, UnansweredSocketsAreCappedOldestFirst) {
  const size_t fds_before = server_->open_descriptors();
  std::vector<int> clients;
  for (size_t i = 0; i < kSilentSocketCap + 16; ++i) {
    const int fd = connect_client();
    ASSERT_GE(fd, 0);
    send_text(fd, "GET / HTTP/1.1\r\n");
    clients.push_back(fd);
  }
  EXPECT_EQ(ask("GET / HTTP/1.1\r\n\r\n").bytes, kHello);
  EXPECT_LE(server_->open_descriptors(), fds_before + kSilentSocketCap);
  EXPECT_GE(server_->open_descriptors(), fds_before + kSilentSocketCap - 1);
  // The oldest were closed without a word; the youngest still wait.
  EXPECT_EQ(read_answer(clients.front(), 2000).closed, true);
  EXPECT_EQ(read_answer(clients.front(), 0).bytes, "");
  const Answer young = read_answer(clients.back(), 500);
  EXPECT_FALSE(young.closed);
  EXPECT_EQ(young.bytes, "");
  for (int fd : clients) close(fd);
  // Those whose clients have gone are closed before the next accept.
  EXPECT_EQ(ask("GET / HTTP/1.1\r\n\r\n").bytes, kHello);
  size_t fds_after = 0;
  for (int i = 0; i < 200 && (fds_after = server_->open_descriptors()) > fds_before; ++i) usleep(10000);
  EXPECT_LE(fds_after, fds_before);
}

// Bad input of every kind the network brings, many times over: the server
// keeps at most its cap of unanswered sockets, its memory stays flat, and
// it answers as before.
TEST_F(ActionUriServer, SurvivesTenThousandMalformedRequests) {
  const size_t fds_before = server_->open_descriptors();
  const long rss_before = server_->rss_kib();
  const std::string long_line = "GET /" + std::string(8192, 'a') + " HTTP/1.1\r\n\r\n";
  const char nul_request[] = "GET /\0\0servlet?key=OK HTTP/1.1\r\n\r\n";
  const std::string with_nul(nul_request, sizeof nul_request - 1);
  int answered = 0, good = 0;
  for (int i = 0; i < 10000; ++i) {
    const int fd = connect_client();
    ASSERT_GE(fd, 0) << "connection " << i;
    switch (i % 9) {
      case 0:
        send_text(fd, "\r\n\r\n");
        break;  // no request line
      case 1:
        send_text(fd, long_line);
        break;  // 8 KiB line
      case 2:
        send_text(fd, with_nul);
        break;  // NUL bytes
      case 3:
        send_text(fd, "GET /servlet?ke");
        break;  // cut mid-way
      case 4:   // two writes
        send_text(fd, "GET / HT");
        usleep(1000);
        send_text(fd, "TP/1.1\r\n\r\n");
        break;
      case 5:
        send_text(fd, "GET / HTTP/1.1\n\n");
        break;  // LF only
      case 6:
        send_text(fd, "PUT / HTTP/1.1\r\n\r\n");
        break;   // another method
      case 7: {  // reset mid-reply
        send_text(fd, "GET / HTTP/1.1\r\n\r\n");
        linger reset{1, 0};
        setsockopt(fd, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
        break;
      }
      case 8:  // a good one now and then
        send_text(fd, "GET / HTTP/1.1\r\n\r\n");
        ++good;
        if (read_answer(fd, 10000).bytes == kHello) ++answered;
        break;
    }
    close(fd);
  }
  // A few clients that say nothing; each is given up after the time-out.
  for (int i = 0; i < 2; ++i) {
    const int fd = connect_client();
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(read_answer(fd, 60000).closed);
    close(fd);
  }
  EXPECT_EQ(answered, good);

  // curl, as any client: the Hello page, and OK on the bus.
  FILE* curl = popen("curl -s 'http://127.0.0.1:8335/servlet?key=OK'", "r");
  ASSERT_NE(curl, nullptr);
  std::string body;
  char b[512];
  for (size_t n; (n = std::fread(b, 1, sizeof b, curl)) > 0;) body.append(b, n);
  EXPECT_EQ(pclose(curl), 0);
  EXPECT_EQ(body, std::string("<h1>Hello!</h1>") + '\0');
  const auto heard = commands(listener_);
  ASSERT_FALSE(heard.empty());
  EXPECT_EQ(heard.back(), kOkPressed);

  const size_t fds_after = server_->open_descriptors();
  const long rss_after = server_->rss_kib();
  std::printf("server descriptors %zu -> %zu, VmRSS %ld -> %ld KiB\n", fds_before, fds_after, rss_before, rss_after);
  EXPECT_LE(fds_after, fds_before + kSilentSocketCap);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(rss_after - rss_before, 1024) << "VmRSS grew by a MiB or more";
#endif
}

// The settings answer, assembled and sent by the connection's handler: the
// 142 bytes of its head and the file, cut at the room of the buffer.
struct SocketPair {
  int server = -1, client = -1;
  SocketPair() {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) == 0) server = fds[0], client = fds[1];
  }
  ~SocketPair() { close(client); }
};

TEST(ActionUriSettingsAnswer, IsTheHeadAndTheFile) {
  const std::string file = "[ phonecfg ]\nAccount1.Label = 1001\n";
  ASSERT_TRUE(write_file(ACTION_URI_PHONECFG_INI, file));
  SocketPair p;
  send_text(p.client, "GET / HTTP/1.1\r\n\r\n");
  upload_flag = 1;
  EXPECT_EQ(handle(p.server), 0);
  EXPECT_EQ(upload_flag, 0);
  const Answer a = read_answer(p.client, 2000);
  EXPECT_TRUE(a.closed);
  ASSERT_EQ(a.bytes.size(), 142 + file.size());
  EXPECT_EQ(a.bytes.substr(0, 142), std::string(kSettingsHead, kSettingsHeadBytes));
  EXPECT_TRUE(a.bytes.substr(0, 142).ends_with("filename=phonecfg.ini\r\n\r\n"));
  EXPECT_EQ(a.bytes.substr(142), file);
}

TEST(ActionUriSettingsAnswer, IsCutAtTheRoomOfTheBuffer) {
  ASSERT_TRUE(write_file(ACTION_URI_PHONECFG_INI, std::string(9000, 'v')));
  SocketPair p;
  send_text(p.client, "GET / HTTP/1.1\r\n\r\n");
  upload_flag = 1;
  EXPECT_EQ(handle(p.server), 0);
  const Answer a = read_answer(p.client, 2000);
  EXPECT_EQ(a.bytes.size(), static_cast<size_t>(ACTION_URI_UPLOAD_SIZE - 1));
  EXPECT_EQ(a.bytes.substr(142), std::string(ACTION_URI_UPLOAD_SIZE - 1 - 142, 'v'));
}

TEST(ActionUriSettingsAnswer, AMissingFileSendsNothingAndCloses) {
  std::filesystem::remove(ACTION_URI_PHONECFG_INI);
  SocketPair p;
  send_text(p.client, "GET / HTTP/1.1\r\n\r\n");
  upload_flag = 1;
  EXPECT_EQ(handle(p.server), 0);
  const Answer a = read_answer(p.client, 2000);
  EXPECT_EQ(a.bytes, "");
  EXPECT_TRUE(a.closed);
}

TEST(ActionUriSettingsAnswer, TheCallersFunctionTakesTheFlagOnce) {
  ASSERT_TRUE(write_file(ACTION_URI_PHONECFG_INI, "a = 1\n"));
  upload_flag = 0;
  EXPECT_EQ(upload_file_phonecfg_ini(), nullptr);
  upload_flag = 1;
  const char* answer = upload_file_phonecfg_ini();
  ASSERT_EQ(answer, upload_file_arrary);
  EXPECT_EQ(std::string(answer), std::string(kSettingsHead, kSettingsHeadBytes) + "a = 1\n");
  EXPECT_EQ(upload_file_phonecfg_ini(), nullptr);
}

}  // namespace
