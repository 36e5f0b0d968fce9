#include "host/transports/tcp_connection.h"
#include "tests/host/scripted_instrument.h"

#include <gtest/gtest.h>

namespace
{

using NoxHost::TcpConnection;

/// A connection whose signals are written down.
struct Noted
{
    explicit Noted(const QUrl &url, int timeoutMs = TcpConnection::DefaultTimeoutMs)
        : connection((application(), url), timeoutMs)
    {
        const auto note = [this](const char *what) {
            return [this, what] {
                notes += QLatin1String(what);
                EXPECT_EQ(connection.isOpen(), QLatin1String(what) == QLatin1String("established")) << what;
            };
        };
        QObject::connect(&connection, &TcpConnection::connectionEstablished, note("established"));
        QObject::connect(&connection, &TcpConnection::connectionClosed, note("closed"));
        QObject::connect(&connection, &TcpConnection::connectionFailed, note("failed"));
    }
    QString text() const { return notes.join(QLatin1Char(' ')); }
    bool wait(const char *expected)
    {
        return runUntil([&] { return text() == QLatin1String(expected); }, 20'000);
    }

    TcpConnection connection;
    QStringList notes;
};

TEST(TcpConnection, EveryOpeningHasOneOutcome)
{
    ScriptedInstrument nobody;
    nobody.stopListening();
    for (const auto &[url, opens] : {std::pair{nobody.url(), true},
                                     {QUrl(QStringLiteral("tcp:")), false},
                                     {QUrl(QStringLiteral("tcp://nowhere.invalid:5")), true}}) {
        Noted noted(url);
        for (const char *expected : {"failed", "failed failed"}) {
            EXPECT_EQ(noted.connection.open(), opens) << url.toString().toStdString();
            EXPECT_TRUE(noted.wait(expected)) << noted.text().toStdString();
            EXPECT_FALSE(noted.connection.closeReason().toString().isEmpty());
        }
        EXPECT_FALSE(noted.connection.send("x"));
        EXPECT_TRUE(noted.connection.receive(10).isEmpty());
    }

    ScriptedInstrument instrument;
    Noted early(instrument.url());
    EXPECT_TRUE(early.connection.open());
    EXPECT_TRUE(early.connection.open()) << "open already";
    early.connection.close(QStringLiteral("changed my mind"));
    early.connection.close(QStringLiteral("again"));
    EXPECT_TRUE(early.wait("closed"));
    EXPECT_EQ(early.connection.closeReason().toString(), QLatin1String("changed my mind"));
}

TEST(TcpConnection, WhatThePeerSentBeforeItClosedIsReceived)
{
    ScriptedInstrument instrument;
    instrument.greeting = QByteArray(3 * TcpConnection::ReceiveBuffer, 'x') + "end";
    Noted noted(instrument.url());
    for (const char *expected : {"established closed", "established closed established closed"}) {
        ASSERT_TRUE(noted.connection.open());
        ASSERT_TRUE(runUntil([&] { return instrument.host && noted.connection.send("hello\n"); }));
        ASSERT_TRUE(runUntil([&] { return !instrument.messages.isEmpty(); }));
        // Nobody has taken anything yet: what the connection keeps is bounded, the rest waits at the peer.
        instrument.host->disconnectFromHost();
        QByteArray received;
        ASSERT_TRUE(runUntil([&] {
            const QByteArray bytes = noted.connection.receive(100'000);
            received += bytes;
            return bytes.isEmpty() && !noted.connection.isOpen();
        }));
        EXPECT_EQ(received, instrument.greeting);
        EXPECT_TRUE(noted.wait(expected)) << noted.text().toStdString();
        instrument.host = nullptr;
    }
}

} // namespace
