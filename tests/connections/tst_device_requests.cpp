#include "connections/connection_status.h"
#include "connections/devices/device_request_decoder.h"
#include "connections/devices/device_request_response_utils.h"
#include "connections/protocols/protocol.h"
#include "connections/protocols/protocol_detector.h"
#include "connections/protocols/protocol_message_attribute.h"
#include "connections/protocols/protocol_message_response.h"
#include "fake_connection.h"
#include "platform/configuration_tree.h"
#include "tests/support/event_loop.h"
#include "tests/support/log_catcher.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <thread>

namespace
{

using namespace CommonNOX;
using Devices::DeviceRequestResponseProvider;
using Devices::Interfaces::Request;
using Protocols::ProtocolMessageAttribute;
using Protocols::ProtocolMessageResponse;

const QString Prefix = QStringLiteral("CommonNOX: ");

class FakeMessage : public Shared::Communication::Protocols::ProtocolMessageInterface
{
public:
    QString getName() const override { return QStringLiteral("gain"); }
    std::shared_ptr<Shared::Communication::Connections::Connection> getConnection() const override
    {
        return connection;
    }
    bool canProcessRequest() const override { return accepts; }
    bool sendRequest(const QVariant &payload) override
    {
        sent = payload.toJsonDocument();
        return true;
    }

