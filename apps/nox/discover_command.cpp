#include "apps/nox/command.h"
#include "connections/discovery/ssdp_device_discovery.h"
#include "connections/discovery/ssdp_interface.h"
#include "connections/discovery/ssdp_location.h"
#include "host/discovery/discovered_device.h"
#include "host/terminal/interruption.h"
#include "host/terminal/output.h"
#include "host/transports/transports.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <algorithm>

namespace Nox
{

using namespace CommonNOX::Connections;
using NoxHost::DiscoveredDevice;

namespace
{

/// How long to wait at most between two looks at the time and at interruptions.
constexpr std::chrono::milliseconds Tick(20);

QString expiryText(const DiscoveredDevice &device)
{
    return device.expiry.toUTC().toString(Qt::ISODate);
}

QStringList cellsOf(const DiscoveredDevice &device)
{
    return {device.name, device.type, device.url.toString(QUrl::FullyEncoded), expiryText(device)};
}

std::string toTable(const QVector<DiscoveredDevice> &devices)
{
    QVector<QStringList> rows{
        {QStringLiteral("NAME"), QStringLiteral("TYPE"), QStringLiteral("URL"), QStringLiteral("EXPIRES")}};
    for (const DiscoveredDevice &device : devices)
        rows.append(cellsOf(device));
    QVector<int> widths(rows.first().size());
    for (const QStringList &row : rows) {
        for (int column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], row[column].size());
    }
    QString text;
    for (const QStringList &row : rows) {
        QString line;
        for (int column = 0; column < row.size(); ++column)
            line += row[column].leftJustified(widths[column] + 2);
        text += line.trimmed() + QLatin1Char('\n');
    }
    return text.toStdString();
}

std::string toCsv(const QVector<DiscoveredDevice> &devices)
{
    QString text = QStringLiteral("name,type,url,expiry\n");
    for (const DiscoveredDevice &device : devices) {
        QStringList cells = cellsOf(device);
        for (QString &cell : cells)
            cell = QLatin1Char('"') + cell.replace(QLatin1Char('"'), QLatin1String("\"\"")) + QLatin1Char('"');
        text += cells.join(QLatin1Char(',')) + QLatin1Char('\n');
    }
    return text.toStdString();
}

std::string toJsonLines(const QVector<DiscoveredDevice> &devices)
{
    std::string text;
    for (const DiscoveredDevice &device : devices) {
        const QJsonObject object{{QStringLiteral("name"), device.name},
                                 {QStringLiteral("type"), device.type},
                                 {QStringLiteral("url"), device.url.toString(QUrl::FullyEncoded)},
                                 {QStringLiteral("expiry"), expiryText(device)},
                                 {QStringLiteral("uuid"), device.uuid},
                                 {QStringLiteral("instrument"), device.isInstrument},
                                 {QStringLiteral("services"), QJsonArray::fromStringList(device.services)}};
        text += QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString() + '\n';
    }
    return text;
}

bool isInterfaceKnown(const QString &name)
{
    const QVector<SsdpInterface> interfaces = ListSsdpInterfaces();
    return std::any_of(interfaces.begin(), interfaces.end(), [&](const SsdpInterface &known) {
        return known.name == name || known.humanReadableName == name;
    });
}

/// Waits until the time is over or somebody interrupts.
void waitForAnswers(const SsdpDeviceDiscovery &discovery, double seconds)
{
    QElapsedTimer timer;
    timer.start();
    NoxHost::ProgressLine progress;
    QEventLoop loop;
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, &loop, [&] {
        const double elapsed = double(timer.nsecsElapsed()) * 1e-9;
        if (elapsed >= seconds || NoxHost::isInterrupted())
            loop.quit();
        else if (progress.isDue())
            progress.show(
                elapsed / seconds,
                QStringLiteral("%1 devices found").arg(NoxHost::groupByDevice(discovery.getDevices()).size()));
    });
    tick.start(Tick);
    loop.exec();
}

int print(const QVector<DiscoveredDevice> &devices, const QString &form)
{
    NoxHost::Output output(stdout);
    if (form == QLatin1String("jsonl"))
        output.write(toJsonLines(devices));
    else if (form == QLatin1String("csv"))
        output.write(toCsv(devices));
    else if (!devices.isEmpty())
        output.write(toTable(devices));
    output.flush();
    if (output.getError().isEmpty())
        return Done;
    printMessage(QStringLiteral("the devices cannot be written: %1.").arg(output.getError()));
    return Failed;
}

} // namespace

int runDiscover(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("discover"), QString(),
                     QStringLiteral("Lists the devices on the local network that answer a search, instruments first."),
                     QStringLiteral("nox discover --timeout 5"));
    line.parser().addOptions(
        {{QStringLiteral("timeout"), QStringLiteral("Wait so long for answers (default: 3 s)."), QStringLiteral("time"),
          QStringLiteral("3")},
         {QStringLiteral("all"), QStringLiteral("Show also what tells of a location on another host.")},
         {QStringLiteral("interface"), QStringLiteral("Search only on this network interface, which may be loopback."),
          QStringLiteral("name")},
         {QStringLiteral("output"), QStringLiteral("Form: table, csv or jsonl (default: table)."),
          QStringLiteral("form"), QStringLiteral("table")},
         {QStringLiteral("json"), QStringLiteral("Short for --output jsonl.")}});
    if (const auto status = line.parse(arguments, 0, 0))
        return *status;
    const double seconds = line.duration(QStringLiteral("timeout")).value_or(3.0);
    const bool isJson = line.parser().isSet(QStringLiteral("json"));
    const QString form = isJson ? QStringLiteral("jsonl") : line.parser().value(QStringLiteral("output"));
    if (!QStringList{QStringLiteral("table"), QStringLiteral("csv"), QStringLiteral("jsonl")}.contains(form))
        line.complain(QStringLiteral("--output: \"%1\" is none of table, csv and jsonl.").arg(form));
    if (const auto status = line.reportComplaint())
        return *status;

    SsdpDiscoverySettings settings;
    settings.interfaceName = line.parser().value(QStringLiteral("interface"));
    settings.acceptForeignHosts = line.parser().isSet(QStringLiteral("all"));
    // The last answers need some time on their way.
    settings.maximumWait = int(std::clamp(seconds - 1.0, 1.0, 5.0));
    if (line.parser().isSet(QStringLiteral("interface")) && !isInterfaceKnown(settings.interfaceName)) {
        printMessage(QStringLiteral("there is no network interface \"%1\".").arg(settings.interfaceName));
        return Failed;
    }

    SetConnectableSchemes(NoxHost::networkSchemes());
    SsdpDeviceDiscovery discovery(settings);
    discovery.start();
    const bool hasInterfaces = discovery.hasInterfaces();
    if (hasInterfaces)
        waitForAnswers(discovery, seconds);
    const QVector<DiscoveredDevice> devices = NoxHost::groupByDevice(discovery.getDevices());
    if (!hasInterfaces)
        printMessage(QStringLiteral("there is no network interface to search on."));
    else if (devices.isEmpty())
        printMessage(QStringLiteral("no device answered."));
    const int status = print(devices, form);
    return NoxHost::isInterrupted() ? Failed : status;
}

} // namespace Nox
