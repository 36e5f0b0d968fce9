#include "host/session/measuring_session.h"

#include "connections/channels/channel_information.h"
#include "connections/connection_paths.h"
#include "connections/connection_request_parsers.h"
#include "connections/devices/device_request_decoder.h"
#include "connections/devices/device_request_response_provider.h"
#include "entries/catalogue/results_pd.h"
#include "entries/measurement/voltage_scope.h"
#include "host/protocol/message_names.h"
#include "host/transports/tcp_connection.h"
#include "host/transports/transports.h"
#include "platform/configuration_tree.h"
#include "platform/visitors.h"

#include <QJsonArray>

#include <algorithm>

namespace NoxHost
{

using namespace CommonNOX::Devices;
using CommonNOX::Connections::ConnectionManager;
using CommonNOX::Connections::ConnectionRequestParser;
namespace Paths = CommonNOX::Connections::Paths;

namespace
{

const QString DeviceClass = QStringLiteral("pd");
const QString DeviceSeries = QStringLiteral("nox");
const QString AnnouncementLeaf = QStringLiteral("announcement");
const QString DevicesPath = QStringLiteral("devices");
const QString SerialNumberKey = QStringLiteral("serial_number");

constexpr int LongestName = 256;
constexpr int MostParameters = 10'000;

/// The manager of the tree, made when there is none yet: sessions share it.
std::shared_ptr<ConnectionManager> findManager(const std::shared_ptr<Utilities::ConfigurationTree> &tree)
{
    const QString leaf = Paths::ManagerLeaf(*tree, DeviceClass, DeviceSeries, Paths::Manager);
    if (const auto manager = tree->read(leaf).value<std::shared_ptr<ConnectionManager>>())
        return manager;
    return ConnectionManager::InstallConnectionManager(
        Shared::GuiContexts::MakeReader({}, tree), DeviceClass, DeviceSeries, makeConnectionFactories(),
        &ConnectionRequestParser::CheckConnectDataForScheme, TcpConnection::DefaultTimeoutMs);
}

std::shared_ptr<DeviceRequestDecoder> findDecoder(const std::shared_ptr<Utilities::ConfigurationTree> &tree)
{
    const QString leaf = tree->joinPath({DevicesPath, AnnouncementLeaf});
    auto decoder = std::dynamic_pointer_cast<DeviceRequestDecoder>(tree->getParser(leaf));
    if (!decoder) {
        decoder = std::make_shared<DeviceRequestDecoder>();
        tree->setParser(leaf, decoder);
    }
    return decoder;
}

QList<Channels::ChannelInformation> readChannels(const QJsonArray &texts, unsigned int count)
{
    QList<Channels::ChannelInformation> channels;
    for (int i = 0; i < int(count); ++i)
        channels.append(Channels::ParseChannelInformationFromString(texts.at(i).toString(), i));
    return channels;
}

} // namespace

MeasuringSession::MeasuringSession(const std::shared_ptr<Utilities::ConfigurationTree> &tree)
    : m_tree(tree), m_manager(findManager(tree)), m_decoder(findDecoder(tree))
{
    connect(
        m_decoder.get(), &DeviceRequestDecoder::deviceRequested, this,
        [this](const QString &identification, const QString &serial, const QString &connection, unsigned int channels) {
            if (connection == m_connectionId)
                onDeviceRequested(identification, serial, channels);
        });
}

MeasuringSession::~MeasuringSession()
{
    if (!m_device)
        return;
    QStringList devices = m_tree->read(DevicesPath).toStringList();
    devices.removeAll(m_device->getPath());
    m_tree->write(DevicesPath, devices);
}

void MeasuringSession::request(const QString &parameter, const QVariant &value)
{
    m_tree->write(m_provider->getRequestPathForParameter(parameter), value);
}

bool MeasuringSession::announce(const QString &connectionId, const QJsonObject &announcement)
{
    m_connectionId = connectionId;
    m_announcement = announcement;
    m_announcement.insert(Wire::Announce::ConnectionId, connectionId);
    return m_tree->write(m_tree->joinPath({DevicesPath, AnnouncementLeaf}), m_announcement);
}

QString MeasuringSession::makeDevice(const QString &identification, const QString &serial, unsigned int channels)
{
    if (channels == 0 || channels > MaximumChannels)
        return QStringLiteral("the instrument announces %1 channels, 1 to %2 can be measured.")
            .arg(channels)
            .arg(MaximumChannels);
    if (identification.size() > LongestName || serial.size() > LongestName ||
        m_announcement.value(Wire::Announce::Parameters).toObject().size() > MostParameters)
        return QStringLiteral("the instrument announces names or parameters beyond all bounds.");
    m_serial = serial;
    QString name = serial;
    name.replace(m_tree->getListSeparator(), QStringLiteral("_"));
    const QString path = m_tree->joinPath({DevicesPath, name});
    const auto reader = Shared::GuiContexts::MakeReader({}, m_tree);
    const QList<Channels::ChannelInformation> list =
        readChannels(m_announcement.value(Wire::Announce::Channels).toArray(), channels);
    for (int i = 0; i < list.size(); ++i) {
        const bool isTwice = std::count_if(list.begin(), list.end(), [&](const auto &other) {
                                 return other.getChannelIndex() == list[i].getChannelIndex();
                             }) > 1;
        if (!list[i].isValid() || isTwice)
            return QStringLiteral("the announcement of channel %1 is not valid.").arg(i);
    }
    m_device = std::make_shared<PdDevice>(reader, path, identification, list);
    const Utilities::GuiContextVisitor context(m_device->getContext());
    context.setProperty(SerialNumberKey, serial);
    // What a recording tells about its device.
    for (const QString &key : {Wire::Announce::SoftwareVersion, Wire::Announce::FpgaVersion,
                               Wire::Announce::ProductClass, Wire::Announce::ProductName})
        context.setProperty(key, m_announcement.value(key).toString().left(LongestName));
    m_tree->write(DevicesPath, m_tree->read(DevicesPath).toStringList() + QStringList(path));

    m_provider = DeviceRequestResponseProvider::Install(reader, path, {{QString(), Wire::Names::Request}});
    m_provider->setConnectionPath(Paths::ConnectionGroup(*m_tree, m_connectionId));
    return {};
}

void MeasuringSession::deliverScope(const PdDevice::VoltageScopePtr &scope, quint64 firstPeriod)
{
    CommonNOX::Data::VoltageScope measured;
    if (measured.preProcess(scope) && measured.isCalibrated())
        m_kilovolts = measured.getRms();
    m_device->addVoltageScope(scope, firstPeriod);
}

} // namespace NoxHost
