#pragma once

#include <thread>
#include <vector>

// Runs fn(threadIndex) on `threads` threads (the caller's included) and waits.
template <typename Fn>
void parallelFor(int threads, Fn fn) {
    std::vector<std::thread> helpers;
    for (int i = 1; i < threads; ++i) helpers.emplace_back(fn, i);
    fn(0);
    for (std::thread& h : helpers) h.join();
}
