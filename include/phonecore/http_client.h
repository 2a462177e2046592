/* phonecore: thin wrappers over libcurl for the phone's processes: a post
 * and get family that keeps its handle between calls, a one-shot post, file
 * downloads with and without resume, and two file uploads. Each function
 * sets its own libcurl options (time-outs, certificate checks, cookie
 * files); they differ on purpose and callers rely on each as it is. */
#ifndef PHONECORE_HTTP_CLIENT_H
#define PHONECORE_HTTP_CLIENT_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include <curl/curl.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

/* The CA bundle of the verified transfers. */
#define HTTP_CLIENT_CA_BUNDLE "/system/etc/cacert.pem"

/* Receives the body of a post or get, as libcurl's write function. */
typedef size_t (*http_write_function)(void *data, size_t size, size_t n, void *user);
/* Told the upload's percentage (0 to 100). */
typedef void (*http_progress_function)(double percent);

/* The state of the upload's progress callback, one per process. */
typedef struct HttpUploadProgress {
    int64_t lastruntime;             /* microseconds of the last time report */
    CURL *curl;                      /* the easy handle of the upload */
    http_progress_function callback; /* or NULL */
} HttpUploadProgress;

/* download2's argument: the URL, which is also the local file's name, and
 * the stream to write to (normally NULL: opened at the first block). */
typedef struct HttpDownloadFile {
    const char *filename;
    FILE *stream;
} HttpDownloadFile;

PHONECORE_API extern HttpUploadProgress prog;
/* The bytes already in the file when the last resumed download began. */
PHONECORE_API extern double now_had_down;
/* The boundary that HttpUploadFile declares; it holds its own line end. */
PHONECORE_API extern const char BOUNDARY[];

/* Post and get with a kept handle. */
/* Handle with the URL; appends count further texts to *header_list and sets
 * the list as the request's headers. */
PHONECORE_API CURL *http_curl_post_init_header(struct curl_slist **header_list, const char *url, int count,
                                               ...) PHONECORE_NOEXCEPT;
PHONECORE_API CURL *http_curl_post_init_no_header(const char *url) PHONECORE_NOEXCEPT;
/* Appends "name:value" (at most 1023 characters); last == 1 also sets the
 * list on the handle. 0. */
PHONECORE_API int http_curl_post_add_header(CURL *handle, struct curl_slist **header_list, const char *name,
                                            const char *value, int last) PHONECORE_NOEXCEPT;
/* a and b are not used. 0, or -1 when the transfer failed. */
PHONECORE_API int http_curl_post_send(CURL *handle, const char *body, int a, int b, http_write_function write_function,
                                      void *write_data) PHONECORE_NOEXCEPT;
PHONECORE_API int http_curl_post_release(CURL *handle, struct curl_slist *header_list) PHONECORE_NOEXCEPT;
PHONECORE_API CURL *http_curl_get_init_no_header(const char *url) PHONECORE_NOEXCEPT;
/* a, b and c are not used. Always 0: a failed get is only printed. */
PHONECORE_API int http_curl_get_send(CURL *handle, int a, int b, int c, http_write_function write_function,
                                     void *write_data) PHONECORE_NOEXCEPT;
PHONECORE_API int http_curl_get_release(CURL *handle, struct curl_slist *header_list) PHONECORE_NOEXCEPT;

/* One-shot post. sj_curl_init once per process (curl_global_init), 0. */
PHONECORE_API int sj_curl_init(void) PHONECORE_NOEXCEPT;
PHONECORE_API void sj_curl_end(void) PHONECORE_NOEXCEPT;
/* a and b are not used. 0, or -1 when the transfer failed. */
PHONECORE_API int sj_curl_post_get(const char *body, const char *url, int a, int b,
                                   http_write_function write_function) PHONECORE_NOEXCEPT;
/* An empty entry. 0. */
PHONECORE_API int ft_curl_post_parse(void) PHONECORE_NOEXCEPT;

/* Downloads url into path anew: the libcurl code, -10 when path can't be
 * opened, 0 when no handle could be made. A user (even "") sends Basic
 * credentials; redirects are not followed. */
PHONECORE_API int http_downloadfile(const char *url, const char *path, const char *user,
                                    const char *password) PHONECORE_NOEXCEPT;
/* Resumes a download into path with the caller's handle: 1, or 0. */
PHONECORE_API int download(CURL *handle, const char *url, const char *path, long connect_timeout) PHONECORE_NOEXCEPT;
/* Downloads file.filename into the file of that same name. -1 when no
 * handle could be made, else 0. */
PHONECORE_API int download2(HttpDownloadFile file) PHONECORE_NOEXCEPT;
/* Multipart upload of path with progress: 0 (also when the transfer
 * failed), 1 when curl_global_init failed, -1 when path can't be read.
 * A path must fit the 512-byte head with its template. */
PHONECORE_API int HttpUploadFile(const char *url, const char *path, const char *user, const char *password,
                                 http_progress_function progress) PHONECORE_NOEXCEPT;
/* Form upload of path through libcurl's form interface. 0. */
PHONECORE_API int http_upload_fileL301(const char *url, const char *path, const char *user,
                                       const char *password) PHONECORE_NOEXCEPT;

/* The callbacks. my_write_func and wirtefunc are one function: fwrite. */
PHONECORE_API size_t my_write_func(void *data, size_t size, size_t n, FILE *stream) PHONECORE_NOEXCEPT;
PHONECORE_API size_t wirtefunc(void *data, size_t size, size_t n, FILE *stream) PHONECORE_NOEXCEPT;
/* fread; CURL_READFUNC_ABORT when the stream has an error. */
PHONECORE_API size_t readfunc(void *buffer, size_t size, size_t n, FILE *stream) PHONECORE_NOEXCEPT;
/* Stores the value of "Content-Length: %ld\n" in *(long *)target; size * n. */
PHONECORE_API size_t getcontentlengthfunc(void *text, size_t size, size_t n, void *target) PHONECORE_NOEXCEPT;
/* Counts from 1 and restarts above 1000; always 0 (anything else would
 * abort the download). */
PHONECORE_API int my_progress_func(void *data, double total, double now, double up_total,
                                   double up_now) PHONECORE_NOEXCEPT;
/* Prints "-- now / total (percent %)" with now_had_down added to both. 0. */
PHONECORE_API int prog_func1(void *data, double total, double now, double up_total, double up_now) PHONECORE_NOEXCEPT;
/* The upload's progress: state is &prog. 0. */
PHONECORE_API int progressCallback(void *state, curl_off_t download_total, curl_off_t download_now,
                                   curl_off_t upload_total, curl_off_t upload_now) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
