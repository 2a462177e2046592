// httppeer: a recording HTTP server for the box, on TCP 127.0.0.1:18080.
//
// Every connection's request is read and written down as one line of the
// record (control port UDP 27080): a JSON object with the raw bytes, the
// method, the target, the headers in order and the body. Then it is
// answered by the route of its target and closed. A request that is not
// HTTP is recorded as it came and answered 400. Each connection has a
// thread of its own, so that a stalled answer holds nobody else up.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <strings.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "base/json.h"
#include "peer.h"

namespace {

namespace json = phonecore::json;

constexpr const char* kPeer = "httppeer";
constexpr uint16_t kHttpPort = 18080;
// A request's header block may be up to this long; the rest is body.
constexpr size_t kMaxHead = 256 * 1024;
// A request without a length (and not chunked) ends when the client is
// silent this long, so that bytes behind an early end of the headers are
// still recorded.
constexpr int kIdleMs = 300;
// The record keeps at most this much of the raw bytes and of the body each,
// so that one line still fits in a control answer.
constexpr size_t kRecordCut = 8192;

struct Request {
  std::string raw;
  std::string method;
  std::string target;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  bool http = false;

  const std::string* header(std::string_view name) const {
    for (const auto& [n, v] : headers)
      if (n.size() == name.size() &&
          std::equal(n.begin(), n.end(), name.begin(), [](char a, char b) { return tolower(a) == tolower(b); }))
        return &v;
    return nullptr;
  }
};

// Reads what is there within ms; 0 at the end, -1 on time-out.
ssize_t read_some(int fd, std::string& into, int ms) {
  pollfd p{fd, POLLIN, 0};
  if (poll(&p, 1, ms) <= 0) return -1;
  char buf[16384];
  const ssize_t n = recv(fd, buf, sizeof buf, 0);
  if (n > 0) into.append(buf, static_cast<size_t>(n));
  return n < 0 ? 0 : n;
}

void parse_head(Request& r, size_t head_end) {
  const std::string head = r.raw.substr(0, head_end);
  size_t eol = head.find("\r\n");
  const std::string line = head.substr(0, eol);
  const size_t a = line.find(' ');
  const size_t b = a == std::string::npos ? a : line.find(' ', a + 1);
  if (a == std::string::npos || b == std::string::npos || line.compare(b + 1, 5, "HTTP/") != 0) return;
  r.method = line.substr(0, a);
  r.target = line.substr(a + 1, b - a - 1);
  r.http = true;
  while (eol != std::string::npos && eol + 2 < head.size()) {
    const size_t start = eol + 2;
    eol = head.find("\r\n", start);
    const std::string h = head.substr(start, eol == std::string::npos ? std::string::npos : eol - start);
    const size_t colon = h.find(':');
    if (colon == std::string::npos) {
      r.headers.emplace_back(h, "");
      continue;
    }
    size_t v = colon + 1;
    while (v < h.size() && h[v] == ' ') ++v;
    r.headers.emplace_back(h.substr(0, colon), h.substr(v));
  }
}

bool takes_continue(const Request& r);
void send_all(int fd, std::string_view bytes);

// Reads one request: the head up to its empty line, then the body by its
// length, or until the client is silent or gone. A route that wants the
// body of a client waiting for "100-continue" says so first.
Request read_request(int fd) {
  Request r;
  size_t head_end = std::string::npos;
  while ((head_end = r.raw.find("\r\n\r\n")) == std::string::npos && r.raw.size() < kMaxHead)
    if (read_some(fd, r.raw, 5000) <= 0) break;
  if (head_end == std::string::npos) return r;
  parse_head(r, head_end);
  if (const std::string* expect = r.header("Expect");
      expect != nullptr && strcasecmp(expect->c_str(), "100-continue") == 0 && takes_continue(r))
    send_all(fd, "HTTP/1.1 100 Continue\r\n\r\n");
  const size_t body_start = head_end + 4;
  const std::string* length = r.header("Content-Length");
  if (length != nullptr) {
    const size_t want = body_start + std::strtoul(length->c_str(), nullptr, 10);
    while (r.raw.size() < want)
      if (read_some(fd, r.raw, 5000) <= 0) break;
  } else if (r.method == "POST" || r.method == "PUT") {
    while (read_some(fd, r.raw, kIdleMs) > 0) {
    }
  }
  r.body = r.raw.substr(std::min(body_start, r.raw.size()));
  return r;
}

void send_all(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (n <= 0) return;
    bytes.remove_prefix(static_cast<size_t>(n));
  }
}

