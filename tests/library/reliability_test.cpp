// The fault matrix of docs/reliability.md: what a caller sees of torn answers, failing writes and storms, in plain and
// in strict sessions of the shipped library with hidapi replaced.
#include <algorithm>
#include <chrono>
#include <memory>
#include <string_view>
#include <thread>
#include <utility>

#include "support/adapter.hpp"
#include "support/received.hpp"
#include "tarvixsdk/sdk.hpp"

namespace {

constexpr int SHORT = 50;                  // ms
constexpr std::uint16_t SIZE = 4 * 62 - 9; // bytes read, so that the answer fills four reports
const Bytes NOTIFICATION{0, 0, 0x81, 0x14, 0, 0, 3};

using Reports = std::vector<Bytes>;
using Damage = void (*)(Reports& reports, std::size_t place);

Reports::iterator at(Reports& reports, std::size_t place)
{
    return reports.begin() + static_cast<std::ptrdiff_t>(place);
}

// What becomes of a command.
enum Outcome : char {
    RIGHT = 'r',
    WRONG = 'w', // SUCCESS with other data than the adapter sent
    TOO_SHORT = 's',
    TOO_LONG = 'l',
    NO_ANSWER = '-',
};

class Reliability : public Adapter {
protected:
    // Answers each read with bytes that follow from its register, and damages the answer if so told.
    Reliability()
    {
        device->onFrame([this](const Bytes& request) {
            Bytes data = counting(SIZE + request.at(9));
            data.erase(data.begin(), data.begin() + request.at(9));
            Reports reports = device->cut(answerTo(request, hex("00 00 00 EF 00") + data));
            if (damage_) {
                damage_(reports, place_);
            }
            for (Bytes& report : reports) {
                device->deliverReport(std::move(report));
            }
        });
    }

    std::unique_ptr<TarvixSDK> session(bool strict, int timeout = LONG_ENOUGH)
    {
        auto sdk = std::make_unique<TarvixSDK>(timeout);
        sdk->onNotification([this](const Notification& it) { notifications.add({it.data, it.data + it.length}); });
        EXPECT_TRUE(strict ? bool(sdk->open()) : sdk->connect(""));
        return sdk;
    }

    void setDamage(Damage damage, std::size_t place)
    {
        damage_ = damage;
        place_ = place;
    }

    static Outcome read(TarvixSDK& sdk, std::uint8_t reg)
    {
        Bytes data;
        switch (const StatusCode status = sdk.i2cRead(0, 0x50, {reg}, SIZE, data, false)) {
        case StatusCode::SUCCESS:
            return data == part(counting(SIZE + std::size_t{reg}), reg, SIZE + std::size_t{reg}) ? RIGHT : WRONG;
        case StatusCode::RESPONSE_TOO_SHORT:
            return TOO_SHORT;
        case StatusCode::UNEXPECTED_RESPONSE:
            return TOO_LONG;
        default:
            EXPECT_EQ(status, StatusCode::NO_RESPONSE);
            return NO_ANSWER;
        }
    }

