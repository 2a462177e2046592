// The process's ClientOps: the table clientfun_list that maps the
// "msgtype" of an event to its adapter, the twelve adapters that read the
// event's fields and call the ClientOps slot, and the dispatch of one
// queued event on the event thread.

#include <json-c/json.h>

#include <cstdio>
#include <cstring>
#include <iterator>

#include "base/atomic_field.h"
#include "base/json.h"
#include "bus/bus_wire.h"
#include "bus/fifo_internal.h"
#include "bus/hooks.h"
#include "phonecore/bus_client.h"

using phonecore::base::load;
using phonecore::base::store;

namespace json = phonecore::json;

namespace {

ClientOps* ops() { return load(pClientOps); }

// The handlers of clientfun_list. Fields come from "data"; integers are 0
// and texts NULL when absent.
int on_connecting_event(json_object* root) {
  printf("message_client voip_connecting  jroot =%s\n", json_object_get_string(root));
  ClientOps* o = ops();
  if (o == nullptr || o->on_connecting == nullptr) return 0;
  o->on_connecting(json::integer(root, "data", "acc"), json::text(root, "data", "from"), json::text(root, "data", "to"),
                   json::integer(root, "data", "id"), json::integer(root, "data", "inF"),
                   json::integer(root, "data", "tFlag"), json::text(root, "data", "div"),
                   json::text(root, "data", "dis"), json::integer(root, "data", "backup_callid"),
                   json::text(root, "data", "call_id_gl"));
  return 0;
}

int on_connect_event(json_object* root) {
  printf("message_client voip_connect  jroot =%s\n", json_object_get_string(root));
  ClientOps* o = ops();
  if (o == nullptr) return 0;
  const int acc = json::integer(root, "data", "accNumber");
  const int call_id = json::integer(root, "data", "call_id");
  const int flags = json::integer(root, "data", "flags");
  const int handfree_tag = json::integer(root, "data", "handfree_tag");
  const char* called = json::text(root, "data", "calledID");
  const char* caller = json::text(root, "data", "callID");
  const char* dis = json::text(root, "data", "dis");
  if (o->on_connect != nullptr) o->on_connect(acc, call_id, flags, flags == 1 ? caller : called, called, dis);
  // Only after on_connect, and unchecked: a process that gets hand-free
  // connects must have the slot.
  if (handfree_tag == 1) o->on_handfree(handfree_tag);
  return 0;
}

int on_invite_response_event(json_object* root) {
  ClientOps* o = ops();
  if (o != nullptr && o->on_invite_response != nullptr)
    o->on_invite_response(json::integer(root, "data", "accNumber"), json::integer(root, "data", "flags"));
  return 0;
}

int on_disconnect_event(json_object* root) {
  printf("message_client voip_disconnect  jroot =%s\n", json_object_get_string(root));
  ClientOps* o = ops();
  if (o != nullptr && o->on_disconnect != nullptr)
    o->on_disconnect(json::integer(root, "data", "accNumber"), json::integer(root, "data", "call_id"),
                     json::integer(root, "data", "flags"));
  return 0;
}

int on_upgrade_status_event(json_object* root) {
  ClientOps* o = ops();
  if (o != nullptr && o->on_upgrade_status != nullptr)
    o->on_upgrade_status(json::integer(root, "data", "updateid"), json::integer(root, "data", "process"));
  return 0;
}

int on_response_event(json_object* root) {
  // The name of the answered request is read and dropped.
  (void)json::text(root, "msgname");
  return 0;
}

int on_reg_changed_event(json_object* root) {
  ClientOps* o = ops();
  if (o != nullptr && o->on_reg_changed != nullptr)
    o->on_reg_changed(json::integer(root, "data", "acc_id"), json::integer(root, "data", "bOnline"));
  return 0;
}

int on_mwi_message_event(json_object* root) {
  ClientOps* o = ops();
  if (o != nullptr && o->on_mwi_message != nullptr)
    o->on_mwi_message(json::integer(root, "data", "accId"), json::integer(root, "data", "waiting"),
                      json::integer(root, "data", "miss_unread"), json::integer(root, "data", "miss_read"),
                      json::integer(root, "data", "urgent_miss_unread"),
                      json::integer(root, "data", "urgent_miss_read"));
  return 0;
}

int on_account_info_invalidated_event(json_object* root) {
  ClientOps* o = ops();
  if (o != nullptr && o->on_account_info_invalidated != nullptr) o->on_account_info_invalidated(root);
  return 0;
}

int on_transfer_complete_event(json_object* root) {
  ClientOps* o = ops();
  if (o != nullptr && o->on_transfer_complete != nullptr)
    o->on_transfer_complete(json::integer(root, "data", "callId"));
  return 0;
}

int on_incoming_call_event(json_object* root) {
  const char* caller = json::text(root, "data", "callID");
  const char* called = json::text(root, "data", "calledID");
  const int acc = json::integer(root, "data", "accNumber");
  const int flags = json::integer(root, "data", "flags");
  (void)json::integer(root, "data", "dirInFlag");
  printf("voip_incoming %s-->%s  accIndex:%d flags:%d\n", caller != nullptr ? caller : "(null)",
         called != nullptr ? called : "(null)", acc, flags);
  ClientOps* o = ops();
  if (o != nullptr && o->on_incoming_call != nullptr) o->on_incoming_call(acc, caller, called, flags);
  return 0;
}

int on_tip_info_get_response_event(json_object* root) {
  ClientOps* o = ops();
  if (o != nullptr && o->on_tip_info_get_response != nullptr) o->on_tip_info_get_response(root);
  return 0;
}

}  // namespace

extern "C" {

ClientOps* pClientOps = nullptr;

ClientFunRow clientfun_list[] = {
    {"connecting", on_connecting_event},
    {"connect", on_connect_event},
    {"invite_response", on_invite_response_event},
    {"disconnect", on_disconnect_event},
    {"upgrade_status", on_upgrade_status_event},
    {"response", on_response_event},
    {"reg_changed", on_reg_changed_event},
    {"mwi_message", on_mwi_message_event},
    {"account_info_invalidated", on_account_info_invalidated_event},
    {"transfer_complete", on_transfer_complete_event},
    {"incoming_call", on_incoming_call_event},
    {"tip_info_get_response", on_tip_info_get_response_event},
    {nullptr, nullptr},
};
static_assert(std::size(clientfun_list) == 13, "twelve events and the end row");

int add_callback_fun(ClientOps* table) noexcept {
  store(pClientOps, table);
  return 0;
}

}  // extern "C"

namespace phonecore::bus {

bool dispatch_event(MessageClient* c) {
  int length = 0;
  if (fifo_read_bounded(c->event_fifo, c->event_packet, sizeof c->event_packet - 1, &length, nullptr) <= 0)
    return false;
  if (length <= static_cast<int>(kPacketHeaderSize)) return true;
  c->event_packet[length] = 0;
  json_object* root = json_tokener_parse(reinterpret_cast<char*>(c->event_packet) + kPacketHeaderSize);
  json_object* name = nullptr;
  if (root != nullptr && json_object_object_get_ex(root, "msgtype", &name)) {
    const char* text = json_object_get_string(name);
    for (const ClientFunRow* row = clientfun_list; row->msgtype != nullptr; ++row) {
      if (std::strcmp(row->msgtype, text) == 0 && row->handler != nullptr) {
        row->handler(root);
        break;
      }
    }
  }
  json_object_put(root);
  return true;
}

}  // namespace phonecore::bus
