#pragma once

#include <atomic>
#include <memory>

// One per background job. Setting it is the only way to stop the job, which polls it between
// steps; the job's results are thrown away, so no other data needs to be ordered with it.
class CancelFlag {
public:
    void cancel() { m_value.store(true, std::memory_order_relaxed); }
    bool isCancelled() const { return m_value.load(std::memory_order_relaxed); }

private:
    std::atomic<bool> m_value = false;
};

using CancelFlagPtr = std::shared_ptr<CancelFlag>;
