#pragma once

#include "connections/update/device_update_manifest.h"
#include "connections/update/update_package.h"
#include "nox_export.h"
#include "platform/reader_interface.h"

#include <QObject>
#include <QVector>

#include <atomic>
#include <memory>

namespace CommonNOX::Connections
{
class SSHConnection;
}

namespace CommonNOX::Devices
{

/// One numbered part of an update; each has an equal share of its progress.
struct UpdateStep
{
    enum class Kind { PreCommand, PreparationCopy, Copy, PostCommand };

    Kind kind = Kind::Copy;
    QString command;                       ///< of the two kinds of commands, as the manifest has it
    Connections::FileCopyDescription file; ///< of the two kinds of copies; the source is resolved

    bool isCommand() const { return kind == Kind::PreCommand || kind == Kind::PostCommand; }
};

/// Updates the software of a device from a package. See docs/update.md for what is guaranteed.
///
/// Its operations block, in the thread in which it lives together with its connection; others hear of it by signals.
/// `cancel` may be called from any thread. An operation that fails writes one line to the log and leaves the reason in
/// `getError`.
class NOX_EXPORT DeviceUpdateWorker : public QObject
{
    Q_OBJECT
public:
    using ReaderConstPtr = std::shared_ptr<const Shared::GuiContexts::ReaderInterface>;
    using Package = std::shared_ptr<const UpdatePackage>;

    enum class Outcome { Updated, NotApplicable, Failed, Cancelled };
    Q_ENUM(Outcome)

    /// Test packages are accepted where "command_line/dac-enable-dummy-updates" is true in the reader's tree.
    explicit DeviceUpdateWorker(const ReaderConstPtr &reader, QObject *parent = nullptr);
    ~DeviceUpdateWorker() override;

    /// Not owned; has to live in this worker's thread and as long as it is used here. May be not connected yet.
    void setSSHConnection(Connections::SSHConnection *connection);
    /// Compared with the packages' where both are given.
    void setDeviceClass(const QString &deviceClass);

    /// What the steps of the package are. Empty with one sentence in @p error when a source is not to be had.
    static QVector<UpdateStep> MakeSteps(const UpdatePackage &package, QString &error);

    /// Asks the device for its versions, and whether an update by the package is under way. Nothing when it cannot be
    /// asked.
    std::optional<DeviceUpdateContext> readContext(const Package &package);
    /// The applicable package of the highest priority; of equal ones the first by name. Null when none applies, then
    /// @p reason tells why, or when the device cannot be asked, then `getError` does.
    Package checkForUpdate(const QVector<Package> &packages, QString *reason = nullptr);

    /// Checks the package and carries it out. A step that fails ends it; steps behind it do not run. Where the package
    /// tells a target version, the device has to tell it at the end. Emits `finished` once.
    Outcome update(const Package &package);

    /// Ends the update soon; files are old or new then. For good: later updates end at once.
    void cancel();
    QString getError() const { return m_error; }

signals:
    /// Steps count from 1. `text` is what the step does, the command as it stands in the manifest.
    void stepStarted(int step, int stepCount, const QString &text);
    /// Of the whole update, 0 to 100; never falls.
    void progressChanged(int percent);
    /// A line that a command wrote.
    void commandLine(const QString &line, bool isError);
    /// `message` is one sentence.
    void finished(CommonNOX::Devices::DeviceUpdateWorker::Outcome outcome, const QString &message);

private:
    bool isReady();
    std::optional<DeviceUpdateContext> readContext(const QVector<Package> &packages);
    bool carryOutSteps(const UpdatePackage &package);
    Outcome end(Outcome outcome, const QString &message);
    Outcome fail(const QString &message);
    bool runCommand(int step);
    bool copyFiles(int first, int end);
    /// What it came to in a few words, empty when it failed.
    QString checkTarget(const DeviceUpdateManifest &manifest);
    void startStep(int step);
    void handleLine(const QString &line);
    void handleProgress(int step, int percent);

    const ReaderConstPtr m_reader;
    Connections::SSHConnection *m_connection = nullptr;
    QString m_deviceClass;
    QVector<UpdateStep> m_steps;
    int m_step = -1;    // running, or started last
    int m_percent = -1; // told last
    QString m_error;
    std::atomic<bool> m_isCancelled{false};
    std::atomic<Connections::SSHConnection *> m_cancellable{nullptr};
};

/// What a step does, in a few words.
NOX_EXPORT QString DescribeUpdateStep(const UpdateStep &step);

/// The percentage that a line of a command tells: "42%", at its end, or "3/8". Negative for any other line.
NOX_EXPORT int ReadProgressLine(const QString &line);

} // namespace CommonNOX::Devices
