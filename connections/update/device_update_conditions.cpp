#include "connections/update/device_update_manifest.h"
#include "entries/log.h"

namespace CommonNOX::Devices
{

namespace
{

/// What a device may have in its version file, fit for one line.
QString shown(const QString &text)
{
    constexpr int MostCharacters = 80;
    QString line = text.left(MostCharacters).simplified();
    for (QChar &character : line) {
        if (!character.isPrint())
            character = QLatin1Char('?');
    }
    return line;
}

DeviceUpdateManifest::ConditionResult examineCondition(const DeviceUpdateManifest::Condition &condition,
                                                       const DeviceUpdateContext &context)
{
    using Manifest = DeviceUpdateManifest;
    Manifest::ConditionResult result{condition, std::nullopt, false, {}};
    const auto line = context.versions.constFind(condition.path);
    if (line == context.versions.constEnd()) {
        result.reason = QStringLiteral("the device has no file %1").arg(shown(condition.path));
        return result;
    }
    result.currentVersion = *line;
    if (condition.comparison == Manifest::Comparison::None) {
        result.holds = true;
        result.reason = QStringLiteral("%1 at %2, not compared").arg(shown(*line), shown(condition.path));
        return result;
    }
    const auto current = Manifest::ParseVersion(*line);
    const auto wanted = Manifest::ParseVersion(condition.version);
    if (!current || !wanted) {
        result.reason = QStringLiteral("\"%1\" at %2 is no version").arg(shown(*line), shown(condition.path));
        return result;
    }
    result.holds = Manifest::Compare(*current, condition.comparison, *wanted);
    result.reason = QStringLiteral("%1 at %2 is %3%4 %5")
                        .arg(shown(*line), shown(condition.path), result.holds ? QString() : QStringLiteral("not "),
                             Manifest::ComparisonText(condition.comparison), condition.version);
    return result;
}

} // namespace

QStringList DeviceUpdateManifest::getVersionPaths() const
{
    QStringList paths{m_primaryPath};
    for (const Condition &condition : m_conditions)
        paths.append(condition.path);
    paths.removeDuplicates();
    return paths;
}

QVector<DeviceUpdateManifest::ConditionResult> DeviceUpdateManifest::examine(const DeviceUpdateContext &context) const
{
    QVector<ConditionResult> results;
    results.reserve(m_conditions.size());
    for (const Condition &condition : m_conditions)
        results.append(examineCondition(condition, context));
    return results;
}

bool DeviceUpdateManifest::checkForUpdateWithContext(const DeviceUpdateContext &context, QString *reason) const
{
    QString found;
    if (m_isDummy && !context.acceptsDummies) {
        found = QStringLiteral("it is a test package, and these are not enabled");
    } else if (!m_deviceClass.isEmpty() && !context.deviceClass.isEmpty() && m_deviceClass != context.deviceClass) {
        found = QStringLiteral("it is for devices of class \"%1\", not \"%2\"")
                    .arg(shown(m_deviceClass), shown(context.deviceClass));
    } else if (!context.isUnderWay) {
        const QVector<ConditionResult> results = examine(context);
        for (const ConditionResult &result : results) {
            if (result.holds)
                continue;
            found = QStringLiteral("condition %1: %2").arg(shown(result.condition.name), result.reason);
            qCInfo(libraryLog).noquote().nospace()
                << "DeviceUpdateManifest::checkForUpdateWithContext() update version is not '"
                << ComparisonText(result.condition.comparison) << "' than current version for '"
                << shown(result.condition.path)
                << "' (current version=" << shown(result.currentVersion.value_or(QString()))
                << ", update version=" << shown(result.condition.version) << ")";
            break;
        }
    }
    if (!found.isEmpty())
        qCInfo(libraryLog).noquote().nospace()
            << "DeviceUpdateManifest::checkForUpdateWithContext() does not apply: " << found;
    if (reason)
        *reason = found;
    return found.isEmpty();
}

} // namespace CommonNOX::Devices
