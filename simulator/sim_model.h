#pragma once
// The telephony of one server instance: lines, the calls between them, agents and voice mail. It
// lives in steps; what happens in a step is told as events, one line of text each.

#include <cstdint>
#include <deque>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "serv_cli/i_tools.h"
#include "util/i_os.h"

/// The states of a line that the model uses; the values of `name_linestate`.
enum SimLineState : std::int16_t {
    kLineFree = 1,
    kLineDialing = 5,
    kLineCalling = 6,
    kLineRinging = 7,
    kLineTalking = 8,
    kLineHeld = 9,
    kLineBusyTone = 12,
    kLineReleasing = 15,
};

/// One line as it is now.
struct SimLine {
    std::string number;
    std::string name;
    std::int16_t state = kLineFree;
    std::int32_t options = 0;          ///< a mask of `names_lineoptions`
    std::int32_t kinds = 0;            ///< a mask of `names_linekinds`
    std::string peer;                  ///< the other line of its call, or empty
    std::deque<Histo_Record> history;  ///< its last calls, the newest first
};

/// A call under way between two lines of the model.
struct SimCall {
    std::size_t from = 0;
    std::size_t to = 0;
    std::int16_t cause = 1;  ///< a value of `name_linecallcause`
    std::int32_t id = 0;
    std::int32_t begin = 0;     ///< seconds since the epoch
    std::int32_t answered = 0;  ///< the same, 0 while it isn't
    bool reached = false;       ///< line `to` takes part: it has rung for this call
};

struct SimAgent {
    std::string name;
    std::string line;
    std::int16_t state = 1;  ///< a value of `name_CCAlineservstate`
};

/// A message in the voice mail.
struct SimVoice {
    std::string line;  ///< whose mailbox
    std::string from;
    std::int16_t request = 0;  ///< a value of `name_callbackinfo`
    std::int32_t when = 0;     ///< seconds since the epoch
};

/// Any thread may call everything: one Mutex guards it all, and answers are copies. No operation
/// calls out of the model with the Mutex held.
class SimModel {
  public:
    static constexpr int kMostEvents = 200;  ///< kept of what happened last

    /// Instance number `kel`, with `lines` lines; the same number begins the same life.
    SimModel(std::int16_t kel, int lines);
    ~SimModel();
    SimModel(const SimModel&) = delete;
    SimModel& operator=(const SimModel&) = delete;

    std::int16_t kel() const { return kel_; }

    std::vector<SimLine> lines() const;
    std::optional<SimLine> line(const std::string& number) const;
    std::vector<SimAgent> agents() const;
    std::vector<SimVoice> voiceMail() const;
    /// One line of text for each call under way.
    std::vector<std::string> calls() const;
    /// What happened last, the oldest first: `most` events or fewer, of the kMostEvents that are
    /// kept.
    std::vector<std::string> events(std::size_t most) const;

    /// Lets one thing or more happen and tells what.
    std::vector<std::string> step();
    /// Lets line `from` call line `to`. Gives what happened; empty if one of them is unknown, both
    /// are the same, or `from` isn't free.
    std::vector<std::string> placeCall(const std::string& from, const std::string& to);

  private:
    using Events = std::vector<std::string>;

    std::size_t find(const std::string& number) const;
    int dice(int sides);
    void enter(Events& events, std::size_t line, SimLineState state, const std::string& peer);
    void begin(Events& events, std::size_t from, std::size_t to);
    bool advance(Events& events, SimCall& call);
    bool ring(Events& events, SimCall& call);
    bool answerOrLeave(Events& events, SimCall& call);
    bool talk(Events& events, const SimCall& call);
    void finish(Events& events, const SimCall& call);
    void leaveMessage(Events& events, const SimCall& call);
    void record(const SimCall& call, bool outgoing);
    void moveAgent(Events& events);
    void keep(const Events& events);

    const std::int16_t kel_;
    Mutex* mutex_ = nullptr;      // "mutex_model"; guards what follows
    std::vector<SimLine> lines_;  // as many as at the start, whatever happens
    std::vector<SimCall> calls_;
    std::vector<SimAgent> agents_;
    std::deque<SimVoice> voices_;     // the newest first
    std::deque<std::string> events_;  // the newest last
    std::minstd_rand random_;
    std::int32_t last_call_ = 0;
};
