/* phonecore: the phone.cfg text format, import side.
 *
 * phone.cfg is a flat list of "key=value" lines (Network.Wan.dns1 =
 * 10.0.0.1). my_dm_handle_value1 takes one line or URI item, reads it into
 * parameterA and parameterA_value and hands the pair to the handler of its
 * group, which reads the JSON files concerned through the configuration
 * service, changes the one member and writes them all back. The flags
 * below tell the reload what it still has to do.
 *
 * Reading a line (get_equal_after_ldap): it ends at NUL or LF; a CR is an
 * ordinary character. A first character '#' makes a comment. Blanks and
 * tabs are dropped before the value's first character; tabs everywhere.
 * The first '=' ends the key. Blanks after the value's first character are
 * kept, trailing ones too. An '&' is dropped while nothing is stored yet.
 * Once 63 characters are stored, one input character is skipped after each
 * further one; each buffer keeps at most PHONECFG_TEXT_SIZE - 1 characters.
 *
 * The buffers and flags are process-wide and have no lock: one caller at a
 * time, guarded across processes by the marker /tmp/reloading. */
#ifndef PHONECORE_PHONECFG_H
#define PHONECORE_PHONECFG_H

#include "phonecore/export.h"

/* parameterA and parameterA_value: 63 characters and the terminator. */
#define PHONECFG_TEXT_SIZE 64
/* Each SIP identity buffer: 127 characters and the terminator. */
#define PHONECFG_IDENTITY_SIZE 128

PHONECORE_BEGIN_DECLS

/* The key of the item in hand. */
PHONECORE_API extern char parameterA[PHONECFG_TEXT_SIZE];
/* Its value. */
PHONECORE_API extern char parameterA_value[PHONECFG_TEXT_SIZE];
/* 1 once any key went to the network handler; cleared by the reload. */
PHONECORE_API extern int start_network_flag;
/* 1 once any key with a value was handed on, known or not; cleared by the
 * reload. */
PHONECORE_API extern int reload_something_flag;

/* Reads the item and applies it. An item without a value changes nothing
 * and raises no flag. Always 0. */
PHONECORE_API int my_dm_handle_value1(const char *item) PHONECORE_NOEXCEPT;
/* Fills parameterA and parameterA_value from the item (both cleared
 * first). 1 when a value character was stored or the line is a comment,
 * else 0. A null item is an empty one. */
PHONECORE_API int get_equal_after_ldap(const char *item) PHONECORE_NOEXCEPT;
/* 1 when the key contains "Network" or "Static" anywhere, else 0. */
PHONECORE_API int is_network_cfg(const char *key) PHONECORE_NOEXCEPT;
/* Applies the pair in hand to the network files: reads the network
 * configuration (store 4096), "tr069.cfg" and "default/internet.cfg",
 * changes the key's member when the value is accepted, writes the three
 * back, then reads "default/internet.cfg" and "status.cfg" again and sends
 * the WAN VLAN mode to the network service. 0; -1 after "network.cfg open
 * error!" when the network configuration can't be read. */
PHONECORE_API int Set_Network_Massage(void) PHONECORE_NOEXCEPT;
/* 0 for a dotted IPv4 address of four fields (no leading zeros, none above
 * 255, not starting with "0"), -1 otherwise. */
PHONECORE_API int is_ipv4_addr(const char *text) PHONECORE_NOEXCEPT;
/* 1 for exactly "0" or "1", else 0. */
PHONECORE_API int isZero_or_one(const char *text) PHONECORE_NOEXCEPT;
/* 1 for exactly "0" or "1", else 0. */
PHONECORE_API int isTwoLine(const char *text) PHONECORE_NOEXCEPT;
/* 1 for exactly "0", "1", "2" or "3", else 0. */
PHONECORE_API int isFourLine(const char *text) PHONECORE_NOEXCEPT;
/* 1 when parameterA_value holds only the digits 0 to 9 (the empty value
 * too), else 0. */
PHONECORE_API int is_value_digits(void) PHONECORE_NOEXCEPT;

/* Applies the pair in hand when it isn't a network key: reads the voip
 * configuration (store 4097), "default/voiplist.cfg", "default/function.cfg",
 * "default/settinglist.cfg", "system.cfg", "default/addresslist.cfg",
 * "hal.cfg" and "default/programing_key.cfg" (hotel_mode_get first), changes
 * the key's member when the value is accepted and its file is there, and
 * writes them back in the order voiplist, function, programing_key,
 * settinglist, voip, system, addresslist, hal, for every key, known or not.
 * 0; -1 after "voip.cfg open error!", "voiplist.cfg open error!" or
 * "programing_key.cfg open error!" when a mandatory one can't be read
 * (nothing written then). */
