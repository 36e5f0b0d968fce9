// The stored format of the catalogue against its golden listing, and what all entry classes promise.
//
// A difference in the listing means that records stored earlier no longer read as they did. Give a changed class a
// new version; after adding a class, write the listing anew with NOX_UPDATE_GOLDEN=1 in the environment and read the
// difference before you keep it.

#include "entries/cable_topology.h"
#include "entries/catalogue/administration.h"
#include "entries/catalogue/calibration.h"
#include "entries/catalogue/recording.h"
#include "entries/catalogue/results_dac.h"
#include "entries/catalogue/results_pd.h"
#include "entries/catalogue/results_values.h"
#include "entries/catalogue/test.h"
#include "entries/measurement/peak.h"
#include "entries/measurement/samples.h"
#include "entries/property_keys.h"

#include <QDataStream>
#include <QDateTime>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMetaEnum>
#include <QSet>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

using namespace CommonNOX;
using namespace CommonNOX::Entries;
// Inside a test, `Test` is the class of the test framework.
namespace TestRecords = CommonNOX::Entries::Test;

static QByteArray bytesOf(const QVariant &value)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << value;
    return bytes;
}

static std::string nameOf(const EntryClassInformation &known)
{
    return (known.category + QLatin1Char('_') + known.version).toStdString();
}

template <class Enumeration>
static QString listed()
{
    const QMetaEnum meta = QMetaEnum::fromType<Enumeration>();
    QString text =
        QStringLiteral("\nenumeration %1::%2\n").arg(QLatin1String(meta.scope()), QLatin1String(meta.name()));
    for (int i = 0; i < meta.keyCount(); ++i)
        text += QStringLiteral("    %1=%2\n").arg(QLatin1String(meta.key(i))).arg(meta.value(i));
    return text;
}

static QString listing()
{
    QStringList classes;
    for (const EntryClassInformation &known : RegisteredEntryClasses()) {
        // What the parser hands out is the pointer by its full name, which is stored with nested entries.
        const auto parsed = known.createParser()->parse(QByteArray());
        QString text = QStringLiteral("\n%1\n%2 %3_%4\n")
                           .arg(QLatin1String(parsed->typeName()), known.guid, known.category, known.version);
        const DataEntryPtr entry = known.create();
        for (const QString &name : entry->getPropertyNames()) {
            const QVariant value = entry->get(name);
            const QLatin1String type(value.isValid() ? value.typeName() : "any");
            text += QStringLiteral("    %1:%2\n").arg(name, type);
        }
        classes += text;
    }
    classes.sort();
    QStringList enumerations = {
        listed<Cable::DacCableTopology>(),
        listed<Calibration::CalibrationAnalysisDestinationType>(),
        listed<Calibration::CalibrationAnalysisSourceType>(),
        listed<Calibration::CalibrationStatus>(),
        listed<Procedure::ProcedureType>(),
        listed<Recording::PdGlobalNavigationType>(),
        listed<Results::Space2D::CableEnd>(),
        listed<TestRecords::MeasureMode>(),
        listed<TestRecords::MeasurementType>(),
        listed<TestRecords::TestResult>(),
        listed<TestRecords::TestStatus>(),
    };
    return (classes + enumerations).join(QString()).mid(1);
}

TEST(Catalogue, StoredFormatStaysAsListed)
{
    QFile golden(QFileInfo(QStringLiteral(__FILE__)).path() + QStringLiteral("/catalogue.golden"));
    const QStringList actual = listing().split(QLatin1Char('\n'));
    if (qEnvironmentVariableIsSet("NOX_UPDATE_GOLDEN")) {
        ASSERT_TRUE(golden.open(QIODevice::WriteOnly));
        golden.write(actual.join(QLatin1Char('\n')).toUtf8());
        golden.close();
    }
    ASSERT_TRUE(golden.open(QIODevice::ReadOnly)) << golden.errorString().toStdString();
    const QStringList expected = QString::fromUtf8(golden.readAll()).split(QLatin1Char('\n'));
    for (int line = 0; line < std::max(expected.size(), actual.size()); ++line) {
        ASSERT_EQ(expected.value(line).toStdString(), actual.value(line).toStdString())
            << "catalogue.golden, line " << line + 1;
    }
}

