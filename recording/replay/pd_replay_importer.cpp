#include "recording/replay/pd_replay_importer.h"

#include "entries/catalogue/results_pd.h"
#include "entries/log.h"
#include "entries/property_keys.h"
#include "recording/replay_file.h"

namespace CommonNOX::Importer
{

using namespace Entries::Results::Space2D;
using namespace PD::Recording;
using FrameworkCore::AppData::Storage::RowPlace;
namespace Keys = Entries::Keys;

ImporterInterface::~ImporterInterface() = default;

PdReplayImporter::PdReplayImporter(const std::shared_ptr<PdReplayFileLoader> &loader, QObject *parent)
    : QObject(parent), m_loader(loader)
{
    qCInfo(libraryLog()).noquote() << QStringLiteral("PdReplayImporter::PdReplayImporter() fileName=") +
                                          (loader ? loader->getFileInformation().fileName() : QString());
    m_timer.start();
    if (loader)
        connect(loader.get(), &DeviceReplayDataContainer::loadingStateChanged, this,
                &PdReplayImporter::loadingProgressChanged, Qt::DirectConnection);
}

PdReplayImporter::~PdReplayImporter()
{
    qCInfo(libraryLog()) << "PdReplayImporter::~PdReplayImporter()";
}

bool PdReplayImporter::parseReplayFile()
{
    if (!m_loader)
        return false;
    return m_loader->getLoadStatus() == ReplayFileStatus::Loaded ||
           (m_loader->loadReplayFile() && m_loader->buildReplayFileIndex());
}

bool PdReplayImporter::hasValidHandle() const
{
    return m_loader && m_loader->getLoadStatus() == ReplayFileStatus::Loaded;
}

std::shared_ptr<ChannelReplayStatus> PdReplayImporter::findStatus(int channel) const
{
    if (!m_loader || channel < 0 || channel >= m_loader->getNumberOfChannels())
        return nullptr;
    return m_loader->getChannelReplayStatus(channel);
}

bool PdReplayImporter::extractNextPeriod(const int &channel, PeriodPtr &period)
{
    period.reset();
    const auto status = findStatus(channel);
    if (!status)
        return false;
    const auto position = m_loader->getChannelReplayPosition(channel);
    if (!position)
        return false;
    std::optional<double> initialQiec;
    {
        const std::lock_guard guard(status->mutex);
        // A period that is lost with its block leaves a gap, it does not end the replay.
        while (!m_loader->updatePeriodInformationForChannelTimePosition(*status, *position)) {
            if (!hasValidHandle() || status->span.isFinished)
                return false;
            position->set(position->get() + 1);
        }
        const double wait = status->pacer.getWait(status->period->get(Keys::StartTime).toLongLong(),
                                                  status->period->get(Keys::SampleRate).toUInt(), status->speedFactor,
                                                  double(m_timer.nsecsElapsed()) / 1e6);
        if (wait > 0.0) {
            status->periods[status->element.periodOffset] = std::move(status->period);
            return true;
        }
        status->pacer.advance();
        position->set(position->get() + 1);
        if (!std::exchange(status->isQiecTold, true))
            initialQiec = status->element.qiec;
        period = std::move(status->period);
    }
    if (initialQiec)
        emit initialQiecValueChanged(channel, *initialQiec);
    return true;
}

int PdReplayImporter::getScopeKind() const
{
    const auto reader = m_loader ? m_loader->getReader() : nullptr;
    const auto kinds =
        reader ? reader->findKinds(TypeOf<VoltageScopeV1>(), cstrVoltageScopeCategory) : std::vector<int>();
    return kinds.empty() ? 0 : kinds.front();
}

bool PdReplayImporter::extractNextVoltageScope(const int &channel, VoltageScopePtr &scope)
{
    scope.reset();
    const auto status = findStatus(channel);
    const int kind = getScopeKind();
    if (!status || kind == 0)
        return false;
    const auto reader = m_loader->getReader();
    const std::lock_guard guard(status->mutex);
    const unsigned int position = m_loader->getChannelReplayPosition(channel)->get();
    const auto element = status->navigation->find(std::min(position, status->span.span.getUpper()));
    if (!element)
        return false;
    RowPlace place;
    if (status->scopeRow == 0) {
        place = reader->findRowAtOrBefore(kind, qint64(element->globalIndex));
    } else {
        FrameworkCore::AppData::Storage::StoredRow last;
        reader->read(status->scopeRow, last);
        const auto next = reader->listRows(kind, {last.number, status->scopeRow}, 1);
        if (!next.empty())
            place = next.front();
    }
    if (place.id == 0)
        return status->scopeRow == 0 && !status->span.isFinished;
    if (place.number > qint64(element->globalIndex))
        return !status->span.isFinished;
    const auto entry = std::dynamic_pointer_cast<const VoltageScopeV1>(ReadEntry(*reader, place.id));
    status->scopeRow = place.id;
    if (entry)
        scope = std::make_shared<VoltageScopeV1>(*entry);
    return true;
}

bool PdReplayImporter::getCurrentPosition(const int &channel, unsigned int &position) const
{
    if (!findStatus(channel))
        return false;
    position = m_loader->getChannelReplayPosition(channel)->get();
    return true;
}

bool PdReplayImporter::getCurrentVoltageScopeUuid(const int &channel, QString &uuid) const
{
    const auto status = findStatus(channel);
    const int kind = getScopeKind();
    if (!status || kind == 0)
        return false;
    const std::lock_guard guard(status->mutex);
    const auto element = status->navigation->find(m_loader->getChannelReplayPosition(channel)->get());
    const RowPlace place =
        element ? m_loader->getReader()->findRowAtOrBefore(kind, qint64(element->globalIndex)) : RowPlace();
    if (place.id == 0)
        return false;
    uuid = m_loader->getReader()->getUuids().toUuid({0, place.id});
    return true;
}

bool PdReplayImporter::getReplaySpan(const int &channel, Shared::Interval<unsigned int> &span) const
{
    const auto status = findStatus(channel);
    if (!status)
        return false;
    const std::lock_guard guard(status->mutex);
    span = status->span.span;
    return true;
}

bool PdReplayImporter::setReplaySpan(const int &channel, const Shared::Interval<unsigned int> &span)
{
    const auto status = findStatus(channel);
    if (!status || status->navigation->getCount() == 0 || span.isEmpty())
        return false;
    const std::lock_guard guard(status->mutex);
    const unsigned int last = unsigned(std::min<quint64>(status->navigation->getCount() - 1, 0xfffffffe));
    const auto common = span.intersected({0, last});
    if (!common)
        return false;
    status->span = {*common, false};
    status->pacer = {};
    status->isQiecTold = false;
    status->scopeRow = 0;
    m_loader->getChannelReplayPosition(channel)->set(common->getLower());
    return true;
}

bool PdReplayImporter::getReplaySpeedFactor(const int &channel, double &factor) const
{
    const auto status = findStatus(channel);
    if (!status)
        return false;
    const std::lock_guard guard(status->mutex);
    factor = status->speedFactor;
    return true;
}

bool PdReplayImporter::setReplaySpeedFactor(const int &channel, const double &factor)
{
    const auto status = findStatus(channel);
    if (!status)
        return false;
    // Applications look for the message as it is: the first letter of the class is missing on purpose.
    qCInfo(libraryLog()).noquote() << QStringLiteral(
                                          "dReplayImporter::setReplaySpeedFactor() channelIndex=%1 speedFactor=%2")
                                          .arg(channel)
                                          .arg(factor);
    // Every factor is taken, on purpose: zero and less mean as fast as possible.
    const std::lock_guard guard(status->mutex);
    status->speedFactor = factor;
    return true;
}

} // namespace CommonNOX::Importer
