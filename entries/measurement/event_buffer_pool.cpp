#include "entries/measurement/event_buffer_pool.h"

namespace CommonNOX::Data
{

EventBufferPool &EventBufferPool::getInstance()
{
    // Never destroyed: periods that outlive the statics of this library still give their buffers back.
    static auto *const instance = new EventBufferPool;
    return *instance;
}

EvaluatedEventVector EventBufferPool::take(int count)
{
    EvaluatedEventVector buffer;
    {
        const std::lock_guard guard(m_mutex);
        if (!m_buffers.empty()) {
            buffer = std::move(m_buffers.back());
            m_buffers.pop_back();
            m_events -= buffer.capacity();
        }
    }
    // Keeping the contents would copy them into a larger buffer.
    if (buffer.capacity() < count)
        buffer = EvaluatedEventVector();
    buffer.resize(count);
    return buffer;
}

void EventBufferPool::give(EvaluatedEventVector &&buffer)
{
    if (buffer.capacity() == 0 || !buffer.isDetached())
        return;
    const std::lock_guard guard(m_mutex);
    if (m_buffers.size() >= MaximumBuffers || m_events + buffer.capacity() > MaximumEvents)
        return;
    m_events += buffer.capacity();
    m_buffers.push_back(std::move(buffer));
}

} // namespace CommonNOX::Data
