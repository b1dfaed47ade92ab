#pragma once
// The vocabulary of the telephony server: constant tables, read through the lookups of dicos.h.
//
// Index and mask tables are arrays of texts; the number behind a row is the value, or the bit, that
// the row names. Id tables carry their ids. Blanks and tabs inside a text are part of it: they lay
// out the lines of traces and displays. Read only, so any thread may use them at any time.

#include <cstdint>

/// A row of an id table.
struct IdName {
    const char* text;  ///< the word
    std::int16_t id;   ///< the server's number
};

/// Line states.
inline constexpr const char* tb_linestate[] = {
    "Unknown",          // 0
    "Free",             // 1
    "OutOfService",     // 2
    "Monitored",        // 3
    "Recording",        // 4
    "Dialing",          // 5
    "Calling",          // 6
    "Ringing",          // 7
    "Talking",          // 8
    "Held",             // 9
    "Consulting",       // 10
    "Conferenced",      // 11
    "BusyTone",         // 12
    "Blocked",          // 13
    "Waiting",          // 14
    "Releasing",        // 15
    "Held Recall",      // 16
    "Init",             // 17
    "Pause",            // 18
    "Wrapup",           // 19
    "PcmmDegraded",     // 20
    "RecordingPaused",  // 21
};

/// States of a nomadic line.
inline constexpr const char* tb_nomadicstate[] = {
    "Free",             // 0
    "Associated",       // 1
    "Init",             // 2
    "Ringing",          // 3
    "Talking",          // 4
    "Releasing",        // 5
    "Stopped",          // 6
    "Synchro",          // 7
    "Switching",        // 8
    "Pcmm2_Switching",  // 9
};

/// States of an agent's line service.
inline constexpr const char* tb_CCAlineservstate[] = {
    "Unknown",     // 0
    "LoggedOut",   // 1
    "LoggedIn",    // 2
    "Affected",    // 3
    "Withdrawed",  // 4
};

/// Line call causes.
inline constexpr const char* tb_linecallcause[] = {
    "Unknown",                     // 0
    "None",                        // 1
    "Busy",                        // 2
    "Destination not obtainable",  // 3
    "Do not disturb",              // 4
    "Maintenance",                 // 5
    "Not answered",                // 6
    "Overflow",                    // 7
    "Transfer",                    // 8
    "Trunks busy",                 // 9
    "Blocked",                     // 10
    "Pickup incoming",             // 11
    "Pickup outgoing",             // 12
    "Pickup victim",               // 13
    "Redirected incoming",         // 14
    "Redirected outgoing",         // 15
    "Redirected to",               // 16
    "Silent Monitor",              // 17
    "Active Monitor",              // 18
};

/// Line call information, the terminals' display texts with their leading blank.
inline constexpr const char* tb_linecallinfo[] = {
    " Etat inconnu",                    // 0
    " Raccrochez-svp",                  // 1
    " Annulez le 2eme appel",           // 2
    " Faux numero",                     // 3
    " Non autorise",                    // 4
    " Encombrement",                    // 5
    " Rappel annule",                   // 6
    " Parcage active",                  // 7
    " Programme enregistre",            // 8
    " Modif. enregistre",               // 9
    " Transfert impossible",            // 10
    " Non autorise",                    // 11
    " Rappel autorise",                 // 12
    " Touche No programmee",            // 13
    " Code perso errone",               // 14
    " Numero efface",                   // 15
    " Prise directe HS",                // 16
    " Faisceau reserve",                // 17
    " Dans le groupement",              // 18
    " Hors du groupement",              // 19
    " Messagerie vocale indisponible",  // 20
    " Mao inaccessible",                // 21
    " Exploitation interdite",          // 22
    " Appel intercepte",                // 23
    " Credit epuise",                   // 24
    " Code interdit",                   // 25
    " Code affaire errone",             // 26
    " Code affaire interdit",           // 27
    " Votre code svp",                  // 28
    " EET restreinte",                  // 29
    " EET normale",                     // 30
    " RESERVE 1",                       // 31
    " RESERVE 2",                       // 32
    " EXCUSE",                          // 33
};

