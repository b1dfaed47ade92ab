#pragma once
// The log of zor_sim: standard output, line by line, each with the time of day in front and the
// console that it is about.

#include <atomic>
#include <cstdint>
#include <string>

/// Names the console that the calling thread serves: its lines begin with "console" and `number`.
void simServes(int number);

/// Writes the lines of `text` to the log alone. It takes no Mutex, so the lock layer may use it.
void simLog(const char* text);

/// Traces `text`, as far as there is memory to do it well. For those who have just found none.
void simTellLack(const char* text) noexcept;

/// Gets each line of the log, finished; what it logs itself doesn't come back to it.
using SimLogReader = void (*)(const std::string& line);
/// Makes the log the sink of all trace lines and of the reports of failed system calls, and hands
/// each line to `reader` too. Before any other thread.
void simInstallLog(SimLogReader reader);

/// Something that may happen often, and that the log would drown in.
class SimRarely {
  public:
    /// To be called each time that it happens: how often it has since it was last told, if that is
    /// 10 s or longer ago, and otherwise 0. One thread.
    int due();

  private:
    std::int32_t told_ = 0;  // seconds of the steady clock; 0 for never
    int times_ = 0;
};

/// Seconds of a clock that is never set; 32 bits, which every machine reads and writes as one.
std::int32_t simSeconds();
