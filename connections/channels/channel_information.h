#pragma once

#include "dac/hardware/hardware_destination.h"
#include "dac/hardware/hardware_source_configuration.h"
#include "dac/hardware/hardware_types.h"
#include "dac/hardware/multiplexer_type.h"
#include "nox_export.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QVariant>

namespace CommonNOX::Devices::Channels
{

/// The description of one measuring channel of a device. Fixed once the device is set up, hence without setters.
///
/// A value: distinct objects may be used from distinct threads.
class NOX_EXPORT ChannelInformation
{
public:
    /// The invalid channel: index -1, all types 0, not enabled.
    ChannelInformation() = default;

    /// @param index counted from 0; a negative one makes the channel invalid
    /// @param name given by the user; empty for the default label. A '|' in it becomes '/', because '|' separates the
    /// items of the text form.
    /// @param multiplexer the invalid type when the channel is wired to none
    /// @param defaultEnabled whether the channel starts enabled
    ChannelInformation(int index, Hardware::Coupling coupling, Hardware::Function function,
                       Hardware::SynchronisationSource synchronisationSource,
                       const Hardware::HardwareDestination &destination, const QString &name,
                       const Hardware::MultiplexerType &multiplexer,
                       const Hardware::HardwareSourceConfiguration &sourceConfiguration, bool defaultEnabled);
    ChannelInformation(const ChannelInformation &) = default;
    ChannelInformation &operator=(const ChannelInformation &) = default;
    virtual ~ChannelInformation();

    int getChannelIndex() const { return m_index; }
    Hardware::Coupling getCouplingType() const { return m_coupling; }
    Hardware::Function getFunctionType() const { return m_function; }
    Hardware::SynchronisationSource getSynchronisationSourceType() const { return m_synchronisationSource; }
    Hardware::HardwareDestination getHardwareDestination() const { return m_destination; }
    Hardware::MultiplexerType getMultiplexerType() const { return m_multiplexer; }
    Hardware::HardwareSourceConfiguration getHardwareSourceConfiguration() const { return m_sourceConfiguration; }
    bool isDefaultEnabled() const { return m_defaultEnabled; }
    bool isConnectedToMultiplexer() const { return m_multiplexer.isValid(); }

    /// Index of 0 or more, all three types set, and a valid destination.
    bool isValid() const;

    /// The name given by the user, else the label of function and coupling with the number counted from 1 ("PD 1"), in
    /// the language of the application.
    QString getChannelName() const;

    /// The one-line text form, items "key=value" joined by '|'. ParseChannelInformationFromString() gives an equal
    /// channel back, also for an invalid one, as long as the name stays below Text::MaximumItemLength.
    QString getChannelInformationString() const;

    friend bool operator==(const ChannelInformation &, const ChannelInformation &) = default;

private:
    int m_index = -1;
    Hardware::Coupling m_coupling = Hardware::Coupling::Invalid;
    Hardware::Function m_function = Hardware::Function::Invalid;
    Hardware::SynchronisationSource m_synchronisationSource = Hardware::SynchronisationSource::Invalid;
    Hardware::HardwareDestination m_destination;
    QString m_name;
    Hardware::MultiplexerType m_multiplexer;
    Hardware::HardwareSourceConfiguration m_sourceConfiguration;
    bool m_defaultEnabled = false;
};

/// Reads the text form of a channel.
///
/// Each item is split at its first '='; items without one and unknown keys are ignored, the last of several equal keys
/// counts. A missing item takes its default, so that a short form, even an empty one, is a valid channel: the index
/// @p defaultIndex, coupling "default", function "pd", synchronisation source "extern", the destination made from the
/// index, no name, no multiplexer, no source configuration, enabled. An item that is present with an unreadable value
/// is invalid, not missing; default_enabled is the exception, where only "0" disables. A text beyond the bounds in
/// channel_text.h gives the invalid channel.
/// @param defaultIndex the place of the channel in the device's list; -1 makes the item "index" mandatory
NOX_EXPORT ChannelInformation ParseChannelInformationFromString(const QString &text, int defaultIndex = -1);

/// Makes a channel from device settings, whose keys are Text::Settings.
///
/// Missing types, index and enable flag take the defaults of the text form, with @p index as the index. The destination
/// has no default: settings that do not say where the data goes give an invalid channel.
/// @param multiplexers those of the device; HardwareSource names one of them, an unknown name is no multiplexer
NOX_EXPORT ChannelInformation ParseChannelInformationData(int index, const QMap<QString, QVariant> &settings,
                                                          const QList<Hardware::MultiplexerType> &multiplexers);

} // namespace CommonNOX::Devices::Channels
