// The libcurl callbacks of the provisioning transfers and the length probe,
// open to the unit tests.
#pragma once

#include <curl/curl.h>

#include <cstddef>

#include "phonecore/net_transfer.h"

namespace phonecore::provision {

// CURLOPT_XFERINFOFUNCTION: samples the total time at most every 3 s and
// tells the caller's callback the four counters; never aborts.
int transfer_progress(void* progress, curl_off_t dltotal, curl_off_t dlnow, curl_off_t ultotal,
                      curl_off_t ulnow) noexcept;
// CURLOPT_HEADERFUNCTION: a "Content-Length: N" line (exact case) stores N
// in the long behind user; every line is taken whole.
size_t parse_content_length_header(char* line, size_t size, size_t n, void* user) noexcept;
// CURLOPT_WRITEFUNCTION of the upload: the server's answer is dropped.
size_t discard_write(char* data, size_t size, size_t n, void* user) noexcept;
// CURLOPT_READFUNCTION of the upload: the next piece of the FILE behind
// user; CURL_READFUNC_ABORT once the stream has an error.
size_t read_upload_chunk(char* buffer, size_t size, size_t n, void* user) noexcept;
// CURLOPT_WRITEFUNCTION of downloadFileFromServer: opens the LazyFile's
// path ("wb") at the first data; (size_t)-1 if that fails.
size_t lazy_file_write(char* data, size_t size, size_t n, void* user) noexcept;

// The length the server gives for url (a HEAD request, 5 s to connect), 0
// on failure.
long get_remote_file_length(const char* url) noexcept;

}  // namespace phonecore::provision
