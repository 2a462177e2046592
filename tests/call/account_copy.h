// The local account copy in call tests. It starts from the reply to
// account_get, which has 100 ms; a loaded machine may bring that reply
// later, and the copy then stays empty until the next broadcast. A test
// that needs the copy asks again then.
#pragma once

#include "phonecore/account.h"

namespace phonecore::testing {

// LocalAcountInforBufferAdd until the copy holds records (a few tries);
// its result. The hook of the last try stays.
inline int add_account_copy(MessageClient* c, int max) {
  constexpr int kTries = 5;
  int result = -1;
  for (int attempt = 1; attempt <= kTries; ++attempt) {
    result = LocalAcountInforBufferAdd(c, max);
    if (__atomic_load_n(&_gl_accountLen, __ATOMIC_ACQUIRE) != 0 || attempt == kTries) break;
    LocalAcountInforBufferDel(c);
  }
  return result;
}

}  // namespace phonecore::testing
