#pragma once

#include "entries/measurement/samples.h"
#include "host/pulses/raw_period.h"

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <vector>

namespace NoxHost
{

/// A line of the instrument protocol, read.
struct WireMessage
{
    QString name;       ///< of the message; empty when `error` is not
    QJsonObject object; ///< all members, the name too
    QString error;      ///< one sentence about what is wrong with the line
};

WireMessage readMessage(const QByteArray &line);
/// The message as a line with its end.
QByteArray writeMessage(const QJsonObject &object);
/// A message of this name without further members.
QJsonObject makeMessage(const QString &name);
QJsonObject makeErrorMessage(const QString &reason);

/// Successive periods of one channel.
struct PeriodBlock
{
    int channel = 0;
    std::vector<RawPeriod> periods; ///< their indices follow one another; never empty once read
};

/// The samples of the test voltage.
struct WireVoltageScope
{
    quint64 index = 0; ///< the first period for which it holds
    qint64 startTicks = 0;
    quint32 sampleRate = 0; ///< samples a second
    double hardwareCorrection = 1.0;
    double calibration = 0.0; ///< kV per corrected unit; 0 is not calibrated
    CommonNOX::Entries::SampleVector samples;
};

/// Blocks that an instrument dropped because its host read too slowly.
struct OverrunReport
{
    int channel = 0;
    quint64 from = 0; ///< first period that is missing
    quint64 to = 0;   ///< last period that is missing
};

/// The readers return false with one sentence in `error`, and leave the result undefined, for a message that is not as
/// documented: a member is missing, of another type or out of its range, base64 that is none, a number of bytes that is
/// no whole number of records, a pulse outside its period.
bool readPeriodBlock(const QJsonObject &message, PeriodBlock &block, QString &error);
bool readVoltageScope(const QJsonObject &message, WireVoltageScope &scope, QString &error);
bool readOverrun(const QJsonObject &message, OverrunReport &overrun, QString &error);

/// Lines, written without a JSON document in between: they are most of what an instrument sends.
QByteArray writePeriodBlock(const RawPeriod &period);
QByteArray writeVoltageScope(const WireVoltageScope &scope);
QByteArray writeOverrun(const OverrunReport &overrun);

/// A whole number of a JSON member within the limits; false for anything else.
bool readWholeNumber(const QJsonValue &value, qint64 lowest, qint64 highest, qint64 &number);

} // namespace NoxHost
