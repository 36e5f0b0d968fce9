#include "host/session/device_link.h"

#include "connections/connection_paths.h"
#include "host/log.h"
#include "host/protocol/instrument_detector.h"
#include "platform/communication/connection.h"
#include "platform/configuration_tree.h"

namespace NoxHost
{

using CommonNOX::ConnectionStatus;
using CommonNOX::Connections::ConnectionManager;
using Shared::Communication::Connections::Connection;
namespace Paths = CommonNOX::Connections::Paths;

namespace
{

constexpr int SupportedMajorVersion = 1;

} // namespace

DeviceLink::DeviceLink(const std::shared_ptr<ConnectionManager> &manager,
                       const std::shared_ptr<Utilities::ConfigurationTree> &tree, const LinkSettings &settings)
    : m_manager(manager), m_tree(tree), m_settings(settings)
{
    for (QTimer *timer : {&m_firstDeadline, &m_pause, &m_lastDeadline})
        timer->setSingleShot(true);
    connect(manager.get(), &ConnectionManager::deviceConnectStatusChanged, this, &DeviceLink::onStatus);
    connect(&m_firstDeadline, &QTimer::timeout, this, [this] {
        end(QStringLiteral("\"%1\" did not announce itself within %2 s.")
                .arg(m_url.toString())
                .arg(m_settings.announcementTimeoutMs / 1000.0));
    });
    connect(&m_pause, &QTimer::timeout, this, &DeviceLink::reconnect);
    connect(&m_lastDeadline, &QTimer::timeout, this, [this] {
        end(QStringLiteral("the connection to \"%1\" is lost for good: %2, and not back within %3 s.")
                .arg(m_url.toString(), m_lossReason)
                .arg(m_settings.giveUpMs / 1000.0));
    });
}

DeviceLink::~DeviceLink()
{
    close();
}

void DeviceLink::open(const QUrl &url)
{
    m_url = url;
    m_firstDeadline.start(m_settings.announcementTimeoutMs);
    const QString id = m_manager->connectToDevice(url);
    // What happened while it was opened is known already.
    if (m_isEnded || !m_id.isEmpty())
        return;
    end(id.isEmpty() ? QStringLiteral("there is no transport for \"%1\".").arg(url.toString())
                     : QStringLiteral("\"%1\" cannot be opened.").arg(url.toString()));
}

void DeviceLink::close()
{
    if (std::exchange(m_isEnded, true))
        return;
    for (QTimer *timer : {&m_firstDeadline, &m_pause, &m_lastDeadline})
        timer->stop();
    if (!m_id.isEmpty() && m_isUp)
        m_manager->disconnectFromDevice(m_id, QStringLiteral("closed by the host"));
    dropDetector();
}

/// Its signal may be what brought us here.
void DeviceLink::dropDetector()
{
    if (!m_detector)
        return;
    m_detector->disconnect(this);
    m_detector.release()->deleteLater();
}

void DeviceLink::giveUp(const QString &sentence)
{
    end(sentence);
}

std::shared_ptr<Connection> DeviceLink::getConnection() const
{
    return m_tree->read(Paths::ConnectionLeaf(*m_tree, m_id)).value<std::shared_ptr<Connection>>();
}

void DeviceLink::onStatus(const QString &id, const ConnectionStatus &status)
{
    if (m_isEnded)
        return;
    // The first connection that comes up while ours is opened is ours; its id is told only afterwards.
    if (m_id.isEmpty() && status == ConnectionStatus::Connecting && !m_url.isEmpty())
        m_id = id;
    if (id != m_id)
        return;
    m_tree->write(Paths::StatusLeaf(*m_tree, id), CommonNOX::ConvertConnectStatusToString(status));
    switch (status) {
    case ConnectionStatus::Connecting:
        m_isUp = true;
        break;
    case ConnectionStatus::Established:
        onEstablished();
        break;
    case ConnectionStatus::Failed:
    case ConnectionStatus::Disconnected:
        // A status may be told twice; the second says nothing new.
        if (std::exchange(m_isUp, false))
            onDown();
        break;
    case ConnectionStatus::Disconnecting:
        break;
    }
}

void DeviceLink::onEstablished()
{
    m_detector = std::make_unique<InstrumentDetector>(getConnection(), m_settings.announcementTimeoutMs);
    connect(m_detector.get(), &InstrumentDetector::protocolVersionReceived, this,
            [this](const Shared::Communication::Protocols::ProtocolVersion &version) {
                if (version.major == SupportedMajorVersion)
                    onAnnounced(version.toString());
                else
                    end(QStringLiteral("the instrument speaks version %1 of the protocol, this program %2.x.")
                            .arg(version.toString())
                            .arg(SupportedMajorVersion));
            });
}

void DeviceLink::onAnnounced(const QString &version)
{
    m_firstDeadline.stop();
    m_lastDeadline.stop();
    m_nextPauseMs = m_settings.firstPauseMs;
    m_wasAnnounced = true;
    emit announced(version, m_detector->getAnnouncement(), m_detector->getStream());
}

void DeviceLink::onDown()
{
    const auto connection = getConnection();
    const QString reason = connection ? connection->closeReason().toString() : QString();
    dropDetector();
    if (!m_wasAnnounced) {
        end(QStringLiteral("the connection to \"%1\" failed: %2.").arg(m_url.toString(), reason));
        return;
    }
    if (!m_settings.reconnects) {
        end(QStringLiteral("the connection to \"%1\" is lost: %2.").arg(m_url.toString(), reason));
        return;
    }
    if (!m_lastDeadline.isActive()) {
        m_lossReason = reason;
        m_lastDeadline.start(m_settings.giveUpMs);
        emit lost(reason);
    }
    if (m_isEnded)
        return;
    m_pause.start(m_nextPauseMs);
    m_nextPauseMs = qMin(2 * m_nextPauseMs, m_settings.longestPauseMs);
}

void DeviceLink::reconnect()
{
    m_tree->write(
        Paths::ManagerLeaf(*m_tree, m_manager->getDeviceClass(), m_manager->getDeviceSeries(), Paths::Reconnect), m_id);
}

void DeviceLink::end(const QString &sentence)
{
    if (m_isEnded)
        return;
    close();
    emit ended(sentence);
}

} // namespace NoxHost
