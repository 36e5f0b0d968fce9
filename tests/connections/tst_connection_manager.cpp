#include "connections/active_connections_counter.h"
#include "connections/connection_manager.h"
#include "connections/connection_paths.h"
#include "connections/connection_request_parsers.h"
#include "fake_connection.h"
#include "platform/configuration_tree.h"
#include "tests/support/log_catcher.h"

#include <gtest/gtest.h>

#include <QUrl>

namespace
{

using namespace CommonNOX;
using namespace CommonNOX::Connections;

const QUrl FakeUrl(QStringLiteral("fake://host"));

/// Refuses every write.
class Refusal : public Shared::ValueParserInterface
{
    bool read(const QVariant &, QVariant &) const override { return false; }
    bool write(QVariant &, const QVariant &) const override { return false; }
    QString getId() const override { return {}; }
};

class ConnectionManagerTest : public ::testing::Test
{
protected:
    ConnectionManagerTest()
    {
        manager = install();
        follow(*manager);
    }
    ~ConnectionManagerTest() override { tree->clear(); }

    std::shared_ptr<ConnectionManager> install(const char *series = "series")
    {
        const auto factory = [this](const QVariant &) -> std::shared_ptr<ConnectionManager::Connection> {
            made.push_back(std::make_shared<FakeConnection>(QStringLiteral("c%1").arg(made.size() + 1)));
            made.back()->opens = opens;
            return made.back();
        };
        return ConnectionManager::InstallConnectionManager(
            Shared::GuiContexts::MakeReader({}, tree), QStringLiteral("pd"), QLatin1String(series),
            {{QStringLiteral("fake"), factory}, {QStringLiteral("none"), [](const QVariant &) { return nullptr; }}},
            &ConnectionRequestParser::CheckConnectDataForScheme, 4000);
    }

    void follow(ConnectionManager &followed)
    {
        QObject::connect(
            followed.getActiveConnections().get(), &ActiveConnectionsCounter::connectionsChanged,
            [this](const auto &connections) { notes += QStringLiteral("count %1").arg(connections.last().second); });
        QObject::connect(&followed, &ConnectionManager::deviceConnectStatusChanged,
                         [this](const QString &, const ConnectionStatus &status) {
                             notes += QStringLiteral("status %1").arg(status);
                         });
        QObject::connect(&followed, &ConnectionManager::deviceConnected, [this] { notes += QStringLiteral("up"); });
        QObject::connect(
            &followed, &ConnectionManager::deviceDisconnected,
            [this](const QString &, const QVariant &reason) { notes += QStringLiteral("down ") + reason.toString(); });
    }

    QString takeNotes() { return std::exchange(notes, {}).join(QLatin1String(", ")); }
    QString leaf(const QString &key) const { return QStringLiteral("classes/pd/series/") + key; }
    QVariant record(const char *key) const
    {
        return tree->read(QStringLiteral("nox/connections/c1/") + QLatin1String(key));
    }

