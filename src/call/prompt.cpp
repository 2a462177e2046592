// Spoken prompts through the SIP process, the sound file of a character,
// and the voice-mail numbers and counts of the accounts.
#include "phonecore/prompt.h"

#include <json-c/json.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/json.h"
#include "call/call_internal.h"
#include "phonecore/account.h"
#include "phonecore/config.h"
#include "phonecore/json_msg.h"

namespace json = phonecore::json;

namespace phonecore::call {
namespace {

constexpr const char* kAudioRoot = "/customer/audio";
constexpr size_t kPathSize = 256;
constexpr const char* kVoipList = "default/voiplist.cfg";
constexpr const char* kVoiceMessages = "default/voice_message.cfg";
constexpr size_t kPageText = 256;
constexpr size_t kPagesText = 512;

const char* yes_no(int flag) { return flag != 0 ? "yes" : "no"; }

// Prints and sends a prompt command; takes over data.
int send_prompt(MessageClient* c, const char* name, json_object* data) {
  printf("voip_play_wav=%s\n\r", json_object_get_string(data));
  return send_sjson_to_sip(c, name, data);
}

}  // namespace
}  // namespace phonecore::call

using namespace phonecore::call;

extern "C" {

int voip_play_wav(MessageClient* c, const char* file, int enable, int wait, int loop, int delay_ms) noexcept {
  if (file == nullptr) return -1;
  return send_prompt(c, "play_wav",
                     json::Builder()
                         .text("file", file)
                         .text("enable", yes_no(enable))
                         .text("wait", yes_no(wait))
                         .integer("loop", loop)
                         .integer("delay_ms", delay_ms)
                         .release());
}

int voip_play_wav_string(MessageClient* c, const char* lang, const char* text, int enable, int wait, int loop,
                         int delay_ms) noexcept {
  if (text == nullptr) return -1;
  return send_prompt(c, "play_wav_string",
                     json::Builder()
                         .text("string", text)
                         .text("lang", lang)
                         .text("enable", yes_no(enable))
                         .text("wait", yes_no(wait))
                         .integer("loop", loop)
                         .integer("delay_ms", delay_ms)
                         .release());
}

int voip_play_wav_file_string(MessageClient* c, const char* lang, const char* file, const char* text,
                              int enable) noexcept {
  if (file == nullptr || text == nullptr) return -1;
  return send_prompt(c, "play_wav_file_string",
                     json::Builder()
                         .text("file", file)
                         .text("string", text)
                         .text("lang", lang)
                         .text("enable", yes_no(enable))
                         .release());
}

int get_audio_file_from_char_extend(char character, const char* lang, char* destination) noexcept {
  if (destination == nullptr) return -1;
  if (lang == nullptr) lang = "";
  const auto u = static_cast<unsigned char>(character);
  if (std::isalpha(u) && u < 0x80) {
    snprintf(destination, kPathSize, "%s/%s/sounds/letters/%c.wav", kAudioRoot, lang, std::tolower(u));
    return 0;
  }
  if (std::isdigit(u)) {
    snprintf(destination, kPathSize, "%s/%s/sounds/digits/%c.wav", kAudioRoot, lang, character);
    return 0;
  }
  const char* sound = character == '.'   ? "letters/dot.wav"
                      : character == ' ' ? "letters/space.wav"
                      : character == '/' ? "letters/slash.wav"
                                         : nullptr;
  if (sound == nullptr) return -1;
  snprintf(destination, kPathSize, "%s/%s/sounds/%s", kAudioRoot, lang, sound);
  return 0;
}

int api_getVoiceMessage(char* user1, int* unread1, int* read1, char* user2, int* unread2, int* read2, char* user3,
                        int* unread3, int* read3, char* user4, int* unread4, int* read4) noexcept {
  json_object* list = read_gnl_config_json(kVoipList);
  if (list == nullptr) printf("voiplist.cfg open error!\n");
  json_object* messages = read_gnl_config_json(kVoiceMessages);
  if (messages == nullptr) printf("voice_message open error!\n");
  if (list == nullptr || messages == nullptr) {
    json_object_put(list);
    json_object_put(messages);
    return 0;
  }
  struct Group {
    char* user;
    int* unread;
    int* read;
  } groups[] = {{user1, unread1, read1}, {user2, unread2, read2}, {user3, unread3, read3}, {user4, unread4, read4}};
  json_object* accounts = json_object_object_get(list, "AccountRegister");
  for (size_t i = 0; i < 4; ++i) {
    json_object* a = json::element(accounts, i);
    const char* name = json::text(a, "AccountUserName");
    const char* status = json::text(a, "RegisterStatus");
    if (name == nullptr || status == nullptr || std::strcmp(status, "registered") != 0) continue;
    Group& g = groups[i];
    json::copy_text(g.user, kTextField, name);
    int unread = 0, read = 0;
    json_object* box = nullptr;
    if (json_object_object_get_ex(messages, name, &box)) {
      unread = json::integer(box, "miss_unread");
      read = json::integer(box, "miss_read");
      // Both traces give the unread count first, whatever their words say.
      printf("voice_acc%zu != NULL read = %d, unread = %d\n", i + 1, unread, read);
    } else {
      printf("else read = %d, unread = %d\n", unread, read);
    }
    if (g.unread != nullptr) *g.unread = unread;
    if (g.read != nullptr) *g.read = read;
  }
  json_object_put(list);
  json_object_put(messages);
  return 0;
}

int api_setVoiceMailCode(int mode, char* number1, char* number2, char* number3, char* number4) noexcept {
  json_object* list = read_gnl_config_json(kVoipList);
  if (list == nullptr) {
    printf("voiplist.cfg open error!\n");
    return 0;
  }
  char* numbers[] = {number1, number2, number3, number4};
  json_object* advance = json_object_object_get(list, "SipAdvance");
  if (mode == 0) {
    for (size_t i = 0; i < 4; ++i) {
      const char* n = json::text(json::element(advance, i), "AccountVoiceMailNumber");
      if (n != nullptr && numbers[i] != nullptr) json::copy_text(numbers[i], kTextField, n);
    }
  } else if (mode == 1) {
    for (size_t i = 0; i < 4; ++i) {
      json_object* element = json::element(advance, i);
      if (element != nullptr && numbers[i] != nullptr)
        json_object_object_add(element, "AccountVoiceMailNumber", json_object_new_string(numbers[i]));
    }
    write_gnl_config_json(kVoipList, list);
  }
  json_object_put(list);
  return 0;
}

int voip_message_voicemail_setcode(MessageClient*, const int* accounts, const char* const* numbers,
                                   int count) noexcept {
  if (count < 1 || accounts == nullptr || numbers == nullptr) return 0;
  char pages[kPagesText] = {};
  for (int i = 0; i < count; ++i) {
    char page[kPageText];
    snprintf(page, sizeof page, "{\"page\":\"setSipAdvance\",\"Account\":\"%d\",\"AccountVoiceMailNumber\":\"%s\"}",
             accounts[i] - 1, numbers[i] != nullptr ? numbers[i] : "");
    strncat(pages, page, sizeof pages - 1 - std::strlen(pages));
  }
  // json-c stops after the first object: the first account's page.
  json_object* first = json_tokener_parse(pages);

  json_object* list = read_gnl_config_json(kVoipList);
  if (list == nullptr) list = json_object_new_object();
  json_object* advance = json_object_object_get(list, "SipAdvance");
  bool first_taken = false;
  if (json_object_is_type(advance, json_type_array)) {
    for (size_t e = 0; e < json::length(advance); ++e) {
      json_object* element = json::element(advance, e);
      const int account = json::text_integer(element, "Account");
      for (int i = 0; i < count; ++i)
        if (accounts[i] - 1 == account)
          json_object_object_add(element, "AccountVoiceMailNumber",
                                 json_object_new_string(numbers[i] != nullptr ? numbers[i] : ""));
    }
  } else {
    advance = json_object_new_array();
    if (first != nullptr) {
      json_object_array_add(advance, first);
      first_taken = true;
    }
    json_object_object_add(list, "SipAdvance", advance);
  }
  write_gnl_config_json(kVoipList, list);
  json_object_put(list);
  if (!first_taken) json_object_put(first);
  reload_account_all();
  return 1;
}

}  // extern "C"
