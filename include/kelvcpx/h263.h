/**
 * @file
 * H.263 (ITU-T H.263): transform coefficients from the stream, to the stream, and their quantisation. Clause,
 * figure and table numbers are those of ITU-T H.263.
 *
 * @par Blocks
 * A block is 64 signed 16-bit numbers, in raster order: the one with horizontal frequency u and vertical
 * frequency v stands at index 8 * v + u. (The inverse DCT of block.h wants 8 * u + v: transpose the block, or
 * decode with a `scan` that selects none, dequantise, and place the coefficients through a table of your
 * own.) Blocks need no alignment.
 *
 * @par Scan
 * | `scan` | Order of the coefficients in the stream                                              |
 * |--------|--------------------------------------------------------------------------------------|
 * | 0      | zigzag (figure 14)                                                                   |
 * | 1      | alternate-vertical (figure I.2)                                                      |
 * | 2      | alternate-horizontal (figure I.2)                                                    |
 * | other  | none: the coefficient at scan position p stands at index p of the block              |
 *
 * @par Optional modes
 * `advIntraFlag` other than 0 is advanced intra coding (Annex I): the codes of table I.2, and no separate DC.
 * `modQuantFlag` other than 0 is modified quantisation (Annex T): levels of 11 bits, and coefficients that
 * are not clipped. Levels are then kept to the low 16 bits of what the formulas give.
 */
#ifndef KELVCPX_H263_H
#define KELVCPX_H263_H

#include <kelvcpx/types.h>

#include <stdint.h>

/**
 * Decodes an INTRADC (5.4.1): 8 bits, the level 1..254 itself, or 255 for 128.
 *
 * @param ppBitStream byte cursor (see core.h): current byte; advanced by 8 bits
 * @param pBitOffset  byte cursor: used bits of it, 0..7; unchanged
 * @param pDC         receives the level, 1..254
 *
 * @retval StatusOk           decoded
 * @retval StatusNullPointer  a pointer, or the stream pointer, is null
 * @retval StatusBadBitOffset the bit offset is outside 0..7
 * @retval StatusBadVlcCode   the code is 0 or 128; nothing is written
 */
KEL_API Status keliDecodeDCIntra_H263_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                            int16_t* pDC) KEL_NOEXCEPT;

/**
 * @name Decoding a block of levels
 *
 * Decode the codes of one block (5.4.2, table 16; with advanced intra coding table I.2) up to the one with
 * LAST. All other levels become 0, except that the intra operation, without advanced intra coding, starts at
 * scan position 1 and leaves `pCoef[0]` as it is: the DC has its own code.
 *
 * An escape is followed by LAST, 6 bits of RUN and 8 bits of LEVEL, which must not be 0 nor, without modified
 * quantisation, -128. With it, -128 stands before an extended level of 11 bits, the low 5 first (T.4).
 *
 * @param ppBitStream      byte cursor (see core.h): current byte; advanced past the block
 * @param pBitOffset       byte cursor: used bits of it, 0..7
 * @param pCoef            64 levels; all are written, but for an intra DC that is not decoded
 * @param pIndxLastNonZero receives the scan position of the last level
 * @param advIntraFlag     not 0: advanced intra coding
 * @param modQuantFlag     not 0: modified quantisation
 * @param scan             order of the levels, see the top of this file
 *
 * @retval StatusOk           the block is complete
 * @retval StatusNullPointer  a pointer, or the stream pointer, is null
 * @retval StatusBadBitOffset the bit offset is outside 0..7
 * @retval StatusBadVlcCode   no code matches, a level is forbidden, or a run leaves the block: the cursor
 *                            stays where it was, `pCoef` holds the levels so far, and `*pIndxLastNonZero` the
 *                            scan position of the last one, or the one before the first position if there is
 *                            none
 * @{
 */
KEL_API Status keliDecodeCoeffsIntra_H263_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                                int16_t* pCoef, int32_t* pIndxLastNonZero,
                                                int32_t advIntraFlag, int32_t modQuantFlag,
                                                int32_t scan) KEL_NOEXCEPT;
KEL_API Status keliDecodeCoeffsInter_H263_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                                int16_t* pCoef, int32_t* pIndxLastNonZero,
                                                int32_t modQuantFlag, int32_t scan) KEL_NOEXCEPT;
/** @} */

