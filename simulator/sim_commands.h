#pragma once
// The commands of zor_sim: what an operator may type, what each does, and the answers.

#include <string>

class SimSession;

/// Runs one line of operator input, without its line end, and sends the answer to the session's
/// console. Every line gets an answer: an empty one the state of the session, an unknown command
/// an error that names it. Called on the session's thread.
void runCommand(SimSession& session, const std::string& line);
