/**
 * @file
 * Texture of MPEG-4 Part 2 (ISO/IEC 14496-2): coefficients of 8x8 blocks from and to the stream,
 * quantisation.
 *
 * @par Blocks
 * 64 consecutive 16-bit values, in raster order: the coefficient with vertical frequency v and horizontal
 * frequency u stands at index 8 * v + u. The inverse DCT of block.h wants the transpose.
 *
 * @par Streams
 * All operations on a stream take a byte cursor (see core.h). A block of damaged data ends at the latest at
 * the first invalid code.
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
 * @name Records of the quantisers
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
 *                     operations take any value here; their quantisers refuse the record if it is
 *                     outside 4..12.
 *
 * @retval StatusOk           the size is reported, or the record is ready
 * @retval StatusNullPointer  `pSpecSize` or `pSpec` is null
 * @retval StatusOutOfRange   `bitsPerPixel` is outside 4..12 (inverse Init)
 * @retval StatusBadQuantizer a weight of `pQuantMatrix` is 0
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
 * @param indxLastNonZero largest raster index that may hold a level other than 0, 63 if in doubt (more than
 *                        that counts as 63); those behind it are left as they are and do not count in the
 *                        sum. Below 1 an intra block is its DC alone, and the first method sets the
 *                        coefficient at index 63 to 1 if the DC is even
 * @param pSpec           inverse record for intra or inter blocks
 * @param QP              quantiser_scale, 1..2^(b - 3) - 1: up to 31 for 8 bits
 * @param blockType       0 luminance, other values chrominance
 *
 * @retval StatusOk           done
 * @retval StatusNullPointer  `pSrcDst` or `pSpec` is null
 * @retval StatusBadContext   `pSpec` is not an inverse record of the right kind
 * @retval StatusBadQuantizer `QP` is outside its range
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
 * @retval StatusBadContext   `pSpec` is not a forward record of the right kind
 * @retval StatusBadQuantizer `QP` is outside its range, or the record's depth is outside 4..12
 * @{
 */
KEL_API Status keliQuantIntra_MPEG4_16s_C1I(int16_t* pSrcDst, const QuantSpec* pSpec, int32_t QP,
                                            uint32_t* pCount, int32_t blockType) KEL_NOEXCEPT;
KEL_API Status keliQuantInter_MPEG4_16s_C1I(int16_t* pSrcDst, const QuantSpec* pSpec, int32_t QP,
                                            uint32_t* pCount) KEL_NOEXCEPT;
/** @} */

/**
 * Decodes dct_dc_size, dct_dc_differential and the marker bit behind differences of more than 8 bits (ISO/IEC
 * 14496-2 6.2.8, tables B-13 and B-14). The caller adds the prediction.
 *
 * @param ppBitStream byte cursor (see core.h): current byte; advanced past the difference
 * @param pBitOffset  byte cursor: used bits of it, 0..7
 * @param pDC         receives the difference, -4095..4095
 * @param blockType   0 luminance, other values chrominance
 *
 * @retval StatusOk           decoded
 * @retval StatusNullPointer  a pointer, or the stream pointer, is null
 * @retval StatusBadBitOffset the bit offset is outside 0..7
 * @retval StatusBadVlcCode   no code matches, or the marker bit is missing: the cursor has not moved; in the
 *                            latter case the difference is stored
 */
KEL_API Status keliDecodeDCIntra_MPEG4_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset, int16_t* pDC,
                                             int32_t blockType) KEL_NOEXCEPT;

