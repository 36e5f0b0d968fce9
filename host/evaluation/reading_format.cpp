#include "host/evaluation/reading_format.h"

#include "entries/measurement/samples.h"
#include "entries/property_keys.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace NoxHost
{

using namespace CommonNOX;
namespace Keys = Entries::Keys;

namespace
{

constexpr int Digits = 17;
constexpr int DigitsForPeople = 6;

std::string numberText(double value, int digits = Digits)
{
    char text[40];
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::general, digits).ptr;
    return std::string(text, end);
}

std::string jsonString(const QString &text)
{
    std::string out = "\"";
    for (const char c : text.toUtf8()) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (uchar(c) < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", unsigned(uchar(c)));
            out += escaped;
        } else {
            out += c;
        }
    }
    return out + '"';
}

std::string jsonValue(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::Bool:
        return value.toBool() ? "true" : "false";
    case QMetaType::Int:
    case QMetaType::LongLong:
        return std::to_string(value.toLongLong());
    case QMetaType::UInt:
    case QMetaType::ULongLong:
        return std::to_string(value.toULongLong());
    case QMetaType::Double:
        return std::isfinite(value.toDouble()) ? numberText(value.toDouble()) : "null";
    case QMetaType::UnknownType:
        return "null";
    case QMetaType::QByteArray:
        return '"' + value.toByteArray().toBase64().toStdString() + '"';
    default:
        break;
    }
    if (value.userType() != qMetaTypeId<Entries::ValueVector>())
        return jsonString(value.toString());
    std::string list = "[";
    const auto values = value.value<Entries::ValueVector>();
    for (const double element : values) {
        if (list.size() > 1)
            list += ',';
        list += jsonValue(element);
    }
    return list += ']';
}

QString forPeople(const QVariant &value)
{
    if (value.userType() == QMetaType::Double)
        return QString::fromStdString(numberText(value.toDouble(), DigitsForPeople));
    if (value.userType() == qMetaTypeId<Entries::ValueVector>())
        return QStringLiteral("%1 values").arg(value.value<Entries::ValueVector>().size());
    if (value.userType() == QMetaType::QByteArray)
        return QStringLiteral("%1 bytes").arg(value.toByteArray().size());
    return value.toString();
}

} // namespace

std::string toJsonLine(const Reading &reading)
{
    std::string line = "{\"period\":" + std::to_string(reading.period);
    if (reading.channel >= 0)
        line += ",\"channel\":" + std::to_string(reading.channel);
    line += ",\"processor\":" + jsonString(reading.processor);
    for (const QString &name : reading.record->getPropertyNames())
        line += ',' + jsonString(name) + ':' + jsonValue(reading.record->get(name));
    return line + "}\n";
}

std::string csvField(const QVariant &value)
{
    if (value.userType() == QMetaType::Double)
        return numberText(value.toDouble());
    if (value.userType() == QMetaType::QByteArray)
        return value.toByteArray().toBase64().toStdString();
    std::string text =
        value.userType() == qMetaTypeId<Entries::ValueVector>() ? jsonValue(value) : value.toString().toStdString();
    if (text.find_first_of(",\"\r\n") == std::string::npos)
        return text;
    for (std::size_t quote = text.find('"'); quote != std::string::npos; quote = text.find('"', quote + 2))
        text.insert(quote, 1, '"');
    return text.insert(0, 1, '"') += '"';
}

std::string csvHeader()
{
    return "period,channel,processor,property,value\n";
}

std::string toCsvLines(const Reading &reading)
{
    const std::string head = std::to_string(reading.period) + ',' +
                             (reading.channel >= 0 ? std::to_string(reading.channel) : std::string()) + ',' +
                             csvField(reading.processor) + ',';
    std::string lines;
    for (const QString &name : reading.record->getPropertyNames())
        lines += head + csvField(name) + ',' + csvField(reading.record->get(name)) + '\n';
    return lines;
}

QString describeRecord(const Reading &reading)
{
    const QString unit = reading.record->get(Keys::Unit).toString();
    if (reading.record->getProperties().contains(Keys::AbsolutePeakValue)) {
        return QStringLiteral("%1 %4 peak, + %2 / - %3 %4")
            .arg(forPeople(reading.record->get(Keys::AbsolutePeakValue)),
                 forPeople(reading.record->get(Keys::AbsoluteMaximumValue)),
                 forPeople(reading.record->get(Keys::AbsoluteMinimumValue)), unit);
    }
    QStringList parts;
    for (const QString &name : reading.record->getPropertyNames()) {
        const QVariant value = reading.record->get(name);
        QString text = forPeople(value);
        if (name == Keys::Unit.toString() || text.isEmpty())
            continue;
        if (value.userType() == QMetaType::Double && !unit.isEmpty())
            text += QLatin1Char(' ') + unit;
        if (name == Keys::Value.toString())
            parts.append(text);
        else
            parts.append(
                QStringLiteral("%1 %2").arg(reading.record->getProperty(name).getDescription().toLower(), text));
    }
    return parts.join(QStringLiteral(", "));
}

std::string tableHeader()
{
    return "    period  channel  processor  reading\n";
}

QString describeChannel(const Reading &reading)
{
    return reading.channel < 0 ? QStringLiteral("device") : QString::number(reading.channel);
}

std::string toTableLine(const Reading &reading)
{
    return QStringLiteral("%1  %2  ").arg(reading.period, 10).arg(describeChannel(reading), 7).toStdString() +
           reading.processor.leftJustified(9).toStdString() + "  " + describeRecord(reading).toStdString() + '\n';
}

} // namespace NoxHost
