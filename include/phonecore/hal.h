/* phonecore: volume levels and audio configuration.
 *
 * Levels run from 0 to 15 (floats: level / 15.0) and persist in "hal.cfg",
 * or, in hotel mode, in the volatile gl_data table of the configuration
 * service. Channels: 1 speaker, 2 headset, 3 handset (any other number
 * behaves as speaker). Audio modes: 1 tone, 2 ring, 3 call. */
#ifndef PHONECORE_HAL_H
#define PHONECORE_HAL_H

#include <stdint.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

struct json_object;

PHONECORE_API int hal_volume_config_get(int channel, int *level) PHONECORE_NOEXCEPT;
/* 0; -1 when level is above 15. */
PHONECORE_API int hal_volume_config_set(int channel, int level) PHONECORE_NOEXCEPT;
PHONECORE_API int hal_current_volume_get(int *level) PHONECORE_NOEXCEPT;
PHONECORE_API int hal_current_volume_set(int level) PHONECORE_NOEXCEPT;
PHONECORE_API int hal_current_volume_get_f(float *value) PHONECORE_NOEXCEPT;
PHONECORE_API int hal_current_volume_set_f(float value) PHONECORE_NOEXCEPT;
PHONECORE_API int hal_volume_config_get_ringtones_int(int *level) PHONECORE_NOEXCEPT;
PHONECORE_API int hal_volume_config_get_ringtones(float *value) PHONECORE_NOEXCEPT;
/* 0; -1 above 15 or when ring volume may not be set. */
PHONECORE_API int hal_volume_config_set_ringtones(int level) PHONECORE_NOEXCEPT;
PHONECORE_API int hal_volume_config_get_mic(int channel, int *level) PHONECORE_NOEXCEPT;
PHONECORE_API int hal_volume_config_set_mic(int channel, int level) PHONECORE_NOEXCEPT;
PHONECORE_API int hal_current_volume_get_mic_f(float *value) PHONECORE_NOEXCEPT;
PHONECORE_API int hal_current_volume_set_mic_f(float value) PHONECORE_NOEXCEPT;
PHONECORE_API int switch_audio_channel(int channel) PHONECORE_NOEXCEPT;
PHONECORE_API int get_audio_channel(void) PHONECORE_NOEXCEPT;
PHONECORE_API int set_audio_mode(int mode) PHONECORE_NOEXCEPT;
PHONECORE_API int get_audio_mode(void) PHONECORE_NOEXCEPT;
PHONECORE_API int set_speaking_flag(int value) PHONECORE_NOEXCEPT;
PHONECORE_API int set_hal_from_flag(int value) PHONECORE_NOEXCEPT;
PHONECORE_API int hal_get_default_audio(void) PHONECORE_NOEXCEPT;
PHONECORE_API int hotel_mode_set(int value) PHONECORE_NOEXCEPT;
PHONECORE_API int hotel_mode_get(void) PHONECORE_NOEXCEPT;
PHONECORE_API int get_allowringvolumeset(void) PHONECORE_NOEXCEPT;
/* Writes the default "hal.cfg" and returns it (the caller's to release). */
PHONECORE_API struct json_object *new_hal_config_file(void) PHONECORE_NOEXCEPT;

/* The volatile table of the configuration service. */
PHONECORE_API int gl_data_write(int key, int value) PHONECORE_NOEXCEPT;
/* 0; a failed read leaves *value 0. */
PHONECORE_API int gl_data_read(int key, int *value) PHONECORE_NOEXCEPT;
PHONECORE_API int gl_data_reset_vol(void) PHONECORE_NOEXCEPT;

PHONECORE_API extern int has_one_speaking_flag;
PHONECORE_API extern int hal_from_flag;

PHONECORE_END_DECLS

#endif
