#include "apps/nox/command.h"
#include "connections/discovery/upnp_ssdp_service_announcer.h"
#include "host/discovery/discovered_device.h"
#include "host/instrument/listen_address.h"
#include "host/instrument/simulated_instrument.h"
#include "host/simulated/simulator_url.h"
#include "host/terminal/interruption.h"
#include "host/terminal/output.h"

#include <QCoreApplication>
#include <QTimer>

#include <memory>

namespace Nox
{

namespace
{

/// How often to look for an interruption.
constexpr int TickMs = 50;

void addOptions(QCommandLineParser &parser)
{
    const auto add = [&parser](const char *name, const char *text, const char *value) {
        parser.addOption({QString::fromLatin1(name), QString::fromLatin1(text), QString::fromLatin1(value)});
    };
    add("listen", "Where to listen; port 0 takes one that is free. Default 127.0.0.1:6027.", "address:port");
    add("channels", "Number of channels, 1 to 1024. Default 2.", "number");
    add("frequency", "Power frequency, 0.01 to 1000 Hz. Default 50.", "hertz");
    add("pulses", "Mean number of pulses a period at the highest voltage. Default 50.", "number");
    add("seed", "The same seed gives the same bytes. Default 1.", "number");
    add("source", "void, surface, corona or noise; several separated by commas.", "kind");
    add("voltage-profile", "The test voltage over time, SECONDS:KILOVOLTS,...", "points");
    parser.addOption({QStringLiteral("announce"),
                      QStringLiteral("Announce it on the local network; listens on 0.0.0.0:6027 by default then.")});
    add("version-file", "Its software version is the first line of this file, read at each announcement.", "file");
    add("speed", "Measuring time over real time; 0 as fast as hosts take it. Default 1.", "factor");
}

/// The settings of the command line; complains about the first that is none.
NoxHost::InstrumentSettings readSettings(CommandLine &line)
{
    NoxHost::InstrumentSettings settings;
    const QCommandLineParser &parser = line.parser();
    const bool isAnnounced = parser.isSet(QStringLiteral("announce"));
    if (isAnnounced)
        settings.address = QHostAddress(QHostAddress::AnyIPv4);
    const QString listen = parser.value(QStringLiteral("listen"));
    if (parser.isSet(QStringLiteral("listen")) && !NoxHost::readListenAddress(listen, settings.address, settings.port))
        line.complain(QStringLiteral("--listen: \"%1\" is not ADDRESS:PORT.").arg(listen));
    if (isAnnounced && settings.address == QHostAddress(QHostAddress::AnyIPv6))
        line.complain(QStringLiteral("--announce tells IPv4 addresses, on which [::] does not listen."));

    NoxHost::SimulatorRequest request;
    for (const char *name : {"channels", "frequency", "pulses", "seed", "source", "voltage-profile", "speed"}) {
        const QString option = QLatin1String(name);
        QString error;
        if (parser.isSet(option) && !NoxHost::readSimulatorSetting(option, parser.value(option), request, error))
            line.complain(error);
    }
    line.complain(request.settings.error());
    settings.signal = request.settings;
    settings.speed = request.speed;
    settings.softwareVersion = QStringLiteral(NOX_VERSION);
    settings.versionFile = parser.value(QStringLiteral("version-file"));
    return settings;
}

/// Tells of the instrument wherever its URL is good, programs on this machine included.
std::unique_ptr<CommonNOX::Connections::UpnpSsdpServiceAnnouncer>
makeAnnouncer(const NoxHost::SimulatedInstrument &instrument)
{
    using namespace NoxHost::InstrumentNames;
    return std::make_unique<CommonNOX::Connections::UpnpSsdpServiceAnnouncer>(
        instrument.settings().uuid().toString(QUuid::WithoutBraces), QString::fromLatin1(Domain),
        QString::fromLatin1(DeviceType), QStringList{QString::fromLatin1(Service)}, instrument.url(), true);
}

} // namespace

int runSimulate(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("simulate"), QString(),
                     QStringLiteral("Is an instrument on the network, for any number of hosts, until it is "
                                    "interrupted. Prints the URL on which it listens."),
                     QStringLiteral("nox simulate --listen 127.0.0.1:0 --channels 4 --seed 7"));
    addOptions(line.parser());
    if (const auto status = line.parse(arguments, 0, 0))
        return *status;
    const NoxHost::InstrumentSettings settings = readSettings(line);
    if (const auto status = line.reportComplaint())
        return *status;

    NoxHost::SimulatedInstrument instrument(settings);
    QString error;
    if (!instrument.listen(error)) {
        printMessage(error);
        return Failed;
    }
    const auto announcer = line.parser().isSet(QStringLiteral("announce")) ? makeAnnouncer(instrument) : nullptr;
    if (announcer && !announcer->start())
        return Failed;
    NoxHost::Output output(stdout);
    output.write(instrument.url().toString().toStdString() + '\n');
    output.flush();
    if (!output.getError().isEmpty()) {
        printMessage(QStringLiteral("the URL cannot be written: %1.").arg(output.getError()));
        return Failed;
    }
    QTimer interruptions;
    QObject::connect(&interruptions, &QTimer::timeout, &interruptions, [] {
        if (NoxHost::isInterrupted())
            QCoreApplication::quit();
    });
    interruptions.start(TickMs);
    return QCoreApplication::exec() == 0 ? Done : Failed;
}

} // namespace Nox
