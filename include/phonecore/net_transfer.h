/* phonecore: the provisioning file transfers, over libcurl.
 *
 * Four transfers, used by the provisioning run and open to other
 * processes: a download (HTTP(S) or FTP, optional resume), the same
 * download that reports a 302 and its target, an FTP or HTTP upload that
 * continues at the size the server reports, and a small download into a
 * file made only when data arrive.
 *
 * Each call initialises and cleans up libcurl's global state itself, so two
 * transfers of one process must never run at once: the provisioning thread
 * is their one caller. The first three do not verify the server's
 * certificate. The time-out is a stall limit (less than one byte a second
 * for that long), never a limit on the whole transfer. Redirects are not
 * followed: any 3xx answer is a finished transfer and its body is saved. */
#ifndef PHONECORE_NET_TRANSFER_H
#define PHONECORE_NET_TRANSFER_H

#include <stdint.h>
#include <stdio.h>

#include <curl/curl.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

struct TransferProgress;

/* Told the four counters of a transfer: download total, download now,
 * upload total, upload now (bytes). Called as often as libcurl reports
 * progress; its result is not looked at, and it cannot stop the transfer. */
typedef int (*transfer_progress_function)(struct TransferProgress *progress, double dltotal, double dlnow,
                                          double ultotal, double ulnow);

/* The context of a transfer's progress reports. */
typedef struct TransferProgress {
    int64_t lasttime;                    /* total transfer time (microseconds) when last sampled, at most
                                            every 3 seconds */
    CURL *curl;                          /* the transfer */
    transfer_progress_function callback; /* or NULL */
} TransferProgress;

/* The target of downloadFileFromServer: opened ("wb") when the first data
 * arrive, so that an answer without a body leaves no file. */
typedef struct LazyFile {
    const char *path;
    FILE *stream;
} LazyFile;

/* vorn_net_download302: a 302 answer, its target copied into the caller's
 * buffer (at most its size minus one characters). */
#define VORN_NET_REDIRECT 302
/* vorn_net_download302: a 302 answer without a target. */
#define VORN_NET_REDIRECT_WITHOUT_TARGET (-10)

/* Downloads url into path. User and password are sent (Basic or Digest, as
 * the server asks) only when both are non-empty; otherwise both go empty.
 * timeout: the stall limit in seconds (0 or less: 60). resume: continue a
 * partial local file (an HTTP URL is first asked for its length; a local
 * file of that length is complete and nothing is fetched). Without resume
 * a local file is removed first. A failed transfer leaves what came in the
 * file. 1 done, 0 failed (an HTTP status of 400 or more fails). */
PHONECORE_API int vorn_net_download(const char *url, const char *path, const char *user, const char *password,
                                    int timeout, int resume, transfer_progress_function callback) PHONECORE_NOEXCEPT;

/* vorn_net_download, reporting a 302: VORN_NET_REDIRECT with the target in
 * redirect (of redirect_size bytes), VORN_NET_REDIRECT_WITHOUT_TARGET for a
 * 302 without one; otherwise 1 done, 0 failed. The 302's body is in the
 * local file either way. */
PHONECORE_API int vorn_net_download302(const char *url, const char *path, const char *user, const char *password,
                                       int timeout, int resume, transfer_progress_function callback, char *redirect,
                                       int redirect_size) PHONECORE_NOEXCEPT;

/* Uploads path to url (missing FTP folders are made; FTP in active mode).
 * attempts: tries in all; every try after the first asks the server for the
 * size it holds and appends from there. Zero attempts fail. 1 done,
 * 0 failed. */
PHONECORE_API int vorn_net_upload(const char *url, const char *path, const char *user, const char *password,
                                  int timeout, int attempts, transfer_progress_function callback) PHONECORE_NOEXCEPT;

/* Downloads url into path with libcurl's certificate checks, TLS required
 * (FTP included), at most 5 seconds in all. The file is made only if data
 * arrive. 0 done, -1 failed. */
PHONECORE_API int downloadFileFromServer(const char *url, const char *path) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
