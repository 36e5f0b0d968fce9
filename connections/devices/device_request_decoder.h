#pragma once

#include "nox_export.h"
#include "platform/value_parser.h"

#include <QMetaType>
#include <QObject>

#include <memory>

namespace CommonNOX::Devices
{

/// The write-only leaf through which the announcement of a device enters the configuration tree.
///
/// An announcement is a JSON object with the texts "device_identification", "serial_number" and "connection_id", none
/// of them empty, and the number "number_of_channels".
class NOX_EXPORT DeviceRequestDecoder : public QObject, public Shared::ValueParserInterface
{
    Q_OBJECT
public:
    DeviceRequestDecoder();
    ~DeviceRequestDecoder() override;

    bool read(const QVariant &in, QVariant &out) const override;
    /// False, with a log line, for anything but a complete announcement. A number of channels that is missing, no whole
    /// number or negative counts as 0, which is accepted on purpose: only the texts are tested.
    bool write(QVariant &out, const QVariant &in) const override;
    QString getId() const override;

signals:
    /// In the thread that writes.
    void deviceRequested(const QString &identification, const QString &serial, const QString &connectionId,
                         const unsigned int &channels) const;
};

} // namespace CommonNOX::Devices
