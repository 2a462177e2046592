/* phonecore: the configuration store.
 *
 * The configuration service (loopback UDP 26001) owns the JSON files below
 * /appconfigs. Every read and write is one exchange of one GnlConfigRecord
 * on a fresh socket, so any thread may call these functions; a missing
 * service costs 5000 ms per call. A returned JSON object is the caller's to
 * release with json_object_put. Plain key=value files are edited directly. */
#ifndef PHONECORE_CONFIG_H
#define PHONECORE_CONFIG_H

#include <stdint.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

struct json_object;

#define GNL_CONFIG_MAGIC 1535
#define GNL_CONFIG_BUFFER_SIZE 32844
#define GNL_CATEGORY_NETWORK 4096
#define GNL_CATEGORY_ACCOUNT 4097
#define GNL_CATEGORY_CWMP 4099
#define GNL_CATEGORY_STATUS 4100
#define GNL_CATEGORY_LDAP 4101
#define GNL_CATEGORY_FILE 4102
#define GNL_CONFIG_CACHE_SIZE 14

/* The datagram of the configuration service, native byte order. The
 * datagram sent is data_length + 77 bytes. */
typedef struct GnlConfigRecord {
    uint16_t magic;       /* 1535 */
    uint16_t category;    /* store; the reply carries the same */
    uint16_t operation;   /* 1 read, 2 write, 8197 reload */
    uint16_t format;      /* 1 JSON text, 0 raw bytes */
    uint16_t path_length; /* without terminator */
    char path[64];        /* relative to /appconfigs */
    uint16_t data_length;
    uint8_t data[32768];
} GnlConfigRecord;

/* Process-wide cache of store objects: entries 0 to 5 for categories 4096
 * to 4101, entry 13 for 4102 and up. One thread of a process uses it. */
PHONECORE_API extern struct json_object *g_config_json[GNL_CONFIG_CACHE_SIZE];

PHONECORE_API struct json_object *read_gnl_config(int category, const char *path) PHONECORE_NOEXCEPT;
PHONECORE_API struct json_object *read_gnl_config_json(const char *path) PHONECORE_NOEXCEPT;
/* The data length, *buffer a heap copy to free; 0 on no or a wrong reply;
 * -1 for a null path. */
PHONECORE_API int read_gnl_config_hex(const char *path, char **buffer) PHONECORE_NOEXCEPT;
/* 0, whatever happened. The object stays the caller's. */
PHONECORE_API int write_gnl_config(int category, const char *path, struct json_object *object) PHONECORE_NOEXCEPT;
/* 0; -1 for a null argument or a text that does not fit one datagram
 * (32767 bytes with its terminator); nothing is sent then. */
PHONECORE_API int write_gnl_config_json(const char *path, struct json_object *object) PHONECORE_NOEXCEPT;
PHONECORE_API int write_gnl_config_hex(const char *path, const void *buffer, int length) PHONECORE_NOEXCEPT;
/* 0 if the reply has the category; -1 otherwise. */
PHONECORE_API int reload_config(int category, const char *path) PHONECORE_NOEXCEPT;
PHONECORE_API struct json_object *read_network_config(void) PHONECORE_NOEXCEPT;
PHONECORE_API struct json_object *read_status_config(void) PHONECORE_NOEXCEPT;
PHONECORE_API int open_config_client(void) PHONECORE_NOEXCEPT;
PHONECORE_API int close_config_client(void) PHONECORE_NOEXCEPT;
/* direction 0 reads the category into the cache, non-zero writes the
 * cached object to the service. 0. */
PHONECORE_API int refresh_config(int category, int direction, const char *path) PHONECORE_NOEXCEPT;
PHONECORE_API struct json_object *get_config_slot(int category) PHONECORE_NOEXCEPT;
/* "/appconfigs/<name>" into destination. 0. */
PHONECORE_API int get_config_file_ABSpath(const char *name, char *destination) PHONECORE_NOEXCEPT;
/* argv[2] a JSON file, argv[3..] keys: prints the value's text. 0; -1 if
 * the file doesn't parse. */
PHONECORE_API int read_json_val_from_file(int argc, char **argv) PHONECORE_NOEXCEPT;

/* key=value files. */
PHONECORE_API void delete_space(char *text) PHONECORE_NOEXCEPT;
PHONECORE_API int ReadConfig(const char *path, const char *key, char *destination) PHONECORE_NOEXCEPT;
PHONECORE_API int AddOrAltConfig(const char *path, const char *key, const char *value) PHONECORE_NOEXCEPT;
PHONECORE_API int DeleteConfig(const char *path, const char *key) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
