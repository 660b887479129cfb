#include "state/backgroundjob.h"

void JobLink::post(std::function<void()> call)
{
    std::lock_guard lock(m_lock);
    if (m_guard)
        QMetaObject::invokeMethod(m_guard, std::move(call), Qt::QueuedConnection);
}

void JobLink::sever()
{
    std::lock_guard lock(m_lock);
    m_guard = nullptr;
}
