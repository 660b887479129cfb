#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

// Runs body(0) .. body(count - 1) on the given number of threads, the calling one among them; each
// thread takes the next index as it finishes one, so slow items do not hold the others up.
inline void parallelFor(int count, int threads, const std::function<void(int)>& body)
{
    std::atomic<int> next = 0;
    const auto work = [&] {
        for (int i = next++; i < count; i = next++)
            body(i);
    };
    std::vector<std::jthread> helpers;
    for (int i = 1; i < threads && i < count; ++i)
        helpers.emplace_back(work);
    work();
}