std::string reply(int status, std::string_view reason, std::string_view extra_headers, std::string_view body) {
  std::string out = "HTTP/1.1 " + std::to_string(status) + " " + std::string(reason) + "\r\n";
  out += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  out += extra_headers;
  out += "Connection: close\r\n\r\n";
  out += body;
  return out;
}

// The number behind a route's prefix ("/status/404" -> 404), or fallback.
long route_number(std::string_view path, std::string_view prefix, long fallback) {
  if (path.size() <= prefix.size()) return fallback;
  return std::strtol(std::string(path.substr(prefix.size())).c_str(), nullptr, 10);
}

// Waits up to seconds, or until the client closed.
void stall(int fd, long seconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(std::clamp(seconds, 0L, 600L));
  while (std::chrono::steady_clock::now() < end) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, 100) > 0) {
      char c;
      if (recv(fd, &c, 1, MSG_PEEK) <= 0) return;
    }
  }
}

std::string file_bytes(long n) {
  std::string out(static_cast<size_t>(std::clamp(n, 0L, 64L << 20)), '\0');
  for (size_t i = 0; i < out.size(); ++i) out[i] = static_cast<char>('a' + i % 26);
  return out;
}

using Route = void (*)(int fd, const Request& r, std::string_view path);

void route_status(int fd, const Request&, std::string_view path) {
  const long status = route_number(path, "/status/", 200);
  send_all(fd, reply(static_cast<int>(status), "Status", "", "status " + std::to_string(status) + "\n"));
}
void route_redirect(int fd, const Request&, std::string_view) {
  send_all(fd, reply(302, "Found", "Location: /status/200\r\n", "moved\n"));
}
void route_bare_redirect(int fd, const Request&, std::string_view) {
  send_all(fd, reply(302, "Found", "", "moved, but where\n"));
}
void route_loop(int fd, const Request&, std::string_view) {
  send_all(fd, reply(302, "Found", "Location: /loop\r\n", "again\n"));
}
void route_trickle(int fd, const Request&, std::string_view path) {
  // The head at once, then the body one byte every 400 ms.
  const std::string body = file_bytes(route_number(path, "/trickle/", 5));
  send_all(fd, "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n");
  for (char c : body) {
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    send_all(fd, std::string_view(&c, 1));
  }
}
void route_auth(int fd, const Request& r, std::string_view) {
  const std::string* auth = r.header("Authorization");
  if (auth != nullptr && *auth == "Basic dXNlcjpwYXNz")  // user:pass
    send_all(fd, reply(200, "OK", "", "secret\n"));
  else send_all(fd, reply(401, "Unauthorized", "WWW-Authenticate: Basic realm=\"phonebox\"\r\n", "who are you\n"));
}
void route_stall(int fd, const Request&, std::string_view path) {
  stall(fd, route_number(path, "/stall/", 30));
  send_all(fd, reply(200, "OK", "", "late\n"));
}
void route_close(int fd, const Request&, std::string_view) {
  send_all(fd, "HTTP/1.1 200 OK\r\nContent-Length: 100\r\nConnection: close\r\n\r\nhalf");
}
void route_short(int fd, const Request&, std::string_view) {
  send_all(fd, "HTTP/1.1 200 OK\r\nContent-Length: 100\r\nConnection: close\r\n\r\nonly ten b");
}
void route_long(int fd, const Request&, std::string_view) {
  send_all(fd, "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nConnection: close\r\n\r\nfive and more");
}
void route_big_headers(int fd, const Request&, std::string_view) {
  send_all(fd, reply(200, "OK", "X-Big: " + std::string(64 * 1024, 'h') + "\r\n", "big\n"));
}
void route_file(int fd, const Request&, std::string_view path) {
  // Range is ignored: the whole file, 200, every time.
  send_all(fd, reply(200, "OK", "", file_bytes(route_number(path, "/file/", 1000))));
}
// A phone book of the box: a file of /run/phonebox/books, named without
// folders; a missing one is a small 404 page.
void route_book(int fd, const Request&, std::string_view path) {
  const std::string name(path.substr(std::string_view("/books/").size()));
  std::string body;
  FILE* file = nullptr;
  if (!name.empty() && name.find('/') == std::string::npos && name.find("..") == std::string::npos)
    file = std::fopen(("/run/phonebox/books/" + name).c_str(), "rb");
  if (file == nullptr) {
    send_all(fd, reply(404, "Not Found", "", "<html><body><h1>404 Not Found</h1></body></html>\n"));
    return;
  }
  char block[65536];
  for (size_t n; (n = std::fread(block, 1, sizeof block, file)) > 0;) body.append(block, n);
  std::fclose(file);
  send_all(fd, reply(200, "OK", "Content-Type: text/xml\r\n", body));
}
void route_default(int fd, const Request&, std::string_view) { send_all(fd, reply(200, "OK", "", "ok\n")); }