    Received<Bytes> notifications;

private:
    Damage damage_ = nullptr;
    std::size_t place_ = 0;
};

// Segments carry no number: a strict session notices each of these but two that changed places in the middle. The
// outcomes are those of damage at the first segment, the second, and so on.
TEST_F(Reliability, ATornAnswerSpoilsNoOtherOfAStrictSession)
{
    const struct {
        const char* what;
        Damage damage;
        std::string_view strict;
        std::string_view plain;
        std::size_t notifications = 0;
    } rows[]{
        {"lost", [](Reports& reports, std::size_t place) { reports.erase(at(reports, place)); }, "-ss-", "www-"},
        {"doubled",
         [](Reports& reports, std::size_t place) { reports.insert(at(reports, place), Bytes(reports[place])); }, "rllr",
         "rwwr"},
        {"behind the next one",
         [](Reports& reports, std::size_t place) { std::swap(reports[place], reports[place + 1]); }, "sws", "www"},
        {"followed by a notification",
         [](Reports& reports, std::size_t place) {
             reports.insert(at(reports, place + 1), padded(hex("1F 00") + NOTIFICATION, 64));
         },
         "---r", "---r", 1},
    };
    for (const auto& row : rows) {
        for (const bool strict : {true, false}) {
            const std::string_view outcomes = strict ? row.strict : row.plain;
            for (std::size_t place = 0; place < outcomes.size(); ++place) {
                SCOPED_TRACE(std::string(row.what) + (strict ? ", strict, " : ", plain, ") + std::to_string(place));
                const auto expected = static_cast<Outcome>(outcomes[place]);
                std::unique_ptr<TarvixSDK> sdk;
                do { // on a busy machine the first answer may miss the short timeout
                    sdk.reset();
                    sdk = session(strict, expected == NO_ANSWER ? SHORT : LONG_ENOUGH);
                } while (read(*sdk, 1) != RIGHT);
                const std::size_t before = notifications.size();
                setDamage(row.damage, place);
                EXPECT_EQ(read(*sdk, 100), expected);
                setDamage(nullptr, 0);
                ASSERT_TRUE(device->settle());
                // The rest of a torn answer makes a second one in a plain session.
                const std::size_t times = !strict && expected == NO_ANSWER ? 2 : 1;
                EXPECT_EQ(notifications.size() - before, times * row.notifications);
                Outcome next = NO_ANSWER;
                while (strict && next == NO_ANSWER) {
                    next = read(*sdk, 200);
                }
                EXPECT_TRUE(!strict || next == RIGHT) << next;
            }
        }
    }
}

TEST_F(Reliability, ASegmentThatIsNotWrittenEndsAStrictRequestAndNoPlainOne)
{
    const Bytes message = counting(3 * 62 - 6); // fills three reports
    for (const bool strict : {true, false}) {
        device->onFrame(nullptr);
        const auto sdk = session(strict, 1);
        for (std::size_t failing = 1; failing <= 4; ++failing) { // the last only in part
            device->forget();
            device->failWrite(static_cast<int>(failing));
            device->shortenWrites(failing == 4); // counts as written: the system says no more than that it took some
            EXPECT_EQ(sdk->uartSendMessage(message), StatusCode::NO_RESPONSE);
            Reports written =
                device->cut(answerTo(Bytes{static_cast<std::uint8_t>(failing), 0, 5, 16}, {180, 0}) + message);
            if (failing <= 3) {
                written.erase(at(written, failing - 1), strict ? written.end() : at(written, failing));
            }
            for (Bytes& report : written) {
                report.insert(report.begin(), 0);
            }
            EXPECT_EQ(device->reports(), written) << failing;
        }
        device->shortenWrites(false);
        answer("00 00");
        StatusCode next = StatusCode::NO_RESPONSE;
        while (next == StatusCode::NO_RESPONSE) {
            next = sdk->uartSendMessage(message);
        }
        EXPECT_EQ(next, StatusCode::SUCCESS);
    }
}

// On the real clock, as callers see it. A busy machine may wake anybody late, so one good median will do.
TEST_F(Reliability, NoAnswerIsNeverEarlyAndUsuallyLessThan20MillisecondsLate)
{
    using Milliseconds = std::chrono::duration<double, std::milli>;
    constexpr double LATEST = 20;
    device->onFrame(nullptr);
    for (const bool strict : {false, true}) {
        const auto sdk = session(strict, SHORT);
        double median = LATEST + 1;
        for (int round = 0; round < 40 && median > LATEST; ++round) {
            std::vector<double> late(5);
            for (double& by : late) {
                const auto begin = std::chrono::steady_clock::now();
                ASSERT_EQ(sdk->uartDeinit(), StatusCode::NO_RESPONSE);
                by = Milliseconds(std::chrono::steady_clock::now() - begin).count() - SHORT;
                ASSERT_GE(by, 0);
            }
            std::nth_element(late.begin(), late.begin() + 2, late.end());
            median = late[2];
        }
        EXPECT_LE(median, LATEST);
    }
}

TEST_F(Reliability, AStormOfNotificationsSpoilsNoAnswerHoweverSlowTheirHandler)
{
    constexpr std::size_t STORM = 15; // notifications before each answer, and as many behind it
    constexpr std::size_t COMMANDS = 10;
    static const auto damage = [](Reports& reports, std::size_t) {
        const Reports storm(STORM, padded(hex("1F 00") + NOTIFICATION, 64));
        reports = storm + reports + storm;
    };
    setDamage(damage, 0);
    for (const int microseconds : {0, 500, 2000}) {
        for (const bool strict : {true, false}) {
            const auto sdk = session(strict);
            Received<Bytes> heard;
            sdk->onNotification([&](const Notification& it) {
                std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
                heard.add({it.data, it.data + it.length});
            });
            for (std::uint8_t i = 0; i < COMMANDS; ++i) {
                ASSERT_EQ(read(*sdk, i), RIGHT);
            }
            EXPECT_EQ(heard.atLeast(2 * STORM * COMMANDS), Reports(2 * STORM * COMMANDS, NOTIFICATION));
            sdk->disconnect();
        }
    }
}

TEST_F(Reliability, ClosingDuringABlockedWriteWaitsForItAndEndsTheCommand)
{
    for (const bool strict : {true, false}) {
        const auto sdk = session(strict, strict ? FOREVER : SHORT);
        const int held = device->heldWrites();
        const int closes = device->closes();
        device->onFrame(nullptr);
        device->holdWrites(true);
        StatusCode status{};
        std::thread sender([&] { status = sdk->uartSendMessage(Bytes(150)); });
        ASSERT_TRUE(device->waitUntil([&](const auto& it) { return it.heldWrites() > held; }));
        std::thread closer([&] { sdk->disconnect(); });
        EXPECT_EQ(device->closes(), closes);
        device->holdWrites(false);
        closer.join();
        sender.join();
        EXPECT_EQ(device->closes(), closes + 1);
        EXPECT_EQ(status, strict ? StatusCode::NOT_CONNECTED : StatusCode::NO_RESPONSE);
    }
}

} // namespace
