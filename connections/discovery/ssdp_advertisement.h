#pragma once

#include "connections/discovery/ssdp_message.h"
#include "connections/discovery/ssdp_target.h"
#include "nox_export.h"

#include <QDateTime>
#include <QStringList>
#include <QUrl>
#include <QVector>

#include <chrono>

namespace CommonNOX::Connections
{

/// What one device tells of itself, and the messages that tell it. A plain value; the device type is of version 1.
struct NOX_EXPORT SsdpAdvertisement
{
    QString uuid;   ///< bare: no "uuid:", no braces
    QString domain; ///< of the vendor
    QString type;   ///< of the device
    /// Each a service type: its name ("measurement", version 1), name and version ("measurement:2"), or the whole
    /// "urn:DOMAIN:service:NAME:VERSION" where its domain is another.
    QStringList services;
    QUrl location;
    int maximumAge = 1800; ///< seconds that an announcement holds
    quint32 bootId = 1;    ///< from 0 to 2^31-1, higher at each start
    quint32 configId = 0;  ///< from 0 to 2^24-1, another one when what is told changes

    /// The reason why this cannot be announced; empty when it can.
    QString getFault() const;
    /// Root device, device, device type, then each service.
    QVector<SsdpUniqueName> getNames() const;

    /// One message a name, with the location as it is good for where they go.
    QVector<SsdpMessage> makeAliveSet(const QUrl &locationThere) const;
    /// Without location and age.
    QVector<SsdpMessage> makeByeByeSet() const;
    /// One a name that answers the search. None where the search is to be ignored: unless its MAN is exactly
    /// "ssdp:discover" in quotes, its ST is a target, and, sent to the group, its MX is a number from 1.
    QVector<SsdpMessage> makeAnswers(const SsdpMessage &search, bool isMulticast, const QUrl &locationThere,
                                     const QDateTime &now) const;

private:
    SsdpMessage makeNotification(const SsdpUniqueName &name, QLatin1String word, const QUrl &locationThere) const;
};

/// The time over which answers to the search are spread: MX, at most 5 s; half a second where there is none.
NOX_EXPORT std::chrono::milliseconds GetSsdpAnswerSpan(const SsdpMessage &search, bool isMulticast);

/// A BOOTID that is higher than every other that this process got, and, by the clock, than those of processes that
/// ran before: quarters of a second since the start of 2025. Any thread.
NOX_EXPORT quint32 MakeSsdpBootId();

} // namespace CommonNOX::Connections
