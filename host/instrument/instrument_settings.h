#pragma once

#include "host/protocol/message_names.h"
#include "host/simulated/simulated_signal_source.h"

#include <QHostAddress>
#include <QUuid>

namespace NoxHost
{

/// How much a host may leave unread, and how long it may be silent.
struct InstrumentLimits
{
    /// Bytes for one host that are not in the system's hands yet, above which its blocks are dropped.
    qint64 unsentBytes = 64 * 1024 * 1024;
    /// Answers may go beyond, by so many bytes; a host that reads none of them is failed then.
    qint64 answerBytes = 8 * 1024 * 1024;
    /// At speed 0, blocks are made only while less is unsent.
    qint64 unpacedBytes = 8 * 1024 * 1024;
    int heartbeatMs = Wire::HeartbeatMs;
    int silenceMs = Wire::SilenceMs;
    int hosts = 64;
};

/// What a simulated instrument is and measures, and where it listens.
struct InstrumentSettings
{
    QHostAddress address = QHostAddress(QHostAddress::LocalHost);
    quint16 port = Wire::DefaultPort; ///< 0 takes one that is free
    SimulatedSignalSettings signal;
    double speed = 1.0; ///< measuring time over real time; 0 is as fast as the hosts take it
    QString identification = QStringLiteral("PD-SIM");
    QString softwareVersion = QStringLiteral("1.0.0");
    /// Whose first line is the software version of each announcement, where it can be read; empty for none.
    QString versionFile;
    InstrumentLimits limits;

    /// Made from the seed, so that an instrument started again is the same one.
    QString serialNumber() const
    {
        return QStringLiteral("S") + QString::number(signal.seed).rightJustified(4, QLatin1Char('0'));
    }
    /// The name on the network, which follows from identification and serial number.
    QUuid uuid() const
    {
        const QUuid family(QStringLiteral("{0e5f2d0c-6a5b-4f5e-9d2f-2f3f6b1f7c11}"));
        return QUuid::createUuidV5(family, identification + QLatin1Char('/') + serialNumber());
    }
};

} // namespace NoxHost
