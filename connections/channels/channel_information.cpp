#include "connections/channels/channel_information.h"

#include "connections/channels/channel_text.h"

#include <QCoreApplication>
#include <QHash>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <limits>

namespace CommonNOX::Devices::Channels
{

namespace utils = Hardware::utils;

namespace
{

constexpr int noIndex = -1;
constexpr char translationContext[] = "CommonNOX::Devices::Channels::ChannelInformation";

const char *labelPattern(Hardware::Function function, Hardware::Coupling coupling)
{
    switch (function) {
    case Hardware::Function::Pd:
        if (coupling == Hardware::Coupling::Input)
            return QT_TRANSLATE_NOOP("CommonNOX::Devices::Channels::ChannelInformation", "IN %1");
        if (coupling == Hardware::Coupling::Default)
            return QT_TRANSLATE_NOOP("CommonNOX::Devices::Channels::ChannelInformation", "PD %1");
        break;
    case Hardware::Function::Gating:
        return QT_TRANSLATE_NOOP("CommonNOX::Devices::Channels::ChannelInformation", "GATING %1");
    case Hardware::Function::TestVoltage:
        return QT_TRANSLATE_NOOP("CommonNOX::Devices::Channels::ChannelInformation", "TV %1");
    case Hardware::Function::Input:
        return QT_TRANSLATE_NOOP("CommonNOX::Devices::Channels::ChannelInformation", "INPUT %1");
    case Hardware::Function::Invalid:
        break;
    }
    return QT_TRANSLATE_NOOP("CommonNOX::Devices::Channels::ChannelInformation", "CH %1");
}

QString item(QLatin1String key, const QString &value)
{
    return key + Text::KeySeparator + value;
}

int readIndex(const QString &text)
{
    bool read = false;
    const int index = text.toInt(&read);
    return read ? index : noIndex;
}

// By way of double, which holds every int: QVariant's own conversion to int silently drops the upper bits.
int readIndex(const QVariant &value)
{
    bool read = false;
    const double index = value.toDouble(&read);
    const bool fits = read && index == std::trunc(index) && std::abs(index) <= std::numeric_limits<int>::max();
    return fits ? static_cast<int>(index) : noIndex;
}

} // namespace

ChannelInformation::ChannelInformation(int index, Hardware::Coupling coupling, Hardware::Function function,
                                       Hardware::SynchronisationSource synchronisationSource,
                                       const Hardware::HardwareDestination &destination, const QString &name,
                                       const Hardware::MultiplexerType &multiplexer,
                                       const Hardware::HardwareSourceConfiguration &sourceConfiguration,
                                       bool defaultEnabled)
    : m_index(index), m_coupling(coupling), m_function(function), m_synchronisationSource(synchronisationSource),
      m_destination(destination), m_name(name), m_multiplexer(multiplexer), m_sourceConfiguration(sourceConfiguration),
      m_defaultEnabled(defaultEnabled)
{
    m_name.replace(Text::ItemSeparator, QLatin1Char('/'));
}

ChannelInformation::~ChannelInformation() = default;

bool ChannelInformation::isValid() const
{
    return m_index >= 0 && m_coupling != Hardware::Coupling::Invalid && m_function != Hardware::Function::Invalid &&
           m_synchronisationSource != Hardware::SynchronisationSource::Invalid && m_destination.isValid();
}

QString ChannelInformation::getChannelName() const
{
    if (!m_name.isEmpty())
        return m_name;
    return QCoreApplication::translate(translationContext, labelPattern(m_function, m_coupling))
        .arg(qint64(m_index) + 1);
}

QString ChannelInformation::getChannelInformationString() const
{
    const QStringList items{
        item(Text::Items::Index, QString::number(m_index)),
        item(Text::Items::CouplingType, utils::CouplingTypeToString(m_coupling)),
        item(Text::Items::FunctionType, utils::FunctionTypeToString(m_function)),
        item(Text::Items::SynchronisationSourceType, utils::SynchronisationSourceTypeToString(m_synchronisationSource)),
        item(Text::Items::Hardware, m_destination.getHardwareDestinationString()),
        item(Text::Items::Name, m_name),
        item(Text::Items::Multiplexer, m_multiplexer.getMultiplexerInformationString()),
        item(Text::Items::Source, m_sourceConfiguration.getSourceConfigurationString()),
        item(Text::Items::DefaultEnabled, QString::number(m_defaultEnabled ? 1 : 0)),
    };
    return items.join(Text::ItemSeparator);
}

ChannelInformation ParseChannelInformationFromString(const QString &text, int defaultIndex)
{
    if (text.size() > Text::MaximumTextLength)
        return {};
    QHash<QString, QString> items;
    const QStringList parts = text.split(Text::ItemSeparator, Qt::SkipEmptyParts);
    for (const QString &part : parts) {
        if (part.size() > Text::MaximumItemLength)
            return {};
        const auto separator = part.indexOf(Text::KeySeparator);
        if (separator >= 0)
            items.insert(part.left(separator), part.mid(separator + 1));
    }

    const int index = items.contains(Text::Items::Index) ? readIndex(items.value(Text::Items::Index)) : defaultIndex;
    const auto destination = items.contains(Text::Items::Hardware)
                                 ? utils::ParseHardwareDestinationFromString(items.value(Text::Items::Hardware))
                                 : Hardware::HardwareDestination::FromChannelIndex(index);
    return ChannelInformation(
        index, utils::CouplingTypeFromString(items.value(Text::Items::CouplingType, Text::Defaults::CouplingType)),
        utils::FunctionTypeFromString(items.value(Text::Items::FunctionType, Text::Defaults::FunctionType)),
        utils::SynchronisationSourceTypeFromString(
            items.value(Text::Items::SynchronisationSourceType, Text::Defaults::SynchronisationSourceType)),
        destination, items.value(Text::Items::Name),
        utils::ParseMultiplexerTypeFromString(items.value(Text::Items::Multiplexer)),
        utils::ParseHardwareSourceConfigurationFromString(items.value(Text::Items::Source)),
        items.value(Text::Items::DefaultEnabled) != QLatin1String("0"));
}

ChannelInformation ParseChannelInformationData(int index, const QMap<QString, QVariant> &settings,
                                               const QList<Hardware::MultiplexerType> &multiplexers)
{
    const auto text = [&](QLatin1String key, QLatin1String fallback = QLatin1String()) {
        return settings.contains(key) ? settings.value(key).toString() : QString(fallback);
    };
    const QString name = text(Text::Settings::Name);
    if (item(Text::Items::Name, name).size() > Text::MaximumItemLength)
        return {};

    const QString source = text(Text::Settings::HardwareSource);
    const auto multiplexer = std::find_if(multiplexers.begin(), multiplexers.end(), [&](const auto &candidate) {
        return candidate.getMultiplexerTypeString() == source;
    });
    return ChannelInformation(
        settings.contains(Text::Settings::Index) ? readIndex(settings.value(Text::Settings::Index)) : index,
        utils::CouplingTypeFromString(text(Text::Settings::CouplingType, Text::Defaults::CouplingType)),
        utils::FunctionTypeFromString(text(Text::Settings::FunctionType, Text::Defaults::FunctionType)),
        utils::SynchronisationSourceTypeFromString(
            text(Text::Settings::SynchronisationSourceType, Text::Defaults::SynchronisationSourceType)),
        utils::ParseHardwareDestinationFromString(text(Text::Settings::HardwareDestination)), name,
        multiplexer != multiplexers.end() ? *multiplexer : Hardware::MultiplexerType(),
        utils::ParseHardwareSourceConfigurationFromString(text(Text::Settings::HardwareSourceConfig)),
        settings.value(Text::Settings::DefaultEnabled, true).toBool());
}

} // namespace CommonNOX::Devices::Channels
