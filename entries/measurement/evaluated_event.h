#pragma once

#include <QVector>

namespace CommonNOX::Data
{

/// One pulse, scaled.
struct EvaluatedEvent
{
    qint64 time = 0;      ///< ticks of the device clock
    double charge = 0.0;  ///< signed; in the period's PD unit
    double phase = 0.0;   ///< degrees, not wrapped into 0 to 360
    double voltage = 0.0; ///< test voltage at the moment of the pulse
    quint8 flags = 0;     ///< as the instrument set them
    bool counted = false; ///< whether the event enters the statistics
};

using EvaluatedEventVector = QVector<EvaluatedEvent>;

} // namespace CommonNOX::Data

Q_DECLARE_TYPEINFO(CommonNOX::Data::EvaluatedEvent, Q_PRIMITIVE_TYPE);
