/* phonecore: the client side of the phone's message bus.
 *
 * A process asks the message server (loopback UDP 27000) for a session
 * with request_pc_connect and gets a MessageClient. Every packet goes to
 * the session's server_port; what arrives on its local_port passes through
 * client_call_back on the listener thread ("zknetwork") to the hooks, the
 * event thread (ClientCallBack, which calls the process's ClientOps) and
 * the raw_callback.
 *
 * One sending thread per session: the send buffer and the sequence counter
 * have no lock. */
#ifndef PHONECORE_BUS_CLIENT_H
#define PHONECORE_BUS_CLIENT_H

#include <pthread.h>
#include <stdint.h>

#include "phonecore/export.h"
#include "phonecore/fifo.h"
#include "phonecore/udp.h"

PHONECORE_BEGIN_DECLS

struct json_object;

#define BUS_PACKET_MAGIC 767
#define BUS_PACKET_HEADER_SIZE 16
/* Payload room of a session's send buffer. */
#define BUS_MAX_PAYLOAD 16384
#define BUS_ID_SIP 4098
#define BUS_ID_ALL 65535
#define BUS_HOOK_COUNT 64
#define BUS_PENDING_COUNT 32
#define BUS_NAME_SIZE 32
/* The largest payload a received packet can bring: a datagram is cut at
 * 16384 bytes, header included. The room of the reply buffers of
 * send_sjson_to_sip_hook_wait_buffer and voip_warnningist_get. */
#define BUS_BUFFER_REPLY_MAX (16384 - BUS_PACKET_HEADER_SIZE)
/* Room of a session's event buffer: one whole packet. */
#define BUS_EVENT_PACKET_SIZE 16388

/* What travels on the bus: a 16-byte header in native byte order and the
 * payload. A session's send buffer is one of these, with room for 16384
 * payload bytes; the terminator behind a full payload is sent from a byte
 * of its own. Received packets are handed out as pointers to this layout;
 * only the datagram's bytes (header + length, at most 16384 in all) are
 * valid there. */
typedef struct BusPacket {
    uint16_t magic;                /* 767 */
    uint16_t seq;                  /* 1 to 16384; a reply carries the request's */
    uint16_t msgtype;              /* 0 for JSON that goes by its "msgtype" text */
    uint16_t kind;                 /* 1 numeric, 2 event, 3 command broadcast, 9 directed JSON */
    uint16_t dest;                 /* bus id of the receiver; 65535 all */
    uint16_t source;               /* bus id of the sender */
    uint32_t length;               /* payload bytes, without the terminator */
    uint8_t data[BUS_MAX_PAYLOAD]; /* payload; its terminator behind it */
} BusPacket;

/* Raw packets (kinds 1, 3 and 9) on the listener thread, and hook monitors
 * on their own thread: source, msgtype, the packet (or element) and its
 * length. The pointer is valid during the call only. */
typedef int (*BusPacketCallback)(uint16_t source, uint16_t msgtype, void *packet, uint32_t length);

/* One waiting place of a session. */
typedef struct MsgHook {
    uint32_t hook_type; /* 0 free, 1 by seq, 2 by name, 3 by msgtype */
    uint16_t hook_seq;
    uint16_t hook_msgtype;
    pthread_t monitor_thread;
    char hook_name[BUS_NAME_SIZE];
    BusPacketCallback monitor_callback;
    NewFifo *hook_fifo;      /* types 1 and 3 catch whole packets, type 2 payloads */
    uint8_t *monitor_buffer; /* read buffer of the monitor thread */
    int32_t monitor_running;
    pthread_mutex_t wait_mutex; /* held for the length of wiat_hook_intant */
} MsgHook;

/* The process's event callbacks, called on a session's event thread. Any
 * slot may be NULL except on_handfree, which "connect" with handfree_tag 1
 * calls unchecked. */
typedef struct ClientOps {
    void (*on_connecting)(int acc, const char *from, const char *to, int id, int inF, int tFlag, const char *div,
                          const char *dis, int backup_callid, const char *call_id_gl);
    void (*on_connect)(int accNumber, int call_id, int flags, const char *peer_number, const char *calledID,
                       const char *dis);
    void (*on_invite_response)(int accNumber, int flags);
    void (*on_disconnect)(int accNumber, int call_id, int flags);
    void (*on_reserved)(void);
    void (*on_upgrade_status)(int updateid, int process);
    void (*on_reg_changed)(int acc_id, int bOnline);
    void (*on_mwi_message)(int accId, int waiting, int miss_unread, int miss_read, int urgent_miss_unread,
                           int urgent_miss_read);
    void (*on_account_info_invalidated)(struct json_object *root);
    void (*on_transfer_complete)(int callId);
    void (*on_incoming_call)(int accNumber, const char *callID, const char *calledID, int flags);
    void (*on_tip_info_get_response)(struct json_object *root);
    void (*on_handfree)(int handfree_tag);
} ClientOps;

/* A row of clientfun_list: an event's "msgtype" and its handler. */
typedef struct ClientFunRow {
    const char *msgtype;
    int (*handler)(struct json_object *root);
} ClientFunRow;

/* The session with the message server; one heap record per role of a
 * process, allocated and freed by the library. */
