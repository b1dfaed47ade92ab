#pragma once
// A trace sink for tests: keeps what reaches it, call by call, while it lives.

#include <fnmatch.h>

#include <mutex>
#include <string>
#include <vector>

#include "util/i_trace.h"

struct CapturedTrace {
    CapturedTrace() {
        kept.clear();
        setTraceSink([](const char* text) {
            constexpr char kStamp[] = "[0-2][0-9]h[0-5][0-9]:[0-6][0-9].[0-9][0-9][0-9]   *";
            const bool stamped = fnmatch(kStamp, text, 0) == 0;
            const std::lock_guard hold(guard);
            kept.push_back(stamped ? std::string("@") + (text + 15) : text);
        });
    }
    ~CapturedTrace() { setTraceSink(nullptr); }

    /// The texts so far, each with "@" for a well-formed stamp; and the same in one piece.
    std::vector<std::string> lines() const {
        const std::lock_guard hold(guard);
        return kept;
    }
    std::string all() const {
        std::string text;
        for (const auto& line : lines()) text += line;
        return text;
    }

    static inline std::mutex guard;
    static inline std::vector<std::string> kept;
};