/**
 * @name Decoding a block of levels or coefficients
 *
 * Decode the events (last, run, level) of a block up to the last one (ISO/IEC 14496-2 7.4.1) into a block
 * that is cleared before. Intra blocks have the codes of table B-16, inter blocks those of table B-17, both
 * with the three modes of escape; blocks of data-partitioned streams with reversible_vlc have those of table
 * B-23. The levels are stored as they are: prediction and dequantisation follow.
 *
 * An escape that calls for another code and finds the escape again is invalid. In the escape of fixed length
 * the level -2048 is invalid, and 0 is in intra blocks; an inter block has a level of 0 there.
 *
 * | `scan` | Intra                | Inter              | Reconstruction     |
 * |--------|----------------------|--------------------|--------------------|
 * | 0      | zigzag               | zigzag             | zigzag             |
 * | 1      | alternate vertical   | alternate vertical | alternate vertical |
 * | 2      | alternate horizontal | scan order         | zigzag             |
 * | others | scan order           | scan order         | zigzag             |
 *
 * In scan order the level with scan position p is stored at index p.
 *
 * keliReconstructCoeffsInter_MPEG4_1u16s() dequantises an inter block as keliQuantInvInter_MPEG4_16s_C1I()
 * does, in the same pass unless the codes are reversible.
 *
 * @param ppBitStream      byte cursor (see core.h): current byte; advanced past the block
 * @param pBitOffset       byte cursor: used bits of it, 0..7
 * @param pCoef            64 levels or coefficients, all written. An intra block with `useIntraDCVlc` keeps
 *                         `pCoef[0]`.
 * @param pIndxLastNonZero receives the scan position of the last level
 * @param rvlcFlag         0 ordinary codes, other values reversible ones
 * @param useIntraDCVlc    other than 0 if the DC has a code of its own, and the first level is at scan
 *                         position 1 or later; 0 if it is coded like the others
 * @param scan             see above
 * @param pSpec            inverse record for inter blocks
 * @param QP               quantiser_scale, 1..2^(b - 3) - 1 for b bits a sample
 *
 * @retval StatusOk           decoded
 * @retval StatusNullPointer  a pointer, or the stream pointer, is null
 * @retval StatusBadBitOffset the bit offset is outside 0..7
 * @retval StatusBadContext   `pSpec` is not an inverse record for inter blocks
 * @retval StatusBadQuantizer `QP` is outside its range
 * @retval StatusBadVlcCode   an invalid code, a missing marker bit, or a level beyond scan position 63: the
 *                            cursor has not moved, `pCoef` holds the levels (or coefficients) so far and
 *                            `*pIndxLastNonZero` the position that was reached, above 63 in the last case
 *
 * With reversible codes `pSpec` and `QP` are not checked before the block is decoded: it holds levels and the
 * cursor has moved if they are wrong.
 * @{
 */
KEL_API Status keliDecodeCoeffsIntra_MPEG4_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                                 int16_t* pCoef, int32_t* pIndxLastNonZero, int32_t rvlcFlag,
                                                 int32_t useIntraDCVlc, int32_t scan) KEL_NOEXCEPT;
KEL_API Status keliDecodeCoeffsInter_MPEG4_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                                 int16_t* pCoef, int32_t* pIndxLastNonZero, int32_t rvlcFlag,
                                                 int32_t scan) KEL_NOEXCEPT;
KEL_API Status keliReconstructCoeffsInter_MPEG4_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                                      int16_t* pCoef, int32_t* pIndxLastNonZero,
                                                      int32_t rvlcFlag, int32_t scan,
                                                      const QuantInvSpec* pSpec, int32_t QP) KEL_NOEXCEPT;
/** @} */

