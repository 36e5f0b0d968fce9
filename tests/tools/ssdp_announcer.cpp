// Announces a device until its standard input ends, for tests that listen from outside.
// ssdp_announcer UUID DOMAIN TYPE URL LOOPBACK [SERVICE...]
#include "connections/discovery/upnp_ssdp_service_announcer.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QUrl>

#include <cstdio>
#include <unistd.h>

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationVersion(QStringLiteral("1.0"));
    const QStringList words = application.arguments();
    if (words.size() < 6)
        return 2;
    CommonNOX::Connections::UpnpSsdpServiceAnnouncer announcer(words[1], words[2], words[3], words.mid(6),
                                                               QUrl(words[4]), words[5] == QLatin1String("1"));
    if (!announcer.start())
        return 1;
    std::puts("started");
    std::fflush(stdout);
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &application, [&] {
        char byte = 0;
        if (read(STDIN_FILENO, &byte, 1) <= 0)
            QCoreApplication::quit();
    });
    const int status = application.exec();
    announcer.stop();
    return status;
}
