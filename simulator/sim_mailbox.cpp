#include "simulator/sim_mailbox.h"

#include <cstdlib>

#include "simulator/sim_text.h"
#include "util/i_os.h"

namespace {

constexpr char SOURCE_MODULE[] = "simulator/sim_mailbox";

}  // namespace

SimMailbox::SimMailbox() : box_(std::make_unique<Elt_Supervision>(ClientId(), nullptr)) {}

// A mailbox puts a text behind its cursor, which a taking leaves on the next text. What an operator
// types must keep its order, so the cursor goes to the end first, under the lock of the queue.
void SimMailbox::post(SimMail kind, std::int16_t kel, const std::string& text) {
    const std::string letter = simText("%c%d ", static_cast<char>(kind), kel) + text;
    const MutexHold queue(box_->queue_lock, SOURCE_MODULE, __LINE__);
    box_->parametres->finish();
    box_->put_parametre(letter.c_str());
}

void SimMailbox::wake() {
    semUnLock(box_->signal);
}

// A wait that a signal has ended finds either nothing, or a text whose count a later wait spends on
// nothing: no text is lost, and none comes twice.
SimLetter SimMailbox::take() {
    const std::unique_ptr<const char[]> letter(box_->get_parametre());
    if (!letter) return {};
    box_->remove_parametre(letter.get());
    char* text = nullptr;
    const auto kel = static_cast<std::int16_t>(std::strtol(letter.get() + 1, &text, 10));
    return {static_cast<SimMail>(letter[0]), kel, text + 1};
}

int SimMailbox::count() {
    const MutexHold queue(box_->queue_lock, SOURCE_MODULE, __LINE__);
    return box_->parametres->count();
}
