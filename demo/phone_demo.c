/* Two phone processes on the bus, narrated: the SIP process (bus id 4098)
 * and a user interface (bus id 1234). The interface dials; the SIP process
 * answers the request and reports the call by events, which reach the
 * interface's ClientOps on its event thread. */
#include <json-c/json.h>
#include <phonecore/bus_client.h>
#include <phonecore/json_msg.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

static MessageClient *sip;
static volatile int connected;

/* SIP side, on its listener thread: answer "phone_dail" and play the call. */
static int sip_raw(uint16_t source, uint16_t msgtype, void *packet, uint32_t length) {
    const BusPacket *request = packet;
    json_object *root = json_tokener_parse((const char *)request->data);
    const char *name = root ? get_string_from_json(root, 1, "msgtype") : NULL;
    (void)msgtype, (void)length;
    if (name && strcmp(name, "phone_dail") == 0) {
        const char *number = get_string_from_json(root, 2, "data", "phoneNumber");
        char text[256];
        printf("   [sip] %u dials %s on account %d\n", source, number ? number : "?",
               get_int_from_json_rl(root, 2, "data", "dialAccId"));
        usleep(2000); /* a SIP process takes a moment to place the call */
        make_simple_response(0, "phone_dail_response", "0", make_simple_data2(3, 1, "callId", 12), text);
        send_message_back(sip, request, 9, text, (int)strlen(text));
        usleep(20000);
        make_simple_request("connecting", make_simple_data2(6, 1, "acc", 1, 0, "to", number ? number : ""), text);
        send_message2(sip, source, 0, 2, text, (int)strlen(text));
        usleep(20000);
        make_simple_request("connect", make_simple_data2(12, 1, "accNumber", 1, 1, "call_id", 12, 1, "flags", 0,
                                                         0, "calledID", number ? number : ""), text);
        send_message2(sip, source, 0, 2, text, (int)strlen(text));
        fflush(stdout);
    }
    json_object_put(root);
    return 0;
}

static void on_connecting(int acc, const char *from, const char *to, int id, int inF, int tFlag, const char *div,
                          const char *dis, int backup_callid, const char *call_id_gl) {
    (void)from, (void)id, (void)inF, (void)tFlag, (void)div, (void)dis, (void)backup_callid, (void)call_id_gl;
    printf("   [ui] event: connecting to %s on account %d\n", to ? to : "?", acc);
}

static void on_connect(int acc, int call_id, int flags, const char *peer, const char *called, const char *dis) {
    (void)flags, (void)called, (void)dis;
    printf("   [ui] event: connected with %s, call %d, account %d\n", peer ? peer : "?", call_id, acc);
    connected = 1;
}

int main(void) {
    setvbuf(stdout, NULL, _IOLBF, 0);
    pid_t child = fork();
    if (child == 0) {
        sip = request_pc_connect(BUS_ID_SIP, 1, sip_raw, "sip");
        if (!sip) return 1;
        printf("   [sip] session open: sends to port %u, listens on %u\n", sip->server_port, sip->local_port);
        pause();
        return 0;
    }
    usleep(300000);

    static ClientOps ops;
    ops.on_connecting = on_connecting;
    ops.on_connect = on_connect;
    add_callback_fun(&ops);
    MessageClient *ui = request_pc_connect(1234, 1, NULL, "ui");
    if (!ui) {
        printf("   [ui] no session\n");
        kill(child, SIGTERM);
        return 1;
    }
    printf("   [ui] session open: sends to port %u, listens on %u\n", ui->server_port, ui->local_port);
    usleep(100000);

    printf("   [ui] send_sjson_to_sip_hook_wait(\"phone_dail\", 1002), limit 100 ms\n");
    json_object *reply = send_sjson_to_sip_hook_wait(
        ui, "phone_dail", make_simple_data2(6, 1, "dialAccId", 1, 0, "phoneNumber", "1002"), 100);
    printf("   [ui] reply: %s\n", reply ? json_object_get_string(reply) : "(none)");
    json_object_put(reply);
    for (int i = 0; i < 200 && !connected; ++i) usleep(5000);

    request_pc_disconnect(ui);
    kill(child, SIGTERM);
    waitpid(child, NULL, 0);
    return connected && reply ? 0 : 1;
}
