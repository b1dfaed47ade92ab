// The dictionaries by command: a table of all lookups.

#include <limits>

#include "serv_cli/dicos.h"
#include "simulator/sim_commands.h"
#include "simulator/sim_commands_list.h"
#include "simulator/sim_text.h"

namespace {

constexpr std::int32_t kLastListed = 2'100;  // above the highest id of any dictionary
constexpr int kMaskBits = 32;
constexpr std::int64_t kLeastValue = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kMostValue = std::numeric_limits<std::uint32_t>::max();  // as a mask
constexpr std::size_t kNamesSize = 2'000;  // bytes; more than all names of a mask

/// One dictionary: `word` gives the word of a value, or `words` writes the words of a mask.
struct Dictionary {
    const char* name;
    const char* about;
    const char* (*word)(std::int32_t value);
    const char* (*words)(char* destination, std::int32_t mask);
};

constexpr Dictionary kDictionaries[] = {
    {"linestate", "what a line does", name_linestate, nullptr},
    {"nomadicstate", "where a nomadic user is", name_nomadicstate, nullptr},
    {"agentstate", "what an agent does", name_CCAlineservstate, nullptr},
    {"callcause", "why a call went as it did", name_linecallcause, nullptr},
    {"callinfo", "what a call brings along", name_linecallinfo, nullptr},
    {"callbackinfo", "what a caller asks for", name_callbackinfo, nullptr},
    {"action", "what the server is told to do", name_action, nullptr},
    {"cfgkey", "keys of a configuration", name_cfgkey, nullptr},
    {"vmailaction", "what happens to a voice message", name_vmailaction, nullptr},
    {"signal", "signals to a telephone", name_signal, nullptr},
    {"language", "languages of a user", name_language, nullptr},
    {"object", "objects of the server", name_object, nullptr},
    {"qolstate", "states of a link's quality", name_qolstate, nullptr},
    {"qoltype", "kinds of a link's quality", name_qoltype, nullptr},
    {"qolprofile", "profiles of a link's quality", name_qolprofile, nullptr},
    {"qoltopology", "topologies of a link's quality", name_qoltopology, nullptr},
    {"lineoptions", "options of a line", nullptr, names_lineoptions},
    {"callkeys", "keys of a call", nullptr, names_callkeys},
    {"linekeys", "keys of a line", nullptr, names_linekeys},
    {"agentkeys", "keys of an agent", nullptr, names_agentkeys},
    {"confkeys", "keys of a conference", nullptr, names_confkeys},
    {"destkind", "kinds of a destination", nullptr, names_destkind},
    {"forwardkinds", "kinds of a forwarding", nullptr, names_forwardkinds},
    {"linekinds", "kinds of a line", nullptr, names_linekinds},
};

std::string lookUp(const Dictionary& dictionary, std::int32_t value) {
    char names[kNamesSize];
    return dictionary.word ? dictionary.word(value) : dictionary.words(names, value);
}

std::string listAll() {
    std::string text = "Dictionaries:\n";
    for (const Dictionary& dictionary : kDictionaries)
        text += simText("    %-14s %s%s\n", dictionary.name, dictionary.about,
                        dictionary.words ? ", as a mask" : "");
    return text;
}

// Every value that has a word of its own.
std::string listWords(const Dictionary& dictionary) {
    std::string text;
    const std::string unknown = lookUp(dictionary, -1);
    for (std::int32_t value = 0; value < kLastListed; ++value) {
        const std::string word = lookUp(dictionary, value);
        if (!word.empty() && word != unknown) text += simText("%5d %s\n", value, word.c_str());
    }
    return text;
}

std::string maskText(const Dictionary& dictionary, std::uint32_t mask) {
    const std::string word = lookUp(dictionary, static_cast<std::int32_t>(mask));
    return word.empty() ? "" : simText("0x%08x %s\n", mask, word.c_str());
}

// Every bit that has a word, and the mask without one where that says something too.
std::string listBits(const Dictionary& dictionary) {
    std::string text = maskText(dictionary, 0);
    for (int bit = 0; bit < kMaskBits; ++bit)
        text += maskText(dictionary, std::uint32_t{1} << bit);
    return text;
}

const Dictionary* findDictionary(const std::string& name) {
    for (const Dictionary& dictionary : kDictionaries)
        if (name == dictionary.name) return &dictionary;
    return nullptr;
}

}  // namespace

void simDico(SimOrder& order) {
    const std::string name = simReadWord(order);
    if (name.empty()) return simSay(order, listAll());
    const Dictionary* const dictionary = findDictionary(name);
    if (!dictionary) return simSay(order, "zor_sim: no dictionary \"" + name + "\". " + listAll());
    const std::string typed = simReadWord(order);
    if (typed.empty())
        return simSay(order, dictionary->word ? listWords(*dictionary) : listBits(*dictionary));
    const auto number = simNumberOf(typed, kLeastValue, kMostValue, 0);
    if (!number)
        return simSay(order, "zor_sim: a value is a number of 32 bits, such as 8 or 0x10.\n");
    const auto value = static_cast<std::int32_t>(*number);
    simSay(order,
           simText("%s %d: \"%s\"\n", dictionary->name, value, lookUp(*dictionary, value).c_str()));
}
