/* phonecore: the Action URI server and its methods. A PC or a call-control
 * program presses keys, answers and ends calls, switches features, reboots
 * and resets the phone through plain HTTP requests to TCP 8335:
 *
 *   GET /servlet?key=OK;DNDOn;HOLD:12 HTTP/1.1
 *
 * The server authenticates nobody. Any host that reaches the port is served;
 * "AURILimitIP" of "FeatureRemote" is printed beside the client's address
 * and decides nothing. The answer is status 200 whatever happened.
 *
 * Key presses and call operations are not carried out here: they go to all
 * processes as bus commands (msgtype 5, kind 3, dest 65535, the terminating
 * zero counted). Feature switches are written into default/function.cfg.
 *
 * Every global below belongs to the server's one thread: nothing locks them. */
#ifndef PHONECORE_ACTION_URI_H
#define PHONECORE_ACTION_URI_H

#include <stdint.h>

#include "phonecore/bus_client.h"
#include "phonecore/export.h"

/* The server's port, on every IPv4 address, and its listen backlog. */
#define ACTION_URI_PORT 8335
#define ACTION_URI_BACKLOG 10
/* One request must arrive in one read of at most this many bytes (the last
 * one kept for the terminator). */
#define ACTION_URI_REQUEST_SIZE 4096
/* The room of a parsed target; a longer one is left empty. */
#define ACTION_URI_URL_SIZE 1024
/* The room of the settings answer in upload_file_arrary: header and file,
 * cut there. */
#define ACTION_URI_UPLOAD_SIZE 5120
/* The file sent as the settings answer. */
#define ACTION_URI_PHONECFG_INI "/tmp/phonecfg.ini"

/* Rows of the words of a key request (50 served, the 51st marks a request
 * refused as a whole), of the items of a settings request (10 served, the
 * 11th refuses), and the room of each row and of equal1..equal6. */
#define ACTION_URI_KEY_ROWS 51
#define ACTION_URI_CFG_ROWS 11
#define ACTION_URI_FIELD_SIZE 64
/* Rows of my_action_uri_keyboard_conf: 36 keys and the end mark "end". */
#define ACTION_URI_KEYBOARD_ROWS 37

/* The bus session of the service: id, events mask (bits 0, 5 and 6), name. */
#define ACTION_URI_BUS_ID 4101
#define ACTION_URI_MONITOR_MASK 97
#define ACTION_URI_BUS_NAME "keydemo"

PHONECORE_BEGIN_DECLS

/* The request in hand, cleared for each request. */
typedef struct ActionUriRequest {
    char url[ACTION_URI_URL_SIZE]; /* the target without its first character, undecoded */
    int32_t method;                /* 0 GET, 1 POST */
} ActionUriRequest;

/* A key of the key table; the low byte of code is the key code. */
typedef struct ActionUriKey {
    int32_t id;
    char name[16];
    int32_t code;
} ActionUriKey;

PHONECORE_API extern ActionUriRequest url_test1;
/* 1: the next answer is ACTION_URI_PHONECFG_INI behind the settings head. */
PHONECORE_API extern int32_t upload_flag;
PHONECORE_API extern char upload_file_arrary[ACTION_URI_UPLOAD_SIZE];
/* Written 0 and 1 at each accepted connection; nothing here reads them. */
PHONECORE_API extern int32_t set_remote_url_flag;
PHONECORE_API extern int32_t first_control_flag;

PHONECORE_API extern char key_method[ACTION_URI_KEY_ROWS][ACTION_URI_FIELD_SIZE];
PHONECORE_API extern int32_t key_method_count;
PHONECORE_API extern char cfg_method[ACTION_URI_CFG_ROWS][ACTION_URI_FIELD_SIZE];
PHONECORE_API extern int32_t cfg_count;
PHONECORE_API extern char equal1[ACTION_URI_FIELD_SIZE];
PHONECORE_API extern char equal2[ACTION_URI_FIELD_SIZE];
PHONECORE_API extern char equal3[ACTION_URI_FIELD_SIZE];
PHONECORE_API extern char equal4[ACTION_URI_FIELD_SIZE];
PHONECORE_API extern char equal5[ACTION_URI_FIELD_SIZE];
PHONECORE_API extern char equal6[ACTION_URI_FIELD_SIZE];
PHONECORE_API extern MessageClient *pClientKey;
PHONECORE_API extern uint64_t monitorflag;
PHONECORE_API extern ActionUriKey my_action_uri_keyboard_conf[ACTION_URI_KEYBOARD_ROWS];

/* The server. */

/* The thread body: detaches itself, opens the service's bus session,
 * listens on ACTION_URI_PORT and serves one connection at a time, forever.
 * Returns (null) only when the socket can't be set up ("bind error!",
 * "listen failed!"). */
PHONECORE_API void *http_server(void *arg) PHONECORE_NOEXCEPT;
/* Serves one accepted connection: one read, the methods, the answer, the
 * close. 0 when a request was read (a malformed one leaves the socket open
 * and unanswered), -1 when the read failed or timed out (the socket stays
 * the caller's to close). */
PHONECORE_API int handle(int fd) PHONECORE_NOEXCEPT;
/* Fills request from the request's text. 0 when parsed (a target of
 * ACTION_URI_URL_SIZE characters or more leaves url empty), 1 when
 * malformed: no "\r\n\r\n", a method other than "GET " or "POST ", or no
 * " HTTP" behind the target. */
