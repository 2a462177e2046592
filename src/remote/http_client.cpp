// The HTTP client: thin wrappers over libcurl. Every function sets its own
// options; the differences between them (time-outs, certificate checks,
// cookie files, what a failure returns) are what their callers were built
// against, so none is aligned with another.
#define CURL_DISABLE_DEPRECATION 1  // the progress and form interfaces are the ones used

#include "phonecore/http_client.h"

#include <sys/stat.h>

#include <atomic>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "remote/http_client_internal.h"

HttpUploadProgress prog{};
double now_had_down = 0;
const char BOUNDARY[] = "---WebKitFormBoundary\r\n";

namespace phonecore::remote {
namespace {

constexpr const char kCaBundle[] = HTTP_CLIENT_CA_BUNDLE;

// What a failed post prints for a libcurl code; any other code has its
// own text with the number.
struct FailureText {
  CURLcode code;
  const char* text;
};
constexpr FailureText kPostFailures[] = {
    {CURLE_UNSUPPORTED_PROTOCOL, "Does not support agreement"},
    {CURLE_COULDNT_CONNECT, "not link remote server"},
    {CURLE_HTTP_RETURNED_ERROR, "http return failed"},
    {CURLE_READ_ERROR, "read local file failed"},
};

const char* post_failure_text(CURLcode code) {
  for (const auto& row : kPostFailures)
    if (row.code == code) return row.text;
  return nullptr;
}

// Options that hold a long.
struct LongOption {
  CURLoption option;
  long value;
};

void set_all(CURL* handle, std::initializer_list<LongOption> rows) {
  for (const auto& row : rows) curl_easy_setopt(handle, row.option, row.value);
}

char g_head[kUploadHeadSize];
char g_tail[kUploadTailSize];
UploadPartState g_upload;

std::atomic<int> g_progress_count{0};

size_t copy_from(const char*& from, size_t& left, char* to, size_t room) {
  const size_t k = left < room ? left : room;
  std::memcpy(to, from, k);
  from += k;
  left -= k;
  return k;
}

// download2's write function: opens the file named by the URL at the
// first block.
size_t write_opening(void* data, size_t size, size_t n, void* user) {
  auto* file = static_cast<HttpDownloadFile*>(user);
  if (file->stream == nullptr) {
    file->stream = std::fopen(file->filename, "wb");
    if (file->stream == nullptr) return static_cast<size_t>(-1);
  }
  return std::fwrite(data, size, n, file->stream);
}

}  // namespace

size_t build_upload_head(const char* path) {
  const int n = std::snprintf(g_head, sizeof g_head, kUploadHeadTemplate, path, path);
  if (n < 0) return 0;
  return static_cast<size_t>(n) < sizeof g_head ? static_cast<size_t>(n) : sizeof g_head - 1;
}

size_t build_upload_tail() {
  const int n = std::snprintf(g_tail, sizeof g_tail, "%s%s%s", "\r\n--", BOUNDARY, "--\r\n");
  return n < 0 ? 0 : static_cast<size_t>(n);
}

const char* upload_head() { return g_head; }
const char* upload_tail() { return g_tail; }

size_t upload_part_reader(char* buffer, size_t size, size_t n, void* state_ptr) {
  auto* s = static_cast<UploadPartState*>(state_ptr);
  const size_t room = size * n;
  std::printf("file left %zu, %zu, %zu, size*nmemb = %zu, filePart = %d, totalSize = %zu\n", s->file_left, s->head_left,
              s->tail_left, room, s->part, s->total);
  // An empty part gives nothing: the next one answers the same call, so
  // that a 0 only ever means the end.
  if (s->part == 0 && s->head_left == 0) s->part = 1;
  if (s->part == 1 && s->file_left == 0) s->part = 2;
  if (s->part == 2 && s->tail_left == 0) s->part = 3;
  size_t k = 0;
  switch (s->part) {
    case 0:
      k = copy_from(s->head, s->head_left, buffer, room);
      if (s->head_left == 0) s->part = 1;
      break;
    case 1: {
      const size_t want = s->file_left < room ? s->file_left : room;
      k = s->file ? std::fread(buffer, 1, want, s->file) : 0;
      s->file_left -= k;
      s->file_done += k;
      if (s->file_left == 0) s->part = 2;
      break;
    }
    case 2:
      k = copy_from(s->tail, s->tail_left, buffer, room);
      if (s->tail_left == 0) s->part = 3;
      break;
    default:
      std::printf("file transfer finish, totalSize = %zu .............\n", s->total);
      return 0;
  }
  s->total += k;
  return k;
}

// amount * 100 / total in whole units, as the phone forms it, without an
// overflow of the product: in 128 bits where the compiler has them, else in
// long double (the board's amounts stay far below 2^53 bytes).
inline double percent_of(curl_off_t amount, curl_off_t total) {
#if defined(__SIZEOF_INT128__)
  return static_cast<double>(static_cast<__int128>(amount) * 100 / total);
#else
  return static_cast<double>(std::trunc(static_cast<long double>(amount) * 100 / total));
#endif
}

}  // namespace phonecore::remote

