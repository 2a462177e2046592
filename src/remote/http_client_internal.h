// The inside of the HTTP client that tests reach: the multipart upload's
// part reader and its state, the head and tail builders.
#pragma once

#include <cstddef>
#include <cstdio>

namespace phonecore::remote {

// The head of HttpUploadFile's body: a boundary of its own, not the
// declared BOUNDARY, with the path as both the field and the file name.
inline constexpr const char kUploadHeadTemplate[] =
    "------WebKitFormBoundaryoq4rIclRBbb9kgSB\r\n"
    "Content-Disposition: form-data; name=\"fileName\"\r\n\r\n%s\r\n"
    "------WebKitFormBoundaryoq4rIclRBbb9kgSB\r\n"
    "Content-Disposition: form-data; name=\"upfile\"; filename=\"%s\"\r\n"
    "Content-Type: application/octet-stream\r\n\r\n";
inline constexpr size_t kUploadHeadSize = 512;
inline constexpr size_t kUploadTailSize = 1024;

// The state of the part reader: head, then file, then tail.
struct UploadPartState {
  FILE* file = nullptr;
  size_t file_left = 0;
  size_t file_done = 0;
  const char* head = nullptr;
  size_t head_left = 0;
  const char* tail = nullptr;
  size_t tail_left = 0;
  int part = 0;  // 0 head, 1 file, 2 tail, 3 finished
  size_t total = 0;
};

// CURLOPT_READFUNCTION of the upload: at most size * n bytes of the
// current part only.
size_t upload_part_reader(char* buffer, size_t size, size_t n, void* state);

// Fills the process-wide head and tail buffers for path; their lengths.
size_t build_upload_head(const char* path);
size_t build_upload_tail();
const char* upload_head();
const char* upload_tail();

}  // namespace phonecore::remote
