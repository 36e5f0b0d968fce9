#pragma once

#include <QCoreApplication>
#include <QDateTime>
#include <QVariant>

/// Marks a label of a property table for translation.
#define NOX_LABEL(text) QT_TRANSLATE_NOOP("CommonNOX::Entries", text)

namespace CommonNOX::Entries
{

/// The default of a property that holds bulk data: a vector of that type without elements.
template <class Vector>
QVariant empty()
{
    return QVariant::fromValue(Vector());
}

} // namespace CommonNOX::Entries
