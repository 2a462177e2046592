/* phonecore: profile (INI) files of other programs, such as the xl2tpd
 * configuration: "[section]" headers, "key=value" lines, ";" comments.
 * The sectioned functions work on a 65536-byte image of the file: a file of
 * 65536 bytes or more can't be read or written by them. Nothing locks:
 * concurrent writers of one file lose data. */
#ifndef PHONECORE_PROFILE_H
#define PHONECORE_PROFILE_H

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

#define PROFILE_FILE_MAX 65536
#define INI_LINE_SIZE 256 /* IniRead: lines, and the room of its out */

/* 1 when found, the value cut at size - 1 bytes. 0 otherwise; then, when
 * default_value is non-null and the file could not be read or the key is
 * missing, the default is copied. 0 for a null or empty section or key, a
 * null path or out, or a size below 1. */
PHONECORE_API int read_profile_string(const char *section, const char *key, char *out, int size,
                                      const char *default_value, const char *path) PHONECORE_NOEXCEPT;
/* atoi of a value of up to 31 bytes; default_value when absent. */
PHONECORE_API int read_profile_int(const char *section, const char *key, int default_value,
                                   const char *path) PHONECORE_NOEXCEPT;
/* Replaces a value in place, puts a new key first in its section, or
 * appends the section. A missing file is created. 1; 0 on failure. */
PHONECORE_API int write_profile_string(const char *section, const char *key, const char *value,
                                       const char *path) PHONECORE_NOEXCEPT;

/* Plain "key=value" files without sections. The value stops at the first
 * blank. out needs INI_LINE_SIZE bytes, and is written by every line that
 * has a value, also by lines of other keys. out when found, else null. */
PHONECORE_API char *IniRead(const char *path, const char *key, char *out) PHONECORE_NOEXCEPT;
/* IniRead with a printed line; 1 found, 0 not. */
PHONECORE_API int readcfg(const char *key, char *out, const char *path) PHONECORE_NOEXCEPT;
/* Reads "Original_OPR_DIR"; 1 whenever out is non-null. */
PHONECORE_API int getoprdirpath(const char *path, char *out) PHONECORE_NOEXCEPT;
/* Truncates the file and writes text. 0; -1. */
PHONECORE_API int creat_write(const char *path, const char *text) PHONECORE_NOEXCEPT;
/* The whole file becomes the one line "key=value". 0; -1. */
PHONECORE_API int IniWrite(const char *path, const char *key, const char *value) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
