// The virtual adapter: takes request frames, yields response and notification frames. It knows nothing of reports,
// sockets or processes; the ports carry its frames to the host.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "board/board.hpp"
#include "devices/world.hpp"
#include "model/frame.hpp"
#include "model/presence.hpp"
#include "model/probe.hpp"

namespace sim {

class Bench;
struct Firmware;

// Not thread-safe: one thread drives one adapter.
class VirtualAdapter {
public:
    // Takes each frame that the adapter sends, in the order in which it sends them.
    using Send = std::function<void(const Frame& frame)>;

    // The world outlives the adapter, and so does the probe, if there is one.
    VirtualAdapter(AdapterBoard board, World& world, Send send, Probe* probe = nullptr);
    ~VirtualAdapter();

    // Executes one whole request frame and sends its response, if the command has one, and the notifications that it
    // causes. Ignored unless the adapter is on the bus.
    void request(std::span<const std::uint8_t> frame);

    // Sends the notifications that devices have caused on their own.
    void settle();

    // Reset and boot mode take the adapter off the bus. The port lets it vanish and, after a restart, lets it
    // reappear by calling `powerUp`, which begins with the state of a new adapter.
    Presence presence() const;
    void powerUp();

    // For whoever looks at the adapter and what is around it. After a change `settle` sends what it has caused.
    const AdapterBoard& board() const;
    const Firmware& firmware() const;
    Bench& bench();

    // What comes in on the UART, from whomever. False when nobody listens there: the UART is not initialised.
    bool receiveOnUart(std::span<const std::uint8_t> bytes);

    // Events from outside, for a user who wants to see one: target is the index of an I3C target, from 0.
    // False when there is no such target or it may not do so now (no dynamic address, events disabled, ...).
    bool raiseInBandInterrupt(std::size_t target, std::span<const std::uint8_t> payload);
    bool raiseHotJoin(std::size_t target);

private:
    struct Model;
    std::unique_ptr<Model> model_;
};

} // namespace sim
