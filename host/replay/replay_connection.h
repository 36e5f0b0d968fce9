#pragma once

#include "host/replay/replay_url.h"
#include "platform/communication/connection.h"

#include <atomic>
#include <memory>
#include <thread>

namespace CommonNOX::Importer
{
class PdReplayFileLoader;
} // namespace CommonNOX::Importer

namespace NoxHost
{

/// A connection to `replay:FILE.pdr`: it is established once the recording is loaded, in a thread of its own. Nothing
/// is sent or received: who knows that it is a replay takes the loader.
class ReplayConnection : public Shared::Communication::Connections::Connection
{
    Q_OBJECT
public:
    explicit ReplayConnection(const QUrl &url);
    ~ReplayConnection() override;

    QString getId() const override { return m_id; }
    bool isOpen() const override { return m_isOpen; }
    bool open() override;
    void close(const QVariant &reason) override;
    QVariant closeReason() const override { return m_reason; }
    bool send(const QByteArray &bytes) override;
    QByteArray receive(qint64 maximum) override;

    const ReplayRequest &getRequest() const { return m_request; }
    /// Null unless it is established.
    std::shared_ptr<CommonNOX::Importer::PdReplayFileLoader> getLoader() const;
    /// How far the loading is, in percent. Any thread.
    int getLoadingPercent() const { return m_percent; }

private slots:
    void onLoaded();

private:
    void stopLoading();

    const QString m_id;
    const QUrl m_url;
    ReplayRequest m_request;
    std::atomic<bool> m_isOpen = false;
    bool m_isEstablished = false;
    QVariant m_reason;
    std::atomic<int> m_percent = 0;
    std::atomic<bool> m_isLoaded = false;
    std::shared_ptr<CommonNOX::Importer::PdReplayFileLoader> m_loader;
    std::thread m_thread;
};

} // namespace NoxHost
