#pragma once
// Face of the telephony tools: what the server programs of the family use every day.

#include "serv_cli/i_tools_analyse.h"
#include "serv_cli/i_tools_client.h"
#include "serv_cli/i_tools_console.h"
#include "serv_cli/i_tools_history.h"
#include "serv_cli/i_tools_optional.h"
#include "serv_cli/i_tools_text.h"
#include "serv_cli/i_tools_value.h"
