#include "devices/uart_script.hpp"

#include <algorithm>
#include <utility>

namespace sim {

UartScript::UartScript(std::shared_ptr<const Script> script, World& world) : script_(std::move(script)), world_(world)
{
    powerCycle();
}

void UartScript::powerCycle()
{
    line_.clear();
    waiting_.clear();
    for (const Timer& timer : script_->timers) {
        sendAfter(timer.first, timer.text, timer.every);
    }
}

void UartScript::receive(std::span<const std::uint8_t> bytes)
{
    if (script_->echoes) {
        send(bytes);
    }
    for (const std::uint8_t byte : bytes) {
        const char character = static_cast<char>(byte);
        if (script_->ends.find(character) == std::string::npos) {
            line_.append(line_.size() < LONGEST_LINE ? 1 : 0, character);
        } else if (const std::string line = std::exchange(line_, {}); !line.empty()) {
            answer(line);
        }
    }
}

void UartScript::answer(const std::string& line)
{
    const auto reply = std::ranges::find_if(script_->replies, [&](const Reply& each) { return each.fits(line); });
    if (reply == script_->replies.end()) {
        return;
    }
    if (reply->after == Duration{}) {
        sendText(reply->text);
    } else if (waiting_.size() < MOST_WAITING) {
        sendAfter(reply->after, reply->text, {});
    }
}

// `text` is the script's.
void UartScript::sendAfter(Duration delay, const std::string& text, Duration every)
{
    const std::uint64_t number = next_++;
    waiting_[number] = world_.after(delay, [this, number, every, &text] {
        const World::Subscription ended = std::move(waiting_[number]);
        waiting_.erase(number);
        if (every != Duration{}) {
            sendAfter(every, text, every);
        }
        sendText(text);
    });
}

void UartScript::sendText(std::string_view text) const
{
    send({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

} // namespace sim
