#include "connections/discovery/ssdp_device_announcer.h"

#include "connections/discovery/ssdp_location.h"
#include "connections/discovery/ssdp_network.h"
#include "connections/discovery/ssdp_text.h"
#include "entries/log.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTimer>

#include <algorithm>
#include <vector>

namespace CommonNOX::Connections
{

using std::chrono::milliseconds;

namespace
{

/// From 0 to `longest`, both included.
milliseconds randomUpTo(milliseconds longest)
{
    const auto bound = int(std::clamp<qint64>(longest.count(), 0, std::numeric_limits<int>::max() - 1)) + 1;
    return milliseconds(QRandomGenerator::global()->bounded(bound));
}

/// The same for the same words, so that who knows the device's description need not read it again.
quint32 configIdOf(const SsdpAdvertisement &advertisement)
{
    const QStringList words{advertisement.uuid, advertisement.domain, advertisement.type,
                            advertisement.services.join(QLatin1Char(' ')), advertisement.location.toString()};
    const QByteArray bytes = words.join(QLatin1Char('\n')).toUtf8();
    return qChecksum(bytes.constData(), uint(bytes.size()), Qt::ChecksumIso3309);
}

struct PendingAnswer
{
    qint64 due = 0; // in ms of the announcer's own clock
    SsdpSource asker;
    QByteArray datagram;
};

} // namespace

struct SsdpDeviceAnnouncer::Private
{
    Private(const SsdpAdvertisement &given, const SsdpAnnouncerSettings &chosen)
        : advertisement(given), settings(chosen), network(chosen.interfaces)
    {}

    void look();
    void sendSet();
    void announceOn(const SsdpInterface &outlet);
    void answer(const SsdpMessage &search, const SsdpSource &asker);
    void sendDueAnswers();
    void waitForNextAnswer();

