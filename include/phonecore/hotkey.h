/* phonecore: hot keys, and what a pressed key means.
 *
 * The bindings of the programmable keys and the line keys lie in
 * "default/programing_key.cfg" (arrays "Hotkey_hotKey"."data" and
 * "Hotkey_lineKey"."data"). A process keeps them in a list of its own
 * (LocalReload), which its bus monitor rebuilds whenever a process
 * announces a change with LocalHoyKeyUpdateExt (bus message type 8 to all).
 * The list isn't locked: a lookup may see it during its replacement.
 *
 * The call buttons wired to GPIO lines are bound in
 * "default/settinglist.cfg" under "SettingKeyType", with a day number and
 * a night number. The Check* functions read their file at every press.
 *
 * Text buffers passed in hold 64 bytes; texts are cut at 63 characters. */
#ifndef PHONECORE_HOTKEY_H
#define PHONECORE_HOTKEY_H

#include <stdint.h>

#include "phonecore/bus_client.h"
#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

struct json_object;

#define HOTKEY_TEXT_SIZE 64
#define HOTKEY_TYPE_SPEED_DIAL 213
#define HOTKEY_HANDLER_COUNT 6
#define HOTKEY_MSGTYPE_RELOAD 8

/* One binding in memory. */
typedef struct hotkey_record {
    uint8_t RealKey; /* the key's code, low 8 bits */
    int32_t Type;    /* the bound function; 213 speed dial */
    int32_t Line;    /* the account line */
    char Key[HOTKEY_TEXT_SIZE];
    char Value[HOTKEY_TEXT_SIZE];
    char Label[HOTKEY_TEXT_SIZE];
    char Extension[HOTKEY_TEXT_SIZE];
} hotkey_record;

/* One "Hotkey_hotKey" entry as text, for hotkey_node_set and
 * hotkey_node_get. */
typedef struct hotkey_node {
    char Key[HOTKEY_TEXT_SIZE];
    char Type[HOTKEY_TEXT_SIZE];
    char Line[HOTKEY_TEXT_SIZE];
    char Label[HOTKEY_TEXT_SIZE];
    char Value[HOTKEY_TEXT_SIZE];
    char Extension[HOTKEY_TEXT_SIZE];
} hotkey_node;

typedef struct hotkey_handler_row {
    int32_t type;
    int (*handler)(hotkey_record *record, int a, int b);
} hotkey_handler_row;

/* The list: all "Hotkey_hotKey" rows, then all "Hotkey_lineKey" rows, in
 * file order; hotkey_data_lens of them are valid. */
PHONECORE_API extern hotkey_record *_g_pHoykey_list;
PHONECORE_API extern int hotkey_data_lens;
/* The reload monitor's hook. */
PHONECORE_API extern MsgHook *__gl_pHoykey_hook;
/* Types 5, 201, 301, 401, 117 and 213; each handler answers 0. */
PHONECORE_API extern hotkey_handler_row hotkey_list[HOTKEY_HANDLER_COUNT];

PHONECORE_API int LocalReload(void) PHONECORE_NOEXCEPT;
/* Appends count rows of a bindings array to the list, as far as the list
 * has room. */
PHONECORE_API int parse_node(struct json_object *array, int count) PHONECORE_NOEXCEPT;
/* Rebuilds the list on every bus message of type 8; its FIFO has depth
 * slots. */
PHONECORE_API int LocalHoyKeyAddMonitor(MessageClient *client, int depth) PHONECORE_NOEXCEPT;
PHONECORE_API int LocalHoyKeyUpdateExt(void) PHONECORE_NOEXCEPT;
/* Rewrites the first binding of the key in the file. The list is emptied
 * (not rebuilt) until the next LocalReload. */
PHONECORE_API int SetHotKeyVal(int key, int type, int line, const char *value, const char *label,
                               const char *extension) PHONECORE_NOEXCEPT;
/* The key's Type, or 0 when the list has no record of it. */
PHONECORE_API int HoykeyProcess(int key) PHONECORE_NOEXCEPT;
/* The handler's result for the record's Type; -1 for a type not in
 * hotkey_list. */
PHONECORE_API int HotKeyFindAndProcess(hotkey_record *record, int a, int b) PHONECORE_NOEXCEPT;
PHONECORE_API int GetKeyDisplayContext(int key, char *out) PHONECORE_NOEXCEPT;
/* Adds or rewrites the "Hotkey_hotKey" entry of the node's Key; -1 when the
 * file can't be read. */
PHONECORE_API int hotkey_node_set(const hotkey_node *node) PHONECORE_NOEXCEPT;
/* Room of the slots of hotkey_node_get, in nodes: elements past it are not
 * read. */
#define HOTKEY_NODE_MAX 64
/* Reads "Hotkey_hotKey" into slots (HOTKEY_NODE_MAX nodes), one node for
 * each element. Each member read overwrites the start of the
 * element's slot, which thus holds the "Extension" alone. *result is set
 * to null when the array is missing. -1 when the file can't be read. */
PHONECORE_API int hotkey_node_get(hotkey_node *slots, void **result) PHONECORE_NOEXCEPT;

/* Number selection for a pressed key. */
PHONECORE_API int CheckHotkeyGetNumber(int key, int *type, int *line, char *value, char *label,
                                       char *extension) PHONECORE_NOEXCEPT;
PHONECORE_API int CheckKeyIsSpeedDailGetNumber(int key, char *number) PHONECORE_NOEXCEPT;
PHONECORE_API int CheckKeyTypeGetNumberConf(int key, int *type, int *line, char *value, char *label, char *extension,
                                            char *dtmf) PHONECORE_NOEXCEPT;
PHONECORE_API int CheckKeyTypeGetNumber(int key, char *number, int *type, char *dtmf) PHONECORE_NOEXCEPT;
/* Replaces value with the key's "CallButtonNight" at night. */
PHONECORE_API int get_correct_number(struct json_object *root, char *value,
                                     struct json_object *key_object) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
