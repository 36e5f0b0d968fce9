#pragma once

#include "apps/nox/device_recording.h"
#include "apps/nox/evaluator_options.h"
#include "host/session/device_link.h"
#include "host/session/measuring_session.h"
#include "host/terminal/live_table.h"
#include "host/terminal/output.h"
#include "host/terminal/output_file.h"

#include <QElapsedTimer>
#include <QTimer>
#include <QUrl>
#include <QVariant>

#include <map>
#include <memory>
#include <optional>

namespace Nox
{

/// When a measurement ends; without a limit it runs until it is interrupted.
struct Limits
{
    std::optional<double> seconds; ///< of measuring time
    std::optional<qint64> periods; ///< a channel
};

/// Parameters to set before the start.
using Wishes = std::map<QString, QVariant>;

/// What is measured and how, besides the evaluation.
struct MeasurementPlan
{
    QUrl url;
    NoxHost::LinkSettings link;
    Limits limits;
    Wishes wishes;
    RecordingOptions recording;
    std::FILE *output = stdout; ///< for the readings
    QString readingsPath;       ///< where they go besides, as lines of JSON; empty for nowhere
};

/// Measures on the device of a URL, or plays a recording back, and shows readings while they come, until a limit, an
/// interruption or the end.
class Measurement
{
public:
    Measurement(const MeasurementPlan &plan, const EvaluatorOptions &options);
    ~Measurement();

    /// An ExitStatus.
    int run();

private:
    void onReady();
    void onRecorded();
    void start();
    void onTick();
    void end(const QString &error);
    void finish();
    void openReadings();
    void showReadings();
    void closeReadings();
    QString describeState() const;
    QString describeLosses() const;
    void showProgress();
    /// Whether it was shown.
    bool tell(const QString &sentence);
    void printSummary() const;
    bool hasEnd() const;
    bool hasCriterion() const;

    const MeasurementPlan m_plan;
    const OutputFormat m_format;
    Wishes m_wishes;
    QElapsedTimer m_timer;
    QTimer m_tick;
    bool m_isMeasuring = false;
    QString m_error;
    bool m_isRecordingErrorTold = false;
    qint64 m_nextShow = 0;
    NoxHost::Output m_output;
    NoxHost::OutputFile m_readingsFile;
    std::unique_ptr<NoxHost::Output> m_readings; // into that file
    NoxHost::ProgressLine m_progress;
    std::unique_ptr<NoxHost::LiveTable> m_liveTable;
    const bool m_hasGivenCriterion;
    NoxHost::EvaluationSession m_session;
    // The device, and its recorder with it, goes before what it feeds.
    std::unique_ptr<NoxHost::MeasuringSession> m_source;
    DeviceRecording m_recording;
};

} // namespace Nox
