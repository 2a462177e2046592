/* phonecore: local contacts and contact groups.
 *
 * The directory service (loopback UDP 30001) holds the contacts; every call
 * here is one request and one reply of 32844 bytes at most, on a fresh
 * socket, from any thread, with a wait of 5000 ms (20000 ms for a short
 * message). The groups are the library's own: the file voipGroupList.bin,
 * fetched and stored through the configuration service, whose edits have no
 * lock (two writers can lose an update). Results are 0, or -1 on failure,
 * unless a function says otherwise. A null text counts as "". */
#ifndef PHONECORE_CONTACTS_H
#define PHONECORE_CONTACTS_H

#include <stdint.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

#define LOCAL_LIST_PORT 30001
#define LOCAL_LIST_PACKET_SIZE 32844
/* A text field of a record: at most 63 bytes and a terminator. */
#define CONTACT_TEXT_SIZE 64
/* The room the caller gives local_contactlist_find_uname_by_number. */
#define CONTACT_NAME_ROOM 64
/* Records in one reply at most. */
#define CONTACT_REPLY_MAX_RECORDS 97
/* The head before the records of a get reply. */
#define CONTACT_LIST_HEAD_SIZE 28
#define CONTACT_GROUP_FILE "voipGroupList.bin"
#define CONTACT_GROUP_MAX 32

/* One contact, block-list or allow-list entry, or cloud hit: 336 bytes. */
typedef struct ContactRecord {
    int32_t id;
    char name[CONTACT_TEXT_SIZE];
    char first_number[CONTACT_TEXT_SIZE];
    char phone_number[CONTACT_TEXT_SIZE];
    char other_number[CONTACT_TEXT_SIZE];
    int32_t value_a; /* the contact's group for the directory service */
    int32_t value_b;
    int32_t value_c;
    char extra[CONTACT_TEXT_SIZE];
} ContactRecord;

/* One group of voipGroupList.bin: 72 bytes, records back to back. */
typedef struct GroupRecord {
    int32_t id;
    char name[CONTACT_TEXT_SIZE];
    int32_t ring_id;
} GroupRecord;

/* *buffer gets a heap copy of the whole reply payload (head of 28 bytes,
 * then the records), for the caller to free. */
PHONECORE_API int local_cantacts_get(char **buffer, int start, int count) PHONECORE_NOEXCEPT;
PHONECORE_API int local_cantacts_get2(char **buffer, int start, int count, int group) PHONECORE_NOEXCEPT;
/* *records gets *count records (heap, the caller frees); an empty or null
 * text sends nothing and gives count 0 and -1. */
PHONECORE_API int local_contactlist_find(ContactRecord **records, int *count, const char *text) PHONECORE_NOEXCEPT;
/* The name of the first contact with the number, into CONTACT_NAME_ROOM
 * bytes. */
PHONECORE_API int local_contactlist_find_uname_by_number(char *name, const char *number) PHONECORE_NOEXCEPT;
PHONECORE_API int local_cantacts_add(const char *name, const char *first_number, const char *phone_number,
                                     const char *other_number, const char *extra, int value_a, int value_b,
                                     int value_c) PHONECORE_NOEXCEPT;
PHONECORE_API int local_cantacts_chg(int id, const char *name, const char *first_number, const char *phone_number,
                                     const char *other_number, const char *extra, int value_a, int value_b,
                                     int value_c) PHONECORE_NOEXCEPT;
/* kind 1 deletes from the block list, kind 2 from the allow list. */
PHONECORE_API int local_cantacts_del_byid(int id, int kind) PHONECORE_NOEXCEPT;
/* A command of the contacts list with a value and a text of 127 bytes. */
PHONECORE_API int local_contactlist_short_msg(int command, const char *text, int value) PHONECORE_NOEXCEPT;
PHONECORE_API int local_book_migration(int value1, int value2, int value3) PHONECORE_NOEXCEPT;
PHONECORE_API int local_book_migration1(int value1, int value2, int value3) PHONECORE_NOEXCEPT;

/* 0; -4 for a null, empty or reserved name ("all", "blacklist",
 * "whitelist"), -3 for a name in use, -2 when 32 groups exist. */
PHONECORE_API int local_cantacts_group_add(const char *name, int ring_id) PHONECORE_NOEXCEPT;
/* Frees a non-null *buffer, then gives the groups (heap, the caller frees)
 * and their count; -1 and count 0 when the file is missing or malformed. */
PHONECORE_API int local_grouplist_get(GroupRecord **buffer, int *count) PHONECORE_NOEXCEPT;
/* -1 removes every group. Always 0. */
PHONECORE_API int del_cantacts_group_byid(int id) PHONECORE_NOEXCEPT;
/* 0; -4 for "all" or "blacklist", -3 for a name another group holds. */
PHONECORE_API int chg_cantacts_group_byid(int id, const char *name, int ring_id) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
