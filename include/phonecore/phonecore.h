/* phonecore: every family of the interface in one include. */
#ifndef PHONECORE_PHONECORE_H
#define PHONECORE_PHONECORE_H

#include "phonecore/export.h"
#include "phonecore/fifo.h"
#include "phonecore/udp.h"
#include "phonecore/bus_client.h"
#include "phonecore/json_msg.h"
#include "phonecore/config.h"
#include "phonecore/dm.h"
#include "phonecore/hal.h"
#include "phonecore/flash.h"
#include "phonecore/gpio.h"
#include "phonecore/led.h"
#include "phonecore/backlight.h"
#include "phonecore/uart.h"
#include "phonecore/watchdog.h"
#include "phonecore/dialplan.h"
#include "phonecore/dial_rule.h"
#include "phonecore/hotkey.h"
#include "phonecore/md5.h"
#include "phonecore/zklog.h"
#include "phonecore/text.h"
#include "phonecore/profile.h"
#include "phonecore/fileutil.h"
#include "phonecore/timezone.h"
#include "phonecore/syscmd.h"
#include "phonecore/voip.h"
#include "phonecore/account.h"
#include "phonecore/dsskey.h"
#include "phonecore/prompt.h"

#endif
