#pragma once

#include "recording/recorder/device_recording_state.h"
#include "recording/recorder/recorder_queue.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <atomic>
#include <memory>

namespace CommonNOX::PD::Recording
{

/// The recording itself, on a thread of its own: takes work from the queue, owns the storage.
class PdRecorderWorker : public QObject
{
    Q_OBJECT
public:
    /// More than this on its way ends the recording: the disk does not keep up.
    static constexpr qint64 MaximumBytes = 32 * 1024 * 1024;

    explicit PdRecorderWorker(const std::shared_ptr<RecorderQueue> &queue);

    /// Any thread.
    bool isActive() const { return m_isActive; }
    /// Starts that it has dealt with, refused ones too. Any thread; isActive() tells the outcome of the last one.
    quint64 getHandledStarts() const { return m_handledStarts; }

public slots:
    /// Takes what is queued.
    void drain();

signals:
    /// A recording has begun, in a new file.
    void started(const QString &path);
    /// It has ended; `reason` is a sentence, `error` whether it is a failure.
    void ended(const QString &path, const QString &reason, bool error);
    /// A start came to nothing.
    void refused(const QString &reason);
    void fileInformation(qint64 bytes, double seconds);

private:
    void work(const Work::Start &start);
    void work(const Work::Stop &stop);
    void work(const Work::Block &block);
    void work(const Work::Scope &scope);
    void work(const Work::Change &change);
    void work(const Work::Annotation &annotation);
    void work(const Work::Decision &decision);

    bool open(const QString &path);
    void takeReadings();
    void commit();
    void checkLimit();
    void continueInNewFile();
    bool start(const Work::Start &start);
    /// Ends the recording in order, or only its file; waits for programs that read it. False when that failed, which is
    /// the end of the recording too.
    bool finish(const QString &reason, bool goesOn = false);
    /// Stores what can still be stored.
    void fail(const QString &reason);
    void endWithError(const QString &path, const QString &reason);
    void publishFileInformation();
    void stopTimers();

    const std::shared_ptr<RecorderQueue> m_queue;
    RecordingCommand m_command;
    RecordingSubject m_subject; // its settings follow the changes
    QString m_firstPath;
    QString m_refusal; // why the last start came to nothing
    int m_fileNumber = 1;
    Work::Scope m_lastScope{};
    DeviceRecordingState m_state;
    std::atomic<bool> m_isActive = false;
    std::atomic<quint64> m_handledStarts = 0;
    std::vector<std::function<void()>> m_waiting; // for the end of the recording
    QElapsedTimer m_sinceCommit;
    qint64 m_lastPublishedSize = 0;
    // Children, so that they move to the worker's thread with it.
    QTimer *const m_commitTimer;
    QTimer *const m_fileInfoTimer;
    QTimer *const m_qtUtTimer;
    QTimer *const m_patternTimer;
};

} // namespace CommonNOX::PD::Recording
