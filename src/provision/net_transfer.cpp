// The provisioning transfers. Every option below is what the provisioning
// run and the other processes were built against: no redirect following,
// no certificate checks (but in downloadFileFromServer), a stall limit
// rather than a total one, and the odd buffer size that libcurl clamps.
#include "phonecore/net_transfer.h"

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "provision/net_transfer_internal.h"

// 24 bytes on the 64-bit host, 16 on the board.
static_assert(sizeof(TransferProgress) == 8 + 2 * sizeof(void*));
static_assert(offsetof(TransferProgress, lasttime) == 0);
static_assert(offsetof(TransferProgress, curl) == 8);
static_assert(offsetof(TransferProgress, callback) == 8 + sizeof(void*));
static_assert(sizeof(LazyFile) == 2 * sizeof(void*));
static_assert(offsetof(LazyFile, path) == 0);
static_assert(offsetof(LazyFile, stream) == sizeof(void*));

namespace phonecore::provision {
namespace {

constexpr int kDefaultTimeout = 60;         // seconds, for a time-out of 0 or less
constexpr long kDownloadBuffer = 13222498;  // libcurl clamps it to its own maximum
constexpr int64_t kSampleEvery = 2999999;   // microseconds between two samples of the total time
constexpr size_t kUserPasswordSize = 1024;
constexpr size_t kHeaderLineCut = 256;  // a Content-Length line is far shorter

// Options that hold a long, set in one walk.
struct LongOption {
  CURLoption option;
  long value;
};

void set_all(CURL* handle, std::initializer_list<LongOption> rows) {
  for (const auto& row : rows) curl_easy_setopt(handle, row.option, row.value);
}

int stall_limit(int timeout) { return timeout <= 0 ? kDefaultTimeout : timeout; }

bool given(const char* text) { return text != nullptr && text[0] != '\0'; }

// libcurl's global state, set up and torn down around every transfer.
class CurlGlobal {
 public:
  CurlGlobal() { curl_global_init(CURL_GLOBAL_ALL); }
  ~CurlGlobal() { curl_global_cleanup(); }
  CurlGlobal(const CurlGlobal&) = delete;
  CurlGlobal& operator=(const CurlGlobal&) = delete;
};

// An easy handle, released when the call ends, early ends included.
class Easy {
 public:
  Easy() : handle_(curl_easy_init()) {}
  ~Easy() {
    if (handle_ != nullptr) curl_easy_cleanup(handle_);
  }
  Easy(const Easy&) = delete;
  Easy& operator=(const Easy&) = delete;
  CURL* get() const { return handle_; }

 private:
  CURL* handle_;
};

void set_progress(CURL* handle, TransferProgress& progress) {
  curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, &transfer_progress);
  curl_easy_setopt(handle, CURLOPT_PROGRESSDATA, &progress);
  curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
}

// What the download does with a local file of the same name before it
// starts: its size, or whether the download is over already.
enum class LocalFile { Absent, Kept, Removed, Complete, RemoteUnknown };

LocalFile prepare_local_file(const char* url, const char* path, int resume, curl_off_t& local_size) {
  struct stat st {};
  if (stat(path, &st) != 0) return LocalFile::Absent;
  local_size = static_cast<curl_off_t>(st.st_size);
  if (resume == 0) {
    remove(path);
    return LocalFile::Removed;
  }
  if (std::strstr(url, "http") == nullptr) return LocalFile::Kept;
  const long remote = get_remote_file_length(url);
  std::printf("tolk_provision  vorn_net_download remote filesize:%ld\n", remote);
  if (remote <= 0) return LocalFile::RemoteUnknown;
  if (static_cast<curl_off_t>(remote) == local_size) return LocalFile::Complete;
  // The resume offset keeps the old size: a resumed download of a changed
  // file asks the server for a range the empty file does not have.
  remove(path);
  return LocalFile::Removed;
}

// The download of vorn_net_download and vorn_net_download302; with
// redirect set, a 302 answer is reported.
int download(const char* url, const char* path, const char* user, const char* password, int timeout, int resume,
             transfer_progress_function callback, char* redirect, int redirect_size, bool report_redirect) {
  if (url == nullptr || path == nullptr) return 0;
  CurlGlobal global;
  Easy easy;
  CURL* h = easy.get();
  if (h == nullptr) return 0;

  curl_off_t local_size = 0;
  switch (prepare_local_file(url, path, resume, local_size)) {
    case LocalFile::RemoteUnknown:
      return 0;
    case LocalFile::Complete:
      return 1;
    default:
      break;
  }
  FILE* stream = std::fopen(path, "ab+");
  if (stream == nullptr) {
    std::perror(path);
    return 0;
  }

  const bool credentials = given(user) && given(password);
  curl_easy_setopt(h, CURLOPT_URL, url);
  curl_easy_setopt(h, CURLOPT_USERNAME, credentials ? user : "");
  curl_easy_setopt(h, CURLOPT_PASSWORD, credentials ? password : "");
  long content_length = 0;
  set_all(h, {{CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC | CURLAUTH_DIGEST)},
              {CURLOPT_LOW_SPEED_LIMIT, 1L},
              {CURLOPT_LOW_SPEED_TIME, static_cast<long>(stall_limit(timeout))}});
  curl_easy_setopt(h, CURLOPT_HEADERFUNCTION, &parse_content_length_header);
  curl_easy_setopt(h, CURLOPT_HEADERDATA, &content_length);
  curl_easy_setopt(h, CURLOPT_RESUME_FROM_LARGE, resume != 0 ? local_size : static_cast<curl_off_t>(0));
  curl_easy_setopt(h, CURLOPT_WRITEDATA, stream);
  TransferProgress progress{0, h, callback};
  set_progress(h, progress);
  set_all(h, {{CURLOPT_FAILONERROR, 1L},
              {CURLOPT_SSL_VERIFYPEER, 0L},
              {CURLOPT_SSL_VERIFYHOST, 0L},
              {CURLOPT_BUFFERSIZE, kDownloadBuffer}});

