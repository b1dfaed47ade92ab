#pragma once
// The commands of zor_sim: one table, and what its rows share.
//
// A command runs on the command thread of its console. It talks to the operator through the
// presentation helpers and the ClientId alone, as it would to one at this very terminal; only what
// is special to a remote console goes to the SimConsole.

#include <span>
#include <string>

#include "serv_cli/i_tools.h"
#include "util/i_charstr.h"

class SimConsole;
class SimModel;

/// What an operator has asked for.
struct SimOrder {
    SimConsole& console;
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

/// Runs a line that an operator has typed, without its end. Every line gets an answer, an empty one
/// the state of the console, an unknown command an error that names it.
void runCommands(SimConsole& console, const std::string& line);

/// Sends a text to the console of `order`.
void simSay(const SimOrder& order, const std::string& text);
/// What stands behind the command word and one blank.
std::string simRest(const SimOrder& order);
/// Reads one number from `least` to `most`; tells the console what is needed otherwise.
bool simReadNumber(SimOrder& order, int least, int most, int* number);
/// Whether another word is there.
bool simMoreWords(const SimOrder& order);
/// Reads the next word, or "" if there is none.
std::string simReadWord(SimOrder& order);
