#pragma once

#include "entries/data_entry.h"
#include "nox_export.h"
#include "platform/storage/storage_monitor.h"

#include <QObject>

namespace CommonNOX::Importer
{

/// Loads one entry of a replay file when it is asked to, and says what it is. One thread.
class NOX_EXPORT PdReplayEntryLoader : public QObject
{
    Q_OBJECT
public:
    enum class Type { Unknown, Header, PeriodBlock, VoltageScope, Action, Annotation, PatternSnapshot };
    Q_ENUM(Type)

    /// The storage is known to the application by its identifier; `classification` is "device" or "channel_N".
    PdReplayEntryLoader(const QString &storageIdentifier, const QString &entryUuid, const QString &classification,
                        Type type, QObject *parent = nullptr);
    ~PdReplayEntryLoader() override;

    /// True when the entry is there, is of the type, and stands where the classification says.
    bool load();

    /// Of a loaded entry.
    bool isValid() const { return m_entry != nullptr; }
    bool isChannelSpecific() const { return isValid() && m_channel >= 0; }
    bool isDeviceSpecific() const { return isValid() && m_channel < 0; }
    QString getClassification() const { return m_classification; }
    /// -1 for the device, and for a classification that is none.
    int getChannelIndex() const { return m_channel; }
    Type getType() const { return m_type; }
    QString getUuid() const { return m_monitor.getUuid(); }
    /// Null until it is loaded.
    DataEntryConstPtr getEntry() const { return m_entry; }

signals:
    void loaded(bool success);

private:
    void onLoadStatusChanged(FrameworkCore::AppData::Storage::EntryMonitor::LoadStatus status);
    bool parseInformationByType(const DataEntryConstPtr &entry) const;

    const QString m_classification;
    const Type m_type;
    const int m_channel;
    FrameworkCore::AppData::Storage::EntryMonitor m_monitor;
    DataEntryConstPtr m_entry;
};

} // namespace CommonNOX::Importer
