#include "entries/measurement/event_builder.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#define NOX_EVENT_PAIRS
#endif

namespace CommonNOX::Data
{

namespace
{

using Entries::Results::Space2D::PeakData;
using Entries::Results::Space2D::PeakFlagGated;

constexpr double Largest = std::numeric_limits<double>::max();

/// Differences wrap instead of overflowing; for times that an instrument delivers nothing changes.
double ticksSince(qint64 start, qint64 time)
{
    return double(qint64(quint64(time) - quint64(start)));
}

/// Whether events are stored, or statistics alone are gathered, in the same steps.
enum class Events { Stored, LeftOut };

/// The plain form, one peak at a time. The pairs below give the same to the last bit.
template <Events events>
void addEvent(const PeakData &peak, const EventScale &scale, EvaluatedEvent *event, EventStatistics &statistics)
{
    const double charge = peak.amplitude * scale.chargeScale;
    const bool gated = (peak.flags & PeakFlagGated) != 0;
    const bool counted = !(scale.suppressGated && gated);
    if constexpr (events == Events::Stored) {
        event->time = peak.time;
        event->charge = charge;
        event->phase = ticksSince(scale.startTime, peak.time) * scale.phaseSpan / scale.extent + scale.phaseOffset;
        event->voltage = peak.voltage * scale.voltageScale;
        event->flags = peak.flags;
        event->counted = counted;
    }
    statistics.gatedCount += gated ? 1 : 0;
    if (!counted)
        return;
    const double magnitude = std::abs(charge);
    statistics.absoluteMaximum = std::max(statistics.absoluteMaximum, magnitude);
    statistics.absoluteMinimum = std::min(statistics.absoluteMinimum, magnitude);
    const bool negative = charge < 0.0;
    double &maximum = negative ? statistics.negativeMaximum : statistics.positiveMaximum;
    maximum = std::max(maximum, magnitude);
    (negative ? statistics.negativeCount : statistics.positiveCount) += 1;
}

#ifdef NOX_EVENT_PAIRS

static_assert(sizeof(PeakData) == 24 && offsetof(PeakData, voltage) == 4 && offsetof(PeakData, time) == 8,
              "amplitude, voltage and time load at once");
static_assert(sizeof(EvaluatedEvent) == 40 && offsetof(EvaluatedEvent, charge) == 8 &&
                  offsetof(EvaluatedEvent, voltage) == offsetof(EvaluatedEvent, phase) + 8 &&
                  offsetof(EvaluatedEvent, counted) == offsetof(EvaluatedEvent, flags) + 1,
              "an event stores as two pairs and its flags");

/// The scale in registers: stores into events could alias it.
struct PairScale
{
    explicit PairScale(const EventScale &scale)
        : start(_mm_set1_epi64x(scale.startTime)), span(_mm_set1_pd(scale.phaseSpan)),
          extent(_mm_set1_pd(scale.extent)), offset(_mm_set1_pd(scale.phaseOffset)),
          scales(_mm_set_pd(scale.voltageScale, scale.chargeScale))
    {}

