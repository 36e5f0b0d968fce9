#include "recording/recorder/pd_recorder_worker.h"

#include "entries/log.h"
#include "platform/data_store.h"
#include "recording/replay_file.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QThread>

#include <algorithm>

namespace CommonNOX::PD::Recording
{

using Outcome = StorageState::Outcome;

namespace
{

/// A recording that ends waits so long for a program that reads its file.
constexpr int MsOfWaiting = 10'000;
constexpr int MsBetweenTries = 10;
const QString StopReason = QStringLiteral("stopped");

qint64 now()
{
    return QDateTime::currentMSecsSinceEpoch();
}

/// The path of the file that a command and the subject's template name.
QString makePath(const RecordingCommand &command, const RecordingSubject &subject)
{
    // A complete path, as a program gives it, is taken as it is.
    if (QFileInfo(command.fileName).isAbsolute() && command.fileName.endsWith(FileSuffix, Qt::CaseInsensitive))
        return command.fileName;
    const QString name = MakeRecordingFileName({subject.nameTemplate, subject.type, subject.serial, command.fileName},
                                               QDateTime::currentDateTime());
    return name.isEmpty() ? QString() : QDir(subject.folder).absoluteFilePath(name);
}

} // namespace

PdRecorderWorker::PdRecorderWorker(const std::shared_ptr<RecorderQueue> &queue)
    : m_queue(queue), m_commitTimer(new QTimer(this)), m_fileInfoTimer(new QTimer(this)), m_qtUtTimer(new QTimer(this)),
      m_patternTimer(new QTimer(this))
{
    connect(m_commitTimer, &QTimer::timeout, this, [this] { commit(); });
    connect(m_fileInfoTimer, &QTimer::timeout, this, [this] { publishFileInformation(); });
    connect(m_qtUtTimer, &QTimer::timeout, this,
            [this] { m_state.extractLastQtUtOverviewElement(*Utilities::GetAppDataStore(), now()); });
    connect(m_patternTimer, &QTimer::timeout, this,
            [this] { m_state.extractLastPatternSnapshotElement(*Utilities::GetAppDataStore()); });
}

void PdRecorderWorker::drain()
{
    for (;;) {
        std::vector<RecorderQueue::Item> items = m_queue->take();
        if (items.empty())
            return;
        for (RecorderQueue::Item &item : items) {
            if (m_isActive && m_queue->getBytes() > MaximumBytes)
                fail(QStringLiteral("the disk does not keep up with the measurement"));
            std::visit([this](const auto &work) { this->work(work); }, item.work);
            // What the work was about goes before it stops counting.
            item.work = Work::Annotation();
            m_queue->release(item.bytes);
        }
    }
}

void PdRecorderWorker::work(const Work::Start &start)
{
    const bool isRefused = !this->start(start);
    // Before anybody is told, so that who is told finds it counted.
    ++m_handledStarts;
    if (isRefused)
        emit refused(m_refusal);
}

bool PdRecorderWorker::start(const Work::Start &start)
{
    if (m_isActive) {
        m_refusal = QStringLiteral("a recording into \"%1\" is active already").arg(m_state.getStorage().getPath());
        qCWarning(libraryLog()).noquote() << QStringLiteral("PdRecorderWorker::start() refused: ") + m_refusal;
        return false;
    }
    m_command = start.command;
    m_subject = start.subject;
    m_fileNumber = 1;
    m_lastScope = {};
    m_firstPath = makePath(m_command, m_subject);
    m_queue->takeReadings();
    if (open(m_firstPath))
        return true;
    m_refusal = m_state.getStorage().getError();
    if (m_refusal.isEmpty())
        m_refusal = QStringLiteral("a recording needs a file name");
    return false;
}

bool PdRecorderWorker::open(const QString &path)
{
    if (!m_state.initialize(m_subject, path, m_command.comment, now()))
        return false;
    // The header is there from the start, whatever comes.
    if (m_state.commit(now()) == Outcome::Failed) {
        qCWarning(libraryLog()).noquote()
            << QStringLiteral("DeviceRecordingState::initialize() failed to initialize the storage for filename=") +
                   path;
        m_state.getStorage().abandon();
        return false;
    }
    m_isActive = true;
    m_lastPublishedSize = 0;
    m_sinceCommit.start();
    m_commitTimer->start(StorageState::MsOfBatch / 2);
    m_fileInfoTimer->start(std::max(10, m_subject.fileInfoMs));
    m_qtUtTimer->start(std::max(10, m_subject.qtUtMs));
    m_patternTimer->start(std::max(10, m_subject.patternMs));
    emit started(m_state.getStorage().getPath());
    return true;
}

void PdRecorderWorker::work(const Work::Stop &stop)
{
    if (m_isActive)
        finish(StopReason);
    if (stop.done)
        stop.done();
}

void PdRecorderWorker::work(const Work::Block &block)
{
    if (!m_isActive)
        return;
    m_state.addPeriodBlock(block.channel, block.index, block.block, now());
    if (m_state.getStorage().isBatchFull())
        commit();
}

void PdRecorderWorker::work(const Work::Scope &scope)
{
    if (!m_isActive)
        return;
    m_lastScope = scope;
    m_state.addVoltageScope(scope.firstPeriod, scope.scope);
    if (m_state.getStorage().isBatchFull())
        commit();
}

void PdRecorderWorker::work(const Work::Change &change)
{
    if (!m_isActive)
        return;
    const auto known =
        std::find_if(m_subject.settings.begin(), m_subject.settings.end(), [&](const RecordedSetting &setting) {
            return setting.channel == change.setting.channel && setting.path == change.setting.path;
        });
    if (known == m_subject.settings.end())
        m_subject.settings.push_back(change.setting);
    else
        known->value = change.setting.value;
    m_state.recordConfigChange(change.setting.channel, change.setting.path, change.setting.value, change.oldValue);
}

void PdRecorderWorker::work(const Work::Annotation &annotation)
{
    if (m_isActive && !annotation.name.isEmpty())
        m_state.addAnnotation(annotation.channel, annotation.name, annotation.value);
}

void PdRecorderWorker::work(const Work::Decision &decision)
{
    if (m_isActive)
        m_state.addDecision(decision.channel, decision.index, decision.name, decision.voltage);
}

void PdRecorderWorker::takeReadings()
{
    for (const QiecReading &reading : m_queue->takeReadings())
        m_state.noteQiec(reading.channel, reading.index, reading.value);
}

void PdRecorderWorker::commit()
{
    if (!m_isActive)
        return;
    takeReadings();
    const Outcome outcome = m_state.commit(now());
    if (outcome == Outcome::Failed) {
        fail(m_state.getStorage().getError());
        return;
    }
    // What another program that reads the file holds up waits in memory, not without end.
    if (outcome == Outcome::Busy && m_state.getStorage().getBatchBytes() > MaximumBytes) {
        fail(QStringLiteral("another program keeps the file locked"));
        return;
    }
    m_sinceCommit.restart();
    checkLimit();
}

void PdRecorderWorker::checkLimit()
{
    const RecordingLimit &limit = m_command.limit;
    const bool isReached =
        (limit.type == RecordingLimit::Type::FileSize && m_state.getStorage().getFileSize() >= limit.value) ||
        (limit.type == RecordingLimit::Type::Duration && m_state.getDuration() >= double(limit.value));
    if (!isReached)
        return;
    // A limit below what an empty file takes would make files without end.
    if (limit.continues && m_state.getPeriodCount() == 0)
        return;
    if (limit.continues)
        continueInNewFile();
    else
        finish(limit.type == RecordingLimit::Type::FileSize
                   ? QStringLiteral("the file has reached its limit of %1 bytes").arg(limit.value)
                   : QStringLiteral("the recording has reached its limit of %1 s").arg(limit.value));
}

void PdRecorderWorker::continueInNewFile()
{
    const QString before = m_state.getStorage().getPath();
    if (!finish(QStringLiteral("the file has reached its limit; it goes on in a new one"), true))
        return;
    m_subject.continuations = m_state.getContinuations();
    QString path;
    do
        path = MakeContinuationPath(m_firstPath, ++m_fileNumber);
    while (QFileInfo::exists(path));
    if (open(path)) {
        m_state.addAnnotation(DeviceItself, ContinuationAnnotation, QFileInfo(before).fileName());
        // The test voltage holds on.
        if (m_lastScope.scope)
            m_state.addVoltageScope(m_lastScope.firstPeriod, m_lastScope.scope);
    } else {
        m_isActive = false;
        emit ended(path, m_state.getStorage().getError(), true);
    }
}

bool PdRecorderWorker::finish(const QString &reason, bool goesOn)
{
    stopTimers();
    takeReadings();
    const QString path = m_state.getStorage().getPath();
    m_state.extractLastPatternSnapshotElement(*Utilities::GetAppDataStore());
    m_state.addAnnotation(DeviceItself, EndAnnotation, reason);
    publishFileInformation();
    QElapsedTimer waited;
    waited.start();
    // The evaluation of the last periods may still be under way.
    while (m_state.areElementsWaiting() && waited.elapsed() < ChannelRecordingState::MsOfPatience) {
        takeReadings();
        if (m_state.commit(now()) == Outcome::Failed || !m_state.areElementsWaiting())
            break;
        QThread::msleep(MsBetweenTries);
    }
    waited.restart();
    Outcome outcome = m_state.finish();
    while (outcome == Outcome::Busy && waited.elapsed() < MsOfWaiting) {
        QThread::msleep(MsBetweenTries);
        outcome = m_state.finish();
    }
    if (outcome != Outcome::Done) {
        endWithError(path, outcome == Outcome::Busy ? QStringLiteral("another program keeps the file locked")
                                                    : m_state.getStorage().getError());
        return false;
    }
    // While it goes on, nobody may take it for inactive and withhold what is received meanwhile.
    m_isActive = goesOn;
    emit ended(path, reason, false);
    return true;
}

void PdRecorderWorker::fail(const QString &reason)
{
    const QString path = m_state.getStorage().getPath();
    m_state.finish();
    endWithError(path, reason);
}

void PdRecorderWorker::endWithError(const QString &path, const QString &reason)
{
    stopTimers();
    m_state.getStorage().abandon();
    m_isActive = false;
    qCWarning(libraryLog()).noquote() << QStringLiteral("PdRecorderWorker::fail() the recording ends: ") + reason;
    emit ended(path, reason, true);
}

void PdRecorderWorker::publishFileInformation()
{
    emit fileInformation(m_state.getStorage().getFileSize(), m_state.getDuration());
}

void PdRecorderWorker::stopTimers()
{
    for (QTimer *timer : {m_commitTimer, m_fileInfoTimer, m_qtUtTimer, m_patternTimer})
        timer->stop();
}

} // namespace CommonNOX::PD::Recording
