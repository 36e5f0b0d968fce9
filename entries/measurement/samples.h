#pragma once

#include <QMetaType>
#include <QVector>

namespace CommonNOX::Entries
{

/// Raw samples of an analogue channel, in units of its converter.
using SampleVector = QVector<qint32>;

/// Values of a curve.
using ValueVector = QVector<double>;

} // namespace CommonNOX::Entries
