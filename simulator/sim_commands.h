#pragma once
// The commands of zor_sim: one table, and what its rows share.
//
// A command runs on the command thread of its console. It talks to the console through the
// presentation helpers and its ClientId alone, as it would to an operator at this very terminal;
// only what is special to a connection goes to the session.

#include <span>
#include <string>

#include "serv_cli/i_tools.h"
#include "util/i_charstr.h"

class SimModel;
class SimSession;

/// What an operator has asked for.
struct SimOrder {
    SimSession& session;
    ClientId client;
    SimModel* model;   ///< the instance that it is for; null only for commands that need none
    CharString words;  ///< what stands behind the command word
};

/// A row of the command table.
struct SimCommand {
    const char* name;
    const char* arguments;
    const char* help;
    void (*run)(SimOrder& order);
    bool needs_model = false;
};

/// All commands, in the order of the help text.
std::span<const SimCommand> simCommands();

/// Runs what an operator has typed: one line, with or without its end. Every line gets an answer,
/// an empty one the state of the session, an unknown command an error that names it.
void runCommands(SimSession& session, const std::string& line);

/// Sends a text to the console of `order`.
void simSay(const SimOrder& order, const std::string& text);
/// Reads one number from `least` to `most`; tells the console what is needed otherwise.
bool simReadNumber(SimOrder& order, int least, int most, int* number);
/// Reads the next word, or "" if there is none.
std::string simReadWord(SimOrder& order);
