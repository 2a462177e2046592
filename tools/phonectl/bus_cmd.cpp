// phonectl bus: listen to the message bus, send on it, ask the SIP process.
#include <phonecore/bus_client.h>
#include <phonecore/json_msg.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <mutex>
#include <string>

#include "phonectl.h"

namespace phonectl {
namespace {

// "bus listen" state: the listener thread (raw packets) and the hook's
// monitor thread (JSON packets) both print, one whole line at a time.
std::mutex g_print_mutex;
FILE *g_listen_out = nullptr;
std::atomic<long> g_lines{0};
std::atomic<bool> g_stop{false};

void on_signal(int) { g_stop.store(true); }

// One packet as one JSON line: the header's fields and the payload, as
// JSON when it is JSON, else as text.
void print_packet(const void *packet, uint32_t length) {
  if (length < BUS_PACKET_HEADER_SIZE) return;
  BusPacket head;
  std::memcpy(&head, packet, BUS_PACKET_HEADER_SIZE);
  uint32_t payload_length = head.length;
  if (payload_length > length - BUS_PACKET_HEADER_SIZE) payload_length = length - BUS_PACKET_HEADER_SIZE;
  const char *payload = static_cast<const char *>(packet) + BUS_PACKET_HEADER_SIZE;
  std::string text(payload, strnlen(payload, payload_length));
  json_object *line = json_object_new_object();
  json_object_object_add(line, "source", json_object_new_int(head.source));
  json_object_object_add(line, "dest", json_object_new_int(head.dest));
  json_object_object_add(line, "kind", json_object_new_int(head.kind));
  json_object_object_add(line, "msgtype", json_object_new_int(head.msgtype));
  json_object_object_add(line, "seq", json_object_new_int(head.seq));
  json_object *message = text.empty() ? nullptr : json_tokener_parse(text.c_str());
  if (message != nullptr && json_object_is_type(message, json_type_object)) {
    json_object_object_add(line, "message", message);
  } else {
    json_object_put(message);
    json_object_object_add(line, "bytes", json_object_new_int(static_cast<int>(payload_length)));
    json_object_object_add(line, "text", json_object_new_string(text.c_str()));
  }
  {
    std::lock_guard lock(g_print_mutex);
    std::fprintf(g_listen_out, "%s\n", json_object_to_json_string_ext(line, JSON_C_TO_STRING_PLAIN));
    std::fflush(g_listen_out);
  }
  json_object_put(line);
  g_lines.fetch_add(1);
}

// Every packet of msgtype 0 (all JSON traffic: events, directed messages)
// reaches the msgtype-0 hook; the others (numbered messages, command
// broadcasts) only the raw callback.
int on_raw(uint16_t, uint16_t msgtype, void *packet, uint32_t length) {
  if (msgtype != 0) print_packet(packet, length);
  return 0;
}
int on_json(uint16_t, uint16_t, void *packet, uint32_t length) {
  print_packet(packet, length);
  return 0;
}

int listen(Context &ctx, Args args) {
  Options o{"--id", "--count", "--timeout"};
  std::vector<char *> rest;
  if (!take_options(args, o, rest)) return kUsage;
  long id = ctx.bus_id >= 0 ? ctx.bus_id : kDefaultListenId, count = 0, timeout = 0;
  if (o.given[0] && !parse_int(o.values[0].c_str(), 1, 65534, id)) return fail(kUsage, "--id needs a bus id");
  if (o.given[1] && !parse_int(o.values[1].c_str(), 1, 1000000000, count)) return fail(kUsage, "bad --count");
  if (o.given[2] && !parse_int(o.values[2].c_str(), 1, 1000000000, timeout)) return fail(kUsage, "bad --timeout");
  g_listen_out = ctx.out;
  struct sigaction sa {};
  sa.sa_handler = on_signal;
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGTERM, &sa, nullptr);
  MessageClient *client = request_pc_connect(static_cast<uint16_t>(id), 1, on_raw, "phonectl-listen");
  if (client == nullptr) return fail(kRefused, "no session with the message server for bus id " + std::to_string(id));
  MsgHook *hook = add_hook_bymsgtype(client, 0, 65536, 32);
  if (hook == nullptr || add_hook_monitor_thread(hook, on_json) != 0) {
    if (hook != nullptr) del_hook(client, hook);
    request_pc_disconnect(client);
    return fail(kRefused, "no hook for the bus's JSON messages");
  }
  // Ready: scripts wait for this line on standard error before they act.
  std::fprintf(err(), "phonectl: listening as bus id %ld\n", id);
  long waited_ms = 0;
  while (!g_stop.load() && (count == 0 || g_lines.load() < count) && (timeout == 0 || waited_ms < timeout)) {
    usleep(10000);
    waited_ms += 10;
  }
  const bool complete = count == 0 || g_lines.load() >= count;
  // The monitor ends first; del_hook then frees the slot's buffers.
  del_hook_monitor_thread(hook);
  del_hook(client, hook);
  request_pc_disconnect(client);
  return complete || g_stop.load() ? kOk
                                   : fail(kRefused, "time limit reached after " + std::to_string(g_lines.load()) +
                                                        " of " + std::to_string(count) + " messages");
}

// DATA: a JSON object; "" and "{}" give an empty object.
json_object *parse_object(const char *text) {
  if (*text == '\0') return json_object_new_object();
  json_object *o = json_tokener_parse(text);
  if (o != nullptr && !json_object_is_type(o, json_type_object)) {
    json_object_put(o);
    o = nullptr;
  }
  return o;
}

int send(Context &ctx, Args args) {
  long dest = 0, msgtype = -1;
  if (!parse_int(args[0], 1, 65535, dest)) return fail(kUsage, "DEST is a bus id, 1 to 65535");
  const bool numbered = parse_int(args[1], 0, 65535, msgtype);
  char buffer[BUS_MAX_PAYLOAD];
  int length = 0;
  uint16_t kind = 9;
  if (numbered) {
    // A numbered message: the text goes as it is, kind 1.
    length = static_cast<int>(std::strlen(args[2]));
    if (length >= BUS_MAX_PAYLOAD) return fail(kUsage, "the message is longer than a bus packet holds");
    std::memcpy(buffer, args[2], static_cast<size_t>(length) + 1);
    kind = 1;
  } else {
    json_object *data = parse_object(args[2]);
    if (data == nullptr) return fail(kUsage, "JSON must be a JSON object");
    const size_t need = std::strlen(json_object_to_json_string(data)) + std::strlen(args[1]) + 64;
    if (need >= sizeof buffer) {
      json_object_put(data);
      return fail(kUsage, "the message is longer than a bus packet holds");
    }
    if (make_simple_send_msg(args[1], data, buffer, &length) != 0) return fail(kRefused, "no message text");
    msgtype = 0;
  }
  MessageClient *client = ctx.bus();
  if (client == nullptr) return kRefused;
  const int seq =
      send_message2(client, static_cast<uint16_t>(dest), static_cast<uint16_t>(msgtype), kind, buffer, length);
  json_object *r = json_object_new_object();
  json_object_object_add(r, "seq", json_object_new_int(seq));
  json_object_object_add(r, "dest", json_object_new_int(static_cast<int>(dest)));
  json_object_object_add(r, "kind", json_object_new_int(kind));
  json_object_object_add(r, "bytes", json_object_new_int(length));
  print(ctx, r);
  return kOk;
}

int request(Context &ctx, Args args) {
  Options o{"--timeout"};
  std::vector<char *> words;
  if (!take_options(args, o, words)) return kUsage;
  long timeout = 1000;
  if (o.given[0] && !parse_int(o.values[0].c_str(), 1, 600000, timeout)) return fail(kUsage, "bad --timeout");
  if (words.size() != 2) return fail(kUsage, "usage: phonectl bus request NAME JSON [--timeout MS]");
  json_object *data = parse_object(words[1]);
  if (data == nullptr) return fail(kUsage, "JSON must be a JSON object");
  MessageClient *client = ctx.bus();
  if (client == nullptr) {
    json_object_put(data);
    return kRefused;
  }
  json_object *reply = send_sjson_to_sip_hook_wait(client, words[0], data, static_cast<int>(timeout));
  if (reply == nullptr)
    return fail(kRefused, std::string("no \"") + words[0] + "_response\" within " + std::to_string(timeout) + " ms");
  print(ctx, reply);
  return kOk;
}

constexpr Command kCommands[] = {
    {"bus", "listen", "bus listen [--id N] [--count N] [--timeout MS]",
     "print every message that reaches the session as one JSON line, until Ctrl-C, N messages or MS ms", 0, 0, listen},
    {"bus", "send", "bus send DEST MSGTYPE JSON",
     "send {\"msgtype\":MSGTYPE,\"data\":JSON} (kind 9) to bus id DEST; a numeric MSGTYPE sends JSON as it is "
     "(kind 1) with that message number",
     3, 3, send},
    {"bus", "request", "bus request NAME JSON [--timeout MS]",
     "send the request NAME with data JSON to the SIP process and print its NAME_response (default 1000 ms)", 2, 2,
     request},
};

}  // namespace

std::span<const Command> bus_commands() { return kCommands; }

}  // namespace phonectl
