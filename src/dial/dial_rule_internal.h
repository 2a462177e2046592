// The process's four rule tables. They have no lock: loads and updates run
// on the process's control thread, matches read them.
#pragma once

#include "phonecore/dial_rule.h"

namespace phonecore::dial {

extern RuleReplace g_rule_replace[RULE_ROWS];
extern RuleDial g_rule_dial[RULE_ROWS];
extern RuleLimit g_rule_limit[RULE_ROWS];
extern RuleZone g_rule_zone;

}  // namespace phonecore::dial
