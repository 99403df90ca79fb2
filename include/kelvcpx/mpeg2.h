/**
 * @file
 * MPEG-1 and MPEG-2 coding (ISO/IEC 11172-2, ISO/IEC 13818-2): Huffman tables and their decoding, which H.264
 * CAVLC uses too, and the reconstruction of DCT blocks from the stream.
 *
 * @par Code lists
 * A variable-length code is described by an array of 32-bit words:
 *
 * | word                 | content |
 * |----------------------|---------|
 * | 0                    | not read |
 * | 1                    | N, the number of levels of the lookup table, 1..32 |
 * | 2 .. N + 1           | the width in bits of each level, 1..31 |
 * | for length 1, 2, ... | the number of codes of that length (0 if there are none), then that many entries |
 * | after the last code  | any negative number |
 *
 * An entry of a value table is (code, value), of a run-level table (code, first, second). The code's bits are
 * right-aligned, the last bit transmitted in bit 0. The codes must be prefix-free. A code longer than the sum
 * of all level widths is skipped. A value has 24 bits, signed; `first` has 8 bits, unsigned, `second` 16
 * bits, signed. The value 61681, and the pair first 241 with second 240, mark invalid codes and cannot be
 * carried.
 *
 * @par Built tables
 * One aligned block of 32-bit entries, read-only once it is built, so that any number of threads may share
 * it. Entry 0 holds the width b of the first level; the entry for the next b bits x of the stream is at 1 +
 * x. An entry whose low byte is 0x80 links to the sub-table whose width word is at the index in its upper 24
 * bits; the entry for the next bits is again 1 + x further on. Other entries are leaves: the low byte is the
 * number of bits, looked at on this level, that lie behind the code and are given back; the upper 24 bits are
 * the value, or `first` in bits 8..15 and `second` in bits 16..31. Entries that no code reaches are
 * 0x00F0F101. The table has 1 + 2^b entries and 1 + 2^w more for each sub-table of width w, one for every
 * distinct prefix that fills the levels before it.
 *
 * @par Stream positions
 * All readers of this file take a word cursor (see core.h) and do not check the bit offset, which must be
 * 0..31. A block of damaged data ends at the latest at the first invalid code. No coefficient code of these
 * standards is all zeros, so 16 zero words behind the data keep every read of a block that begins within the
 * data inside the buffer.
 */
#ifndef KELVCPX_MPEG2_H
#define KELVCPX_MPEG2_H

#include <kelvcpx/types.h>

/**
 * @name Building decoding tables
 *
 * @param pCodeList code list as above, of (code, value) entries for keliHuffmanTableInitAlloc_32s() and of
 *                  (code, first, second) entries for keliHuffmanRunLevelTableInitAlloc_32s()
 * @param ppTable   receives the table, to be released with keliHuffmanTableFree_32s()
 *
 * @retval StatusOk          the table is built
 * @retval StatusNullPointer `pCodeList` or `ppTable` is null
 * @retval StatusOutOfRange  the number of levels is outside 1..32 or a level width outside 1..31, a code
 *                           that is not skipped is longer than 32 bits, or the table would have more than
 *                           2^24 entries; `*ppTable` is unchanged
 * @retval StatusOutOfMemory an allocation failed; `*ppTable` is null
 *
 * A list that is not prefix-free gives an unspecified table, but nothing is written outside of it.
 * @{
 */
KEL_API Status keliHuffmanTableInitAlloc_32s(const int32_t* pCodeList, int32_t** ppTable) KEL_NOEXCEPT;
KEL_API Status keliHuffmanRunLevelTableInitAlloc_32s(const int32_t* pCodeList,
                                                     int32_t** ppTable) KEL_NOEXCEPT;
/** @} */

/**
 * Releases a table of either kind.
 *
 * @param pTable table made by keliHuffmanTableInitAlloc_32s() or keliHuffmanRunLevelTableInitAlloc_32s()
 *
 * @retval StatusOk          released
 * @retval StatusNullPointer `pTable` is null
 */
KEL_API Status keliHuffmanTableFree_32s(int32_t* pTable) KEL_NOEXCEPT;

