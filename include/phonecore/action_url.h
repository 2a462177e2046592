/* phonecore: Action URLs. An HTTP GET that the phone sends to a configured
 * address when something happens on it. Each event has one URL template in
 * "FeatureActionURL" of default/function.cfg; the process that observes the
 * event calls its action_* function with the call's particulars, which fills
 * in the template's variables and sends the request once, without retry.
 *
 * The replacements change the first occurrence of a variable only, put
 * values in as they are (no URL encoding) and leave an event variable whose
 * value is null, empty or longer than ACTION_URL_VALUE_MAX in the URL
 * literally. A URL buffer handed to them must give ACTION_URL_SIZE bytes:
 * the result is cut at ACTION_URL_SIZE - 1 characters. */
#ifndef PHONECORE_ACTION_URL_H
#define PHONECORE_ACTION_URL_H

#include <stdint.h>

#include "phonecore/export.h"

/* The events, one slot each (slot 31, "AUTransferFailed", is loaded and
 * never sent). */
#define ACTION_URL_EVENTS 44
/* The room of a template, a request and every URL buffer given to the
 * replacement functions. */
#define ACTION_URL_SIZE 640
/* The longest event value that is put in; a longer one is left out. */
#define ACTION_URL_VALUE_MAX 640
/* The rows of my_action_url_conf, the last being the end mark "end". */
#define ACTION_URL_CONF_ROWS 16

PHONECORE_BEGIN_DECLS

/* One variable of a template. */
typedef struct ActionUrlConf {
    int32_t id;           /* 0..13, 15; 16 for the end mark */
    char name[16];        /* as written in a template: "$mac" */
    char value[32];       /* the stored value (rows "$mac", "$sn", "$model", "$firmware") */
    char description[64]; /* a comment */
} ActionUrlConf;

/* The templates, in the order of the events. */
PHONECORE_API extern char action_event_url[ACTION_URL_EVENTS][ACTION_URL_SIZE];
/* Each event builds its request in its own slot of this array. */
PHONECORE_API extern char action_event_url_tmp[ACTION_URL_EVENTS][ACTION_URL_SIZE];
PHONECORE_API extern ActionUrlConf my_action_url_conf[ACTION_URL_CONF_ROWS];

/* Loads the templates of default/function.cfg into table (the caller passes
 * action_event_url) and the stored variables. Nothing is loaded when the
 * section lacks "AUSetupCompleted"; a missing other member loads as empty.
 * The result of releasing the file's object (1), or 0 when the file can't be
 * read; callers ignore it. */
PHONECORE_API int update_all_action_arrary(char (*table)[ACTION_URL_SIZE]) PHONECORE_NOEXCEPT;
/* Fills the stored variables from system.cfg and quorbit_ota.cfg (at most 31
 * characters each, only when present). 0. */
PHONECORE_API int get_system_something(void) PHONECORE_NOEXCEPT;

/* Replaces the first occurrence of variable in url by value. Nothing
 * changes when variable is null or empty, or value null, empty or longer
 * than ACTION_URL_VALUE_MAX. 0. */
PHONECORE_API int url_replace_special_string(char *url, const char *variable, const char *value) PHONECORE_NOEXCEPT;
/* Replaces "$active_url", "$active_user", "$active_host", "$local",
 * "$remote", "$display_local", "$display_remote", "$call_id", "$callerID"
 * and "$calledNumber", in that order, and prints the URL. 0. */
PHONECORE_API int set_call_status_to_url(char *url, const char *active_url, const char *active_user,
                                         const char *active_host, const char *local, const char *remote,
                                         const char *display_local, const char *display_remote, const char *call_id,
                                         const char *callerID, const char *calledNumber) PHONECORE_NOEXCEPT;
PHONECORE_API int set_call_status_to_url2(char *url, const char *active_url, const char *active_user,
                                          const char *active_host, const char *local, const char *remote,
                                          const char *display_local, const char *display_remote, const char *call_id,
                                          const char *callerID, const char *calledNumber) PHONECORE_NOEXCEPT;
/* Replaces the stored variables ("$mac", "$sn", "$model", "$firmware"; an
 * empty value deletes the variable) and the looked-up ones ("$ip" of the WAN
 * interface, "$vpn_ip" of "tun0"; no address gives nothing); the others stay.
 * 0. */
PHONECORE_API int url_replace_normal_string_without_speakthing(char *url) PHONECORE_NOEXCEPT;
/* The same, but every other variable of the table is cut out of the URL,
 * the end mark "end" too, wherever its letters stand ("friend" -> "fri"). 0. */
PHONECORE_API int url_replace_normal_string(char *url) PHONECORE_NOEXCEPT;
/* The whole pipeline on url: stored and looked-up variables, the ten event
 * variables, http_send_get. Its result. */
PHONECORE_API int set_action_http_get(char *url, const char *active_url, const char *active_user,
                                      const char *active_host, const char *local, const char *remote,
                                      const char *display_local, const char *display_remote, const char *call_id,
                                      const char *callerID, const char *calledNumber) PHONECORE_NOEXCEPT;
PHONECORE_API int set_action_http_get2(char *url, const char *active_url, const char *active_user,
                                       const char *active_host, const char *local, const char *remote,
                                       const char *display_local, const char *display_remote, const char *call_id,
                                       const char *callerID, const char *calledNumber) PHONECORE_NOEXCEPT;
