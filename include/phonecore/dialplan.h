/* phonecore: the dial-plan pattern engine.
 *
 * The phone's own small pattern language for dialled numbers; it is not a
 * regular-expression language. A pattern is a run of segments separated by
 * '.', which stands for any run of characters, also an empty one. Inside a
 * segment:
 *   x          one character of any value ('X' is a literal)
 *   [a,b-c]    one character out of a comma-separated set of characters
 *              and ranges
 *   ( )        group marks, no width; groups may nest and span a '.'
 *   other      that literal character
 * A pattern not beginning with '.' is anchored at the start of the number;
 * one not ending with '.' at its end. Each segment takes its leftmost fit
 * once and for all: there is no backtracking.
 *
 * The engine keeps no state between calls; separate checks may run on any
 * threads at the same time. */
#ifndef PHONECORE_DIALPLAN_H
#define PHONECORE_DIALPLAN_H

#include <stdint.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

#define DIALPLAN_SEGMENT_COUNT 30
#define DIALPLAN_SEGMENT_SIZE 31 /* 30 characters and the terminator */
#define DIALPLAN_OPEN_DEPTH 30
#define DIALPLAN_PARAM_COUNT 72
#define DIALPLAN_READABLE_PARAMS 9 /* $1 to $9 */
#define DIALPLAN_REPLACE_SIZE 64   /* characters of a template that count */

/* A compiled pattern: one heap block from dialplan_regexp_format, owned by
 * the caller, released with dialplan_regexp_free. Read-only during a
 * check; one record may serve many checks. */
typedef struct regexp {
    int32_t anchor_head;   /* 1 when the pattern doesn't begin with '.' */
    int32_t anchor_tail;   /* 1 when the pattern doesn't end with '.' */
    int32_t segment_count; /* 1 to 30 */
    char segments[DIALPLAN_SEGMENT_COUNT][DIALPLAN_SEGMENT_SIZE];
} regexp;

/* A closed group: both ends inclusive, pointers into the number. Both
 * null: a free pair. */
typedef struct dstring_param {
    const char *start;
    const char *end;
} dstring_param;

/* The number under test and all match state of one check: one heap block
 * from dialplan_string_init, owned by the caller, released with
 * dialplan_string_free. The number is borrowed, not copied: it must
 * outlive the record and stay unchanged during the check. */
typedef struct dstring {
    int32_t seg_index; /* the segment to match next */
    int32_t offset;    /* where the next segment's search starts */
    int32_t length;    /* length of text */
    const char *text;
    const char *open_stack[DIALPLAN_OPEN_DEPTH]; /* starts of open groups */
    int32_t open_depth;
    dstring_param params[DIALPLAN_PARAM_COUNT]; /* closed groups, by closing mark */
} dstring;

/* Compiles a pattern; null when it is invalid or memory is exhausted. */
PHONECORE_API regexp *dialplan_regexp_format(const char *pattern) PHONECORE_NOEXCEPT;
PHONECORE_API void dialplan_regexp_free(regexp *compiled) PHONECORE_NOEXCEPT;
/* Wraps a number for one check; null when memory is exhausted. */
PHONECORE_API dstring *dialplan_string_init(const char *text) PHONECORE_NOEXCEPT;
PHONECORE_API void dialplan_string_free(dstring *subject) PHONECORE_NOEXCEPT;
/* 1 on a match, else 0; the groups are then in subject->params. */
PHONECORE_API int dialplan_check(regexp *compiled, dstring *subject) PHONECORE_NOEXCEPT;
/* Copies group n (1 to 9) into out and answers 1; 0 and out untouched when
 * the group is out of range, absent or empty. */
PHONECORE_API int get_dialplan_string_param(dstring *subject, int n, char *out, int out_size) PHONECORE_NOEXCEPT;
/* 1 when number matches pattern; 0 otherwise, also for a bad pattern. */
PHONECORE_API int dialplan_check_block(const char *pattern, const char *number) PHONECORE_NOEXCEPT;
/* On a match rewrites out through the template ($1 to $9) and answers 1;
 * else 0 with out untouched. */
PHONECORE_API int dialplan_check_replace(const char *pattern, const char *replace, const char *number, char *out,
                                         int out_size) PHONECORE_NOEXCEPT;
/* The engine's self-checks; they print their verdict and answer 0. */
PHONECORE_API int dialplan_test_regex_0818_done(void) PHONECORE_NOEXCEPT;
PHONECORE_API int dialplan_test_regex_0818(void) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
