// Waiting for what other processes do.
#ifndef PAPERMILL_TESTS_SUPPORT_EVENTUALLY_H
#define PAPERMILL_TESTS_SUPPORT_EVENTUALLY_H

#include <chrono>
#include <thread>

// True as soon as `condition` holds; false when it does not within a minute, which is far more than
// anything takes, on a busy machine too. What must not end by itself meanwhile has to last longer.
template <typename Condition>
bool eventually(Condition condition)
{
    using namespace std::chrono_literals;
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

// Whether `action` ever takes less time than that. Once is enough: a busy machine delays the other
// times.
template <typename Action>
bool can_end_within(std::chrono::milliseconds limit, Action action)
{
    return eventually([&] {
        const auto start = std::chrono::steady_clock::now();
        action();
        return std::chrono::steady_clock::now() - start < limit;
    });
}

#endif