/// What a callback message asks for.
inline constexpr const char* tb_callbackinfo[] = {
    "Callback on no reply",       // 0
    "PickUp your Fax",            // 1
    "PickUp your Text",           // 2
    "PickUp your Telex",          // 3
    "PickUp your Image (VCM)",    // 4
    "PickUp your Text (VCM)",     // 5
    "Please Call Me Back (VCM)",  // 6
    "Undefined",                  // 7
};

/// Options of a line, by bit.
inline constexpr const char* tb_lineoptions[] = {
    " DO_NOT_DISTURB",  // 0
    " LOCK",            // 1
    " CAMPON",          // 2
    " DEB_ASSO",        // 3
    " DEB_ASSO_BUSY",   // 4
};

/// Key labels of call handling, by bit; padded for a column, one of them by a tab.
inline constexpr const char* tb_callkeys[] = {
    " GETCALL   ",   // 0
    " HOLDCALL  ",   // 1
    " TRANSFCALL",   // 2
    " CONFCALL  ",   // 3
    " WAITONBUSY",   // 4
    " BCALLBACK ",   // 5
    " INTRUDE   ",   // 6
    " PARKCALL  ",   // 7
    " RECORDCONV",   // 8
    " OVERRIDE  ",   // 9
    " SENDDTMF  ",   // 10
    " MCIDTRACE ",   // 11
    " DEBASSOC  ",   // 12
    " DEBMEVO   ",   // 13
    " LISTEN    ",   // 14
    " DEBPAGING ",   // 15
    " DIVERT    ",   // 16
    " RELEASE   ",   // 17
    " STOPDTMF  ",   // 18
    " CTRLWAIT  ",   // 19
    " PREVIOUS  ",   // 20
    " SENDMESS\t",   // 21
    " CORRELATOR",   // 22
    " HELP      ",   // 23
    " CANCEL    ",   // 24
    "BLINDTRANSF",   // 25
    "RECORDSTOP",    // 26
    "RECORDCANCEL",  // 27
    "RECORDPAUSE",   // 28
    "RECORDCONT",    // 29
    "CANCELCONF",    // 30
};

/// Key labels of line programming, by bit; bits 26 to 28 have no key.
inline constexpr const char* tb_linekeys[] = {
    "PROGLINE         ",  // 0
    "MAKECALL         ",  // 1
    "CHANGEACTIVECALL ",  // 2
    "PICKUPCALL       ",  // 3
    "UNPARKCALL       ",  // 4
    "EXTERN_FORWARD   ",  // 5
    "IMMEDIAT_FWD     ",  // 6
    "FWD_ON_BUSY      ",  // 7
    "FWD_ON_NO_REP    ",  // 8
    "FWD_BUSY_NREP    ",  // 9
    "FWD_CANCEL       ",  // 10
    "DEB_ASSO_R       ",  // 11
    "DEB_ASSO_BUSY_R  ",  // 12
    "DEB_ASSO_ALL_R   ",  // 13
    "DEB_ASSO_CANCEL  ",  // 14
    "MODIF_ASSOCIATE  ",  // 15
    "DO_NOT_DISTURB_R ",  // 16
    "LOCK_R           ",  // 17
    "MODIF_CODSEC     ",  // 18
    "CAMPON_CTRL      ",  // 19
    "GROUP_CALL_PU    ",  // 20
    "BUSINESS_CALL_R  ",  // 21
    "SECRET_IDENT     ",  // 22
    "CALL_BACK_CANCEL ",  // 23
    "PRG_ISDN_FLT_KEY ",  // 24
    "MK_CALLBACK_IDLE ",  // 25
    "?",                  // 26
    "?",                  // 27
    "?",                  // 28
    "SWITCH_NOMAD_MOD ",  // 29
    "PROG_AUTO_ORIG   ",  // 30
    "CATEG_READY      ",  // 31
};

