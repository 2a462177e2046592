/* phonecore: the file log. One file, "/tmp/zk_log.tmp" unless set
 * otherwise, of lines "time:YYYYmmdd-HHMMSS...text"; when it reaches its
 * size limit (1048576 bytes unless set) it is removed and started anew.
 * Every call returns at once while the switch is off. No lock: each line
 * is one append write. */
#ifndef PHONECORE_ZKLOG_H
#define PHONECORE_ZKLOG_H

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

#define ZKLOG_PATH_SIZE 256
#define ZKLOG_TEXT_SIZE 512 /* targets of safe_strcat; a message keeps 511 bytes */

PHONECORE_API int log_switch_set(int value) PHONECORE_NOEXCEPT;
/* -1 for a limit below 1, which is kept. */
PHONECORE_API int log_size_set(int bytes) PHONECORE_NOEXCEPT;
/* Sets the file and creates its folder; a path without a "/" behind its
 * first byte is ignored. Cut at 255 bytes. */
PHONECORE_API int log_path_set(const char *path) PHONECORE_NOEXCEPT;
/* 1 for null, 0 when the folder exists or was made, 2 when mkdir failed. */
PHONECORE_API int log_dir_create(const char *directory) PHONECORE_NOEXCEPT;
/* Appends one line to path (null: the log file), rotating at the limit. A
 * file that can't be opened ends the process with exit(1). */
PHONECORE_API int writemyfile(const char *path, const char *buffer, int length) PHONECORE_NOEXCEPT;
PHONECORE_API int log_write(const char *text) PHONECORE_NOEXCEPT;
/* A small formatter: %d, %ld, %c, %s only; anything else is dropped. */
PHONECORE_API int log_write_fm(const char *format, ...) PHONECORE_NOEXCEPT;
PHONECORE_API int log_write_fm_path(const char *path, const char *format, ...) PHONECORE_NOEXCEPT;
PHONECORE_API int log_write_curtime(const char *a, const char *b, int number, const char *extra,
                                    const char *path) PHONECORE_NOEXCEPT;
/* On a 512-byte target: -1 when it holds more than 510 bytes already, -2
 * when the text was cut to make 511, else 0. */
PHONECORE_API int safe_strcat(char *target, const char *text) PHONECORE_NOEXCEPT;
PHONECORE_API int safe_strncat(char *target, const char *text, int length) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
