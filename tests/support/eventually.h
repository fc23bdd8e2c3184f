// Waiting for what other processes do.
#ifndef PAPERMILL_TESTS_SUPPORT_EVENTUALLY_H
#define PAPERMILL_TESTS_SUPPORT_EVENTUALLY_H

#include <chrono>
#include <thread>

// True as soon as `condition` holds; false when it does not within ten seconds.
template <typename Condition>
bool eventually(Condition condition)
{
    using namespace std::chrono_literals;
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

#endif
