#pragma once

#include "nox_export.h"

#include <QMetaType>
#include <QVector>

class QDataStream;

namespace CommonNOX::Entries::Results::Space2D
{

/// Flag bit of a peak that fell into a gating window.
inline constexpr quint8 PeakFlagGated = 0x10;

/// One raw partial-discharge pulse as an instrument delivers it.
struct PeakData
{
    qint32 amplitude = 0; ///< signed, raw charge units
    qint32 voltage = 0;   ///< signed, raw test-voltage units at the moment of the pulse
    qint64 time = 0;      ///< ticks of the device clock
    quint8 flags = 0;     ///< bit set, see PeakFlagGated

    friend bool operator==(const PeakData &, const PeakData &) = default;
};

/// The pulses of one period, contiguous; order within a period is free.
using PeakVector = QVector<PeakData>;

/// In bulk: a count, then 17 bytes a peak in the order of its fields.
NOX_EXPORT QDataStream &operator<<(QDataStream &stream, const PeakVector &peaks);
NOX_EXPORT QDataStream &operator>>(QDataStream &stream, PeakVector &peaks);

} // namespace CommonNOX::Entries::Results::Space2D

Q_DECLARE_TYPEINFO(CommonNOX::Entries::Results::Space2D::PeakData, Q_PRIMITIVE_TYPE);
Q_DECLARE_METATYPE(CommonNOX::Entries::Results::Space2D::PeakVector)
