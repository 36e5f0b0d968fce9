#pragma once

#include "entries/measurement/evaluated_event.h"

#include <mutex>
#include <vector>

namespace CommonNOX::Data
{

/// Event buffers of periods that are gone, for the next ones: a fresh page costs more than the arithmetic that
/// fills it. Any thread.
class EventBufferPool
{
public:
    static EventBufferPool &getInstance();

    /// A buffer of `count` events with whatever they held, for the caller alone.
    EvaluatedEventVector take(int count);
    /// Keeps the buffer unless somebody still shares it or enough are kept.
    void give(EvaluatedEventVector &&buffer);

private:
    static constexpr std::size_t MaximumBuffers = 2048;
    static constexpr qint64 MaximumEvents = 2 * 1024 * 1024; // 80 MB

    std::mutex m_mutex;
    std::vector<EvaluatedEventVector> m_buffers;
    qint64 m_events = 0;
};

} // namespace CommonNOX::Data
