#pragma once

#include "nox_export.h"

#include <QString>
#include <QThread>

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace CommonNOX::Tasks
{

/// Gathers a channel's charge over the test voltage: every interval it writes a QtUtDataV1 of the latest "qiec" and
/// "voltage" readings into the data store, kind "qt_ut", indexed by a count. Nothing while one of them is missing.
class NOX_EXPORT QtUtWorker : public QThread
{
public:
    static constexpr int DefaultIntervalMs = 250;

    /// The thread runs until the object is destroyed. The interval is at least 10 ms.
    QtUtWorker(const QString &deviceIdentification, int channel, int intervalMs);
    QtUtWorker(const QtUtWorker &) = delete;
    QtUtWorker &operator=(const QtUtWorker &) = delete;
    ~QtUtWorker() override;

protected:
    void run() override;

private:
    bool waitForNext();
    void writeOverviewElement() const;

    const QString m_deviceName;
    const QString m_channelName;
    const int m_intervalMs;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_stop = false;
    std::atomic<bool> m_left = false;
};

} // namespace CommonNOX::Tasks
