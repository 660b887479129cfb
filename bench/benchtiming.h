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

// Times of the runs of one thing, gathered one at a time.
class TimingSamples {
public:
    template <typename Run> void add(const Run& run)
    {
        QElapsedTimer timer;
        const double cpuStart = cpuMilliseconds();
        timer.start();
        run();
        m_times.push_back(double(timer.nsecsElapsed()) / 1e6);
        m_cpu.push_back(cpuMilliseconds() - cpuStart);
    }

    Timing timing()
    {
        std::sort(m_times.begin(), m_times.end());
        std::sort(m_cpu.begin(), m_cpu.end());
        return { m_times[m_times.size() / 2], m_times[std::min(m_times.size() - 1, m_times.size() * 9 / 10)],
            m_cpu[m_cpu.size() / 2] };
    }

private:
    std::vector<double> m_times, m_cpu;
};

template <typename Run> Timing milliseconds(int runs, const Run& run)
{
    TimingSamples samples;
    for (int i = 0; i < runs; ++i)
        samples.add([&] { run(i); });
    return samples.timing();
}
