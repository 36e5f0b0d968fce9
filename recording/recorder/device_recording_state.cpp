#include "recording/recorder/device_recording_state.h"

#include "entries/catalogue/results_pd.h"
#include "entries/data_entry_parser.h"
#include "entries/entry_names.h"
#include "entries/log.h"
#include "entries/measurement/voltage_scope.h"
#include "entries/property_keys.h"
#include "evaluation/context_keys.h"
#include "evaluation/processors/processor_names.h"
#include "platform/data_store.h"
#include "recording/replay_file.h"

namespace CommonNOX::PD::Recording
{

using namespace Entries::Recording;
using namespace Entries::Results::Space2D;
using Entries::Results::Space3D::PatternV1;
using Outcome = StorageState::Outcome;
namespace Keys = Entries::Keys;

namespace
{

const QString QtUtKind = QStringLiteral("qt_ut");
const QString PatternKind = QStringLiteral("pattern");
const QString QiecKind = QStringLiteral("qiec");

/// A value that a stream can carry and bring back in another process.
bool isStorable(const QVariant &value)
{
    return value.userType() < QMetaType::User && value.userType() != QMetaType::QObjectStar &&
           value.userType() != QMetaType::VoidStar;
}

QString describe(int channel)
{
    return QStringLiteral(" channel=%1").arg(channel);
}

} // namespace

bool DeviceRecordingState::initialize(const RecordingSubject &subject, const QString &fileName, const QString &comment,
                                      qint64 nowMs)
{
    const QString options =
        subject.storageOptions.isEmpty() ? StorageState::DefaultStorageOptions : subject.storageOptions;
    if (!m_storage.initializeStorage(fileName, options)) {
        qCWarning(libraryLog()).noquote()
            << QStringLiteral("DeviceRecordingState::initialize() failed to initialize the storage for filename=") +
                   fileName;
        return false;
    }
    m_clock = {};
    m_isFinishing = false;
    m_channels.clear();
    m_voltage = 0.0;
    m_overviewRate = quint32(std::max(1, 1000 / std::max(1, subject.qtUtMs)));
    const qint64 header = m_header.writeHeader(m_storage, subject, comment);
    m_navigation.initialize(m_storage, nowMs);
    addNavigation(PdGlobalNavigationType::Header, DeviceItself, header);
    for (const auto &channel : subject.channels) {
        const int index = channel.getChannelIndex();
        double initialQiec = 0.0;
        for (const RecordedSetting &setting : subject.settings) {
            if (setting.channel == index && setting.path == Evaluation::ContextKeys::InitialQiec)
                initialQiec = setting.value.toDouble();
        }
        const auto continued = subject.continuations.find(index);
        m_channels[index] = {std::make_unique<ChannelRecordingState>(m_storage, index, initialQiec,
                                                                     continued == subject.continuations.end()
                                                                         ? std::nullopt
                                                                         : std::optional(continued->second)),
                             GetDataEntryNameForDeviceChannel(subject.results, QString::number(index)),
                             {},
                             {}};
    }
    for (const auto &channel : subject.channels)
        recordConfigChange(channel.getChannelIndex(), ChannelInformationPath, channel.getChannelInformationString(),
                           {});
    for (const RecordedSetting &setting : subject.settings)
        recordConfigChange(setting.channel, setting.path, setting.value, {});
    return true;
}

void DeviceRecordingState::noteEvaluators(int channel, const QVariant &names)
{
    const auto found = m_channels.find(channel);
    if (found != m_channels.end())
        found->second.state->setReadingsExpected(
            Evaluation::Processors::SplitProcessorNames(names.toString()).contains(QiecKind));
}

bool DeviceRecordingState::appendEntry(const QString &type, const QString &category, int channel,
                                       const DataEntryConstPtr &entry, PdGlobalNavigationType navigation, qint64 number,
                                       std::optional<qint64> element)
{
    const QByteArray bytes = m_storage.isOpen() ? Detail::EntryToRawData(entry, {}) : QByteArray();
    if (bytes.isEmpty())
        return false;
    const int kind = m_storage.getKind({type, category, ToClassification(channel)});
    addNavigation(navigation, channel, m_storage.append(kind, number, bytes), element);
    return true;
}

void DeviceRecordingState::addNavigation(PdGlobalNavigationType type, int channel, qint64 row,
                                         std::optional<qint64> element)
{
    GlobalRecord record;
    record.type = type;
    record.channel = qint16(channel);
    record.entry = quint64(row);
    // What concerns the device stands before the next period of its first channel.
    const auto place = channel == DeviceItself ? m_channels.begin() : m_channels.find(channel);
    if (place != m_channels.end()) {
        record.elementKind = quint16(place->second.state->getElementKind());
        record.element = quint64(element.value_or(place->second.state->getNextElement()));
    }
    m_navigation.add(m_storage, record);
}

void DeviceRecordingState::recordConfigChange(int channel, const QString &path, const QVariant &newValue,
                                              const QVariant &oldValue)
{
    if (path == Evaluation::ContextKeys::UsedEvaluators)
        noteEvaluators(channel, newValue);
    const auto action = std::make_shared<PdReplayActionV1>();
    action->set(Keys::Path, path);
    action->set(Keys::NewValue, newValue);
    action->set(Keys::OldValue, isStorable(oldValue) ? oldValue : QVariant());
    if (isStorable(newValue) && appendEntry(TypeOf<PdReplayActionV1>(), PdReplayActionV1::Category(), channel, action,
                                            PdGlobalNavigationType::Action))
        return;
    qCWarning(libraryLog()).noquote()
        << QStringLiteral("DeviceRecordingState::recordConfigChange() failed to record config change for") +
               describe(channel) + QStringLiteral(" path=") + path + QStringLiteral(" newValue=") +
               newValue.toString() + QStringLiteral(" oldValue=") + oldValue.toString();
}

void DeviceRecordingState::addPeriodBlock(int channel, quint64 index, const Devices::PdDevice::PeriodBlockPtr &block,
                                          qint64 nowMs)
{
    const auto found = m_channels.find(channel);
    const qint64 firstElement = found == m_channels.end() ? 0 : found->second.state->getNextElement();
    const qint64 row = found == m_channels.end() || !m_storage.isOpen() || !block
                           ? 0
                           : found->second.state->addPeriodBlock(m_storage, m_clock, index, block, nowMs);
    if (row == 0) {
        qCWarning(libraryLog()).noquote()
            << QStringLiteral("DeviceRecordingState::addPeriodBlock() failed to add period block for") +
                   describe(channel);
        return;
    }
    if (const auto calibration = found->second.state->takeCalibration())
        m_header.noteCalibration(channel, calibration->first, calibration->second);
    if (!addTimeNavigationElements(channel, row, firstElement))
        qCWarning(libraryLog()).noquote()
            << QStringLiteral(
                   "DeviceRecordingState::addTimeNavigationElement() failed to add time navigation element for") +
                   describe(channel) + QStringLiteral(" block=%1 offset=%2").arg(row).arg(0);
}

/// Ties the block into the file-wide list; false for a block without periods, to which no time element points.
bool DeviceRecordingState::addTimeNavigationElements(int channel, qint64 row, qint64 firstElement)
{
    const ChannelRecordingState &state = *m_channels.at(channel).state;
    GlobalRecord record;
    record.type = PdGlobalNavigationType::PeriodBlock;
    record.channel = qint16(channel);
    record.entry = quint64(row);
    record.elementKind = quint16(state.getElementKind());
    record.element = quint64(firstElement);
    m_navigation.add(m_storage, record);
    return state.getNextElement() > firstElement;
}

void DeviceRecordingState::addVoltageScope(quint64 firstPeriod, const Devices::PdDevice::VoltageScopePtr &scope)
{
    Data::VoltageScope measured;
    if (measured.preProcess(scope))
        m_voltage = measured.getRms();
    if (!appendEntry(TypeOf<VoltageScopeV1>(), cstrVoltageScopeCategory, DeviceItself, scope,
                     PdGlobalNavigationType::VoltageScope, qint64(firstPeriod)))
        qCWarning(libraryLog()) << "DeviceRecordingState::addVoltageScope() failed to add voltage scope";
}

void DeviceRecordingState::addAnnotation(int channel, const QString &name, const QVariant &value)
{
    const auto annotation = std::make_shared<PdReplayAnnotationV1>();
    annotation->set(Keys::Name, name);
    annotation->set(Keys::Value, value);
    if (!isStorable(value) || !appendEntry(TypeOf<PdReplayAnnotationV1>(), PdReplayAnnotationV1::Category(), channel,
                                           annotation, PdGlobalNavigationType::Annotation))
        qCWarning(libraryLog()).noquote()
            << QStringLiteral("DeviceRecordingState::addAnnotation() failed to add annotation for") +
                   describe(channel) + QStringLiteral(" name=") + name;
}

void DeviceRecordingState::addDecision(int channel, quint64 index, const QString &name, double voltage)
{
    const auto found = m_channels.find(channel);
    if (found == m_channels.end())
        return;
    const auto annotation = std::make_shared<PdReplayAnnotationV1>();
    annotation->set(Keys::Name, name);
    annotation->set(Keys::Value, voltage);
    if (!appendEntry(TypeOf<PdReplayAnnotationV1>(), PdReplayAnnotationV1::Category(), channel, annotation,
                     PdGlobalNavigationType::Decision, 0, found->second.state->findElement(index)))
        qCWarning(libraryLog()).noquote()
            << QStringLiteral("DeviceRecordingState::addDecision() failed to add decision for") + describe(channel);
}

void DeviceRecordingState::noteQiec(int channel, quint64 index, double value)
{
    const auto found = m_channels.find(channel);
    if (found != m_channels.end())
        found->second.state->noteQiec(index, value);
}

void DeviceRecordingState::addQtUt(int channel, const QtUtRecord &record)
{
    m_storage.appendElement(m_storage.getKind({TypeOf<PdReplayQtUtOverviewV1>(), PdReplayQtUtOverviewV1::Category(),
                                               ToClassification(channel), RecordSize}),
                            record);
}

void DeviceRecordingState::extractLastQtUtOverviewElement(const Utilities::DataStore &store, qint64 nowMs)
{
    for (auto &[index, channel] : m_channels) {
        quint64 count = 0;
        QVariant value;
        QtUtRecord record;
        record.timestamp = nowMs;
        record.sampleRate = m_overviewRate;
        record.voltage = m_voltage;
        const auto gathered = store.findEntry(QtUtKind, channel.resultName);
        const auto readings = store.findEntry(QiecKind, channel.resultName);
        const bool isGathered = gathered && gathered->getLastValue(count, value);
        if (!isGathered && !(readings && readings->getLastValue(count, value)))
            continue;
        if (channel.lastQtUt == count)
            continue;
        const DataEntryConstPtr entry = DataEntryFromVariant(value);
        if (!entry || !m_storage.isOpen()) {
            qCWarning(libraryLog()).noquote()
                << QStringLiteral("DeviceRecordingState::extractLastQtUtOverviewElement() failed to add qt/ut element "
                                  "for") +
                       describe(index);
            continue;
        }
        channel.lastQtUt = count;
        record.qiec = entry->get(isGathered ? QString(Keys::Qiec) : QString(Keys::Value)).toDouble();
        if (isGathered)
            record.voltage = entry->get(Keys::Voltage).toDouble();
        addQtUt(index, record);
    }
}

void DeviceRecordingState::extractLastPatternSnapshotElement(const Utilities::DataStore &store)
{
    for (auto &[index, channel] : m_channels) {
        quint64 count = 0;
        QVariant value;
        const auto patterns = store.findEntry(PatternKind, channel.resultName);
        if (!patterns || !patterns->getLastValue(count, value) || channel.lastPattern == count)
            continue;
        channel.lastPattern = count;
        const auto entry = std::dynamic_pointer_cast<const PatternV1>(DataEntryFromVariant(value));
        if (!entry || !appendEntry(TypeOf<PatternV1>(), cstrPatternSnapshotCategory, index, entry,
                                   PdGlobalNavigationType::PatternSnapshot, qint64(count)))
            qCWarning(libraryLog()).noquote()
                << QStringLiteral("DeviceRecordingState::extractLastPatternSnapshotElement() failed to add pattern "
                                  "element for") +
                       describe(index);
    }
}

Outcome DeviceRecordingState::commit(qint64 nowMs)
{
    if (!m_isFinishing) {
        for (auto &[index, channel] : m_channels)
            channel.state->flushElements(m_storage, nowMs);
    }
    return m_storage.commit();
}

bool DeviceRecordingState::areElementsWaiting() const
{
    return std::any_of(m_channels.begin(), m_channels.end(),
                       [](const auto &channel) { return channel.second.state->areElementsWaiting(); });
}

std::map<int, ChannelContinuation> DeviceRecordingState::getContinuations() const
{
    std::map<int, ChannelContinuation> continuations;
    for (const auto &[index, channel] : m_channels) {
        if (channel.state->getPeriodCount() > 0)
            continuations[index] = channel.state->getContinuation();
    }
    return continuations;
}

Outcome DeviceRecordingState::finish()
{
    if (!m_isFinishing) {
        for (auto &[index, channel] : m_channels)
            channel.state->flushAllElements(m_storage);
        m_header.finish(m_storage, getDuration());
        m_isFinishing = true;
    }
    Outcome outcome = m_storage.commit();
    if (outcome == Outcome::Done)
        outcome = m_storage.close();
    if (outcome == Outcome::Failed)
        m_storage.abandon();
    m_isFinishing = outcome == Outcome::Busy;
    return outcome;
}

quint64 DeviceRecordingState::getPeriodCount() const
{
    quint64 count = 0;
    for (const auto &[index, channel] : m_channels)
        count += channel.state->getPeriodCount();
    return count;
}

} // namespace CommonNOX::PD::Recording
