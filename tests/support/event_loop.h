#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>

/// The application object of a test program that needs an event loop; made on first use, for all its tests.
inline QCoreApplication &application()
{
    static int argumentCount = 1;
    static char name[] = "tests";
    static char *arguments[] = {name, nullptr};
    static QCoreApplication instance(argumentCount, arguments);
    return instance;
}

/// Runs the event loop until the condition holds; the bound is only reached by a fault.
template <class Condition>
bool runUntil(Condition condition, int boundMs = 60'000)
{
    application();
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > boundMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return true;
}