/**
 * Decodes one code with a value table.
 *
 * @param ppBitStream   word cursor (see core.h): current word; advanced past the code
 * @param pBitOffset    word cursor: next unread bit, 0..31
 * @param pDecodedValue receives the value
 * @param pTable        table of keliHuffmanTableInitAlloc_32s()
 *
 * @retval StatusOk             decoded
 * @retval StatusNullPointer    a pointer, or the stream pointer, is null
 * @retval StatusBadHuffmanCode no code matches: `*pDecodedValue` is 61681 and the cursor stays behind all
 *                              bits that the lookup has read
 */
KEL_API Status keliDecodeHuffmanOne_1u32s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                          int32_t* pDecodedValue, const int32_t* pTable) KEL_NOEXCEPT;

/**
 * Decodes one code with a run-level table.
 *
 * @param ppBitStream word cursor (see core.h): current word; advanced past the code
 * @param pBitOffset  word cursor: next unread bit, 0..31
 * @param pTable      table of keliHuffmanRunLevelTableInitAlloc_32s()
 * @param pFirst      receives the first value, the run
 * @param pSecond     receives the second value, the level
 *
 * @retval StatusOk             decoded
 * @retval StatusNullPointer    a pointer, or the stream pointer, is null
 * @retval StatusBadHuffmanCode no code matches: the cursor and both outputs are unchanged
 */
KEL_API Status keliDecodeHuffmanPair_1u16s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                           const int32_t* pTable, uint8_t* pFirst,
                                           int16_t* pSecond) KEL_NOEXCEPT;

/**
 * @name Reconstructing a block of coefficients from the stream
 *
 * Decode the coefficients of one 8x8 block up to and with its end-of-block code (ISO/IEC 11172-2 2.4.2.8 and
 * ISO/IEC 13818-2 7.2.1, 7.2.2), and dequantise them (11172-2 2.4.4, 13818-2 7.4). With level L, scale Q =
 * `QP` and weight W, all divisions truncating, modulo 2^32 where a product leaves 32 bits:
 *
 * | Operation        | Coefficient                  | Then                                      |
 * |------------------|------------------------------|-------------------------------------------|
 * | MPEG-1 intra AC  | 2 L Q W / 16                 | made odd, then clipped to -2048..2047     |
 * | MPEG-1 non-intra | (2 L + sign(L)) Q W / 16     | made odd, then clipped to -2048..2047     |
 * | MPEG-2 intra AC  | 2 L Q W / 32                 | the low 16 bits are stored, not saturated |
 * | MPEG-2 non-intra | (2 L + sign(L)) Q W / 32     | the low 16 bits are stored, not saturated |
 *
 * Made odd means that an even coefficient other than 0 moves by one towards zero.
 *
 * The escape code is followed by 6 bits of run and the level: in MPEG-2 12 bits, signed (13818-2 7.2.2.3); in
 * MPEG-1 8 bits, signed, but if these are 0 or -128 by 8 more bits b that make it b or b - 256 (11172-2
 * 2.4.3.7).
 *
 * The MPEG-2 operations do not saturate the coefficients: only streams whose level, weight and scale are
 * extreme together could tell. They end with mismatch control (13818-2 7.4.4): if the sum of all stored
 * coefficients is even, the one at block index 63 changes by one, an odd one down, an even one up.
 *
 * The intra DC is the predictor plus the coded difference (MPEG-1: plus 8 times the difference); the
 * predictor is replaced by it and `pDst[0]` gets it, in MPEG-2 shifted left by `dcShift`, each kept to 16
 * bits.
 *
 * @param ppBitStream  word cursor (see core.h): current word; advanced past the block
 * @param pBitOffset   word cursor: next unread bit, 0..31
 * @param pFirstTable  run-level table for the first coefficient of a non-intra block, used unless the next
 *                     bit is 1, which is run 0, level +1 or -1 by the bit after it (1: negative)
 * @param pACTable     run-level table for all other coefficients: `first` is the run, or 254 for end of block
 *                     or 255 for the escape code; `second` is the signed level, of which all but the MPEG-2
 *                     non-intra operation use the low 8 bits
 * @param pDCSizeTable value table of dct_dc_size (13818-2 tables B.12, B.13), values 0..31
 * @param pScan        64 entries, the block index 0..63 for each scan position; the transposed scan if the
 *                     block goes to keliDCT8x8Inv_AANTransposed_16s_C1R() and its kin
 * @param QP           quantiser scale as a multiplier, 1..112 (quantiser_scale of 13818-2 table 7-6)
 * @param pQMatrix     64 weights by block index, transposed like the scan; the MPEG-2 non-intra operation
 *                     takes null for the flat matrix of 16
 * @param pDCPred      DC predictor of the component: in units of the reconstructed DC for MPEG-1, in the
 *                     coded precision for MPEG-2; replaced
 * @param dcShift      3 - intra_dc_precision, 0..3
 * @param pDst         64 coefficients by block index, all written; not required to be aligned
 * @param pLastIndex   receives the scan position of the last decoded coefficient, as the inverse DCT's
 *                     `count` wants it: 0 for an intra block without AC coefficients, -1 for a non-intra
 *                     block that starts with end of block (which no stream should); the MPEG-2 non-intra
 *                     operation gives 1 instead of 0, as mismatch control has its say in a block with just
 *                     one coefficient
 *
 * @retval StatusOk             the block is complete
 * @retval StatusNullPointer    a pointer other than the optional matrix, or the stream pointer, is null
 * @retval StatusBadHuffmanCode an invalid code, or a coefficient beyond scan position 63: the cursor stays
 *                              where decoding stopped (behind the bits of the invalid code that were looked
 *                              at), `pDst` holds the coefficients so far, the predictor is updated if the DC
 *                              was read, and `pLastIndex` is unchanged
 * @{
 */