/**
 * @name Reconstructing a block of coefficients from the stream
 *
 * Decode a block as the operations for levels do and dequantise it in the same pass (6.2.1, I.3, T.4). With
 * level L other than 0 and quantiser Q = `QP`:
 *
 * | Coefficient                | Value                        | Then                                        |
 * |----------------------------|------------------------------|---------------------------------------------|
 * | advanced intra coding      | 2 Q L                        | the low 16 bits are kept                    |
 * | intra DC without Annex I   | 8 L                          |                                             |
 * | other, Q odd               | sign(L) (2 Q abs(L) + Q)     | clipped to -2048..2047; with Annex T the    |
 * |                            |                              | low 16 bits are kept                        |
 * | other, Q even              | sign(L) (2 Q abs(L) + Q - 1) | likewise                                    |
 *
 * Inter blocks, and intra blocks without advanced intra coding, are in zigzag order. Without advanced intra
 * coding the intra operation decodes the DC first, and nothing more if `cbp` is 0: then it writes `pCoef[0]`
 * only. With advanced intra coding `cbp` does not matter, and `scan` values other than 1 and 2 select the
 * zigzag scan; the prediction of coefficients (I.3) is up to the caller.
 *
 * @param ppBitStream      byte cursor (see core.h): current byte; advanced past the block
 * @param pBitOffset       byte cursor: used bits of it, 0..7
 * @param pCoef            64 coefficients; all are written, but of an intra block with `cbp` 0 only the DC
 * @param pIndxLastNonZero receives the scan position of the last coefficient, 0 for an intra DC alone
 * @param cbp              0 if the intra block consists of the DC alone
 * @param QP               quantiser, 1..31
 * @param advIntraFlag     not 0: advanced intra coding
 * @param scan             order of the coefficients with advanced intra coding
 * @param modQuantFlag     not 0: modified quantisation
 *
 * @retval StatusOk           the block is complete
 * @retval StatusNullPointer  a pointer, or the stream pointer, is null
 * @retval StatusBadBitOffset the bit offset is outside 0..7
 * @retval StatusBadQuantizer `QP` is outside 1..31
 * @retval StatusBadVlcCode   no code matches, a level is forbidden, or a run leaves the block: the cursor
 *                            stays where it was, or just behind an intra DC without advanced intra coding;
 *                            `pCoef` holds the coefficients so far, and `*pIndxLastNonZero` the scan position
 *                            of the last one, or the one before the first position if there is none. If the
 *                            DC itself is 0 or 128, `*pIndxLastNonZero` is -1 and nothing else is written
 * @{
 */
KEL_API Status keliReconstructCoeffsIntra_H263_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                                     int16_t* pCoef, int32_t* pIndxLastNonZero, int32_t cbp,
                                                     int32_t QP, int32_t advIntraFlag, int32_t scan,
                                                     int32_t modQuantFlag) KEL_NOEXCEPT;
KEL_API Status keliReconstructCoeffsInter_H263_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                                     int16_t* pCoef, int32_t* pIndxLastNonZero, int32_t QP,
                                                     int32_t modQuantFlag) KEL_NOEXCEPT;
/** @} */

/**
 * @name Dequantising a block of levels in place
 *
 * The formulas of the reconstruction from the stream for the levels at the indices 0..`indxLastNonZero` of
 * the block; a level of 0 stays 0. The index counts in the order of the block: pass 63 for a block in raster
 * order, or the last scan position for one that was decoded with a `scan` that selects none.
 *
 * @param pSrcDst         64 levels, replaced by coefficients
 * @param indxLastNonZero index of the last level to dequantise; at most 63, which is not checked
 * @param QP              quantiser, 1..31
 * @param advIntraFlag    not 0: advanced intra coding
 * @param modQuantFlag    not 0: modified quantisation
 *
 * @retval StatusOk           done
 * @retval StatusNullPointer  `pSrcDst` is null
 * @retval StatusBadQuantizer `QP` is outside 1..31
 * @retval StatusOutOfRange   `indxLastNonZero` is negative
 * @{
 */
KEL_API Status keliQuantInvIntra_H263_16s_C1I(int16_t* pSrcDst, int32_t indxLastNonZero, int32_t QP,
                                              int32_t advIntraFlag, int32_t modQuantFlag) KEL_NOEXCEPT;
KEL_API Status keliQuantInvInter_H263_16s_C1I(int16_t* pSrcDst, int32_t indxLastNonZero, int32_t QP,
                                              int32_t modQuantFlag) KEL_NOEXCEPT;
/** @} */

