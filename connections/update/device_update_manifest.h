#pragma once

#include "connections/update/file_copy_description.h"
#include "nox_export.h"

#include <QHash>
#include <QStringList>
#include <QVector>
#include <QVersionNumber>

#include <optional>

class QJsonObject;

namespace CommonNOX::Devices
{

/// What a device tells of itself, to compare a manifest with.
struct DeviceUpdateContext
{
    /// First lines of files on the device by path; a file that is missing there is missing here.
    QHash<QString, QString> versions;
    /// Compared with the manifest's where both are given.
    QString deviceClass;
    bool acceptsDummies = false;
    /// An update by this very package was interrupted: what it has changed by then must not keep it from going on, so
    /// that conditions do not count.
    bool isUnderWay = false;
};

/// The description of an update package: when it applies to a device, and what is to be done there. A plain value.
///
/// docs/update.md describes the format.
class NOX_EXPORT DeviceUpdateManifest
{
public:
    /// Longer texts are refused, in bytes.
    static constexpr int MaximumSize = 4 * 1024 * 1024;
    static constexpr int MaximumPathLength = 1024;

    enum class Comparison { None, Lower, LowerOrEqual, Equal, HigherOrEqual, Higher, Different };

    /// Holds when the device's version at the path, `comparison`, `version` is true.
    struct Condition
    {
        QString name;
        QString path; ///< of the file on the device whose first line is the current version
        QString version;
        Comparison comparison = Comparison::None; ///< without one, the file only has to be there
        bool isPrimary = false;
    };

    struct ConditionResult
    {
        Condition condition;
        std::optional<QString> currentVersion; ///< the line as it is; nothing where there is no such file
        bool holds = false;
        QString reason; ///< one sentence, also when it holds
    };

    /// Nothing, with one line in the log and the reason in @p error, for a text that is no manifest: not JSON, a member
    /// of a wrong type, an unknown comparison, a version that is none, a path with a NUL or too long.
    static std::optional<DeviceUpdateManifest> ParseFromJson(const QByteArray &json, QString *error = nullptr);

    /// The numbers that a text starts with, such as 1.2.3 in "1.2.3-rc1 (build 7)", without zeros at their end. Nothing
    /// when it does not start with a number or one of them exceeds 2^31-1.
    static std::optional<QVersionNumber> ParseVersion(const QString &text);
    /// The text of a comparison, such as "<=".
    static QString ComparisonText(Comparison comparison);
    static bool Compare(const QVersionNumber &current, Comparison comparison, const QVersionNumber &version);

    QString getDeviceClass() const { return m_deviceClass; }
    const QVector<Condition> &getConditions() const { return m_conditions; } ///< sorted by name
    bool isDummy() const { return m_isDummy; }
    int getPriority() const { return m_priority; }
    const QStringList &getPreCommands() const { return m_preCommands; }
    /// In the manifest's order, those with an empty source or destination left out.
    const QVector<Connections::FileCopyDescription> &getCopyFileDescriptions() const { return m_copies; }
    const QStringList &getPostCommands() const { return m_postCommands; }

    /// Whether a condition was marked as the primary one; the last of them by name counts.
    bool hasPrimaryCondition() const { return m_hasPrimary; }
    /// Where the device tells its software version: the primary condition's path. Without a primary condition, the path
    /// of the first condition by name; without conditions "/etc/version".
    QString getPrimaryPath() const { return m_primaryPath; }
    /// The version that the primary path tells after the update: the primary condition's "target_version"; empty where
    /// the manifest does not tell. Without a primary condition, the version of the first condition by name if it
    /// compares with "<" (a package that brings older devices up to that version), else empty.
    QString getTargetVersion() const { return m_targetVersion; }

    /// The paths of all conditions, each once, and the primary path.
    QStringList getVersionPaths() const;

    /// One result a condition.
    QVector<ConditionResult> examine(const DeviceUpdateContext &context) const;
    /// Whether class, dummy mark and every condition admit the update; the first that does not is logged, and told in
    /// @p reason. Of an update that is under way only class and dummy mark count.
    bool checkForUpdateWithContext(const DeviceUpdateContext &context, QString *reason = nullptr) const;

private:
    QString read(const QJsonObject &root);
    QString readConditions(const QJsonObject &conditions);
    QString readCopies(const QJsonObject &root);
    void chooseFallback();

    QString m_deviceClass;
    QVector<Condition> m_conditions;
    bool m_isDummy = false;
    int m_priority = 0;
    QStringList m_preCommands;
    QVector<Connections::FileCopyDescription> m_copies;
    QStringList m_postCommands;
    bool m_hasPrimary = false;
    QString m_primaryPath;
    QString m_targetVersion;
};

} // namespace CommonNOX::Devices