typedef struct MessageClient {
    uint16_t client_id;
    uint16_t server_port;
    uint16_t local_port;
    uint16_t seq_counter;
    uint64_t session_mask;
    UdpListener listener;
    pthread_t dispatch_thread;
    BusPacketCallback raw_callback;
    BusPacket send_packet;
    int32_t dispatch_running;
    int32_t dispatch_stop;
    pthread_mutex_t session_mutex;
    NewFifo *event_fifo; /* 65536 bytes, 32 slots */
    char client_name[BUS_NAME_SIZE];
    uint16_t pending_seq[BUS_PENDING_COUNT]; /* 0 = free */
    MsgHook hooks[BUS_HOOK_COUNT];
    uint8_t event_packet[BUS_EVENT_PACKET_SIZE];
} MessageClient;

/* The process's callback table; set by add_callback_fun. */
PHONECORE_API extern ClientOps *pClientOps;
/* Event names and handlers, ended by a row with a NULL name. */
PHONECORE_API extern ClientFunRow clientfun_list[];

/* Opens a session for bus id id: up to 10 tries of 5000 ms each. The
 * session, or NULL. */
PHONECORE_API MessageClient *request_pc_connect(uint16_t id, uint64_t mask, BusPacketCallback raw_callback,
                                                const char *name) PHONECORE_NOEXCEPT;
/* Closes and frees the session. 0; -1 when client is NULL or the server
 * did not answer with the reply magic (the session is gone all the same). */
PHONECORE_API int request_pc_disconnect(MessageClient *client) PHONECORE_NOEXCEPT;

/* Send family. Each returns the seq used (send_message_back*: 0); -1 for a
 * NULL client. A payload is cut at 16384 bytes. */
PHONECORE_API int send_message(MessageClient *client, uint16_t dest, uint16_t msgtype, const void *data,
                               int length) PHONECORE_NOEXCEPT;
PHONECORE_API int send_message2(MessageClient *client, uint16_t dest, uint16_t msgtype, uint16_t kind, const void *data,
                                int length) PHONECORE_NOEXCEPT;
/* Sends the given seq, without terminator; seq_counter advances anyway. */
PHONECORE_API int send_message3(MessageClient *client, uint16_t dest, uint16_t msgtype, uint16_t kind, uint16_t seq,
                                const void *data, int length) PHONECORE_NOEXCEPT;
PHONECORE_API int send_message_back(MessageClient *client, const BusPacket *request, uint16_t kind, const void *data,
                                    int length) PHONECORE_NOEXCEPT;
PHONECORE_API int send_message_back2(MessageClient *client, const BusPacket *request, uint16_t msgtype, uint16_t kind,
                                     const void *data, int length) PHONECORE_NOEXCEPT;
/* One packet without a session to port 30101, source 4110, seq 0x0F0F. 0. */
PHONECORE_API int instant_message_send(uint16_t dest, uint16_t msgtype, uint16_t kind, const void *data,
                                       int length) PHONECORE_NOEXCEPT;

/* Receive side. */
PHONECORE_API int add_callback_fun(ClientOps *ops) PHONECORE_NOEXCEPT;
PHONECORE_API int client_call_back(void *client, struct sockaddr_in *sender, char *received, int length, char *reply,
                                   int *reply_length) PHONECORE_NOEXCEPT;
PHONECORE_API void *ClientCallBack(void *client) PHONECORE_NOEXCEPT;

/* Hooks: the slot, or NULL when all 64 are taken. */
PHONECORE_API MsgHook *add_hook_byseq(MessageClient *client, uint16_t seq, int fifo_size,
                                      int fifo_slots) PHONECORE_NOEXCEPT;
PHONECORE_API MsgHook *add_hook_bymsgname(MessageClient *client, const char *name, int fifo_size,
                                          int fifo_slots) PHONECORE_NOEXCEPT;
PHONECORE_API MsgHook *add_hook_bymsgtype(MessageClient *client, uint16_t msgtype, int fifo_size,
                                          int fifo_slots) PHONECORE_NOEXCEPT;
PHONECORE_API int add_hook_monitor_thread(MsgHook *hook, BusPacketCallback callback) PHONECORE_NOEXCEPT;
PHONECORE_API int del_hook_monitor_thread(MsgHook *hook) PHONECORE_NOEXCEPT;
PHONECORE_API int del_hook(MessageClient *client, MsgHook *hook) PHONECORE_NOEXCEPT;
PHONECORE_API int del_all_hook(MessageClient *client) PHONECORE_NOEXCEPT;
PHONECORE_API int hook_process_seq(MessageClient *client, uint16_t seq, const void *packet,
                                   int length) PHONECORE_NOEXCEPT;
PHONECORE_API int hook_process_msgname(MessageClient *client, const char *name, const void *payload,
                                       int length) PHONECORE_NOEXCEPT;
PHONECORE_API int hook_process_msgtype(MessageClient *client, const void *packet, int length) PHONECORE_NOEXCEPT;

/* Waits. *length is an output only: set to 0, then to the element's
 * length; whatever it holds on entry is ignored. destination must have
 * room for the FIFO size given when the hook was armed (add_hook_*): no
 * element of a hook is longer, and nothing is written past it.
 * timeout_ms -1 waits without limit (wiat_hook only). */
PHONECORE_API int wiat_hook(MessageClient *client, MsgHook *hook, void *destination, int *length,
                            int timeout_ms) PHONECORE_NOEXCEPT;
PHONECORE_API int wiat_hook_intant(MessageClient *client, MsgHook *hook, void *destination, int *length,
                                   int timeout_ms) PHONECORE_NOEXCEPT;
PHONECORE_API int wait_msgname_reply(MessageClient *client, const char *name, void *buffer, int buffer_size,
                                     int timeout_ms) PHONECORE_NOEXCEPT;
PHONECORE_API int wait_response(MessageClient *client, uint16_t seq, int ticks) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
