// Two ways to do the same by turns in one run, so that whatever else the machine does hits both alike. The figures are
// the counters that script/bench reads.
#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <vector>

#include <benchmark/benchmark.h>

inline double median(std::vector<double>& values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

template <typename Work>
double nanoseconds(Work&& work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - begin).count();
}

// The medians of both, their difference and ratio. `left` and `right` return what one of their turns cost.
template <typename Left, typename Right>
void compareCosts(benchmark::State& state, Left left, Right right)
{
    std::array<std::vector<double>, 2> costs;
    bool rightFirst = false;
    for (auto _ : state) {
        if (rightFirst) {
            costs[1].push_back(right());
        }
        costs[0].push_back(left());
        if (!rightFirst) {
            costs[1].push_back(right());
        }
        rightFirst = !rightFirst;
    }
    state.counters["worst"] = *std::max_element(costs[0].begin(), costs[0].end());
    state.counters["left"] = median(costs[0]);
    state.counters["right"] = median(costs[1]);
    state.counters["difference"] = state.counters["left"] - state.counters["right"];
    state.counters["ratio"] = state.counters["left"] / state.counters["right"];
}

// The cost is the time of `batch` calls.
template <typename Left, typename Right>
void compareTimes(benchmark::State& state, Left left, Right right, int batch = 1)
{
    const auto turn = [batch](auto& work) {
        return nanoseconds([&] {
                   for (int i = 0; i < batch; ++i) {
                       work();
                   }
               }) /
               batch;
    };
    compareCosts(
        state, [&] { return turn(left); }, [&] { return turn(right); });
}
