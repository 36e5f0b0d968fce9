#pragma once

#include "tests/support/event_loop.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

#include <functional>
#include <memory>

/// An instrument on a loopback socket that sends what a test tells it to, and keeps what its host sent.
class ScriptedInstrument
{
public:
    ScriptedInstrument()
    {
        application();
        server.listen(QHostAddress::LocalHost);
        port = server.serverPort();
        QObject::connect(&server, &QTcpServer::newConnection, [this] { accept(); });
    }

    QUrl url() const { return QUrl(QStringLiteral("tcp://127.0.0.1:%1").arg(port)); }

    static QByteArray announcement(int channels = 2, const QByteArray &more = {}, const QByteArray &serial = "S1")
    {
        return R"({"message":"announcement","protocol_version":"1.0","device_identification":"TEST","serial_number":")" +
               serial + R"(","number_of_channels":)" + QByteArray::number(channels) + more + "}\n";
    }

    /// A block of periods of 1000 ticks, each with one pulse whose amplitude is its index, to index 64.
    static QByteArray block(int channel, int index, int periods = 1)
    {
        QByteArray list;
        for (int i = index; i < index + periods; ++i) {
            QByteArray peak(17, '\0');
            peak[0] = char(i);
            peak[8] = char(i * 1000 & 0xff);
            peak[9] = char(i * 1000 >> 8);
            list += QByteArray(list.isEmpty() ? "" : ",") + R"({"StartTime":)" + QByteArray::number(i * 1000) +
                    R"(,"EndTime":)" + QByteArray::number(i * 1000 + 1000) +
                    R"(,"SampleRate":50000,"PdCalibration":1.0,"Peaks":")" + peak.toBase64() + "\"}";
        }
        return R"({"message":"period_block","channel":)" + QByteArray::number(channel) + R"(,"index":)" +
               QByteArray::number(index) + R"(,"periods":[)" + list + "]}\n";
    }

    void send(const QByteArray &bytes)
    {
        host->write(bytes);
        host->flush();
    }
    void cut() { host->abort(); }
    void stopListening() { server.close(); }
    void listenAgain() { server.listen(QHostAddress::LocalHost, port); }

    /// Messages of the name that the present host has sent.
    int count(const char *name) const
    {
        int found = 0;
        for (const QJsonObject &message : messages)
            found += message.value(QLatin1String("message")) == QLatin1String(name) ? 1 : 0;
        return found;
    }
    QJsonObject last() const { return messages.isEmpty() ? QJsonObject() : messages.last(); }
    void answerLast(const QByteArray &members)
    {
        send(R"({"message":"response","id":)" + QByteArray::number(last().value(QLatin1String("id")).toInt()) +
             R"(,"parameter":")" + last().value(QLatin1String("parameter")).toString().toUtf8() + "\"," + members +
             "}\n");
    }

    QTcpServer server;
    quint16 port = 0;
    QTcpSocket *host = nullptr; ///< the latest
    QList<QJsonObject> messages;
    int hosts = 0;
    QByteArray greeting = announcement(); ///< what each host is sent first

private:
    void accept()
    {
        host = server.nextPendingConnection();
        ++hosts;
        messages.clear();
        QObject::connect(host, &QTcpSocket::readyRead, [this, from = host] {
            while (from->canReadLine()) {
                const QJsonObject message = QJsonDocument::fromJson(from->readLine()).object();
                if (from == host)
                    messages.append(message);
            }
        });
        QObject::connect(host, &QTcpSocket::disconnected, host, &QObject::deleteLater);
        send(greeting);
    }
};
