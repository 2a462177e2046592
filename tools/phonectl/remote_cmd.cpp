// phonectl http: the HTTP client's get, post, download and upload.
#include <phonecore/http_client.h>

#include <cstring>
#include <string>
#include <vector>

#include "phonectl.h"

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
    if (std::strcmp(w, "--resume") == 0)
      resume = true;
    else
      words.push_back(w);
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

constexpr Command kCommands[] = {
    {"http", "get", "http get URL [NAME:VALUE]...", "a GET (20 s at most); the reply's body on standard output", 1,
     -1, http_get},
    {"http", "post", "http post URL [BODY [NAME:VALUE]...]",
     "a POST of BODY (20 s at most, redirects followed); the reply's body on standard output", 1, -1, http_post},
    {"http", "download", "http download URL PATH [--resume]",
     "URL into PATH anew, or appended from PATH's size with --resume; the libcurl code as result", 2, 3,
     http_download},
    {"http", "upload", "http upload URL PATH", "PATH as a multipart upload", 2, 2, http_upload},
};

}  // namespace

std::span<const Command> remote_commands() { return kCommands; }

}  // namespace phonectl
