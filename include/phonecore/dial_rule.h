/* phonecore: the dial rules of the SIP accounts.
 *
 * Four process-wide tables: replace rules rewrite a dialled number,
 * dial-now rules say it is complete, limit rules forbid it, and the one
 * area-code rule prefixes it. Each process that matches loads the tables
 * itself with vorn_rule_all_load ("default/settinglist.cfg"); the update
 * and store functions keep the older store "default/rule.cfg", which only
 * vorn_rule_all_load_obsoleted reads.
 *
 * The tables have no lock: load and update on the process's control
 * thread. In every walk the first row whose account flag is set and whose
 * pattern matches decides. Accounts are 1 to 4. */
#ifndef PHONECORE_DIAL_RULE_H
#define PHONECORE_DIAL_RULE_H

#include <stdint.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

#define RULE_ROWS 10
#define RULE_TEXT_SIZE 64 /* 63 characters and the terminator */
#define RULE_ACCOUNTS 4

/* accounts[i] above 0: the row applies to account i + 1. */
typedef struct RuleReplace {
    int32_t id;
    char prefix[RULE_TEXT_SIZE];  /* a dial-plan pattern */
    char replace[RULE_TEXT_SIZE]; /* its template, $1 to $9 */
    int32_t accounts[RULE_ACCOUNTS];
} RuleReplace;

typedef struct RuleDial {
    int32_t id;
    char rule[RULE_TEXT_SIZE];
    int32_t accounts[RULE_ACCOUNTS];
} RuleDial;

typedef struct RuleLimit {
    int32_t id;
    char number[RULE_TEXT_SIZE];
    int32_t accounts[RULE_ACCOUNTS];
} RuleLimit;

typedef struct RuleZone {
    char code[RULE_TEXT_SIZE]; /* the area code */
    int32_t min_length;        /* bounds of the number's length, inclusive */
    int32_t max_length;
    int32_t accounts[RULE_ACCOUNTS];
} RuleZone;

/* Clears the tables; the area code applies to numbers of 1 to 15
 * characters on account 2 alone. */
PHONECORE_API void vorn_rule_init(void) PHONECORE_NOEXCEPT;
PHONECORE_API int vorn_rule_all_load(void) PHONECORE_NOEXCEPT;
PHONECORE_API int vorn_rule_all_load_obsoleted(void) PHONECORE_NOEXCEPT;

/* Write one table into "default/rule.cfg"; the result of the write. */
PHONECORE_API int vorn_rule_replace_store(void) PHONECORE_NOEXCEPT;
PHONECORE_API int vorn_rule_dial_store(void) PHONECORE_NOEXCEPT;
PHONECORE_API int vorn_rule_limit_store(void) PHONECORE_NOEXCEPT;
PHONECORE_API int vorn_rule_zone_store(void) PHONECORE_NOEXCEPT;

/* op 0 add, 1 delete, 2 modify (rows found by id); the table is stored
 * afterwards. A null record does nothing. */
PHONECORE_API int vorn_rule_replace_update(int op, const RuleReplace *record) PHONECORE_NOEXCEPT;
PHONECORE_API int vorn_rule_dial_update(int op, const RuleDial *record) PHONECORE_NOEXCEPT;
PHONECORE_API int vorn_rule_limit_update(int op, const RuleLimit *record) PHONECORE_NOEXCEPT;
PHONECORE_API int vorn_rule_zone_update(const RuleZone *record) PHONECORE_NOEXCEPT;

/* out: 64 bytes. 1 when a replace rule, or else the area code, rewrote the
 * number into out; 0 and out untouched otherwise. */
PHONECORE_API int vorn_rule_replace_match(const char *number, char *out, int account) PHONECORE_NOEXCEPT;
PHONECORE_API int vorn_rule_zone_match(const char *number, char *out, int account) PHONECORE_NOEXCEPT;
/* 1 when a dial-now rule (limit rule) of the account takes the number. */
PHONECORE_API int vorn_rule_dial_match(const char *number, int account) PHONECORE_NOEXCEPT;
PHONECORE_API int vorn_rule_limit_match(const char *number, int account) PHONECORE_NOEXCEPT;

/* "1", "1,2,4"; no text or blanks alone: all four. Answers the number of
 * accounts set. */
PHONECORE_API int parse_account(const char *text, int32_t *flags) PHONECORE_NOEXCEPT;
/* The mask as text, e.g. "1,3," or "1,2,3,4"; out holds 8 bytes or more. */
PHONECORE_API void format_account(char *out, const int32_t *flags) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
