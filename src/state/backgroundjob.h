#pragma once

#include "scan/cancelflag.h"

#include <QObject>
#include <QThreadPool>

#include <functional>
#include <memory>
#include <mutex>
#include <variant>

// The way back from a worker to the main thread: a queued call on a guard object, posted only while
// the guard lives. The guard's owner severs the link before the guard goes; from then on workers
// post nothing, and Qt drops what was posted but not yet run together with the guard.
class JobLink {
public:
    explicit JobLink(QObject* guard)
        : m_guard(guard)
    {
    }
    // Any thread.
    void post(std::function<void()> call);
    // The main thread, before the guard is destroyed.
    void sever();

private:
    std::mutex m_lock;
    QObject* m_guard;
};

// One kind of background work (a scan, a history read …): a pure function of captured inputs runs on
// the pool and returns a value, which reaches the main thread through a queued call and is dropped
// when a newer job of the same kind has started, the job was cancelled, or this object is gone.
// Progress reports are coalesced: however fast the work reports, one delivery at a time is queued
// and it carries the newest report.
template <typename Result, typename Progress = std::monostate> class BackgroundJob {
public:
    using Report = std::function<void(const Progress&)>;
    using Work = std::function<Result(const CancelFlagPtr& cancel, const Report& report)>;

    explicit BackgroundJob(QThreadPool& pool)
        : m_pool(pool)
        , m_link(std::make_shared<JobLink>(&m_guard))
    {
    }
    ~BackgroundJob()
    {
        cancel();
        m_link->sever();
    }
    BackgroundJob(const BackgroundJob&) = delete;
    BackgroundJob& operator=(const BackgroundJob&) = delete;

    // Cancels the job running, if any, and starts this one. deliver and progress run on the main
    // thread, and only while this job is the current one.
    void start(
        Work work, std::function<void(Result)> deliver, std::function<void(const Progress&)> progress = {})
    {
        cancel();
        const auto flag = std::make_shared<CancelFlag>();
        m_flag = flag;
        const Report report = reporter(flag, std::move(progress));
        const std::shared_ptr<JobLink> link = m_link;
        m_pool.start([this, work = std::move(work), deliver = std::move(deliver), flag, report, link] {
            auto outcome = std::make_shared<Result>(work(flag, report));
            // Only the main thread reads this object, and only while the guard, a member, lives.
            link->post([this, flag, outcome, deliver] {
                if (!isCurrent(flag))
                    return;
                m_flag.reset();
                deliver(std::move(*outcome));
            });
        });
    }

    // Stops the running job at its next check of the flag; its result and reports are dropped.
    void cancel()
    {
        if (m_flag)
            m_flag->cancel();
        m_flag.reset();
    }

    bool isRunning() const { return m_flag != nullptr; }

private:
    struct Mailbox {
        std::mutex lock;
        Progress latest {};
        bool queued = false;
    };

    bool isCurrent(const CancelFlagPtr& flag) const { return flag == m_flag && !flag->isCancelled(); }

    Report reporter(const CancelFlagPtr& flag, std::function<void(const Progress&)> progress)
    {
        if (!progress)
            return [](const Progress&) {};
        const auto mailbox = std::make_shared<Mailbox>();
        const std::shared_ptr<JobLink> link = m_link;
        return [this, flag, mailbox, link, progress = std::move(progress)](const Progress& report) {
            std::lock_guard lock(mailbox->lock);
            mailbox->latest = report;
            if (mailbox->queued)
                return;
            mailbox->queued = true;
            link->post([this, flag, mailbox, progress] {
                Progress latest;
                {
                    std::lock_guard lock(mailbox->lock);
                    latest = mailbox->latest;
                    mailbox->queued = false;
                }
                if (isCurrent(flag))
                    progress(latest);
            });
        };
    }

    QThreadPool& m_pool;
    QObject m_guard;
    std::shared_ptr<JobLink> m_link;
    CancelFlagPtr m_flag;
};
