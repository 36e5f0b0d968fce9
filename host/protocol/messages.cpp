#include "host/protocol/messages.h"

#include "host/protocol/message_names.h"
#include "host/protocol/packed_numbers.h"
#include "platform/json_keys.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>
#include <limits>

namespace NoxHost
{

using namespace Wire::PeriodMembers;

namespace
{

constexpr qint64 LargestIndex = Wire::LargestInteger;
constexpr qint64 LargestChannel = std::numeric_limits<qint32>::max();

/// Reads members of one object; the first that is wrong makes the sentence.
class Members
{
public:
    Members(const QJsonObject &object, QString &error) : m_object(object), m_error(error) {}

    template <class Number>
    Members &whole(const QString &name, qint64 lowest, qint64 highest, Number &number)
    {
        qint64 value = 0;
        if (isGood() && !readWholeNumber(m_object.value(name), lowest, highest, value))
            complain(name, QStringLiteral("a whole number from %1 to %2").arg(lowest).arg(highest));
        number = Number(value);
        return *this;
    }

    template <class Number>
    Members &optionalWhole(const QString &name, qint64 lowest, qint64 highest, Number &number)
    {
        return m_object.contains(name) ? whole(name, lowest, highest, number) : *this;
    }

    Members &number(const QString &name, double &number)
    {
        const QJsonValue value = m_object.value(name);
        if (isGood() && !value.isDouble())
            complain(name, QStringLiteral("a number"));
        number = value.toDouble();
        return *this;
    }

    Members &optionalNumber(const QString &name, double &value)
    {
        return m_object.contains(name) ? number(name, value) : *this;
    }

    Members &text(const QString &name, QString &text)
    {
        const QJsonValue value = m_object.value(name);
        if (isGood() && !value.isString())
            complain(name, QStringLiteral("a text"));
        text = value.toString();
        return *this;
    }

    bool isGood() const { return m_error.isEmpty(); }

private:
    void complain(const QString &name, const QString &wanted)
    {
        m_error = QStringLiteral("\"%1\" is not %2").arg(name, wanted);
    }

