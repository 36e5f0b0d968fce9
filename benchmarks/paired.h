#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Two ways to do the same work, measured turn by turn. On a busy machine a time by itself means little, but what
/// disturbs one turn disturbs its neighbour as well, so that the ratio of two neighbours stays.
namespace Bench
{

/// One pass over some items. Called over and over, always in the main thread.
struct Work
{
    std::function<void()> run;
    double items = 1.0; ///< in one pass
};

struct Contest
{
    Work subject; ///< what the library does
    Work peer;    ///< the limit, or another way to the same result
};

struct Limit
{
    enum class Kind {
        TimeAtMost,  ///< the ratio is the subject's time an item over the peer's
        RateAtLeast, ///< the ratio is the subject's items a second over the peer's
        None,        ///< a time ratio that is only shown
    };
    Kind kind = Kind::None;
    double ratio = 0.0;
};

struct Pair
{
    std::string what;
    Limit limit;
    /// Prepares both; throws std::runtime_error when they do not come to the same result.
    std::function<Contest()> make;
};

/// The median of the ratios of neighbouring turns.
double MeasureRatio(const Contest &contest, const Limit &limit);

/// Measures the pairs whose description contains `filter`, and prints a row `what | ratio | limit | verdict` each.
/// False when a limit was missed.
bool PrintRatios(const std::vector<Pair> &pairs, const std::string &filter);

/// Makes every subject and every peer a Google Benchmark, for times instead of ratios.
void RegisterAbsolute(const std::vector<Pair> &pairs);

/// What is no ratio: a figure with its own limit.
struct Figure
{
    std::string what; ///< with the unit
    double atMost = 0.0;
    std::function<double()> measure;
};

/// The same for figures.
bool PrintFigures(const std::vector<Figure> &figures, const std::string &filter);

std::vector<Pair> PatternPairs();
std::vector<Pair> PeriodPairs();
std::vector<Pair> StreamPairs();
std::vector<Pair> EvaluationPairs();
std::vector<Pair> ProtocolPairs();
std::vector<Figure> ProtocolFigures();
std::vector<Pair> RecordingPairs();
/// Milliseconds of denoising 10^6 samples, a line a wavelet; the peer is a program of its own, see wavelet.py.
void PrintDenoisingTimes();
std::vector<Figure> RecordingFigures();

} // namespace Bench
