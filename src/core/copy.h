// Plain fills and copies behind the public services, for use by the whole library.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kelvcpx {

// Sets `len` bytes to zero, none if `len` is below 1. Returns `dst`.
uint8_t* ownsZero_8u(uint8_t* dst, std::ptrdiff_t len);

// Copies `len` bytes first byte first, none if `len` is below 1: where the regions overlap, a later byte of
// the source may already have been overwritten. Returns `dst`.
uint8_t* ownsCopy_8u(const uint8_t* src, uint8_t* dst, std::ptrdiff_t len);

} // namespace kelvcpx
