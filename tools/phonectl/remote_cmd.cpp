// phonectl http: the HTTP client's get, post, download and upload;
// phonectl action: one Action URL event;
// phonectl uri: the Action URI server, its key and its settings methods.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <netinet/in.h>
#include <phonecore/action_uri.h>
#include <phonecore/action_url.h>
#include <phonecore/http_client.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "phonectl.h"
#include "remote/action_url_internal.h"

namespace phonectl {
namespace {

FILE *g_body_out = nullptr;

// The reply's body goes to the tool's standard output.
size_t to_output(void *data, size_t size, size_t n, void *) {
  return std::fwrite(data, size, n, g_body_out ? g_body_out : stdout);
}

// "Name:Value" words onto the handle's list; false on a word without a colon.
bool add_headers(CURL *handle, curl_slist **list, Args words) {
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string word = words[i];
    const size_t colon = word.find(':');
    if (colon == std::string::npos) return false;
    size_t v = colon + 1;
    while (v < word.size() && word[v] == ' ') ++v;
    http_curl_post_add_header(handle, list, word.substr(0, colon).c_str(), word.substr(v).c_str(),
                              i + 1 == words.size() ? 1 : 0);
  }
  return true;
}

int http_get(Context &ctx, Args args) {
  g_body_out = ctx.out;
  curl_slist *list = nullptr;
  CURL *h = http_curl_get_init_no_header(args[0]);
  if (h == nullptr) return fail(kRefused, "no handle");
  if (!add_headers(h, &list, args.subspan(1))) {
    http_curl_get_release(h, list);
    return fail(kUsage, "a header is NAME:VALUE");
  }
  http_curl_get_send(h, 0, 0, 0, to_output, nullptr);  // a failed get answers 0 all the same
  http_curl_get_release(h, list);
  return kOk;
}

int http_post(Context &ctx, Args args) {
  g_body_out = ctx.out;
  curl_slist *list = nullptr;
  CURL *h = http_curl_post_init_no_header(args[0]);
  if (h == nullptr) return fail(kRefused, "no handle");
  if (!add_headers(h, &list, args.size() > 2 ? args.subspan(2) : Args())) {
    http_curl_post_release(h, list);
    return fail(kUsage, "a header is NAME:VALUE");
  }
  const int r = http_curl_post_send(h, args.size() > 1 ? args[1] : "", 0, 0, to_output, nullptr);
  http_curl_post_release(h, list);
  return r == 0 ? kOk : fail(kRefused, "the post failed");
}

int http_download(Context &ctx, Args args) {
  // --resume takes no value.
  std::vector<char *> words;
  bool resume = false;
  for (char *w : args) {
    if (std::strcmp(w, "--resume") == 0) resume = true;
    else words.push_back(w);
  }
  if (words.size() != 2) return fail(kUsage, "http download URL PATH [--resume]");
  int result;
  if (resume) {
    CURL *h = curl_easy_init();
    if (h == nullptr) return fail(kRefused, "no handle");
    result = download(h, words[0], words[1], 10) == 1 ? 0 : 1;
    curl_easy_cleanup(h);
  } else {
    result = http_downloadfile(words[0], words[1], nullptr, nullptr);
  }
  json_object *r = json_object_new_object();
  json_object_object_add(r, "result", json_object_new_int(result));
  json_object_object_add(r, "file", json_object_new_string(words[1]));
  print(ctx, r);
  return result == 0 ? kOk : kRefused;
}

int http_upload(Context &ctx, Args args) {
  const int result = HttpUploadFile(args[0], args[1], nullptr, nullptr, nullptr);
  if (result == -1) return fail(kRefused, std::string(args[1]) + " can't be read");
  json_object *r = json_object_new_object();
  json_object_object_add(r, "result", json_object_new_int(result));
  print(ctx, r);
  return result == 0 ? kOk : kRefused;
}

using phonecore::remote::kActionEvents;
using phonecore::remote::kEventVariables;

// An event's exported action_* function, found by the name the library's
// own table gives it; null for the slot that has none.
using EventFunction = int (*)(const char *, const char *, const char *, const char *, const char *, const char *,
                              const char *, const char *, const char *, const char *);
EventFunction event_function(size_t slot) {
  const std::string name(kActionEvents[slot].function);
  return name.empty() ? nullptr : reinterpret_cast<EventFunction>(dlsym(RTLD_DEFAULT, name.c_str()));
}

// A variable as typed on the command line: its name without the "$".
std::string_view variable_name(size_t k) { return std::string_view(kEventVariables[k]).substr(1); }

// Loads the templates as the phone does, fills the event's with the
// NAME=VALUE words (an absent one is null: its variable stays) and sends it.
int action(Context &ctx, Args args) {
  const std::string_view event = args[0];
  size_t slot = 0;
  while (slot < std::size(kActionEvents) && kActionEvents[slot].member != event) ++slot;
  const EventFunction fire = slot < std::size(kActionEvents) ? event_function(slot) : nullptr;
  if (fire == nullptr) {
    std::string known;
    for (size_t i = 0; i < std::size(kActionEvents); ++i)
      if (event_function(i) != nullptr) known.append(known.empty() ? "" : " ").append(kActionEvents[i].member);
    return fail(kUsage, "no event " + std::string(event) + "; events: " + known);
  }
  std::string values[10];
  bool given[10] = {};
  for (size_t i = 1; i < args.size(); ++i) {
    const std::string_view word = args[i];
    const size_t eq = word.find('=');
    size_t k = 0;
    while (eq != std::string_view::npos && k < std::size(kEventVariables) && variable_name(k) != word.substr(0, eq))
      ++k;
    if (eq == std::string_view::npos || k == std::size(kEventVariables)) {
      std::string names;
      for (size_t i = 0; i < std::size(kEventVariables); ++i) names.append(" ").append(variable_name(i));
      return fail(kUsage, "not an event variable: " + std::string(word) + " (NAME=VALUE, NAME one of" + names + ")");
    }
    values[k] = word.substr(eq + 1);
    given[k] = true;
  }
  const char *v[10];
  for (size_t k = 0; k < 10; ++k) v[k] = given[k] ? values[k].c_str() : nullptr;
  update_all_action_arrary(action_event_url);
  const int result = fire(v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8], v[9]);
  json_object *r = json_object_new_object();
  json_object_object_add(r, "event", json_object_new_string(std::string(kActionEvents[slot].member).c_str()));
  json_object_object_add(r, "template", json_object_new_string(action_event_url[slot]));
  json_object_object_add(r, "url", json_object_new_string(action_event_url_tmp[slot]));
  json_object_object_add(r, "result", json_object_new_int(result));
  print(ctx, r);
  return result == 0 ? kOk : kRefused;
}

