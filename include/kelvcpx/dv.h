/**
 * @file
 * DV (IEC 61834-2, SMPTE 314M) and DV100 (SMPTE 370M): decoding of video segments, inverse quantisation and
 * the 2-4-8 DCT. The 8x8 inverse DCT is in block.h.
 */
#ifndef KELVCPX_DV_H
#define KELVCPX_DV_H

#include <kelvcpx/types.h>

/**
 * @name Table of the AC code
 *
 * Builds the table with which a segment decoder looks up run/amplitude codes (IEC 61834-2, variable length
 * coding), from two lists that describe the code. The end of block (0110) and the amplitude escape (seven
 * ones, eight bits of amplitude, the sign) belong to the decoder and are not listed.
 *
 * @par Code lists
 * List 0 has the codes of 9 bits and less. List 1 has the longer ones, without their first four bits, which
 * are ones in all of them. A list is an array of words:
 *
 * | Word | Meaning                                                                                       |
 * |------|-----------------------------------------------------------------------------------------------|
 * | 0    | index width N in its low 8 bits: this part of the table gets 2^N entries                      |
 * | 1, 2 | not read                                                                                      |
 * | 3    | number of codes of length 1; a negative number counts as none                                 |
 * | then | that many triples (code, run, level); the number of codes of length 2 and its triples; to N   |
 *
 * A code is right-aligned, its sign bit included; the run has 8 bits, the level is within -512..511. More
 * bits than that are ignored. A later code takes entries away from an earlier one that is its prefix or
 * continuation. With N = 0 no code is read. The segment decoders need N = 9 in both lists.
 *
 * @par Table
 * 2^N0 entries of list 0, then 2^N1 entries of list 1, in one block whose address is a multiple of 32. The
 * entries of all indices that begin with a code hold: bits 0..7 its length, in the second part with the four
 * bits that the list leaves out, or 255 where there is no code; bits 8..15 the run; bits 16..31 the level
 * times 64. The table is read-only from then on, and may be shared by threads.
 *
 * @param pCodeList0 codes of up to N0 bits; read as far as described above
 * @param pCodeList1 the tails of longer codes; read as far as described above
 * @param ppTable    receives the table, or null if there is not enough memory
 * @param pHuffTable table to be freed, made by keliInitAllocHuffmanTable_DV_32u()
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer an argument is null
 * @retval StatusOutOfMemory there is not enough memory, or a table of these widths would have 2^29 entries or
 *                           more; null is stored
 * @{
 */
KEL_API Status keliInitAllocHuffmanTable_DV_32u(const int32_t* pCodeList0, const int32_t* pCodeList1,
                                                uint32_t** ppTable) KEL_NOEXCEPT;
KEL_API Status keliFreeHuffmanTable_DV_32u(uint32_t* pHuffTable) KEL_NOEXCEPT;
/** @} */

/**
 * @name Decode a video segment
 *
 * Decodes the five compressed macroblocks of a video segment into coefficients. A block whose codes need more
 * than its own area goes on in what other blocks left over: first those of its macroblock, then those of the
 * segment (IEC 61834-2, arrangement of a compressed macroblock; SMPTE 370M likewise).
 *
 * A compressed macroblock has 80 bytes: three that identify it and are not read, one with status and
 * quantisation number, and the areas of its blocks: 14, 14, 14, 14, 10 and 10 bytes (`DV`), or 10 bytes six
 * times and 8 twice (`DV100`). An area begins with the DC (9 bits), the DCT mode (1), the class (2); then
 * come AC codes.
 *
 * @param pSrc        the macroblocks, 400 bytes
 * @param pScanTables indices, 0..63, of the coefficients in the order of transmission; that of the DC is not
 *                    used. `DV`: 64 for blocks of DCT mode 0, then 64 for mode 1; `DV100`: 64
 * @param pHuffTable  made by keliInitAllocHuffmanTable_DV_32u() with 9 as width of both lists
 * @param pDst        30 blocks (`DV`) or 40 (`DV100`) of 64 coefficients, in the order of their areas; zeros
 *                    beforehand, because only what is coded is written: the DC times 128 as coefficient 0,
 *                    AC levels times 64
 * @param pBlockInfo  30 or 40 words, one a block: bits 16..23 are the macroblock's status and quantisation
 *                    number, bits 0..15 the first two bytes of the area (bits 7..15 DC, 6 mode, 4..5 class)
 *
 * @retval StatusOk          done; every block had its end of block
 * @retval StatusNullPointer an argument is null
 * @retval StatusBadVlcCode  a code goes past coefficient 63, has no entry in the table, or a block does not
 *                           end; what was decoded before is written. Nothing outside `pSrc` is ever read.
 * @{
 */
