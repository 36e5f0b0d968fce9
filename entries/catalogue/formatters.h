#pragma once

#include <QString>
#include <QVariant>
#include <span>

namespace CommonNOX::Entries
{

/// Texts for the values of the catalogue, for people to read. Numbers follow the default QLocale and carry four
/// significant digits, trailing zeros dropped; words pass through the translation context "CommonNOX::Entries". A value
/// that is missing, empty or of another kind yields an empty text, a number that is not finite "–". Any thread.
namespace Format
{

/// A number without a unit.
QString number(const QVariant &value);
/// A number and a unit, "103.2 pC"; the unit is not translated. An empty unit is left out.
QString quantity(const QVariant &value, const QString &unit);

QString bitWidth(const QVariant &value);             ///< "14 bit"
QString celsius(const QVariant &value);              ///< "21.5 °C"
QString decibelsPerKilometre(const QVariant &value); ///< "1.2 dB/km"
QString hectopascals(const QVariant &value);         ///< "1013 hPa"
QString hertz(const QVariant &value);                ///< "50 Hz"
QString kilovolts(const QVariant &value);            ///< "12.5 kV"
QString lossFactor(const QVariant &value);           ///< tan δ in thousandths, "0.85 ·10⁻³"
QString metres(const QVariant &value);               ///< "1250 m"
QString metresPerMicrosecond(const QVariant &value); ///< "172 m/µs"
QString microseconds(const QVariant &value);         ///< "1.5 µs"
QString millihenries(const QVariant &value);         ///< "800 mH"
QString milliseconds(const QVariant &value);         ///< "20 ms"
QString nanofarads(const QVariant &value);           ///< "330 nF"
QString percent(const QVariant &value);              ///< "45 %"
QString picocoulombs(const QVariant &value);         ///< "103.2 pC"
QString seconds(const QVariant &value);              ///< "3 s"
QString ticks(const QVariant &value);                ///< "1000000 ticks", all digits

/// Samples per second with the prefix that fits: "1 MHz". 0 is "unknown".
QString sampleRate(const QVariant &value);
/// A factor, or "not calibrated" up to a magnitude of 1e-12, the threshold of the evaluation.
QString calibrationFactor(const QVariant &value);
/// Milliseconds as "12.5 s" below a minute, as "1:02:03" above.
QString duration(const QVariant &value);

QString date(const QVariant &value);      ///< "2024-03-09"
QString dateTime(const QVariant &value);  ///< "2024-03-09 14:05:06", local time
QString epochTime(const QVariant &value); ///< the same from milliseconds since 1970-01-01 UTC; 0 is an empty text

QString yesNo(const QVariant &value);
/// Bits without names, "0x0010".
QString bits(const QVariant &value);
/// The condition of a period: "dirty, millivolts, discarded" as the bits say, "none" without any of them.
QString periodFlags(const QVariant &value);

QString entry(const QVariant &value);   ///< "available" when the value holds an entry
QString items(const QVariant &value);   ///< the length of a list, "3 items"
QString joined(const QVariant &value);  ///< the elements of a short list, "a, b, c"
QString points(const QVariant &value);  ///< the length of a ValueVector of pairs, "500 points"
QString pulses(const QVariant &value);  ///< the length of a PeakVector, "12 pulses"
QString samples(const QVariant &value); ///< the length of a SampleVector, "4096 samples"
QString values(const QVariant &value);  ///< the length of a ValueVector, "12 values"
QString picture(const QVariant &value); ///< the size of encoded picture bytes, "12.3 KiB"

QString element(const QVariant &value);       ///< a value of whatever kind inside a list, a list of its own joined
QString range(const QVariant &value);         ///< a [from, to] pair, "0–7"
QString channels(const QVariant &value);      ///< one value a channel: "1: 10, 2: 20"
QString channelRanges(const QVariant &value); ///< one [from, to] pair a channel: "1: 0–7, 2: 0–5"
QString degreeRanges(const QVariant &value);  ///< [from, to] pairs: "0–90°, 180–270°"

/// A value of an enumeration and the word for it, marked for translation.
struct Word
{
    int value;
    const char *text;
};

/// The word for an enumeration's value; a value without a word as its number.
QString word(const QVariant &value, std::span<const Word> words);

} // namespace Format

} // namespace CommonNOX::Entries
