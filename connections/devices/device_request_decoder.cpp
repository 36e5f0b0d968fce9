#include "connections/devices/device_request_decoder.h"

#include "entries/log.h"
#include "platform/json_conversion.h"

#include <QJsonObject>

namespace CommonNOX::Devices
{

namespace
{

const char *toText(bool value)
{
    return value ? "true" : "false";
}

} // namespace

DeviceRequestDecoder::DeviceRequestDecoder() = default;

DeviceRequestDecoder::~DeviceRequestDecoder() = default;

bool DeviceRequestDecoder::read(const QVariant &, QVariant &out) const
{
    out = QVariant();
    return true;
}

QString DeviceRequestDecoder::getId() const
{
    return {};
}

bool DeviceRequestDecoder::write(QVariant &, const QVariant &in) const
{
    const QJsonDocument document = Shared::ConvertVariantToJsonDocument(in);
    if (document.isNull() || document.isEmpty() || !document.isObject()) {
        qCWarning(libraryLog()).noquote().nospace()
            << "DeviceRequestDecoder::write() invalid json document received, document is empty="
            << toText(document.isEmpty()) << " is null=" << toText(document.isNull())
            << " is object=" << toText(document.isObject());
        return false;
    }
    const QJsonObject object = document.object();
    const QString identification = object.value(QLatin1String("device_identification")).toString();
    const QString serial = object.value(QLatin1String("serial_number")).toString();
    const QString connection = object.value(QLatin1String("connection_id")).toString();
    const unsigned int channels = unsigned(qMax(0, object.value(QLatin1String("number_of_channels")).toInt(0)));
    if (identification.isEmpty() || serial.isEmpty() || connection.isEmpty()) {
        qCWarning(libraryLog()).noquote().nospace()
            << "DeviceRequestDecoder::write() invalid json string received, deviceIdentification=" << identification
            << " serial=" << serial << " connection=" << connection << " channels=" << channels;
        return false;
    }
    emit deviceRequested(identification, serial, connection, channels);
    return true;
}

} // namespace CommonNOX::Devices