KEL_API Status keliHuffmanDecodeSegment_DV_8u16s(const uint8_t* pSrc, const uint32_t* pScanTables,
                                                 const uint32_t* pHuffTable, int16_t* pDst,
                                                 uint32_t* pBlockInfo) KEL_NOEXCEPT;
KEL_API Status keliHuffmanDecodeSegment_DV100_8u16s(const uint8_t* pSrc, const uint32_t* pScanTables,
                                                    const uint32_t* pHuffTable, int16_t* pDst,
                                                    uint32_t* pBlockInfo) KEL_NOEXCEPT;
/** @} */

/**
 * @name Inverse quantisation and weighting
 *
 * Scales a block of 64 coefficients in place by factors that the caller derives from the quantisation number,
 * the class and the weighting of the DCT mode (IEC 61834-2, quantisation and weighting). The factors stand in
 * the order of the block. Shifts round down, and results are kept modulo 2^16.
 *
 * - `QuantInv`: (c * f) >> 14, with the two lowest bits cleared
 * - `QuantWeightBlockInv`: ((c >> 3) * q * w) >> 16, the product modulo 2^32
 *
 * For blocks as the segment decoders leave them, and an inverse DCT whose DC is eight times the mean, the
 * second form keeps all precision with q * w = 2^13 * step / weight for AC, and 2^14 for the DC. The first
 * form, with f = 2^8 * step / weight and 2^9, saves a multiplication but gives multiples of four: enough for
 * a preview.
 *
 * @param pSrcDst         64 coefficients, replaced
 * @param pDequantTable   64 factors f
 * @param pQuantInvTable  64 factors q
 * @param pWeightInvTable 64 factors w
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer a pointer is null
 * @{
 */
KEL_API Status keliQuantInv_DV_16s_C1I(int16_t* pSrcDst, const int16_t* pDequantTable) KEL_NOEXCEPT;
KEL_API Status keliQuantWeightBlockInv_DV_16s_C1I(int16_t* pSrcDst, const int16_t* pQuantInvTable,
                                                  const int16_t* pWeightInvTable) KEL_NOEXCEPT;
/** @} */

/**
 * @name 2-4-8 DCT
 *
 * Transforms a block of 64 values in place: an 8-point DCT along each row, and along each column a 4-point
 * DCT of the sums and one of the differences of lines 2i and 2i + 1 (IEC 61834-2, 2-4-8-DCT mode). Rows 0..3
 * of the coefficients belong to the sums, rows 4..7 to the differences; columns are horizontal frequencies.
 * The DC is eight times the mean, as in the 8x8 DCT, and the inverse restores the block but for rounding.
 *
 * The transforms are exact fixed point, the same on every machine. For samples of 9 bits and the coefficients
 * of such samples nothing overflows; beyond, sums wrap modulo 2^32 and results modulo 2^16.
 *
 * @param pSrcDst 64 samples in raster order, replaced by coefficients (`Frw`), or the reverse (`Inv`)
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrcDst` is null
 * @{
 */
KEL_API Status keliDCT2x4x8Frw_16s_C1I(int16_t* pSrcDst) KEL_NOEXCEPT;
KEL_API Status keliDCT2x4x8Inv_16s_C1I(int16_t* pSrcDst) KEL_NOEXCEPT;
/** @} */

/**
 * Counts the zeros of a block, as an encoder does to choose between its DCT modes.
 *
 * @param pSrc   64 values
 * @param pCount receives the number of those that are zero, 0..64
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pCount` is null
 */
KEL_API Status keliCountZeros8x8_16s_C1(const int16_t* pSrc, uint32_t* pCount) KEL_NOEXCEPT;

#endif /* KELVCPX_DV_H */
