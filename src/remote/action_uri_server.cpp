// The Action URI server: TCP 8335, one connection at a time on one thread,
// one read per request, status 200 whatever happened.
//
// The parser is as small as the phone's clients expect: the target's first
// character is skipped whatever it is, nothing is decoded, and a request
// must arrive whole in one read. A request that isn't understood, and any
// connection during a reload, gets no answer and its socket stays open; the
// server keeps at most kSilentSocketCap of those and closes each as soon as
// its client has gone.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/atomic_field.h"
#include "base/json.h"
#include "phonecore/action_uri.h"
#include "phonecore/config.h"
#include "phonecore/phonecfg.h"
#include "remote/action_uri_internal.h"

namespace json = phonecore::json;
using phonecore::base::load;
using phonecore::base::store;

static_assert(sizeof(ActionUriRequest) == 1028);
static_assert(offsetof(ActionUriRequest, url) == 0);
static_assert(offsetof(ActionUriRequest, method) == 1024);

ActionUriRequest url_test1;
int32_t upload_flag;
char upload_file_arrary[ACTION_URI_UPLOAD_SIZE];
int32_t set_remote_url_flag;
int32_t first_control_flag;

namespace phonecore::remote {
namespace {

constexpr const char* kKeyForm = "servlet?key=";
constexpr const char* kPhonecfgForm = "servlet?phonecfg=";
// An IPv4 address in text form, with its terminator.
constexpr size_t kAddressField = 16;

// Sends all of len bytes; a client gone mid-reply must not raise SIGPIPE.
void send_all(int fd, const char* data, size_t len) {
  while (len > 0) {
    const ssize_t n = send(fd, data, len, MSG_NOSIGNAL);
    if (n <= 0) return;
    data += n;
    len -= static_cast<size_t>(n);
  }
}

// The settings answer in upload_file_arrary, cut at its room; its length,
// or 0 when the file can't be read.
size_t assemble_settings_answer() {
  // getFileAll says "Open file  fail" itself.
  int whole = 0;
  char* file = getFileAll(ACTION_URI_PHONECFG_INI, &whole);
  if (file == nullptr) return 0;
  size_t length = whole > 0 ? static_cast<size_t>(whole) : 0;
  std::memset(upload_file_arrary, 0, sizeof upload_file_arrary);
  std::memcpy(upload_file_arrary, kSettingsHead, kSettingsHeadBytes);
  size_t room = sizeof upload_file_arrary - 1 - kSettingsHeadBytes;
  if (length > room) {
    std::printf("upload_file_phonecfg_ini: %zu bytes, cut at %zu\n", length, room);
    length = room;
  }
  std::memcpy(upload_file_arrary + kSettingsHeadBytes, file, length);
  std::free(file);
  return kSettingsHeadBytes + length;
}

// Claims the settings answer: true once per setting of upload_flag.
bool take_upload_flag() {
  if (load(upload_flag) != 1) return false;
  store(upload_flag, 0);
  return true;
}

// "AURILimitIP" as set, for the log only.
void read_limit_address(char (&out)[kAddressField]) {
  out[0] = '\0';
  json::Owned root(read_gnl_config_json("default/function.cfg"));
  if (root != nullptr) json::copy_text(out, json::text(root.get(), "FeatureRemote", "AURILimitIP"));
}

}  // namespace

bool reload_in_progress() {
  getReloading();
  return load(is_reloading) != 0;
}

Served serve_connection(int fd) {
  std::memset(&url_test1, 0, sizeof url_test1);
  char request[ACTION_URI_REQUEST_SIZE] = {};

  // A client that says nothing is given up after the time-out.
  timeval timeout{kRecvTimeoutSeconds, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  const ssize_t n = recv(fd, request, sizeof request - 1, 0);
  if (n <= 0) {
    std::printf("recv error\n");
    return Served::kRecvError;
  }
  std::printf("Debug request:\n--------------\n%s\n\n", request);

  if (parse_url(&url_test1, request) != 0) {
    std::printf("解析失败...\r");
    return Served::kMalformed;
  }
  std::printf("解析成功..\r");
  std::printf("方法名为:%s\r\n", url_test1.method == 1 ? "POST" : "GET");
  std::printf("文件名为:%s\r\n", url_test1.url);
  std::printf("格式正确？: %d\n", check_format(url_test1.url, kKeyForm));

  if (check_format(url_test1.url, kKeyForm) == 0) {
    init_key_method(url_test1.url);
    do_method_for_key();
  } else if (check_format(url_test1.url, kPhonecfgForm) == 0) {
    do_method_for_phonecfg(url_test1.url);
  }

  if (take_upload_flag()) {
    const size_t length = assemble_settings_answer();
    if (length > 0) send_all(fd, upload_file_arrary, length);
  } else {
    send_all(fd, kHelloAnswer, kHelloAnswerBytes);
  }
  close(fd);
  return Served::kAnswered;
}

SilentSockets::~SilentSockets() {
  for (int fd : fds_) close(fd);
}

void SilentSockets::keep(int fd) {
  if (fds_.size() >= cap_ && !fds_.empty()) {
    close(fds_.front());
    fds_.pop_front();
  }
  fds_.push_back(fd);
}

void SilentSockets::sweep() {
  for (auto it = fds_.begin(); it != fds_.end();) {
    // Bytes after the request stay unread; only the client's end counts.
    pollfd p{*it, POLLRDHUP, 0};
    const bool gone = poll(&p, 1, 0) > 0 && (p.revents & (POLLRDHUP | POLLHUP | POLLERR | POLLNVAL)) != 0;
    if (gone) {
      close(*it);
      it = fds_.erase(it);
    } else {
      ++it;
    }
  }
}

}  // namespace phonecore::remote

using namespace phonecore::remote;

extern "C" {

int parse_url(ActionUriRequest* request, const char* text) noexcept {
  if (request == nullptr) return 1;
  std::memset(request, 0, sizeof *request);
  if (text == nullptr || std::strstr(text, "\r\n\r\n") == nullptr) return 1;
  const char* target;
  if (std::strncmp(text, "GET ", 4) == 0) {
    request->method = 0;
    target = text + 4;
  } else if (std::strncmp(text, "POST ", 5) == 0) {
    request->method = 1;
    target = text + 5;
  } else {
    return 1;
  }
  // The first character is taken for the '/' and skipped, whatever it is.
  const char* start = *target != '\0' ? target + 1 : target;
  const char* end = std::strstr(start, " HTTP");
  if (end == nullptr) return 1;
  const size_t n = static_cast<size_t>(end - start);
  if (n < sizeof request->url) std::memcpy(request->url, start, n);
  return 0;
}

int check_format(const char* url, const char* word) noexcept {
  if (url == nullptr || word == nullptr) return -1;
  const char* at = std::strstr(url, word);
  return at != nullptr && at == url ? 0 : -1;
}

char* upload_file_phonecfg_ini(void) noexcept {
  if (!take_upload_flag()) return nullptr;
  return assemble_settings_answer() > 0 ? upload_file_arrary : nullptr;
}

int handle(int fd) noexcept { return serve_connection(fd) == Served::kRecvError ? -1 : 0; }

void* http_server(void*) noexcept {
  pthread_detach(pthread_self());
  init_pc_connect_info();

  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  const int on = 1;
  if (listener >= 0) setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(ACTION_URI_PORT);
  address.sin_addr.s_addr = htonl(INADDR_ANY);
  if (listener < 0 || bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    std::printf("bind error!\n");
    if (listener >= 0) close(listener);
    return nullptr;
  }
  if (listen(listener, ACTION_URI_BACKLOG) != 0) {
    std::printf("listen failed!\n");
    close(listener);
    return nullptr;
  }
  std::printf("-------------hello_server start \n");
  std::fflush(stdout);

  SilentSockets silent;
  for (;;) {
    silent.sweep();
    std::printf("-------------hello_server accepting \n");
    std::fflush(stdout);
    sockaddr_in peer{};
    socklen_t peer_size = sizeof peer;
    const int fd = accept(listener, reinterpret_cast<sockaddr*>(&peer), &peer_size);

    char client[kAddressField] = {};
    inet_ntop(AF_INET, &peer.sin_addr, client, sizeof client);
    std::printf("连接的客户端IP地址:%s\n", client);
    std::printf("连接的客户端端口号:%d\n", ntohs(peer.sin_port));
    store(set_remote_url_flag, 0);
    store(first_control_flag, 1);

    // Shown beside the client's address; nothing is decided on it.
    char limit[kAddressField];
    read_limit_address(limit);
    std::printf("remote_url = %s, accept_url = %s\n", client, limit);

    if (fd < 0) {
      std::printf("connect error!\n");
      continue;
    }
    if (reload_in_progress()) {
      silent.keep(fd);
      continue;
    }
    switch (serve_connection(fd)) {
      case Served::kAnswered:
        break;
      case Served::kMalformed:
        silent.keep(fd);
        break;
      case Served::kRecvError:
        std::printf("connect error!\n");
        close(fd);
        break;
    }
    std::fflush(stdout);
  }
}

}  // extern "C"
