#include "apps/nox/measurement.h"

#include "evaluation/context_keys.h"
#include "evaluation/processors/processor_names.h"
#include "host/replay/replay_session.h"
#include "host/session/device_session.h"
#include "host/session/parameter_requests.h"
#include "host/terminal/interruption.h"
#include "platform/configuration_tree.h"
#include "platform/visitors.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace Nox
{

namespace Names = CommonNOX::Evaluation::Processors::Names;
using NoxHost::DeviceSession;
using NoxHost::MeasuringSession;
using NoxHost::ReplaySession;

namespace
{

/// How long to wait at most between two looks at new readings and at interruptions.
constexpr int TickMs = 20;
/// A person reads no more than ten tables a second.
constexpr int MsBetweenTables = 100;
const QString ReplayScheme = QStringLiteral("replay");

} // namespace

Measurement::Measurement(const MeasurementPlan &plan, const EvaluatorOptions &options)
    : m_plan(plan), m_format(options.format()), m_wishes(plan.wishes), m_output(plan.output),
      m_readingsFile(plan.readingsPath), m_hasGivenCriterion(options.settings().criterion.has_value()),
      m_session(options.settings()), m_recording(plan.recording)
{
    const auto tree = Utilities::GetApplicationConfigurationTree();
    if (plan.url.scheme() == ReplayScheme) {
        auto replay = std::make_unique<ReplaySession>(tree);
        replay->setOverriddenKeys(options.settings().given);
        replay->setBarrier([this] { m_session.settle(); });
        m_source = std::move(replay);
    } else {
        m_source = std::make_unique<DeviceSession>(plan.link, tree);
    }
    m_source->setFlowControl([this] { return m_session.isFull(); });
    if (plan.limits.periods)
        m_source->setPeriodLimit(quint64(*plan.limits.periods));
    if (plan.limits.seconds)
        m_source->setTimeLimit(*plan.limits.seconds);
    QObject::connect(m_source.get(), &MeasuringSession::ready, [this] { onReady(); });
    QObject::connect(m_source.get(), &MeasuringSession::lost, [this](const QString &reason) {
        tell(QStringLiteral("the connection is lost: %1; connecting again.").arg(reason));
    });
    QObject::connect(m_source.get(), &MeasuringSession::back, [this] { tell(QStringLiteral("connected again.")); });
    QObject::connect(m_source.get(), &MeasuringSession::told, [this](const QString &sentence) { tell(sentence); });
    QObject::connect(m_source.get(), &MeasuringSession::ended, [this](const QString &sentence) { end(sentence); });
    QObject::connect(&m_recording, &DeviceRecording::started, [this] {
        if (NoxHost::isSameFile(m_plan.readingsPath, m_recording.getPath()))
            end(QStringLiteral("--readings: \"%1\" is the recording.").arg(m_plan.readingsPath));
        else
            onRecorded();
    });
    QObject::connect(&m_recording, &DeviceRecording::failed, [this](const QString &sentence) { end(sentence); });
    QObject::connect(&m_recording, &DeviceRecording::ended, [this](const QString &sentence) {
        m_isRecordingErrorTold = tell(sentence) && !m_recording.getError().isEmpty();
        // Who gave no other end meant this one.
        if (m_recording.hasReachedLimit() && !m_plan.limits.seconds && !m_plan.limits.periods)
            end({});
    });
    QObject::connect(&m_tick, &QTimer::timeout, [this] { onTick(); });
}

Measurement::~Measurement() = default;

int Measurement::run()
{
    m_timer.start();
    openReadings();
    if (!m_error.isEmpty()) {
        printMessage(m_error);
        return Failed;
    }
    if (m_format != OutputFormat::Table)
        m_output.write(formatHeader(m_format));
    m_tick.start(TickMs);
    // From within the event loop, which the end of a connection that fails at once can leave.
    QTimer::singleShot(0, [this] { m_source->open(m_plan.url); });
    QCoreApplication::exec();

    const bool wasInterrupted = NoxHost::isInterrupted();
    finish();
    if (m_error.isEmpty() && !m_isRecordingErrorTold)
        m_error = m_recording.getError();
    if (m_error.isEmpty() && wasInterrupted && !m_isMeasuring && hasEnd())
        m_error = QStringLiteral("interrupted.");
    if (!m_error.isEmpty())
        printMessage(m_error);
    if (!m_error.isEmpty() || !m_recording.getError().isEmpty())
        return Failed;
    return wasInterrupted && hasEnd() ? Failed : Done;
}

void Measurement::openReadings()
{
    QString error;
    if (m_plan.readingsPath.isEmpty())
        return;
    if (m_readingsFile.open(error))
        m_readings = std::make_unique<NoxHost::Output>(m_readingsFile.getStream());
    else
        m_error = QStringLiteral("\"%1\" cannot be written: %2.").arg(m_plan.readingsPath, error);
}

void Measurement::closeReadings()
{
    if (!m_readings)
        return;
    m_readings->flush();
    QString error = m_readings->getError();
    if (error.isEmpty())
        m_readingsFile.commit(error);
    if (!error.isEmpty() && m_error.isEmpty())
        m_error = QStringLiteral("\"%1\" cannot be written: %2.").arg(m_plan.readingsPath, error);
}

/// Whether it ends by itself, so that an interruption leaves it undone.
bool Measurement::hasEnd() const
{
    return m_plan.limits.seconds || m_plan.limits.periods || m_plan.url.scheme() == ReplayScheme;
}

void Measurement::onReady()
{
    if (!hasCriterion()) {
        end(QStringLiteral("the recording has no criterion of inception and extinction, give --criterion."));
        return;
    }
    m_session.follow(m_source->getDevice());
    m_liveTable = std::make_unique<NoxHost::LiveTable>(m_plan.output, m_session.getEvaluators());
    if (m_recording.isWanted())
        m_recording.start(m_source->getDevice());
    else
        onRecorded();
}

/// Whether inception and extinction, where they are evaluated, are given a criterion or have a recorded one.
bool Measurement::hasCriterion() const
{
    if (m_hasGivenCriterion || !m_session.getEvaluators().contains(Names::InceptionExtinction))
        return true;
    const auto device = m_source->getDevice();
    for (const auto &channel : device->getChannels()) {
        const Utilities::GuiContextVisitor context(device->getChannelContext(channel.getChannelIndex()));
        if (context.getProperty(CommonNOX::Evaluation::ContextKeys::CriterionX, 0).toUInt() > 0)
            return true;
    }
    return false;
}

void Measurement::onRecorded()
{
    if (m_wishes.empty()) {
        start();
        return;
    }
    if (!m_source->getParameterRequests()) {
        end(QStringLiteral("the parameters of a recording cannot be set."));
        return;
    }
    QObject::connect(m_source->getParameterRequests(), &NoxHost::ParameterRequests::requestFinished,
                     [this](const QString &parameter, const QVariant &, const QString &reason) {
                         if (m_wishes.count(parameter) == 0)
                             return;
                         m_wishes.erase(parameter);
                         if (!reason.isEmpty())
                             end(QStringLiteral("\"%1\" was not set: %2.").arg(parameter, reason));
                         else if (m_wishes.empty() && m_error.isEmpty())
                             start();
                     });
    const Wishes wishes = m_wishes;
    for (const auto &[parameter, value] : wishes)
        m_source->request(parameter, value);
}

void Measurement::start()
{
    if (std::exchange(m_isMeasuring, true))
        return;
    m_source->start();
}

void Measurement::onTick()
{
    showReadings();
    showProgress();
    const QString outputError =
        m_output.getError().isEmpty() && m_liveTable ? m_liveTable->getError() : m_output.getError();
    if (!outputError.isEmpty())
        end(QStringLiteral("the readings cannot be written: %1.").arg(outputError));
    else if (NoxHost::isInterrupted() || m_source->isLimitReached())
        end({});
}

void Measurement::end(const QString &error)
{
    if (m_error.isEmpty())
        m_error = error;
    QCoreApplication::quit();
}

void Measurement::finish()
{
    m_tick.stop();
    const auto replay = dynamic_cast<ReplaySession *>(m_source.get());
    const QString ending = replay ? replay->getEnding() : QString();
    m_source->close();
    if (m_isMeasuring)
        m_session.finish();
    // With the readings of the last periods.
    m_recording.stop();
    m_progress.clear();
    if (!m_isMeasuring)
        return;
    m_nextShow = 0;
    showReadings();
    m_output.flush();
    closeReadings();
    if (!ending.isEmpty())
        tell(ending);
    printSummary();
}

void Measurement::showReadings()
{
    if (!m_isMeasuring || (m_format == OutputFormat::Table && m_timer.elapsed() < m_nextShow))
        return;
    m_nextShow = m_timer.elapsed() + MsBetweenTables;
    const auto readings = m_session.takeReadings();
    if (m_readings) {
        for (const NoxHost::Reading &reading : readings)
            m_readings->write(formatReading(OutputFormat::JsonLines, reading));
    }
    if (m_format == OutputFormat::Table) {
        m_liveTable->show(m_source->getSeconds(), describeState(), m_session.getLastReadings());
        return;
    }
    for (const NoxHost::Reading &reading : readings)
        m_output.write(formatReading(m_format, reading));
    m_output.flush();
}

void Measurement::showProgress()
{
    const auto done = m_source->getDone();
    // A table that refreshes in place is progress enough, once there is one.
    const bool isTableShown = m_isMeasuring && m_format == OutputFormat::Table && NoxHost::isTerminal(m_plan.output);
    if (!done || isTableShown || !m_progress.isDue())
        return;
    m_progress.show(*done, m_isMeasuring ? describeState() : QStringLiteral("opening"));
}

QString Measurement::describeState() const
{
    QString state = QStringLiteral("%1 s").arg(m_source->getSeconds(), 0, 'f', 2);
    if (const auto kilovolts = m_source->getKilovolts())
        state += QStringLiteral("  %1 kV rms").arg(*kilovolts, 0, 'f', 1);
    state += QStringLiteral("  %1 periods  %2 pulses").arg(m_session.getPeriodCount()).arg(m_session.getPulseCount());
    if (m_recording.isActive())
        state += QStringLiteral("  recording");
    const QString losses = describeLosses();
    if (!losses.isEmpty())
        state += QStringLiteral("  ") + losses;
    if (!m_source->isConnected() && m_tick.isActive())
        state += QStringLiteral("  not connected");
    return state;
}

QString Measurement::describeLosses() const
{
    const NoxHost::SessionCounts &counts = m_source->getCounts();
    QStringList losses;
    if (counts.interruptions > 0)
        losses.append(QStringLiteral("%1 interruptions").arg(counts.interruptions));
    if (counts.lostPeriods > 0)
        losses.append(QStringLiteral("%1 periods lost by the instrument").arg(counts.lostPeriods));
    if (counts.missingPeriods > 0)
        losses.append(QStringLiteral("%1 periods missing").arg(counts.missingPeriods));
    if (m_session.getRefusedCount() > 0)
        losses.append(QStringLiteral("%1 periods refused").arg(m_session.getRefusedCount()));
    return losses.join(QStringLiteral(", "));
}

/// Where a table refreshes in place, its status line tells the state; a message would tear it apart.
bool Measurement::tell(const QString &sentence)
{
    m_progress.clear();
    if (m_format == OutputFormat::Table && NoxHost::isTerminal(m_plan.output) && m_isMeasuring)
        return false;
    printMessage(sentence);
    return true;
}

void Measurement::printSummary() const
{
    const QString losses = describeLosses();
    std::fprintf(stderr, "%.2f s measured, %llu periods, %llu pulses%s%s\n", m_source->getSeconds(),
                 static_cast<unsigned long long>(m_session.getPeriodCount()),
                 static_cast<unsigned long long>(m_session.getPulseCount()), losses.isEmpty() ? "" : ", ",
                 qUtf8Printable(losses));
    if (QFileInfo::exists(m_recording.getPath()))
        std::fprintf(stderr, "recorded in \"%s\"\n", qUtf8Printable(m_recording.getPath()));
    printLastReadings(m_session.getLastReadings());
}

} // namespace Nox
