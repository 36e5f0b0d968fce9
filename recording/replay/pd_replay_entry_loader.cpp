#include "recording/replay/pd_replay_entry_loader.h"

#include "entries/catalogue/recording.h"
#include "entries/catalogue/replay_header.h"
#include "entries/catalogue/results_pd.h"
#include "recording/replay_file.h"

namespace CommonNOX::Importer
{

using namespace Entries::Recording;
using namespace Entries::Results::Space2D;
using Entries::Results::Space3D::PatternV1;
using FrameworkCore::AppData::Storage::EntryMonitor;

namespace
{

template <class Entry>
bool isA(const DataEntryConstPtr &entry)
{
    return std::dynamic_pointer_cast<const Entry>(entry) != nullptr;
}

} // namespace

PdReplayEntryLoader::PdReplayEntryLoader(const QString &storageIdentifier, const QString &entryUuid,
                                         const QString &classification, Type type, QObject *parent)
    : QObject(parent), m_classification(classification), m_type(type),
      m_channel(PD::Recording::ParseClassification(classification).value_or(PD::Recording::DeviceItself)),
      m_monitor(storageIdentifier, entryUuid)
{
    connect(&m_monitor, &EntryMonitor::loadStatusChanged, this, &PdReplayEntryLoader::onLoadStatusChanged);
}

PdReplayEntryLoader::~PdReplayEntryLoader() = default;

bool PdReplayEntryLoader::load()
{
    m_monitor.load();
    return isValid();
}

void PdReplayEntryLoader::onLoadStatusChanged(EntryMonitor::LoadStatus status)
{
    const DataEntryConstPtr entry = status == EntryMonitor::LoadStatus::Loaded && m_monitor.getEntry()
                                        ? DataEntryFromVariant(*m_monitor.getEntry())
                                        : nullptr;
    m_entry = parseInformationByType(entry) ? entry : nullptr;
    emit loaded(isValid());
}

bool PdReplayEntryLoader::parseInformationByType(const DataEntryConstPtr &entry) const
{
    if (!entry || m_monitor.getKind().classification != m_classification)
        return false;
    switch (m_type) {
    case Type::Header:
        return isA<PdReplayHeaderV1>(entry) || isA<PdReplayHeaderV2>(entry);
    case Type::PeriodBlock:
        return isA<PeriodBlockV1>(entry);
    case Type::VoltageScope:
        return isA<VoltageScopeV1>(entry);
    case Type::Action:
        return isA<PdReplayActionV1>(entry);
    case Type::Annotation:
        return isA<PdReplayAnnotationV1>(entry);
    case Type::PatternSnapshot:
        return isA<PatternV1>(entry);
    case Type::Unknown:
        break;
    }
    return false;
}

} // namespace CommonNOX::Importer
