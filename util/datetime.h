#pragma once
// Local date and time values as the settings files write them.

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace sheaflow::datetime {

using Clock = std::chrono::system_clock;

// "yyyy-mm-dd hh:mm:ss" in local time.
std::string format(Clock::time_point t);
// The write statement's date form: "#yyyy-mm-dd hh:mm:ss#", or "#yyyy-mm-dd#" at midnight.
std::string format_write(Clock::time_point t);
// Reads a local date and time: "yyyy-mm-dd hh:mm:ss", "yyyy/mm/dd hh:mm:ss", either with the
// time left out (midnight) or the seconds left out, optionally between "#" marks. nullopt when
// the text is not such a date or names an impossible one.
std::optional<Clock::time_point> parse(std::string_view text);

}  // namespace sheaflow::datetime