KEL_API Status keliReconstructDCTBlock_MPEG1_32s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                                 const int32_t* pFirstTable, const int32_t* pACTable,
                                                 const int32_t* pScan, int32_t QP, const int16_t* pQMatrix,
                                                 int16_t* pDst, int32_t* pLastIndex) KEL_NOEXCEPT;
KEL_API Status keliReconstructDCTBlockIntra_MPEG1_32s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                                      const int32_t* pDCSizeTable, const int32_t* pACTable,
                                                      const int32_t* pScan, int32_t QP,
                                                      const int16_t* pQMatrix, int16_t* pDCPred,
                                                      int16_t* pDst, int32_t* pLastIndex) KEL_NOEXCEPT;
KEL_API Status keliReconstructDCTBlock_MPEG2_32s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                                 const int32_t* pFirstTable, const int32_t* pACTable,
                                                 const int32_t* pScan, int32_t QP, const int16_t* pQMatrix,
                                                 int16_t* pDst, int32_t* pLastIndex) KEL_NOEXCEPT;
KEL_API Status keliReconstructDCTBlockIntra_MPEG2_32s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                                      const int32_t* pDCSizeTable, const int32_t* pACTable,
                                                      const int32_t* pScan, int32_t QP,
                                                      const int16_t* pQMatrix, int16_t* pDCPred,
                                                      int32_t dcShift, int16_t* pDst,
                                                      int32_t* pLastIndex) KEL_NOEXCEPT;
/** @} */

/**
 * @name Dequantising a block of levels in place
 *
 * MPEG-2 inverse quantisation (ISO/IEC 13818-2 7.4) of 64 decoded levels by the formulas above, here
 * saturated to -2048..2047 before mismatch control. The intra operation leaves `pSrcDst[0]`, the DC, as it is
 * and counts it in the sum of mismatch control.
 *
 * @param pSrcDst  64 levels, replaced by coefficients
 * @param QP       quantiser scale as a multiplier, 1..112
 * @param pQMatrix 64 weights in the order of the block; keliQuantInv_MPEG2_16s_C1I() takes null for the flat
 *                 matrix of 16
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrcDst`, or the required `pQMatrix`, is null
 * @{
 */
KEL_API Status keliQuantInvIntra_MPEG2_16s_C1I(int16_t* pSrcDst, int32_t QP,
                                               const int16_t* pQMatrix) KEL_NOEXCEPT;
KEL_API Status keliQuantInv_MPEG2_16s_C1I(int16_t* pSrcDst, int32_t QP, const int16_t* pQMatrix) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_MPEG2_H */