using namespace phonecore::remote;

extern "C" {

CURL* http_curl_post_init_header(curl_slist** header_list, const char* url, int count, ...) noexcept {
  CURL* handle = curl_easy_init();
  if (handle == nullptr) return nullptr;
  curl_easy_setopt(handle, CURLOPT_URL, url);
  va_list args;
  va_start(args, count);
  for (int i = 0; i < count; ++i) {
    const char* header = va_arg(args, const char*);
    if (curl_slist* grown = curl_slist_append(*header_list, header)) *header_list = grown;
  }
  va_end(args);
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, *header_list);
  return handle;
}

CURL* http_curl_post_init_no_header(const char* url) noexcept {
  CURL* handle = curl_easy_init();
  if (handle != nullptr) curl_easy_setopt(handle, CURLOPT_URL, url);
  return handle;
}

int http_curl_post_add_header(CURL* handle, curl_slist** header_list, const char* name, const char* value,
                              int last) noexcept {
  char line[1024];
  std::snprintf(line, sizeof line, "%s:%s", name, value);
  if (curl_slist* grown = curl_slist_append(*header_list, line)) *header_list = grown;
  if (last == 1) curl_easy_setopt(handle, CURLOPT_HTTPHEADER, *header_list);
  return 0;
}

int http_curl_post_send(CURL* handle, const char* body, int, int, http_write_function write_function,
                        void* write_data) noexcept {
  set_all(handle, {{CURLOPT_TIMEOUT, 20},
                   {CURLOPT_CONNECTTIMEOUT, 10},
                   {CURLOPT_SSL_VERIFYPEER, 0},
                   {CURLOPT_SSL_VERIFYHOST, 0},
                   {CURLOPT_POST, 1},
                   {CURLOPT_FOLLOWLOCATION, 1},
                   {CURLOPT_NOSIGNAL, 1},
                   {CURLOPT_FORBID_REUSE, 1}});
  curl_easy_setopt(handle, CURLOPT_COOKIEFILE, "/tmp/curlposttest.cookie");
  curl_easy_setopt(handle, CURLOPT_POSTFIELDS, body);
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, write_function);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, write_data);
  const CURLcode res = curl_easy_perform(handle);
  std::printf("curl_easy_perform=%d\n\r", static_cast<int>(res));
  if (res == CURLE_OK) return 0;
  if (const char* text = post_failure_text(res)) std::printf("%s\n", text);
  else std::printf("curl other error %d\n", static_cast<int>(res));
  return -1;
}

int http_curl_post_release(CURL* handle, curl_slist* header_list) noexcept {
  curl_easy_cleanup(handle);
  curl_slist_free_all(header_list);
  return 0;
}