    const __m128i start;
    const __m128d span;
    const __m128d extent;
    const __m128d offset;
    const __m128d scales; // charge, voltage
};

/// How far ahead of the building events are asked for.
constexpr std::uintptr_t PrefetchedBytes = 24 * sizeof(EvaluatedEvent);

/// Statistics of even and odd events side by side.
struct PairStatistics
{
    __m128d maximum = _mm_setzero_pd();
    __m128d minimum = _mm_setzero_pd();
    __m128d magnitudeMinimum = _mm_set1_pd(Largest);
    __m128i negative = _mm_setzero_si128();
    __m128i timeRange = _mm_setzero_si128(); // its high halves stay 0 while times since start fit 32 bits
    quint32 gated = 0;                       // times PeakFlagGated
};

void storeEvent(EvaluatedEvent &event, __m128d timeAndCharge, __m128d phaseAndVoltage, quint16 flags)
{
    _mm_storeu_pd(reinterpret_cast<double *>(&event.time), timeAndCharge);
    _mm_storeu_pd(&event.phase, phaseAndVoltage);
    std::memcpy(&event.flags, &flags, sizeof flags);
}

template <bool SuppressGated>
quint16 flagsAndCounted(const PeakData &peak, quint32 gated)
{
    const quint32 counted = SuppressGated ? (gated ^ PeakFlagGated) * (0x100 / PeakFlagGated) : 0x100;
    return quint16(peak.flags | counted);
}

template <bool SuppressGated>
void storePair(const PeakData *peaks, __m128i first, __m128i second, __m128d firstScaled, __m128d secondScaled,
               const quint32 (&gated)[2], const PairScale &scale, EvaluatedEvent *events, PairStatistics &statistics)
{
    const __m128i ticks = _mm_sub_epi64(_mm_unpackhi_epi64(first, second), scale.start);
    statistics.timeRange = _mm_or_si128(statistics.timeRange, _mm_add_epi64(ticks, _mm_set1_epi64x(qint64(1) << 31)));
    const __m128d sinceStart = _mm_cvtepi32_pd(_mm_shuffle_epi32(ticks, _MM_SHUFFLE(3, 1, 2, 0)));
    // Divided, not multiplied by a reciprocal: cells of a pattern lie on exact ticks, and a last bit moves a pulse.
    const __m128d phases = _mm_add_pd(_mm_div_pd(_mm_mul_pd(sinceStart, scale.span), scale.extent), scale.offset);
    storeEvent(events[0], _mm_shuffle_pd(_mm_castsi128_pd(first), firstScaled, 1),
               _mm_shuffle_pd(phases, firstScaled, 2), flagsAndCounted<SuppressGated>(peaks[0], gated[0]));
    storeEvent(events[1], _mm_shuffle_pd(_mm_castsi128_pd(second), secondScaled, 1),
               _mm_shuffle_pd(phases, secondScaled, 3), flagsAndCounted<SuppressGated>(peaks[1], gated[1]));
}

template <bool SuppressGated, Events kind>
void addPair(const PeakData *peaks, const PairScale &scale, EvaluatedEvent *events, PairStatistics &statistics)
{
    const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i *>(peaks));
    const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i *>(peaks + 1));
    const __m128d firstScaled = _mm_mul_pd(_mm_cvtepi32_pd(first), scale.scales);
    const __m128d secondScaled = _mm_mul_pd(_mm_cvtepi32_pd(second), scale.scales);

    const quint32 gated[2] = {quint32(peaks[0].flags & PeakFlagGated), quint32(peaks[1].flags & PeakFlagGated)};
    statistics.gated += gated[0] + gated[1];
    if constexpr (kind == Events::Stored)
        storePair<SuppressGated>(peaks, first, second, firstScaled, secondScaled, gated, scale, events, statistics);

    __m128d charges = _mm_unpacklo_pd(firstScaled, secondScaled);
    __m128d magnitudes = _mm_andnot_pd(_mm_set1_pd(-0.0), charges);
    if constexpr (SuppressGated) {
        const __m128d suppressed = _mm_castsi128_pd(_mm_cmpeq_epi32(
            _mm_set_epi32(int(gated[1]), int(gated[1]), int(gated[0]), int(gated[0])), _mm_set1_epi32(PeakFlagGated)));
        charges = _mm_andnot_pd(suppressed, charges);
        magnitudes = _mm_or_pd(_mm_andnot_pd(suppressed, magnitudes), _mm_and_pd(suppressed, _mm_set1_pd(Largest)));
    }
    statistics.maximum = _mm_max_pd(statistics.maximum, charges);
    statistics.minimum = _mm_min_pd(statistics.minimum, charges);
    statistics.magnitudeMinimum = _mm_min_pd(statistics.magnitudeMinimum, magnitudes);
    statistics.negative = _mm_sub_epi64(statistics.negative, _mm_castpd_si128(_mm_cmplt_pd(charges, _mm_setzero_pd())));
}

