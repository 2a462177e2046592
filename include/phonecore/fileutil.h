/* phonecore: file tools. Copies of files and trees, whole-file buffers under
 * "/appconfigs", raw descriptor reads and writes, shell helpers, disk
 * information, the ARP table and host names. */
#ifndef PHONECORE_FILEUTIL_H
#define PHONECORE_FILEUTIL_H

#include <stdint.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

/* 1 when access() finds the path, else 0. */
PHONECORE_API int check_if_fileexit(const char *path) PHONECORE_NOEXCEPT;
/* 1 for a directory, else 0. */
PHONECORE_API int is_dir(const char *path) PHONECORE_NOEXCEPT;
/* Bytes, or -1. */
PHONECORE_API long get_file_size(const char *path) PHONECORE_NOEXCEPT;

/* The target comes first. 16384-byte blocks; both files are synced.
 * 0; -1 no memory; 2 source can't be opened; 3 target can't be created;
 * 4 short write. */
PHONECORE_API int copy_file(const char *target, const char *source) PHONECORE_NOEXCEPT;
/* Copies a tree: folders are made (mode 0755) or taken as they are, files
 * that already exist in the target are kept. 0; -1 at the first file that
 * fails. Paths of one level keep 512 bytes. */
PHONECORE_API int copy_dir(const char *source, const char *target) PHONECORE_NOEXCEPT;
/* Reads the file whole, writes count bytes at offset (growing the file if
 * needed) and writes it whole again. Always 0. */
PHONECORE_API int modify_binfile(const char *path, long offset, const void *bytes, int count) PHONECORE_NOEXCEPT;
/* Writes text to a control file and syncs it. 0; 2 when it can't be
 * opened. */
PHONECORE_API int write_proc(const char *path, const char *text) PHONECORE_NOEXCEPT;
/* One read or write on a descriptor; a descriptor below 1 fails. 0; -1. */
PHONECORE_API int proc_read(int fd, void *buffer, int length) PHONECORE_NOEXCEPT;
PHONECORE_API int proc_write(int fd, const void *buffer, int length) PHONECORE_NOEXCEPT;
/* Appends text to the file. 0; -1. */
PHONECORE_API int write_line(const char *path, const char *text) PHONECORE_NOEXCEPT;

/* Whole files under "/appconfigs", by a name relative to it. */
/* Frees *buffer, allocates one of the file's size plus a terminator and
 * reads into it; the size in *size. 0; -1 when the file is missing. */
PHONECORE_API int readFileToBuf(const char *name, char **buffer, int *size) PHONECORE_NOEXCEPT;
/* Room of the buffer of readFileToBuf2: the caller gives at least this
 * many bytes. A longer file is read as far as READFILE_BUF2_MAX - 1 bytes;
 * a terminator always follows what was read. */
#define READFILE_BUF2_MAX 16384
/* Into the caller's buffer (READFILE_BUF2_MAX bytes). *size is written
 * only: the bytes read, 0 when the file is missing (and then -1). */
PHONECORE_API int readFileToBuf2(const char *name, char *buffer, int *size) PHONECORE_NOEXCEPT;
/* Writes size bytes and syncs. 0; -1 for a null buffer or a failed write. */
PHONECORE_API int writeFileToBuf(const char *name, const char *buffer, int size) PHONECORE_NOEXCEPT;

/* Shell. */
/* system(), result dropped. */
PHONECORE_API void system_cmd(const char *command) PHONECORE_NOEXCEPT;
/* Starts the command and closes its pipe at once. */
PHONECORE_API void popen_cmd(const char *command) PHONECORE_NOEXCEPT;
#define POPEN_LINE_SIZE 128
/* The first line of the output, without its line end, into out
 * (POPEN_LINE_SIZE bytes). 0; -1 when there is none or it is empty. */
PHONECORE_API int popen_get_parm(const char *command, char *out) PHONECORE_NOEXCEPT;
/* Room of the buffer of popen_cmd_getstr. */
#define POPEN_CMD_GETSTR_SIZE 128
/* The same into out (POPEN_CMD_GETSTR_SIZE bytes), cleared first; a longer
 * line is cut. 0; -1. */
PHONECORE_API int popen_cmd_getstr(const char *command, char *out) PHONECORE_NOEXCEPT;

/* Disks. */
typedef struct DiskInfo {
    char type[8];   /* "EXT2", "FAT", "NTFS" or "unknown" */
    char total[11]; /* "%0.2fGB", "%0.2fMB" or "%0.2fKB" */
    char free[11];
    char permissions[3]; /* always 'r', 'w', '\n': no terminator */
} DiskInfo;
/* 0; -1 when statfs fails. */
PHONECORE_API int get_disk_info(const char *path, DiskInfo *out) PHONECORE_NOEXCEPT;
/* Kilobytes: which 0 total, 1 free; 0 on failure or another which. */
PHONECORE_API unsigned long long GetDiskSize(const char *path, int which) PHONECORE_NOEXCEPT;
/* Prints the drive's serial number. 1 when the device can't be opened,
 * else 0. */
PHONECORE_API int get_disk_id(const char *device) PHONECORE_NOEXCEPT;
PHONECORE_API int check_unmount_device(const char *path) PHONECORE_NOEXCEPT;

/* One row of /proc/net/arp. */
typedef struct ArpRecord {
    char ip[16];
    uint32_t hw_type;
    uint32_t flags;
    char hw_address[20];
    char mask[8];
    char device[16];
} ArpRecord;
/* Up to max rows into out; the rows read in *count, the header not
 * counted. 0; -1 when the table can't be read. */
PHONECORE_API int read_arp_table(ArpRecord *out, int max, int *count) PHONECORE_NOEXCEPT;
/* Room of the name buffer of gethostnamebyip: a DNS name of 255 bytes and
 * its terminator. */
#define PHONECORE_HOSTNAME_MAX 256
/* The name of an IPv4 address into out (PHONECORE_HOSTNAME_MAX bytes; a
 * longer name is cut there). 0; -1. */
PHONECORE_API int gethostnamebyip(const char *ip, char *out) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
