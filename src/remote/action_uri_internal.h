// The inside of the Action URI server that tests and the fuzzer reach: the
// word tables, one connection's outcome, and the keeper of the sockets that
// are left open without an answer.
#pragma once

#include <cstddef>
#include <deque>
#include <string_view>

#include "phonecore/action_uri.h"

namespace phonecore::remote {

// The key table as the phone ships it; the exported table starts as a copy.
struct KeyRow {
  int id;
  std::string_view name;
  int code;
};
inline constexpr KeyRow kKeyRows[ACTION_URI_KEYBOARD_ROWS] = {
    {0, "OK", 35},        {1, "ENTER", 35},    {2, "VOLUME_UP", 37}, {3, "VOLUME_DOWN", 36}, {4, "0", 40},
    {5, "1", 41},         {6, "2", 42},        {7, "3", 43},         {8, "4", 44},           {9, "5", 45},
    {10, "6", 46},        {11, "7", 47},       {12, "8", 48},        {13, "9", 49},          {14, "*", 50},
    {15, "POUND", 51},    {16, "L1", 15},      {17, "L2", 16},       {18, "L3", 17},         {19, "L4", 18},
    {20, "F1", 11},       {21, "F2", 12},      {22, "F3", 13},       {23, "F4", 14},         {24, "UP", 33},
    {25, "DOWN", 34},     {26, "LEFT", 31},    {27, "RIGHT", 32},    {28, "OFFHOOK", 65},    {29, "ONHOOK", 64},
    {30, "TRANSFER", 23}, {31, "SPEAKER", 26}, {32, "MSG", 22},      {33, "HEADSET", 24},    {34, "RD", 25},
    {35, "MUTE", 21},     {36, "end", 255},
};
// Rows looked at for a key name: the end mark is never matched.
inline constexpr int kKeyNameRows = 36;

// The two answers, with their terminating zero where it is sent.
inline constexpr char kHelloAnswer[] =
    "HTTP/1.1 200 OK\r\nConnection: close\r\nAccept-Ranges: bytes\r\nContent-Type: text/html\r\n\r\n<h1>Hello!</h1>";
inline constexpr size_t kHelloAnswerBytes = sizeof kHelloAnswer;  // 101: the zero goes out too
static_assert(kHelloAnswerBytes == 101);
inline constexpr char kSettingsHead[] =
    "HTTP/1.1 200 OK\r\nConnection: close\r\nAccept-Ranges: bytes\r\nContent-Type: text/plain\r\n"
    "Content-disposition: attachment; filename=phonecfg.ini\r\n\r\n";
inline constexpr size_t kSettingsHeadBytes = sizeof kSettingsHead - 1;  // 142
static_assert(kSettingsHeadBytes == 142);

// A client that sends nothing is given up after this many seconds: it takes
// the "recv error" road and its socket is closed.
inline constexpr int kRecvTimeoutSeconds = 5;
// The unanswered sockets kept open at most; one more closes the oldest.
inline constexpr size_t kSilentSocketCap = 64;

// What became of one connection.
enum class Served {
  kAnswered,   // answered (or the settings file missing: nothing sent) and closed
  kMalformed,  // read, not understood: left open, nothing sent
  kRecvError,  // nothing read: still open, the caller closes it
};
Served serve_connection(int fd);

// The sockets left open without an answer (a malformed request, a reload in
// progress). Each stays until its client closes it or the cap pushes it out.
class SilentSockets {
 public:
  explicit SilentSockets(size_t cap = kSilentSocketCap) : cap_(cap) {}
  ~SilentSockets();
  SilentSockets(const SilentSockets&) = delete;
  SilentSockets& operator=(const SilentSockets&) = delete;
  // Keeps fd; the oldest is closed when the cap is reached.
  void keep(int fd);
  // Closes those whose client has closed or reset.
  void sweep();
  size_t size() const { return fds_.size(); }

 private:
  size_t cap_;
  std::deque<int> fds_;
};

// True while "/tmp/reloading" says a reload is in progress: its first 16
// bytes are anything but exactly "0" (an empty file too); a missing or
// unreadable file says no.
bool reload_in_progress();

}  // namespace phonecore::remote