  const CURLcode code = curl_easy_perform(h);
  std::fclose(stream);
  int result = 1;
  if (code != CURLE_OK) {
    std::printf("tolk_provision DOWN ERROR:%d-->%s\n", static_cast<int>(code), curl_easy_strerror(code));
    result = 0;
  }
  if (report_redirect) {
    long status = 0;
    curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &status);
    if (status == VORN_NET_REDIRECT) {
      const char* target = nullptr;
      curl_easy_getinfo(h, CURLINFO_REDIRECT_URL, &target);
      if (target != nullptr) {
        if (redirect != nullptr && redirect_size > 0) {
          std::memset(redirect, 0, static_cast<size_t>(redirect_size));
          std::snprintf(redirect, static_cast<size_t>(redirect_size - 1), "%s", target);
        }
        result = VORN_NET_REDIRECT;
      } else {
        std::printf("http_redirect_url_tmp == NULL, shall not happen, set curl_state = -10\n");
        result = VORN_NET_REDIRECT_WITHOUT_TARGET;
      }
    }
  }
  return result;
}

}  // namespace

int transfer_progress(void* progress, curl_off_t dltotal, curl_off_t dlnow, curl_off_t ultotal,
                      curl_off_t ulnow) noexcept {
  auto* p = static_cast<TransferProgress*>(progress);
  if (p == nullptr) return 0;
  curl_off_t now = 0;
  curl_easy_getinfo(p->curl, CURLINFO_TOTAL_TIME_T, &now);
  if (now - p->lasttime > kSampleEvery) p->lasttime = now;
  if (p->callback != nullptr)
    p->callback(p, static_cast<double>(dltotal), static_cast<double>(dlnow), static_cast<double>(ultotal),
                static_cast<double>(ulnow));
  return 0;
}

size_t parse_content_length_header(char* line, size_t size, size_t n, void* user) noexcept {
  const size_t bytes = size * n;
  // libcurl's header lines are not terminated.
  char text[kHeaderLineCut];
  const size_t kept = bytes < sizeof text - 1 ? bytes : sizeof text - 1;
  if (kept > 0) std::memcpy(text, line, kept);
  text[kept] = '\0';
  long length = 0;
  if (user != nullptr && std::sscanf(text, "Content-Length: %ld\n", &length) == 1) *static_cast<long*>(user) = length;
  return bytes;
}

size_t discard_write(char*, size_t size, size_t n, void*) noexcept { return size * n; }

size_t read_upload_chunk(char* buffer, size_t size, size_t n, void* user) noexcept {
  FILE* stream = static_cast<FILE*>(user);
  const size_t got = std::fread(buffer, size, n, stream);
  if (std::ferror(stream) != 0) return CURL_READFUNC_ABORT;
  return got;
}

size_t lazy_file_write(char* data, size_t size, size_t n, void* user) noexcept {
  auto* file = static_cast<LazyFile*>(user);
  if (file->stream == nullptr) {
    file->stream = std::fopen(file->path, "wb");
    if (file->stream == nullptr) return static_cast<size_t>(-1);
  }
  return std::fwrite(data, size, n, file->stream);
}

long get_remote_file_length(const char* url) noexcept {
  Easy easy;
  CURL* h = easy.get();
  if (h == nullptr) return 0;
  curl_easy_setopt(h, CURLOPT_URL, url);
  set_all(h, {{CURLOPT_HEADER, 1L},
              {CURLOPT_NOBODY, 1L},
              {CURLOPT_CONNECTTIMEOUT, 5L},
              {CURLOPT_FAILONERROR, 1L},
              {CURLOPT_SSL_VERIFYPEER, 0L},
              {CURLOPT_SSL_VERIFYHOST, 0L}});
  // The head goes with the (empty) body to standard output, as libcurl's
  // default writer does with CURLOPT_HEADER.
  const CURLcode code = curl_easy_perform(h);
  if (code != CURLE_OK) {
    std::printf("REMOTE FILE LENGTH ERROR:%d-->%s\n", static_cast<int>(code), curl_easy_strerror(code));
    return 0;
  }
  curl_off_t length = -1;
  curl_easy_getinfo(h, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  return static_cast<long>(length);
}

}  // namespace phonecore::provision

