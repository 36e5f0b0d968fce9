#include "evaluation/evaluators/pd_device_evaluator.h"

#include <QRegularExpression>
#include <QStringList>

namespace CommonNOX::Evaluation::Evaluators
{

namespace
{

const QLatin1String CommandWord("evaluation");

QString usage()
{
    return QStringLiteral("usage: evaluation [device|channel] [<channelIndex>]\r\n"
                          "       device: query the device evaluation status\r\n"
                          "       channel <channelIndex>: query the evaluation status for the given channel\r\n");
}

} // namespace

PdDeviceEvaluator::PdDeviceEvaluator(const std::shared_ptr<Devices::PdDevice> &device) : m_device(device)
{
    m_scopes = m_device->subscribeVoltageScopes([this](const Devices::PdDevice::VoltageScopePtr &scope, quint64) {
        m_evaluator.addNewReceivedVoltageScope(scope);
    });
}

PdDeviceEvaluator::~PdDeviceEvaluator() = default;

void PdDeviceEvaluator::addChannelEvaluator(const std::shared_ptr<PdChannelEvaluator> &evaluator)
{
    const std::lock_guard guard(m_mutex);
    m_channels[evaluator->getChannel()] = evaluator;
}

QString PdDeviceEvaluator::answerConsoleCommand(const QString &line) const
{
    static const QRegularExpression space(QStringLiteral("\\s+"));
    const QStringList words = line.split(space, Qt::SkipEmptyParts);
    if (words == QStringList(QStringLiteral("help")))
        return QStringLiteral("the following commands are supported: %1").arg(CommandWord);
    if (words.value(0) != CommandWord)
        return usage();
    if (words.size() == 2 && words[1] == QLatin1String("device"))
        return describeDevice();
    if (words.size() != 3 || words[1] != QLatin1String("channel"))
        return usage();
    bool isNumber = false;
    const int channel = words[2].toInt(&isNumber);
    std::shared_ptr<PdChannelEvaluator> evaluator;
    if (isNumber) {
        const std::lock_guard guard(m_mutex);
        const auto found = m_channels.find(channel);
        evaluator = found == m_channels.end() ? nullptr : found->second.lock();
    }
    return evaluator ? describeChannel(*evaluator) : usage();
}

QString PdDeviceEvaluator::describeDevice() const
{
    return QStringLiteral("device %1: %2, accepted=%3, done=%4\r\n")
        .arg(m_device->getSerialNumber(),
             m_evaluator.isEnabled() ? QStringLiteral("running") : QStringLiteral("stopped"),
             QString::number(m_evaluator.getAcceptedCount()), QString::number(m_evaluator.getDoneCount()));
}

QString PdDeviceEvaluator::describeChannel(const PdChannelEvaluator &evaluator) const
{
    const EvaluationProgress progress = evaluator.getEvaluator().getProgress();
    return QStringLiteral("channel %1: %2, accepted=%3, evaluated=%4, dropped=%5, pending=%6, load=%7\r\n")
        .arg(QString::number(evaluator.getChannel()), ConvertEvaluationStateToString(evaluator.getEvaluationState()),
             QString::number(progress.accepted), QString::number(progress.handedOn - progress.dropped),
             QString::number(progress.dropped), QString::number(progress.pending),
             QString::number(evaluator.getEvaluator().getLoad(), 'f', 2));
}

} // namespace CommonNOX::Evaluation::Evaluators
