#include "evaluation/processors/inception_record.h"

#include <QCoreApplication>

namespace CommonNOX::Evaluation::Processors::InceptionExtinction
{

namespace
{

QString label(const char *source)
{
    return QCoreApplication::translate("CommonNOX", source);
}

} // namespace

DecisionRecord::DecisionRecord(bool inInception, double inceptionVoltage, double extinctionVoltage)
    : DataEntry(
          QStringLiteral("{b2f0a0f4-51f3-4c8c-9a34-1d7c2f5be6a1}"),
          {MakeProperty(RecordKeys::State, inInception ? QStringLiteral("inception") : QStringLiteral("extinction"),
                        false, {}, label(QT_TRANSLATE_NOOP("CommonNOX", "State")), {}),
           MakeProperty(RecordKeys::InceptionVoltage, inceptionVoltage, false, {},
                        label(QT_TRANSLATE_NOOP("CommonNOX", "Inception voltage")), {}),
           MakeProperty(RecordKeys::ExtinctionVoltage, extinctionVoltage, false, {},
                        label(QT_TRANSLATE_NOOP("CommonNOX", "Extinction voltage")), {})})
{}

DecisionRecord::~DecisionRecord() = default;

} // namespace CommonNOX::Evaluation::Processors::InceptionExtinction
