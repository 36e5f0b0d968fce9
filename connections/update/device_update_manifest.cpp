#include "connections/update/device_update_manifest.h"

#include "entries/log.h"
#include "platform/json_keys.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <array>
#include <cmath>

namespace CommonNOX::Devices
{

namespace
{

using Connections::FileCopyDescription;
using Comparison = DeviceUpdateManifest::Comparison;

const QString FallbackPath = QStringLiteral("/etc/version");
constexpr std::array<const char *, 7> ComparisonTexts = {"", "<", "<=", "=", ">=", ">", "<>"};

std::optional<Comparison> readComparison(const QString &text)
{
    for (std::size_t i = 0; i < ComparisonTexts.size(); ++i) {
        if (text == QLatin1String(ComparisonTexts[i]))
            return static_cast<Comparison>(i);
    }
    return std::nullopt;
}

/// The readers leave the value alone where the member is missing, and give one sentence where it has another type.
QString readText(const QJsonObject &object, const char *member, QString &text)
{
    const QJsonValue value = object.value(QLatin1String(member));
    if (value.isUndefined())
        return {};
    if (!value.isString())
        return QStringLiteral("\"%1\" is no text").arg(QLatin1String(member));
    text = value.toString();
    return {};
}

QString readFlag(const QJsonObject &object, const char *member, bool &flag)
{
    const QJsonValue value = object.value(QLatin1String(member));
    if (!value.isUndefined() && !value.isBool())
        return QStringLiteral("\"%1\" is neither true nor false").arg(QLatin1String(member));
    flag = value.toBool(flag);
    return {};
}

QString readNumber(const QJsonObject &object, const char *member, int &number)
{
    const QJsonValue value = object.value(QLatin1String(member));
    if (value.isUndefined())
        return {};
    const double read = value.toDouble(std::nan(""));
    if (!(std::abs(read) <= std::numeric_limits<int>::max()) || read != std::floor(read))
        return QStringLiteral("\"%1\" is no whole number").arg(QLatin1String(member));
    number = int(read);
    return {};
}

QString readCommands(const QJsonObject &object, const char *member, QStringList &commands)
{
    const QJsonValue value = object.value(QLatin1String(member));
    if (value.isUndefined())
        return {};
    if (!value.isArray())
        return QStringLiteral("\"%1\" is no list").arg(QLatin1String(member));
    const QJsonArray list = value.toArray();
    for (const QJsonValue command : list) {
        if (!command.isString() || command.toString().trimmed().isEmpty() || command.toString().contains(QChar(0)))
            return QStringLiteral("\"%1\" holds what is no command").arg(QLatin1String(member));
        commands.append(command.toString());
    }
    return {};
}

/// An empty path passes; what that means is for the caller.
QString checkPath(const QString &path, const char *what)
{
    if (path.contains(QChar(0)))
        return QStringLiteral("a \"%1\" contains a NUL").arg(QLatin1String(what));
    if (path.toUtf8().size() > DeviceUpdateManifest::MaximumPathLength)
        return QStringLiteral("a \"%1\" is longer than %2 bytes")
            .arg(QLatin1String(what))
            .arg(DeviceUpdateManifest::MaximumPathLength);
    return {};
}

template <class... Texts>
QString firstOf(const QString &first, const Texts &...others)
{
    QString found = first;
    ((found = found.isEmpty() ? others : found), ...);
    return found;
}

QString readCondition(const QJsonObject &object, DeviceUpdateManifest::Condition &condition, QString &targetVersion)
{
    QString comparison, primary;
    const QString fault =
        firstOf(readText(object, "path", condition.path), readText(object, "version", condition.version),
                readText(object, "comparison", comparison), readText(object, "primary", primary),
                readText(object, "target_version", targetVersion));
    if (!fault.isEmpty())
        return fault;
    if (const QString unfit = checkPath(condition.path, "path"); !unfit.isEmpty())
        return unfit;
    condition.isPrimary = primary == QLatin1String("true");
    const auto known = readComparison(comparison);
    if (!known)
        return QStringLiteral("the comparison \"%1\" is unknown").arg(comparison.left(20));
    condition.comparison = *known;
    if (condition.path.isEmpty())
        return QStringLiteral("\"path\" is missing or empty");
    if (*known != Comparison::None && !DeviceUpdateManifest::ParseVersion(condition.version))
        return QStringLiteral("\"%1\" is no version").arg(condition.version.left(40));
    if (!targetVersion.isEmpty() && !DeviceUpdateManifest::ParseVersion(targetVersion))
        return QStringLiteral("\"%1\" is no version").arg(targetVersion.left(40));
    return {};
}

} // namespace

std::optional<DeviceUpdateManifest> DeviceUpdateManifest::ParseFromJson(const QByteArray &json, QString *error)
{
    DeviceUpdateManifest manifest;
    QString fault;
    qint64 offset = 0;
    if (json.size() > MaximumSize) {
        fault = QStringLiteral("longer than %1 bytes").arg(MaximumSize);
        offset = MaximumSize;
    } else if (const auto key = Shared::FindRepeatedJsonKey(json)) {
        fault = QStringLiteral("\"%1\" is named twice in one object").arg(QString::fromUtf8(key->left(80)));
    } else {
        QJsonParseError parseError;
        const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
        offset = parseError.offset;
        if (parseError.error != QJsonParseError::NoError)
            fault = parseError.errorString();
        else if (!document.isObject())
            fault = QStringLiteral("no object");
        else
            fault = manifest.read(document.object());
    }
    if (error)
        *error = fault;
    if (fault.isEmpty())
        return manifest;
    qCWarning(libraryLog).noquote().nospace()
        << "DeviceUpdateManifest::ParseFromJson() Could not parse manifest JSON format. Error: " << fault.simplified()
        << " at " << offset;
    return std::nullopt;
}

QString DeviceUpdateManifest::read(const QJsonObject &root)
{
    const QJsonValue conditions = root.value(QLatin1String("conditions"));
    QString fault = readText(root, "deviceClass", m_deviceClass);
    if (fault.isEmpty() && !conditions.isUndefined() && !conditions.isObject())
        fault = QStringLiteral("\"conditions\" is no object");
    if (fault.isEmpty())
        fault = readConditions(conditions.toObject());
    if (!fault.isEmpty())
        return fault;
    if (!m_hasPrimary)
        chooseFallback();
    return firstOf(readFlag(root, "dummy", m_isDummy), readNumber(root, "priority", m_priority),
                   readCommands(root, "preCommands", m_preCommands), readCopies(root),
                   readCommands(root, "postCommands", m_postCommands));
}

QString DeviceUpdateManifest::readConditions(const QJsonObject &conditions)
{
    QStringList names = conditions.keys();
    names.sort();
    for (const QString &name : qAsConst(names)) {
        const QJsonValue value = conditions.value(name);
        if (!value.isObject())
            return QStringLiteral("the condition \"%1\" is no object").arg(name.left(40));
        const QJsonObject object = value.toObject();
        if (object.isEmpty())
            continue;
        Condition condition;
        condition.name = name;
        QString targetVersion;
        const QString fault = readCondition(object, condition, targetVersion);
        if (!fault.isEmpty())
            return QStringLiteral("the condition \"%1\": %2").arg(name.left(40), fault);
        qCInfo(libraryLog).noquote().nospace()
            << "DeviceUpdateManifest::ParseFromJson() found version condition=" << name << " path=" << condition.path
            << " number=" << condition.version << " comparison=" << ComparisonText(condition.comparison)
            << " primary=" << condition.isPrimary;
        if (condition.isPrimary) {
            m_hasPrimary = true;
            m_primaryPath = condition.path;
            m_targetVersion = targetVersion;
        }
        m_conditions.append(condition);
    }
    return {};
}

void DeviceUpdateManifest::chooseFallback()
{
    m_primaryPath = m_conditions.isEmpty() ? FallbackPath : m_conditions.first().path;
    if (!m_conditions.isEmpty() && m_conditions.first().comparison == Comparison::Lower)
        m_targetVersion = m_conditions.first().version;
    qCInfo(libraryLog).noquote().nospace()
        << "DeviceUpdateManifest::ParseFromJson() no primary condition defined, using fallback path=" << m_primaryPath
        << " and version=" << m_targetVersion;
}

QString DeviceUpdateManifest::readCopies(const QJsonObject &root)
{
    const QJsonValue value = root.value(QLatin1String("copyFileDescriptions"));
    if (!value.isUndefined() && !value.isArray())
        return QStringLiteral("\"copyFileDescriptions\" is no list");
    const QJsonArray list = value.toArray();
    for (const QJsonValue element : list) {
        if (!element.isObject())
            return QStringLiteral("\"copyFileDescriptions\" holds what is no object");
        FileCopyDescription copy;
        const QJsonObject object = element.toObject();
        QString fault =
            firstOf(readText(object, "source", copy.source), readText(object, "destination", copy.destination),
                    readFlag(object, "prepare", copy.prepare));
        if (fault.isEmpty())
            fault = firstOf(checkPath(copy.source, "source"), checkPath(copy.destination, "destination"));
        if (!fault.isEmpty())
            return QStringLiteral("a copy description: ") + fault;
        if (copy.source.isEmpty())
            qCInfo(libraryLog,
                   "DeviceUpdateManifest::ParseFromJson() Skipping copy file description with empty source.");
        else if (copy.destination.isEmpty())
            qCInfo(libraryLog,
                   "DeviceUpdateManifest::ParseFromJson() Skipping copy file description with empty destination.");
        else
            m_copies.append(copy);
    }
    return {};
}

std::optional<QVersionNumber> DeviceUpdateManifest::ParseVersion(const QString &text)
{
    // QVersionNumber's own reading stops silently at a number that is too large, and where it stopped cannot be asked
    // for: it is declared a pure function, so that optimised code sees nothing of its second result.
    static const QRegularExpression numbers(QStringLiteral("^[0-9]+(?:\\.[0-9]+)*"));
    const QStringList words = numbers.match(text.trimmed()).captured().split(QLatin1Char('.'), Qt::SkipEmptyParts);
    QVector<int> segments;
    for (const QString &word : words) {
        bool fits = false;
        segments.append(word.toInt(&fits));
        if (!fits)
            return std::nullopt;
    }
    if (segments.isEmpty())
        return std::nullopt;
    return QVersionNumber(segments).normalized();
}

QString DeviceUpdateManifest::ComparisonText(Comparison comparison)
{
    return QLatin1String(ComparisonTexts[std::size_t(comparison)]);
}

bool DeviceUpdateManifest::Compare(const QVersionNumber &current, Comparison comparison, const QVersionNumber &version)
{
    const int order = QVersionNumber::compare(current.normalized(), version.normalized());
    switch (comparison) {
    case Comparison::None:
        return true;
    case Comparison::Lower:
        return order < 0;
    case Comparison::LowerOrEqual:
        return order <= 0;
    case Comparison::Equal:
        return order == 0;
    case Comparison::HigherOrEqual:
        return order >= 0;
    case Comparison::Higher:
        return order > 0;
    case Comparison::Different:
        return order != 0;
    }
    return false;
}

} // namespace CommonNOX::Devices
