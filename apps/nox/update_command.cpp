#include "apps/nox/command.h"
#include "connections/update/device_update_worker.h"
#include "connections/update/ssh_connection.h"
#include "host/terminal/interruption.h"
#include "host/terminal/output.h"
#include "platform/reader_interface.h"
#include "platform/visitors.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QStandardPaths>
#include <QThread>
#include <QTimer>
#include <QUrl>

#include <chrono>
#include <cstdio>

namespace Nox
{

namespace
{

using namespace CommonNOX::Devices;
using CommonNOX::Connections::SSHConnection;
using std::chrono::milliseconds;

constexpr int DoesNotApply = 3;
/// How often to look for an interruption.
constexpr int TickMs = 50;
constexpr int DefaultPort = 22;
/// So many characters of a step stand behind the bar.
constexpr int ShownStep = 60;

/// What is to be done, and to whom.
struct UpdatePlan
{
    QUrl url;
    QString password;
    QString identityFile;
    QString knownHostsFile;
    QString deviceClass;
    bool acceptsNewHostKey = false;
    milliseconds connectLimit{0}; // 0 for the standard, here and below
    milliseconds stallLimit{0};
    milliseconds commandLimit{0};
    QVector<DeviceUpdateWorker::Package> packages;
};

void addOptions(QCommandLineParser &parser)
{
    const auto add = [&parser](const char *name, const char *text, const char *value = nullptr) {
        parser.addOption({QString::fromLatin1(name), QString::fromLatin1(text), QString::fromLatin1(value)});
    };
    add("check", "Only tell whether the package applies, condition by condition.");
    add("dry-run", "Only tell the steps of the package; the device is not asked.");
    add("accept-new-host-key", "Store and accept the key of a device that is not known yet.");
    add("identity", "The private key to log in with.", "file");
    add("known-hosts", "Where host keys are looked up and stored. Default: known_hosts in the settings of nox.",
        "file");
    add("password-file", "The first line opens the private key of --identity, or is the password where there is none.",
        "file");
    add("device-class", "What the package's class is compared with.", "class");
    add("dac-enable-dummy-updates", "Accept test packages.");
    add("connect-timeout", "How long connecting may take. Default 10s.", "time");
    add("stall-timeout", "How long the device may be silent before it is given up. Default 30s.", "time");
    add("command-timeout", "How long one command of the package may take. Default 30min.", "time");
}

QString defaultKnownHosts()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/nox/known_hosts");
}

/// A folder that is missing would look like a device that is not known.
void readKnownHosts(CommandLine &line, UpdatePlan &plan)
{
    const QString given = line.parser().value(QStringLiteral("known-hosts"));
    plan.knownHostsFile = QFileInfo(given.isEmpty() ? defaultKnownHosts() : given).absoluteFilePath();
    if (given.isEmpty())
        QDir().mkpath(QFileInfo(plan.knownHostsFile).path());
    else if (!QFileInfo(QFileInfo(plan.knownHostsFile).path()).isDir())
        line.complain(QStringLiteral("--known-hosts: the folder of \"%1\" does not exist.").arg(given));
}

void readPassword(CommandLine &line, UpdatePlan &plan)
{
    constexpr qint64 LongestPassword = 1024;
    const QString path = line.parser().value(QStringLiteral("password-file"));
    if (path.isEmpty())
        return;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        line.complain(QStringLiteral("--password-file: \"%1\" cannot be read: %2.").arg(path, file.errorString()));
        return;
    }
    plan.password = QString::fromUtf8(file.readLine(LongestPassword));
    while (plan.password.endsWith(QLatin1Char('\n')) || plan.password.endsWith(QLatin1Char('\r')))
        plan.password.chop(1);
}

