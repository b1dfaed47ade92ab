#pragma once
// The functions behind the command table, by theme. The table tells what each does.

struct SimOrder;

// The console itself: sim_commands_console.cpp
void simEcho(SimOrder& order);
void simConsoles(SimOrder& order);
void simKels(SimOrder& order);
void simClear(SimOrder& order);
void simKey(SimOrder& order);
void simNoKey(SimOrder& order);
void simBody(SimOrder& order);
void simHidden(SimOrder& order);
void simOptions(SimOrder& order);
void simKick(SimOrder& order);
void simTell(SimOrder& order);
void simBye(SimOrder& order);
void simStop(SimOrder& order);

// Telephony: sim_commands_lines.cpp
void simLines(SimOrder& order);
void simCalls(SimOrder& order);
void simHistory(SimOrder& order);
void simAgents(SimOrder& order);
void simVoiceMail(SimOrder& order);
void simEvents(SimOrder& order);
void simWatch(SimOrder& order);
void simFilter(SimOrder& order);
void simAsk(SimOrder& order);
void simXml(SimOrder& order);

// Words of the server: sim_commands_dico.cpp
void simDico(SimOrder& order);

// The process: sim_commands_system.cpp
void simThreads(SimOrder& order);
void simLocks(SimOrder& order);
void simTrace(SimOrder& order);
void simFiles(SimOrder& order);
