/* phonecore: the text toolbox. Fixed-slot splitters, hexadecimal
 * conversion, GBK and UTF-8 checks, conversion between the two through
 * iconv, and the pinyin initials by which a name typed on the number keypad
 * is found in a phone book. */
#ifndef PHONECORE_TEXT_H
#define PHONECORE_TEXT_H

#include <stdint.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

#define STRING_SLOT_TEXT_SIZE 512 /* a token keeps 511 bytes */
#define SPLIT_STRING_MAX 8        /* split_string and split_string_with_ESC */
#define STRING_TO_ARRAY_MAX 256   /* string_to_array */
#define PINYIN_BUFFER_SIZE 64     /* getpystring: names below 64 bytes */

/* One token of a StringArray. */
typedef struct StringSlot {
    char text[STRING_SLOT_TEXT_SIZE];
    int32_t length;
} StringSlot;

/* A count and as many slots as the splitter in use can fill: callers give
 * room for its maximum, STRING_ARRAY_BYTES(n) bytes. Empty tokens are not
 * stored unless a splitter says so. */
typedef struct StringArray {
    int32_t count;
    StringSlot slot[];
} StringArray;

#define STRING_ARRAY_BYTES(n) (sizeof(StringArray) + (size_t)(n) * sizeof(StringSlot))

/* Hexadecimal. Letters are taken up to 'z': 'g' is 16, without complaint. */
PHONECORE_API int hexCharToValue(char c) PHONECORE_NOEXCEPT;
/* 0 to 15 to an upper-case digit; anything else gives 0. */
PHONECORE_API char valueToHexCh(int value) PHONECORE_NOEXCEPT;
/* Pairs of digits to bytes; out needs strlen(hex) / 2 + 1 bytes and is
 * terminated. -1 null, -2 odd length, -3 bad digit (out ends there), 0. */
PHONECORE_API int hexToStr(const char *hex, char *out) PHONECORE_NOEXCEPT;
/* length bytes to upper-case digits; out needs 2 * length + 1 bytes.
 * -1 null, -2 empty, 0. */
PHONECORE_API int strToHex(const void *data, int length, char *out) PHONECORE_NOEXCEPT;
/* Up to 8 digits into *value. -1 null, -2 empty or longer, -3 bad digit. */
PHONECORE_API int hexstrToint(const char *hex, uint32_t *value) PHONECORE_NOEXCEPT;

/* Splitters; each answers the number of tokens stored. */
/* Separators tab, line feed, blank and ","; "=" is a token of its own. At
 * most STRING_TO_ARRAY_MAX tokens from length bytes. */
PHONECORE_API int string_to_array(const char *text, int length, StringArray *out) PHONECORE_NOEXCEPT;
/* At most SPLIT_STRING_MAX tokens; a token's excess over 511 bytes is
 * dropped, and so is the text past the last token. */
PHONECORE_API int split_string(const char *text, char separator, StringArray *out) PHONECORE_NOEXCEPT;
/* The same; with escape non-zero a backslash takes the next character
 * literally when it is one of escape_set (null: "=;:\\"). */
PHONECORE_API int split_string_with_ESC(const char *text, char separator, StringArray *out, int escape,
                                        const char *escape_set) PHONECORE_NOEXCEPT;
/* At most max tokens; the last one keeps the separators after it. */
PHONECORE_API int split_string_with_outarraylen(const char *text, char separator, StringArray *out,
                                                int max) PHONECORE_NOEXCEPT;
/* An outer separator splits only when the stretch behind it, up to the
 * next outer separator or the end, holds the inner one: "a=1,b=2,c" with ","
 * and "=" gives "a=1" and "b=2,c". At most max tokens. */
PHONECORE_API int split_string_with_2layer_splitchar(const char *text, char outer, char inner, StringArray *out,
                                                     int max) PHONECORE_NOEXCEPT;
/* Token n's text, and its length in *length; null when there is none. */
PHONECORE_API const char *get_parm(const StringArray *array, int n, int *length) PHONECORE_NOEXCEPT;
/* Length of the first token; 0 when there is none. */
PHONECORE_API int get_command(const StringArray *array) PHONECORE_NOEXCEPT;

/* Copies text without any c into out (room for strlen(text) + 1); the
 * length copied. */
PHONECORE_API int string_delete(const char *text, char *out, char c) PHONECORE_NOEXCEPT;
/* 0 when the first n bytes are the same, else 1. */
PHONECORE_API int string_comp(const char *a, const char *b, int n) PHONECORE_NOEXCEPT;
PHONECORE_API int DeleteBufNotUse(char *buffer, int length) PHONECORE_NOEXCEPT;
/* ASCII letters only, in place; the text. */
PHONECORE_API char *to_upper(char *text) PHONECORE_NOEXCEPT;
PHONECORE_API char *to_lowwer(char *text) PHONECORE_NOEXCEPT;
/* Plain substring search; an empty haystack gives null, whatever the
 * needle. */
