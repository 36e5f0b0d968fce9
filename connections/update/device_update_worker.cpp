#include "connections/update/device_update_worker.h"

#include "connections/update/ssh_connection.h"
#include "entries/log.h"
#include "platform/visitors.h"

#include <QThread>

#include <algorithm>
#include <utility>

namespace CommonNOX::Devices
{

using Connections::FileCopyDescription;
using Connections::SSHConnection;

namespace
{

constexpr int Whole = 100;
/// How much of a failed command's output a message repeats.
constexpr int ShownOutput = 400;

/// A hidden file on the device, beside the one that tells its version, that stands there while an update by a package
/// is under way. Its name tells the package.
struct UpdateMark
{
    static inline const QString Prefix = QStringLiteral(".nox-update-");

    QString folder;
    QString name;

    QString path() const { return folder + QLatin1Char('/') + name; }
};

UpdateMark markOf(const UpdatePackage &package)
{
    constexpr int DigitsOfName = 32;
    const QString path = package.getManifest().getPrimaryPath();
    const int slash = path.lastIndexOf(QLatin1Char('/'));
    return {slash < 0 ? QStringLiteral(".") : path.left(std::max(slash, 1)),
            UpdateMark::Prefix + package.getManifestDigest().left(DigitsOfName)};
}

/// The end of what a command wrote, where programs tell what was wrong.
QString lastWords(const Connections::SSHCommandResult &result)
{
    const QString all = result.errorOutput.trimmed().isEmpty() ? result.output : result.errorOutput;
    const QString words = all.simplified();
    return words.isEmpty() ? QStringLiteral("it wrote nothing") : words.right(ShownOutput);
}

DeviceUpdateContext contextOf(const DeviceUpdateWorker::Package &package, DeviceUpdateContext context)
{
    context.isUnderWay = context.versions.contains(markOf(*package).path());
    return context;
}

bool acceptsDummies(const DeviceUpdateWorker::ReaderConstPtr &reader)
{
    return Utilities::GuiContextVisitor(reader)
        .getAppConfig(QStringLiteral("command_line/dac-enable-dummy-updates"))
        .toBool();
}

} // namespace

DeviceUpdateWorker::DeviceUpdateWorker(const ReaderConstPtr &reader, QObject *parent)
    : QObject(parent), m_reader(reader)
{}

DeviceUpdateWorker::~DeviceUpdateWorker() = default;

void DeviceUpdateWorker::setSSHConnection(SSHConnection *connection)
{
    if (m_connection)
        QObject::disconnect(m_connection, nullptr, this, nullptr);
    m_connection = connection;
    m_cancellable = connection;
    if (!connection)
        return;
    connect(connection, &SSHConnection::partialCommandResult, this, [this](const QString &line) {
        emit commandLine(line, false);
        handleLine(line);
    });
    connect(connection, &SSHConnection::partialCommandError, this, [this](const QString &line) {
        emit commandLine(line, true);
        handleLine(line);
    });
}

void DeviceUpdateWorker::setDeviceClass(const QString &deviceClass)
{
    m_deviceClass = deviceClass;
}

bool DeviceUpdateWorker::isReady()
{
    m_error.clear();
    if (!m_connection) {
        m_error = QStringLiteral("there is no connection to the device");
        qCWarning(libraryLog, "DeviceUpdateWorker::update() No SSH connection set which can be used for performing the "
                              "update");
    } else if (m_connection->thread() != thread() || QThread::currentThread() != thread()) {
        m_error = QStringLiteral("the connection to the device belongs to another thread");
        qCWarning(libraryLog, "DeviceUpdateWorker::update() Thread of SSH connection must be the same as the thread of "
                              "this worker");
    } else if (m_isCancelled) {
        m_error = QStringLiteral("cancelled");
    } else if (!m_connection->connect()) {
        m_error = m_connection->getError();
    }
    return m_error.isEmpty();
}

std::optional<DeviceUpdateContext> DeviceUpdateWorker::readContext(const Package &package)
{
    if (!package) {
        m_error = QStringLiteral("there is no package");
        return std::nullopt;
    }
    const auto context = readContext(QVector<Package>{package});
    return context ? std::optional(contextOf(package, *context)) : std::nullopt;
}

std::optional<DeviceUpdateContext> DeviceUpdateWorker::readContext(const QVector<Package> &packages)
{
    if (!isReady())
        return std::nullopt;
    QStringList paths;
    for (const Package &package : packages)
        paths += package->getManifest().getVersionPaths() << markOf(*package).path();
    paths.removeDuplicates();
    const auto versions = m_connection->readFirstLines(paths);
    if (!versions) {
        m_error = m_connection->getError();
        return std::nullopt;
    }
    return DeviceUpdateContext{*versions, m_deviceClass, acceptsDummies(m_reader), false};
}

DeviceUpdateWorker::Package DeviceUpdateWorker::checkForUpdate(const QVector<Package> &packages, QString *reason)
{
    QVector<Package> sorted;
    std::copy_if(packages.begin(), packages.end(), std::back_inserter(sorted),
                 [](const Package &package) { return package != nullptr; });
    std::sort(sorted.begin(), sorted.end(), [](const Package &left, const Package &right) {
        const int leftPriority = left->getManifest().getPriority(), rightPriority = right->getManifest().getPriority();
        return leftPriority != rightPriority ? leftPriority > rightPriority : left->getName() < right->getName();
    });
    const auto context = readContext(sorted);
    if (!context)
        return {};
    if (context->acceptsDummies)
        qCInfo(libraryLog, "DeviceUpdateWorker::CheckManifestFileForUpdate() accepting dummy files for update");
    QStringList reasons;
    for (const Package &package : qAsConst(sorted)) {
        QString why;
        const DeviceUpdateContext own = contextOf(package, *context);
        if (package->getManifest().checkForUpdateWithContext(own, &why)) {
            if (own.isUnderWay)
                qCInfo(libraryLog, "DeviceUpdateWorker::checkForUpdate() an update that was interrupted goes on");
            return package;
        }
        reasons.append(sorted.size() > 1 ? package->getName() + QStringLiteral(": ") + why : why);
    }
    if (reason)
        *reason = sorted.isEmpty() ? QStringLiteral("there is no package") : reasons.join(QStringLiteral("; "));
    return {};
}

DeviceUpdateWorker::Outcome DeviceUpdateWorker::update(const Package &package)
{
    m_steps.clear();
    m_step = -1;
    m_percent = -1;
    if (!package)
        return fail(QStringLiteral("there is no package"));
    QString error;
    // All sources are looked for before the device is touched.
    const QVector<UpdateStep> steps = MakeSteps(*package, error);
    if (!error.isEmpty())
        return fail(error);
    QString reason;
    if (!checkForUpdate({package}, &reason))
        return m_error.isEmpty() ? end(Outcome::NotApplicable, reason) : fail(m_error);

    m_steps = steps;
    if (!carryOutSteps(*package))
        return fail(m_error);
    const QString result = checkTarget(package->getManifest());
    if (result.isEmpty())
        return fail(m_error);
    // Also of packages that were given up for this one.
    if (m_connection->isConnected())
        m_connection->removeFiles(markOf(*package).folder, UpdateMark::Prefix);
    handleProgress(m_steps.size() - 1, Whole);
    return end(Outcome::Updated, result);
}

bool DeviceUpdateWorker::carryOutSteps(const UpdatePackage &package)
{
    bool wasMarked = false;
    for (int step = 0; step < m_steps.size();) {
        if (m_isCancelled) {
            m_error = QStringLiteral("cancelled");
            return false;
        }
        // Commands of preparation leave the versions alone. Where it cannot be written, as in a folder for reading
        // only, an update that was interrupted late may be refused by its conditions.
        if (m_steps[step].kind != UpdateStep::Kind::PreCommand && !std::exchange(wasMarked, true)) {
            const UpdateMark mark = markOf(package);
            m_connection->makeFile(mark.folder, mark.name);
        }
        int next = step + 1;
        if (!m_steps[step].isCommand()) {
            // Files of one kind go together, which saves the device most of the questions about single ones.
            while (next < m_steps.size() && m_steps[next].kind == m_steps[step].kind)
                ++next;
        }
        if (!(m_steps[step].isCommand() ? runCommand(step) : copyFiles(step, next))) {
            m_error = QStringLiteral("step %1 of %2, %3")
                          .arg(QString::number(m_step + 1), QString::number(m_steps.size()), m_error);
            return false;
        }
        step = next;
    }
    return true;
}

DeviceUpdateWorker::Outcome DeviceUpdateWorker::end(Outcome outcome, const QString &message)
{
    emit finished(outcome, message);
    return outcome;
}

DeviceUpdateWorker::Outcome DeviceUpdateWorker::fail(const QString &message)
{
    m_error = message;
    // The connection has told its own failures already.
    const QString told = m_connection ? m_connection->getError() : QString();
    if (told.isEmpty() || !message.contains(told))
        qCWarning(libraryLog).noquote().nospace() << "DeviceUpdateWorker::update() " << message;
    return end(m_isCancelled ? Outcome::Cancelled : Outcome::Failed, message);
}

bool DeviceUpdateWorker::runCommand(int step)
{
    startStep(step);
    const QString command = m_steps[step].command;
    const auto result = m_connection->executeCommand(command);
    if (!result.error.isEmpty())
        m_error = QStringLiteral("the command \"%1\" did not end: %2").arg(command, result.error);
    else if (result.exitStatus != 0)
        m_error = QStringLiteral("the command \"%1\" failed with status %2: %3")
                      .arg(command, QString::number(result.exitStatus), lastWords(result));
    else
        handleProgress(step, Whole);
    return result.isOk();
}

bool DeviceUpdateWorker::copyFiles(int first, int end)
{
    QVector<FileCopyDescription> files;
    for (int step = first; step < end; ++step)
        files.append(m_steps[step].file);
    startStep(first);
    const auto progress = connect(m_connection, &SSHConnection::sendingFile, this, [&](int index, int percent) {
        if (first + index > m_step)
            startStep(first + index);
        handleProgress(first + index, percent);
    });
    const bool isSent = m_connection->sendFiles(files);
    disconnect(progress);
    if (!isSent)
        m_error = QStringLiteral("the files cannot be copied: ") + m_connection->getError();
    return isSent;
}

QString DeviceUpdateWorker::checkTarget(const DeviceUpdateManifest &manifest)
{
    if (m_steps.isEmpty())
        return QStringLiteral("the package has nothing to do");
    const QString path = manifest.getPrimaryPath();
    const auto lines = m_connection->readFirstLines({path});
    if (!lines && m_steps.last().isCommand() && !m_isCancelled && !m_connection->hasStalled() &&
        !m_connection->isConnected())
        return QStringLiteral("the device is updated and has ended the connection, its version was not asked for");
    if (!lines) {
        m_error = m_isCancelled ? QStringLiteral("cancelled")
                                : QStringLiteral("all steps are done, but the device does not tell its version: ") +
                                      m_connection->getError();
        return {};
    }
    const QString told = lines->value(path);
    const auto version = DeviceUpdateManifest::ParseVersion(told);
    const auto target = DeviceUpdateManifest::ParseVersion(manifest.getTargetVersion());
    // Only a target that the package names is meant to be told; the guessed one is for people.
    if (manifest.hasPrimaryCondition() && target && (!version || *version != *target)) {
        m_error = QStringLiteral("all steps are done, but %1 on the device tells \"%2\" instead of version %3")
                      .arg(path, told.left(40).simplified(), manifest.getTargetVersion());
        return {};
    }
    return QStringLiteral("the device is updated");
}

void DeviceUpdateWorker::startStep(int step)
{
    m_step = step;
    emit stepStarted(step + 1, m_steps.size(), DescribeUpdateStep(m_steps[step]));
    handleProgress(step, 0);
}

void DeviceUpdateWorker::handleLine(const QString &line)
{
    if (m_step < 0 || m_step >= m_steps.size() || !m_steps[m_step].isCommand())
        return;
    qCInfo(libraryLog).noquote().nospace()
        << "DeviceUpdateWorker::handleProgress() received line=" << line.simplified();
    if (const int percent = ReadProgressLine(line); percent >= 0)
        handleProgress(m_step, percent);
}

void DeviceUpdateWorker::handleProgress(int step, int percent)
{
    const int stepCount = std::max<int>(m_steps.size(), 1);
    const double base = double(std::max(step, 0)) * Whole / stepCount;
    const double size = double(Whole) / stepCount;
    const int full = int(base + percent * size / Whole + 1e-9);
    // Files go in batches, whose ends tell of their first files again.
    if (full <= m_percent)
        return;
    m_percent = full;
    qCInfo(libraryLog).noquote().nospace()
        << "DeviceUpdateWorker::handleProgress() received count=" << percent << " for step=" << step + 1
        << " stepCount=" << stepCount << " currentPercentageInStep=" << percent << " stepFinalProgressBase=" << base
        << " stepFinalProgressSize=" << size << " full progress percentage=" << full;
    emit progressChanged(full);
}

void DeviceUpdateWorker::cancel()
{
    m_isCancelled = true;
    if (SSHConnection *const connection = m_cancellable)
        connection->cancel();
}

} // namespace CommonNOX::Devices
