// Where a phone.cfg key's member stands in its JSON file, as a JSON pointer
// that tests read with text_at_pointer.
#pragma once

#include <string>

#include "provision/phonecfg/key_table.h"

namespace phonecore::testing {

// A JSON pointer to a row's member for its index.
inline std::string pointer_of(const phonecfg::Member& m, int index) {
  const std::string at = "/" + std::to_string(index);
  std::string p = std::string("/") + m.section;
  switch (m.place) {
    case phonecfg::Place::kSection:
      break;
    case phonecfg::Place::kElement:
      p += at;
      break;
    case phonecfg::Place::kCredential:
      p += at + "/cred_acc/0";
      break;
    case phonecfg::Place::kData:
    case phonecfg::Place::kGrow:
      p += "/data" + at;
      break;
  }
  return p + "/" + m.member;
}

}  // namespace phonecore::testing