CURL* http_curl_get_init_no_header(const char* url) noexcept {
  CURL* handle = curl_easy_init();
  if (handle == nullptr) return nullptr;
  curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, "GET");
  curl_easy_setopt(handle, CURLOPT_URL, url);
  return handle;
}

int http_curl_get_send(CURL* handle, int, int, int, http_write_function write_function, void* write_data) noexcept {
  set_all(
      handle,
      {{CURLOPT_TIMEOUT, 20}, {CURLOPT_CONNECTTIMEOUT, 10}, {CURLOPT_SSL_VERIFYPEER, 0}, {CURLOPT_SSL_VERIFYHOST, 0}});
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, write_function);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, write_data);
  const CURLcode res = curl_easy_perform(handle);
  if (res != CURLE_OK)
    std::fprintf(stderr, "res=%d curl_easy_perform() failed: %s\n", static_cast<int>(res), curl_easy_strerror(res));
  return 0;  // a failed get is not the caller's to see
}

int http_curl_get_release(CURL* handle, curl_slist* header_list) noexcept {
  curl_easy_cleanup(handle);
  curl_slist_free_all(header_list);
  return 0;
}

int sj_curl_init(void) noexcept {
  curl_global_init(CURL_GLOBAL_ALL);
  return 0;
}

void sj_curl_end(void) noexcept { curl_global_cleanup(); }

int sj_curl_post_get(const char* body, const char* url, int, int, http_write_function write_function) noexcept {
  CURL* handle = curl_easy_init();
  if (handle == nullptr) return -1;
  curl_easy_setopt(handle, CURLOPT_URL, url);
  set_all(handle, {{CURLOPT_TIMEOUT, 5},
                   {CURLOPT_POST, 1},
                   {CURLOPT_FOLLOWLOCATION, 1},
                   {CURLOPT_NOSIGNAL, 1},
                   {CURLOPT_FORBID_REUSE, 1}});
  curl_easy_setopt(handle, CURLOPT_COOKIEFILE, "/sdcard/curlposttest.cookie");
  curl_easy_setopt(handle, CURLOPT_POSTFIELDS, body);
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, write_function);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, static_cast<void*>(nullptr));
  const CURLcode res = curl_easy_perform(handle);
  curl_easy_cleanup(handle);
  if (res == CURLE_OK) return 0;
  if (const char* text = post_failure_text(res)) std::printf("%s FAIL\n", text);
  else std::printf("curl other error FAIL\n");
  return -1;
}

int ft_curl_post_parse(void) noexcept { return 0; }

int http_downloadfile(const char* url, const char* path, const char* user, const char* password) noexcept {
  CURL* handle = curl_easy_init();
  if (handle == nullptr) return 0;
  FILE* file = std::fopen(path, "wb");
  if (file == nullptr) {
    curl_easy_cleanup(handle);
    std::printf("%s, %d, url = %s, localfname = %s, open error, return -10\n", __func__, __LINE__, url, path);
    return -10;
  }
  curl_easy_setopt(handle, CURLOPT_URL, url);
  set_all(handle,
          {{CURLOPT_SSL_VERIFYPEER, 1}, {CURLOPT_SSL_VERIFYHOST, 1}, {CURLOPT_VERBOSE, 1}, {CURLOPT_NOPROGRESS, 0}});
  curl_easy_setopt(handle, CURLOPT_CAINFO, kCaBundle);
  curl_easy_setopt(handle, CURLOPT_COOKIEFILE, "/dev/null");
  curl_easy_setopt(handle, CURLOPT_PROGRESSFUNCTION, &my_progress_func);
  curl_easy_setopt(handle, CURLOPT_PROGRESSDATA, "* ");
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &my_write_func);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, file);
  // Any user, "" too, sends Basic credentials.
  char userpwd[512];
  if (user != nullptr) {
    std::snprintf(userpwd, sizeof userpwd, "%s:%s", user, password ? password : "(null)");
    curl_easy_setopt(handle, CURLOPT_USERPWD, userpwd);
  }
  const CURLcode res = curl_easy_perform(handle);
  std::fclose(file);
  curl_easy_cleanup(handle);
  return static_cast<int>(res);
}

