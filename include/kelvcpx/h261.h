/**
 * @file
 * H.261 (ITU-T H.261): transform coefficients from the stream and to the stream. Its forward quantisation is
 * free; that of h263.h fits. Clause, figure and table numbers are those of ITU-T H.261.
 *
 * @par Blocks
 * A block is 64 signed 16-bit numbers in raster order, as in h263.h. The coefficients come in zigzag order
 * (figure 12). Where an operation has an argument `scan`, -1 selects none: the level at scan position p
 * stands at index p of the block.
 */
#ifndef KELVCPX_H261_H
#define KELVCPX_H261_H

#include <kelvcpx/types.h>

#include <stdint.h>

/**
 * @name Decoding a block of levels or coefficients
 *
 * Decode the codes of one block up to and with its end-of-block code (4.2.4, table 5). `DecodeCoeffs` stores
 * the levels; `ReconstructCoeffs` dequantises them in the same pass: a level L other than 0 becomes sign(L)
 * (2 QP abs(L) + QP), one less in magnitude if QP is even, clipped to -2048..2047.
 *
 * An intra block starts with the DC, 8 bits: the level 1..254 itself, or 255 for 128; `ReconstructCoeffs`
 * stores 8 times the level. If the first bit of an inter block is 1, its first two bits are run 0 and level 1
 * with its sign, as no block without a coefficient is coded.
 *
 * An escape is followed by 6 bits of run and 8 bits of level, which must not be 0 nor -128. (An escape that
 * leaves the block by 64 positions, run 63 right behind a coefficient at scan position 63, ends the block as
 * the end-of-block code does.)
 *
 * @param ppBitStream      byte cursor (see core.h): current byte; advanced past the block
 * @param pBitOffset       byte cursor: used bits of it, 0..7
 * @param pCoef            64 levels or coefficients; all are written
 * @param pIndxLastNonZero receives the scan position of the last one, 0 for an intra DC alone
 * @param scan             -1 for no scan, any other value for zigzag
 * @param QP               quantiser, 1..31
 *
 * @retval StatusOk           the block is complete
 * @retval StatusNullPointer  a pointer, or the stream pointer, is null
 * @retval StatusBadBitOffset the bit offset is outside 0..7
 * @retval StatusBadQuantizer `QP` is outside 1..31
 * @retval StatusBadVlcCode   no code matches, a level is forbidden, or a run leaves the block: the cursor of
 *                            an inter block stays where it was, that of an intra block just behind its DC;
 *                            `pCoef` holds the coefficients so far, with the DC, and `*pIndxLastNonZero` the
 *                            scan position of the last one, -1 if an inter block has none. If the DC itself
 *                            is 0 or 128, `*pIndxLastNonZero` is -1 and nothing else is written
 * @{
 */
KEL_API Status keliDecodeCoeffsIntra_H261_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                                int16_t* pCoef, int32_t* pIndxLastNonZero,
                                                int32_t scan) KEL_NOEXCEPT;
KEL_API Status keliDecodeCoeffsInter_H261_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                                int16_t* pCoef, int32_t* pIndxLastNonZero,
                                                int32_t scan) KEL_NOEXCEPT;
KEL_API Status keliReconstructCoeffsIntra_H261_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                                     int16_t* pCoef, int32_t* pIndxLastNonZero,
                                                     int32_t QP) KEL_NOEXCEPT;
KEL_API Status keliReconstructCoeffsInter_H261_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                                     int16_t* pCoef, int32_t* pIndxLastNonZero,
                                                     int32_t QP) KEL_NOEXCEPT;
/** @} */

/**
 * @name Encoding a block of levels
 *
 * Write the codes of one block (4.2.4, table 5) and the end-of-block code. What has no code is written as an
 * escape, and so are three events that have one: run 1 with level 6 and 7, run 2 with level 5. The intra
 * operation writes `pQCoef[0]` as the DC, its low 8 bits, or 255 for 128, and counts it as the first level
 * whatever it is. Nothing behind the `countNonZero`-th level is looked at. Levels outside -127..127 have no
 * code: what the escape cannot hold is cut off.
 *
 * @param pQCoef       64 levels
 * @param ppBitStream  byte cursor (see core.h): current byte; advanced past the block
 * @param pBitOffset   byte cursor: used bits of it, 0..7
 * @param countNonZero number of levels that are not 0, with the intra DC, 1..64
 * @param scan         -1 for no scan, any other value for zigzag
 *
 * @retval StatusOk           encoded
 * @retval StatusNullPointer  a pointer, or the stream pointer, is null
 * @retval StatusBadBitOffset the bit offset is outside 0..7
 * @retval StatusOutOfRange   `countNonZero` is outside 1..64
 * @{
 */
KEL_API Status keliEncodeCoeffsIntra_H261_16s1u(const int16_t* pQCoef, uint8_t** ppBitStream,
                                                int32_t* pBitOffset, int32_t countNonZero,
                                                int32_t scan) KEL_NOEXCEPT;
KEL_API Status keliEncodeCoeffsInter_H261_16s1u(const int16_t* pQCoef, uint8_t** ppBitStream,
                                                int32_t* pBitOffset, int32_t countNonZero,
                                                int32_t scan) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_H261_H */