TEST(Catalogue, IdentitiesAndLabelsAreUnique)
{
    const QStringList byContent = {TestRecords::ConfigurationV1::Guid(), TestRecords::TestV1::Guid(),
                                   Calibration::DacCalibrationAnalysisRequestV1::Guid()};
    QSet<QString> guids, keys;
    for (const EntryClassInformation &known : RegisteredEntryClasses()) {
        const DataEntryPtr entry = known.create();
        EXPECT_EQ(known.guid, entry->getGuid()) << nameOf(known);
        EXPECT_EQ(entry->isValid(), !byContent.contains(known.guid)) << nameOf(known);
        EXPECT_FALSE(entry->isDefault()) << nameOf(known);
        // Without regard to case: other systems compare GUIDs that way.
        guids += known.guid.toUpper();
        keys += QString::fromStdString(nameOf(known));
        QSet<QString> labels;
        for (const DataEntryProperty &property : entry->getProperties()) {
            const QString label = property.getDescription();
            EXPECT_TRUE(!label.isEmpty() && label.front().isUpper() && label == label.simplified())
                << nameOf(known) << " " << property.getName().toStdString();
            labels += label;
        }
        EXPECT_EQ(labels.size(), entry->getPropertyNames().size()) << nameOf(known);
    }
    EXPECT_EQ(size_t(guids.size()), RegisteredEntryClasses().size());
    EXPECT_EQ(size_t(keys.size()), RegisteredEntryClasses().size());
}

TEST(Catalogue, IconsExistAndEachIsUsed)
{
    QSet<QString> used;
    for (const EntryClassInformation &known : RegisteredEntryClasses()) {
        const DataEntryPtr entry = known.create();
        for (const DataEntryProperty &property : entry->getProperties()) {
            EXPECT_TRUE(QFile::exists(property.getIcon().name())) << property.getIcon().name().toStdString();
            used += property.getIcon().name();
        }
    }
    QDirIterator icons(QStringLiteral(":/CommonNOX/Entries/"), {QStringLiteral("*.svg")}, QDir::Files,
                       QDirIterator::Subdirectories);
    ASSERT_TRUE(icons.hasNext());
    while (icons.hasNext()) {
        const QString icon = icons.next();
        EXPECT_TRUE(used.contains(icon)) << icon.toStdString();
    }
}

/// A value of the same kind that differs from every default.
static QVariant another(const QVariant &value)
{
    Results::Space1D::SignalValueV1 nested;
    nested.set(Keys::Value, 103.2);
    nested.set(Keys::Unit, QStringLiteral("pC"));
    const auto held = QVariant::fromValue(std::make_shared<const Results::Space1D::SignalValueV1>(nested));
    switch (value.userType()) {
    case QMetaType::UnknownType:
        return held;
    case QMetaType::QVariantList:
        return QVariantList{held, QStringLiteral("µ"), QVariantList{-1, 2.5}};
    case QMetaType::QStringList:
        return QStringList{QStringLiteral("first"), QString(), QStringLiteral("third")};
    case QMetaType::QDateTime:
        return QDateTime({2024, 3, 31}, {2, 30, 15, 250}, Qt::UTC);
    case QMetaType::QByteArray:
        return QByteArray("\x89PNG\0\xff", 6);
    case QMetaType::QString:
        return QStringLiteral("Übergabe ∅");
    case QMetaType::Bool:
        return true;
    case QMetaType::Double:
        return -1.0 / 3.0;
    case QMetaType::LongLong:
        return qlonglong(1) << 53;
    case QMetaType::UInt:
        return 0xffffffffu;
    case QMetaType::Int:
        return -2;
    default:
        break;
    }
    if (value.userType() == qMetaTypeId<SampleVector>())
        return QVariant::fromValue(SampleVector{-1, 0, 0x7fffffff});
    if (value.userType() == qMetaTypeId<ValueVector>())
        return QVariant::fromValue(ValueVector{0.1, -0.0, 1e300});
    if (value.userType() == qMetaTypeId<Results::Space2D::PeakVector>())
        return QVariant::fromValue(Results::Space2D::PeakVector{{-5, 1, qint64(1) << 40, 0x10}, {}});
    return {};
}

TEST(Catalogue, EveryValueSurvivesItsStream)
{
    for (const EntryClassInformation &known : RegisteredEntryClasses()) {
        const auto parser = known.createParser();
        const DataEntryPtr filled = known.create();
        for (const QString &name : filled->getPropertyNames()) {
            const QVariant value = another(filled->get(name));
            ASSERT_TRUE(value.isValid()) << nameOf(known) << " " << name.toStdString();
            filled->set(name, value);
        }
        for (const DataEntryPtr &written : {known.create(), filled}) {
            const QByteArray raw = parser->convertToRawData(std::make_shared<QVariant>(QVariant::fromValue(written)));
            const DataEntryConstPtr read = DataEntryFromVariant(*parser->parse(raw));
            ASSERT_TRUE(read) << nameOf(known);
            for (const QString &name : written->getPropertyNames()) {
                EXPECT_EQ(bytesOf(written->get(name)), bytesOf(read->get(name)))
                    << nameOf(known) << " " << name.toStdString();
                EXPECT_EQ(written->get(name).userType(), read->get(name).userType())
                    << nameOf(known) << " " << name.toStdString();
            }
        }
        // Entries share a prototype: what was set above must not show in a new one.
        const DataEntryPtr fresh = known.create();
        for (const QString &name : fresh->getPropertyNames())
            EXPECT_NE(bytesOf(fresh->get(name)), bytesOf(filled->get(name))) << nameOf(known);
    }
}
