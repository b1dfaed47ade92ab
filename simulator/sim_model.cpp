#include "simulator/sim_model.h"

#include <algorithm>
#include <ctime>

#include "serv_cli/dicos.h"
#include "simulator/sim_text.h"

namespace {

constexpr char SOURCE_MODULE[] = "simulator/sim_model";

constexpr int kFirstNumber = 200;  // of instance 0; each further instance 100 higher
constexpr std::size_t kNowhere = SIZE_MAX;

constexpr const char* kNames[] = {"Adler Ruth",  "Becker Jan", "Costa Lia",  "Durand Paul",
                                  "Evans Mary",  "Ferri Luca", "Gomez Ana",  "Hansen Ole",
                                  "Ivanov Vera", "Jonas Emil", "Keller Ida", "Lopez Raul"};
constexpr const char* kAgentNames[] = {"Marin Eva", "Novak Petr", "Olsen Kari", "Petit Hugo"};

}  // namespace

SimModel::SimModel(std::int16_t kel, int lines)
    : kel_(kel), random_(static_cast<unsigned>(kel) + 1) {
    mutexInit(&mutex_, "mutex_model");
    const int first = kFirstNumber + 100 * kel;
    for (int i = 0; i < lines; ++i) {
        SimLine line;
        line.number = std::to_string(first + i);
        line.name = kNames[static_cast<std::size_t>(i) % std::size(kNames)];
        line.options = i % 4 == 3 ? 1 << i % 3 : 0;
        line.kinds = 1 << i % 6;
        lines_.push_back(line);
    }
    for (const char* const name : kAgentNames)
        agents_.push_back({name, lines_[agents_.size() % lines_.size()].number, 1});
}

SimModel::~SimModel() {
    mutexDestroy(mutex_);
}

std::size_t SimModel::find(const std::string& number) const {
    const auto place = std::ranges::find(lines_, number, &SimLine::number);
    return place == lines_.end() ? kNowhere : static_cast<std::size_t>(place - lines_.begin());
}

std::vector<SimLine> SimModel::lines() const {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    return lines_;
}

std::optional<SimLine> SimModel::line(const std::string& number) const {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    const std::size_t place = find(number);
    if (place == kNowhere) return std::nullopt;
    return lines_[place];
}

std::vector<SimAgent> SimModel::agents() const {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    return agents_;
}

std::vector<SimVoice> SimModel::voiceMail() const {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    return {voices_.begin(), voices_.end()};
}

std::vector<std::string> SimModel::calls() const {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    const auto now = static_cast<std::int32_t>(std::time(nullptr));
    std::vector<std::string> texts;
    for (const SimCall& call : calls_)
        texts.push_back(simText("call %d: %s to %s, %s, cause %s, %d s", call.id,
                                lines_[call.from].number.c_str(), lines_[call.to].number.c_str(),
                                name_linestate(lines_[call.from].state),
                                name_linecallcause(call.cause), now - call.begin));
    return texts;
}

std::vector<std::string> SimModel::events(std::size_t most) const {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    const auto count = static_cast<std::ptrdiff_t>(std::min(most, events_.size()));
    return {events_.end() - count, events_.end()};
}

std::vector<std::string> SimModel::placeCall(const std::string& from, const std::string& to) {
    const MutexHold hold(mutex_, SOURCE_MODULE, __LINE__);
    Events events;
    const std::size_t caller = find(from);
    const std::size_t called = find(to);
    if (caller == kNowhere || called == kNowhere || caller == called) return events;
    if (lines_[caller].state == kLineFree) begin(events, caller, called);
    keep(events);
    return events;
}
