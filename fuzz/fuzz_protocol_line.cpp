#include "host/protocol/line_framer.h"
#include "host/protocol/messages.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

using namespace NoxHost;

namespace
{

// A failed property must stop the fuzzer in every build type.
void require(bool holds)
{
    if (!holds)
        std::abort();
}

std::vector<QByteArray> linesOf(const QByteArray &bytes, int piece)
{
    LineFramer framer;
    std::vector<QByteArray> lines;
    for (int from = 0; from < bytes.size(); from += piece) {
        framer.feed(bytes.mid(from, piece));
        while (const auto line = framer.take())
            lines.push_back(line->bytes);
    }
    return lines;
}

/// What was read must be written as a line that reads the same.
void requireStable(const WireMessage &message)
{
    QString error;
    PeriodBlock block;
    if (readPeriodBlock(message.object, block, error)) {
        require(error.isEmpty() && !block.periods.empty());
        for (const RawPeriod &period : block.periods) {
            const QByteArray line = writePeriodBlock(period);
            PeriodBlock again;
            require(readPeriodBlock(readMessage(line).object, again, error));
            require(again.periods.size() == 1 && again.periods[0].peaks == period.peaks);
            require(writePeriodBlock(again.periods[0]) == line);
        }
    } else {
        require(!error.isEmpty());
    }
    WireVoltageScope scope;
    if (readVoltageScope(message.object, scope, error)) {
        const QByteArray line = writeVoltageScope(scope);
        require(readVoltageScope(readMessage(line).object, scope, error) && writeVoltageScope(scope) == line);
    }
    OverrunReport overrun;
    if (readOverrun(message.object, overrun, error)) {
        const QByteArray line = writeOverrun(overrun);
        require(readOverrun(readMessage(line).object, overrun, error) && writeOverrun(overrun) == line);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    const std::vector<QByteArray> lines = linesOf(bytes, std::max(1, bytes.size()));
    require(lines == linesOf(bytes, 3));
    for (const QByteArray &line : lines) {
        const WireMessage message = readMessage(line);
        require(message.error.isEmpty() != message.name.isEmpty());
        if (message.error.isEmpty())
            requireStable(message);
    }
    return 0;
}
