// Jobs of many commands with several requests in flight, through the shipped library with hidapi replaced.
#include <algorithm>
#include <set>
#include <stdexcept>
#include <thread>

#include "support/adapter.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "tarvixsdk/sdk.hpp"

namespace {

constexpr std::size_t COUNT = 6;
constexpr StatusCode NACK{0x0301};

// The adapter's answer to a command, which is sent once the request `after` has arrived.
struct Answer {
    std::size_t command;
    std::size_t after;
    std::string fromStatus = "00 00";
};

struct InFlight : Adapter {
    // Command n of a job: a message of the byte n.
    static StatusCode send(TarvixAsyncSDK& sdk, TransactionId transactionId, std::size_t command)
    {
        return sdk.uartSendMessage(transactionId, {static_cast<std::uint8_t>(command)});
    }

    void answer(std::vector<Answer> answers)
    {
        device->forget();
        answered.clear();
        mostUnanswered = 0;
        device->onFrame([this, answers = std::move(answers)](const Bytes&) {
            const std::vector<Bytes> requests = device->frames();
            mostUnanswered = std::max(mostUnanswered, requests.size() - answered.size());
            for (const Answer& it : answers) {
                if (it.after + 1 == requests.size()) {
                    device->deliverFrame(answerTo(requests.at(it.command), hex(it.fromStatus)));
                    answered.insert(it.command);
                }
            }
        });
    }

    // Runs a job. It must end like this, after so many requests and responses.
    void expect(TarvixSDK& sdk, std::size_t inFlight, StatusCode status, std::size_t command, std::size_t sent,
                std::size_t taken)
    {
        std::vector<std::size_t> commands;
        const TarvixSDK::JobResult result =
            sdk.runInFlight(COUNT, inFlight, send, [&](std::size_t index, StatusCode its, const Bytes& response) {
                EXPECT_EQ(response.size(), 6U);
                commands.push_back(index);
                return its;
            });
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.command, command);
        EXPECT_EQ(bool(result), status == StatusCode::SUCCESS);
        EXPECT_EQ(device->frames().size(), sent);
        EXPECT_EQ(mostUnanswered, std::min(inFlight, COUNT));
        EXPECT_EQ(commands.size(), taken);
        EXPECT_TRUE(std::is_sorted(commands.begin(), commands.end()));
    }

    // After a job that left commands unanswered: late answers count for nothing, and the session goes on.
    void expectInStep(TarvixSDK& sdk)
    {
        const std::uint64_t before = sdk.unmatchedResponses();
        const std::vector<Bytes> requests = device->frames();
        for (const Bytes& request : requests) {
            device->deliverFrame(answerTo(request, hex("01 03")));
        }
        answer({{0, 0}});
        EXPECT_EQ(sdk.uartDeinit(), StatusCode::SUCCESS);
        EXPECT_EQ(sdk.unmatchedResponses() - before, requests.size());
    }

    std::set<std::size_t> answered;
    std::size_t mostUnanswered = 0;
};

TEST_F(InFlight, AnswersMayComeInAnyOrderAndTheFirstFailureStops)
{
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.open());
    const struct {
        const char* name;
        std::size_t inFlight;
        std::vector<Answer> answers;
        StatusCode status = StatusCode::SUCCESS;
        std::size_t command = COUNT;
        std::size_t sent = COUNT;
    } jobs[]{
        {"one after another", 1, {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}}},
        {"three at a time", 3, {{0, 2}, {1, 3}, {2, 4}, {3, 5}, {4, 5}, {5, 5}}},
        {"all at once, backwards", 63, {{5, 5}, {4, 5}, {3, 5}, {2, 5}, {1, 5}, {0, 5}}},
        {"backwards by threes", 3, {{2, 2}, {1, 2}, {0, 2}, {5, 5}, {4, 5}, {3, 5}}},
        {"answered twice", 2, {{0, 1}, {0, 1}, {1, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 5}}},
        {"the second fails", 1, {{0, 0}, {1, 1, "01 03"}}, NACK, 1, 2},
        {"two fail, the later one first", 3, {{2, 2, "02 03"}, {1, 2, "01 03"}, {0, 2}, {3, 3}}, NACK, 1, 4},
        {"the last one fails", 4, {{0, 3}, {1, 4}, {2, 5}, {3, 5}, {4, 5}, {5, 5, "01 03"}}, NACK, 5},
    };
    for (const auto& [name, inFlight, answers, status, command, sent] : jobs) {
        SCOPED_TRACE(name);
        answer(answers);
        expect(sdk, inFlight, status, command, sent, sent);
    }
    EXPECT_EQ(sdk.unmatchedResponses(), 2U) << "of those answered twice";
    answer({{0, 1}, {1, 2, "00"}, {2, 2}});
    expect(sdk, 2, StatusCode::RESPONSE_TOO_SHORT, 1, 3, 2);
}

