#pragma once
// A trace sink for tests: keeps what reaches it, call by call, while it lives.

#include <mutex>
#include <regex>
#include <string>
#include <vector>

#include "util/i_trace.h"

class CapturedTrace {
  public:
    CapturedTrace() {
        kept.clear();
        setTraceSink([](const char* text) {
            const std::lock_guard hold(guard);
            kept.emplace_back(text);
        });
    }
    ~CapturedTrace() { setTraceSink(nullptr); }

    /// The texts so far as the sink got them, and the same with each well-formed stamp as "@".
    std::vector<std::string> raw() const {
        const std::lock_guard hold(guard);
        return kept;
    }
    std::vector<std::string> lines() const {
        static const std::regex stamp("^[0-2][0-9]h[0-5][0-9]:[0-6][0-9]\\.[0-9]{3}   ");
        auto texts = raw();
        for (auto& text : texts)
            text = std::regex_replace(text, stamp, "@");
        return texts;
    }

  private:
    static inline std::mutex guard;
    static inline std::vector<std::string> kept;
};