/**
 * @name Decoding a block of reversible codes backwards
 *
 * Where the forward pass over a video packet has met an error, the blocks behind it can be decoded from the
 * end of the packet on (ISO/IEC 14496-2 Annex E.1.4). The cursor points to the end of a block, behind its
 * last bit, and is moved to its beginning, the end of the block before. That is where a code is found that
 * ends a block: in front of the first block of a packet the caller has to put one, such as the bits 10110
 * (last, run 0, level 1). Up to four bytes in front of the bits that are looked at are read; 8 zero bytes in
 * front of the data keep every read of a damaged block inside the buffer, with such a code or without.
 *
 * The levels are left in scan order, as the scan of an intra block may not be known yet: the level with scan
 * position p is at index p.
 *
 * @param ppBitStream      byte cursor (see core.h): current byte; moved back to the beginning of the block
 * @param pBitOffset       byte cursor: bits of it, 0..7, in front of the cursor
 * @param pCoef            64 levels in scan order, all written. An intra block with `useIntraDCVlc` keeps
 *                         `pCoef[0]`.
 * @param pIndxLastNonZero receives the scan position of the last level
 * @param useIntraDCVlc    other than 0 if the DC has a code of its own, and the first level is at scan
 *                         position 1 or later; 0 if it is coded like the others
 *
 * @retval StatusOk           decoded
 * @retval StatusNullPointer  a pointer, or the stream pointer, is null
 * @retval StatusBadBitOffset the bit offset is outside 0..7
 * @retval StatusBadVlcCode   an invalid code or escape, a block that does not end with a last level, or runs
 *                            and levels that take more places than the block has: the cursor has not moved,
 *                            `pCoef` holds the levels so far, counted down from index 63, and
 *                            `*pIndxLastNonZero` the index of the level that was to come
 * @{
 */
KEL_API Status keliDecodeCoeffsIntraRVLCBack_MPEG4_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                                         int16_t* pCoef, int32_t* pIndxLastNonZero,
                                                         int32_t useIntraDCVlc) KEL_NOEXCEPT;
KEL_API Status keliDecodeCoeffsInterRVLCBack_MPEG4_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                                         int16_t* pCoef,
                                                         int32_t* pIndxLastNonZero) KEL_NOEXCEPT;
/** @} */

/**
 * @name Encoding a block of levels
 *
 * Write what the operations above decode. keliEncodeDCIntra_MPEG4_16s1u() writes a DC difference with its
 * size and, above 8 bits, its marker bit. The others write the levels of a block: each by its own code or, if
 * it has none, in the first mode of escape that can carry it (ISO/IEC 14496-2 7.4.1.3); with reversible codes
 * there is one escape (7.4.1.4).
 *
 * @param dc            difference, -4095..4095; not checked
 * @param pCoef         64 levels in raster order, -2047..2047, not checked. Of an intra block with
 *                      `useIntraDCVlc` the first one is not written.
 * @param ppBitStream   byte cursor (see core.h): current byte; advanced past what is written
 * @param pBitOffset    byte cursor: used bits of it, 0..7
 * @param blockType     1 chrominance, other values luminance
 * @param countNonZero  how many levels other than 0 to write, at least 1 and at most 64, or 63 with
 *                      `useIntraDCVlc`. The last of them ends the block; levels behind it are left out. If
 *                      the block has fewer it is written without an end.
 * @param rvlcFlag      0 ordinary codes, other values reversible ones
 * @param useIntraDCVlc other than 0 if the DC has a code of its own, 0 if it is coded like the others
 * @param scan          1 alternate vertical; for intra blocks 2 alternate horizontal and -1 none, if the
 *                      levels are in scan order already; other values zigzag
 *
 * @retval StatusOk           written
 * @retval StatusNullPointer  a pointer, or the stream pointer, is null
 * @retval StatusBadBitOffset the bit offset is outside 0..7
 * @retval StatusOutOfRange   `countNonZero` is outside its range
 * @{
 */
KEL_API Status keliEncodeDCIntra_MPEG4_16s1u(int16_t dc, uint8_t** ppBitStream, int32_t* pBitOffset,
                                             int32_t blockType) KEL_NOEXCEPT;
KEL_API Status keliEncodeCoeffsIntra_MPEG4_16s1u(const int16_t* pCoef, uint8_t** ppBitStream,
                                                 int32_t* pBitOffset, int32_t countNonZero, int32_t rvlcFlag,
                                                 int32_t useIntraDCVlc, int32_t scan) KEL_NOEXCEPT;
KEL_API Status keliEncodeCoeffsInter_MPEG4_16s1u(const int16_t* pCoef, uint8_t** ppBitStream,
                                                 int32_t* pBitOffset, int32_t countNonZero, int32_t rvlcFlag,
                                                 int32_t scan) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_MPEG4_H */