/// Key labels of agents, by bit.
inline constexpr const char* tb_agentkeys[] = {
    "LOGON          ",  // 0
    "LOGOFF         ",  // 1
    "WITHDRAW       ",  // 2
    "WITHDRAWEND    ",  // 3
    "WRAPUP         ",  // 4
    "WRAPUPEND      ",  // 5
    "PAUSE          ",  // 6
    "PAUSEEND       ",  // 7
    "TRANSACTION    ",  // 8
    "SUPERVISORCALL ",  // 9
    "LISTENSTART    ",  // 10
    "TIERS          ",  // 11
    "RESTREINTE     ",  // 12
    "RVGPILOT       ",  // 13
    "ENTRYGROUP    ",   // 14
};

/// Key labels of a conference, by bit.
inline constexpr const char* tb_confkeys[] = {
    "RELEASECONF ",  // 0
    "SUPPRESSCONF",  // 1
    "TRANSFERCONF",  // 2
};

/// Forwarding kinds, by bit.
inline constexpr const char* tb_forwardkinds[] = {
    "RVOCC  ",   // 0
    "RVNREP ",   // 1
    "NONRENV",   // 2
    "PA_RVIMM",  // 3
    "RVMEVO ",   // 4
};

/// Kinds of a correspondent or destination, by bit; the last two have no name.
inline constexpr const char* tb_destkinds[] = {
    "Boss",               // 0
    "Secretary",          // 1
    "Group",              // 2
    "associate",          // 3
    "Voice Mail",         // 4
    "Voice Mailconsult",  // 5
    "0x40",               // 6
    "0x80",               // 7
};

/// Kinds of a line, by bit.
inline constexpr const char* tb_linekinds[] = {
    "-Distant",      // 0
    "-Dist. Voip",   // 1
    "-Priv. Phone",  // 2
    "-Local Voip",   // 3
    "-Static",       // 4
    "-Dynamic",      // 5
};

/// Configuration keys, with a leading blank.
inline constexpr const char* tb_cfgkeys[] = {
    " cfg_associate",           // 0
    " cfg_asso_ovf",            // 1
    " cfg_campon",              // 2
    " cfg_dnd",                 // 3
    " cfg_forward",             // 4
    " cfg_lock",                // 5
    " cfg_secretcode",          // 6
    " cfg_makecall_mode",       // 7
    " cfg_isdn_filtering_key",  // 8
    " cfg_audio_control",       // 9
    " set_client_inactivity",   // 10
};

/// Voice-mail actions, with a leading blank.
inline constexpr const char* tb_vmailactions[] = {
    " vmail_consult",  // 0
    " vmail_deposit",  // 1
    " vmail_leave",    // 2
    " vmail_notify",   // 3
    " vmail_record",   // 4
};

/// Temporisation and nomadic signals.
inline constexpr const char* tb_signals[] = {
    "common_fintemp",            // 0
    "common_reject",             // 1
    "common_confirm",            // 2
    "common_delete",             // 3
    "common_data",               // 4
    "sn_lightlines_ok",          // 5
    "sn_client_disconnect",      // 6
    "sn_login_nomadic",          // 7
    "sn_users_ok",               // 8
    "sn_ghostZ_delivered",       // 9
    "sn_ghostZ_cleared",         // 10
    "sn_alerting_nomadic",       // 11
    "sn_connection_nomadic",     // 12
    "sn_clearing_nomadic",       // 13
    "sn_logout_nomadic",         // 14
    "sn_fintemp_alerting",       // 15
    "sn_fintemp_connection",     // 16
    "sn_etablir_mode_nomadic",   // 17
    "sn_ghostZ_established",     // 18
    "sn_fintemp_rep_gsm",        // 19
    "sn_switch_nomadic_mode",    // 20
    "sn_modify_rtc_number",      // 21
    "sn_ghostZ_originated",      // 22
    "sn_fintemp_requete_H323",   // 23
    "sn_end_loadZ",              // 24
    "sn_free_nomad_calls",       // 25
    "sn_recall_on_vtn_cleared",  // 26
    "sn_ghostZ_SipInviteOk",     // 27
    "sn_fintemp_rep_SipC",       // 28
};

