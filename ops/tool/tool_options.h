#pragma once
// Helpers of the option operations: the three-way option groups of their panes ("変更しない",
// "する", "しない") and the yes/no texts of their lists.

#include <optional>
#include <string>
#include <string_view>

#include "shell/params.h"

namespace sheaflow::ops {

inline constexpr const char* kKeep = "keep";
inline constexpr const char* kOn = "on";
inline constexpr const char* kOff = "off";

// The change an option group asks for: nothing for "keep" (or no choice).
inline std::optional<bool> three_way(const shell::Params& p, std::string_view key) {
    const std::string& v = p.option(key);
    if (v == kOn) return true;
    if (v == kOff) return false;
    return std::nullopt;
}

inline bool three_way_valid(const shell::Params& p, std::string_view key) {
    const std::string& v = p.option(key);
    return v == kKeep || v == kOn || v == kOff;
}

inline const char* yes_no(bool v) { return v ? "する" : "しない"; }

}  // namespace sheaflow::ops
