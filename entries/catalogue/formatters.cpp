#include "entries/catalogue/formatters.h"

#include "entries/data_entry.h"
#include "entries/measurement/peak.h"
#include "entries/measurement/samples.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <array>
#include <cmath>

namespace CommonNOX::Entries::Format
{

static constexpr char context[] = "CommonNOX::Entries";

static QString translated(const char *text)
{
    return QCoreApplication::translate(context, text);
}

static QString significant(double value)
{
    constexpr int digits = 4;
    constexpr int mostDecimals = 9;
    if (!std::isfinite(value))
        return QStringLiteral("–");
    if (value == 0.0)
        return QLocale().toString(0);
    const double exponent = std::floor(std::log10(std::abs(value)));
    if (exponent < digits - mostDecimals || exponent > 9)
        return QLocale().toString(value, 'g', digits);
    int decimals = std::max(0, digits - 1 - static_cast<int>(exponent));
    qint64 scaled = std::llround(value * std::pow(10.0, decimals));
    for (; decimals > 0 && scaled % 10 == 0; --decimals)
        scaled /= 10;
    return QLocale().toString(static_cast<double>(scaled) / std::pow(10.0, decimals), 'f', decimals);
}

static bool isNumber(const QVariant &value)
{
    switch (static_cast<QMetaType::Type>(value.userType())) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float:
        return true;
    default:
        return false;
    }
}

QString number(const QVariant &value)
{
    return isNumber(value) ? significant(value.toDouble()) : QString();
}

QString quantity(const QVariant &value, const QString &unit)
{
    const QString text = number(value);
    return text.isEmpty() || unit.isEmpty() ? text : text + QLatin1Char(' ') + unit;
}

QString bitWidth(const QVariant &value)
{
    return quantity(value, QStringLiteral("bit"));
}

QString celsius(const QVariant &value)
{
    return quantity(value, QStringLiteral("°C"));
}

QString decibelsPerKilometre(const QVariant &value)
{
    return quantity(value, QStringLiteral("dB/km"));
}

QString hectopascals(const QVariant &value)
{
    return quantity(value, QStringLiteral("hPa"));
}

QString hertz(const QVariant &value)
{
    return quantity(value, QStringLiteral("Hz"));
}

QString kilovolts(const QVariant &value)
{
    return quantity(value, QStringLiteral("kV"));
}

QString lossFactor(const QVariant &value)
{
    return isNumber(value) ? quantity(value.toDouble() * 1000.0, QStringLiteral("·10⁻³")) : QString();
}

QString metres(const QVariant &value)
{
    return quantity(value, QStringLiteral("m"));
}

QString metresPerMicrosecond(const QVariant &value)
{
    return quantity(value, QStringLiteral("m/µs"));
}

QString microseconds(const QVariant &value)
{
    return quantity(value, QStringLiteral("µs"));
}

QString millihenries(const QVariant &value)
{
    return quantity(value, QStringLiteral("mH"));
}

QString milliseconds(const QVariant &value)
{
    return quantity(value, QStringLiteral("ms"));
}

QString nanofarads(const QVariant &value)
{
    return quantity(value, QStringLiteral("nF"));
}

QString percent(const QVariant &value)
{
    return quantity(value, QStringLiteral("%"));
}

QString picocoulombs(const QVariant &value)
{
    return quantity(value, QStringLiteral("pC"));
}

QString seconds(const QVariant &value)
{
    return quantity(value, QStringLiteral("s"));
}

QString ticks(const QVariant &value)
{
    return isNumber(value) ? translated("%1 ticks").arg(value.toLongLong()) : QString();
}

QString sampleRate(const QVariant &value)
{
    struct Prefix
    {
        double factor;
        const char *unit;
    };
    static constexpr std::array<Prefix, 4> prefixes = {{{1e9, "GHz"}, {1e6, "MHz"}, {1e3, "kHz"}, {1.0, "Hz"}}};
    if (!isNumber(value))
        return {};
    const double rate = value.toDouble();
    if (rate == 0.0)
        return translated("unknown");
    for (const Prefix &prefix : prefixes) {
        if (std::abs(rate) >= prefix.factor)
            return quantity(rate / prefix.factor, QLatin1String(prefix.unit));
    }
    return hertz(rate);
}

QString calibrationFactor(const QVariant &value)
{
    constexpr double calibratedAbove = 1e-12;
    if (!isNumber(value))
        return {};
    return std::abs(value.toDouble()) <= calibratedAbove ? translated("not calibrated") : number(value);
}