    std::shared_ptr<FakeConnection> connection = std::make_shared<FakeConnection>(QStringLiteral("c"));
    bool accepts = true;
    QJsonDocument sent;
};

TEST(ProtocolMessageAttribute, SaysWhyARequestIsRefused)
{
    auto message = std::make_shared<FakeMessage>();
    message->connection->isUp = true;
    const ProtocolMessageAttribute attribute(message);
    QString reason;
    QObject::connect(&attribute, &ProtocolMessageAttribute::writeRequestFailed,
                     [&](const QString &why) { reason = why; });
    const LogCatcher log;
    QVariant out, value;
    EXPECT_TRUE(attribute.read({}, value));
    EXPECT_FALSE(value.isValid()) << "no response yet";

    EXPECT_TRUE(attribute.write(out, QVariantMap{{QStringLiteral("value"), 3}}));
    EXPECT_EQ(message->sent.object().value(QLatin1String("value")).toInt(), 3);
    EXPECT_FALSE(attribute.write(out, QVariant()));
    EXPECT_EQ(log.take(),
              QStringList(Prefix + QStringLiteral("ProtocolMessageAttribute::write() name=gain invalid message "
                                                  "received, could not convert payload to JSON")));
    EXPECT_TRUE(reason.isEmpty());
    message->accepts = false;
    EXPECT_FALSE(attribute.write(out, QJsonObject()));
    EXPECT_EQ(reason, QLatin1String("policy"));
    message->connection->isUp = false;
    EXPECT_FALSE(attribute.write(out, QVariant())) << "what is written is not looked at";
    EXPECT_EQ(reason, QLatin1String("connection_closed"));
    EXPECT_TRUE(log.take().isEmpty());

    // Answers are taken whatever the state, and stay when the message is gone.
    message.reset();
    EXPECT_TRUE(attribute.write(out, QVariant::fromValue(ProtocolMessageResponse(5))));
    EXPECT_EQ(out.value<ProtocolMessageResponse>().getPayload().toInt(), 5) << "for those who follow the leaf";
    attribute.read({}, value);
    EXPECT_EQ(value.value<ProtocolMessageResponse>().getPayload().toInt(), 5);
    EXPECT_FALSE(attribute.write(out, QJsonObject()));
    EXPECT_EQ(reason, QLatin1String("message_deleted"));
}

TEST(Protocol, IsInstalledInItsContext)
{
    struct Concrete : Protocols::Protocol
    {
        Concrete() : Protocol({1, 0}, {}) {}
        using Protocol::installProtocol;
        bool installProtocol(const QString &path, const ConnectionPtr &connection) override
        {
            installed = path;
            return Protocol::installProtocol(path, connection);
        }
        QString installed;
    };
    const auto tree = std::make_shared<Utilities::ConfigurationTree>();
    const auto connection = std::make_shared<FakeConnection>(QStringLiteral("c"));
    Concrete protocol;
    EXPECT_TRUE(protocol.installProtocol(Shared::GuiContexts::MakeReader(QStringLiteral("a/b"), tree), connection));
    EXPECT_EQ(protocol.installed, QLatin1String("a/b")) << "through the override";
    EXPECT_EQ(protocol.getProtocolContextVisitor().getConfigurationTree(), tree);
    const LogCatcher log;
    EXPECT_FALSE(protocol.installProtocol(QStringLiteral("a"), nullptr));
    EXPECT_TRUE(protocol.getProtocolMessageRequestBuilder().buildMessage(QStringLiteral("x")).isEmpty());
    EXPECT_EQ(
        log.take(),
        QStringList({Prefix + QStringLiteral("Protocol::installProtocol() failed install protocol"),
                     Prefix + QStringLiteral("ProtocolMessageBuilder::buildMessage() provided protocol message id=x "
                                             "is not available inside the registration list")}));
    EXPECT_EQ(Protocols::ProtocolDetector(connection).getId(), QLatin1String("c"));
    EXPECT_EQ(Protocols::ProtocolDetector(nullptr).getId(), QString());
}

TEST(DeviceRequestDecoder, TakesCompleteAnnouncements)
{
    const auto announcement = [](const char *without, const QJsonValue &channels) {
        QJsonObject object{{QStringLiteral("device_identification"), QStringLiteral("i")},
                           {QStringLiteral("serial_number"), QStringLiteral("s")},
                           {QStringLiteral("connection_id"), QStringLiteral("c")},
                           {QStringLiteral("number_of_channels"), channels}};
        object.remove(QLatin1String(without));
        return QVariant(object);
    };
    const QString invalid = QStringLiteral("DeviceRequestDecoder::write() invalid json ");
    struct Row
    {
        QVariant in;
        QString result; ///< what is emitted, or the end of the log line
    };
    const Row rows[] = {
        {announcement("", 2), QStringLiteral("i s c 2")},
        {announcement("number_of_channels", 2), QStringLiteral("i s c 0")},
        {announcement("", -1), QStringLiteral("i s c 0")},
        {announcement("", 4e9), QStringLiteral("i s c 0")},
        {QString::fromUtf8(QJsonDocument(announcement("", 1).toJsonObject()).toJson()), QStringLiteral("i s c 1")},
        {announcement("serial_number", 2),
         invalid + QStringLiteral("string received, deviceIdentification=i serial= connection=c channels=2")},
        {QJsonArray{1},
         invalid + QStringLiteral("document received, document is empty=false is null=false is object=false")},
        {QJsonObject(),
         invalid + QStringLiteral("string received, deviceIdentification= serial= connection= channels=0")},
        {QStringLiteral("{"),
         invalid + QStringLiteral("document received, document is empty=true is null=true is object=false")},
    };
    const Devices::DeviceRequestDecoder decoder;
    QString emitted;
    QObject::connect(&decoder, &Devices::DeviceRequestDecoder::deviceRequested,
                     [&](const QString &i, const QString &s, const QString &c, const unsigned int &n) {
                         emitted = QStringLiteral("%1 %2 %3 %4").arg(i, s, c).arg(n);
                     });
    const LogCatcher log;
    for (const Row &row : rows) {
        emitted.clear();
        QVariant out;
        const bool isGood = !row.result.startsWith(invalid);
        EXPECT_EQ(decoder.write(out, row.in), isGood);
        EXPECT_EQ(emitted, isGood ? row.result : QString());
        EXPECT_EQ(log.take().join(QLatin1Char('\n')).toStdString(),
                  isGood ? std::string() : (Prefix + row.result).toStdString());
    }
}

class DeviceRequests : public ::testing::Test
{
protected:
    DeviceRequests()
    {
        application();
        provider =
            DeviceRequestResponseProvider::Install(Shared::GuiContexts::MakeReader({}, tree), QStringLiteral("d"),
                                                   {{QStringLiteral("gain"), QStringLiteral("set_gain")}});
        provider->setRequestHook({[this](const QString &parameter) { return underWay.contains(parameter); },
                                  [this](const QString &parameter, const QVariant &value) {
                                      underWay.insert(parameter);
                                      sent += parameter + value.toString();
                                      return true;
                                  }});
    }
    ~DeviceRequests() override { tree->clear(); }

    void request(const char *parameter, const QVariant &value)
    {
        tree->write(QStringLiteral("d/request/") + QLatin1String(parameter), value);
    }
    bool finish(const QString &parameter, const QVariant &value)
    {
        underWay.remove(parameter);
        return provider->finishRequestForParameter(parameter, value);
    }
    QVariant response(const char *parameter) const
    {
        return provider->getResponseForParameter(QLatin1String(parameter));
    }

