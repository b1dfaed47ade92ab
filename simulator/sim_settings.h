#pragma once
// The command line of zor_sim.

#include <string>

/// What a command line may set.
struct SimSettings {
    int port = 3595;     ///< the maintenance port of the family; 0 takes any free one
    int pace = 700;      ///< ms between two steps of the telephony
    int lines = 12;      ///< of each server instance
    int consoles = 200;  ///< most at once
    int unread = 120;    ///< s after which a console that reads nothing is hung up
    bool open = false;   ///< takes consoles of other machines too

    bool help = false;     ///< asks for the usage alone
    bool version = false;  ///< asks for the version alone
};

/// Reads the words of a command line, the first of which names the program, into `settings`. Gives
/// what is wrong with it, without a line end, or an empty text.
std::string simReadSettings(int count, const char* const* words, SimSettings* settings);

/// What `--help` prints.
std::string simUsage();
