#pragma once
// The server instances of zor_sim, and the thread that keeps them alive.

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "simulator/sim_model.h"

/// A fixed number of instances, numbered from 0. Each is connected or not; a console that asks for
/// number -1 gets the first one that is. Any thread may call everything but `listen` and `start`.
class SimExchange {
  public:
    static constexpr std::int16_t kInstances = 4;

    /// Gets the events of instance `kel`, on the thread that made them happen.
    using Listener = std::function<void(std::int16_t kel, const std::vector<std::string>& events)>;

    explicit SimExchange(int lines_each);

    /// Sets who is told. Before the first event.
    void listen(Listener listener) { listener_ = std::move(listener); }
    /// Starts the thread "Model", which lets all instances step every `pace` ms. Once. False if it
    /// can't be started.
    bool start(std::int32_t pace);
    /// Lets that thread end soon.
    void stop() { stopping_ = true; }

    /// The instance that a console means by `kel`, or null if that one isn't connected.
    SimModel* find(std::int16_t kel);
    /// Connects or disconnects instance `kel`, from 0 to below kInstances.
    void connect(int kel, bool on);
    /// Whether a connected instance `kel` is there under just this number.
    bool connected(std::int16_t kel) const;

    /// What a console is told that has joined `kel`.
    std::string greeting(std::int16_t kel);
    /// Whether a console that has joined `joined` is with instance `kel` now.
    bool means(std::int16_t joined, std::int16_t kel);
    /// Lets line `from` of an instance call line `to`, see SimModel, and tells the listener.
    std::vector<std::string> placeCall(SimModel& model, const std::string& from,
                                       const std::string& to);

  private:
    struct Instance {
        std::unique_ptr<SimModel> model;
        std::atomic<bool> on{true};
    };

    void live(std::int32_t pace);
    void step();
    void tell(const SimModel& model, const std::vector<std::string>& events);
    bool pause(std::int32_t pace);

    std::array<Instance, kInstances> instances_;
    Listener listener_;
    std::atomic<bool> stopping_{false};
};