/* One GET of url, 100 ms to connect, 200 ms in all, redirects followed,
 * certificates unchecked, the header "Content-Type:application/json;
 * charset=UTF-8"; the body of the answer goes to standard output. 0 on any
 * answer (a 404 or 500 too), -1 when the transfer failed. */
PHONECORE_API int http_send_get(const char *url) PHONECORE_NOEXCEPT;

/* The events. Each fills its template into its slot of action_event_url_tmp
 * and sends it: 0 when the template is empty, else http_send_get's result.
 * The arguments are the ten event variables, in set_call_status_to_url's
 * order. */
#define PHONECORE_ACTION_EVENT(fn)                                                                                    \
    PHONECORE_API int fn(const char *active_url, const char *active_user, const char *active_host, const char *local, \
                         const char *remote, const char *display_local, const char *display_remote,                   \
                         const char *call_id, const char *callerID, const char *calledNumber) PHONECORE_NOEXCEPT
PHONECORE_ACTION_EVENT(action_Setup_Completed);          /* "AUSetupCompleted" */
PHONECORE_ACTION_EVENT(action_Registered);               /* "AULogOn" */
PHONECORE_ACTION_EVENT(action_Unregistered);             /* "AULogOff" */
PHONECORE_ACTION_EVENT(action_Register_Failed);          /* "AURegisterFailed" */
PHONECORE_ACTION_EVENT(action_Off_Hook);                 /* "AUOffHook" */
PHONECORE_ACTION_EVENT(action_On_Hook);                  /* "AUOnHook" */
PHONECORE_ACTION_EVENT(action_Incoming_Call);            /* "AUIncomingCall" */
PHONECORE_ACTION_EVENT(action_Outgoing_Call);            /* "AUCallOut" */
PHONECORE_ACTION_EVENT(action_Established);              /* "AUEstablished" */
PHONECORE_ACTION_EVENT(action_Terminated);               /* "AUTerminated" */
PHONECORE_ACTION_EVENT(action_Open_DND);                 /* "AUOpenDnd" */
PHONECORE_ACTION_EVENT(action_Close_DND);                /* "AUCloseDnd" */
PHONECORE_ACTION_EVENT(action_Always_Forward_On);        /* "AUOpenAlwaysForward" */
PHONECORE_ACTION_EVENT(action_Always_Forward_Off);       /* "AUCloseAlwaysForward" */
PHONECORE_ACTION_EVENT(action_Busy_Forward_On);          /* "AUOpenBusyForward" */
PHONECORE_ACTION_EVENT(action_Busy_Forward_Off);         /* "AUCloseBusyForward" */
PHONECORE_ACTION_EVENT(action_No_Answer_Forward_On);     /* "AUOpenNoAnswerForward" */
PHONECORE_ACTION_EVENT(action_No_Answer_Forward_Off);    /* "AUCloseNoAnswerForward" */
PHONECORE_ACTION_EVENT(action_Transfer_Call);            /* "AUTransferCall" */
PHONECORE_ACTION_EVENT(action_Blind_Transfer);           /* "AUBlindTransfer" */
PHONECORE_ACTION_EVENT(action_Attended_Transfer);        /* "AUAttendedTransfer" */
PHONECORE_ACTION_EVENT(action_Hold);                     /* "AUHold" */
PHONECORE_ACTION_EVENT(action_UnHold);                   /* "AUUnHold" */
PHONECORE_ACTION_EVENT(action_MUTE);                     /* "AUMute" */
PHONECORE_ACTION_EVENT(action_UnMute);                   /* "AUUnMute" */
PHONECORE_ACTION_EVENT(action_Missed_Call);              /* "AUMissedCall" */
PHONECORE_ACTION_EVENT(action_IP_Changed);               /* "AUIpChanged" */
PHONECORE_ACTION_EVENT(action_Idle_to_Busy);             /* "AUIdleToBusy" */
PHONECORE_ACTION_EVENT(action_Busy_to_Idle);             /* "AUBusyToIdle" */
PHONECORE_ACTION_EVENT(action_Reject_Incoming_Call);     /* "AURejectIncomingCall" */
PHONECORE_ACTION_EVENT(action_Answer_New_Incoming_Call); /* "AUAnswerNewInCall" */
PHONECORE_ACTION_EVENT(action_Transfer_Finished);        /* "AUTransferFinished" */
PHONECORE_ACTION_EVENT(action_Forward_Incoming_Call);    /* "AUForwardIncomingCall" */
PHONECORE_ACTION_EVENT(action_Autop_Finish);             /* "AUAutopFinish" */
PHONECORE_ACTION_EVENT(action_Call_Waiting_On);          /* "AUOpenCallWait" */
PHONECORE_ACTION_EVENT(action_Call_Waiting_Off);         /* "AUCloseCallWait" */
PHONECORE_ACTION_EVENT(action_Headset);                  /* "AUHeadSet" */
PHONECORE_ACTION_EVENT(action_Handsfree);                /* "AUHandFree" */
PHONECORE_ACTION_EVENT(action_Cancel_Call_Out);          /* "AUCancelCallOut" */
PHONECORE_ACTION_EVENT(action_Remote_Busy);              /* "AURemoteBusy" */
PHONECORE_ACTION_EVENT(action_Call_Remote_Canceled);     /* "AUCallRemoteCanceled" */
PHONECORE_ACTION_EVENT(action_Peripheral_Information);   /* "AUPeripheralInformation" */
PHONECORE_ACTION_EVENT(action_VPN_IP);                   /* "AUVPNIPChange" */
#undef PHONECORE_ACTION_EVENT

PHONECORE_END_DECLS

#endif
