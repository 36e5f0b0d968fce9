#include "host/pulses/pulse_csv_reader.h"

#include <QBuffer>
#include <cstdlib>

namespace
{

struct Outcome
{
    quint64 periods = 0;
    quint64 pulses = 0;
    QString error;

    bool operator==(const Outcome &) const = default;
};

void require(bool holds)
{
    if (!holds)
        std::abort();
}

Outcome readAll(NoxHost::PulseCsvReader &reader, QByteArray bytes)
{
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    reader.open(&buffer, QStringLiteral("f"));
    Outcome outcome;
    quint64 lastIndex = 0;
    while (true) {
        const NoxHost::PulseCsvResult result = reader.next();
        if (result.kind != NoxHost::PulseCsvResult::Kind::Period) {
            require(result.error.isEmpty() == (result.kind == NoxHost::PulseCsvResult::Kind::End));
            outcome.error = result.error;
            return outcome;
        }
        const NoxHost::RawPeriod &period = result.period;
        require(period.channel >= 0 && period.index >= lastIndex);
        lastIndex = period.index;
        for (const auto &peak : period.peaks)
            require(period.endTicks <= period.startTicks ||
                    (peak.time >= period.startTicks && peak.time <= period.endTicks));
        ++outcome.periods;
        outcome.pulses += quint64(period.peaks.size());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // The readers stay, so that a run also begins with what the one before left.
    static NoxHost::PulseCsvReader blockwise;
    static NoxHost::PulseCsvReader piecewise(5);
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), int(size));
    const Outcome whole = readAll(blockwise, bytes);
    require(whole.periods + quint64(!whole.error.isEmpty()) > 0);
    require(whole == readAll(piecewise, bytes));
    return 0;
}