// The server's thread; when it comes back the socket couldn't be set up.
void *serve_thread(void *) {
  http_server(nullptr);
  std::fflush(stdout);
  std::fprintf(err(), "phonectl: the Action URI server can't listen on TCP %d\n", ACTION_URI_PORT);
  _exit(kRefused);
}

// Serves TCP 8335 until the tool is ended; the library's traces on
// standard output.
int uri_serve(Context &, Args) {
  pthread_t thread;
  if (pthread_create(&thread, nullptr, serve_thread, nullptr) != 0) return fail(kRefused, "no thread");
  for (;;) pause();
}

// The words as a request would carry them, split and run here, without the
// server: what the key methods broadcast and write.
int uri_key(Context &ctx, Args args) {
  std::string url = "servlet?key=";
  for (size_t i = 0; i < args.size(); ++i) url.append(i == 0 ? "" : ";").append(args[i]);
  init_key_method(url.c_str());
  json_object *words = json_object_new_array();
  for (int i = 0; i < key_method_count && i < ACTION_URI_KEY_ROWS; ++i)
    json_object_array_add(words, json_object_new_string(key_method[i]));
  do_method_for_key();
  json_object *r = json_object_new_object();
  json_object_object_add(r, "url", json_object_new_string(url.c_str()));
  json_object_object_add(r, "count", json_object_new_int(key_method_count));
  json_object_object_add(r, "words", words);
  print(ctx, r);
  return kOk;
}

// The items of a "servlet?phonecfg=" request run here, without the server:
// "get" prints the answer the server would send behind its head, "set"
// writes the items and reloads, as the server would.
int uri_phonecfg(Context &ctx, Args args) {
  const std::string_view word = args[0];
  if (word != "get" && word != "set") return fail(kUsage, "uri phonecfg: get or set, not " + std::string(word));
  std::string url = "servlet?phonecfg=" + std::string(word);
  for (size_t i = 1; i < args.size(); ++i) url.append("[").append(args[i]).append("]");
  upload_flag = 0;
  do_method_for_phonecfg(url.c_str());
  const bool answered = upload_flag == 1;
  std::string answer;
  if (answered) {
    // Taken as the server takes it; the flag is cleared.
    const char *whole = upload_file_phonecfg_ini();
    const char *body = whole != nullptr ? std::strstr(whole, "\r\n\r\n") : nullptr;
    if (body != nullptr) answer = body + 4;
  }
  if (ctx.json) {
    json_object *items = json_object_new_array();
    for (int i = 0; i < cfg_count && i < ACTION_URI_CFG_ROWS; ++i)
      json_object_array_add(items, json_object_new_string(cfg_method[i]));
    json_object *r = json_object_new_object();
    json_object_object_add(r, "url", json_object_new_string(url.c_str()));
    json_object_object_add(r, "count", json_object_new_int(cfg_count));
    json_object_object_add(r, "items", items);
    json_object_object_add(r, "answered", json_object_new_boolean(answered));
    if (answered) json_object_object_add(r, "answer", json_object_new_string(answer.c_str()));
    print(ctx, r);
  } else if (answered) {
    std::fputs(answer.c_str(), ctx.out);
  }
  if (word == "get" && !answered) return fail(kRefused, "nothing served: more than ten items");
  return kOk;
}