int download(CURL* handle, const char* url, const char* path, long connect_timeout) noexcept {
  struct stat st {};
  curl_off_t resume = 0;
  if (stat(path, &st) == 0) resume = st.st_size;
  FILE* file = std::fopen(path, "ab+");
  if (file == nullptr) {
    std::perror(path);
    return 0;
  }
  now_had_down = static_cast<double>(resume);
  long content_length = 0;
  curl_easy_setopt(handle, CURLOPT_URL, url);
  set_all(handle, {{CURLOPT_TIMEOUT, 60},
                   {CURLOPT_CONNECTTIMEOUT, connect_timeout},
                   {CURLOPT_SSL_VERIFYPEER, 0},
                   {CURLOPT_SSL_VERIFYHOST, 0},
                   {CURLOPT_VERBOSE, 1},
                   {CURLOPT_NOPROGRESS, 0}});
  curl_easy_setopt(handle, CURLOPT_PROGRESSFUNCTION, &prog_func1);
  curl_easy_setopt(handle, CURLOPT_PROGRESSDATA, static_cast<void*>(nullptr));
  curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, &getcontentlengthfunc);
  curl_easy_setopt(handle, CURLOPT_HEADERDATA, &content_length);
  curl_easy_setopt(handle, CURLOPT_RESUME_FROM_LARGE, resume);
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &wirtefunc);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, file);
  const CURLcode res = curl_easy_perform(handle);
  std::fclose(file);
  // The handle stays the caller's: it must not keep the local's address.
  curl_easy_setopt(handle, CURLOPT_HEADERDATA, static_cast<void*>(nullptr));
  curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, static_cast<void*>(nullptr));
  if (res == CURLE_OK) return 1;
  std::printf("download error\n");
  std::fprintf(stderr, "%s\n", curl_easy_strerror(res));
  return 0;
}

int download2(HttpDownloadFile file) noexcept {
  curl_global_init(CURL_GLOBAL_ALL);
  CURL* handle = curl_easy_init();
  if (handle == nullptr) {
    curl_global_cleanup();
    return -1;
  }
  // The URL is the local file's name as well.
  curl_easy_setopt(handle, CURLOPT_URL, file.filename);
  set_all(handle, {{CURLOPT_TIMEOUT, 60},
                   {CURLOPT_CONNECTTIMEOUT, 10},
                   {CURLOPT_SSL_VERIFYPEER, 1},
                   {CURLOPT_SSL_VERIFYHOST, 1},
                   {CURLOPT_VERBOSE, 1}});
  curl_easy_setopt(handle, CURLOPT_CAINFO, kCaBundle);
  curl_easy_setopt(handle, CURLOPT_COOKIEFILE, "/dev/null");
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &write_opening);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &file);
  const CURLcode res = curl_easy_perform(handle);
  if (res != CURLE_OK) std::fprintf(stderr, "curl_easy_perform() failed: %s\n", curl_easy_strerror(res));
  if (file.stream != nullptr) std::fclose(file.stream);
  curl_easy_cleanup(handle);
  curl_global_cleanup();
  return 0;
}

