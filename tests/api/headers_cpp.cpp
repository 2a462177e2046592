// Every public header, compiled as C++.
#include "phonecore/account.h"
#include "phonecore/action_uri.h"
#include "phonecore/action_url.h"
#include "phonecore/backlight.h"
#include "phonecore/bus_client.h"
#include "phonecore/calllists.h"
#include "phonecore/cloudbook.h"
#include "phonecore/config.h"
#include "phonecore/contacts.h"
#include "phonecore/dial_rule.h"
#include "phonecore/dialplan.h"
#include "phonecore/dm.h"
#include "phonecore/dsskey.h"
#include "phonecore/export.h"
#include "phonecore/fifo.h"
#include "phonecore/fileutil.h"
#include "phonecore/flash.h"
#include "phonecore/gpio.h"
#include "phonecore/hal.h"
#include "phonecore/hotkey.h"
#include "phonecore/http_client.h"
#include "phonecore/json_msg.h"
#include "phonecore/led.h"
#include "phonecore/md5.h"
#include "phonecore/net_config.h"
#include "phonecore/net_info.h"
#include "phonecore/net_transfer.h"
#include "phonecore/phonecfg.h"
#include "phonecore/phonecfg_export.h"
#include "phonecore/phonecore.h"
#include "phonecore/profile.h"
#include "phonecore/prompt.h"
#include "phonecore/provision.h"
#include "phonecore/syscmd.h"
#include "phonecore/text.h"
#include "phonecore/timezone.h"
#include "phonecore/uart.h"
#include "phonecore/udp.h"
#include "phonecore/usb_backup.h"
#include "phonecore/voip.h"
#include "phonecore/watchdog.h"
#include "phonecore/web_config.h"
#include "phonecore/zklog.h"

int headers_cpp_fifo_roundtrip() {
  NewFifo* fifo = nullptr;
  char out[8];
  int len = 0;
  if (NEWFIFO_INIT(&fifo, 64, 4) != 0) return -1;
  NEWFIFO_WRITE(fifo, "c++", 3, 0);
  int r = NEWFIFO_READ(fifo, out, &len);
  NEWFIFO_RELEASE(&fifo);
  return r;
}
