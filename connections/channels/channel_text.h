#pragma once

#include <QLatin1String>

#include <string_view>

/// Keys, separators and bounds of the text and settings forms of channels. A contract with instruments.
namespace CommonNOX::Devices::Channels::Text
{

/// Longer texts are refused, whatever they hold.
inline constexpr int MaximumTextLength = 64 * 1024;

/// Texts with a longer item ("key=value") are refused, so that whatever was accepted can be written and read again.
inline constexpr int MaximumItemLength = 4 * 1024;

inline constexpr QLatin1Char ItemSeparator('|');
inline constexpr QLatin1Char KeySeparator('=');
inline constexpr QLatin1Char RequestSeparator(';');

// QLatin1String measures a plain literal with strlen, which is no constant expression everywhere.
constexpr QLatin1String key(std::string_view text)
{
    return QLatin1String(text.data(), static_cast<int>(text.size()));
}

namespace Items
{
inline constexpr QLatin1String Index = key("index");
inline constexpr QLatin1String CouplingType = key("coupling_type");
inline constexpr QLatin1String FunctionType = key("function_type");
inline constexpr QLatin1String SynchronisationSourceType = key("synchronisation_source_type");
inline constexpr QLatin1String Hardware = key("hardware");
inline constexpr QLatin1String Name = key("name");
inline constexpr QLatin1String Multiplexer = key("multiplexer");
inline constexpr QLatin1String Source = key("source");
inline constexpr QLatin1String DefaultEnabled = key("default_enabled");
} // namespace Items

namespace Settings
{
inline constexpr QLatin1String Index = key("Index");
inline constexpr QLatin1String CouplingType = key("CouplingType");
inline constexpr QLatin1String FunctionType = key("FunctionType");
inline constexpr QLatin1String SynchronisationSourceType = key("SynchronisationSourceType");
inline constexpr QLatin1String HardwareDestination = key("HardwareDestination");
inline constexpr QLatin1String HardwareSource = key("HardwareSource");
inline constexpr QLatin1String HardwareSourceConfig = key("HardwareSourceConfig");
inline constexpr QLatin1String Name = key("Name");
inline constexpr QLatin1String DefaultEnabled = key("DefaultEnabled");
} // namespace Settings

/// What a missing type stands for, in both forms.
namespace Defaults
{
inline constexpr QLatin1String CouplingType = key("default");
inline constexpr QLatin1String FunctionType = key("pd");
inline constexpr QLatin1String SynchronisationSourceType = key("extern");
} // namespace Defaults

} // namespace CommonNOX::Devices::Channels::Text
