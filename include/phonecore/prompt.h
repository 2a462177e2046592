/* phonecore: spoken prompts and voice messages.
 *
 * Prompts are played by the SIP process, which owns the audio path; these
 * calls send it the file or the text to say. Sound files lie below
 * "/customer/audio/<language>/sounds". Voice-message counts are kept by
 * another process in "default/voice_message.cfg", by SIP user name. */
#ifndef PHONECORE_PROMPT_H
#define PHONECORE_PROMPT_H

#include "phonecore/bus_client.h"
#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

/* enable and wait travel as "yes" (non-zero) or "no". The packet's seq, or
 * -1 for a NULL file or text (nothing is sent). */
PHONECORE_API int voip_play_wav(MessageClient *client, const char *file, int enable, int wait, int loop,
                                int delay_ms) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_play_wav_string(MessageClient *client, const char *lang, const char *text, int enable, int wait,
                                       int loop, int delay_ms) PHONECORE_NOEXCEPT;
PHONECORE_API int voip_play_wav_file_string(MessageClient *client, const char *lang, const char *file, const char *text,
                                            int enable) PHONECORE_NOEXCEPT;

/* The sound file of a letter, digit, ".", " " or "/" in language lang into
 * destination (256 bytes). 0; -1 for a character without a sound, with
 * destination untouched. */
PHONECORE_API int get_audio_file_from_char_extend(char character, const char *lang,
                                                  char *destination) PHONECORE_NOEXCEPT;

/* For each of accounts 1 to 4 that is registered: its user name (64-byte
 * buffer) and its unread and read voice messages. Groups of other accounts
 * keep what the caller put there. 0. */
PHONECORE_API int api_getVoiceMessage(char *user1, int *unread1, int *read1, char *user2, int *unread2, int *read2,
                                      char *user3, int *unread3, int *read3, char *user4, int *unread4,
                                      int *read4) PHONECORE_NOEXCEPT;
/* The voice-mail numbers of accounts 1 to 4 (64-byte buffers): mode 0
 * reads them, mode 1 stores them; any other mode does nothing. 0. */
PHONECORE_API int api_setVoiceMailCode(int mode, char *number1, char *number2, char *number3,
                                       char *number4) PHONECORE_NOEXCEPT;
/* Sets the voice-mail number of count accounts (numbered from 1) and
 * reloads the accounts. 1; 0 when count is below 1. */
PHONECORE_API int voip_message_voicemail_setcode(MessageClient *client, const int *accounts, const char *const *numbers,
                                                 int count) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
