/* phonecore: block list, allow list and call history.
 *
 * Clients of the directory service (loopback UDP 30001), as the contacts
 * are: one request and one reply per call, any thread, 0 or -1. The
 * listed-number test answers -1 both for a number that is not listed and
 * for a silent service: a block list fails open. */
#ifndef PHONECORE_CALLLISTS_H
#define PHONECORE_CALLLISTS_H

#include <stdint.h>

#include "phonecore/contacts.h"
#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

/* One call of the history: 220 bytes, the arguments of
 * local_history_list_add in order, the second left out. */
typedef struct HistoryRecord {
    int32_t arg1;
    int32_t arg3;
    int32_t arg4;
    int32_t arg5;
    int32_t arg6;
    char text1[CONTACT_TEXT_SIZE];
    char text2[CONTACT_TEXT_SIZE];
    int32_t arg9;
    char text3[CONTACT_TEXT_SIZE];
    int32_t arg11;
} HistoryRecord;

PHONECORE_API int local_blacklist_get(char **buffer, int start, int count) PHONECORE_NOEXCEPT;
PHONECORE_API int local_whitelist_get(char **buffer, int start, int count) PHONECORE_NOEXCEPT;
/* As local_contactlist_find, but a null text is sent as "" and *count is
 * left alone on failure. */
PHONECORE_API int local_blacklist_find(ContactRecord **records, int *count, const char *text) PHONECORE_NOEXCEPT;
PHONECORE_API int local_whitelist_find(ContactRecord **records, int *count, const char *text) PHONECORE_NOEXCEPT;
PHONECORE_API int local_blacklist_add(const char *name, const char *first_number, const char *phone_number,
                                      const char *other_number, const char *extra, int value_a, int value_b,
                                      int value_c) PHONECORE_NOEXCEPT;
PHONECORE_API int local_whitelist_add(const char *name, const char *first_number, const char *phone_number,
                                      const char *other_number, const char *extra, int value_a, int value_b,
                                      int value_c) PHONECORE_NOEXCEPT;
PHONECORE_API int local_blacklist_chg(int id, const char *name, const char *first_number, const char *phone_number,
                                      const char *other_number, const char *extra, int value_a, int value_b,
                                      int value_c) PHONECORE_NOEXCEPT;
PHONECORE_API int local_whitelist_chg(int id, const char *name, const char *first_number, const char *phone_number,
                                      const char *other_number, const char *extra, int value_a, int value_b,
                                      int value_c) PHONECORE_NOEXCEPT;
PHONECORE_API int local_blacklist_del_byid(int id) PHONECORE_NOEXCEPT;
PHONECORE_API int local_whitelist_del_byid(int id) PHONECORE_NOEXCEPT;
/* 0 when a returned record holds the number exactly as its first, other or
 * phone number; -1 when not, and on any failure. */
PHONECORE_API int local_contactlist_number_is_in_blacklist(const char *number) PHONECORE_NOEXCEPT;
PHONECORE_API int local_contactlist_number_is_in_whitelist(const char *number) PHONECORE_NOEXCEPT;

PHONECORE_API int local_history_list_add(int arg1, int arg2, int arg3, int arg4, int arg5, int arg6, const char *text1,
                                         const char *text2, int arg9, const char *text3, int arg11) PHONECORE_NOEXCEPT;
/* The whole reply payload, raw (heap, the caller frees). */
PHONECORE_API int history_list_get(char **buffer, int start, int count) PHONECORE_NOEXCEPT;
PHONECORE_API int history_list_del_byid(int id) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