int HttpUploadFile(const char* url, const char* path, const char* user, const char* password,
                   http_progress_function progress) noexcept {
  const CURLcode init = curl_global_init(CURL_GLOBAL_ALL);
  if (init != CURLE_OK) {
    std::fprintf(stderr, "curl_global_init() failed: %s\n", curl_easy_strerror(init));
    return 1;
  }
  CURL* handle = curl_easy_init();
  curl_slist* headers = curl_slist_append(nullptr, "Expect:");
  const size_t head_size = build_upload_head(path);
  const size_t tail_size = build_upload_tail();
  std::printf("\n\nHeaderInfo = :%s\n", upload_head());
  std::printf("HeaderInfo End");
  std::printf("\nEndInfo = :%s\n", upload_tail());
  std::printf("EndInfo End");
  FILE* file = std::fopen(path, "rb");
  if (file == nullptr) {
    std::printf("the file %s that you will read is not exist", path);
    // Released here all the same, so that a caller retrying in a loop
    // doesn't pile up handles.
    curl_slist_free_all(headers);
    if (handle) curl_easy_cleanup(handle);
    curl_global_cleanup();
    return -1;
  }
  std::fseek(file, 0, SEEK_END);
  const long end = std::ftell(file);
  const size_t file_size = end > 0 ? static_cast<size_t>(end) : 0;
  std::rewind(file);
  const size_t total = head_size + file_size + tail_size;
  if (handle != nullptr) {
    curl_easy_setopt(handle, CURLOPT_URL, url);
    // BOUNDARY ends in its own line end: libcurl's line end behind it makes
    // an empty line, so the headers end there and "Content-Length: " goes
    // out as the first bytes of the body.
    char content_type[256];
    std::snprintf(content_type, sizeof content_type, "%s%s%s",
                  "Content-Type: ", "multipart/form-data; boundary=", BOUNDARY);
    char content_length[64];
    std::snprintf(content_length, sizeof content_length, "%s%zu", "Content-Length: ", total);
    headers = curl_slist_append(headers, content_type);
    headers = curl_slist_append(headers, content_length);
    UploadPartState& s = g_upload;
    s = UploadPartState{};
    s.file = file;
    s.file_left = file_size;
    s.head = upload_head();
    s.head_left = head_size;
    s.tail = upload_tail();
    s.tail_left = tail_size;
    prog.curl = handle;
    prog.callback = progress;
    set_all(handle, {{CURLOPT_POST, 1}, {CURLOPT_VERBOSE, 1}, {CURLOPT_NOPROGRESS, 0}});
    curl_easy_setopt(handle, CURLOPT_READFUNCTION, &upload_part_reader);
    curl_easy_setopt(handle, CURLOPT_READDATA, &s);
    curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, &progressCallback);
    curl_easy_setopt(handle, CURLOPT_XFERINFODATA, &prog);
    curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(total));
    char userpwd[512];
    if (user != nullptr && user[0] != '\0') {
      std::snprintf(userpwd, sizeof userpwd, "%s:%s", user, password ? password : "(null)");
      curl_easy_setopt(handle, CURLOPT_USERPWD, userpwd);
    }
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
    const CURLcode res = curl_easy_perform(handle);
    if (res != CURLE_OK) std::fprintf(stderr, "curl_easy_perform() failed: %s\n", curl_easy_strerror(res));
    curl_easy_cleanup(handle);
    prog.curl = nullptr;
  }
  std::fclose(file);
  curl_slist_free_all(headers);
  curl_global_cleanup();
  return 0;
}

int http_upload_fileL301(const char* url, const char* path, const char* user, const char* password) noexcept {
  curl_global_init(CURL_GLOBAL_ALL);
  curl_httppost* post = nullptr;
  curl_httppost* last = nullptr;
  curl_formadd(&post, &last, CURLFORM_COPYNAME, "filename", CURLFORM_COPYCONTENTS, path, CURLFORM_END);
  curl_formadd(&post, &last, CURLFORM_COPYNAME, "sendfile", CURLFORM_FILE, path, CURLFORM_END);
  curl_slist* headers = curl_slist_append(nullptr, "Expect:");
  if (CURL* handle = curl_easy_init()) {
    curl_easy_setopt(handle, CURLOPT_URL, url);
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(handle, CURLOPT_HTTPPOST, post);
    char userpwd[512];
    if (user != nullptr && user[0] != '\0') {
      std::snprintf(userpwd, sizeof userpwd, "%s:%s", user, password ? password : "(null)");
      curl_easy_setopt(handle, CURLOPT_USERPWD, userpwd);
    }
    const CURLcode res = curl_easy_perform(handle);
    if (res != CURLE_OK) std::fprintf(stderr, "curl_easy_perform() failed: %s\n", curl_easy_strerror(res));
    curl_easy_cleanup(handle);
  }
  curl_formfree(post);
  curl_slist_free_all(headers);
  return 0;
}

