#include "core/copy.h"

#include "core/arguments.h"
#include "core/rows.h"

#include <kelvcpx/core.h>

#include <cstddef>
#include <cstring>

namespace kelvcpx {

uint8_t* ownsZero_8u(uint8_t* dst, std::ptrdiff_t len)
{
    if (len > 0)
        std::memset(dst, 0, static_cast<std::size_t>(len));
    return dst;
}

uint8_t* ownsCopy_8u(const uint8_t* src, uint8_t* dst, std::ptrdiff_t len)
{
    if (len < 1)
        return dst;
    const uintptr_t ahead = KEL_INT_PTR(dst) - KEL_INT_PTR(src);
    if (ahead >= static_cast<uintptr_t>(len)) {
        // The destination does not reach bytes that are still to be read, so any order gives the same result.
        std::memmove(dst, src, static_cast<std::size_t>(len));
        return dst;
    }
    for (std::ptrdiff_t i = 0; i < len; i++)
        dst[i] = src[i];
    return dst;
}

namespace {

constexpr std::ptrdiff_t byteLength(int32_t elements16)
{
    return 2 * static_cast<std::ptrdiff_t>(elements16);
}

} // namespace
} // namespace kelvcpx

using namespace kelvcpx;

Status kelsZero_16s(int16_t* pDst, int32_t len) noexcept
{
    if (anyNull(pDst))
        return StatusNullPointer;
    if (len < 1)
        return StatusBadSize;
    ownsZero_8u(reinterpret_cast<uint8_t*>(pDst), byteLength(len));
    return StatusOk;
}

Status kelsCopy_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    if (len < 1)
        return StatusBadSize;
    ownsCopy_8u(pSrc, pDst, len);
    return StatusOk;
}

Status kelsCopy_16s(const int16_t* pSrc, int16_t* pDst, int32_t len) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    if (len < 1)
        return StatusBadSize;
    ownsCopy_8u(reinterpret_cast<const uint8_t*>(pSrc), reinterpret_cast<uint8_t*>(pDst), byteLength(len));
    return StatusOk;
}

Status keliCopy_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                       RoiSize roiSize) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    if (roiSize.width < 1 || roiSize.height < 1)
        return StatusBadSize;
    for (int32_t y = 0; y < roiSize.height; y++)
        ownsCopy_8u(rowAt(pSrc, srcStep, y), rowAt(pDst, dstStep, y), roiSize.width);
    return StatusOk;
}
