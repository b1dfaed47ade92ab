// The command line of zor_sim, one word a line, beside a model of its options.
#include <cstring>
#include <vector>

#include "fuzz.h"
#include "simulator/sim_settings.h"

namespace {

struct Number {
    const char* name;
    int least, most;
    int SimSettings::*value;
};
constexpr Number kNumbers[] = {{"--port", 0, 65535, &SimSettings::port},
                               {"--pace", 10, 60000, &SimSettings::pace},
                               {"--lines", 2, 90, &SimSettings::lines},
                               {"--consoles", 1, 5000, &SimSettings::consoles},
                               {"--unread", 1, 3600, &SimSettings::unread}};

/// What is wrong with an option's number, or nothing.
std::string takeNumber(const Number& option, const std::string& word, SimSettings& settings) {
    const std::string digits =
        word.substr(std::min(word.find_first_not_of(" \t\n\v\f\r"), word.size()));
    const std::size_t sign = digits.starts_with('-') || digits.starts_with('+');
    const std::string bare = digits.substr(std::min(sign, digits.size()));
    const bool number = !bare.empty() && bare.find_first_not_of("0123456789") == std::string::npos;
    const double value = number ? std::atof(digits.c_str()) : -1e9;
    if (value < option.least || value > option.most)
        return std::string(option.name) + " needs a number from " + std::to_string(option.least) +
               " to " + std::to_string(option.most) + ", not \"" + word + "\"";
    settings.*option.value = static_cast<int>(value);
    return "";
}

std::string takeWords(const std::vector<std::string>& words, SimSettings& settings) {
    for (std::size_t i = 1; i < words.size(); ++i) {
        const std::string& word = words[i];
        settings.open = settings.open || word == "--open";
        settings.help = settings.help || word == "--help" || word == "-h";
        settings.version = settings.version || word == "--version";
        if (word == "--open" || word == "--help" || word == "-h" || word == "--version") continue;
        const auto* const option = std::ranges::find(kNumbers, word, &Number::name);
        if (option == std::end(kNumbers)) return "unknown word \"" + word + "\"";
        const std::string wrong = takeNumber(*option, ++i < words.size() ? words[i] : "", settings);
        if (!wrong.empty()) return wrong;
    }
    return "";
}

std::string told(const SimSettings& settings) {
    std::string text;
    for (const Number& option : kNumbers)
        text += std::to_string(settings.*option.value) + " ";
    return text + (settings.open ? "o" : "") + (settings.help ? "h" : "") +
           (settings.version ? "v" : "");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> words{"zor_sim"};
    for (Input input(data, size); !input.empty();)
        words.push_back(terminated(input.upTo('\n')));
    std::vector<const char*> pointers;
    for (const std::string& word : words)
        pointers.push_back(word.c_str());
    SimSettings found, expected;
    const std::string wrong =
        simReadSettings(static_cast<int>(words.size()), pointers.data(), &found);
    requireSame(wrong, takeWords(words, expected));
    if (wrong.empty()) requireSame(told(found), told(expected));
    return 0;
}
