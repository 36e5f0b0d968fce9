#pragma once

#include "recording/replay/device_replay_data_container.h"

#include <QFileInfo>

#include <map>

class QThread;

namespace CommonNOX::Importer
{

/// Opens one replay file, builds its index and keeps the replay state of each channel.
///
/// Loading is done in the caller's thread, which may be one of its own (see onThreadMoveRequested()); cancel() may come
/// from any. Once loaded, the state of channels may be asked for from any thread.
class NOX_EXPORT PdReplayFileLoader : public DeviceReplayDataContainer
{
    Q_OBJECT
public:
    explicit PdReplayFileLoader(QObject *parent = nullptr);
    ~PdReplayFileLoader() override;

    /// False for what is no file.
    bool setFileInformation(const QFileInfo &fileInformation);
    QFileInfo getFileInformation() const { return m_fileInformation; }
    /// Opens the storage, recovers it where it must be, and reads the header.
    bool loadReplayFile();
    /// Reads the time lines of all channels. Seeking costs the same everywhere afterwards.
    bool buildReplayFileIndex();
    /// Makes the loading fail as soon as possible.
    void cancel();

    ReplayFileStatus getLoadStatus() const { return getStatus().getStatus(); }
    int getFileLoadingProgressMinimum() const { return 0; }
    int getFileLoadingProgressMaximum() const { return 100; }
    /// Why it failed, in one sentence.
    QString getError() const { return m_error; }
    /// Where the file had to be recovered, or was not closed; empty for a file that is as it should be.
    QString getRemark() const { return m_remark; }

    /// One more than the highest index of a channel that the file knows.
    int getNumberOfChannels() const;
    QList<int> getChannels() const;
    /// Null for a channel that the file does not know.
    std::shared_ptr<ChannelReplayStatus> getChannelReplayStatus(int channel);
    std::shared_ptr<const ChannelReplayStatus> getChannelReplayStatus(int channel) const;
    std::shared_ptr<ChannelTimePosition> getChannelReplayPosition(int channel);
    std::shared_ptr<const ChannelTimePosition> getChannelReplayPosition(int channel) const;
    /// Null for a channel that the file does not know.
    std::shared_ptr<const ChannelTimeNavigation> getChannelTimeNavigation(int channel) const;
    /// What was set or noted on the channel's time line; read when it is asked for. Empty for an unknown channel.
    std::vector<ChannelTimeNavigation::Mark> getMarks(int channel) const;
    /// The element of a period by its uuid, which is that of its time element; nothing for an unknown one.
    std::optional<TimeRecord> findPeriod(int channel, const QString &periodUuid) const;

public slots:
    /// Moves the loader to the thread; called in the thread in which it lives.
    void onThreadMoveRequested(QThread *thread);

private:
    bool fail(const QString &error);
    bool initializeChannelTimeSpans();
    bool initializeChannelTimeNavigation();
    bool initializePeriodUuidNavigation();
    void createChannelReplayStatus(int channel);
    void createChannelTimePosition(int channel);
    RecordingOrigin findOrigin() const;

    QFileInfo m_fileInformation;
    QString m_error;
    QString m_remark;
    std::map<int, std::shared_ptr<ChannelTimeNavigation>> m_navigations;
    std::map<int, std::shared_ptr<ChannelReplayStatus>> m_statuses;
    std::map<int, std::shared_ptr<ChannelTimePosition>> m_positions;
};

} // namespace CommonNOX::Importer
