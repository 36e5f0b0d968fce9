#include "connections/discovery/ssdp_advertisement.h"

#include "connections/discovery/ssdp_text.h"

#include <QCoreApplication>
#include <QLocale>
#include <QSysInfo>

#include <algorithm>
#include <atomic>

namespace CommonNOX::Connections
{

namespace
{

SsdpTarget serviceTarget(const QString &service, const QString &domain)
{
    const SsdpTarget whole = SsdpTarget::Parse(service);
    if (whole.getKind() != SsdpTarget::Kind::Invalid)
        return whole;
    const QString version = service.contains(QLatin1Char(':')) ? QString() : QStringLiteral(":1");
    return SsdpTarget::Parse(QStringLiteral("urn:%1:service:%2%3").arg(domain, service, version));
}

/// A part of a name: it may neither end the name nor hold what readers drop.
bool isNamePart(const QString &text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [](QChar character) {
        return character > QLatin1Char(' ') && character < QChar(0x7f) && character != QLatin1Char(':');
    });
}

QString serverText()
{
    const QString application = QCoreApplication::applicationName();
    // Answers are kept short, and tell strangers no more of the system than its version.
    const QString version = QSysInfo::kernelVersion().section(QLatin1Char('.'), 0, 1);
    return MakeSsdpProduct(QSysInfo::kernelType(), version,
                           application.isEmpty() ? QStringLiteral("SsdpDeviceAnnouncer") : application,
                           application.isEmpty() ? QStringLiteral("1.0") : QCoreApplication::applicationVersion());
}

/// Headers that tell where the device is and how long that holds.
void addPlace(SsdpMessage &message, int maximumAge, const QUrl &location)
{
    message.setHeader(Ssdp::Header::CacheControl, QStringLiteral("max-age = %1").arg(maximumAge));
    message.setHeader(Ssdp::Header::Location, QString::fromLatin1(location.toEncoded()));
    message.setHeader(Ssdp::Header::Server, serverText());
}

} // namespace

QString SsdpAdvertisement::getFault() const
{
    if (!isNamePart(uuid) || !isNamePart(domain) || !isNamePart(type))
        return QStringLiteral("uuid, domain and type must be words without spaces and colons");
    for (const QString &service : services) {
        const SsdpTarget target = serviceTarget(service, domain);
        if (target.getKind() != SsdpTarget::Kind::ServiceType || !isNamePart(target.getDomain()) ||
            !isNamePart(target.getType()))
            return QStringLiteral("\"%1\" is no service type").arg(service);
    }
    if (!location.isValid() || location.scheme().isEmpty() || location.host().isEmpty())
        return QStringLiteral("\"%1\" is no URL with a host").arg(location.toString());
    return {};
}

QVector<SsdpUniqueName> SsdpAdvertisement::getNames() const
{
    QVector<SsdpUniqueName> names{{uuid, SsdpTarget::RootDevice()},
                                  {uuid, SsdpTarget::Device(uuid)},
                                  {uuid, SsdpTarget::DeviceType(domain, type, 1)}};
    for (const QString &service : services)
        names.append({uuid, serviceTarget(service, domain)});
    return names;
}

SsdpMessage SsdpAdvertisement::makeNotification(const SsdpUniqueName &name, QLatin1String word,
                                                const QUrl &locationThere) const
{
    SsdpMessage message(SsdpMessage::Kind::Notify);
    message.setHeader(Ssdp::Header::Host, MakeSsdpHost());
    if (locationThere.isValid())
        addPlace(message, maximumAge, locationThere);
    message.setHeader(Ssdp::Header::Nt, name.target.toString());
    message.setHeader(Ssdp::Header::Nts, word);
    message.setHeader(Ssdp::Header::Usn, name.toString());
    message.setHeader(Ssdp::Header::BootId, QString::number(bootId));
    message.setHeader(Ssdp::Header::ConfigId, QString::number(configId));
    return message;
}

QVector<SsdpMessage> SsdpAdvertisement::makeAliveSet(const QUrl &locationThere) const
{
    QVector<SsdpMessage> set;
    const QVector<SsdpUniqueName> names = getNames();
    for (const SsdpUniqueName &name : names)
        set.append(makeNotification(name, Ssdp::Notification::Alive, locationThere));
    return set;
}

QVector<SsdpMessage> SsdpAdvertisement::makeByeByeSet() const
{
    QVector<SsdpMessage> set;
    const QVector<SsdpUniqueName> names = getNames();
    for (const SsdpUniqueName &name : names)
        set.append(makeNotification(name, Ssdp::Notification::ByeBye, {}));
    return set;
}

QVector<SsdpMessage> SsdpAdvertisement::makeAnswers(const SsdpMessage &search, bool isMulticast,
                                                    const QUrl &locationThere, const QDateTime &now) const
{
    if (search.getKind() != SsdpMessage::Kind::Search || search.getHeader(Ssdp::Header::Man) != Ssdp::Discover)
        return {};
    if (isMulticast && ParseSsdpNumber(search.getHeader(Ssdp::Header::Mx)).value_or(0) < 1)
        return {};
    const SsdpTarget asked = SsdpTarget::Parse(search.getHeader(Ssdp::Header::St));
    QVector<SsdpMessage> answers;
    const QVector<SsdpUniqueName> names = getNames();
    for (const SsdpUniqueName &name : names) {
        if (!name.target.answers(asked))
            continue;
        SsdpMessage answer(SsdpMessage::Kind::SearchResponse);
        addPlace(answer, maximumAge, locationThere);
        answer.setHeader(Ssdp::Header::Date,
                         QLocale::c().toString(now.toUTC(), QStringLiteral("ddd, dd MMM yyyy HH:mm:ss")) +
                             QStringLiteral(" GMT"));
        answer.setHeader(Ssdp::Header::Ext, QString());
        // Who asked for a lower version looks for just that in the answer.
        const bool isAll = asked.getKind() == SsdpTarget::Kind::All;
        answer.setHeader(Ssdp::Header::St, (isAll ? name.target : asked).toString());
        answer.setHeader(Ssdp::Header::Usn, name.toString());
        // Without the optional CONFIGID: who forges the sender of a search multiplies its bytes by ours.
        answer.setHeader(Ssdp::Header::BootId, QString::number(bootId));
        answers.append(answer);
    }
    return answers;
}

std::chrono::milliseconds GetSsdpAnswerSpan(const SsdpMessage &search, bool isMulticast)
{
    const auto seconds = ParseSsdpNumber(search.getHeader(Ssdp::Header::Mx));
    // One program asks another directly and waits a second.
    if (!isMulticast || !seconds)
        return std::chrono::milliseconds(500);
    return std::chrono::seconds(std::min<qint64>(*seconds, Ssdp::MaximumWait));
}

quint32 MakeSsdpBootId()
{
    static std::atomic<quint32> latest{0};
    constexpr qint64 Start = 1735689600000; // 2025-01-01, in ms
    const qint64 quarters = std::max<qint64>(QDateTime::currentMSecsSinceEpoch() - Start, 0) / 250;
    const auto byClock = quint32(quarters & 0x7fffffff);
    quint32 known = latest;
    quint32 next = 0;
    do {
        next = std::max(byClock, known + 1);
    } while (!latest.compare_exchange_weak(known, next));
    return next;
}

} // namespace CommonNOX::Connections
