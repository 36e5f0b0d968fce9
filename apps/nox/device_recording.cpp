#include "apps/nox/device_recording.h"

#include "recording/recorder/pd_recorder.h"

#include <QDir>
#include <QEventLoop>
#include <QTimer>

namespace Nox
{

using CommonNOX::PD::Recording::PdRecorder;
namespace Attributes = CommonNOX::PD::Recording::Attributes;

namespace
{

/// The recorder itself waits less than that for whoever reads the file.
constexpr int LongestEndMs = 60'000;

void writeAttribute(const CommonNOX::Devices::PdDevice &device, const QString &name, const QVariant &value)
{
    const Utilities::GuiContextVisitor context(device.getContext());
    const auto tree = context.getConfigurationTree();
    tree->write(tree->joinPath({device.getPath(), Attributes::Node, name}), value);
}

} // namespace

void DeviceRecording::start(const std::shared_ptr<CommonNOX::Devices::PdDevice> &device)
{
    m_device = device;
    device->initializeRecording(QDir::currentPath());
    m_recorder = dynamic_cast<PdRecorder *>(device->getRecorder());
    if (!m_recorder) {
        m_error = QStringLiteral("the device cannot be recorded.");
        emit failed(m_error);
        return;
    }
    connect(m_recorder, &PdRecorder::recordingStarted, this, [this](const QString &path) {
        const bool isFirst = m_path.isEmpty();
        m_path = path;
        m_isActive = true;
        if (isFirst)
            emit started();
    });
    connect(m_recorder, &PdRecorder::startRefused, this, [this](const QString &reason) {
        m_error = QStringLiteral("there is no recording: %1.").arg(reason);
        emit failed(m_error);
    });
    connect(m_recorder, &PdRecorder::recordingEnded, this,
            [this](const QString &, const QString &reason, bool error) { onEnded(reason, error); });
    if (!m_options.nameTemplate().isEmpty())
        writeAttribute(*device, Attributes::Template, m_options.nameTemplate());
    writeAttribute(*device, Attributes::Control, FormatRecordingCommand(m_options.command()));
}

void DeviceRecording::onEnded(const QString &reason, bool error)
{
    // One that goes on in a new file is recording again by now.
    m_isActive = m_recorder->isRecording();
    if (error)
        m_error = QStringLiteral("the recording has ended: %1.").arg(reason);
    if (m_isActive || m_isStopping)
        return;
    m_hasReachedLimit = !error;
    emit ended(QStringLiteral("the recording has ended: %1.").arg(reason));
}

void DeviceRecording::stop()
{
    if (!m_isActive)
        return;
    m_isStopping = true;
    QEventLoop loop;
    // The end of a file that goes on in a new one may still be told.
    connect(m_recorder, &PdRecorder::recordingEnded, &loop, [&] {
        if (!m_isActive)
            loop.quit();
    });
    QTimer::singleShot(LongestEndMs, &loop, &QEventLoop::quit);
    CommonNOX::PD::Recording::RecordingCommand stop;
    writeAttribute(*m_device, Attributes::Control, FormatRecordingCommand(stop));
    loop.exec();
    if (m_isActive)
        m_error = QStringLiteral("the recording did not end in time.");
}

} // namespace Nox