    const std::shared_ptr<Utilities::ConfigurationTree> tree = std::make_shared<Utilities::ConfigurationTree>();
    std::vector<std::shared_ptr<FakeConnection>> made;
    bool opens = true;
    std::shared_ptr<ConnectionManager> manager;
    QStringList notes;
    const LogCatcher log;
};

TEST_F(ConnectionManagerTest, AConnectionLivesInOrder)
{
    EXPECT_TRUE(tree->write(leaf(Paths::Connect), FakeUrl));
    ASSERT_EQ(made.size(), 1u);
    EXPECT_EQ(takeNotes(), QLatin1String("status 0, count 0"));
    EXPECT_EQ(record("class").toString(), QLatin1String("pd"));
    EXPECT_EQ(record("series").toString(), QLatin1String("series"));
    EXPECT_EQ(record("url").toUrl(), FakeUrl);
    made[0]->establish();
    EXPECT_EQ(takeNotes(), QLatin1String("count 1, status 1, up")) << "the counter first, here alone";
    made[0]->establish();
    EXPECT_EQ(takeNotes(), QLatin1String("status 1, up")) << "no change to count";
    made[0]->end(QStringLiteral("gone"));
    EXPECT_EQ(takeNotes(), QLatin1String("status 3, down gone, count 3"));
    EXPECT_EQ(made[0]->closings, 0) << "closed already";

    EXPECT_TRUE(tree->write(leaf(Paths::Reconnect), QStringLiteral("c1")));
    EXPECT_EQ(made.size(), 1u) << "the same connection";
    EXPECT_EQ(made[0]->openings, 2);
    made[0]->establish();
    takeNotes();
    // A connection that closes at once tells so from within the request: two rounds, on purpose.
    EXPECT_TRUE(tree->write(leaf(Paths::Disconnect), QStringLiteral("c1")));
    EXPECT_EQ(takeNotes(), QLatin1String("status 3, status 3, down , count 3, down "));
    EXPECT_EQ(made[0]->closings, 1);
    EXPECT_EQ(QString(*manager->getActiveConnections()), QLatin1String(R"({"c1":"disconnected"})"));
    for (const char *noId : {"", "c1/connection", "c9"})
        tree->write(leaf(Paths::Reconnect), QLatin1String(noId));
    EXPECT_TRUE(manager->disconnectFromDevice(QStringLiteral("c1"), 5)) << "the record is still there";
    EXPECT_EQ(takeNotes(), QLatin1String("down 5"));
    EXPECT_FALSE(manager->disconnectFromDevice(QStringLiteral("c2"), 5));
    EXPECT_EQ(takeNotes(), QString());
}

TEST_F(ConnectionManagerTest, TellsWhatItDoesInOneLineEach)
{
    manager->connectToDevice(FakeUrl);
    made[0]->establish();
    made[0]->opens = false;
    made[0]->end(QStringLiteral("gone"));
    tree->write(leaf(Paths::Reconnect), QStringLiteral("c1"));
    tree->write(leaf(Paths::Reconnect), QStringLiteral("c7"));
    const QString data = QStringLiteral(" deviceData=fake://host connection id=c1");
    const auto change = [](const char *rest) {
        return QStringLiteral("ConnectionManager::handleConnectionStatusChange() connectionId=c1 status=") +
               QLatin1String(rest);
    };
    QStringList expected{
        change("0 detail="),
        QStringLiteral("ConnectionManager::onDeviceConnected()") + data,
        change("1 detail="),
        QStringLiteral("ConnectionManager::onDeviceDisconnected()") + data,
        change("3 detail=gone"),
        change("0 detail="),
        QStringLiteral("ConnectionManager::onDeviceConnectionFailed()") + data,
        change("2 detail="),
        QStringLiteral("ConnectionManager::onConnectionReconnectRequested() failed to open connection=c1"),
        QStringLiteral(
            "ConnectionManager::onConnectionReconnectRequested() received unknown connection=c7 or invalid url="),
    };
    for (QString &line : expected)
        line.prepend(QStringLiteral("CommonNOX: "));
    EXPECT_EQ(log.take(), expected);
}

TEST_F(ConnectionManagerTest, WhatCannotBeConnectedHasNoId)
{
    struct Row
    {
        QVariant data;
        int lines;
    };
    for (const Row &row :
         {Row{{}, 0}, Row{QUrl(QStringLiteral("other://host")), 0}, Row{QUrl(QStringLiteral("none://x")), 0},
          Row{QUrl(QStringLiteral("host")), 1}, Row{QString(), 1}, Row{QVariantList{1}, 1}}) {
        EXPECT_EQ(manager->connectToDevice(row.data), QString()) << row.data.toString().toStdString();
        EXPECT_EQ(log.take().size(), row.lines) << row.data.toString().toStdString();
    }
    EXPECT_EQ(takeNotes(), QString());
    EXPECT_FALSE(tree->write(leaf(Paths::Connect), QString()));
    EXPECT_FALSE(tree->write(leaf(Paths::Disconnect), QVariantList{1}));
    bool ok = false;
    EXPECT_FALSE(tree->read(leaf(Paths::Connect), &ok).isValid());
    EXPECT_TRUE(ok) << "there is a leaf, and nothing to read";
    EXPECT_FALSE(manager->registerTransportProtocol(QStringLiteral("fake"), [](const QVariant &) { return nullptr; }));

    // An opening that fails at once; and a record that cannot be written, whose connection is open all the same.
    opens = false;
    EXPECT_EQ(manager->connectToDevice(FakeUrl), QLatin1String("c1"));
    EXPECT_EQ(takeNotes(), QLatin1String("status 0, count 0, status 2, down , count 2"));
    opens = true;
    tree->setParser(QStringLiteral("nox/connections/c2/series"), std::make_shared<Refusal>());
    EXPECT_EQ(manager->connectToDevice(FakeUrl), QString());
    EXPECT_TRUE(made[1]->isOpen());
    EXPECT_TRUE(manager->disconnectFromDevice(QStringLiteral("c2"), {}));
}

TEST_F(ConnectionManagerTest, MayBeAskedFromWithinWhatItTells)
{
    bool reconnected = false;
    QObject::connect(manager.get(), &ConnectionManager::deviceConnected,
                     [this](const QString &id) { manager->disconnectFromDevice(id, QStringLiteral("not wanted")); });
    QObject::connect(manager.get(), &ConnectionManager::deviceDisconnected, [&, this](const QString &id) {
        if (!std::exchange(reconnected, true))
            tree->write(leaf(Paths::Reconnect), id);
    });
    manager->connectToDevice(FakeUrl);
    made[0]->establish();
    EXPECT_TRUE(made[0]->isOpen()) << "opened again from within its closing";
    EXPECT_EQ(made[0]->openings, 2);
    EXPECT_EQ(made[0]->closings, 1);
}

TEST_F(ConnectionManagerTest, ACopyHasItsOwnRequestsAndTheSameTransports)
{
    const auto copy = std::make_shared<ConnectionManager>(*manager);
    EXPECT_EQ(copy->getId(), manager->getId());
    EXPECT_NE(copy->getActiveConnections(), manager->getActiveConnections());
    EXPECT_FALSE(copy->connectToDevice(FakeUrl).isEmpty());
    EXPECT_EQ(takeNotes(), QString()) << "the original hears nothing";
    EXPECT_TRUE(manager->getActiveConnections()->getConnections().isEmpty());
    tree->write(leaf(Paths::Connect), FakeUrl);
    EXPECT_EQ(copy->getActiveConnections()->getConnections().size(), 1) << "requests still go to the original";
}

TEST_F(ConnectionManagerTest, IsPublishedAndDiesWithTheTree)
{
    EXPECT_EQ(tree->read(leaf(Paths::Manager)).value<std::shared_ptr<ConnectionManager>>(), manager);
    EXPECT_EQ(tree->read(leaf(Paths::Schemes)).toStringList(),
              QStringList({QStringLiteral("fake"), QStringLiteral("none")}));
    EXPECT_EQ(tree->read(leaf(Paths::DefaultConnectionTimeout)).toInt(), 4000);
    log.take();
    tree->setParser(QStringLiteral("classes/pd/full/connection_manager"), std::make_shared<Refusal>());
    EXPECT_FALSE(install("full"));
    EXPECT_EQ(log.take(),
              QStringList(QStringLiteral("CommonNOX: ConnectionManager::InstallConnectionManager() failed to "
                                         "create connection manager for class=pd and series=full")));
    manager->connectToDevice(FakeUrl);
    made[0]->establish();
    const std::weak_ptr<ConnectionManager> dead = manager;
    const std::weak_ptr<FakeConnection> deadConnection = made[0];
    manager.reset();
    made.clear();
    tree->clear();
    EXPECT_TRUE(dead.expired());
    EXPECT_TRUE(deadConnection.expired());
}

TEST(ConnectionStatus, TextsAndTheirInverse)
{
    for (int value = 0; value < 5; ++value) {
        ConnectionStatus parsed = ConnectionStatus(99);
        EXPECT_TRUE(ParseConnectionStatus(ConvertConnectStatusToString(ConnectionStatus(value)), parsed));
        EXPECT_EQ(int(parsed), value);
    }
    EXPECT_EQ(ConvertConnectStatusToString(Disconnecting), QLatin1String("disconnecting"));
    EXPECT_EQ(ConvertConnectStatusToString(ConnectionStatus(7)), QLatin1String("unknown connection status"));
    ConnectionStatus kept = Failed;
    EXPECT_FALSE(ParseConnectionStatus(QStringLiteral("Established"), kept));
    EXPECT_EQ(kept, Failed);
}

} // namespace
