#pragma once

#include <QString>
#include <QVariant>

namespace Shared
{

/// A leaf of the configuration tree that acts instead of storing.
///
/// The tree calls it with no lock held, from whichever thread reads or writes the leaf.
class ValueParserInterface
{
public:
    virtual ~ValueParserInterface() = default;

    /// Fills `out` with the leaf's value; `in` is a hint that most parsers ignore. False: the value cannot be read.
    virtual bool read(const QVariant &in, QVariant &out) const = 0;

    /// Takes the written value. A valid `out` on return is delivered to the leaf's subscribers. False: refused.
    virtual bool write(QVariant &out, const QVariant &in) const = 0;

    /// A text that tells parsers of one kind apart; may be empty.
    virtual QString getId() const = 0;
};

} // namespace Shared