/// False, with the events to be built again, when a time lies further than 31 bits from the start.
template <bool SuppressGated, Events kind>
bool addPairs(const PeakData *peaks, int count, const EventScale &eventScale, EvaluatedEvent *events,
              EventStatistics &statistics)
{
    const PairScale scale(eventScale);
    PairStatistics pairs;
    for (int i = 0; i < count; i += 2) {
        EvaluatedEvent *pair = nullptr;
        if constexpr (kind == Events::Stored) {
            // Buffers come from the pool and have mostly left the caches: their lines are asked for early. The last
            // requests lie behind the buffer; asking is no access.
            pair = events + i;
            const auto ahead = reinterpret_cast<std::uintptr_t>(pair) + PrefetchedBytes;
            __builtin_prefetch(reinterpret_cast<const void *>(ahead), 1);
            __builtin_prefetch(reinterpret_cast<const void *>(ahead + sizeof(EvaluatedEvent)), 1);
        }
        addPair<SuppressGated, kind>(peaks + i, scale, pair, pairs);
    }

    quint64 range[2];
    qint64 negative[2];
    double maximum[2], minimum[2], magnitudeMinimum[2];
    _mm_storeu_si128(reinterpret_cast<__m128i *>(range), pairs.timeRange);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(negative), pairs.negative);
    _mm_storeu_pd(maximum, pairs.maximum);
    _mm_storeu_pd(minimum, pairs.minimum);
    _mm_storeu_pd(magnitudeMinimum, pairs.magnitudeMinimum);
    if (((range[0] | range[1]) >> 32) != 0)
        return false;
    // A maximum may be a negative zero; its magnitude is meant.
    statistics.positiveMaximum = std::abs(std::max(maximum[0], maximum[1]));
    statistics.negativeMaximum = std::abs(std::min(minimum[0], minimum[1]));
    statistics.absoluteMaximum = std::max(statistics.positiveMaximum, statistics.negativeMaximum);
    statistics.absoluteMinimum = std::min(magnitudeMinimum[0], magnitudeMinimum[1]);
    statistics.gatedCount = pairs.gated / PeakFlagGated;
    statistics.negativeCount = quint32(negative[0] + negative[1]);
    const quint32 counted = quint32(count) - (SuppressGated ? statistics.gatedCount : 0);
    statistics.positiveCount = counted - statistics.negativeCount;
    return true;
}

/// How many leading peaks were built two at a time.
template <Events kind>
int buildPairs(const PeakData *peaks, int count, const EventScale &scale, EvaluatedEvent *events,
               EventStatistics &statistics)
{
    const int even = count - count % 2;
    // With a scale that is not finite a charge may be NaN, which the comparisons of pairs treat otherwise.
    if (!std::isfinite(scale.chargeScale) || even == 0)
        return 0;
    const bool built = scale.suppressGated ? addPairs<true, kind>(peaks, even, scale, events, statistics)
                                           : addPairs<false, kind>(peaks, even, scale, events, statistics);
    return built ? even : 0;
}

#else

template <Events>
int buildPairs(const PeakData *, int, const EventScale &, EvaluatedEvent *, EventStatistics &)
{
    return 0;
}

#endif

template <Events kind>
EventStatistics build(const PeakData *peaks, int count, const EventScale &scale, EvaluatedEvent *events)
{
    if (count <= 0)
        return {};
    EventStatistics statistics;
    statistics.absoluteMinimum = Largest;
    int built = buildPairs<kind>(peaks, count, scale, events, statistics);
    for (; built < count; ++built)
        addEvent<kind>(peaks[built], scale, kind == Events::Stored ? events + built : nullptr, statistics);
    return statistics;
}

} // namespace

EventStatistics BuildEvents(const PeakData *peaks, int count, const EventScale &scale, EvaluatedEvent *events)
{
    return build<Events::Stored>(peaks, count, scale, events);
}

EventStatistics GatherStatistics(const PeakData *peaks, int count, const EventScale &scale)
{
    return build<Events::LeftOut>(peaks, count, scale, nullptr);
}

} // namespace CommonNOX::Data