// Ends the connection with a reset (RST) instead of a close: a zero linger,
// which serve() sees and so sends no FIN before it.
void reset_on_close(int fd) {
  const linger now{1, 0};
  setsockopt(fd, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}
bool resets(int fd) {
  linger l{};
  socklen_t size = sizeof l;
  return getsockopt(fd, SOL_SOCKET, SO_LINGER, &l, &size) == 0 && l.l_onoff != 0 && l.l_linger == 0;
}

// The data of a body: a chunked one decoded (as far as it is whole).
std::string body_data(const Request& r) {
  const std::string* coding = r.header("Transfer-Encoding");
  if (coding == nullptr || strcasecmp(coding->c_str(), "chunked") != 0) return r.body;
  std::string out;
  for (size_t at = 0;;) {
    const size_t eol = r.body.find("\r\n", at);
    if (eol == std::string::npos) break;
    const size_t size = std::strtoul(r.body.substr(at, eol - at).c_str(), nullptr, 16);
    if (size == 0 || eol + 2 + size > r.body.size()) break;
    out.append(r.body, eol + 2, size);
    at = eol + 2 + size + 2;
  }
  return out;
}

void route_long_redirect(int fd, const Request&, std::string_view) {
  std::string target = "http://127.0.0.1:18080/status/200?";
  target.append(300 - target.size(), 'p');
  send_all(fd, reply(302, "Found", "Location: " + target + "\r\n", "moved far\n"));
}
// Announces 2N bytes, sends the first N of /file/2N and then nothing more
// until the client gives up (at most 600 s).
void route_stall_after(int fd, const Request&, std::string_view path) {
  const long n = std::clamp(route_number(path, "/stall-after/", 10), 0L, 32L << 20);
  const std::string body = file_bytes(2 * n);
  send_all(fd, "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n");
  send_all(fd, std::string_view(body).substr(0, static_cast<size_t>(n)));
  stall(fd, 600);
}
// Announces 2N bytes, sends the first N of /file/2N, waits 200 ms and
// resets the connection.
void route_reset(int fd, const Request&, std::string_view path) {
  const long n = std::clamp(route_number(path, "/reset/", 10), 0L, 32L << 20);
  const std::string body = file_bytes(2 * n);
  send_all(fd, "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n");
  send_all(fd, std::string_view(body).substr(0, static_cast<size_t>(n)));
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  reset_on_close(fd);
}
// /file/N, its length in a header named "content-length" (lower case).
void route_lower_length(int fd, const Request& r, std::string_view path) {
  const std::string body = file_bytes(route_number(path, "/lower-length/", 10));
  send_all(fd, "HTTP/1.1 200 OK\r\ncontent-length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n");
  if (r.method != "HEAD") send_all(fd, body);
}
// A HEAD announces N bytes (any number, beyond 4 GiB too); other methods
// get the default answer.
void route_head(int fd, const Request& r, std::string_view path) {
  const std::string n(path.substr(std::string_view("/head/").size()));
  if (r.method != "HEAD") return route_default(fd, r, path);
  send_all(fd, "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(std::strtoull(n.c_str(), nullptr, 10)) +
                   "\r\nConnection: close\r\n\r\n");
}
// A PUT (after "100 Continue" when asked) with more than N bytes of data
// is reset once read, without an answer; one of N bytes or less gets 200
// "stored\n". A HEAD announces N bytes, the part a reset PUT left, with
// "/lower" behind the number in a header named "content-length".
void route_put_reset(int fd, const Request& r, std::string_view path) {
  const std::string rest(path.substr(std::string_view("/put-reset/").size()));
  const unsigned long n = std::strtoul(rest.c_str(), nullptr, 10);
  if (r.method == "HEAD") {
    const char* name = rest.ends_with("/lower") ? "content-length" : "Content-Length";
    send_all(fd,
             "HTTP/1.1 200 OK\r\n" + std::string(name) + ": " + std::to_string(n) + "\r\nConnection: close\r\n\r\n");
  } else if (r.method != "PUT") {
    route_default(fd, r, path);
  } else if (body_data(r).size() > n) {
    reset_on_close(fd);
  } else {
    send_all(fd, reply(200, "OK", "", "stored\n"));
  }
}

struct RouteRow {
  std::string_view prefix;
  Route answer;
};
constexpr RouteRow kRoutes[] = {
    {"/status/", &route_status},
    {"/redirect", &route_redirect},
    {"/auth", &route_auth},
    {"/stall/", &route_stall},
    {"/close", &route_close},
    {"/short", &route_short},
    {"/long", &route_long},
    {"/big-headers", &route_big_headers},
    {"/file/", &route_file},
    {"/bare-redirect", &route_bare_redirect},
    {"/trickle/", &route_trickle},
    {"/loop", &route_loop},
    {"/books/", &route_book},
    {"/long-redirect", &route_long_redirect},
    {"/stall-after/", &route_stall_after},
    {"/reset/", &route_reset},
    {"/lower-length/", &route_lower_length},
    {"/head/", &route_head},
    {"/put-reset/", &route_put_reset},
};

// The route of a path: the last row whose prefix it starts with.
Route route_for(std::string_view path) {
  Route answer = &route_default;
  for (const auto& row : kRoutes)
    if (path.starts_with(row.prefix)) answer = row.answer;
  return answer;
}

// The path of a target: an absolute URL loses its scheme and host, and
// the query goes.
std::string_view path_of(std::string_view target) {
  if (const size_t scheme = target.find("://"); scheme != std::string_view::npos) {
    const size_t slash = target.find('/', scheme + 3);
    target = slash == std::string_view::npos ? "/" : target.substr(slash);
  }
  return target.substr(0, target.find('?'));
}

// Only a PUT that a route reads through wants its body before it answers.
bool takes_continue(const Request& r) { return route_for(path_of(r.target)) == &route_put_reset; }

std::string record_line(const Request& r) {
  json::Owned headers(json_object_new_array());
  for (const auto& [n, v] : r.headers) {
    json_object* pair = json_object_new_array();
    json_object_array_add(pair, json_object_new_string_len(n.data(), static_cast<int>(n.size())));
    json_object_array_add(pair, json_object_new_string_len(v.data(), static_cast<int>(v.size())));
    json_object_array_add(headers.get(), pair);
  }
  json::Owned line(json_object_new_object());
  auto text = [](const std::string& s) {
    return json_object_new_string_len(s.data(), static_cast<int>(std::min(s.size(), kRecordCut)));
  };
  json_object_object_add(line.get(), "method", text(r.method));
  json_object_object_add(line.get(), "target", text(r.target));
  json_object_object_add(line.get(), "headers", headers.release());
  json_object_object_add(line.get(), "body", text(r.body));
  json_object_object_add(line.get(), "raw", text(r.raw));
  json_object_object_add(line.get(), "size", json_object_new_int64(static_cast<int64_t>(r.raw.size())));
  return json_object_to_json_string_ext(line.get(), JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

class HttpPeer {
 public:
  bool start() {
    listen_fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int one = 1;
    setsockopt(listen_fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in a = phonebox::loopback(kHttpPort);
    if (listen_fd_ < 0 || bind(listen_fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 ||
        listen(listen_fd_, 64) != 0)
      return false;
    return control_.open(phonebox::kControlPortHttp);
  }

  void run() {
    for (;;) {
      pollfd p[2] = {{listen_fd_, POLLIN, 0}, {control_.fd(), POLLIN, 0}};
      if (poll(p, 2, -1) < 0) continue;
      if (p[1].revents & POLLIN) {
        std::lock_guard lock(mutex_);
        control_.serve();
      }
      if (p[0].revents & POLLIN) {
        const int fd = accept4(listen_fd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd >= 0) std::thread(&HttpPeer::serve, this, fd).detach();
      }
    }
  }

 private:
  void serve(int fd) {
    const Request r = read_request(fd);
    // Written down before it is answered: a client that waits for each
    // answer before its next request (a redirect, a challenge, a HEAD
    // before its GET) finds its requests in the record in the order sent.
    // A connection that said nothing is not recorded.
    bool silent;
    {
      std::lock_guard lock(mutex_);
      silent = control_.silent();
      if (!r.raw.empty()) control_.record(record_line(r));
    }
    if (!r.raw.empty())
      phonebox::log_line(kPeer, "%s %s (%zu bytes)", r.method.c_str(), r.target.c_str(), r.raw.size());
    if (!silent) {
      if (!r.http) {
        if (!r.raw.empty()) send_all(fd, reply(400, "Bad Request", "", ""));
      } else {
        const std::string_view path = path_of(r.target);
        route_for(path)(fd, r, path);
      }
    }
    if (!resets(fd)) shutdown(fd, SHUT_WR);
    close(fd);
  }

  int listen_fd_ = -1;
  std::mutex mutex_;
  phonebox::ControlPort control_;
};

}  // namespace

int main(int argc, char** argv) {
  signal(SIGPIPE, SIG_IGN);
  static HttpPeer peer;
  if (!peer.start()) {
    phonebox::log_line(kPeer, "cannot start: port %u or control port %u taken", kHttpPort, phonebox::kControlPortHttp);
    return 1;
  }
  phonebox::announce_ready(argc > 1 ? argv[1] : nullptr);
  peer.run();
}
