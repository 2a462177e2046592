// Factory storage: the layout of "/dev/mtd2" and the pure parts of the
// boot environment and MAC handling, for the exported functions and their
// tests.
#ifndef PHONECORE_DEVICE_FLASH_INTERNAL_H
#define PHONECORE_DEVICE_FLASH_INTERNAL_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "phonecore/flash.h"

namespace phonecore::device {

inline constexpr const char* kFlashDevice = "/dev/mtd2";

// The fields of the partition. All of them must lie in its first erase
// block, since a write restores only that block.
enum class Field {
  kQQ0,
  kQQ1,
  kQQ2,
  kQQ3,
  kQQ4,
  kEnv,
  kMac0,
  kMac2,
  kMac1,
  kMacText,
  kSerial,
  kTime,
  kKey1,
  kKey2,
  kKey3
};

struct FieldRow {
  Field field;
  int32_t offset;
  int32_t size;
};

inline constexpr FieldRow kLayout[] = {
    {Field::kQQ0, 0x1000, 32},     {Field::kQQ1, 0x1020, 32},    {Field::kQQ2, 0x1040, 32},
    {Field::kQQ3, 0x1060, 416},    {Field::kQQ4, 0x1200, 256},   {Field::kEnv, 0x2000, UBOOTENV_SIZE},
    {Field::kMac0, 0x4000, 6},     {Field::kMac2, 0x4006, 6},    {Field::kMac1, 0x400C, 6},
    {Field::kMacText, 0x4100, 64}, {Field::kSerial, 0x4140, 64}, {Field::kTime, 0x4180, 64},
    {Field::kKey1, 0x5000, 1024},  {Field::kKey2, 0x6000, 1024}, {Field::kKey3, 0x7000, 1024},
};

constexpr const FieldRow& field(Field f) { return kLayout[static_cast<size_t>(f)]; }

// The smallest erase block of the boards this runs on.
inline constexpr int32_t kMinEraseBlock = 0x10000;

// The boot environment walked as the loader leaves it: entries cut at every
// byte 0 or 0xFF, gathered in a 256-byte buffer whose index wraps, so that
// an entry longer than 256 bytes keeps only its tail. A last entry with no
// terminator before the end of the block is not an entry.
inline constexpr size_t kEnvEntryBuffer = 256;

template <typename Visit>
void for_each_env_entry(std::span<const uint8_t> block, Visit visit) {
  char entry[kEnvEntryBuffer + 1];
  size_t at = 0;
  for (uint8_t byte : block) {
    if (byte == 0x00 || byte == 0xFF) {
      entry[at] = '\0';
      if (visit(static_cast<const char*>(entry))) return;
      at = 0;
    } else {
      entry[at] = static_cast<char>(byte);
      at = (at + 1) % kEnvEntryBuffer;
    }
  }
}

// The new block after a change of key: the entries findval keeps, each with
// its terminator, then "key=value" when value is not empty; the rest zero.
// False when the new entry does not fit.
bool rewrite_env(std::span<const uint8_t> old_block, const char* key, const char* value, std::span<uint8_t> out);

// "xx-xx-xx-xx-xx-xx-xx-xx", most significant byte first.
void format_chip_id(uint64_t id, char* out /* CHIP_ID_TEXT_SIZE */);
// The board SDK's MI_SYS_ReadUuid, found at run time: in the process, else
// in the SDK's library. 0 and the id; -1 when there is none or it fails.
int read_chip_id(uint64_t* id);

}  // namespace phonecore::device

#endif
