/**
 * @file
 * Texture of MPEG-4 Part 2 (ISO/IEC 14496-2): coefficients of 8x8 blocks from and to the stream,
 * quantisation.
 *
 * @par Blocks
 * 64 consecutive 16-bit values, in raster order: the coefficient with vertical frequency v and horizontal
 * frequency u stands at index 8 * v + u. The inverse DCT of block.h wants the transpose.
 */
#ifndef KELVCPX_MPEG4_H
#define KELVCPX_MPEG4_H

#include <kelvcpx/types.h>

/**
 * What the inverse quantisation needs to know: method, weighting matrix and sample depth. Lies in a buffer of
 * the caller at its first address that is a multiple of 16, so a buffer must not be moved after its Init.
 * Read-only then: any number of threads may share it.
 */
typedef struct QuantInvSpec QuantInvSpec;

/** The same for the quantisation of an encoder. */
typedef struct QuantSpec QuantSpec;

/**
 * @name Specification records of the quantisers
 *
 * The caller allocates a buffer of the size that GetSize reports, at any address, and passes it wherever a
 * record is wanted: to Init first, then to the quantisers. There are four kinds of records, for intra and
 * inter blocks and for either direction; none serves in place of another.
 *
 * A matrix of weights selects the first method of ISO/IEC 14496-2 7.4.4 (quant_type 1), none the second
 * (quant_type 0).
 *
 * @param pSpecSize    receives the size of the buffer in bytes: 156 for inverse, 412 for forward quantisation
 * @param pQuantMatrix 64 weights 1..255 in raster order, or null
 * @param pSpec        buffer to place the record in
 * @param bitsPerPixel bits of a sample (bits_per_pixel, or 8 unless not_8_bit is set), 4..12. The forward
 *                     operations take any value here; their quantisers refuse the record if it is not 4..12.
 *
 * @retval StatusOk           the size is reported, or the record is ready
 * @retval StatusNullPointer  `pSpecSize` or `pSpec` is null
 * @retval StatusOutOfRange   `bitsPerPixel` is not 4..12 (inverse Init)
 * @retval StatusBadQuantizer a weight is 0; nothing is written
 * @{
 */
KEL_API Status keliQuantInvIntraGetSize_MPEG4(int32_t* pSpecSize) KEL_NOEXCEPT;
KEL_API Status keliQuantInvInterGetSize_MPEG4(int32_t* pSpecSize) KEL_NOEXCEPT;
KEL_API Status keliQuantIntraGetSize_MPEG4(int32_t* pSpecSize) KEL_NOEXCEPT;
KEL_API Status keliQuantInterGetSize_MPEG4(int32_t* pSpecSize) KEL_NOEXCEPT;
KEL_API Status keliQuantInvIntraInit_MPEG4(const uint8_t* pQuantMatrix, QuantInvSpec* pSpec,
                                           int32_t bitsPerPixel) KEL_NOEXCEPT;
KEL_API Status keliQuantInvInterInit_MPEG4(const uint8_t* pQuantMatrix, QuantInvSpec* pSpec,
                                           int32_t bitsPerPixel) KEL_NOEXCEPT;
KEL_API Status keliQuantIntraInit_MPEG4(const uint8_t* pQuantMatrix, QuantSpec* pSpec,
                                        int32_t bitsPerPixel) KEL_NOEXCEPT;
KEL_API Status keliQuantInterInit_MPEG4(const uint8_t* pQuantMatrix, QuantSpec* pSpec,
                                        int32_t bitsPerPixel) KEL_NOEXCEPT;
/** @} */

