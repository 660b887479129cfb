#pragma once

#include <memory>
#include <mutex>

// One per background job. Setting it is the only way to stop the job; every thread reads it
// under the lock.
class CancelFlag {
public:
    void cancel()
    {
        std::lock_guard lock(m_lock);
        m_value = true;
    }
    bool isCancelled() const
    {
        std::lock_guard lock(m_lock);
        return m_value;
    }

private:
    mutable std::mutex m_lock;
    bool m_value = false;
};

using CancelFlagPtr = std::shared_ptr<CancelFlag>;