PHONECORE_API char *my_strstr(const char *haystack, const char *needle) PHONECORE_NOEXCEPT;

/* Replacing every "from" by "to". Each answers the number of replacements
 * (-1 for null arguments) and cuts its output at the room it has, always
 * terminated; an empty "from" replaces nothing. */
/* Room of the out buffer of str_replace_me. */
#define STR_REPLACE_ME_OUT_SIZE 1024
/* Into out (STR_REPLACE_ME_OUT_SIZE bytes); prints each replacement. */
PHONECORE_API int str_replace_me(const char *text, const char *from, const char *to, char *out) PHONECORE_NOEXCEPT;
/* In place: text has room for scratch_size bytes. */
PHONECORE_API int strReplace(char *text, const char *from, const char *to, int scratch_size) PHONECORE_NOEXCEPT;
/* -1 for null arguments or when the occurrence table can't be had; at most
 * REPLACE_MAX_OCCURRENCES are replaced, later ones stay as they are. */
#define REPLACE_MAX_OCCURRENCES 0x100000
PHONECORE_API int replace(const char *text, const char *from, const char *to, char *out,
                          int out_size) PHONECORE_NOEXCEPT;

/* 0 for four plain numbers of 0 to 255 joined by dots, -1 otherwise:
 * leading zeros, signs and blanks fail. */
PHONECORE_API int checkValidIP(const char *ip) PHONECORE_NOEXCEPT;

/* 1 when a byte that is no letter or digit lies in 0x81 to 0xFE. */
PHONECORE_API int has_Chinese_GBK(const char *text) PHONECORE_NOEXCEPT;
/* 1 when every character is ASCII or a GBK pair (lead 0x81-0xFE, trail
 * 0x40-0xFE but not 0xF7); a lead byte at the end fails. */
PHONECORE_API int isGBK(const unsigned char *bytes, int length) PHONECORE_NOEXCEPT;
/* 1 when every high byte begins a sequence of three to eight bytes whose
 * followers are 10xxxxxx. Two-byte sequences fail. */
PHONECORE_API int isUtf8(const unsigned char *bytes, int length) PHONECORE_NOEXCEPT;
/* 1 when all sequences (two to six bytes) are complete and at least one
 * non-ASCII byte occurred: pure ASCII gives 0. */
PHONECORE_API int utf8_check(const unsigned char *bytes, int length) PHONECORE_NOEXCEPT;
/* 1 for a file of complete UTF-8 sequences, ASCII included; 0 for a missing
 * or empty file or a broken sequence. */
PHONECORE_API int isFileUTF8(const char *path) PHONECORE_NOEXCEPT;

/* Conversion through iconv. out is cleared and stays terminated: at most
 * out_size - 1 bytes are written. 0; -2 no converter; -3 conversion failed
 * (bad input or no room). */
PHONECORE_API int zlt_UTF8toGBK(const char *in, int in_size, char *out, int out_size) PHONECORE_NOEXCEPT;
PHONECORE_API int zlt_GBKtoUTF8(const char *in, int in_size, char *out, int out_size) PHONECORE_NOEXCEPT;
/* Whole UTF-8 characters while the total stays within max; out has room for
 * max + 1 and is terminated. The bytes copied. */
PHONECORE_API int Utf8MaxCopy(char *out, const char *in, int max) PHONECORE_NOEXCEPT;
/* Into a 64-byte out: the first 63 bytes, then a high byte with fewer than
 * three bytes behind it ends the text. out, or null for null arguments. */
PHONECORE_API char *vorn_strcpy(char *out, const char *in) PHONECORE_NOEXCEPT;

/* Lower-case pinyin initials of a UTF-8 name of fewer than 64 bytes (longer
 * names are cut there). Letters and digits stay, other Chinese characters
 * become blanks. The result is a process-wide buffer: neither function is
 * re-entrant. */
PHONECORE_API char *getpystring(const char *text) PHONECORE_NOEXCEPT;
/* 1 when the initials of name hold key (lower case) as a substring. */
PHONECORE_API int name_match(const char *name, const char *key) PHONECORE_NOEXCEPT;

/* Room of the out buffer of parseSubStr. */
#define PARSE_SUB_STR_MAX 512
/* The text between the first start mark and the following end mark into
 * out (PARSE_SUB_STR_MAX bytes; a longer text is cut there), not
 * terminated. The length, or -1 when a mark is missing. */
PHONECORE_API int parseSubStr(const char *text, const char *start, const char *end, char *out) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