PHONECORE_API int parse_url(ActionUriRequest *request, const char *text) PHONECORE_NOEXCEPT;
/* 0 when url begins with word, else -1. */
PHONECORE_API int check_format(const char *url, const char *word) PHONECORE_NOEXCEPT;
/* When upload_flag is 1: clears it and assembles the settings answer into
 * upload_file_arrary. That buffer, or null when the flag isn't set or the
 * file can't be read. */
PHONECORE_API char *upload_file_phonecfg_ini(void) PHONECORE_NOEXCEPT;

/* The key methods. */

/* Splits the words behind "key=" (separated by ';') into key_method. 0. */
PHONECORE_API int init_key_method(const char *url) PHONECORE_NOEXCEPT;
/* Runs the words of key_method in order, 100 ms after each; a request of
 * more than 50 words runs none. 0. */
PHONECORE_API int do_method_for_key(void) PHONECORE_NOEXCEPT;
/* The key code of a key name (exact, case-sensitive), 0 for any other word. */
PHONECORE_API int is_keyboard_method(const char *word) PHONECORE_NOEXCEPT;
/* 0 when text holds '=' (':'), else -1. */
PHONECORE_API int if_had_equal(const char *text) PHONECORE_NOEXCEPT;
PHONECORE_API int if_had_colon(const char *text) PHONECORE_NOEXCEPT;
/* Splits text at '=', '&' and ':' into equal1..equal6 (63 characters each);
 * a sixth separator ends the split. 0. */
PHONECORE_API int get_equal_value(const char *text) PHONECORE_NOEXCEPT;
/* Broadcast "{\"cmd\":\"send_keyboard\", \"keycode\":\"CODE\"}". 0. */
PHONECORE_API int send_keyboard(int code) PHONECORE_NOEXCEPT;
/* Broadcast "{\"cmd\":\"web_call_proc\",\"opt\":\"OPT\",\"param2\":\"P2\"}";
 * a null param2 goes out as "(null)". 0. */
PHONECORE_API int web_call_proc(const char *opt, const char *param2) PHONECORE_NOEXCEPT;
/* Writes "FeatureForwardDND"."DndStatus" (when the file can be read), then
 * broadcasts "reload_transfer_dnd". 0. */
PHONECORE_API int set_dnd_status(const char *value) PHONECORE_NOEXCEPT;
/* Writes "FeatureGnlInfor"."CallWaitingSwitch" (when the file can be read),
 * then broadcasts "reload_dial_char" and, 10 ms later, "setFeatureGnlInfor". 0. */
PHONECORE_API int set_callwaiting_status(const char *value) PHONECORE_NOEXCEPT;
/* Sets up to three members of section in default/function.cfg (a null key
 * is skipped; a missing section is made), then the same two broadcasts as
 * set_callwaiting_status. 0. */
PHONECORE_API int set_function_cfg_status(const char *section, const char *key1, const char *value1, const char *key2,
                                          const char *value2, const char *key3, const char *value3) PHONECORE_NOEXCEPT;
/* Broadcast "{\"cmd\":\"NAME\"}". 0. */
PHONECORE_API int send_cmd_broadcast(const char *name) PHONECORE_NOEXCEPT;

/* The settings words. */

/* 0 for "get", 1 for "set" behind the first '=', -1 otherwise. */
PHONECORE_API int get_cfg_method(const char *url) PHONECORE_NOEXCEPT;
/* Collects the items between '[' and ']' (get_cfg_value1: "%5B" and
 * "%5D") into cfg_method, at most ACTION_URI_CFG_ROWS; an item of 64
 * characters or more is counted and left empty. 0. */
PHONECORE_API int get_cfg_value(const char *url) PHONECORE_NOEXCEPT;
PHONECORE_API int get_cfg_value1(const char *url) PHONECORE_NOEXCEPT;
/* Runs a settings request: "set" hands each item to my_dm_handle_value1
 * (100 ms after each) and then reload_all_phonecfg, unless a reload is in
 * progress; any other word reads: the items' sections and lines go into
 * ACTION_URI_PHONECFG_INI and upload_flag is set for the answer. More than
 * ten items: nothing at all. do_method_for_phonecfg1 takes the items between
 * "%5B" and "%5D" and logs nothing. 0. */
PHONECORE_API int do_method_for_phonecfg(const char *url) PHONECORE_NOEXCEPT;
PHONECORE_API int do_method_for_phonecfg1(const char *url) PHONECORE_NOEXCEPT;

/* The session and the device. */

/* Sets ACTION_URI_MONITOR_MASK in monitorflag and opens the service's
 * session into pClientKey. 0. */
PHONECORE_API int init_pc_connect_info(void) PHONECORE_NOEXCEPT;
/* Closes it; pClientKey null. 0. */
PHONECORE_API int close_pc_connect_info(void) PHONECORE_NOEXCEPT;
/* The hook switch: the integer that the hook ioctl on descriptor 0 gives,
 * -1 when it fails. */
PHONECORE_API int Gethookstate(void) PHONECORE_NOEXCEPT;
/* Broadcasts "{\"cmd\":\"reboot\"}", waits 2 s and runs "reboot". The
 * result of system. */
PHONECORE_API int vorn_system_reboot_ex(void) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