    const QJsonObject &m_object;
    QString &m_error;
};

bool isPulseOutside(const RawPeriod &period)
{
    for (const auto &peak : period.peaks) {
        if (peak.time < period.startTicks || peak.time > period.endTicks)
            return true;
    }
    return false;
}

bool readPeriod(const QJsonObject &object, RawPeriod &period, QString &error)
{
    QString peaks;
    Members(object, error)
        .whole(StartTime, -Wire::LargestInteger, Wire::LargestInteger, period.startTicks)
        .whole(EndTime, -Wire::LargestInteger, Wire::LargestInteger, period.endTicks)
        .whole(SampleRate, 0, std::numeric_limits<quint32>::max(), period.sampleRate)
        .number(PdCalibration, period.pdCalibration)
        .optionalNumber(PdHardwareCorrection, period.pdHardwareCorrection)
        .optionalNumber(TvHardwareCorrection, period.tvHardwareCorrection)
        .optionalNumber(TvCalibration, period.tvCalibration)
        .optionalWhole(Flags, 0, std::numeric_limits<quint32>::max(), period.flags)
        .text(Peaks, peaks);
    if (!error.isEmpty())
        return false;
    if (!decodePeaks(peaks, period.peaks))
        error = QStringLiteral("\"Peaks\" is no base64 of records of %1 bytes").arg(Wire::BytesOfPeak);
    else if (period.endTicks > period.startTicks && isPulseOutside(period))
        error = QStringLiteral("a pulse lies outside its period");
    return error.isEmpty();
}

QByteArray numberText(double value)
{
    return std::isfinite(value) ? QByteArray::number(value, 'g', 17) : QByteArrayLiteral("0");
}

} // namespace

bool readWholeNumber(const QJsonValue &value, qint64 lowest, qint64 highest, qint64 &number)
{
    if (!value.isDouble())
        return false;
    const double read = value.toDouble();
    if (!(read >= double(lowest) && read <= double(highest)) || read != std::floor(read))
        return false;
    number = qint64(read);
    return true;
}

WireMessage readMessage(const QByteArray &line)
{
    WireMessage message;
    if (const auto key = Shared::FindRepeatedJsonKey(line)) {
        message.error =
            QStringLiteral("the line names \"%1\" twice in one object").arg(QString::fromUtf8(key->left(80)));
        return message;
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(line, &parseError);
    if (!document.isObject()) {
        message.error = parseError.error == QJsonParseError::NoError
                            ? QStringLiteral("the line is no JSON object")
                            : QStringLiteral("the line is no JSON: %1 at byte %2")
                                  .arg(parseError.errorString())
                                  .arg(parseError.offset);
        return message;
    }
    message.object = document.object();
    message.name = message.object.value(Wire::Message).toString();
    if (message.name.isEmpty())
        message.error = QStringLiteral("the object has no text \"message\"");
    return message;
}

QByteArray writeMessage(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

QJsonObject makeMessage(const QString &name)
{
    return {{Wire::Message, name}};
}

QJsonObject makeErrorMessage(const QString &reason)
{
    return {{Wire::Message, Wire::Names::Error}, {Wire::Reason, reason}};
}

bool readPeriodBlock(const QJsonObject &message, PeriodBlock &block, QString &error)
{
    error.clear();
    block.periods.clear();
    qint64 first = 0;
    Members(message, error)
        .whole(Wire::Channel, 0, LargestChannel, block.channel)
        .whole(Wire::Index, 0, LargestIndex, first);
    const QJsonArray periods = message.value(Periods).toArray();
    if (error.isEmpty() && periods.isEmpty())
        error = QStringLiteral("\"periods\" is no list of periods");
    if (error.isEmpty() && first > LargestIndex - periods.size())
        error = QStringLiteral("the indices of the periods leave their range");
    for (const QJsonValue &value : periods) {
        if (!error.isEmpty())
            break;
        RawPeriod &period = block.periods.emplace_back();
        period.channel = block.channel;
        period.index = quint64(first++);
        readPeriod(value.toObject(), period, error);
    }
    return error.isEmpty();
}

bool readVoltageScope(const QJsonObject &message, WireVoltageScope &scope, QString &error)
{
    error.clear();
    QString samples;
    Members(message, error)
        .whole(Wire::Index, 0, LargestIndex, scope.index)
        .optionalWhole(StartTime, -Wire::LargestInteger, Wire::LargestInteger, scope.startTicks)
        .whole(SampleRate, 0, std::numeric_limits<quint32>::max(), scope.sampleRate)
        .optionalNumber(HardwareCorrection, scope.hardwareCorrection)
        .number(Calibration, scope.calibration)
        .text(Samples, samples);
    if (error.isEmpty() && !decodeSamples(samples, scope.samples))
        error = QStringLiteral("\"Samples\" is no base64 of records of 4 bytes");
    return error.isEmpty();
}

bool readOverrun(const QJsonObject &message, OverrunReport &overrun, QString &error)
{
    error.clear();
    Members(message, error)
        .whole(Wire::Channel, 0, LargestChannel, overrun.channel)
        .whole(Wire::From, 0, LargestIndex, overrun.from)
        .whole(Wire::To, 0, LargestIndex, overrun.to);
    if (error.isEmpty() && overrun.to < overrun.from)
        error = QStringLiteral("\"to\" lies before \"from\"");
    return error.isEmpty();
}

QByteArray writePeriodBlock(const RawPeriod &period)
{
    return "{\"message\":\"period_block\",\"channel\":" + QByteArray::number(period.channel) +
           ",\"index\":" + QByteArray::number(period.index) +
           ",\"periods\":[{\"StartTime\":" + QByteArray::number(period.startTicks) +
           ",\"EndTime\":" + QByteArray::number(period.endTicks) +
           ",\"SampleRate\":" + QByteArray::number(period.sampleRate) +
           ",\"PdHardwareCorrection\":" + numberText(period.pdHardwareCorrection) +
           ",\"PdCalibration\":" + numberText(period.pdCalibration) +
           ",\"TvHardwareCorrection\":" + numberText(period.tvHardwareCorrection) +
           ",\"TvCalibration\":" + numberText(period.tvCalibration) + ",\"Flags\":" + QByteArray::number(period.flags) +
           ",\"Peaks\":\"" + encodePeaks(period.peaks) + "\"}]}\n";
}

QByteArray writeVoltageScope(const WireVoltageScope &scope)
{
    return "{\"message\":\"voltage_scope\",\"index\":" + QByteArray::number(scope.index) +
           ",\"StartTime\":" + QByteArray::number(scope.startTicks) +
           ",\"SampleRate\":" + QByteArray::number(scope.sampleRate) +
           ",\"HardwareCorrection\":" + numberText(scope.hardwareCorrection) +
           ",\"Calibration\":" + numberText(scope.calibration) + ",\"Samples\":\"" + encodeSamples(scope.samples) +
           "\"}\n";
}

QByteArray writeOverrun(const OverrunReport &overrun)
{
    return "{\"message\":\"overrun\",\"channel\":" + QByteArray::number(overrun.channel) +
           ",\"from\":" + QByteArray::number(overrun.from) + ",\"to\":" + QByteArray::number(overrun.to) + "}\n";
}

} // namespace NoxHost