// TEXT with the escapes \r, \n, \0 and \\ made bytes.
std::string unescape(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      out += text[i];
      continue;
    }
    const char c = text[++i];
    out += c == 'r' ? '\r' : c == 'n' ? '\n' : c == '0' ? '\0' : c;
  }
  return out;
}

// Sends TEXT to 127.0.0.1:8335 as it is and prints every byte of the
// answer, until the server closes or stays silent for 3 s.
int uri_raw(Context &ctx, Args args) {
  const std::string request = unescape(args[0]);
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(ACTION_URI_PORT);
  to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (fd < 0 || connect(fd, reinterpret_cast<sockaddr *>(&to), sizeof to) != 0) {
    if (fd >= 0) close(fd);
    return fail(kRefused, "nothing listens on 127.0.0.1:" + std::to_string(ACTION_URI_PORT));
  }
  send(fd, request.data(), request.size(), MSG_NOSIGNAL);
  std::string answer;
  for (;;) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, 3000) <= 0) break;
    char buffer[4096];
    const ssize_t n = recv(fd, buffer, sizeof buffer, 0);
    if (n <= 0) break;
    answer.append(buffer, static_cast<size_t>(n));
  }
  close(fd);
  if (answer.empty()) return fail(kRefused, "no answer");
  if (ctx.json) {
    json_object *r = json_object_new_object();
    json_object_object_add(r, "bytes", json_object_new_int(static_cast<int>(answer.size())));
    json_object_object_add(r, "answer", json_object_new_string_len(answer.data(), static_cast<int>(answer.size())));
    print(ctx, r);
  } else {
    std::fwrite(answer.data(), 1, answer.size(), ctx.out);
  }
  return kOk;
}

constexpr Command kCommands[] = {
    {"http", "get", "http get URL [NAME:VALUE]...", "a GET (20 s at most); the reply's body on standard output", 1, -1,
     http_get},
    {"http", "post", "http post URL [BODY [NAME:VALUE]...]",
     "a POST of BODY (20 s at most, redirects followed); the reply's body on standard output", 1, -1, http_post},
    {"http", "download", "http download URL PATH [--resume]",
     "URL into PATH anew, or appended from PATH's size with --resume; the libcurl code as result", 2, 3, http_download},
    {"http", "upload", "http upload URL PATH", "PATH as a multipart upload", 2, 2, http_upload},
    {"action", "", "action EVENT [NAME=VALUE]...",
     "the Action URL of EVENT (\"AUIncomingCall\" ...) from default/function.cfg, its variables filled with the "
     "NAME=VALUE words (remote=1002 ...), sent once; the URL as sent and the result",
     1, -1, action},
    {"uri", "serve", "uri serve",
     "the Action URI server on TCP 8335, until ended (it answers every host: see the README); status 1 when the "
     "port can't be had",
     0, 0, uri_serve},
    {"uri", "key", "uri key WORD...",
     "the words of a \"servlet?key=\" request (OK DNDOn HOLD:12 ...) run here, as the server would: key presses "
     "and call words broadcast, feature words written to default/function.cfg",
     1, -1, uri_key},
    {"uri", "phonecfg", "uri phonecfg get|set ITEM...",
     "the items of a \"servlet?phonecfg=\" request run here, as the server would: get prints the answer "
     "(dnd=1 accounts=1 Account1.AccountLabel ...; passwords in clear), set writes the items "
     "(Account1.AccountLabel=Desk ...) and reloads once; ten items at most",
     1, -1, uri_phonecfg},
    {"uri", "raw", "uri raw TEXT",
     "TEXT (escapes \\r \\n \\0) sent as it is to 127.0.0.1:8335; the answer's bytes as they came", 1, 1, uri_raw},
};

}  // namespace

std::span<const Command> remote_commands() { return kCommands; }

}  // namespace phonectl
