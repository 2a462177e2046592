/* phonecore: the phone.cfg text format, export side.
 *
 * A request names words: keys of the import (Account1.AccountUserName,
 * Network.Wan.dns1), groups of the dial plan (Dialplan.Dial_now) and three
 * special words ("accounts=1", "dnd=1", "fw=1"). The answer is the text
 * file /tmp/phonecfg.ini, built in this order:
 *
 *   set_cfg_header1(path);            "[Status]" and the firmware version
 *   for each word:
 *     strimp_shift_7(word);           one leading '&' off
 *     get_special_cfg(word);          its sections, straight into the answer
 *     get_appoint_cfg(word);          its "[Config]" lines, into
 *                                     /tmp/phonecfg_tmp.ini
 *   merge_phonecfg();                 "[Config]" and those lines appended,
 *                                     the scratch file removed
 *
 * Lines end in one LF. In "[Status]" and "[Config]" a line is
 * "NAME = VALUE"; in the special sections "NAME=VALUE". A member missing
 * from its file prints "(null)" (Features.CallWaiting and
 * Static.Network.PcPort.Enable print "0"). Values are printed as stored:
 * nothing is quoted, escaped or hidden, passwords included.
 *
 * getFileAll, which reads the scratch file back, is declared in
 * phonecfg.h. The buffers below are process-wide and have no lock: one
 * caller at a time. */
#ifndef PHONECORE_PHONECFG_EXPORT_H
#define PHONECORE_PHONECFG_EXPORT_H

#include "phonecore/export.h"
#include "phonecore/phonecfg.h"

/* test_tmp: a word of a request, 63 characters and the terminator. */
#define PHONECFG_EXPORT_WORD_SIZE 64
/* acc_after_name: 31 characters and the terminator. */
#define PHONECFG_ACC_NAME_SIZE 32

PHONECORE_BEGIN_DECLS

/* Scratch of strimp_shift_7: the word as it was last shifted. */
PHONECORE_API extern char test_tmp[PHONECFG_EXPORT_WORD_SIZE];
/* The part of the last key given to get_acc_after_name behind its first
 * dot, cut at 31 characters. */
PHONECORE_API extern char acc_after_name[PHONECFG_ACC_NAME_SIZE];

/* Starts the answer: /tmp/phonecfg.ini, whatever path is given (the path
 * is not used), opened with "w", "[Status]" and, when "quorbit_ota.cfg"
 * holds QuorbitOta.sw_version, "FirmwareVersion = VERSION". 0; -1 after
 * "phone.cfg open error!" when the file can't be opened. */
PHONECORE_API int set_cfg_header1(const char *path) PHONECORE_NOEXCEPT;
/* Removes one leading '&' from the word in place and cuts it at 63
 * characters (the word passes through test_tmp). The word must hold
 * PHONECFG_EXPORT_WORD_SIZE bytes or be terminated within them. 0; -1 for
 * a null word. */
PHONECORE_API int strimp_shift_7(char *word) PHONECORE_NOEXCEPT;
/* Appends the sections of a special word to /tmp/phonecfg.ini:
 * "accounts=1" the eight account lines of each of the four accounts,
 * "dnd=1" the do-not-disturb state, "fw=1" the three forward sections.
 * Each is known with a leading '&' as well; other words add nothing. 0;
 * -1 when the answer file can't be opened ("phone.cfg open error!") or
 * the word's file can't be read. */
PHONECORE_API int get_special_cfg(const char *word) PHONECORE_NOEXCEPT;
/* Appends the "[Config]" lines of a key or group word to
 * /tmp/phonecfg_tmp.ini. The sources are read anew, in this order:
 * "default/voiplist.cfg", "system.cfg", "default/programing_key.cfg",
 * "default/addresslist.cfg", "default/settinglist.cfg",
 * "default/function.cfg", "network.cfg", "default/internet.cfg",
 * "tr069.cfg"; an account word ends after the first, a LineKey or SoftKey
 * word after the third, any other word (an unknown one too) reads all
 * nine. 0; -1 after "phone.cfg open error!" when the scratch file can't be
 * opened. */
PHONECORE_API int get_appoint_cfg(const char *word) PHONECORE_NOEXCEPT;
/* Clears acc_after_name and copies into it the key's text behind its
 * first '.', at most 31 characters; without a dot it stays empty. 0. */
PHONECORE_API int get_acc_after_name(const char *key) PHONECORE_NOEXCEPT;
/* Ends the answer: appends "[Config]" and the scratch file's text to
 * /tmp/phonecfg.ini, then removes the scratch file with "rm -rf". The
 * result of that shell command; -1 after "phone.cfg open error!" when the
 * answer can't be opened. */
PHONECORE_API int merge_phonecfg(void) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
