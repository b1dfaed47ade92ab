#pragma once
// The command line of zor_ask.

#include <cstdint>
#include <optional>
#include <string>

/// What is asked, where, and how long an answer may take.
struct AskOptions {
    std::string host;
    std::int32_t port = 3595;          ///< the maintenance port of the family
    std::int16_t kel = -1;             ///< the server instance, -1 for the first connected one
    std::int32_t seconds = 10;         ///< for all of it; with `from_input` for each answer
    std::int32_t quiet = 300;          ///< ms without a text that end the banner, and an answer
    std::optional<std::string> until;  ///< what an answer ends with instead
    std::string command;
    bool from_input = false;  ///< the commands are the lines of standard input
};

/// Reads the command line. Ends the process on --help, and with status 2 and the usage on a wrong
/// word.
AskOptions readAskOptions(int count, char** words);
