#include "simulator/sim_snapshot.h"

#include <memory>

#include "serv_cli/dicos.h"
#include "simulator/sim_model.h"
#include "simulator/sim_text.h"
#include "util/i_charstr.h"
#include "util/i_msg.h"

std::vector<char> simPack(const SimModel& model) {
    const auto lines = model.lines();
    char* base = nullptr;
    char* cursor = nullptr;
    std::int32_t capacity = 0;
    ReserveShort(&cursor, &base, &capacity, 0);
    PutShort(static_cast<std::int16_t>(lines.size()), &cursor);
    for (const SimLine& line : lines) {
        ReserveText(&cursor, &base, &capacity, line.number.c_str());
        PutText(line.number.c_str(), &cursor);
        ReserveText(&cursor, &base, &capacity, line.name.c_str());
        PutText(line.name.c_str(), &cursor);
        ReserveShort(&cursor, &base, &capacity, line.state);
        PutShort(line.state, &cursor);
    }
    const std::unique_ptr<char[]> owner(base);
    return {base, cursor};
}

std::optional<std::vector<std::string>> simUnpack(std::vector<char> bytes) {
    char* cursor = bytes.data();
    const char* const limit = cursor + bytes.size();
    std::int16_t count = 0;
    if (!GetShort(&count, &cursor, limit)) return std::nullopt;
    std::vector<std::string> texts;
    for (std::int16_t i = 0; i < count; ++i) {
        char number[16];
        char name[32];
        std::int16_t state = 0;
        if (!GetText(number, &cursor, sizeof number, limit) ||
            !GetText(name, &cursor, sizeof name, limit) || !GetShort(&state, &cursor, limit))
            return std::nullopt;
        texts.push_back(simText("%s %s %s", number, name, name_linestate(state)));
    }
    return texts;
}

CharString simXmlOf(const SimModel& model) {
    CharString text(kXmlHead);
    text.xmlOpen("kel").xmlLeaf("number", model.kel()) << "\n";
    for (const SimLine& line : model.lines()) {
        text << "  ";
        text.xmlOpen("line").xmlLeaf("number", line.number.c_str());
        text.xmlLeaf("name", line.name.c_str()).xmlLeaf("state", name_linestate(line.state));
        text.xmlClose("line") << "\n";
    }
    text.xmlClose("kel") << "\n";
    return text;
}
