#pragma once

#include "host/replay/replay_connection.h"
#include "host/replay/replay_feed.h"
#include "host/session/measuring_session.h"
#include "recording/replay/replay_pacer.h"
#include "recording/replay/replay_walk.h"

#include <QElapsedTimer>
#include <QStringList>
#include <QTimer>

#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace NoxHost
{

/// A recording that is played back: to whoever follows the device it is a measurement.
///
/// Settings are made when the block comes that they precede, in the contexts of the device's channels.
class ReplaySession : public MeasuringSession
{
    Q_OBJECT
public:
    explicit ReplaySession(const std::shared_ptr<Utilities::ConfigurationTree> &tree);
    ~ReplaySession() override;

    /// Keys of the channels' contexts that the recording does not set.
    void setOverriddenKeys(const QStringList &keys) { m_overridden = keys; }
    /// Called before a setting changes that holds at once instead of from the next block on: waits until everything
    /// that was handed out has been evaluated.
    void setBarrier(std::function<void()> barrier) { m_barrier = std::move(barrier); }

    void open(const QUrl &url) override;
    void start() override;
    void close() override;
    bool isLimitReached() const override;
    bool isConnected() const override;
    std::optional<double> getDone() const override;

    /// What became of the replay, in one sentence; empty before its end.
    QString getEnding() const;

protected:
    void onDeviceRequested(const QString &identification, const QString &serial, unsigned int channels) override;

private:
    using Item = CommonNOX::Importer::RecordedItem;
    void onStatus(const QString &id, const CommonNOX::ConnectionStatus &status);
    void onLoaded();
    /// Everything before the first period: what the device is and how it was set.
    QJsonObject gatherAnnouncement(CommonNOX::Importer::ReplayWalk &walk);
    void applyInitialSettings();
    void applyAction(const Item &item);
    void startFromStoredQiec();
    void feed();
    /// Milliseconds until the item is due.
    double getWait(const Item &item);
    void deliver(const Item &item);
    void deliverBlock(const Item &item);
    void end(const QString &sentence);

    QStringList m_overridden;
    std::function<void()> m_barrier;
    QUrl m_url;
    std::shared_ptr<ReplayConnection> m_connection;
    std::shared_ptr<CommonNOX::Importer::PdReplayFileLoader> m_loader;
    std::map<int, CommonNOX::Importer::ReplayWalk::Beginning> m_beginnings; // by channel
    std::unique_ptr<ReplayFeed> m_feed;
    std::vector<Item> m_initialActions;
    std::optional<Item> m_next;
    CommonNOX::Importer::ReplayPacer m_pacer;
    QElapsedTimer m_clock;
    QTimer m_timer;
    bool m_isRunning = false;
    bool m_isAtEnd = false;
    bool m_isLimited = false;
    bool m_isEnded = false;
};

} // namespace NoxHost
