#pragma once

#include <QElapsedTimer>

#include <algorithm>
#include <ctime>
#include <vector>

// Wall-clock and processor times of repeated runs, for the benchmark programs.
struct Timing {
    double median;
    double p90;
    double cpu; // median processor time over all threads, less disturbed by a busy machine
};

inline double cpuMilliseconds()
{
    timespec now {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

template <typename Run> Timing milliseconds(int runs, const Run& run)
{
    std::vector<double> times, cpu;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        const double cpuStart = cpuMilliseconds();
        timer.start();
        run(i);
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
        cpu.push_back(cpuMilliseconds() - cpuStart);
    }
    std::sort(times.begin(), times.end());
    std::sort(cpu.begin(), cpu.end());
    return { times[times.size() / 2], times[std::min(times.size() - 1, times.size() * 9 / 10)],
        cpu[cpu.size() / 2] };
}