UpdatePlan readPlan(CommandLine &line)
{
    UpdatePlan plan;
    const QCommandLineParser &parser = line.parser();
    const QString url = parser.positionalArguments().first();
    plan.url = QUrl(url, QUrl::StrictMode);
    if (!plan.url.isValid() || plan.url.scheme() != QLatin1String("ssh") || plan.url.host().isEmpty() ||
        plan.url.userName().isEmpty() || plan.url.port() == 0 || plan.url.path().size() > 1 || plan.url.hasQuery() ||
        plan.url.hasFragment())
        line.complain(QStringLiteral("\"%1\" is not ssh://USER@HOST:PORT.").arg(toOneLine(url)));
    else if (!plan.url.password().isEmpty())
        line.complain(QStringLiteral("a password does not belong into a URL, see --password-file."));
    if (parser.isSet(QStringLiteral("check")) && parser.isSet(QStringLiteral("dry-run")))
        line.complain(QStringLiteral("--check and --dry-run exclude each other."));
    plan.identityFile = parser.value(QStringLiteral("identity"));
    if (!plan.identityFile.isEmpty() && !QFileInfo(plan.identityFile).isReadable())
        line.complain(QStringLiteral("--identity: \"%1\" cannot be read.").arg(plan.identityFile));
    plan.deviceClass = parser.value(QStringLiteral("device-class"));
    plan.acceptsNewHostKey = parser.isSet(QStringLiteral("accept-new-host-key"));
    const std::pair<const char *, milliseconds *> limits[] = {{"connect-timeout", &plan.connectLimit},
                                                              {"stall-timeout", &plan.stallLimit},
                                                              {"command-timeout", &plan.commandLimit}};
    for (const auto &[option, limit] : limits) {
        constexpr double Longest = 7 * 24 * 3600, Shortest = 0.1;
        const auto seconds = line.duration(QLatin1String(option));
        if (seconds && (*seconds < Shortest || *seconds > Longest))
            line.complain(QStringLiteral("--%1 is from 0.1s to a week.").arg(QLatin1String(option)));
        else if (seconds)
            *limit = milliseconds(qint64(*seconds * 1000.0));
    }
    if (parser.isSet(QStringLiteral("dac-enable-dummy-updates")))
        Utilities::FrameworkVisitor().setAppConfig(QStringLiteral("command_line/dac-enable-dummy-updates"), true);
    readPassword(line, plan);
    readKnownHosts(line, plan);
    return plan;
}

/// Commands with every space that they have.
QString shownStep(const UpdateStep &step)
{
    QString text = DescribeUpdateStep(step);
    for (QChar &character : text) {
        if (!character.isPrint() && !character.isSurrogate())
            character = QLatin1Char('?');
    }
    return text;
}

int tellSteps(const UpdatePackage &package)
{
    QString error;
    const QVector<UpdateStep> steps = DeviceUpdateWorker::MakeSteps(package, error);
    if (!error.isEmpty()) {
        printMessage(error + QLatin1Char('.'));
        return Failed;
    }
    for (int i = 0; i < steps.size(); ++i)
        std::printf("%d  %s\n", i + 1, qUtf8Printable(shownStep(steps[i])));
    return Done;
}

/// An update on a thread of its own, while this one shows it and looks for interruptions.
class UpdateRun
{
public:
    explicit UpdateRun(const UpdatePlan &plan);
    UpdateRun(const UpdateRun &) = delete;
    UpdateRun &operator=(const UpdateRun &) = delete;
    ~UpdateRun();

    int check();
    int update();

private:
    /// Runs it on the other thread, to its end.
    void carryOut(const std::function<void()> &work);

    const UpdatePlan m_plan;
    QThread m_thread;
    SSHConnection *m_connection;
    DeviceUpdateWorker *m_worker;
    NoxHost::ProgressLine m_progress;
    QString m_step;
};

