/* phonecore: cloud phone books.
 *
 * Remote phone books are XML documents fetched by HTTP GET. The list of
 * books is "default/addresslist.cfg" (object "MaillistRemotePhoneBook",
 * array "data", elements with "RemotePhoneBookURL", "RemotePhoneBookName"
 * and "Index"), read through the configuration service. Every URL is
 * cached as /tmp/clound_<md5 of the URL>.xml. A document is a directory
 * (root VornIPPhoneDirectory, else CiscoIPPhoneDirectory; DirectoryEntry
 * with Name and Telephone) or a menu (root CiscoIPPhoneMenu; MenuItem with
 * Name and URL) whose items are further books, walked six levels deep
 * (depth 0 to 5).
 *
 * Downloads send "Authorization: Basic Og==", have no time limit and keep
 * whatever body came with any HTTP status. A directory value ends at its
 * first blank ("Zhang San" is read as "Zhang"); menu names keep blanks. A
 * search and an update must not run at the same time in one process (the
 * pinyin matcher and the updater's list are process-wide). */
#ifndef PHONECORE_CLOUDBOOK_H
#define PHONECORE_CLOUDBOOK_H

#include <stdint.h>

#include "phonecore/contacts.h"
#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

#define CLOUD_BOOK_LIST_FILE "default/addresslist.cfg"
/* Room of the path of api_cloud_url_uni_name ("/tmp/clound_%s.xml"). */
#define CLOUD_BOOK_PATH_ROOM 64
/* Room of the arrays given to api_cloud_list_get and
 * api_cloud_list_get_Menuitem, in entries. */
#define CLOUD_BOOK_LIST_ROOM 1025
/* Room of the hits array of api_cloud_search, in records. */
#define CLOUD_BOOK_SEARCH_ROOM 40
/* Entries of one CloudBook. */
#define CLOUD_BOOK_ENTRIES 256
/* Book slots of clound_book_update, by "Index" 1 to 5. */
#define CLOUD_BOOK_SLOTS 5
/* Menus are walked from depth 0 to this depth. */
#define CLOUD_BOOK_MAX_DEPTH 5

/* One configured book or one menu item: 200 bytes. */
typedef struct RemoteBookEntry {
    int32_t index;   /* "Index" read as a number, or the item's running number */
    int32_t is_menu; /* 1 when the cached document is a menu */
    char url[128];   /* a menu item's URL keeps only its first 64 bytes */
    char name[64];
} RemoteBookEntry;

/* One entry of a book held in memory: 130 bytes. */
typedef struct CloudEntry {
    uint16_t id;
    char name[64];
    char telephone[64];
} CloudEntry;

/* A book in memory: count, byte length (count times 130), then room for
 * CLOUD_BOOK_ENTRIES entries. */
typedef struct CloudBook {
    int32_t count;
    int32_t length;
    CloudEntry entries[CLOUD_BOOK_ENTRIES];
} CloudBook;

/* The cache path of url into CLOUD_BOOK_PATH_ROOM bytes. Always 1. */
PHONECORE_API int api_cloud_url_uni_name(const char *url, char *path) PHONECORE_NOEXCEPT;
/* Removes path, then downloads url into it: the download's result (0 done,
 * a libcurl code, -10 when path can't be written). */
PHONECORE_API int cloud_book_download(const char *url, const char *path) PHONECORE_NOEXCEPT;
/* 1 when the cached document of url is a menu; fetches it only when the
 * cache file is missing. 0 otherwise, on every failure too. */
PHONECORE_API int api_cloud_check_if_Menuitem(const char *url) PHONECORE_NOEXCEPT;
/* Frees *entries, then gives the configured books with a URL and a name
 * (heap, the caller frees) and their count. 0; no list is 0 books. */
PHONECORE_API int remote_cloudlist_get(RemoteBookEntry **entries, int *count) PHONECORE_NOEXCEPT;
/* The directory document at path into entries (room CLOUD_BOOK_LIST_ROOM),
 * ids from 0. 0, or -1 when it can't be read or is no directory. */
PHONECORE_API int api_cloud_list_get(CloudEntry *entries, int *count, const char *path) PHONECORE_NOEXCEPT;
/* The directory at path into book from its first entry, ids 0, its head
 * left empty (count and length 0). 0 or -1. */
PHONECORE_API int api_cloud_list_get_write_local(CloudBook *book, const char *path) PHONECORE_NOEXCEPT;
/* Appends the directory at path to book from entry *count on, ids
 * *count + 1 on, up to CLOUD_BOOK_ENTRIES; *count and the head get the
 * total. 0 or -1. */
PHONECORE_API int api_cloud_write_local(CloudBook *book, const char *path, int *count) PHONECORE_NOEXCEPT;
/* The menu at path into entries (room CLOUD_BOOK_LIST_ROOM). 0 or -1. */
PHONECORE_API int api_cloud_list_get_Menuitem(RemoteBookEntry *entries, int *count,
                                              const char *path) PHONECORE_NOEXCEPT;
/* Searches the cached books for text (pinyin initials of Name, or digits
 * of Telephone): hits go to records from *count on (held to 0 to
 * CLOUD_BOOK_SEARCH_ROOM), never past CLOUD_BOOK_SEARCH_ROOM; *count is
 * the total. 0. */
PHONECORE_API int api_cloud_search(const char *text, ContactRecord *records, int *count) PHONECORE_NOEXCEPT;
/* The search below the menu url, at depth. 0. */
PHONECORE_API int api_cloud_search_menuitem(int depth, const char *text, const char *url, ContactRecord *records,
                                            int *count) PHONECORE_NOEXCEPT;
/* Downloads url and, below a menu, every URL of it. 0. */
PHONECORE_API int api_cloud_redownload_all(const char *url, int depth) PHONECORE_NOEXCEPT;
/* Merges every directory below the menu url into book from *count on. 0. */
PHONECORE_API int api_cloud_menuitem_update(const char *url, int depth, CloudBook *book, int *count) PHONECORE_NOEXCEPT;
/* Fetches every configured book again into books[Index - 1] (blocks of
 * malloc, the caller frees them with free). 0. */
PHONECORE_API int clound_book_update(CloudBook **books) PHONECORE_NOEXCEPT;
/* Broadcast event "clound_update" with "clearid" -1: the process that
 * holds the books updates them. 0. */
PHONECORE_API int clound_book_update_now(void) PHONECORE_NOEXCEPT;
/* The same event with "clearid" id. 0. */
PHONECORE_API int api_clound_book_del_byid(int id) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
