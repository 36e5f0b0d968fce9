#include "recording/recorder/recording_command.h"

#include "recording/replay_file.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

namespace CommonNOX::PD::Recording
{

namespace
{

const QString StartKey = QStringLiteral("start");
const QString FileNameKey = QStringLiteral("filename");
const QString CommentKey = QStringLiteral("comment");
const QString DetailsKey = QStringLiteral("details");
const QString TypeKey = QStringLiteral("type");
const QString ValueKey = QStringLiteral("value");
const QString ContinueKey = QStringLiteral("continue");
const QString FileSizeType = QStringLiteral("filesize");
const QString DurationType = QStringLiteral("duration");

QJsonObject toObject(const QVariant &value)
{
    if (value.userType() == QMetaType::QJsonObject)
        return value.toJsonObject();
    if (value.userType() == QMetaType::QVariantMap)
        return QJsonObject::fromVariantMap(value.toMap());
    const QByteArray text = value.userType() == QMetaType::QByteArray ? value.toByteArray() : value.toString().toUtf8();
    return QJsonDocument::fromJson(text).object();
}

RecordingLimit readLimit(const QJsonObject &details)
{
    RecordingLimit limit;
    const QString type = details.value(TypeKey).toString();
    limit.value = details.value(ValueKey).toVariant().toLongLong();
    limit.continues = details.value(ContinueKey).toBool();
    if (limit.value > 0 && type == FileSizeType)
        limit.type = RecordingLimit::Type::FileSize;
    else if (limit.value > 0 && type == DurationType)
        limit.type = RecordingLimit::Type::Duration;
    return limit;
}

/// Serial numbers and types come from instruments, the rest from users: none may lead into another folder.
QString filter(const QString &text)
{
    static const QString Allowed = QStringLiteral(" -_.,+()[]#");
    QString filtered = text;
    for (QChar &character : filtered) {
        if (!character.isLetterOrNumber() && !Allowed.contains(character))
            character = QLatin1Char('_');
    }
    return filtered;
}

} // namespace

std::optional<RecordingCommand> ParseRecordingCommand(const QVariant &value)
{
    const QJsonObject object = toObject(value);
    if (!object.value(StartKey).isBool())
        return std::nullopt;
    RecordingCommand command;
    command.isStart = object.value(StartKey).toBool();
    command.fileName = object.value(FileNameKey).toString();
    command.comment = object.value(CommentKey).toString();
    command.limit = readLimit(object.value(DetailsKey).toObject());
    return command;
}

QString FormatRecordingCommand(const RecordingCommand &command)
{
    QJsonObject object{{StartKey, command.isStart}};
    if (command.isStart) {
        object.insert(FileNameKey, command.fileName);
        object.insert(CommentKey, command.comment);
    }
    if (command.limit.type != RecordingLimit::Type::None) {
        const bool isSize = command.limit.type == RecordingLimit::Type::FileSize;
        object.insert(DetailsKey, QJsonObject{{TypeKey, isSize ? FileSizeType : DurationType},
                                              {ValueKey, double(command.limit.value)},
                                              {ContinueKey, command.limit.continues}});
    }
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

QString MakeRecordingFileName(const FileNameParts &parts, const QDateTime &time)
{
    const QString nameTemplate = parts.nameTemplate.isEmpty() ? cstrDefaultFileNameTemplate : parts.nameTemplate;
    const std::pair<QString, QString> values[] = {
        {QStringLiteral("%TYPE%"), parts.type},
        {QStringLiteral("%SERIAL%"), parts.serial},
        {QStringLiteral("%DATE%"), time.toString(QStringLiteral("yyyyMMdd"))},
        {QStringLiteral("%TIME%"), time.toString(QStringLiteral("HHmmss"))},
        {QStringLiteral("%USER_DEFINED%"), parts.userDefined},
    };
    // In one pass: what is put in may look like a placeholder itself.
    QString name;
    for (int i = 0; i < nameTemplate.size();) {
        bool isReplaced = false;
        for (const auto &[placeholder, value] : values) {
            if (nameTemplate.midRef(i).startsWith(placeholder)) {
                name += filter(value);
                i += placeholder.size();
                isReplaced = true;
                break;
            }
        }
        if (!isReplaced)
            name += nameTemplate[i++];
    }
    name = filter(name).trimmed();
    QString rest = name;
    rest.remove(QLatin1Char('.')).remove(QLatin1Char(' '));
    if (rest.isEmpty())
        return {};
    return name.endsWith(FileSuffix, Qt::CaseInsensitive) ? name : name + FileSuffix;
}

QString MakeContinuationPath(const QString &path, int number)
{
    const QFileInfo file(path);
    const QString suffix = file.suffix().isEmpty() ? QString() : QLatin1Char('.') + file.suffix();
    return QStringLiteral("%1/%2_%3%4").arg(file.path(), file.completeBaseName()).arg(number).arg(suffix);
}

} // namespace CommonNOX::PD::Recording
