#include "state/backgroundjob.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QSemaphore>

#include <atomic>

namespace {

using Job = BackgroundJob<int, int>;

// Runs what the workers posted to the main thread.
void deliverPosted(QThreadPool& pool)
{
    pool.waitForDone();
    QCoreApplication::processEvents();
}

// A job's work that waits for the test's word, so that the test decides what happens meanwhile.
Job::Work heldUntil(const std::shared_ptr<QSemaphore>& go, int value)
{
    return [go, value](const CancelFlagPtr& cancel, const Job::Report&) {
        go->acquire();
        return cancel->isCancelled() ? -value : value;
    };
}

TEST(BackgroundJob, ANewerJobDropsTheResultOfTheOneBefore)
{
    QThreadPool pool;
    Job job(pool);
    QList<int> delivered;
    const auto go = std::make_shared<QSemaphore>();
    job.start(heldUntil(go, 1), [&](int value) { delivered.append(value); });
    job.start(heldUntil(go, 2), [&](int value) { delivered.append(value); });
    go->release(2);
    deliverPosted(pool);
    EXPECT_EQ(delivered, QList<int> { 2 });
    EXPECT_FALSE(job.isRunning());
}

TEST(BackgroundJob, CancelStopsTheWorkAndDropsItsResultAndProgress)
{
    QThreadPool pool;
    Job job(pool);
    bool delivered = false;
    bool reported = false;
    const auto go = std::make_shared<QSemaphore>();
    std::atomic<bool> sawCancel = false;
    job.start(
        [go, &sawCancel](const CancelFlagPtr& cancel, const Job::Report& report) {
            go->acquire();
            report(1);
            sawCancel = cancel->isCancelled();
            return 0;
        },
        [&](int) { delivered = true; }, [&](int) { reported = true; });
    job.cancel();
    go->release();
    deliverPosted(pool);
    EXPECT_TRUE(sawCancel);
    EXPECT_FALSE(delivered);
    EXPECT_FALSE(reported);
}

TEST(BackgroundJob, AJobGoneBeforeItsWorkEndsDeliversNothing)
{
    QThreadPool pool;
    bool delivered = false;
    const auto go = std::make_shared<QSemaphore>();
    auto job = std::make_unique<Job>(pool);
    job->start(heldUntil(go, 1), [&](int) { delivered = true; });
    job.reset();
    go->release();
    deliverPosted(pool);
    EXPECT_FALSE(delivered);
}

TEST(BackgroundJob, ProgressArrivesCoalescedWithTheNewestReportBeforeTheResult)
{
    QThreadPool pool;
    Job job(pool);
    QStringList events;
    job.start(
        [](const CancelFlagPtr&, const Job::Report& report) {
            for (int i = 1; i <= 1000; ++i)
                report(i);
            return 7;
        },
        [&](int value) { events.append(QStringLiteral("result %1").arg(value)); },
        [&](int done) { events.append(QStringLiteral("progress %1").arg(done)); });
    deliverPosted(pool);
    EXPECT_EQ(events, (QStringList { QStringLiteral("progress 1000"), QStringLiteral("result 7") }));
}

} // namespace
