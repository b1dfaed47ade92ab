#pragma once
// How both programs end when no memory is left: with a word about it, and never by a signal.

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>

/// The exit status of a program that found no memory.
constexpr int kOutOfMemory = 3;

/// Makes a failed allocation that nobody has dealt with end the process with `message`, one line
/// with its end, on standard error. `message` must live as long as the process. Called before the
/// first object of the process is made, so that those made before `main` are covered too.
template <const char* message>
void endOrderlyWithoutMemory() {
    std::set_terminate([] {
        try {
            if (std::current_exception()) std::rethrow_exception(std::current_exception());
        } catch (const std::bad_alloc&) {
            // No stream and no destructor: either might ask for memory again.
            [[maybe_unused]] const auto told = write(STDERR_FILENO, message, std::strlen(message));
            _exit(kOutOfMemory);
        } catch (...) {
            std::abort();
        }
        std::abort();
    });
}
