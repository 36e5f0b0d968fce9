#pragma once

#include "connections/devices/device_recorder_interface.h"
#include "connections/devices/pd_device.h"
#include "nox_export.h"
#include "platform/configuration_tree.h"
#include "platform/visitors.h"

#include <QObject>
#include <QStringList>
#include <QThread>

#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <vector>

namespace CommonNOX::PD::Recording
{

class PdRecorderWorker;
class RecorderQueue;

/// The properties of a channel's context whose changes are recorded, as lists of path components.
NOX_EXPORT QList<QStringList> GetRequiredPdChannelRecordingParameterList();

/// Leaves of a device's context below the node "recording"; docs/configuration-keys.md tells their values.
namespace Attributes
{
inline const QString Node = QStringLiteral("recording");
inline const QString Control = QStringLiteral("control");
inline const QString Status = QStringLiteral("status");
inline const QString FileName = QStringLiteral("recording_file_name");
inline const QString FileInfoTimeout = QStringLiteral("recording_fileinfo_timeout");
inline const QString QtUtTimeout = QStringLiteral("qtut_overview_timeout");
inline const QString PatternTimeout = QStringLiteral("pattern_snapshot_timeout");
inline const QString FileSizeChanged = QStringLiteral("recording_file_size_changed");
inline const QString FileDurationChanged = QStringLiteral("recording_file_duration_changed");
inline const QString Template = QStringLiteral("file_name_template");
inline const QString StorageOptions = QStringLiteral("storage_options");
inline const QString Error = QStringLiteral("recording_error");
inline const QString EndReason = QStringLiteral("recording_end_reason");
inline const QString Active = QStringLiteral("recording_active");
inline const QString Inactive = QStringLiteral("recording_inactive");
} // namespace Attributes

/// Records what a device receives into replay files, on a thread of its own.
///
/// It lives on the device's thread, and sees what the device hands to its subscribers there. A write of a command (see
/// ParseRecordingCommand()) to the device's attribute "recording"/"control" starts and stops a recording. Results of
/// Qiec and patterns come from the application's data store, under the device's results name.
class NOX_EXPORT PdRecorder : public QObject, public Devices::DeviceRecorderInterface
{
    Q_OBJECT
public:
    /// `folder` is where files of a relative name go. The device outlives the recorder.
    PdRecorder(Devices::PdDevice &device, const QString &folder);
    /// Ends the recording, so that everything received so far is stored.
    ~PdRecorder() override;

    bool isRecording() const override;
    /// Whether so much is on its way to the disk that a source which can wait should.
    bool isFull() const override;
    /// Sets a named mark; channel -1 for the device. Nothing while no recording is active.
    void annotate(int channel, const QString &name, const QVariant &value) override;

signals:
    void recordingStarted(const QString &path);
    /// `error` says whether it ended because of a failure, which `reason` tells.
    void recordingEnded(const QString &path, const QString &reason, bool error);
    void startRefused(const QString &reason);

private slots:
    void onStarted(const QString &path);
    void onEnded(const QString &path, const QString &reason, bool error);
    void onRefused(const QString &reason);
    void onFileInformation(qint64 bytes, double seconds);

private:
    void onControl(const QVariant &value);
    void followSettings();
    void collectParameters(const QString &group, const QString &recordedPath);
    void followDevice();
    void followReadings();
    void onSetting(int channel, const QString &path, const QVariant &value);
    QString attributePath(const QString &name) const;
    void setAttribute(const QString &name, const QVariant &value) const;
    bool isWanted() const;
    template <class Item>
    void add(Item item, qint64 bytes);

    Devices::PdDevice &m_device;
    const QString m_folder;
    const std::shared_ptr<Utilities::ConfigurationTree> m_tree;
    const std::shared_ptr<RecorderQueue> m_queue;
    QThread m_thread;
    std::promise<void> m_threadEnded;
    std::unique_ptr<PdRecorderWorker> m_worker; // goes when its thread has ended
    // From the moment a start was sent; the worker drops what comes to a recording that did not start.
    std::atomic<bool> m_isWanted = false;
    std::atomic<quint64> m_sentStarts = 0;
    std::mutex m_settingsMutex;           // guards the two below
    QHash<QString, int> m_resultChannels; // by name in the data store
    struct Setting
    {
        int channel;
        QString path;
        QVariant value;
    };
    std::vector<Setting> m_settings;
    // Last, so that nothing is received any more when the rest goes.
    std::vector<Shared::Subscription> m_subscriptions;
};

} // namespace CommonNOX::PD::Recording
