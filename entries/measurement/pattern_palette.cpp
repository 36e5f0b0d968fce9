#include "entries/measurement/pattern_palette.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace CommonNOX::Data
{

namespace
{

// Equidistant; between them colours run linearly.
constexpr QRgb ViridisStops[] = {0xff440154, 0xff482475, 0xff414487, 0xff355f8d, 0xff2a788e, 0xff21918c,
                                 0xff22a884, 0xff44bf70, 0xff7ad151, 0xffbddf26, 0xfffde725};
constexpr QRgb RainbowStops[] = {0xff00008f, 0xff0000ff, 0xff00ffff, 0xff00ff00, 0xffffff00, 0xffff0000, 0xff8f0000};
constexpr QRgb GreysStops[] = {0xffe0e0e0, 0xff000000};

template <std::size_t Count>
PaletteColors interpolate(const QRgb (&stops)[Count])
{
    PaletteColors colors;
    for (std::size_t i = 0; i < colors.size(); ++i) {
        const double place = double(i) * double(Count - 1) / double(colors.size() - 1);
        const std::size_t lower = std::min(std::size_t(place), Count - 2);
        const double part = place - double(lower);
        const auto mix = [&](int (*channel)(QRgb)) {
            return int(std::lround((1.0 - part) * channel(stops[lower]) + part * channel(stops[lower + 1])));
        };
        colors[i] = qRgb(mix(qRed), mix(qGreen), mix(qBlue));
    }
    return colors;
}

} // namespace

const PaletteColors &GetPaletteColors(PatternPalette palette)
{
    static const PaletteColors viridis = interpolate(ViridisStops);
    static const PaletteColors rainbow = interpolate(RainbowStops);
    static const PaletteColors greys = interpolate(GreysStops);
    switch (palette) {
    case PatternPalette::Rainbow:
        return rainbow;
    case PatternPalette::Greys:
        return greys;
    case PatternPalette::Viridis:
        break;
    }
    return viridis;
}

const QStringList &GetPaletteNames()
{
    static const QStringList names{QStringLiteral("viridis"), QStringLiteral("rainbow"), QStringLiteral("greys")};
    return names;
}

std::optional<PatternPalette> FindPalette(const QString &name)
{
    const int index = GetPaletteNames().indexOf(name);
    return index < 0 ? std::nullopt : std::optional(PatternPalette(index));
}

int GetPaletteIndex(double count, double largest)
{
    if (!(count > 0.0 && largest > 0.0))
        return 0;
    return int(std::clamp(std::log1p(count) / std::log1p(largest), 0.0, 1.0) * 255.0);
}

} // namespace CommonNOX::Data