    SsdpAdvertisement advertisement;
    const SsdpAnnouncerSettings settings;
    SsdpNetwork network;
    QElapsedTimer clock;
    QTimer setTimer;
    QTimer lookTimer;
    QTimer answerTimer;
    std::vector<PendingAnswer> pending; // by due time
    int copiesLeft = 0;
    bool isOverloadNoted = false;
    bool isRunning = false;
};

/// An interface that comes up later is told what the others know already.
void SsdpDeviceAnnouncer::Private::look()
{
    const QVector<SsdpInterface> added = network.refresh();
    for (const SsdpInterface &outlet : added)
        announceOn(outlet);
}

void SsdpDeviceAnnouncer::Private::sendSet()
{
    network.refresh();
    const QVector<SsdpInterface> outlets = network.getInterfaces();
    for (const SsdpInterface &outlet : outlets)
        announceOn(outlet);
    copiesLeft = std::max(copiesLeft - 1, 0);
    const milliseconds quarter = std::chrono::seconds(advertisement.maximumAge) / 4;
    setTimer.start(copiesLeft > 0 ? settings.copyInterval : quarter + randomUpTo(quarter - milliseconds(1)));
}

void SsdpDeviceAnnouncer::Private::announceOn(const SsdpInterface &outlet)
{
    const QUrl location = MakeSsdpLocation(advertisement.location, outlet);
    if (!location.isValid())
        return;
    const QVector<SsdpMessage> set = advertisement.makeAliveSet(location);
    for (const SsdpMessage &message : set)
        network.multicast(outlet, message.toDatagram());
}

void SsdpDeviceAnnouncer::Private::answer(const SsdpMessage &search, const SsdpSource &asker)
{
    const QUrl location = MakeSsdpLocation(advertisement.location, asker.interface);
    if (search.getKind() != SsdpMessage::Kind::Search || !location.isValid())
        return;
    const milliseconds span = GetSsdpAnswerSpan(search, asker.isMulticast);
    const QVector<SsdpMessage> answers =
        advertisement.makeAnswers(search, asker.isMulticast, location, QDateTime::currentDateTimeUtc());
    for (const SsdpMessage &message : answers) {
        if (int(pending.size()) >= MaximumPending) {
            if (!isOverloadNoted)
                qCInfo(libraryLog, "More than %d answers to searches are pending, further ones are dropped",
                       MaximumPending);
            isOverloadNoted = true;
            break;
        }
        const PendingAnswer next{clock.elapsed() + randomUpTo(span).count(), asker, message.toDatagram()};
        pending.insert(std::upper_bound(pending.begin(), pending.end(), next,
                                        [](const auto &a, const auto &b) { return a.due < b.due; }),
                       next);
    }
    waitForNextAnswer();
}

void SsdpDeviceAnnouncer::Private::sendDueAnswers()
{
    const qint64 now = clock.elapsed();
    const auto later =
        std::find_if(pending.begin(), pending.end(), [&](const PendingAnswer &answer) { return answer.due > now; });
    const std::vector<PendingAnswer> due(pending.begin(), later);
    pending.erase(pending.begin(), later);
    for (const PendingAnswer &answer : due)
        network.send(answer.asker.interface, answer.asker.address, answer.asker.port, answer.datagram);
    waitForNextAnswer();
}

void SsdpDeviceAnnouncer::Private::waitForNextAnswer()
{
    if (pending.empty()) {
        isOverloadNoted = false;
        answerTimer.stop();
    } else {
        answerTimer.start(int(std::max<qint64>(pending.front().due - clock.elapsed(), 0)));
    }
}

SsdpDeviceAnnouncer::SsdpDeviceAnnouncer(const SsdpAdvertisement &advertisement, const SsdpAnnouncerSettings &settings,
                                         QObject *parent)
    : QObject(parent), d(std::make_unique<Private>(advertisement, settings))
{
    d->advertisement.configId = configIdOf(advertisement);
    d->setTimer.setSingleShot(true);
    d->answerTimer.setSingleShot(true);
    // Askers wait no longer than they said.
    d->answerTimer.setTimerType(Qt::PreciseTimer);
    connect(&d->setTimer, &QTimer::timeout, this, [this] { d->sendSet(); });
    connect(&d->lookTimer, &QTimer::timeout, this, [this] { d->look(); });
    connect(&d->answerTimer, &QTimer::timeout, this, [this] { d->sendDueAnswers(); });
    connect(&d->network, &SsdpNetwork::messageReceived, this,
            [this](const SsdpMessage &message, const SsdpSource &source) { d->answer(message, source); });
}

SsdpDeviceAnnouncer::~SsdpDeviceAnnouncer()
{
    stop();
}

bool SsdpDeviceAnnouncer::start()
{
    if (d->isRunning)
        return true;
    const QString fault = d->advertisement.getFault();
    if (!fault.isEmpty()) {
        qCWarning(libraryLog, "The device cannot be announced: %s", qUtf8Printable(fault));
        return false;
    }
    d->isRunning = true;
    d->advertisement.bootId = MakeSsdpBootId();
    d->copiesLeft = std::clamp(d->settings.firstCopies, 1, 3);
    d->clock.start();
    d->network.refresh();
    if (d->network.getInterfaces().isEmpty())
        qCInfo(libraryLog, "There is no network interface to announce the device on");
    d->setTimer.start(randomUpTo(d->settings.longestFirstWait));
    d->lookTimer.start(d->settings.lookInterval);
    return true;
}

void SsdpDeviceAnnouncer::stop()
{
    if (!d->isRunning)
        return;
    d->isRunning = false;
    d->setTimer.stop();
    d->lookTimer.stop();
    d->answerTimer.stop();
    d->pending.clear();
    const QVector<SsdpMessage> set = d->advertisement.makeByeByeSet();
    const QVector<SsdpInterface> outlets = d->network.getInterfaces();
    for (const SsdpInterface &outlet : outlets) {
        if (!MakeSsdpLocation(d->advertisement.location, outlet).isValid())
            continue;
        for (const SsdpMessage &message : set)
            d->network.multicast(outlet, message.toDatagram());
    }
    d->network.close();
}

bool SsdpDeviceAnnouncer::isRunning() const
{
    return d->isRunning;
}

quint32 SsdpDeviceAnnouncer::getBootId() const
{
    return d->advertisement.bootId;
}

} // namespace CommonNOX::Connections
