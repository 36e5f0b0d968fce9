#pragma once

#include "connections/connection_manager.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QObject>
#include <QTimer>
#include <QUrl>

#include <memory>

namespace NoxHost
{

class InstrumentDetector;
class MessageStream;

/// How a connection is kept.
struct LinkSettings
{
    int announcementTimeoutMs = 10'000; ///< from the wish to connect, or from the connecting again, to the announcement
    bool reconnects = true;
    int firstPauseMs = 250; ///< before the first attempt to connect again; doubles with each
    int longestPauseMs = 8000;
    int giveUpMs = 60'000; ///< after the loss
};

/// A connection to an instrument that comes back: opened through a connection manager, announced, lost and opened
/// again.
///
/// Nothing is tried twice before the first announcement. It lives on the manager's thread.
class DeviceLink : public QObject
{
    Q_OBJECT
public:
    DeviceLink(const std::shared_ptr<CommonNOX::Connections::ConnectionManager> &manager,
               const std::shared_ptr<Utilities::ConfigurationTree> &tree, const LinkSettings &settings);
    ~DeviceLink() override;

    /// Once; what becomes of it is told by the signals, also while this runs.
    void open(const QUrl &url);
    /// Ends the connection for good, without a signal.
    void close();
    /// Ends the connection for good because of what came over it; ended() tells the sentence.
    void giveUp(const QString &sentence);

    QString getConnectionId() const { return m_id; }
    std::shared_ptr<Shared::Communication::Connections::Connection> getConnection() const;

signals:
    /// The instrument has announced itself, for the first time or again.
    void announced(const QString &protocolVersion, const QJsonObject &announcement,
                   const std::shared_ptr<NoxHost::MessageStream> &stream);
    /// The connection is lost and is being opened again.
    void lost(const QString &reason);
    /// It has failed, or is lost for good; the last signal.
    void ended(const QString &sentence);

private:
    void onStatus(const QString &id, const CommonNOX::ConnectionStatus &status);
    void onEstablished();
    void onAnnounced(const QString &version);
    void onDown();
    void dropDetector();
    void reconnect();
    void end(const QString &sentence);

    const std::shared_ptr<CommonNOX::Connections::ConnectionManager> m_manager;
    const std::shared_ptr<Utilities::ConfigurationTree> m_tree;
    const LinkSettings m_settings;
    QUrl m_url;
    QString m_id;
    std::unique_ptr<InstrumentDetector> m_detector;
    QTimer m_firstDeadline;
    QTimer m_pause;
    QTimer m_lastDeadline;
    QString m_lossReason;
    int m_nextPauseMs = 0;
    bool m_wasAnnounced = false;
    bool m_isUp = false; // connecting or established
    bool m_isEnded = false;
};

} // namespace NoxHost