PHONECORE_API int Set_Account_Massage(void) PHONECORE_NOEXCEPT;
/* The backlight's PWM duty cycle for a level (0 to 100) and a floor: 100
 * at level 0, the floor at level 100; with the floor 40, 93 at 10 down to
 * 45 at 90. */
PHONECORE_API int change_backlight(int level, int floor) PHONECORE_NOEXCEPT;

/* Last reading of /tmp/reloading: 1 while a reload runs. */
PHONECORE_API extern int is_reloading;
/* Last reading of /tmp/call_check.txt: 1 while a call is in process. */
PHONECORE_API extern int callinprocess;

/* The SIP identities of the accounts, made by set_id_to_voip_cfg:
 * registrarN "sip:server1:port1", registrarN_2 the same of server 2,
 * regisidN "sip:user@server1:port1", regisidN_2 of server 2. Account 4 is
 * formatted into the account-3 buffers; the account-4 buffers stay empty. */
PHONECORE_API extern char registrar1[PHONECFG_IDENTITY_SIZE];
PHONECORE_API extern char registrar1_2[PHONECFG_IDENTITY_SIZE];
PHONECORE_API extern char registrar2[PHONECFG_IDENTITY_SIZE];
PHONECORE_API extern char registrar2_2[PHONECFG_IDENTITY_SIZE];
PHONECORE_API extern char registrar3[PHONECFG_IDENTITY_SIZE];
PHONECORE_API extern char registrar3_2[PHONECFG_IDENTITY_SIZE];
PHONECORE_API extern char registrar4[PHONECFG_IDENTITY_SIZE];
PHONECORE_API extern char registrar4_2[PHONECFG_IDENTITY_SIZE];
PHONECORE_API extern char regisid1[PHONECFG_IDENTITY_SIZE];
PHONECORE_API extern char regisid1_2[PHONECFG_IDENTITY_SIZE];
PHONECORE_API extern char regisid2[PHONECFG_IDENTITY_SIZE];
PHONECORE_API extern char regisid2_2[PHONECFG_IDENTITY_SIZE];
PHONECORE_API extern char regisid3[PHONECFG_IDENTITY_SIZE];
PHONECORE_API extern char regisid3_2[PHONECFG_IDENTITY_SIZE];
PHONECORE_API extern char regisid4[PHONECFG_IDENTITY_SIZE];
PHONECORE_API extern char regisid4_2[PHONECFG_IDENTITY_SIZE];

/* Once per batch, after the items: unless /tmp/reloading says a reload
 * runs, marks it "1", and when no call is in process and some key was
 * imported, rebuilds the identities and sends the reload broadcasts with
 * their pauses (260 ms); then "start_network" and 3 s when a network key
 * came, "reload_account" and 100 ms, and marks "0". A batch met by a call
 * keeps reload_something_flag for the next reload. Always 0. */
PHONECORE_API int reload_all_phonecfg(void) PHONECORE_NOEXCEPT;
/* Writes the text to /tmp/reloading (mode "w"); silent when it can't be
 * opened. A null text leaves the file empty. 0. */
PHONECORE_API int write_tmp_reloading(const char *text) PHONECORE_NOEXCEPT;
/* Reads /tmp/reloading into is_reloading: missing or exactly "0" is 0,
 * anything else (empty, "0\n", "00") 1. 0. */
PHONECORE_API int getReloading(void) PHONECORE_NOEXCEPT;
/* Reads /tmp/call_check.txt into callinprocess by the same rule. 0. */
PHONECORE_API int getCallStatus(void) PHONECORE_NOEXCEPT;
/* Writes registrar, registrar2, id and id2 of the four accounts into
 * "voip.cfg" from "default/voiplist.cfg"; a missing member reads "(null)".
 * Nothing happens when either file can't be read. 0. */
PHONECORE_API int set_id_to_voip_cfg(void) PHONECORE_NOEXCEPT;
/* Clears the sixteen identity buffers. 0. */
PHONECORE_API int init_some_arrary(void) PHONECORE_NOEXCEPT;

/* The whole file as a new NUL-terminated buffer, released by the caller
 * with free; *length (when given) receives the bytes read, without the
 * terminator. Null after printing "\nOpen file  fail" when the file can't
 * be opened or the memory can't be had. A directory reads as empty. */
PHONECORE_API char *getFileAll(const char *path, int *length) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