using namespace phonecore::provision;

extern "C" int vorn_net_download(const char* url, const char* path, const char* user, const char* password, int timeout,
                                 int resume, transfer_progress_function callback) noexcept {
  return download(url, path, user, password, timeout, resume, callback, nullptr, 0, false);
}

extern "C" int vorn_net_download302(const char* url, const char* path, const char* user, const char* password,
                                    int timeout, int resume, transfer_progress_function callback, char* redirect,
                                    int redirect_size) noexcept {
  return download(url, path, user, password, timeout, resume, callback, redirect, redirect_size, true);
}

extern "C" int vorn_net_upload(const char* url, const char* path, const char* user, const char* password, int timeout,
                               int attempts, transfer_progress_function callback) noexcept {
  if (url == nullptr || path == nullptr) return 0;
  CurlGlobal global;
  Easy easy;
  CURL* h = easy.get();
  if (h == nullptr) return 0;
  FILE* stream = std::fopen(path, "rb");
  if (stream == nullptr) {
    std::perror(path);
    return 0;
  }
  curl_easy_setopt(h, CURLOPT_UPLOAD, 1L);
  curl_easy_setopt(h, CURLOPT_URL, url);
  char userpwd[kUserPasswordSize];
  if (given(user) && given(password)) {
    std::snprintf(userpwd, sizeof userpwd, "%s:%s", user, password);
    curl_easy_setopt(h, CURLOPT_USERPWD, userpwd);
  }
  const long limit = stall_limit(timeout);
  set_all(h, {{CURLOPT_FTP_RESPONSE_TIMEOUT, limit}, {CURLOPT_LOW_SPEED_LIMIT, 1L}, {CURLOPT_LOW_SPEED_TIME, limit}});
  long remote_size = 0;
  curl_easy_setopt(h, CURLOPT_HEADERFUNCTION, &parse_content_length_header);
  curl_easy_setopt(h, CURLOPT_HEADERDATA, &remote_size);
  curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, &discard_write);
  curl_easy_setopt(h, CURLOPT_READFUNCTION, &read_upload_chunk);
  curl_easy_setopt(h, CURLOPT_READDATA, stream);
  curl_easy_setopt(h, CURLOPT_FTPPORT, "-");
  curl_easy_setopt(h, CURLOPT_FTP_CREATE_MISSING_DIRS, 1L);
  TransferProgress progress{0, h, callback};
  set_progress(h, progress);
  set_all(h, {{CURLOPT_FAILONERROR, 1L}, {CURLOPT_SSL_VERIFYPEER, 0L}, {CURLOPT_SSL_VERIFYHOST, 0L}});

  // Every try after the first asks how much the server holds and appends
  // the rest from there.
  CURLcode status = CURLE_GOT_NOTHING;
  for (int i = 0; i < attempts && status != CURLE_OK; ++i) {
    if (i == 0) {
      curl_easy_setopt(h, CURLOPT_APPEND, 0L);
      status = curl_easy_perform(h);
      continue;
    }
    set_all(h, {{CURLOPT_NOBODY, 1L}, {CURLOPT_HEADER, 1L}});
    status = curl_easy_perform(h);
    if (status != CURLE_OK) continue;
    set_all(h, {{CURLOPT_NOBODY, 0L}, {CURLOPT_HEADER, 0L}});
    std::fseek(stream, remote_size, SEEK_SET);
    curl_easy_setopt(h, CURLOPT_APPEND, 1L);
    status = curl_easy_perform(h);
  }
  std::fclose(stream);
  if (status == CURLE_OK) return 1;
  std::printf("UPLOAD ERROR Code:%d-->%s\n", static_cast<int>(status), curl_easy_strerror(status));
  return 0;
}

extern "C" int downloadFileFromServer(const char* url, const char* path) noexcept {
  if (url == nullptr || path == nullptr) return -1;
  CurlGlobal global;
  Easy easy;
  CURL* h = easy.get();
  if (h == nullptr) return -1;
  LazyFile file{path, nullptr};
  curl_easy_setopt(h, CURLOPT_URL, url);
  curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, &lazy_file_write);
  curl_easy_setopt(h, CURLOPT_WRITEDATA, &file);
  set_all(h, {{CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL)},
              {CURLOPT_VERBOSE, 1L},
              {CURLOPT_TIMEOUT, 5L},
              {CURLOPT_LOW_SPEED_LIMIT, 30L},
              {CURLOPT_LOW_SPEED_TIME, 5L}});
  const CURLcode code = curl_easy_perform(h);
  // The stream is closed on failure as well: what came stays in the file.
  if (file.stream != nullptr) std::fclose(file.stream);
  if (code != CURLE_OK) {
    std::fprintf(stderr, "curl told us %d\n", static_cast<int>(code));
    return -1;
  }
  return 0;
}
