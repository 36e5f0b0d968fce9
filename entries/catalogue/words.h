#pragma once

#include <QString>
#include <QVariant>

/// Words for the enumerations of the catalogue. A value without a word shows as its number, what is no number as an
/// empty text.
namespace CommonNOX::Entries::Format
{

QString axisScaling(const QVariant &value);
QString cableEnd(const QVariant &value);
QString cableTopology(const QVariant &value);
QString calibrationDestination(const QVariant &value);
QString calibrationSource(const QVariant &value);
QString calibrationStatus(const QVariant &value);
QString channelCalibrationStatus(const QVariant &value); ///< a list with one status a channel
QString measureMode(const QVariant &value);
QString measurementType(const QVariant &value);
QString navigationType(const QVariant &value);
QString procedureType(const QVariant &value);
QString testResult(const QVariant &value);
QString testStatus(const QVariant &value);

} // namespace CommonNOX::Entries::Format
