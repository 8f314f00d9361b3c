#pragma once
// The colour operations of the sheet category: standardising the colours of the active sheet to
// the 2010 palette or the 56-colour index palette, and listing the colours that are not in
// them; the kinds of item come from the pane's check boxes.

#include <string>
#include <string_view>

#include "ops/sheet/palettes.h"
#include "shell/params.h"
#include "xl/sheet_objects.h"

namespace sheaflow::ops {

// The kinds of item the pane's check boxes choose.
xl::ColourKinds colour_kinds(const shell::Params& p);

// The detail text of a listed colour: "<item>の色=<code> <nearest>　実際 <actual>", or the
// palette's lookup error text when the colour cannot be resolved.
std::string colour_detail(Palette palette, const xl::ColourUse& use);

// The colour standardisation writes for `colour`: nothing when it is in the palette (or
// automatic), else the nearest palette colour.
std::optional<std::int32_t> standard_colour(Palette palette, std::int32_t colour);

}  // namespace sheaflow::ops