    const std::shared_ptr<Utilities::ConfigurationTree> tree = std::make_shared<Utilities::ConfigurationTree>();
    std::shared_ptr<DeviceRequestResponseProvider> provider;
    QSet<QString> underWay;
    QStringList sent;
};

TEST_F(DeviceRequests, ARequestProgressesAndEndsOnce)
{
    Request request(QStringLiteral("gain"), QStringLiteral("q"), QStringLiteral("r"), 1, tree);
    EXPECT_TRUE(request.progress(2, false));
    EXPECT_EQ(request.getRequestValue().toInt(), 1);
    EXPECT_EQ(tree->read(QStringLiteral("r")).toInt(), 2);
    EXPECT_TRUE(request.progress(3, true));
    EXPECT_EQ(request.getRequestValue().toInt(), 3);
    EXPECT_TRUE(request.finish(4));
    EXPECT_FALSE(request.finish(5));
    EXPECT_EQ(tree->read(QStringLiteral("r")).toInt(), 4);
    request.setRequestValue(6);
    EXPECT_TRUE(request.finish(7)) << "a new value opens it again";
    EXPECT_EQ(request.take().getRequestValue().toInt(), 6);
    EXPECT_TRUE(request.isEmpty());
    EXPECT_FALSE(request.progress(8, true));
    EXPECT_FALSE(request.finish(8));
}

TEST_F(DeviceRequests, ValuesAreSentOneAtATimeAndNoneIsLost)
{
    request("gain", 1);
    request("gain", 1); // the same again
    request("new/one", QStringLiteral("x"));
    EXPECT_EQ(sent, QStringList({QStringLiteral("gain1"), QStringLiteral("new/onex")}));
    EXPECT_TRUE(finish(QStringLiteral("gain"), 1));
    EXPECT_EQ(sent.size(), 2) << "what is equal was meant by the first";
    EXPECT_FALSE(finish(QStringLiteral("gain"), 1)) << "nothing is pending";
    EXPECT_FALSE(finish(QStringLiteral("unknown"), 1));

    request("gain", 2);
    request("gain", 3);
    request("gain", 4);
    EXPECT_TRUE(finish(QStringLiteral("gain"), 2));
    EXPECT_EQ(response("gain").toInt(), 2);
    EXPECT_EQ(sent.last(), QLatin1String("gain4"));
    EXPECT_EQ(sent.size(), 4);
    underWay.clear();
    EXPECT_TRUE(provider->failRequestForParameter(QStringLiteral("gain")));
    EXPECT_EQ(response("gain").toInt(), 2) << "refused: the response stays";
    EXPECT_FALSE(provider->hasRequestPendingForParameter(QStringLiteral("gain")));
}

TEST_F(DeviceRequests, PresentValuesAreAnswersAndForgottenOnesAreAskedForAgain)
{
    QStringList initialized;
    QObject::connect(provider.get(), &DeviceRequestResponseProvider::parameterInitialized,
                     [&](const QString &parameter) { initialized += parameter; });
    provider->initializeDeviceParameter(
        {{QStringLiteral("a"), 1}, {QStringLiteral("gain"), 2}, {QStringLiteral("n"), {}}}, QStringLiteral("PD"));
    EXPECT_EQ(initialized, QStringList({QStringLiteral("a"), QStringLiteral("gain"), QStringLiteral("n")}));
    EXPECT_TRUE(sent.isEmpty());
    EXPECT_EQ(response("gain").toInt(), 2);
    request("gain", 3);
    finish(QStringLiteral("gain"), 3);
    request("a", 9);
    provider->initializeDeviceParameter({{QStringLiteral("a"), 1}, {QStringLiteral("gain"), 2}}, QStringLiteral("PD"));
    EXPECT_EQ(sent, QStringList({QStringLiteral("gain3"), QStringLiteral("a9"), QStringLiteral("gain3")}));
    EXPECT_EQ(provider->getRequestForParameter(QStringLiteral("a")).getRequestValue().toInt(), 9) << "stays pending";
    finish(QStringLiteral("gain"), 3);
    provider->noteParameterChange(QStringLiteral("gain"), 7);
    provider->initializeDeviceParameter({{QStringLiteral("gain"), 7}}, QStringLiteral("PD"));
    EXPECT_EQ(sent.size(), 3) << "another host's wish is not undone";
    EXPECT_EQ(provider->getDeviceIdentification(), QLatin1String("PD"));
}

TEST_F(DeviceRequests, PathsConvertersAndStatus)
{
    const LogCatcher log;
    const auto line = [](const char *operation, const char *rest) {
        return QStringList(Prefix + QStringLiteral("DeviceRequestResponseProvider::%1() %2")
                                        .arg(QLatin1String(operation), QLatin1String(rest)));
    };
    EXPECT_EQ(provider->getProtocolMethodPath(QStringLiteral("gain")), QString());
    EXPECT_EQ(log.take(), line("getProtocolMethodPath", "path could not retrieved."));
    EXPECT_FALSE(provider->setConnectionPath({}));
    EXPECT_TRUE(provider->setConnectionPath(QStringLiteral("nox/connections/c")));
    EXPECT_EQ(provider->getProtocolMethodPath(QStringLiteral("gain")),
              QLatin1String("nox/connections/c/protocol/set_gain"));
    EXPECT_FALSE(provider->hasProtocolMethodPath(QStringLiteral("gain")));
    EXPECT_EQ(log.take(),
              line("hasProtocolMethodPath", "protocol message=set_gain is not available within the connection "
                                            "path=nox/connections/c"));
    EXPECT_EQ(provider->getRequestPathForParameter({}), QString());
    EXPECT_EQ(provider->getResponsePathForParameter({}), QString());
    EXPECT_EQ(log.take(), line("getRequestPathForParameter", "given parameter is empty") +
                              line("getResponsePathForParameter", "given parameter is empty"));
    EXPECT_FALSE(provider->setConverterIdForParameter(QStringLiteral("p"), QStringLiteral("dB")));
    EXPECT_EQ(log.take(),
              line("setConverterIdForParameter", "could not set parameter=p and converter identification=dB"));
    request("p", 1);
    EXPECT_TRUE(provider->setConverterIdForParameter(QStringLiteral("p"), QStringLiteral("dB")));
    EXPECT_EQ(provider->getConverterIdForParameter(QStringLiteral("p")), QLatin1String("dB"));

    QStringList notes;
    QObject::connect(provider.get(), &DeviceRequestResponseProvider::deviceConnected,
                     [&] { notes += QStringLiteral("up"); });
    QObject::connect(provider.get(), &DeviceRequestResponseProvider::deviceDisconnected,
                     [&] { notes += QStringLiteral("down"); });
    QObject::connect(provider.get(), &DeviceRequestResponseProvider::parameterInitialized,
                     [&](const QString &parameter) { notes += QLatin1Char('[') + parameter + QLatin1Char(']'); });
    const auto tell = [&](const char *status) {
        tree->write(QStringLiteral("nox/connections/c/status"), QLatin1String(status));
    };
    tell("established");
    provider->initializeDeviceParameter({}, {});
    for (const char *status : {"connecting", "established", "failed", "disconnected", "lost"})
        tell(status);
    EXPECT_EQ(notes.join(QLatin1Char(' ')), QLatin1String("up up [] down"));
    EXPECT_EQ(log.take(),
              line("onConnectionStatusChanged", "provided connestion status string=lost is not a valid status"));
}

TEST_F(DeviceRequests, AreWrittenFromEveryThreadWhileAnswersCome)
{
    constexpr int Writers = 3, Values = 200;
    std::vector<std::thread> writers;
    for (int writer = 0; writer < Writers; ++writer)
        writers.emplace_back([this] {
            for (int value = 0; value < Values; ++value)
                request("gain", value);
        });
    const auto answer = [&] {
        if (underWay.contains(QStringLiteral("gain")))
            finish(QStringLiteral("gain"), sent.last().mid(4).toInt());
        return provider->getRequestForParameter(QStringLiteral("gain")).isFinished();
    };
    runUntil([&] { return answer(), response("gain").toInt() > Values / 2; });
    for (std::thread &writer : writers)
        writer.join();
    ASSERT_TRUE(runUntil([&] { return answer() && underWay.isEmpty(); }));
    EXPECT_EQ(response("gain"), provider->getRequestForParameter(QStringLiteral("gain")).getRequestValue())
        << "the latest wish is what the device has";

    const std::weak_ptr<DeviceRequestResponseProvider> dead = provider;
    EXPECT_EQ(Devices::utils::GetDeviceRequestResponseProvider(provider->getReader(), QStringLiteral("d")), provider);
    provider.reset();
    tree->clear();
    EXPECT_TRUE(dead.expired());
}

} // namespace