size_t my_write_func(void* data, size_t size, size_t n, FILE* stream) noexcept {
  return std::fwrite(data, size, n, stream);
}

// One function under two names.
size_t wirtefunc(void* data, size_t size, size_t n, FILE* stream) noexcept __attribute__((alias("my_write_func")));

size_t readfunc(void* buffer, size_t size, size_t n, FILE* stream) noexcept {
  const size_t got = std::fread(buffer, size, n, stream) * size;
  if (std::ferror(stream)) return CURL_READFUNC_ABORT;
  return got;
}

size_t getcontentlengthfunc(void* text, size_t size, size_t n, void* target) noexcept {
  const size_t length = size * n;
  // libcurl's header lines are not terminated: scan a terminated copy.
  char line[128];
  const size_t k = length < sizeof line - 1 ? length : sizeof line - 1;
  std::memcpy(line, text, k);
  line[k] = '\0';
  long value = 0;
  if (std::sscanf(line, "Content-Length: %ld\n", &value) == 1) *static_cast<long*>(target) = value;
  return length;
}

int my_progress_func(void*, double, double, double, double) noexcept {
  int expected = g_progress_count.load();
  while (!g_progress_count.compare_exchange_weak(expected, expected >= 1000 ? 1 : expected + 1)) {
  }
  return 0;  // anything else would abort the transfer
}

int prog_func1(void*, double total, double now, double, double) noexcept {
  const double had = now_had_down;
  const double all = total + had;
  const double done = now + had;
  std::printf("-- %g / %g (%g %%)\n", done, all, all > 0 ? done * 100.0 / all : 0.0);
  return 0;
}

int progressCallback(void* state, curl_off_t download_total, curl_off_t download_now, curl_off_t upload_total,
                     curl_off_t upload_now) noexcept {
  auto* p = static_cast<HttpUploadProgress*>(state);
  curl_off_t now = 0;
  if (p->curl != nullptr) curl_easy_getinfo(p->curl, CURLINFO_TOTAL_TIME_T, &now);
  if (now - p->lastruntime >= 3000000) {
    p->lastruntime = now;
    std::printf("TOTAL TIME: %lld \n", static_cast<long long>(now));
  }
  std::printf("UP: %lld bytes of %lld bytes, DOWN: %lld bytes of %lld bytes \n", static_cast<long long>(upload_now),
              static_cast<long long>(upload_total), static_cast<long long>(download_now),
              static_cast<long long>(download_total));
  // The products are formed wide, so that no amount can overflow them.
  if (upload_total != 0) {
    const double percent = percent_of(upload_now, upload_total);
    std::printf("UP progress: %0.2f\n", percent);
    if (p->callback) p->callback(percent);
  }
  if (download_total != 0) {
    // The upload's amount over the download's total, as the phone has it.
    const double percent = percent_of(upload_now, download_total);
    std::printf("DOWN progress: %0.2f\n", percent);
  }
  return 0;
}

}  // extern "C"

static_assert(sizeof(HttpUploadProgress) == 8 + 2 * sizeof(void*));
static_assert(offsetof(HttpUploadProgress, lastruntime) == 0);
static_assert(offsetof(HttpUploadProgress, curl) == 8);
static_assert(offsetof(HttpUploadProgress, callback) == 8 + sizeof(void*));
static_assert(sizeof(HttpDownloadFile) == 2 * sizeof(void*));
static_assert(offsetof(HttpDownloadFile, stream) == sizeof(void*));