/**
 * @name Quantising a block of coefficients in place
 *
 * The encoder's choice of levels. With coefficient c, quantiser Q = `QP` and divisions that truncate:
 *
 * | Coefficient              | Level                                                | Clipped             |
 * |--------------------------|------------------------------------------------------|---------------------|
 * | intra DC without Annex I | (c + 4) >> 3, but 1 instead of 0, 254 instead of 255 | no                  |
 * | intra AC without Annex I | c / (2 Q)                                            | Q < 8, no Annex T   |
 * | advanced intra coding    | sign(c) ((abs(c) + ((3 Q) >> 2)) / (2 Q))            | no Annex T          |
 * | inter                    | sign(c) ((abs(c) - (Q >> 1)) / (2 Q))                | Q < 8, no Annex T   |
 *
 * Where the last column says so, levels are clipped to -127..127.
 *
 * The division by 2 Q is a multiplication by floor(65536 / (2 Q)) + 1 and a division by 65536: in large
 * magnitudes just below a multiple of 2 Q it rounds up. From Q = 8 on coefficients of 12 bits give no level
 * that has to be clipped, but for an intra coefficient of -2048 with Q = 8.
 *
 * @param pSrcDst      64 coefficients, replaced by levels
 * @param QP           quantiser, 1..31
 * @param pCount       receives the number of levels that are not 0; an intra DC counts always
 * @param advIntraFlag not 0: advanced intra coding
 * @param modQuantFlag not 0: modified quantisation
 *
 * @retval StatusOk           done
 * @retval StatusNullPointer  `pSrcDst` or `pCount` is null
 * @retval StatusBadQuantizer `QP` is outside 1..31
 * @{
 */
KEL_API Status keliQuantIntra_H263_16s_C1I(int16_t* pSrcDst, int32_t QP, int32_t* pCount,
                                           int32_t advIntraFlag, int32_t modQuantFlag) KEL_NOEXCEPT;
KEL_API Status keliQuantInter_H263_16s_C1I(int16_t* pSrcDst, int32_t QP, int32_t* pCount,
                                           int32_t modQuantFlag) KEL_NOEXCEPT;
/** @} */

/**
 * Encodes an INTRADC (5.4.1): the low 8 bits of the level, or 255 for 128.
 *
 * @param dc          level, 1..254 in a stream that can be decoded; not checked
 * @param ppBitStream byte cursor (see core.h): current byte; advanced by 8 bits
 * @param pBitOffset  byte cursor: used bits of it, 0..7; unchanged
 *
 * @retval StatusOk           encoded
 * @retval StatusNullPointer  a pointer, or the stream pointer, is null
 * @retval StatusBadBitOffset the bit offset is outside 0..7
 */
KEL_API Status keliEncodeDCIntra_H263_16s1u(int16_t dc, uint8_t** ppBitStream,
                                            int32_t* pBitOffset) KEL_NOEXCEPT;

/**
 * @name Encoding a block of levels
 *
 * Write the codes of one block (5.4.2, tables 16 and I.2), an escape where there is no code. The intra
 * operation, without advanced intra coding, starts at scan position 1 and does not look at `pQCoef[0]`.
 *
 * The level at the `countNonZero`-th position that is not 0 is written as the last one, and nothing behind it
 * is looked at. Levels outside -127..127 need modified quantisation, and those outside -1024..1023 have no
 * code at all: what the escape cannot hold is cut off.
 *
 * @param pQCoef       64 levels
 * @param ppBitStream  byte cursor (see core.h): current byte; advanced past the block
 * @param pBitOffset   byte cursor: used bits of it, 0..7
 * @param countNonZero number of levels that are not 0 from the first coded position on, 1..64
 * @param advIntraFlag not 0: advanced intra coding
 * @param modQuantFlag not 0: modified quantisation
 * @param scan         order of the levels, see the top of this file
 *
 * @retval StatusOk           encoded
 * @retval StatusNullPointer  a pointer, or the stream pointer, is null
 * @retval StatusBadBitOffset the bit offset is outside 0..7
 * @retval StatusOutOfRange   `countNonZero` is outside 1..64
 * @{
 */
KEL_API Status keliEncodeCoeffsIntra_H263_16s1u(const int16_t* pQCoef, uint8_t** ppBitStream,
                                                int32_t* pBitOffset, int32_t countNonZero,
                                                int32_t advIntraFlag, int32_t modQuantFlag,
                                                int32_t scan) KEL_NOEXCEPT;
KEL_API Status keliEncodeCoeffsInter_H263_16s1u(const int16_t* pQCoef, uint8_t** ppBitStream,
                                                int32_t* pBitOffset, int32_t countNonZero,
                                                int32_t modQuantFlag, int32_t scan) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_H263_H */
