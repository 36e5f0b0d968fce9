#include "connections/update/device_update_manifest.h"
#include "connections/update/device_update_worker.h"
#include "connections/update/shell_quoting.h"
#include "connections/update/ssh_connection.h"
#include "connections/update/ssh_watchdog.h"
#include "connections/update/update_archive.h"
#include "platform/reader_interface.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

using namespace CommonNOX::Devices;
using CommonNOX::Connections::QuotePathForShell;
using CommonNOX::Connections::SSHConnection;
using CommonNOX::Connections::SshWatchdog;
using Manifest = DeviceUpdateManifest;

namespace
{

QByteArray oneCondition(const QByteArray &members)
{
    return R"({"conditions":{"a":{)" + members + "}}}";
}

void write(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(content);
}

TEST(DeviceUpdateManifest, RefusesWhatIsNoManifestWithTheReason)
{
    const struct
    {
        QByteArray json;
        const char *reason;
    } rows[] = {
        {"", "illegal value"},
        {"[]", "no object"},
        {"{\"priority\":1", "termination"},
        {QByteArray(Manifest::MaximumSize + 1, ' '), "longer than"},
        {R"({"deviceClass":1})", "deviceClass"},
        {R"({"conditions":{"a":{},"a":{"path":"/v"}}})", "twice"},
        {R"({"conditions":[]})", "conditions"},
        {R"({"conditions":{"a":1}})", "no object"},
        {oneCondition(R"("path":7)"), "path"},
        {oneCondition(R"("version":"1")"), "path"},
        {oneCondition(R"("path":"/v\u0000")"), "NUL"},
        {oneCondition("\"path\":\"/" + QByteArray(Manifest::MaximumPathLength, 'x') + '"'), "longer than"},
        {oneCondition(R"("path":"/v","comparison":"==","version":"1")"), "=="},
        {oneCondition(R"("path":"/v","comparison":"=")"), "no version"},
        {oneCondition(R"("path":"/v","comparison":"=","version":"v1")"), "no version"},
        {oneCondition(R"("path":"/v","comparison":"=","version":"1.99999999999")"), "no version"},
        {oneCondition(R"("path":"/v","primary":true)"), "primary"},
        {oneCondition(R"("path":"/v","primary":"true","target_version":"next")"), "no version"},
        {R"({"dummy":"true"})", "dummy"},
        {R"({"priority":1.5})", "priority"},
        {R"({"priority":3000000000})", "priority"},
        {R"({"preCommands":"true"})", "preCommands"},
        {R"({"postCommands":["true",null]})", "postCommands"},
        {R"({"preCommands":["a\u0000b"]})", "preCommands"},
        {R"({"copyFileDescriptions":[{"source":"a\u0000","destination":"b"}]})", "NUL"},
        {R"({"copyFileDescriptions":{}})", "copyFileDescriptions"},
        {R"({"copyFileDescriptions":["app"]})", "copyFileDescriptions"},
        {R"({"copyFileDescriptions":[{"source":"a","destination":"b","prepare":1}]})", "prepare"},
    };
    for (const auto &row : rows) {
        QString error;
        EXPECT_FALSE(Manifest::ParseFromJson(row.json, &error)) << row.json.left(80).toStdString();
        EXPECT_TRUE(error.contains(QLatin1String(row.reason))) << error.toStdString() << " for " << row.reason;
    }
}

TEST(DeviceUpdateManifest, ComparesVersionsByNumber)
{
    const struct
    {
        const char *comparison, *current, *version;
        bool applies;
    } rows[] = {
        {"<", "1.9", "1.10", true},   {"<", "1.10", "1.9", false},       {"<", "2.0", "2", false},
        {"<=", "2.0", "2", true},     {"<=", "2.0.1", "2", false},       {"=", "2.0.0", "2", true},
        {"=", "2.1", "2", false},     {">=", "2", "2.0", true},          {">=", "1.99", "2", false},
        {">", "10", "9", true},       {">", "2.0", "2", false},          {"<>", "2.1", "2", true},
        {"<>", "2.0", "2", false},    {"", "anything", "", true},        {"", "", "x", true},
        {"<", "unknown", "2", false}, {"<>", "unknown", "2", false},     {"<", "", "2", false},
        {"<", " 1.2-rc1", "2", true}, {"<>", "99999999999", "2", false},
    };
    for (const auto &row : rows) {
        const auto manifest = Manifest::ParseFromJson(oneCondition(
            QByteArray(R"("path":"/v","comparison":")") + row.comparison + R"(","version":")" + row.version + '"'));
        ASSERT_TRUE(manifest);
        DeviceUpdateContext context;
        EXPECT_FALSE(manifest->checkForUpdateWithContext(context)) << "a file that is missing";
        context.versions.insert(QStringLiteral("/v"), QLatin1String(row.current));
        EXPECT_EQ(manifest->checkForUpdateWithContext(context), row.applies)
            << row.current << ' ' << row.comparison << ' ' << row.version;
    }
}

TEST(DeviceUpdateManifest, FindsThePrimaryConditionOrItsFallback)
{
    const struct
    {
        QByteArray conditions;
        const char *path, *target;
    } rows[] = {
        {"", "/etc/version", ""},
        {R"("b":{"path":"/b","version":"2","comparison":"<"},"a":{"path":"/a","version":"3","comparison":"<"})", "/a",
         "3"},
        {R"("a":{"path":"/a","version":"3","comparison":">"})", "/a", ""},
        {R"("a":{},"b":{"path":"/b","primary":"true","target_version":"4"},"c":{"path":"/c","primary":"TRUE"})", "/b",
         "4"},
        {R"("a":{"path":"/a","primary":"true","target_version":"1"},"b":{"path":"/b","primary":"true"})", "/b", ""},
    };
    for (const auto &row : rows) {
        const auto manifest = Manifest::ParseFromJson(R"({"conditions":{)" + row.conditions + "}}");
        ASSERT_TRUE(manifest) << row.conditions.toStdString();
        EXPECT_EQ(manifest->getPrimaryPath(), QLatin1String(row.path));
        EXPECT_EQ(manifest->getTargetVersion(), QLatin1String(row.target));
        EXPECT_TRUE(manifest->getVersionPaths().contains(manifest->getPrimaryPath()));
    }
}

TEST(DeviceUpdateManifest, KeepsTheOtherCopiesWhereOneIsIncomplete)
{
    const auto manifest = Manifest::ParseFromJson(R"({"copyFileDescriptions":[{"source":"a","destination":""},
        {"source":"","destination":"/b"},{"destination":"/c"},{"source":"d","destination":"/d","prepare":true},
        {"source":"e","destination":"/e"}]})");
    ASSERT_TRUE(manifest);
    ASSERT_EQ(manifest->getCopyFileDescriptions().size(), 2);
    EXPECT_EQ(manifest->getCopyFileDescriptions()[0].source, QStringLiteral("d"));
    EXPECT_TRUE(manifest->getCopyFileDescriptions()[0].prepare);
    EXPECT_FALSE(manifest->getCopyFileDescriptions()[1].prepare);
}

// The shell itself is the judge.
TEST(ShellQuoting, ShellsTakePathsAsTheyAre)
{
    const char *const paths[] = {"/plain", "a b", "$(touch x)", "`touch x`", "a;touch x", "a'b", "''", "\"a\"", "a\nb",
                                 "a\\",    "*",   "~",          "&",         "# a",       "ä",   "!x", "/a/-rf"};
    for (const char *const path : paths) {
        QProcess shell;
        shell.start(QStringLiteral("sh"), {QStringLiteral("-s")});
        shell.write("printf %s " + QuotePathForShell(QString::fromUtf8(path)) + '\n');
        shell.closeWriteChannel();
        ASSERT_TRUE(shell.waitForFinished());
        EXPECT_EQ(shell.readAllStandardOutput().toStdString(), path);
    }
    EXPECT_EQ(QuotePathForShell(QStringLiteral("-rf")), QByteArray("'./-rf'"));
    EXPECT_TRUE(QuotePathForShell(QString()).isEmpty());
    EXPECT_TRUE(QuotePathForShell(QStringLiteral("a") + QChar(0)).isEmpty());
}

TEST(UpdatePackage, FindsSourcesInsideOnly)
{
    const QTemporaryDir folder;
    const QString root = folder.path() + QStringLiteral("/package");
    write(root + QStringLiteral("/manifest.json"), "{}");
    write(root + QStringLiteral("/sub/app"), "app");
    write(folder.path() + QStringLiteral("/package2/app"), "other");
    QFile::link(root + QStringLiteral("/sub/app"), root + QStringLiteral("/inner"));
    QFile::link(folder.path() + QStringLiteral("/package2/app"), root + QStringLiteral("/outer"));
    QFile::link(folder.path() + QStringLiteral("/package2"), root + QStringLiteral("/folder"));
    QString error;
    const auto package = UpdatePackage::Open(root + QLatin1Char('/'), error);
    ASSERT_TRUE(package) << error.toStdString();
    EXPECT_EQ(package->getName(), QStringLiteral("package"));
    for (const char *const source : {"sub/app", "./sub/../sub/app", "inner"})
        EXPECT_TRUE(package->resolve(QLatin1String(source), error).endsWith(QLatin1String("/sub/app"))) << source;
    for (const char *const source : {"outer", "folder/app", "../package2/app", "sub/../../package2/app", "/etc/passwd",
                                     "missing", "sub", "..", "."})
        EXPECT_TRUE(package->resolve(QLatin1String(source), error).isEmpty() && !error.isEmpty()) << source;
}

TEST(UpdatePackage, ArchivesUnpackWithinTheirLimitsAndNowhereElse)
{
    const QTemporaryDir folder;
    const auto unpack = [&](const char *prepare, const UpdateArchiveLimits &limits) {
        QDir(folder.path()).removeRecursively();
        QDir().mkpath(folder.path() + QStringLiteral("/to"));
        QProcess shell;
        shell.setWorkingDirectory(folder.path());
        shell.start(QStringLiteral("sh"), {QStringLiteral("-ec"), QLatin1String(prepare)});
        EXPECT_TRUE(shell.waitForFinished() && shell.exitCode() == 0) << shell.readAllStandardError().toStdString();
        return UnpackUpdateArchive(folder.path() + QStringLiteral("/a"), folder.path() + QStringLiteral("/to"), limits);
    };
    const UpdateArchiveLimits wide{1 << 20, 10};
    EXPECT_EQ(unpack("mkdir d; echo x > d/x; tar czf a d", wide), QString());
    EXPECT_TRUE(QFile::exists(folder.path() + QStringLiteral("/to/d/x")));
    EXPECT_EQ(unpack("echo x > x; truncate -s 900000 x; tar czSf a x", wide), QString());
    EXPECT_EQ(QFileInfo(folder.path() + QStringLiteral("/to/x")).size(), 900000);
    const struct
    {
        const char *prepare;
        UpdateArchiveLimits limits;
    } rows[] = {
        {"mkdir d; echo x > x; cd d; tar czPf ../a ../x", wide},
        {"echo x > x; tar czPf a $PWD/x", wide},
        {"ln -s /etc d; tar czf a d", wide},
        {"echo x > x; ln x y; tar czf a x y", wide},
        {"mkfifo x; tar czf a x", wide},
        {"head -c 3000000 /dev/zero > x; tar czf a x", wide},
        {"echo x > x; truncate -s 3000000 x; tar czSf a x", wide},
        {"touch 1 2 3 4 5; tar czf a 1 2 3 4 5", {1 << 20, 4}},
        {"head -c 300000 /dev/urandom > x; tar czf b x; head -c 200000 b > a", wide},
        {"echo nonsense > a", wide},
        {": > a", wide},
    };
    for (const auto &row : rows)
        EXPECT_NE(unpack(row.prepare, row.limits), QString()) << row.prepare;
}

TEST(DeviceUpdateWorker, ReadsProgressOfCommands)
{
    const struct
    {
        const char *line;
        int percent;
    } rows[] = {{"42%", 42},   {"flashing  7 %", 7}, {"99.9%", 99}, {"3/8", 37}, {"8/8", 100}, {"101%", -1},
                {"9/8", -1},   {"0/0", -1},          {"50", -1},    {"-5", -1},  {"", -1},     {"5% of 7", -1},
                {"1234%", -1}, {"a 3/8", -1},        {"100%", 100}, {"0%", 0}};
    for (const auto &row : rows)
        EXPECT_EQ(ReadProgressLine(QLatin1String(row.line)), row.percent) << row.line;
}

TEST(DeviceUpdateWorker, NeedsAConnectionOfItsOwnThread)
{
    const QTemporaryDir folder;
    write(folder.path() + QStringLiteral("/manifest.json"), "{}");
    QString error;
    const auto package = UpdatePackage::Open(folder.path(), error);
    const auto reader = Shared::GuiContexts::MakeReader(QString());
    DeviceUpdateWorker worker(reader);
    EXPECT_EQ(worker.update(nullptr), DeviceUpdateWorker::Outcome::Failed);
    EXPECT_EQ(worker.update(package), DeviceUpdateWorker::Outcome::Failed);
    EXPECT_TRUE(worker.getError().contains(QLatin1String("no connection")));

    QThread other;
    SSHConnection connection(reader, QStringLiteral("127.0.0.1"), QStringLiteral("nobody"), {}, {},
                             folder.path() + QStringLiteral("/known"), 1);
    worker.setSSHConnection(&connection);
    worker.cancel();
    EXPECT_EQ(worker.update(package), DeviceUpdateWorker::Outcome::Cancelled);
    connection.moveToThread(&other);
    EXPECT_NE(worker.update(package), DeviceUpdateWorker::Outcome::Updated);
    EXPECT_TRUE(worker.getError().contains(QLatin1String("another thread")));
}

TEST(SshWatchdog, FreesAReadWhenThereIsNoProgress)
{
    int sockets[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
    for (const bool isInterrupted : {false, true}) {
        SshWatchdog watchdog;
        watchdog.setSocket(sockets[0]);
        watchdog.expect(std::chrono::milliseconds(isInterrupted ? 60'000 : 50));
        if (isInterrupted)
            watchdog.interrupt(std::chrono::milliseconds(50));
        char byte = 0;
        EXPECT_EQ(read(sockets[0], &byte, 1), 0);
        EXPECT_EQ(watchdog.hasFired(), !isInterrupted);
        close(sockets[0]);
        close(sockets[1]);
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
    }
    close(sockets[0]);
    close(sockets[1]);
}

} // namespace
