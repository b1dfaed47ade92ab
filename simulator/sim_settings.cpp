#include "simulator/sim_settings.h"

#include "simulator/sim_text.h"

namespace {

struct NumberOption {
    const char* name;
    int SimSettings::*value;
    int least, most;
    const char* help;
};

struct SwitchOption {
    const char* name;
    const char* short_name;  // or the same
    bool SimSettings::*value;
    const char* help;
};

constexpr NumberOption kNumbers[] = {
    {"--port", &SimSettings::port, 0, 65'535, "the port to listen on; 0 takes any free one"},
    {"--pace", &SimSettings::pace, 10, 60'000, "ms between two moves of the telephony"},
    {"--lines", &SimSettings::lines, 2, 90, "lines of each server instance"},  // numbers stay apart
    {"--consoles", &SimSettings::consoles, 1, 5'000, "consoles at once; more are refused"},
    {"--unread", &SimSettings::unread, 1, 3'600, "s until a console that reads nothing is hung up"},
};

constexpr SwitchOption kSwitches[] = {
    {"--open", "--open", &SimSettings::open, "take consoles of other machines too"},
    {"--help", "-h", &SimSettings::help, "print this and end"},
    {"--version", "--version", &SimSettings::version, "print the version and end"},
};

const NumberOption* findNumber(const std::string& word) {
    for (const NumberOption& option : kNumbers)
        if (word == option.name) return &option;
    return nullptr;
}

const SwitchOption* findSwitch(const std::string& word) {
    for (const SwitchOption& option : kSwitches)
        if (word == option.name || word == option.short_name) return &option;
    return nullptr;
}

}  // namespace

std::string simReadSettings(int count, const char* const* words, SimSettings* settings) {
    for (int i = 1; i < count; ++i) {
        const std::string word = words[i];
        if (const SwitchOption* const option = findSwitch(word)) {
            settings->*option->value = true;
            continue;
        }
        const NumberOption* const option = findNumber(word);
        if (!option) return simText("unknown word \"%s\"", word.c_str());
        const std::string text = ++i < count ? words[i] : "";
        const auto number = simNumberOf(text, option->least, option->most);
        if (!number)
            return simText("%s needs a number from %d to %d, not \"%s\"", option->name,
                           option->least, option->most, text.c_str());
        settings->*option->value = static_cast<int>(*number);
    }
    return "";
}

std::string simUsage() {
    const SimSettings standard;
    std::string text = "Usage: zor_sim";
    for (const NumberOption& option : kNumbers)
        text += simText(" [%s N]", option.name);
    for (const SwitchOption& option : kSwitches)
        text += simText(" [%s]", option.name);
    text += "\nServes maintenance consoles as the telephony server does.\n";
    for (const NumberOption& option : kNumbers)
        text +=
            simText("  %-12s %s; %d to %d, else %d\n", (std::string(option.name) + " N").c_str(),
                    option.help, option.least, option.most, standard.*option.value);
    for (const SwitchOption& option : kSwitches)
        text += simText("  %-12s %s\n", option.name, option.help);
    return text +
           "Exit status: 0 after stop or a signal, 1 if the port can't be had or a thread doesn't "
           "end,\n2 for a wrong command line.\n";
}
