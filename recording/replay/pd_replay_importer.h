#pragma once

#include "recording/replay/importer_interface.h"
#include "recording/replay/pd_replay_file_loader.h"

#include <QElapsedTimer>
#include <QObject>

#include <memory>

namespace CommonNOX::Importer
{

/// Hands out what a replay file holds, channel by channel. Any thread, one a channel; signals come in the caller's.
class NOX_EXPORT PdReplayImporter : public QObject, public ImporterInterface
{
    Q_OBJECT
public:
    explicit PdReplayImporter(const std::shared_ptr<PdReplayFileLoader> &loader, QObject *parent = nullptr);
    ~PdReplayImporter() override;

    /// Loads the file and builds its index, unless that was done before.
    bool parseReplayFile() override;
    bool hasValidHandle() const override;
    bool extractNextPeriod(const int &channel, PeriodPtr &period) override;
    bool extractNextVoltageScope(const int &channel, VoltageScopePtr &scope) override;
    bool getCurrentPosition(const int &channel, unsigned int &position) const override;
    /// False where no voltage scope was recorded before the position.
    bool getCurrentVoltageScopeUuid(const int &channel, QString &uuid) const;
    bool getReplaySpan(const int &channel, Shared::Interval<unsigned int> &span) const override;
    bool setReplaySpan(const int &channel, const Shared::Interval<unsigned int> &span) override;
    bool getReplaySpeedFactor(const int &channel, double &factor) const;
    bool setReplaySpeedFactor(const int &channel, const double &factor) override;

    std::shared_ptr<PdReplayFileLoader> getLoader() const { return m_loader; }

signals:
    /// The reading to start from at the beginning of a span, before its first period is handed out.
    void initialQiecValueChanged(const int &channel, const double &value);
    void loadingProgressChanged(CommonNOX::Importer::ReplayFileStatus status);

private:
    std::shared_ptr<ChannelReplayStatus> findStatus(int channel) const;
    /// The kind of the recording's voltage scopes; 0 for none.
    int getScopeKind() const;

    const std::shared_ptr<PdReplayFileLoader> m_loader;
    QElapsedTimer m_timer;
};

} // namespace CommonNOX::Importer
