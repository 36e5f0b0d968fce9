#pragma once

#include "evaluation/constant_name.h"
#include "nox_export.h"

#include <QStringList>

#include <cstddef>

namespace CommonNOX::Evaluation::Processors
{

namespace Names
{
inline constexpr QLatin1String DisplayedPeriod = ConstantName("displayed_period");
inline constexpr QLatin1String Frequency = ConstantName("frequency");
inline constexpr QLatin1String InceptionExtinction = ConstantName("inceptionextinction");
inline constexpr QLatin1String Qiec = ConstantName("qiec");
inline constexpr QLatin1String Qmax = ConstantName("qmax");
inline constexpr QLatin1String Pattern = ConstantName("pattern");
inline constexpr QLatin1String Voltage = ConstantName("voltage");
inline constexpr QLatin1String VoltageScope = ConstantName("voltage_scope");
} // namespace Names

/// What a measuring application usually evaluates for each channel.
NOX_EXPORT const QStringList &StandardSingleChannelProcessors();
/// What it usually evaluates for the whole device.
NOX_EXPORT const QStringList &StandardDeviceProcessors();
/// What an overview of many channels can afford.
NOX_EXPORT const QStringList &OverviewProcessors();

/// The names in a setting such as "qiec;qmax": separated by ";", empty parts skipped, each once, in order.
NOX_EXPORT QStringList SplitProcessorNames(const QString &setting);

/// How many results of a processor the data store keeps: displays show the latest only, and its columns take the
/// room of many readings. 0 leaves it to the store.
NOX_EXPORT std::size_t GetResultRetention(const QString &processorName);

} // namespace CommonNOX::Evaluation::Processors
