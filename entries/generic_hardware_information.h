#pragma once

#include <QString>
#include <QStringList>

namespace CommonNOX
{

/// What is known of an instrument's hardware, whether it is connected or was recorded. A text that is not known is
/// empty. Implementations are immutable, so that any thread may read.
class GenericHardwareInformationInterface
{
public:
    virtual ~GenericHardwareInformationInterface() = default;

    virtual QString getSerialNumber() const = 0;
    virtual QString getProductClass() const = 0;
    virtual QString getProductName() const = 0;
    virtual QString getSoftwareVersion() const = 0;
    virtual QString getFPGAVersion() const = 0;
    /// Identifiers of the fitted options, in the instrument's order.
    virtual QStringList getHardwareOptions() const = 0;
    /// Number of PD channels, 0 when unknown.
    virtual int getNumberOfChannels() const = 0;
    /// Number of channels with a high-speed converter, 0 when there is none.
    virtual int getNumberOfHighSpeedAdcChannels() const = 0;

protected:
    GenericHardwareInformationInterface() = default;
    GenericHardwareInformationInterface(const GenericHardwareInformationInterface &) = default;
    GenericHardwareInformationInterface &operator=(const GenericHardwareInformationInterface &) = default;
};

} // namespace CommonNOX
