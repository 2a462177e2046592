/* phonecore: JSON messages of the bus.
 *
 * A request or event is {"msgtype": name, "data": object}; a reply adds
 * "status" and is named name + "_response". Paths into JSON are given as a
 * count of keys followed by the keys. A JSON object returned to the caller
 * is the caller's to release with json_object_put; one given to a make or
 * send function is taken over. */
#ifndef PHONECORE_JSON_MSG_H
#define PHONECORE_JSON_MSG_H

#include <stdint.h>

#include "phonecore/bus_client.h"
#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

struct json_object;

/* Reading by path: NULL (texts, objects) or 0 (integers) when a key is
 * missing. A text belongs to the JSON object. */
PHONECORE_API struct json_object *get_json_obj(struct json_object *object, int count,
                                               const char **keys) PHONECORE_NOEXCEPT;
PHONECORE_API struct json_object *get_jobj_from_json(struct json_object *object, int count, ...) PHONECORE_NOEXCEPT;
PHONECORE_API const char *get_string_from_json(struct json_object *object, int count, ...) PHONECORE_NOEXCEPT;
PHONECORE_API const char *get_string_from_json_rl(struct json_object *object, int count, ...) PHONECORE_NOEXCEPT;
PHONECORE_API int get_int_from_json_rl(struct json_object *object, int count, ...) PHONECORE_NOEXCEPT;
PHONECORE_API int get_int_from_char_json(struct json_object *object, int count, ...) PHONECORE_NOEXCEPT;

/* Writing by path: 0, or -1 when a part of the path is missing (the *2
 * forms create missing parts). */
PHONECORE_API int set_string_to_json(struct json_object *object, const char *key, const char *value, int count,
                                     ...) PHONECORE_NOEXCEPT;
PHONECORE_API int set_int_to_json(struct json_object *object, const char *key, int value, int count,
                                  ...) PHONECORE_NOEXCEPT;
PHONECORE_API int set_string_to_json2(struct json_object *object, const char *key, const char *value, int count,
                                      ...) PHONECORE_NOEXCEPT;
PHONECORE_API int set_int_to_json2(struct json_object *object, const char *key, int value, int count,
                                   ...) PHONECORE_NOEXCEPT;
/* Takes over member, also when it answers -1. */
PHONECORE_API int set_obj_to_json(struct json_object *object, const char *key, struct json_object *member, int count,
                                  ...) PHONECORE_NOEXCEPT;
/* Room of the destination of get_int_list_from_array, in ints: members
 * past it are not read. *count (written only) is the number stored. 0; -1
 * when it isn't an array. */
#define JSON_INT_LIST_MAX 256
PHONECORE_API int get_int_list_from_array(struct json_object *array, int *destination, int *count) PHONECORE_NOEXCEPT;
PHONECORE_API struct json_object *get_obj_list_from_array(const int *values, int count) PHONECORE_NOEXCEPT;
/* Calls callback(member, index, user) for the members that match: mode 0
 * text at key, mode 1 integer at key, other modes every member. 0 if
 * something matched, else -1 (so mode 2 always answers -1). */
PHONECORE_API int api_json_arry_parse(struct json_object *array, int mode, const char *key, const char *text,
                                      int number, int (*callback)(struct json_object *member, int index, void *user),
                                      void *user) PHONECORE_NOEXCEPT;

/* Building. n pairs of key and text; NULL if n is odd. */
PHONECORE_API struct json_object *make_simple_data(int n, ...) PHONECORE_NOEXCEPT;
/* n/3 triples (int flag, key, value): flag non-zero an int, zero a text.
 * NULL unless n is a multiple of 3. */
PHONECORE_API struct json_object *make_simple_data2(int n, ...) PHONECORE_NOEXCEPT;
/* Room of the text buffer of make_simple_send_msg, make_simple_request
 * and make_simple_response, the largest outgoing text of the bus calls; a
 * longer text is cut there, terminated. */
#define JSON_MSG_TEXT_MAX 512
/* The request text into buffer, its length into *length. 0; -1 if no text.
 * Takes over data. */
PHONECORE_API int make_simple_send_msg(const char *name, struct json_object *data, char *buffer,
                                       int *length) PHONECORE_NOEXCEPT;
PHONECORE_API int make_simple_request(const char *name, struct json_object *data, char *buffer) PHONECORE_NOEXCEPT;
PHONECORE_API int make_simple_response(int unused, const char *name, const char *status, struct json_object *data,
                                       char *buffer) PHONECORE_NOEXCEPT;

/* Sending to the SIP process (4098) and to all clients. */
PHONECORE_API int send_sjson_to_sip(MessageClient *client, const char *name,
                                    struct json_object *data) PHONECORE_NOEXCEPT;
PHONECORE_API struct json_object *send_sjson_to_sip_wait(MessageClient *client, const char *name,
                                                         struct json_object *data, int timeout_ms) PHONECORE_NOEXCEPT;
PHONECORE_API struct json_object *send_sjson_to_sip_hook_wait(MessageClient *client, const char *name,
                                                              struct json_object *data,
                                                              int timeout_ms) PHONECORE_NOEXCEPT;
/* A numeric request (kind 1) and its reply by msgtype: the reply's payload
 * into out (BUS_BUFFER_REPLY_MAX bytes, see bus_client.h), its length into *out_length
 * (written only). 0, or -1. A NULL client answers -1 without taking data
 * over: the caller still owns it then. One caller at a time per process. */
PHONECORE_API int send_sjson_to_sip_hook_wait_buffer(MessageClient *client, const char *name, int msgtype,
                                                     struct json_object *data, void *out, int *out_length,
                                                     int timeout_ms) PHONECORE_NOEXCEPT;
PHONECORE_API int send_sjson_to_all(MessageClient *client, const char *name,
                                    struct json_object *data) PHONECORE_NOEXCEPT;
PHONECORE_API int send_sjson_to_all_type_all(MessageClient *client, const char *name,
                                             struct json_object *data) PHONECORE_NOEXCEPT;
/* Room of the reply text of send_string_and_wait: a reply of up to 1536
 * bytes and its terminator. */
#define BUS_STRING_REPLY_MAX (1536 + 1)
PHONECORE_API int send_string_and_wait(MessageClient *client, uint16_t dest, uint16_t msgtype, const char *name,
                                       const void *data, int length, char *reply, int timeout_ms) PHONECORE_NOEXCEPT;
/* A session for one question. 0 with the reply, or -1. The reply buffer
 * holds BUS_BUFFER_REPLY_MAX + 1 bytes (the payload and a terminator);
 * *reply_length is written only. */
PHONECORE_API int request_short_connect(uint16_t id, uint16_t dest, uint64_t reserved, uint64_t mask, const void *data,
                                        int length, void *reply, int *reply_length, int ticks, int tries,
                                        int tick_us) PHONECORE_NOEXCEPT;
/* Milliseconds of the wall clock as a wrapping 32-bit value. */
PHONECORE_API uint32_t system_get_times_msec(void) PHONECORE_NOEXCEPT;

/* State of request_short_connect: one short connection per process. */
PHONECORE_API extern int datarevlen;
PHONECORE_API extern void *pbufferRecvGL;
PHONECORE_API extern int short_connect_done;

PHONECORE_END_DECLS

#endif
