#pragma once

#include "connections/discovery/ssdp_message.h"
#include "nox_export.h"

#include <QDateTime>
#include <QHash>
#include <QString>
#include <QUrl>
#include <QVector>

#include <list>

namespace CommonNOX::Connections
{

/// What was heard of one unique service name. Its location is what a connection is opened with.
struct NOX_EXPORT SsdpDevice
{
    QString usn;
    QUrl location;
    QVector<SsdpHeader> headers; ///< of the latest message
    QDateTime expiry;            ///< UTC

    /// Null when there is none.
    QString getHeader(const QString &name) const;
};

/// Devices by their unique service name, bounded whatever the network sends.
///
/// An entry is confirmed when it answered a search of our own or was heard again. Where a bound is passed the
/// unconfirmed go first, of these the one that was heard longest ago: a burst of made-up names displaces itself, not
/// what is known to be there. For one thread at a time.
class NOX_EXPORT SsdpDeviceCache
{
public:
    static constexpr int MaximumCount = 1024;
    /// In bytes, by an estimate on the safe side of what the entries occupy.
    static constexpr qint64 MaximumSize = 4 * 1024 * 1024;

    enum class Change { None, Found, Changed };
    struct PutResult
    {
        Change change = Change::None;
        QVector<SsdpDevice> displaced;
    };

    /// Adds or refreshes. `Changed` is told for another location or another run of the device (BOOTID); a newcomer
    /// that finds no room gives `None`.
    PutResult put(const SsdpDevice &device, bool isAnswer);
    /// Nothing (an empty name) when it is not known.
    SsdpDevice take(const QString &usn);
    /// Takes out what expired before `now`.
    QVector<SsdpDevice> takeExpired(const QDateTime &now);
    /// All at once.
    QVector<SsdpDevice> takeAll();

    /// Null when it is not known; valid until the next change.
    const SsdpDevice *find(const QString &usn) const;
    QVector<SsdpDevice> getDevices() const;
    int getCount() const { return m_places.size(); }
    qint64 getSize() const { return m_size; }

private:
    struct Entry
    {
        SsdpDevice device;
        qint64 size = 0;
        bool isConfirmed = false;
    };
    // From the one heard longest ago to the latest.
    using Entries = std::list<Entry>;

    Entries &listOf(const Entry &entry) { return entry.isConfirmed ? m_confirmed : m_unconfirmed; }
    SsdpDevice remove(Entries::iterator place);

    Entries m_confirmed;
    Entries m_unconfirmed;
    QHash<QString, Entries::iterator> m_places;
    qint64 m_size = 0;
};

} // namespace CommonNOX::Connections

Q_DECLARE_METATYPE(CommonNOX::Connections::SsdpDevice)