TEST_F(InFlight, ACommandWithoutAnswerEndsTheJob)
{
    TarvixSDK sdk(1000);
    ASSERT_TRUE(sdk.open());
    answer({{0, 1}, {2, 2}}); // not 1
    expect(sdk, 2, StatusCode::NO_RESPONSE, 1, 3, 1);
    expectInStep(sdk);
    device->failWrite(3);
    answer({{0, 1}, {1, 1}});
    expect(sdk, 2, StatusCode::NO_RESPONSE, 2, 2, 2);

    answer({});
    std::jthread other([&] {
        EXPECT_TRUE(device->waitUntil([](const auto& it) { return it.frames().size() == 2; }));
        sdk.disconnect();
    });
    expect(sdk, 2, StatusCode::NOT_CONNECTED, 0, 2, 0);
    other.join();
    expect(sdk, 2, StatusCode::NOT_CONNECTED, 0, 2, 0); // at once

    TarvixSDK patient(FOREVER);
    ASSERT_TRUE(patient.open());
    answer({{0, 1}, {2, 2}});
    std::jthread unplugger([&] {
        EXPECT_TRUE(device->waitUntil([](const auto& it) { return it.frames().size() == 3; }));
        device->unplug();
    });
    expect(patient, 2, StatusCode::ADAPTER_LOST, 1, 3, 1);
    unplugger.join();
    expect(patient, 2, StatusCode::ADAPTER_LOST, 0, 3, 0);
}

TEST_F(InFlight, RefusesWhatItCannotMatchOrKeep)
{
    const auto run = [](TarvixSDK& sdk, std::size_t count, std::size_t inFlight, TarvixSDK::SendCommand command) {
        return sdk.runInFlight(count, inFlight, std::move(command)).status;
    };
    TarvixSDK sdk(LONG_ENOUGH);
    EXPECT_EQ(run(sdk, COUNT, 0, send), StatusCode::NOT_CONNECTED) << "tested before the arguments";
    ASSERT_TRUE(sdk.connect(""));
    EXPECT_EQ(run(sdk, COUNT, 1, send), StatusCode::INVALID_ARGUMENT) << "a plain session";
    sdk.disconnect();
    ASSERT_TRUE(sdk.open());
    EXPECT_EQ(run(sdk, COUNT, 0, send), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(run(sdk, COUNT, 64, send), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(run(sdk, COUNT, 1, {}), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(run(sdk, 0, 1, send), StatusCode::SUCCESS);
    EXPECT_EQ(device->frames().size(), 0U);
    answer({{0, 0}, {1, 1}});
    const TarvixSDK::JobResult refused =
        sdk.runInFlight(COUNT, 2, [](TarvixAsyncSDK& async, TransactionId transactionId, std::size_t command) {
            return command < 2 ? send(async, transactionId, command)
                               : async.i2cRead(transactionId, 0, 0, Bytes(5), 1, false);
        });
    EXPECT_EQ(refused.status, StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(refused.command, 2U);
}

TEST_F(InFlight, TheTakerHasTheLastWordOnAStatus)
{
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.open());
    answer({{0, 2, "01 03"}, {1, 2}, {2, 2}, {3, 3}, {4, 4}});
    const TarvixSDK::JobResult result =
        sdk.runInFlight(COUNT, 3, send, [](std::size_t command, StatusCode status, const Bytes&) {
            EXPECT_EQ(status, command == 0 ? NACK : StatusCode::SUCCESS);
            return command == 2 ? StatusCode{7} : StatusCode::SUCCESS;
        });
    EXPECT_EQ(result.status, StatusCode{7});
    EXPECT_EQ(result.command, 2U);
}

TEST_F(InFlight, WhatAFunctionThrowsEndsTheJobOnly)
{
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.open());
    answer({});
    const auto sendTwo = [](TarvixAsyncSDK& async, TransactionId transactionId, std::size_t command) {
        return command < 2 ? send(async, transactionId, command) : throw std::runtime_error("no third");
    };
    EXPECT_THROW(sdk.runInFlight(COUNT, 3, sendTwo), std::runtime_error);
    expectInStep(sdk);
    answer({{1, 1}, {0, 1}});
    const auto takeNone = [](std::size_t, StatusCode, const Bytes&) -> StatusCode { throw std::runtime_error("no"); };
    EXPECT_THROW(sdk.runInFlight(COUNT, 3, send, takeNone), std::runtime_error);
    expectInStep(sdk);
}

TEST_F(InFlight, TransactionIdsBeginAnewWhileOthersWaitForTheirTurn)
{
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.open());
    for (int i = 0; i < 65'500; ++i) {
        sdk.i2cWrite(0, 0x50, Bytes(5), {}, false); // refused, and nothing is sent
    }
    device->onFrame([this](const Bytes& request) { device->deliverFrame(answerTo(request, hex("00 00"))); });
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([&sdk] {
            for (int i = 0; i < 5; ++i) {
                EXPECT_EQ(sdk.runInFlight(50, 8, send).command, 50U);
                EXPECT_EQ(sdk.uartDeinit(), StatusCode::SUCCESS);
            }
        });
    }
    threads.clear();
    EXPECT_EQ(sdk.unmatchedResponses(), 0U);
}

} // namespace
