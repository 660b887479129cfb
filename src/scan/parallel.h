#pragma once

#include <QFuture>
#include <QSemaphore>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentRun>

#include <atomic>
#include <functional>
#include <memory>

// Runs body(0) .. body(count - 1) on up to `threads` threads, the calling one among them; each
// thread takes the next index as it finishes one, so slow items do not hold the others up. Helpers
// come from the global pool only while it has threads free: on a busy pool the caller does more of
// the work itself, and the loop can never wait behind work queued on the pool.
inline void parallelFor(int count, int threads, const std::function<void(int)>& body)
{
    std::atomic<int> next = 0;
    const auto work = [&] {
        for (int i = next++; i < count; i = next++)
            body(i);
    };
    // Shared, so that a helper's release never touches a semaphore the caller has already left.
    const auto finished = std::make_shared<QSemaphore>();
    int helpers = 0;
    for (int i = 1; i < threads && i < count; ++i) {
        if (!QThreadPool::globalInstance()->tryStart([&work, finished] {
                work();
                finished->release();
            }))
            break;
        ++helpers;
    }
    work();
    finished->acquire(helpers);
}

// A job that mostly waits (on a git process, say) run beside the caller on a thread of its own,
// so that it neither queues behind a shared pool's work nor holds one of its threads. The thread
// is let go once the result has been taken, or when the job is dropped.
template <typename Result> class SideJob {
public:
    template <typename Function>
    explicit SideJob(Function function)
        : m_pool(std::make_unique<QThreadPool>())
    {
        m_pool->setMaxThreadCount(1);
        m_future = QtConcurrent::run(m_pool.get(), std::move(function));
    }
    SideJob(SideJob&&) = default;
    SideJob& operator=(SideJob&&) = default;
    ~SideJob()
    {
        if (m_pool)
            m_pool->waitForDone();
    }

    // Waits for the job and hands over its result.
    Result take()
    {
        Result result = m_future.takeResult();
        m_pool.reset();
        return result;
    }

private:
    std::unique_ptr<QThreadPool> m_pool;
    QFuture<Result> m_future;
};
