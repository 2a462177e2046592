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

PHONECORE_END_DECLS

#endif