UpdateRun::UpdateRun(const UpdatePlan &plan) : m_plan(plan)
{
    const auto reader = Shared::GuiContexts::MakeReader(QStringLiteral("update"));
    m_connection = new SSHConnection(reader, plan.url.host(), plan.url.userName(), plan.password, plan.identityFile,
                                     plan.knownHostsFile, static_cast<unsigned short>(plan.url.port(DefaultPort)));
    m_connection->setConnectTimeout(plan.connectLimit);
    m_connection->setStallTimeout(plan.stallLimit);
    m_connection->setCommandTimeout(plan.commandLimit);
    m_connection->setAcceptsNewHostKey(plan.acceptsNewHostKey);
    m_worker = new DeviceUpdateWorker(reader);
    m_worker->setDeviceClass(plan.deviceClass);
    m_worker->setSSHConnection(m_connection);
    m_worker->moveToThread(&m_thread);
    m_connection->moveToThread(&m_thread);
    QObject::connect(&m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
    QObject::connect(&m_thread, &QThread::finished, m_connection, &QObject::deleteLater);
    m_thread.start();
}

UpdateRun::~UpdateRun()
{
    m_thread.quit();
    m_thread.wait();
}

void UpdateRun::carryOut(const std::function<void()> &work)
{
    QTimer interruptions;
    QObject::connect(&interruptions, &QTimer::timeout, &interruptions, [this] {
        if (NoxHost::isInterrupted())
            m_worker->cancel();
    });
    interruptions.start(TickMs);
    if (NoxHost::isInterrupted())
        m_worker->cancel();
    QMetaObject::invokeMethod(m_worker, [&work] {
        work();
        QMetaObject::invokeMethod(QCoreApplication::instance(), &QCoreApplication::quit, Qt::QueuedConnection);
    });
    QCoreApplication::exec();
}

int UpdateRun::check()
{
    std::optional<DeviceUpdateContext> context;
    QString error;
    carryOut([&] {
        context = m_worker->readContext(m_plan.packages.first());
        error = m_worker->getError();
    });
    if (!context) {
        printMessage(error + QLatin1Char('.'));
        return Failed;
    }
    const DeviceUpdateManifest &manifest = m_plan.packages.first()->getManifest();
    for (const auto &result : manifest.examine(*context))
        std::printf("%-4s %s: %s\n", result.holds ? "yes" : "no", qUtf8Printable(toOneLine(result.condition.name)),
                    qUtf8Printable(toOneLine(result.reason)));
    QString reason;
    const bool applies = manifest.checkForUpdateWithContext(*context, &reason);
    const QString target = manifest.getTargetVersion();
    if (context->isUnderWay)
        std::printf("an update by this package was interrupted and goes on, whatever its conditions say\n");
    if (applies)
        std::printf("applies%s%s\n", target.isEmpty() ? "" : ", to version ", qUtf8Printable(toOneLine(target)));
    else
        std::printf("does not apply: %s\n", qUtf8Printable(toOneLine(reason)));
    return applies ? Done : DoesNotApply;
}

int UpdateRun::update()
{
    auto outcome = DeviceUpdateWorker::Outcome::Failed;
    QString message;
    // In the main thread, where the terminal is.
    QObject context;
    QObject::connect(
        m_worker, &DeviceUpdateWorker::stepStarted, &context, [this](int step, int stepCount, const QString &text) {
            m_step = QStringLiteral("step %1 of %2, %3").arg(step).arg(stepCount).arg(toOneLine(text).left(ShownStep));
        });
    QObject::connect(m_worker, &DeviceUpdateWorker::progressChanged, &context, [this](int percent) {
        if (m_progress.isDue())
            m_progress.show(percent / 100.0, m_step);
    });
    QObject::connect(
        m_worker, &DeviceUpdateWorker::finished, m_worker,
        [&](DeviceUpdateWorker::Outcome, const QString &text) { message = text; }, Qt::DirectConnection);
    carryOut([&] {
        const auto package = m_worker->checkForUpdate(m_plan.packages, &message);
        if (package)
            outcome = m_worker->update(package);
        else if (m_worker->getError().isEmpty())
            outcome = DeviceUpdateWorker::Outcome::NotApplicable;
        else
            message = m_worker->getError();
    });
    m_progress.clear();
    if (outcome == DeviceUpdateWorker::Outcome::Updated) {
        std::printf("%s\n", qUtf8Printable(toOneLine(message)));
        return Done;
    }
    const bool isNotApplicable = outcome == DeviceUpdateWorker::Outcome::NotApplicable;
    printMessage((isNotApplicable ? QStringLiteral("does not apply: ") : QStringLiteral("not updated: ")) + message +
                 QLatin1Char('.'));
    return isNotApplicable ? DoesNotApply : Failed;
}

} // namespace

int runUpdate(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("update"), QStringLiteral("ssh://USER@HOST[:PORT] PACKAGE..."),
                     QStringLiteral("Updates an instrument's software from a package: a folder, a .zip or a .tar.gz "
                                    "with a manifest.json at its top. Of several packages, the applicable one of the "
                                    "highest priority is taken. Ends with 0 when the instrument is updated, with 3 "
                                    "when no package applies."),
                     QStringLiteral("nox update ssh://root@192.168.1.20 update-2.1.tar.gz --check"));
    addOptions(line.parser());
    constexpr int MostPackages = 100;
    if (const auto status = line.parse(arguments, 2, 1 + MostPackages))
        return *status;
    UpdatePlan plan = readPlan(line);
    const bool isCheck = line.parser().isSet(QStringLiteral("check"));
    const bool isDryRun = line.parser().isSet(QStringLiteral("dry-run"));
    const QStringList paths = line.parser().positionalArguments().mid(1);
    if ((isCheck || isDryRun) && paths.size() > 1)
        line.complain(QStringLiteral("--check and --dry-run take one package."));
    if (const auto status = line.reportComplaint())
        return *status;
    // Every failure ends the update and is told once, by what it came to.
    if (!line.parser().isSet(QStringLiteral("verbose")))
        QLoggingCategory::setFilterRules(QStringLiteral("*.info=false\n*.debug=false\nCommonNOX.warning=false"));

    for (const QString &path : paths) {
        QString error;
        plan.packages.append(UpdatePackage::Open(path, error, [] { return !NoxHost::isInterrupted(); }));
        if (!plan.packages.last()) {
            printMessage(error + QLatin1Char('.'));
            return Failed;
        }
    }
    if (isDryRun)
        return tellSteps(*plan.packages.first());
    UpdateRun run(plan);
    return isCheck ? run.check() : run.update();
}

} // namespace Nox
