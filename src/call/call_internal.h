// Shared pieces of the call-control sources, and what their tests reach.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/json.h"
#include "bus/vocabulary.h"
#include "phonecore/account.h"

namespace phonecore::call {

// 64-byte text fields: at most 63 characters and a terminator.
constexpr size_t kTextField = 64;

using phonecore::bus::kMsgtypeAccounts;
using phonecore::bus::kMsgtypeBinary;

// kAccountRecordSize: see AccountRecord; kMaxRecords: _gl_accountArr.
constexpr size_t kAccountRecordSize = 676;
constexpr int kMaxRecords = 5;
// account_get never reports more than four records.
constexpr int kAccountGetLimit = 4 * static_cast<int>(kAccountRecordSize);

// The current limit of warnningist_get and account_get, in ms.
int buffer_request_limit_ms();

// A volume of 0.0 to 1.0 as a level 0 to 15, rounded; false (and *level
// untouched) outside that range.
bool volume_level_from_float(float volume, int* level);

// The local account copy is written on the monitor thread and read on any
// other without a lock; these move whole records word by word, each word
// atomically, so a reader may see a half-updated record but never a torn
// word.
void store_account(int index, const void* record);
AccountRecord load_account(int index);
int account_count();
// The first record with this id among the valid ones, or -1.
int find_account(uint32_t id);

}  // namespace phonecore::call
