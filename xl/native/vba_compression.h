#pragma once
// The run-length compression of VBA project streams (the dir stream and module source): a
// signature byte followed by chunks of at most 4096 decompressed bytes each.

#include <string>
#include <string_view>

#include "util/result.h"

namespace sheaflow::xl::native::vba {

// Decompresses a compressed container; an error for anything that does not follow the format
// (never reads outside the input, never produces more than `max_size` bytes).
Result<std::string> decompress(std::string_view container,
                               std::size_t max_size = std::size_t{64} << 20);

// Compresses bytes into a container. Every chunk that shrinks is written compressed, as the
// application writes them; only a full chunk that would grow is stored as it is.
std::string compress(std::string_view data);

}  // namespace sheaflow::xl::native::vba
