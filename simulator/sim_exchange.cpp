#include "simulator/sim_exchange.h"

#include <algorithm>
#include <new>

#include "simulator/sim_log.h"
#include "simulator/sim_text.h"
#include "simulator/sim_thread.h"
#include "util/i_os.h"

namespace {

constexpr std::int32_t kMostSleep = 100;  // ms, after which the end is looked for

}  // namespace

SimExchange::SimExchange(int lines_each) {
    for (std::int16_t kel = 0; kel < kInstances; ++kel)
        instances_[static_cast<std::size_t>(kel)].model =
            std::make_unique<SimModel>(kel, lines_each);
}

bool SimExchange::start(std::int32_t pace) {
    return simStartThread("Model", [this, pace] { live(pace); });
}

void SimExchange::live(std::int32_t pace) {
    while (pause(pace))
        step();
}

// A step that finds no memory is over; the next one may find some.
void SimExchange::step() {
    try {
        for (Instance& instance : instances_)
            if (instance.on) tell(*instance.model, instance.model->step());
    } catch (const std::bad_alloc&) {
        simTellLack("a step of the telephony is left out: no memory");
    }
}

void SimExchange::tell(const SimModel& model, const std::vector<std::string>& events) {
    if (listener_) listener_(model.kel(), events);
}

std::vector<std::string> SimExchange::placeCall(SimModel& model, const std::string& from,
                                                const std::string& to) {
    auto events = model.placeCall(from, to);
    tell(model, events);
    return events;
}

// In short sleeps: a pace may be longer than the server's patience with its threads at the end.
bool SimExchange::pause(std::int32_t pace) {
    for (std::int32_t left = pace; left > 0 && !stopping_; left -= kMostSleep)
        threadSleep(std::min(left, kMostSleep));
    return !stopping_;
}

bool SimExchange::connected(std::int16_t kel) const {
    return kel >= 0 && kel < kInstances && instances_[static_cast<std::size_t>(kel)].on;
}

SimModel* SimExchange::find(std::int16_t kel) {
    for (Instance& instance : instances_)
        if (instance.on && (kel == -1 || kel == instance.model->kel())) return instance.model.get();
    return nullptr;
}

void SimExchange::connect(int kel, bool on) {
    instances_.at(static_cast<std::size_t>(kel)).on = on;
}

std::string SimExchange::greeting(std::int16_t kel) {
    const SimModel* const model = find(kel);
    if (!model) return simText("zor_sim: KEL %d isn't connected; kels tells which are.\n", kel);
    if (kel == -1)
        return simText("zor_sim: you are with the first connected KEL, %d.\n", model->kel());
    return simText("zor_sim: you are with KEL %d.\n", kel);
}

// A console's -1 follows the first connected instance, whichever that is at the moment; one that
// has left its instance is with none, since no instance is found for it.
bool SimExchange::means(std::int16_t joined, std::int16_t kel) {
    const SimModel* const model = find(joined);
    return model && model->kel() == kel;
}
