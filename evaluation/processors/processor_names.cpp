#include "evaluation/processors/processor_names.h"

namespace CommonNOX::Evaluation::Processors
{

const QStringList &StandardSingleChannelProcessors()
{
    static const QStringList names{Names::DisplayedPeriod, Names::Frequency, Names::Qiec, Names::Pattern, Names::Qmax};
    return names;
}

const QStringList &StandardDeviceProcessors()
{
    static const QStringList names{Names::Voltage, Names::VoltageScope};
    return names;
}

const QStringList &OverviewProcessors()
{
    static const QStringList names{Names::Frequency, Names::Qiec};
    return names;
}

QStringList SplitProcessorNames(const QString &setting)
{
    QStringList names;
    const QStringList parts = setting.split(QLatin1Char(';'), Qt::SkipEmptyParts);
    for (const QString &part : parts) {
        const QString name = part.trimmed();
        if (!name.isEmpty() && !names.contains(name))
            names.append(name);
    }
    return names;
}

std::size_t GetResultRetention(const QString &processorName)
{
    return processorName == Names::DisplayedPeriod || processorName == Names::VoltageScope ||
                   processorName == Names::Pattern
               ? 1
               : 0;
}

} // namespace CommonNOX::Evaluation::Processors
