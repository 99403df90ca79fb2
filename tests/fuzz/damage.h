// Damages streams as failing disks and transmissions do, and as nobody ever did.
#pragma once

#include "support/random.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kelvcpx::test {

// A copy with a few faults: bits flipped, bytes overwritten, inserted, taken out or repeated, the end cut
// off. Bytes before `intact` stay as they are.
std::vector<uint8_t> damagedCopy(std::span<const uint8_t> stream, std::size_t intact, Random& random);

} // namespace kelvcpx::test
