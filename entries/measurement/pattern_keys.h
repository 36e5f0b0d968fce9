#pragma once

#include "entries/property_key.h"

/// The properties of a channel's context that its pattern follows; docs/configuration-keys.md tells their values.
namespace CommonNOX::Data::PatternKeys
{

inline constexpr PropertyKey PixelDimensionX{u"pattern_pixels_x"};
inline constexpr PropertyKey PixelDimensionY{u"pattern_pixels_y"};
inline constexpr PropertyKey ScaleX{u"pattern_scale_x"};
inline constexpr PropertyKey ScaleY{u"pattern_scale_y"};
inline constexpr PropertyKey Bipolar{u"pattern_bipolar"};
inline constexpr PropertyKey AxisScaling{u"pattern_axis_scaling"};
inline constexpr PropertyKey BackgroundColor{u"pattern_background_color"};
inline constexpr PropertyKey Palette{u"pattern_palette"};

} // namespace CommonNOX::Data::PatternKeys
