/* A user interface (bus id 1234) places a call through the box's SIP
 * process (bus id 4098): it writes account 1, waits for its registration,
 * dials, follows the call's events, holds, resumes and hangs up; then it
 * programs a BLF key and subscribes the BLF keys of the account. */
#include <phonecore/account.h>
#include <phonecore/dsskey.h>
#include <phonecore/voip.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

/* Set on the event thread, read by the main thread. */
static volatile int registered;
static volatile int connected;
static volatile int responses;
static volatile int ended;

static void on_reg_changed(int acc, int online) {
  /* The local account copy learns the state from the event. */
  callback_on_reg_changed(acc, online);
  printf("   [ui] event reg_changed: account %d %s\n", acc, online ? "registered" : "unregistered");
  if (acc == 1 && online == 1) registered = 1;
  fflush(stdout);
}

static void on_connecting(int acc, const char *from, const char *to, int id, int inF, int tFlag, const char *div,
                          const char *dis, int backup_callid, const char *call_id_gl) {
  (void)inF, (void)tFlag, (void)div, (void)dis, (void)backup_callid;
  printf("   [ui] event connecting: call %d on account %d, %s -> %s (%s)\n", id, acc, from ? from : "?", to ? to : "?",
         call_id_gl ? call_id_gl : "");
  fflush(stdout);
}

static void on_connect(int acc, int call_id, int flags, const char *peer, const char *calledID, const char *dis) {
  (void)flags, (void)calledID, (void)dis;
  printf("   [ui] event connect: call %d on account %d talks with %s\n", call_id, acc, peer ? peer : "?");
  connected = 1;
  fflush(stdout);
}

static void on_invite_response(int acc, int flags) {
  printf("   [ui] event invite_response: account %d, %d\n", acc, flags);
  responses++;
  fflush(stdout);
}

static void on_disconnect(int acc, int call_id, int flags) {
  printf("   [ui] event disconnect: call %d on account %d ended (%d)\n", call_id, acc, flags);
  ended = 1;
  fflush(stdout);
}

static int wait_flag(volatile int *flag, int at_least) {
  for (int i = 0; i < 400 && *flag < at_least; i++) usleep(5000);
  return *flag >= at_least;
}

int main(void) {
  static ClientOps ops;
  ops.on_reg_changed = on_reg_changed;
  ops.on_connecting = on_connecting;
  ops.on_connect = on_connect;
  ops.on_invite_response = on_invite_response;
  ops.on_disconnect = on_disconnect;
  add_callback_fun(&ops);

  MessageClient *ui = request_pc_connect(1234, 1, NULL, "ui");
  if (ui == NULL) {
    printf("   [ui] no session\n");
    return 1;
  }
  usleep(50000); /* the listener binds after the connect returns */

  LocalAcountInforBufferAdd(ui, 4);
  AccountRecord accounts[ACCOUNT_MAX_RECORDS];
  int n = LocalAcountInforGet(accounts, ACCOUNT_MAX_RECORDS);
  printf("   [ui] %d accounts from the SIP process; account 1 is %s, state %d\n", n, n > 0 ? accounts[0].text[3] : "?",
         get_reg_status(1));

  printf("   [ui] setSipAccount: account 1 = 1001 at 127*0*0*1, enabled\n");
  setSipAccount(0, "Office 1001", "1001", "desk1001", "Front Desk", "1001", "5060", "127*0*0*1", 1, "", "");
  if (!wait_flag(&registered, 1)) {
    printf("   [ui] account 1 did not register\n");
    return 1;
  }
  /* The library waits a fixed 100 ms for each answer of the SIP process; a
     busy one can miss it. A question that changes nothing is asked again. */
  int a1 = 0, a2 = 0, a3 = 0, a4 = 0;
  for (int ask = 0; ask < 5 && voip_phone_state_get(ui, &a1, &a2, &a3, &a4) != 1; ++ask) {
  }
  printf("   [ui] account 1 registered: phone_state_get says %d %d %d %d, get_reg_status(1) = %d\n", a1, a2, a3, a4,
         get_reg_status(1));

  char desc[64] = "";
  int call = voip_phone_dail(ui, 1, "1002", desc);
  printf("   [ui] dial 1002: call %d (%s)\n", call, desc);
  if (call < 1 || !wait_flag(&connected, 1)) return 1;

  char from[64] = "", to[64] = "";
  int acc = 0;
  for (int ask = 0; ask < 5 && voip_call_info(ui, call, from, to, &acc) != 1; ++ask) {
  }
  printf("   [ui] call_info %d: %s -> %s on account %d\n", call, from, to, acc);

  voip_phone_hold(ui, call);
  if (wait_flag(&responses, 1)) printf("   [ui] call %d held\n", call);
  voip_phone_resume(ui, call);
  if (wait_flag(&responses, 2)) printf("   [ui] call %d resumed\n", call);
  voip_phone_hangup(ui, call);
  if (wait_flag(&ended, 1)) printf("   [ui] call %d hung up\n", call);

  DssKeyInfo key;
  memset(&key, 0, sizeof key);
  key.type = DSS_TYPE_BLF;
  key.accId = 1;
  snprintf(key.label, sizeof key.label, "Boss");
  snprintf(key.value, sizeof key.value, "1010");
  snprintf(key.extension, sizeof key.extension, "1010");
  voip_func_Dsskey_data(ui, 1, 4, &key);
  memset(&key, 0, sizeof key);
  key.type = -1;
  voip_func_Dsskey_data(ui, 0, 4, &key);
  printf("   [ui] line key 4 is now BLF %s on %s, account %u\n", key.label, key.value, key.accId);
  printf("   [ui] account 1 online: start_blf_after_reg subscribes its BLF keys\n");
  start_blf_after_reg(1, 1, ui);

  fflush(stdout);
  LocalAcountInforBufferDel(ui);
  request_pc_disconnect(ui);
  return 0;
}
