#pragma once
// The server instances of zor_sim, and the thread that keeps them alive.

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "simulator/sim_model.h"

/// A fixed number of instances, numbered from 0. Each is connected or not; a console that asks for
/// number -1 gets the first one that is. Any thread may call everything but `start`.
class SimExchange {
  public:
    static constexpr std::int16_t kInstances = 4;

    explicit SimExchange(int lines_each);

    /// Starts the thread "Model", which lets all instances step every `pace` ms. Once.
    void start(std::int32_t pace);
    /// Lets that thread end soon.
    void stop() { stopping_ = true; }

    /// The instance that a console means by `kel`, or null if that one isn't connected.
    SimModel* find(std::int16_t kel);
    /// Connects or disconnects an instance. False if there is no such number.
    bool connect(int kel, bool on);
    /// Whether a connected instance `kel` is there under just this number.
    bool connected(std::int16_t kel) const;

    /// What a console is told that has joined `kel`.
    std::string greeting(std::int16_t kel);
    /// Shows events to the consoles that watch the instance `kel`.
    void publish(std::int16_t kel, const std::vector<std::string>& events);

  private:
    struct Instance {
        std::unique_ptr<SimModel> model;
        std::atomic<bool> on{true};
    };

    void live(std::int32_t pace);
    bool pause(std::int32_t pace);

    std::array<Instance, kInstances> instances_;
    std::atomic<bool> stopping_{false};
};
