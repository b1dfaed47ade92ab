#pragma once
// The mailbox of a console: one place where its command thread waits for all that concerns the
// console. A thread that has news only posts it, and never waits for a console that doesn't read.

#include <cstdint>
#include <memory>
#include <string>

#include "serv_cli/i_tools.h"

/// What a letter brings; also its first byte in the mailbox.
enum class SimMail : char {
    kNone = 0,     ///< nothing: somebody has woken the thread that waits
    kTyped = 't',  ///< a text from the operator, and the KEL that it is for
    kJoin = 'j',   ///< the KEL that the console has joined
    kLeave = 'l',  ///< the KEL that it has left
    kShown = 's',  ///< a text for the screen: an event, a trace line
};

struct SimLetter {
    SimMail kind = SimMail::kNone;
    std::int16_t kel = 0;
    std::string text;
};

/// First in, first out, on a mailbox of the library. Any thread may call everything but `take`.
class SimMailbox {
  public:
    SimMailbox();

    void post(SimMail kind, std::int16_t kel, const std::string& text);
    /// Lets a `take` come back with nothing. Needs no memory.
    void wake();
    /// The next letter; waits for one. Called by the one thread that the mailbox belongs to.
    SimLetter take();
    /// How many letters wait.
    int count();

  private:
    const std::unique_ptr<Elt_Supervision> box_;
};
