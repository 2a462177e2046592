/* phonecore: call commands to the SIP process (bus id 4098).
 *
 * Each voip_* call turns one action of the phone into one JSON message
 * {"msgtype": name, "data": {...}} on the caller's session. Commands
 * without a reply answer 1 (or the packet's seq where noted) whatever the
 * transport did. Requests wait for the SIP process's answer by polling
 * every 5 ms, at most 100 ms unless noted. The outcome of a dial, a hold or
 * a hang-up reaches the process later as events through its ClientOps.
 *
 * Account numbers (dialAccId, accId, acc_id, dndAccount) are the SIP
 * process's: 1 to 4. Text buffers that the calls fill take 64 bytes: a
 * text is cut at 63 characters and always terminated.
 *
 * One sending thread per session; the tip cache and the limit of the
 * buffer requests belong to one screen thread. */
#ifndef PHONECORE_VOIP_H
#define PHONECORE_VOIP_H

#include "phonecore/bus_client.h"
#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

/* Commands without a reply; each answers 1. */
/* Also switches the local audio channel to dev first. */
PHONECORE_API int voip_hook_switch(MessageClient *client, int dev) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_audio_tone(MessageClient *client, int flag) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_audio_input_key(MessageClient *client, int flag) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_phone_set_dnd(MessageClient *client, int status, int mode, int account) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_phone_set_auto_answer(MessageClient *client, int account, int flag) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_phone_set_transfer_param(MessageClient *client, int type, int enable, const char *dst,
                                                const char *on, const char *off, int time) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_phone_hangup(MessageClient *client, int call) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_phone_hold(MessageClient *client, int call) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_phone_resume(MessageClient *client, int call) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_phone_answer(MessageClient *client, int call, int accept) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_ring_operation(MessageClient *client, int type, const char *file) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_line_led_status(MessageClient *client, int line, int status) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_conf_connect(MessageClient *client, int call1, int call2, int flag) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_conf_mute(MessageClient *client, int call, int speaker, int mute) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_phone_register(MessageClient *client, int line, int flag) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_phone_transfer(MessageClient *client, int call, const char *number, int flag) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_phone_transfer_replace(MessageClient *client, int call, int other_call) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_phone_send_dtmf(MessageClient *client, int call, const char *text, int type) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_lcd_state_change(MessageClient *client, int account, int old_status,
                                        int new_status) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_volume_change(MessageClient *client, int speaker, int volume) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_voice_ctrl(MessageClient *client, int call, int ring, int start, int speaker) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_tip_info_clear(MessageClient *client, int type) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_phone_set_record_history(MessageClient *client, int flag) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_account_set_default(MessageClient *client, int account) PHONECORE_NOEXCEPT;

/* Commands without a reply that answer the packet's seq. */
PHONECORE_API int voip_voice_test_set(MessageClient *client, int enable) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_int_val_set(MessageClient *client, int variable, int value) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_set_has_one_speaking_flag(MessageClient *client, int flag) PHONECORE_NOEXCEPT;

/* Requests. */
/* atoi of the reply's "status", 0 when no reply came; the reply's
 * data.desc into desc (64 bytes) when both exist. */
PHONECORE_API int voip_phone_dail(MessageClient *client, int account, const char *number,
                                  char *desc) PHONECORE_NOEXCEPT;
/* startFlag 0 ends a subscription; (key number << 8) | 1 starts one. 1. */
PHONECORE_API int voip_blf_subscribe(MessageClient *client, int start_flag, int acc_id,
                                     const char *number) PHONECORE_NOEXCEPT;
/* 1, or 0 when no reply came or a result pointer is NULL. */
PHONECORE_API int voip_phone_info_get(MessageClient *client, int *cur_hook_state, int *cur_dev_type,
                                      int *dial_flag) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_phone_state_get(MessageClient *client, int *acc1, int *acc2, int *acc3,
                                       int *acc4) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_phone_get_record_history(MessageClient *client, int *enable_flag) PHONECORE_NOEXCEPT;
/* 1, or 0 when no reply came; texts into 64-byte buffers that exist. */
PHONECORE_API int voip_call_info(MessageClient *client, int call_id, char *from_account, char *to_account,
                                 int *acc_id) PHONECORE_NOEXCEPT;
/* The tip information (voice-mail tip): the number text (64 bytes), the
 * unread count, the id and the account. The SIP process is asked on every
 * fifth call of each function, starting with the first; the other calls
 * hand out the cache. 1 after a good reply or from the cache, 0 after a
 * failure (the fields are filled from the cache either way), 0 at once
 * when number_text or unread is NULL. */
PHONECORE_API int voip_tip_info_get(MessageClient *client, char *number_text, int *unread, int *id,
                                    int *account) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_tip_info_get3(MessageClient *client, char *number_text, int *unread, int *id) PHONECORE_NOEXCEPT;
/* 0, or -1 when no reply came within 200 ms. */
PHONECORE_API int voip_voice_get_power(MessageClient *client, int *power) PHONECORE_NOEXCEPT;
/* 0, or -1 when no reply came or it names another variable. */
PHONECORE_API int voip_in_val_get(MessageClient *client, int variable, int *value) PHONECORE_NOEXCEPT;
/* Room of the out buffer of voip_warnningist_get: the longest payload a
 * reply packet can bring. */
#define VOIP_WARNNINGIST_MAX BUS_BUFFER_REPLY_MAX
/* The binary warning list into out (VOIP_WARNNINGIST_MAX bytes). 1, or 0
 * on failure (out untouched then). */
PHONECORE_API int voip_warnningist_get(MessageClient *client, int is_cleared, void *out) PHONECORE_NOEXCEPT;

/* Local, no bus. */
/* The current volume as a level 0 to 15 into *level when it lies in 0.0
 * to 1.0; otherwise *level stays. 1. */
PHONECORE_API int voip_volume_get(MessageClient *client, int unused, int *level) PHONECORE_NOEXCEPT;
/* Text of a SIP status code, language 0 English, 1 Chinese; NULL when not
 * in the table. */
PHONECORE_API const char *voip_status_desc(int language, int code) PHONECORE_NOEXCEPT;
/* 1 while "/tmp/call_check.txt" says a call is going on, else 0. */
PHONECORE_API int getCallStatus_common(void) PHONECORE_NOEXCEPT;
/* The live network status from the configuration service into 64-byte
 * buffers; a missing field leaves its buffer. 0, or -1 when no record
 * came. */
PHONECORE_API int getRealtimeNTStatus(MessageClient *client, char *ip, char *mask, char *gateway, char *dns1,
                                      char *dns2, char *mac) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
