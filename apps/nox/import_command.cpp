#include "apps/nox/command.h"
#include "apps/nox/device_recording.h"
#include "apps/nox/evaluator_options.h"
#include "connections/devices/device_recorder_interface.h"
#include "host/pulses/period_entry.h"
#include "host/pulses/pulse_csv_reader.h"
#include "host/terminal/interruption.h"
#include "host/terminal/output.h"
#include "host/terminal/output_file.h"
#include "platform/configuration_tree.h"
#include "platform/visitors.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <set>

namespace Nox
{

using namespace CommonNOX::Devices;
using NoxHost::EvaluationSession;
using NoxHost::PulseCsvReader;
using NoxHost::PulseCsvResult;

namespace
{

constexpr quint64 PeriodsBetweenLooks = 64;
const QString DevicePath = QStringLiteral("import");

/// Reads a file of pulses into a recording, as if a device had measured them.
class PulseImport
{
public:
    PulseImport(const QString &source, const QString &target, const EvaluatorOptions &options)
        : m_source(source), m_size(QFileInfo(source).size()), m_session(options.settings()),
          m_recording(RecordingOptions::Into(target))
    {}

    int run()
    {
        QString error = findChannels();
        if (error.isEmpty())
            error = startRecording();
        if (!error.isEmpty())
            return fail(error);
        error = read([this](const NoxHost::RawPeriod &period) { return add(period); });
        m_session.finish(&NoxHost::isInterrupted);
        m_recording.stop();
        if (error.isEmpty())
            error = m_recording.getError();
        if (!error.isEmpty()) {
            // Half a measurement would pass for a whole one.
            QFile::remove(m_recording.getPath());
            return fail(error);
        }
        m_progress.clear();
        std::fprintf(stderr, "%llu periods, %llu pulses recorded in \"%s\"\n",
                     static_cast<unsigned long long>(m_session.getPeriodCount()),
                     static_cast<unsigned long long>(m_session.getPulseCount()),
                     qUtf8Printable(toOneLine(m_recording.getPath())));
        return Done;
    }

private:
    /// The sentence about what ended the reading early; empty at the end of the file.
    QString read(const std::function<QString(const NoxHost::RawPeriod &)> &take)
    {
        PulseCsvReader reader;
        if (!reader.open(m_source))
            return reader.error();
        for (;;) {
            const PulseCsvResult result = reader.next();
            if (NoxHost::isInterrupted())
                return QStringLiteral("interrupted.");
            if (result.kind == PulseCsvResult::Kind::End)
                return {};
            const QString error = result.kind == PulseCsvResult::Kind::Error ? result.error : take(result.period);
            if (!error.isEmpty())
                return error;
            if (m_progress.isDue())
                m_progress.show((m_step + double(reader.bytesRead()) / double(std::max<qint64>(1, m_size))) / 2.0,
                                QStringLiteral("importing"));
        }
    }

    /// A recording names its channels before the first period.
    QString findChannels()
    {
        if (!QFileInfo(m_source).isFile())
            return QStringLiteral("\"%1\" is no file.").arg(m_source);
        std::set<int> indices;
        const QString error = read([&](const NoxHost::RawPeriod &period) {
            indices.insert(period.channel);
            return QString();
        });
        if (!error.isEmpty())
            return error;
        if (indices.empty())
            return QStringLiteral("\"%1\" holds no periods.").arg(m_source);
        QList<Channels::ChannelInformation> channels;
        for (const int index : indices)
            channels.append(Channels::ParseChannelInformationFromString(QStringLiteral("index=%1").arg(index), index));
        m_step = 1.0;
        const auto tree = Utilities::GetApplicationConfigurationTree();
        m_device = std::make_shared<PdDevice>(Shared::GuiContexts::MakeReader({}, tree), DevicePath,
                                              QStringLiteral("pulse file"), channels);
        Utilities::GuiContextVisitor(m_device->getContext())
            .setProperty(QStringLiteral("serial_number"), QFileInfo(m_source).completeBaseName());
        return {};
    }

    QString startRecording()
    {
        m_session.follow(m_device);
        QEventLoop loop;
        QObject::connect(&m_recording, &DeviceRecording::started, &loop, &QEventLoop::quit);
        QObject::connect(&m_recording, &DeviceRecording::failed, &loop, &QEventLoop::quit, Qt::QueuedConnection);
        m_recording.start(m_device);
        loop.exec();
        return m_recording.getError();
    }

    QString add(const NoxHost::RawPeriod &period)
    {
        while (m_session.isFull() || m_device->getRecorder()->isFull()) {
            if (NoxHost::isInterrupted())
                return QStringLiteral("interrupted.");
            QThread::usleep(200);
            look();
        }
        if (++m_count % PeriodsBetweenLooks == 0)
            look();
        m_device->addPeriodBlock(period.channel, period.index, NoxHost::makePeriodBlock(period));
        return m_recording.getError();
    }

    void look()
    {
        m_session.takeReadings();
        QCoreApplication::processEvents();
    }

    int fail(const QString &sentence)
    {
        m_progress.clear();
        printMessage(sentence);
        return Failed;
    }

    const QString m_source;
    const qint64 m_size;
    double m_step = 0.0;
    quint64 m_count = 0;
    NoxHost::ProgressLine m_progress;
    EvaluationSession m_session;
    std::shared_ptr<PdDevice> m_device;
    DeviceRecording m_recording;
};

} // namespace

int runImport(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("import"), QStringLiteral("PULSES.csv FILE.pdr"),
        QStringLiteral("Makes a recording of pulses from a file. The evaluation's settings are kept in it."),
        QStringLiteral("nox import pulses.csv recording.pdr"));
    EvaluatorOptions::addTo(line);
    if (const auto status = line.parse(arguments, 2, 2))
        return *status;
    EvaluatorOptions options(line);
    const QStringList paths = line.parser().positionalArguments();
    if (NoxHost::isSameFile(paths[0], paths[1]))
        line.complain(QStringLiteral("\"%1\" is the file that is read.").arg(paths[1]));
    if (const auto status = line.reportComplaint())
        return *status;
    if (!options.dropUnknownEvaluators(EvaluationSession::Source::Periods))
        return Failed;
    return PulseImport(paths[0], paths[1], options).run();
}

} // namespace Nox
