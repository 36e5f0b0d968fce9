#include "recording/recorder/pd_recorder.h"

#include "connections/connection_paths.h"
#include "entries/catalogue/results_pd.h"
#include "entries/entry_names.h"
#include "entries/log.h"
#include "entries/measurement/peak.h"
#include "entries/property_keys.h"
#include "evaluation/context_keys.h"
#include "evaluation/processors/inception_record.h"
#include "platform/data_store.h"
#include "recording/recorder/pd_recorder_worker.h"
#include "recording/replay_file.h"

#include <QDir>

#include <algorithm>

namespace CommonNOX::PD::Recording
{

using Devices::PdDevice;
namespace Keys = Entries::Keys;
namespace ContextKeys = Evaluation::ContextKeys;
namespace RecordKeys = Evaluation::Processors::InceptionExtinction::RecordKeys;

namespace
{

/// A source that can wait does so from here on; the recording ends at PdRecorderWorker::MaximumBytes.
constexpr qint64 FullBytes = PdRecorderWorker::MaximumBytes / 2;
constexpr qint64 BytesOfItem = 512;
constexpr qint64 BytesOfPeriod = 3 * 1024;

const QString QiecKind = QStringLiteral("qiec");
const QString DecisionKind = QStringLiteral("inceptionextinction");

/// What a block takes on its way to the disk, about.
qint64 estimateBytes(const PdDevice::PeriodBlockPtr &block)
{
    qint64 bytes = BytesOfItem;
    const QVariantList periods = block ? block->get(Keys::Periods).toList() : QVariantList();
    for (const QVariant &period : periods) {
        const DataEntryConstPtr entry = DataEntryFromVariant(period);
        const qint64 peaks = entry ? entry->get(Keys::Count).toLongLong() : 0;
        bytes += BytesOfPeriod + peaks * qint64(sizeof(Entries::Results::Space2D::PeakData));
    }
    return bytes;
}

const bool isInstalled = [] {
    Devices::InstallDeviceRecorderCreator(
        [](PdDevice &device, const QString &folder) { return std::make_unique<PdRecorder>(device, folder); });
    return true;
}();

} // namespace

QList<QStringList> GetRequiredPdChannelRecordingParameterList()
{
    QList<QStringList> list;
    for (const QLatin1String &key :
         {ContextKeys::UsedEvaluators, ContextKeys::Enabled, ContextKeys::Gating, ContextKeys::Invert,
          ContextKeys::PhaseOffset, ContextKeys::PhaseSpan, ContextKeys::IgnoreCorrections, ContextKeys::QiecTau1,
          ContextKeys::QiecTau2, ContextKeys::InitialQiec, ContextKeys::CriterionX, ContextKeys::CriterionY,
          ContextKeys::InceptionCharge, ContextKeys::ExtinctionCharge})
        list.append(QStringList(QString(key)));
    return list;
}

PdRecorder::PdRecorder(PdDevice &device, const QString &folder)
    : m_device(device), m_folder(folder),
      m_tree(Utilities::GuiContextVisitor(device.getContext()).getConfigurationTree()),
      m_queue(std::make_shared<RecorderQueue>()), m_worker(new PdRecorderWorker(m_queue))
{
    m_thread.setObjectName(QStringLiteral("recorder"));
    m_worker->moveToThread(&m_thread);
    connect(
        &m_thread, &QThread::finished, this, [this] { m_threadEnded.set_value(); }, Qt::DirectConnection);
    connect(m_worker.get(), &PdRecorderWorker::started, this, &PdRecorder::onStarted);
    connect(m_worker.get(), &PdRecorderWorker::ended, this, &PdRecorder::onEnded);
    connect(m_worker.get(), &PdRecorderWorker::refused, this, &PdRecorder::onRefused);
    connect(m_worker.get(), &PdRecorderWorker::fileInformation, this, &PdRecorder::onFileInformation);
    m_thread.start();

    const auto initialize = [this](const QString &name, const QVariant &value) {
        if (!m_tree->contains(attributePath(name)))
            setAttribute(name, value);
    };
    setAttribute(Attributes::Status, Attributes::Inactive);
    setAttribute(Attributes::FileName, QString());
    initialize(Attributes::FileInfoTimeout, 5000);
    initialize(Attributes::QtUtTimeout, 250);
    initialize(Attributes::PatternTimeout, 30000);
    initialize(Attributes::Template, cstrDefaultFileNameTemplate);
    initialize(Attributes::StorageOptions, StorageState::DefaultStorageOptions);
    m_subscriptions.push_back(m_tree->subscribe(attributePath(Attributes::Control),
                                                [this](const QString &, const QVariant &value) { onControl(value); }));
    followSettings();
    followReadings();
    followDevice();
}

PdRecorder::~PdRecorder()
{
    m_subscriptions.clear();
    // A thread that quits drops calls that are queued: what was received is stored first.
    std::promise<void> stored;
    add(Work::Stop{[&stored] { stored.set_value(); }}, 0);
    stored.get_future().wait();
    disconnect(m_worker.get(), nullptr, this, nullptr);
    m_thread.quit();
    m_threadEnded.get_future().wait();
    m_thread.wait();
    setAttribute(Attributes::Status, Attributes::Inactive);
}

template <class Item>
void PdRecorder::add(Item item, qint64 bytes)
{
    if (m_queue->add(std::move(item), bytes))
        QMetaObject::invokeMethod(m_worker.get(), "drain", Qt::QueuedConnection);
}

bool PdRecorder::isRecording() const
{
    return m_isWanted;
}

bool PdRecorder::isFull() const
{
    return m_isWanted && m_queue->getBytes() > FullBytes;
}

void PdRecorder::annotate(int channel, const QString &name, const QVariant &value)
{
    if (m_isWanted)
        add(Work::Annotation{channel, name, value}, BytesOfItem);
}

void PdRecorder::followDevice()
{
    m_subscriptions.push_back(
        m_device.subscribeVoltageScopes([this](const PdDevice::VoltageScopePtr &scope, quint64 firstPeriod) {
            if (m_isWanted)
                add(Work::Scope{firstPeriod, scope}, BytesOfPeriod);
        }));
    m_subscriptions.push_back(m_device.subscribePeriodBlocks(
        [this](int channel, quint64 index, const PdDevice::PeriodBlockPtr &block, const PdDevice::TestVoltages &) {
            if (m_isWanted)
                add(Work::Block{channel, index, block}, estimateBytes(block));
        }));
}

void PdRecorder::followSettings()
{
    for (const auto &channel : m_device.getChannels()) {
        const int index = channel.getChannelIndex();
        const Utilities::GuiContextVisitor context(m_device.getChannelContext(index));
        const QList<QStringList> parameters = GetRequiredPdChannelRecordingParameterList();
        for (const QStringList &components : parameters) {
            const QString path = m_tree->joinPath(components);
            const QString full = m_tree->joinPath({context.getContextPath(), path});
            m_settings.push_back({index, path, m_tree->read(full)});
            m_subscriptions.push_back(m_tree->subscribe(
                full, [this, index, path](const QString &, const QVariant &value) { onSetting(index, path, value); }));
        }
    }
    // What the instrument's parameters are; those that are known so far, and those that come.
    const QString responses = m_tree->joinPath({m_device.getPath(), Connections::Paths::Response});
    collectParameters(responses, ParameterPrefix);
    m_subscriptions.push_back(
        m_tree->subscribeGroup(responses, [this, responses](const QString &path, const QVariant &value) {
            const QString name = path.mid(responses.size() + m_tree->getListSeparator().size());
            if (!name.isEmpty())
                onSetting(DeviceItself, m_tree->joinPath({ParameterPrefix, name}), value);
        }));
}

/// A parameter's name may be a path.
void PdRecorder::collectParameters(const QString &group, const QString &recordedPath)
{
    const QStringList names = m_tree->getChildren(group);
    for (const QString &name : names)
        collectParameters(m_tree->joinPath({group, name}), m_tree->joinPath({recordedPath, name}));
    const QVariant value = names.isEmpty() ? m_tree->read(group) : QVariant();
    if (value.isValid())
        m_settings.push_back({DeviceItself, recordedPath, value});
}

void PdRecorder::onSetting(int channel, const QString &path, const QVariant &value)
{
    QVariant oldValue;
    {
        const std::lock_guard guard(m_settingsMutex);
        const auto known = std::find_if(m_settings.begin(), m_settings.end(), [&](const Setting &setting) {
            return setting.channel == channel && setting.path == path;
        });
        if (known == m_settings.end())
            m_settings.push_back({channel, path, value});
        else
            oldValue = std::exchange(known->value, value);
    }
    if (!m_isWanted)
        return;
    qCInfo(libraryLog()).noquote() << QStringLiteral("PdRecorder() record changed attribute=") + path +
                                          QStringLiteral(" for channel=%1").arg(channel);
    add(Work::Change{{channel, path, value}, oldValue}, BytesOfItem);
}

void PdRecorder::followReadings()
{
    m_subscriptions.push_back(Utilities::GetAppDataStore()->observe(
        [this](const Utilities::DataEntryInterface &entry, quint64 index, const QVariant &value) {
            const bool isDecision = entry.getKind() == DecisionKind;
            if (!m_isWanted || (entry.getKind() != QiecKind && !isDecision))
                return;
            int channel = 0;
            {
                const std::lock_guard guard(m_settingsMutex);
                const auto found = m_resultChannels.constFind(entry.getName());
                if (found == m_resultChannels.constEnd())
                    return;
                channel = *found;
            }
            const DataEntryConstPtr record = DataEntryFromVariant(value);
            if (record && isDecision) {
                const QString state = record->get(RecordKeys::State).toString();
                const bool isOn = state == InceptionAnnotation;
                const double voltage =
                    record->get(isOn ? RecordKeys::InceptionVoltage : RecordKeys::ExtinctionVoltage).toDouble();
                add(Work::Decision{channel, index, state, voltage}, BytesOfItem);
            } else if (record)
                m_queue->addReading({channel, index, record->get(Keys::Value).toDouble()});
        }));
}

void PdRecorder::onControl(const QVariant &value)
{
    const auto command = ParseRecordingCommand(value);
    if (!command)
        return;
    if (!command->isStart) {
        add(Work::Stop{}, 0);
        return;
    }
    RecordingSubject subject;
    subject.type = m_device.getIdentification();
    subject.serial = m_device.getSerialNumber();
    subject.results = m_device.getResultsName();
    const Utilities::GuiContextVisitor context(m_device.getContext());
    const auto text = [&](const char *name) { return context.getProperty(QString::fromLatin1(name)).toString(); };
    subject.softwareVersion = text("software_version");
    subject.fpgaVersion = text("fpga_version");
    subject.productClass = text("product_class");
    subject.productName = text("product_name");
    subject.folder = m_folder;
    subject.nameTemplate = m_tree->read(attributePath(Attributes::Template)).toString();
    subject.storageOptions = m_tree->read(attributePath(Attributes::StorageOptions)).toString();
    subject.fileInfoMs = m_tree->read(attributePath(Attributes::FileInfoTimeout)).toInt();
    subject.qtUtMs = m_tree->read(attributePath(Attributes::QtUtTimeout)).toInt();
    subject.patternMs = m_tree->read(attributePath(Attributes::PatternTimeout)).toInt();
    subject.channels = m_device.getChannels();
    for (const auto &channel : subject.channels)
        subject.channelPaths.append(
            Utilities::GuiContextVisitor(m_device.getChannelContext(channel.getChannelIndex())).getContextPath());
    {
        const std::lock_guard guard(m_settingsMutex);
        for (const Setting &setting : m_settings) {
            if (setting.value.isValid())
                subject.settings.push_back({setting.channel, setting.path, setting.value});
        }
        m_resultChannels.clear();
        for (const auto &channel : subject.channels) {
            const int index = channel.getChannelIndex();
            m_resultChannels[GetDataEntryNameForDeviceChannel(subject.results, QString::number(index))] = index;
        }
    }
    ++m_sentStarts;
    m_isWanted = true;
    add(Work::Start{*command, subject}, BytesOfItem);
}

void PdRecorder::onStarted(const QString &path)
{
    setAttribute(Attributes::Error, QString());
    setAttribute(Attributes::FileName, path);
    setAttribute(Attributes::Status, Attributes::Active);
    emit recordingStarted(path);
}

void PdRecorder::onEnded(const QString &path, const QString &reason, bool error)
{
    m_isWanted = isWanted();
    // One that goes on in a new file stays active.
    if (!m_worker->isActive())
        setAttribute(Attributes::Status, Attributes::Inactive);
    setAttribute(Attributes::EndReason, reason);
    if (error)
        setAttribute(Attributes::Error, reason);
    emit recordingEnded(path, reason, error);
}

void PdRecorder::onRefused(const QString &reason)
{
    m_isWanted = isWanted();
    setAttribute(Attributes::Error, reason);
    emit startRefused(reason);
}

/// Whether a recording is active, or a start is on its way; by the time one is told of an end, the next may have begun.
bool PdRecorder::isWanted() const
{
    // The count first: the worker counts a start when its outcome is known.
    const bool isStarting = m_worker->getHandledStarts() != m_sentStarts;
    return isStarting || m_worker->isActive();
}

void PdRecorder::onFileInformation(qint64 bytes, double seconds)
{
    setAttribute(Attributes::FileSizeChanged, bytes);
    setAttribute(Attributes::FileDurationChanged, seconds);
}

QString PdRecorder::attributePath(const QString &name) const
{
    return m_tree->joinPath({m_device.getPath(), Attributes::Node, name});
}

void PdRecorder::setAttribute(const QString &name, const QVariant &value) const
{
    m_tree->write(attributePath(name), value);
}

} // namespace CommonNOX::PD::Recording