/// Language codes; the rows do not follow the ids, and id 26 has none.
inline constexpr IdName tb_languages[] = {
    {"GAE", 4},  {"FR0", 5},  {"IT0", 6},  {"NL1", 7},  {"FR2", 8},  {"DE1", 9},
    {"DA0", 10}, {"DE0", 11}, {"PT0", 12}, {"PT1", 13}, {"EN0", 14}, {"ES0", 15},
    {"FR1", 16}, {"DE2", 17}, {"NO0", 18}, {"CS0", 19}, {"PL0", 20}, {"HU0", 21},
    {"FI0", 22}, {"NL0", 23}, {"RU0", 24}, {"RO0", 25}, {"CHK", 3},  {"SK0", 35},
    {"ES1", 29}, {"SV0", 36}, {"AS0", 27}, {"EE0", 28}, {"LT0", 32}, {"LV0", 33},
    {"HR0", 31}, {"SI0", 34}, {"GR0", 30}, {"YU0", 38}, {"US0", 39}, {"TR0", 37},
};

/// States of a client installation.
inline constexpr IdName tb_qolstate[] = {
    {"INSTALLED", 1},
    {"UPDATED", 2},
    {"INSERVICE", 3},
    {"RUNNING", 4},
};

/// Types of a client.
inline constexpr IdName tb_qoltype[] = {
    {"MONITOR", 0},
    {"IP", 1},
};

/// Profiles of a client.
inline constexpr IdName tb_qolprofile[] = {
    {"STANDARD", 0},
    {"AGENT", 1},
    {"SUPERVISOR", 2},
    {"ATTENDANT", 3},
};

/// How a client reaches the telephone system.
inline constexpr IdName tb_qoltopology[] = {
    {"DIRECT", 0},
    {"TAPI21", 1},
};

/// Actions of a telephone client, with a leading blank.
inline constexpr const char* tb_actions[] = {
    " init",                        // 0
    " bis",                         // 1
    " clear_call",                  // 2
    " conf_call",                   // 3
    " deflect_call",                // 4
    " escape_from_conf",            // 5
    " hold_call",                   // 6
    " intrude_call",                // 7
    " make_new_call",               // 8
    " mcid",                        // 9
    " parc_call",                   // 10
    " pickup_call",                 // 11
    " record_call",                 // 12
    " reg_callback",                // 13
    " send_dtmf",                   // 14
    " stop_dtmf",                   // 15
    " suppress_callback",           // 16
    " suppress_conf",               // 17
    " take_call",                   // 18
    " transfer_call",               // 19
    " transfer_conf",               // 20
    " unparc_call",                 // 21
    " vmail_call",                  // 22
    " wait_on_busy",                // 23
    " wo_ctrl_sfk",                 // 24
    " bosscall",                    // 25
    " seccall",                     // 26
    " setfilter",                   // 27
    " resetfilt",                   // 28
    " getbosscall",                 // 29
    " getseccall",                  // 30
    " setsupfilt",                  // 31
    " rstsupfilt",                  // 32
    " setabsent",                   // 33
    " rstabsent",                   // 34
    " previous_menu",               // 35
    " suppress_cb_notif",           // 36
    " send_cb_notif",               // 37
    " send_secret_code",            // 38
    " agent_logon",                 // 39
    " agent_logoff",                // 40
    " agent_withdraw",              // 41
    " agent_withdraw_end",          // 42
    " agent_wrapup",                // 43
    " agent_wrapup_end",            // 44
    " agent_pause",                 // 45
    " agent_pause_end",             // 46
    " agent_help_request",          // 47
    " agent_help_cancel",           // 48
    " agent_supervisor_call",       // 49
    " agent_send_associated_data",  // 50
    " agent_date_and_time",         // 51
    " agent_single_step_conf",      // 52
    " agent_transaction_code",      // 53
    " agent_reservation",           // 54
    " clear_call_web",              // 55
    " take_call_web",               // 56
    " transf_call_web",             // 57
    " conf_call_web",               // 58
    " send_dtmf_web",               // 59
    " wmi",                         // 60
    " blind_transf_web",            // 61
    " getCallCapabilities",         // 62
    " get_callInfo",                // 63
    " reconnect_call_web",          // 64
    " getCallState",                // 65
    " getMyPhoneCapabilities",      // 66
    " getTelephonyCapabilities",    // 67
    " agent_get_urls",              // 68
    " agent_stop_campaign",         // 69
    " agent_get_prev_records",      // 70
    " make_new_call_third_party",   // 71
    " getLineState",                // 72
    " getVmailCapabilities",        // 73
    " retrieve_call",               // 74
};

