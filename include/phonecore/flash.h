/* phonecore: factory storage on the flash partition "/dev/mtd2".
 *
 * What must survive a factory reset lives there: the QQ IoT records, the
 * boot environment, the MAC addresses, the serial number, the time of
 * manufacture and three key blocks, all inside the partition's first erase
 * block. Every field write erases the WHOLE partition and writes back only
 * the first erase block: a power cut in between loses MAC, serial and keys.
 * Write rarely. */
#ifndef PHONECORE_FLASH_H
#define PHONECORE_FLASH_H

#include <stdint.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

#define UBOOTENV_SIZE 4096      /* the boot environment block */
#define UBOOTENV_VALUE_SIZE 512 /* room of a value out of findval, findubootenv */
#define MAC_BYTES 6             /* mac_read, StrToMac */
#define MAC_TEXT_SIZE 18        /* mac_readstring: "xx:xx:xx:xx:xx:xx" */
#define MAC_TEXT2_SIZE 13       /* mac_readstring2: "xxxxxxxxxxxx" */
#define FACTORY_TEXT_SIZE 64    /* MAC text, serial, time of manufacture */
#define CHIP_ID_TEXT_SIZE 24    /* "xx-xx-xx-xx-xx-xx-xx-xx" */
#define FLASH_KEY_SIZE 1024     /* each key block */
#define QQ_INFO_MAX 416         /* the largest QQ IoT record */
#define QQ_INFO_COUNT 5

/* One QQ IoT record: where it lies. */
typedef struct QQInfoRow {
    const char *dev;
    int32_t offset;
    int32_t size;
} QQInfoRow;

PHONECORE_API extern QQInfoRow qq_info_list[QQ_INFO_COUNT];

/* length bytes at offset into buf. 0; -1 when the device does not open or
 * the read is short. Sleeps 50 ms after reading. */
PHONECORE_API int mtd_read(const char *path, void *buf, int offset, int length) PHONECORE_NOEXCEPT;
/* Erases the whole partition, then writes its first erase block back with
 * data placed at offset. 0; -1 with a printed reason. Data ending past the
 * first erase block is refused before anything is erased. */
PHONECORE_API int mtd_write(const char *path, const void *data, int offset, int length) PHONECORE_NOEXCEPT;

/* MAC_BYTES bytes of MAC index 0, 1 or 2; any other index reads the
 * partition's first bytes. 0 or -1. */
PHONECORE_API int mac_read(int index, unsigned char *buf) PHONECORE_NOEXCEPT;
/* out: MAC_TEXT_SIZE and MAC_TEXT2_SIZE bytes. 0 or -1. */
PHONECORE_API int mac_readstring(int index, char *out) PHONECORE_NOEXCEPT;
PHONECORE_API int mac_readstring2(int index, char *out) PHONECORE_NOEXCEPT;

/* block: UBOOTENV_SIZE bytes. 0; -1 when the block is blank (first byte
 * 0xFF) or unreadable. */
PHONECORE_API int read_ubootenv(char *block) PHONECORE_NOEXCEPT;
PHONECORE_API int write_ubootenv(const char *block) PHONECORE_NOEXCEPT;
/* One "name=value" entry: 1 and the value in out (UBOOTENV_VALUE_SIZE)
 * when name is key, 0 for another key, -1 when the entry does not split in
 * exactly two at "=". */
PHONECORE_API int findval(const char *entry, const char *key, char *out) PHONECORE_NOEXCEPT;
/* 0 and the value in out (UBOOTENV_VALUE_SIZE); -1 when absent. */
PHONECORE_API int findubootenv(const char *block, const char *key, char *out) PHONECORE_NOEXCEPT;
/* Rewrites the environment without key and every entry that does not split
 * in exactly two at "=", then appends key=value unless value is null or
 * empty. 0; -1 when the block is unreadable, the entry does not fit or the
 * write fails. */
PHONECORE_API int changeubootenv(const char *key, const char *value) PHONECORE_NOEXCEPT;
PHONECORE_API int set_ubootparam_bykey(const char *key, const char *value) PHONECORE_NOEXCEPT;
/* out is cleared (size bytes) first. 0; -1 block blank or unreadable;
 * -2 not found. */
PHONECORE_API int get_ubootparam_bykey(const char *key, char *out, int size) PHONECORE_NOEXCEPT;

/* QQ IoT record index 0 to 4 (else -1) into buf (QQ_INFO_MAX bytes); *len
 * becomes the record's size. 0 or -1. */
PHONECORE_API int ReadQQIotInfo(int index, void *buf, int *len) PHONECORE_NOEXCEPT;
/* *len bytes (at most the record's size) to record index, then *len
 * becomes the record's size. 0 or -1. */
PHONECORE_API int WriteQQIotInfo(int index, const void *data, int *len) PHONECORE_NOEXCEPT;

/* Value of a hexadecimal digit, 0 for every other character. */
PHONECORE_API int charToData(char c) PHONECORE_NOEXCEPT;
/* Up to six pairs of hexadecimal digits, each pair followed by one
 * separator, into out (MAC_BYTES); bytes not reached keep their value. */
PHONECORE_API int StrToMac(const char *text, unsigned char *out) PHONECORE_NOEXCEPT;

/* MAC (binary and text), "fw_setenv ethaddr", serial and time: four
 * partition writes. Always 0. Texts are cut at 63 characters. */
PHONECORE_API int write_mac_sn_times(const char *time, const char *mac, const char *serial) PHONECORE_NOEXCEPT;
/* Three FLASH_KEY_SIZE blocks, in order. Always 0. */
PHONECORE_API int write_all_key(const void *key1, const void *key2, const void *key3) PHONECORE_NOEXCEPT;
/* time, mac, serial: FACTORY_TEXT_SIZE each, terminated; uuid:
 * CHIP_ID_TEXT_SIZE. 0; -1 when the chip id can't be read. */
PHONECORE_API int read_time_mac_sn_uuid(char *time, char *mac, char *serial, char *uuid) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
