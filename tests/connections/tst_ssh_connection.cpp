#include "connections/update/ssh_connection.h"
#include "platform/reader_interface.h"
#include "tests/support/event_loop.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

using CommonNOX::Connections::SSHConnection;

namespace
{

/// A connection to a server of its own on the loopback.
class SshConnectionTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        application();
        const QString sshd = QStandardPaths::findExecutable(QStringLiteral("sshd"), {QStringLiteral("/usr/sbin")});
        if (sshd.isEmpty() || QStandardPaths::findExecutable(QStringLiteral("ssh-keygen")).isEmpty())
            GTEST_SKIP() << "there is no sshd";
        QDir().mkpath(QStringLiteral("/run/sshd")); // where it insists on the folder
        for (const char *key : {"host", "user"})
            ASSERT_EQ(QProcess::execute(QStringLiteral("ssh-keygen"),
                                        {QStringLiteral("-q"), QStringLiteral("-N"), QString(), QStringLiteral("-t"),
                                         QStringLiteral("ed25519"), QStringLiteral("-f"), path(key)}),
                      0);
        QTcpServer probe;
        ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
        const quint16 port = probe.serverPort();
        probe.close();
        write("config", QStringLiteral("Port %1\nListenAddress 127.0.0.1\nHostKey %2\nAuthorizedKeysFile %3\n"
                                       "PidFile none\nStrictModes no\nUsePAM no\nPermitRootLogin yes\n")
                            .arg(QString::number(port), path("host"), path("user.pub")));
        server.setStandardErrorFile(path("log"));
        server.start(sshd, {QStringLiteral("-D"), QStringLiteral("-e"), QStringLiteral("-f"), path("config")});
        ASSERT_TRUE(server.waitForStarted());
        const auto isUp = [port] {
            QTcpSocket socket;
            socket.connectToHost(QHostAddress::LocalHost, port);
            return socket.waitForConnected(1000);
        };
        for (int i = 0; i < 200 && !isUp(); ++i)
            QThread::msleep(20);
        const QString user = QString::fromLocal8Bit(qgetenv("USER"));
        connection = std::make_unique<SSHConnection>(
            Shared::GuiContexts::MakeReader(QString()), QStringLiteral("127.0.0.1"),
            user.isEmpty() ? QStringLiteral("root") : user, QString(), path("user"), path("known_hosts"), port);
        connection->setAcceptsNewHostKey(true);
        ASSERT_TRUE(connection->connect()) << connection->getError().toStdString();
    }
    ~SshConnectionTest() override
    {
        connection.reset();
        server.terminate();
        server.waitForFinished();
    }

    QString path(const char *name) const { return folder.filePath(QString::fromLatin1(name)); }
    void write(const char *name, const QString &text) const
    {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text.toUtf8());
    }
    QByteArray read(const QString &name) const
    {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }

    QTemporaryDir folder;
    QProcess server;
    std::unique_ptr<SSHConnection> connection;
};

TEST_F(SshConnectionTest, FetchesFilesWholeOrNotAtAll)
{
    const QString there = path("it's there");
    write("it's there", QString(300'000, QLatin1Char('x')) + QLatin1Char('\n'));
    QDir().mkpath(path("into"));
    ASSERT_TRUE(connection->getFiles({{there, path("here")}, {there, path("into")}}))
        << connection->getError().toStdString();
    EXPECT_EQ(read(path("here")), read(there));
    EXPECT_EQ(read(path("into/it's there")), read(there));

    write("old", QStringLiteral("old"));
    EXPECT_FALSE(connection->getFile({path("nothing"), path("old")}));
    EXPECT_TRUE(connection->getError().contains(QLatin1String("No such file"))) << connection->getError().toStdString();
    EXPECT_EQ(read(path("old")), QByteArray("old"));
    EXPECT_FALSE(connection->getFile({there, path("no/such/folder")}));
    EXPECT_TRUE(connection->isConnected());
}

TEST_F(SshConnectionTest, SendsFilesAndRunsCommandsUpToTheFirstThatFails)
{
    QSignalSpy sent(connection.get(), &SSHConnection::sentFile);
    QSignalSpy lines(connection.get(), &SSHConnection::partialCommandResult);
    write("a", QStringLiteral("new"));
    EXPECT_TRUE(connection->sendFiles({{path("a"), path("b")}, {path("a"), path("c")}}));
    EXPECT_EQ(read(path("b")) + read(path("c")), QByteArray("newnew"));
    EXPECT_EQ(sent.size(), 2);

    const auto results =
        connection->executeCommands({QStringLiteral("echo one; echo two"), QStringLiteral("echo wrong >&2; exit 5"),
                                     QStringLiteral("touch never")});
    ASSERT_EQ(results.size(), 2);
    EXPECT_EQ(results[0].output, QStringLiteral("one\ntwo\n"));
    EXPECT_EQ(results[1].exitStatus, 5);
    EXPECT_EQ(results[1].errorOutput, QStringLiteral("wrong\n"));
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(lines[1].first().toString(), QStringLiteral("two"));
}

} // namespace
