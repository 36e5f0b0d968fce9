#pragma once

#include "entries/measurement/peak.h"
#include "entries/measurement/samples.h"

#include <QByteArray>
#include <QString>

namespace NoxHost
{

/// Base64 of packed little-endian records, by a table and straight into the vector. Strict: the standard alphabet, no
/// white space, padded to a multiple of four characters. False, and the vector is empty, for anything else and for a
/// length that is no whole number of records.
///
/// Peaks are 17 bytes each: int32 amplitude, int32 voltage, int64 time, uint8 flags. Samples are int32.
bool decodePeaks(const QString &base64, CommonNOX::Entries::Results::Space2D::PeakVector &peaks);
bool decodeSamples(const QString &base64, CommonNOX::Entries::SampleVector &samples);

QByteArray encodePeaks(const CommonNOX::Entries::Results::Space2D::PeakVector &peaks);
QByteArray encodeSamples(const CommonNOX::Entries::SampleVector &samples);

} // namespace NoxHost