/**
 * @name Dequantising a block of levels in place
 *
 * Inverse quantisation of ISO/IEC 14496-2 7.4.4. With level c, weight W and b bits a sample, quotients
 * truncated towards zero and everything clipped to -2^(b + 3)..2^(b + 3) - 1:
 *
 * | Method | Intra AC            | Inter                             |
 * |--------|---------------------|-----------------------------------|
 * | first  | W QP c / 8          | W QP (2 c + sign(c)) / 16         |
 * | second | 2 QP c + sign(c) o  | the same; o is QP if odd, else QP - 1 |
 *
 * A level of 0 stays 0. The DC of an intra block is its level times dc_scaler (table 7-1, continued by its
 * last formula where `QP` exceeds 31).
 *
 * The first method ends with mismatch control (7.4.4.5): if the sum of all coefficients is even, the one at
 * index 63 changes by one, an odd one down, an even one up. This is done whatever the block holds: a block
 * that is not coded should not get here.
 *
 * @param pSrcDst         64 levels, replaced by coefficients
 * @param indxLastNonZero largest raster index that may hold a level other than 0, 63 if in doubt; those
 *                        behind it are left as they are and do not count in the sum. Above 63 is taken for
 *                        63. Below 1 an intra block is its DC alone, and the first method sets the
 *                        coefficient at index 63 to 1 if the DC is even.
 * @param pSpec           inverse record for intra or inter blocks
 * @param QP              quantiser_scale, 1..2^(b - 3) - 1: up to 31 for 8 bits
 * @param blockType       0 luminance, other values chrominance
 *
 * @retval StatusOk           done
 * @retval StatusNullPointer  `pSrcDst` or `pSpec` is null
 * @retval StatusBadContext   the record is not an inverse one of the right kind
 * @retval StatusBadQuantizer `QP` is out of range
 * @{
 */
KEL_API Status keliQuantInvIntra_MPEG4_16s_C1I(int16_t* pSrcDst, int32_t indxLastNonZero,
                                               const QuantInvSpec* pSpec, int32_t QP,
                                               int32_t blockType) KEL_NOEXCEPT;
KEL_API Status keliQuantInvInter_MPEG4_16s_C1I(int16_t* pSrcDst, int32_t indxLastNonZero,
                                               const QuantInvSpec* pSpec, int32_t QP) KEL_NOEXCEPT;
/** @} */

/**
 * @name Quantising a block of coefficients in place
 *
 * Turns DCT coefficients into levels for an encoder. With the magnitude m of a coefficient, its weight W,
 * a = 2 QP and k = (3 QP + 2) / 4, the magnitude of its level is
 *
 * | Method | Intra AC                         | Inter                          |
 * |--------|----------------------------------|--------------------------------|
 * | first  | ((16 m + W / 2) / W + k) / a     | ((16 m + W / 2) / W) / a       |
 * | second | m / a                            | (m - QP / 2) / a, at least 0   |
 *
 * limited to 2047, with the sign of the coefficient. All quotients are truncated. With up to 8 bits a sample
 * the divisions by W and by a are multiplications with 65536 / W + 1 and 65536 / a + 1, shifted right by 16,
 * which may give one more; from 9 bits on they are exact. The intra DC is divided by dc_scaler (table 7-1)
 * and rounded to the nearest level, halves away from zero.
 *
 * @param pSrcDst   64 coefficients, replaced by levels
 * @param pSpec     forward record for intra or inter blocks
 * @param QP        quantiser_scale, 1..2^(b - 3) - 1 for b bits a sample: up to 31 for 8 bits
 * @param pCount    receives the number of levels that are not 0, an intra DC included
 * @param blockType 0 luminance, other values chrominance
 *
 * @retval StatusOk           done
 * @retval StatusNullPointer  a pointer is null
 * @retval StatusBadContext   the record is not a forward one of the right kind
 * @retval StatusBadQuantizer `QP` is out of range, or the record's depth is not 4..12
 * @{
 */
KEL_API Status keliQuantIntra_MPEG4_16s_C1I(int16_t* pSrcDst, const QuantSpec* pSpec, int32_t QP,
                                            uint32_t* pCount, int32_t blockType) KEL_NOEXCEPT;
KEL_API Status keliQuantInter_MPEG4_16s_C1I(int16_t* pSrcDst, const QuantSpec* pSpec, int32_t QP,
                                            uint32_t* pCount) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_MPEG4_H */