/// Objects of the server and their temporisations; id 1 stands twice and the first row wins.
inline constexpr IdName tb_objects[] = {
    {"obj_Main", 0},
    {"obj_AgentMAO", 1},
    {"obj_AgentMAO_proxy", 2},
    {"obj_ServUsers", 3},
    {"obj_ServUsers_proxy", 4},
    {"obj_ServLines", 5},
    {"obj_ServLines_proxy", 6},
    {"obj_AgCSTA", 7},
    {"obj_MailToTerminals", 8},
    {"obj_ZorIncid", 9},
    {"obj_AgMaint", 10},
    {"obj_ServPhoneBook_proxy", 11},
    {"obj_AgentVelsa", 12},
    {"obj_ServPlanNum_proxy", 13},
    {"obj_CstaServer", 14},
    {"obj_Backup", 15},
    {"obj_AgentPhone_Book", 16},
    {"obj_Mail0ToTerminals", 17},
    {"obj_Mail1ToTerminals", 18},
    {"obj_AgentNomadic", 19},
    {"obj_ServNomadic", 20},
    {"obj_AgMaint_proxy", 21},
    {"obj_AgCSTA_cca", 22},
    {"obj_CstaServer_cca", 23},
    {"obj_AgCSTA_ivr", 24},
    {"obj_CstaServer_ivr", 25},
    {"obj_AgCSTA_sarn", 26},
    {"obj_CstaServer_sarn", 27},
    {"obj_AgCSTA_ecma1", 28},
    {"obj_CstaServer_ecma1", 29},
    {"obj_AgCSTA_ecma2", 30},
    {"obj_CstaServer_ecma2", 31},
    {"obj_ServGroupWare", 32},
    {"obj_CallPlanner", 33},
    {"obj_AgServeurAnnuaire", 34},
    {"obj_TlibServer", 35},
    {"obj_AgHttp", 36},
    {"obj_ServRouting", 37},
    {"obj_AgCSTA_brill", 38},
    {"obj_CstaServer_brill", 39},
    {"obj_AgDownload", 40},
    {"obj_AgSmtp", 41},
    {"obj_AgSsmgr", 42},
    {"obj_Cgi", 43},
    {"obj_AgGsoap", 44},
    {"obj_AgGsoap_listen", 45},
    {"obj_AgGsoap_keepalive", 46},
    {"obj_AgGsoap_ping", 47},
    {"obj_AgGsoap_th01", 48},
    {"obj_AgGsoap_th02", 49},
    {"obj_AgGsoap_th03", 50},
    {"obj_AgGsoap_th04", 51},
    {"obj_AgGsoap_th05", 52},
    {"obj_AgGsoap_th06", 53},
    {"obj_AgGsoap_th07", 54},
    {"obj_AgGsoap_th08", 55},
    {"obj_AgGsoap_th09", 56},
    {"obj_AgGsoap_th10", 57},
    {"obj_AgentUDA", 58},
    {"obj_AgEvent", 59},
    {"obj_Ldap_tho1", 60},
    {"obj_Ldap_tho2", 61},
    {"obj_Ldap_tho3", 62},
    {"TEMPO_NOMADIC_IDLE", 2051},
    {"TEMPO_NOMADIC_LOGIN", 2052},
    {"TEMPO_NOMADIC_ALERTING", 2053},
    {"TEMPO_BEFORE_HARAKIRI", 1},
};
