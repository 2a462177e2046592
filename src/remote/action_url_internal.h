// The inside of the Action URL that tests and the fuzzer reach: the table of
// events, the table of variables and the one splice behind every
// replacement.
#pragma once

#include <cstddef>
#include <string_view>

#include "phonecore/action_url.h"

namespace phonecore::remote {

// One event: its slot is its index; function is empty for the slot that is
// loaded and never sent.
struct ActionEvent {
  std::string_view member;    // of "FeatureActionURL"
  std::string_view function;  // the exported action_* name
};

inline constexpr ActionEvent kActionEvents[ACTION_URL_EVENTS] = {
    {"AUSetupCompleted", "action_Setup_Completed"},
    {"AULogOn", "action_Registered"},
    {"AULogOff", "action_Unregistered"},
    {"AURegisterFailed", "action_Register_Failed"},
    {"AUOffHook", "action_Off_Hook"},
    {"AUOnHook", "action_On_Hook"},
    {"AUIncomingCall", "action_Incoming_Call"},
    {"AUCallOut", "action_Outgoing_Call"},
    {"AUEstablished", "action_Established"},
    {"AUTerminated", "action_Terminated"},
    {"AUOpenDnd", "action_Open_DND"},
    {"AUCloseDnd", "action_Close_DND"},
    {"AUOpenAlwaysForward", "action_Always_Forward_On"},
    {"AUCloseAlwaysForward", "action_Always_Forward_Off"},
    {"AUOpenBusyForward", "action_Busy_Forward_On"},
    {"AUCloseBusyForward", "action_Busy_Forward_Off"},
    {"AUOpenNoAnswerForward", "action_No_Answer_Forward_On"},
    {"AUCloseNoAnswerForward", "action_No_Answer_Forward_Off"},
    {"AUTransferCall", "action_Transfer_Call"},
    {"AUBlindTransfer", "action_Blind_Transfer"},
    {"AUAttendedTransfer", "action_Attended_Transfer"},
    {"AUHold", "action_Hold"},
    {"AUUnHold", "action_UnHold"},
    {"AUMute", "action_MUTE"},
    {"AUUnMute", "action_UnMute"},
    {"AUMissedCall", "action_Missed_Call"},
    {"AUIpChanged", "action_IP_Changed"},
    {"AUIdleToBusy", "action_Idle_to_Busy"},
    {"AUBusyToIdle", "action_Busy_to_Idle"},
    {"AURejectIncomingCall", "action_Reject_Incoming_Call"},
    {"AUAnswerNewInCall", "action_Answer_New_Incoming_Call"},
    {"AUTransferFailed", ""},
    {"AUTransferFinished", "action_Transfer_Finished"},
    {"AUForwardIncomingCall", "action_Forward_Incoming_Call"},
    {"AUAutopFinish", "action_Autop_Finish"},
    {"AUOpenCallWait", "action_Call_Waiting_On"},
    {"AUCloseCallWait", "action_Call_Waiting_Off"},
    {"AUHeadSet", "action_Headset"},
    {"AUHandFree", "action_Handsfree"},
    {"AUCancelCallOut", "action_Cancel_Call_Out"},
    {"AURemoteBusy", "action_Remote_Busy"},
    {"AUCallRemoteCanceled", "action_Call_Remote_Canceled"},
    {"AUPeripheralInformation", "action_Peripheral_Information"},
    {"AUVPNIPChange", "action_VPN_IP"},
};

// The slot of an exported function, -1 for none.
constexpr int action_slot(std::string_view function) {
  for (int i = 0; i < ACTION_URL_EVENTS; ++i)
    if (!function.empty() && kActionEvents[i].function == function) return i;
  return -1;
}

// The ten event variables, in the order they are replaced and passed.
inline constexpr const char* kEventVariables[10] = {
    "$active_url",    "$active_user",    "$active_host", "$local",    "$remote",
    "$display_local", "$display_remote", "$call_id",     "$callerID", "$calledNumber",
};

// Puts value in place of the len bytes at pos of url (head and tail held in
// buffers of ACTION_URL_SIZE), the result cut at ACTION_URL_SIZE - 1
// characters. value may lie inside url.
void splice(char* url, size_t pos, size_t len, const char* value);

// Where a variable first occurs in the URL's first ACTION_URL_SIZE - 1
// characters, or -1.
long find_first(const char* url, const char* variable);

}  // namespace phonecore::remote