QString duration(const QVariant &value)
{
    if (!isNumber(value))
        return {};
    const qint64 time = value.toLongLong();
    const quint64 magnitude = time < 0 ? 0 - static_cast<quint64>(time) : static_cast<quint64>(time);
    if (magnitude < 60000)
        return seconds(static_cast<double>(time) / 1000.0);
    const quint64 total = magnitude / 1000;
    return QStringLiteral("%1%2:%3:%4")
        .arg(time < 0 ? QStringLiteral("-") : QString())
        .arg(total / 3600)
        .arg(total / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(total % 60, 2, 10, QLatin1Char('0'));
}

QString date(const QVariant &value)
{
    // A day of manufacture is a day wherever it is read, so no conversion to local time.
    return value.toDateTime().date().toString(Qt::ISODate);
}

QString dateTime(const QVariant &value)
{
    return value.toDateTime().toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

QString epochTime(const QVariant &value)
{
    const qint64 time = isNumber(value) ? value.toLongLong() : 0;
    return time == 0 ? QString() : dateTime(QDateTime::fromMSecsSinceEpoch(time));
}

QString yesNo(const QVariant &value)
{
    if (value.userType() != QMetaType::Bool)
        return {};
    return value.toBool() ? translated("yes") : translated("no");
}

QString bits(const QVariant &value)
{
    return isNumber(value) ? QStringLiteral("0x%1").arg(value.toUInt(), 4, 16, QLatin1Char('0')) : QString();
}

QString periodFlags(const QVariant &value)
{
    static constexpr std::array<Word, 3> words = {{
        {1, QT_TRANSLATE_NOOP("CommonNOX::Entries", "dirty")},
        {4, QT_TRANSLATE_NOOP("CommonNOX::Entries", "millivolts")},
        {8, QT_TRANSLATE_NOOP("CommonNOX::Entries", "discarded")},
    }};
    if (!isNumber(value))
        return {};
    QStringList found;
    for (const Word &flag : words) {
        if (value.toUInt() & static_cast<uint>(flag.value))
            found += translated(flag.text);
    }
    return found.isEmpty() ? translated("none") : found.join(QStringLiteral(", "));
}

QString entry(const QVariant &value)
{
    return DataEntryFromVariant(value) ? translated("available") : QString();
}

QString items(const QVariant &value)
{
    if (value.userType() != QMetaType::QVariantList && value.userType() != QMetaType::QStringList)
        return {};
    const int count = value.toList().size();
    return count == 1 ? translated("1 item") : QCoreApplication::translate(context, "%n items", nullptr, count);
}

QString element(const QVariant &value)
{
    if (value.userType() == QMetaType::Bool)
        return yesNo(value);
    if (value.userType() == QMetaType::QVariantList || value.userType() == QMetaType::QStringList)
        return joined(value);
    return isNumber(value) ? number(value) : value.toString();
}

QString joined(const QVariant &value)
{
    QStringList texts;
    for (const QVariant &each : value.toList())
        texts += element(each);
    return texts.join(QStringLiteral(", "));
}

QString points(const QVariant &value)
{
    if (!value.canConvert<ValueVector>())
        return {};
    const int count = value.value<ValueVector>().size() / 2;
    return count == 1 ? translated("1 point") : QCoreApplication::translate(context, "%n points", nullptr, count);
}

QString pulses(const QVariant &value)
{
    if (!value.canConvert<Results::Space2D::PeakVector>())
        return {};
    const int count = value.value<Results::Space2D::PeakVector>().size();
    return count == 1 ? translated("1 pulse") : QCoreApplication::translate(context, "%n pulses", nullptr, count);
}

QString samples(const QVariant &value)
{
    if (!value.canConvert<SampleVector>())
        return {};
    const int count = value.value<SampleVector>().size();
    return count == 1 ? translated("1 sample") : QCoreApplication::translate(context, "%n samples", nullptr, count);
}

QString values(const QVariant &value)
{
    if (!value.canConvert<ValueVector>())
        return {};
    const int count = value.value<ValueVector>().size();
    return count == 1 ? translated("1 value") : QCoreApplication::translate(context, "%n values", nullptr, count);
}

QString picture(const QVariant &value)
{
    const QByteArray bytes = value.toByteArray();
    return bytes.isEmpty() ? QString() : QLocale().formattedDataSize(bytes.size(), 1);
}

QString range(const QVariant &value)
{
    const QVariantList ends = value.toList();
    return ends.size() == 2 ? element(ends.first()) + QStringLiteral("–") + element(ends.last()) : element(value);
}

static QString numbered(const QVariant &value, QString (*text)(const QVariant &))
{
    QStringList texts;
    int channel = 0;
    for (const QVariant &each : value.toList())
        texts += QStringLiteral("%1: %2").arg(++channel).arg(text(each));
    return texts.join(QStringLiteral(", "));
}

QString channels(const QVariant &value)
{
    return numbered(value, element);
}

QString channelRanges(const QVariant &value)
{
    return numbered(value, range);
}

QString degreeRanges(const QVariant &value)
{
    QStringList texts;
    for (const QVariant &each : value.toList())
        texts += range(each) + QStringLiteral("°");
    return texts.join(QStringLiteral(", "));
}

QString word(const QVariant &value, std::span<const Word> words)
{
    if (!isNumber(value))
        return {};
    for (const Word &each : words) {
        if (each.value == value.toInt())
            return translated(each.text);
    }
    return QString::number(value.toInt());
}

} // namespace CommonNOX::Entries::Format
