#pragma once
// The end of the server: who may ask for it, and how the accepting thread learns of it.

#include <atomic>
#include <cstdint>

/// One for the process. The library leaves signals alone; a server that is to be left running
/// doesn't, and takes them as descriptors, so that no call of any thread is ever interrupted.
class SimEnd {
  public:
    SimEnd();
    ~SimEnd();
    SimEnd(const SimEnd&) = delete;
    SimEnd& operator=(const SimEnd&) = delete;

    /// Lets SIGTERM and SIGINT ask for the end instead of ending the process. Before the first
    /// thread, which inherits that. False, with the reason in LastError, if descriptors lack.
    bool takeSignals();

    /// Asks for the end. Any thread.
    void ask();
    /// Waits until `fd` is readable and gives true, or false once the end is asked for. One thread.
    bool waitReadable(std::int32_t fd);

  private:
    const int event_;   // readable once somebody has asked
    int signals_ = -1;  // readable once one of the signals has come
};
