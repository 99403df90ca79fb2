/**
 * @file
 * H.264 (ITU-T H.264 | ISO/IEC 14496-10): CAVLC residual blocks, intra prediction, and the reconstruction of
 * intra and inter macroblocks of 8-bit 4:2:0 pictures (for others see h264_high.h). Clause and table numbers
 * are those of ITU-T H.264.
 *
 * @par One macroblock
 * 1. Decode its residual blocks in the order of the syntax (7.3.5.3) with the CAVLC operations. Each appends
 *    its coefficients to one buffer, the packed coefficients, if it has any; set the block's bit of the coded
 *    blocks (`cbp`) if it reports a TotalCoeff above 0.
 * 2. Inter: form the prediction in the picture, then add the residual with keliReconstructLumaInterMB_... and
 *    keliReconstructChromaInterMB_... . Intra: keliReconstructLumaIntra...MB_... and
 *    keliReconstructChromaIntra...MB_... predict and add the residual block by block. Both consume the packed
 *    coefficients; luma comes first, as in the syntax.
 *
 * @par Packed coefficients
 * `ppSrcCoeff` points to the caller's pointer into an array of 16-bit coefficients (which need no alignment).
 * Every block whose bit is set in `cbp`, and no other, occupies as many coefficients as it has, in raster
 * order within the block (4 * row + column, or 8 * row + column; row is the vertical frequency), one block
 * after the other:
 *
 * | block                                                         | coefficients |
 * |---------------------------------------------------------------|--------------|
 * | 4x4 block; AC of a 4x4 block (the coefficient at 0 is unused) | 16           |
 * | DC of Intra_16x16, raster order of the 4x4 array of blocks    | 16           |
 * | 8x8 block                                                     | 64           |
 * | chroma DC of one component, raster order of the 2x2 array     | 4            |
 *
 * An operation that succeeds moves `*ppSrcCoeff` behind the last coefficient that it consumed. Consumed
 * coefficients may have been overwritten. An 8x8 block that is coded with CAVLC comes as four blocks of 16
 * coefficients, which the caller interleaves (7.3.5.3.1) in a place of its own before it passes them on.
 *
 * @par Coded blocks
 * `cbp` has a bit for each block that is present (this is not the syntax element coded_block_pattern):
 *
 * | operations                                  | bits                                                     |
 * |---------------------------------------------|----------------------------------------------------------|
 * | luma, 4x4 blocks (intra and inter)          | 1..16: blocks 0..15; bit 0 is ignored                    |
 * | Intra_16x16                                 | 0: DC of all blocks; 1..16: AC of blocks 0..15           |
 * | luma, 8x8 blocks (intra and inter)          | 0..3: blocks 0..3                                        |
 * | upper or lower half of a macroblock (Half)  | 0..7: 4x4 blocks 0..7; 0..1: 8x8 blocks 0..1             |
 * | chroma                                      | 17: Cb DC; 18: Cr DC; 19..22: Cb AC of blocks 0..3;      |
 * |                                             | 23..26: Cr AC of blocks 0..3                             |
 *
 * All other bits are ignored, so that one word can serve luma and chroma of a macroblock of 4x4 blocks.
 *
 * @par Block order
 * 4x4 luma blocks are numbered as in Figure 6-10, which is their order in the stream, 8x8 and chroma blocks
 * in raster order:
 *
 *      0  1  4  5      0  1
 *      2  3  6  7      2  3
 *      8  9 12 13
 *     10 11 14 15
 *
 * @par Samples
 * All operations work in place on 8-bit planes. `srcDstStep` is the distance in bytes between the starts of
 * two rows, the same for Cb and Cr; the samples of neighbouring blocks are read from the same plane, but only
 * where they are said to be available. Sums of prediction and residual are clipped to 0..255.
 *
 * @par Overflow
 * Coefficients may have any value. Where a scaled coefficient or the result of a transform's row needs more
 * than 16 bits, its low 16 bits are used; streams that follow the standard never come to that (8.5.12.2).
 */
#ifndef KELVCPX_H264_RESIDUAL_H
#define KELVCPX_H264_RESIDUAL_H

#include <kelvcpx/types.h>

/**
 * Reads one Exp-Golomb code (9.1): ue(v), or se(v), whose codes 1, 2, 3, 4 and so on are the values
 * 1, -1, 2, -2 and so on.
 *
 * @param ppBitStream word cursor (see core.h): current word; advanced past the code
 * @param pBitOffset  word cursor: next unread bit, 0..31
 * @param pValue      receives the low 16 bits of the value: reinterpret it as unsigned for a ue(v) that may
 *                    exceed 32767
 * @param isSigned    0 for ue(v), not 0 for se(v)
 *
 * @retval StatusOk             read
 * @retval StatusNullPointer    a pointer, or the stream pointer, is null
 * @retval StatusBadArgument    the bit offset is outside 0..31
 * @retval StatusBadHuffmanCode more than 31 leading zeros, which no code has: the cursor and `*pValue` are
 *                              unchanged
 */
KEL_API Status keliDecodeExpGolombOne_H264_1u16s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                                 int16_t* pValue, uint8_t isSigned) KEL_NOEXCEPT;

/**
 * @name Decoding a residual block of CAVLC
 *
 * Read one residual block (residual_block_cavlc, 7.3.5.3.2 and 9.2): coeff_token, the signs of the trailing
 * ones, the levels, total_zeros and run_before. A block with coefficients is stored at `*ppCoeffs`, zeros
 * included, and the pointer moves behind it; a block without any leaves buffer and pointer as they are. The
 * 1u16s forms store the low 16 bits of a level, the 1u32s forms levels of -32768..32768, for samples of more
 * than 8 bits.
 *
 * | operation              | block                                 | stored                              |
 * |------------------------|---------------------------------------|-------------------------------------|
 * | CAVLCCoeffs            | 4x4 block, or one without its DC      | 16, in raster order by `scanOrder`  |
 * | CAVLCChromaDcCoeffs    | chroma DC of 4:2:0, 2x2               | 4, in raster order                  |
 * | CAVLCChroma422DcCoeffs | chroma DC of 4:2:2, 2 wide and 4 high | 8, at 2 * row + column (8.5.11.1)   |
 *
 * The code tables come from the caller. They are built with keliHuffmanRunLevelTableInitAlloc_32s() from
 * entries (code, TrailingOnes, TotalCoeff) for coeff_token and with keliHuffmanTableInitAlloc_32s() for
 * total_zeros and run_before (see mpeg2.h for code lists and the layout of the tables):
 *
 * | argument            | of the 4x4 operations     | of the chroma DC operations                           |
 * |---------------------|---------------------------|-------------------------------------------------------|
 * | `coeffTokenTables`  | Table 9-5: [0] 0 <= nC < 2, [1] 2 <= nC < 4, [2] 4 <= nC < 8; nC >= 8 needs none ||
 * | `coeffTokenTable`   |                           | Table 9-5, nC = -1 for 4:2:0 and -2 for 4:2:2         |
 * | `totalZerosTables`  | Tables 9-7, 9-8: [1..15]  | Table 9-9 (a): [1..3], (b): [1..7]                    |
 * | `runBeforeTables`   | Table 9-10: [1..6], and the column of zerosLeft > 6 at [7..14], the same for all ||
 *
 * Tables are indexed by TotalCoeff and by zerosLeft; element 0 is never read. The few largest elements that a
 * block size cannot reach (run_before of chroma DC above 3 or 7) are never read either.
 *
 * @param ppBitStream      word cursor (see core.h): current word; advanced past the block
 * @param pBitOffset       word cursor: next unread bit, 0..31, not checked
 * @param pTotalCoeff      receives TotalCoeff, the number of coefficients that are not zero, 0..16
 * @param ppCoeffs         where the block is to be stored; moved behind it if it has coefficients
 * @param nC               the standard's nC (9.2.1), 0 or more
 * @param maxNumCoeff      16, or 15 for a block without its DC (AC of Intra_16x16 and of chroma), whose scan
 *                         begins at `scanOrder[1]`
 * @param coeffTokenTables three tables of coeff_token
 * @param coeffTokenTable  table of coeff_token
 * @param totalZerosTables tables of total_zeros by TotalCoeff
 * @param runBeforeTables  tables of run_before by zerosLeft
 * @param scanOrder        raster index 0..15 for each of the 16 scan positions (8.5.6, zigzag or field)
 *
 * @retval StatusOk             the block is complete
 * @retval StatusNullPointer    a pointer, the stream pointer or the buffer pointer is null, or, after the
 *                              check of the range, the table of coeff_token. Or a table of total_zeros or
 *                              run_before that the block needs is null: as for a bad code of that table, but
 *                              the cursor stands before the code
 * @retval StatusOutOfRange     `maxNumCoeff` is not 15 or 16, or else `nC` is negative
 * @retval StatusBadHuffmanCode coeff_token is invalid, or tells of more coefficients than the block has:
 *                              nothing is written and the cursor stays. Or another code is bad, see below
 *
 * @par Bad codes
 * A level_prefix above 31 is bad (no stream needs more than 25), and so are a total_zeros that is invalid or
 * leaves the block and a run_before that is invalid or exceeds the zeros that are left. Then `*pTotalCoeff`
 * is set, the block at `*ppCoeffs` is zero but for the levels placed so far, `*ppCoeffs` stays, and the
 * cursor stands behind the bits read of the code that failed: of an invalid one all bits looked up but for
 * those that the table's entry gives back (one in a built table), of level_prefix 32 zeros.
 *
 * Within the fixed-length codes of nC >= 8, two that the standard does not assign are taken literally: where
 * TrailingOnes exceeds TotalCoeff, that many signs are read and the first TotalCoeff of them are used.
 *
 * Tables must be well-formed, and entries of `scanOrder` within 0..15; the stream may hold anything. With the
 * standard's tables 8 zero words behind the data keep every read of one block inside the buffer.
 * @{
 */
KEL_API Status keliDecodeCAVLCCoeffs_H264_1u16s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                                uint16_t* pTotalCoeff, int16_t** ppCoeffs, int32_t nC,
                                                int16_t maxNumCoeff, const int32_t* const* coeffTokenTables,
                                                const int32_t* const* totalZerosTables,
                                                const int32_t* const* runBeforeTables,
                                                const int32_t* scanOrder) KEL_NOEXCEPT;
KEL_API Status keliDecodeCAVLCCoeffs_H264_1u32s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                                uint16_t* pTotalCoeff, int32_t** ppCoeffs, int32_t nC,
                                                int16_t maxNumCoeff, const int32_t* const* coeffTokenTables,
                                                const int32_t* const* totalZerosTables,
                                                const int32_t* const* runBeforeTables,
                                                const int32_t* scanOrder) KEL_NOEXCEPT;
KEL_API Status keliDecodeCAVLCChromaDcCoeffs_H264_1u16s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                                        uint16_t* pTotalCoeff, int16_t** ppCoeffs,
                                                        const int32_t* coeffTokenTable,
                                                        const int32_t* const* totalZerosTables,
                                                        const int32_t* const* runBeforeTables) KEL_NOEXCEPT;
KEL_API Status keliDecodeCAVLCChromaDcCoeffs_H264_1u32s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                                        uint16_t* pTotalCoeff, int32_t** ppCoeffs,
                                                        const int32_t* coeffTokenTable,
                                                        const int32_t* const* totalZerosTables,
                                                        const int32_t* const* runBeforeTables) KEL_NOEXCEPT;
KEL_API Status keliDecodeCAVLCChroma422DcCoeffs_H264_1u16s(
    const uint32_t** ppBitStream, int32_t* pBitOffset, uint16_t* pTotalCoeff, int16_t** ppCoeffs,
    const int32_t* coeffTokenTable, const int32_t* const* totalZerosTables,
    const int32_t* const* runBeforeTables) KEL_NOEXCEPT;
KEL_API Status keliDecodeCAVLCChroma422DcCoeffs_H264_1u32s(
    const uint32_t** ppBitStream, int32_t* pBitOffset, uint16_t* pTotalCoeff, int32_t** ppCoeffs,
    const int32_t* coeffTokenTable, const int32_t* const* totalZerosTables,
    const int32_t* const* runBeforeTables) KEL_NOEXCEPT;
/** @} */

/**
 * @name Intra prediction of one block
 *
 * Predict a 4x4 luma block (8.3.1.2), a 16x16 luma block (8.3.3) or an 8x8 chroma block of 4:2:0 (8.3.4) from
 * the samples around it in the same plane.
 *
 * Modes have the standard's numbers:
 *
 * | mode | 4x4                 | 16x16      | chroma     |
 * |------|---------------------|------------|------------|
 * | 0    | vertical            | vertical   | DC         |
 * | 1    | horizontal          | horizontal | horizontal |
 * | 2    | DC                  | DC         | vertical   |
 * | 3    | diagonal down-left  | plane      | plane      |
 * | 4    | diagonal down-right |            |            |
 * | 5    | vertical-right      |            |            |
 * | 6    | horizontal-down     |            |            |
 * | 7    | vertical-left       |            |            |
 * | 8    | horizontal-up       |            |            |
 *
 * `availability` has a bit for each neighbour that may be read; other bits are ignored:
 *
 * | bit  | samples                                                                          |
 * |------|----------------------------------------------------------------------------------|
 * | 0x01 | top: the row above the block                                                     |
 * | 0x02 | left: the column left of the block                                               |
 * | 0x20 | top-left: the one sample above the left column                                   |
 * | 0x40 | top-right: the 4 samples after the row above a 4x4 block; the others read none   |
 *
 * The 4x4 operation carries out every mode: samples at the top, left or top-left that the mode needs and that
 * are missing count as 128, and it warns; a missing top-right repeats the last sample of the row above,
 * without a warning. Vertical, diagonal down-left and vertical-left need the top, horizontal and
 * horizontal-up the left, the three modes from diagonal down-right to horizontal-down top, left and top-left;
 * DC needs nothing. The other two operations refuse a mode whose neighbours are missing: vertical needs the
 * top, horizontal the left, plane top, left and top-left. DC takes the mean of the sides that are there,
 * in a chroma block for each of its 4x4 blocks by the preferences of 8.3.4, and 128 if there is none.
 *
 * @param pSrcDst      top left sample of the block; the block is written
 * @param srcDstStep   distance in bytes between rows
 * @param mode         prediction mode
 * @param availability neighbours that may be read
 *
 * @retval StatusOk              predicted
 * @retval StatusWarnNoNeighbour predicted with 128 in place of a missing neighbour (4x4 only)
 * @retval StatusNullPointer     `pSrcDst` is null
 * @retval StatusBadStep         `srcDstStep` is below the width of the block
 * @retval StatusOutOfRange      `mode` is not in the table
 * @retval StatusBadIntraMode    the mode needs a missing neighbour (16x16 and chroma)
 * @{
 */
KEL_API Status keliPredictIntra_4x4_H264_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep, uint32_t mode,
                                                 int32_t availability) KEL_NOEXCEPT;
KEL_API Status keliPredictIntra_16x16_H264_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep, uint32_t mode,
                                                   int32_t availability) KEL_NOEXCEPT;
KEL_API Status keliPredictIntraChroma8x8_H264_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep, uint32_t mode,
                                                      int32_t availability) KEL_NOEXCEPT;
/** @} */

/**
 * @name Intra macroblocks: luma
 *
 * Predict and reconstruct the luma of an intra macroblock block by block (8.3, 8.5), each block from the
 * samples that the ones before it became.
 *
 * | operation                                            | macroblock            | scaling     |
 * |------------------------------------------------------|-----------------------|-------------|
 * | keliReconstructLumaIntraMB_H264_16s8u_C1R()          | Intra_4x4             | default     |
 * | keliReconstructLumaIntraHalfMB_H264_16s8u_C1R()      | Intra_4x4, one half   | default     |
 * | keliReconstructLumaIntra4x4MB_H264_16s8u_C1R()       | Intra_4x4             | level-scale |
 * | keliReconstructLumaIntraHalf4x4MB_H264_16s8u_C1R()   | Intra_4x4, one half   | level-scale |
 * | keliReconstructLumaIntra8x8MB_H264_16s8u_C1R()       | Intra_8x8             | level-scale |
 * | keliReconstructLumaIntraHalf8x8MB_H264_16s8u_C1R()   | Intra_8x8, one half   | level-scale |
 * | keliReconstructLumaIntra16x16MB_H264_16s8u_C1R()     | Intra_16x16           | default     |
 * | keliReconstructLumaIntra_16x16MB_H264_16s8u_C1R()    | Intra_16x16           | level-scale |
 *
 * The default scaling is that of flat scaling lists, of all profiles without scaling matrices. The forms with
 * level-scale tables, of the High profiles, compute with LevelScale of the caller and know the lossless
 * transform bypass. See the notes on scaling below.
 *
 * The Half forms rebuild 16x8 samples, blocks 0..7 (or 8x8 blocks 0..1), for macroblocks whose halves have
 * different neighbours at the left (MBAFF with constrained intra prediction). A second call rebuilds the
 * lower half: `pSrcDst` eight rows lower, the modes and `cbp` bits of the other blocks counted from 0, and
 * edge flags that describe its neighbours: bit 0x04 clear, as the upper half is there; bit 0x20 set, as what
 * is at its upper right comes later; bit 0x10 as the left neighbour of the upper half.
 *
 * @par Neighbours
 * `edgeFlags` has a bit for each neighbouring macroblock that is NOT available for intra prediction (the
 * opposite of the prediction operations above): 0x01 left, 0x04 top, 0x10 top-left, 0x20 top-right; other
 * bits are ignored. The availability for each block follows (6.4.11).
 *
 * - Intra_4x4 carries out every mode, as keliPredictIntra_4x4_H264_8u_C1IR() does, with its warning.
 * - Intra_8x8 too, without a warning. Only neighbours that are there are filtered (8.3.2.2.1).
 * - Intra_16x16 refuses a mode that needs a missing neighbour.
 *
 * @par Scaling
 * With m = QP % 6 and q = QP / 6, and >> the arithmetic shift:
 *
 * | coefficients            | default               | level-scale table L                                  |
 * |-------------------------|-----------------------|------------------------------------------------------|
 * | 4x4 block               | c * v(m, k) << q      | q < 4: (c * L[k] + 2^(3-q)) >> (4-q)                 |
 * |                         |                       | q >= 4: (c * L[k]) << (q-4)                          |
 * | 8x8 block               |                       | q < 6: (c * L[k] + 2^(5-q)) >> (6-q)                 |
 * |                         |                       | q >= 6: (c * L[k]) << (q-6)                          |
 * | DC of Intra_16x16,      | q < 2: (f * v(m, 0) + | as an 8x8 block, with L[0] of the 4x4 table          |
 * | Hadamard-transformed    | 2 - q) >> (2-q)       |                                                      |
 * |                         | else f * v(m, 0) <<   |                                                      |
 * |                         | (q-2)                 |                                                      |
 *
 * v is normAdjust4x4 (8.5.9). `pLevelScale` points to 16 or 64 factors in raster order, LevelScale4x4(m, i,
 * j) or LevelScale8x8(m, i, j): the weight of the scaling matrix times normAdjust for QP % 6 of this
 * macroblock (16 times normAdjust for a flat matrix).
 *
 * If `bypass` is not 0 and QP is 0 (qpprime_y_zero_transform_bypass), coefficients are residuals and are
 * added as they are, the DC of Intra_16x16 to the first sample of its block. Where the standard wants
 * horizontal or vertical prediction of such residuals (8.5.15), the caller sums them up beforehand.
 *
 * @param ppSrcCoeff  packed coefficients; moved behind those of the macroblock, but left as they are with any
 *                    error
 * @param pSrcDst     top left luma sample of the macroblock or half
 * @param srcDstStep  distance in bytes between rows
 * @param pIntraModes one mode for each block in block order, numbered as for 4x4 above (Tables 8-2, 8-3)
 * @param mode        mode of Intra_16x16, numbered as above
 * @param cbp         coded blocks
 * @param QP          quantiser QP'Y, 0..51
 * @param edgeFlags   missing neighbours
 * @param pLevelScale level-scale table, 16 or (8x8) 64 factors
 * @param bypass      lossless transform bypass
 *
 * @retval StatusOk              reconstructed
 * @retval StatusWarnNoNeighbour reconstructed; an Intra_4x4 block was predicted with 128 in place of a
 *                               missing neighbour
 * @retval StatusNullPointer     a pointer or `*ppSrcCoeff` is null
 * @retval StatusBadStep         `srcDstStep` is below 1; not checked by
 *                               keliReconstructLumaIntra16x16MB_H264_16s8u_C1R()
 * @retval StatusOutOfRange      QP is outside 0..51, or else a mode is above 8 (Intra_16x16: above 3). The
 *                               modes of 4x4 and 8x8 blocks are checked when their turn comes: the blocks
 *                               before a wrong one are reconstructed
 * @retval StatusBadIntraMode    `mode` needs a missing neighbour
 * @{
 */
KEL_API Status keliReconstructLumaIntraMB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                         int32_t srcDstStep, const uint32_t* pIntraModes,
                                                         uint32_t cbp, int32_t QP,
                                                         uint8_t edgeFlags) KEL_NOEXCEPT;
KEL_API Status keliReconstructLumaIntraHalfMB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                             int32_t srcDstStep, const uint32_t* pIntraModes,
                                                             uint32_t cbp, int32_t QP,
                                                             uint8_t edgeFlags) KEL_NOEXCEPT;
KEL_API Status keliReconstructLumaIntra4x4MB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                            int32_t srcDstStep, const uint32_t* pIntraModes,
                                                            uint32_t cbp, int32_t QP, uint8_t edgeFlags,
                                                            const int16_t* pLevelScale,
                                                            uint8_t bypass) KEL_NOEXCEPT;
KEL_API Status keliReconstructLumaIntraHalf4x4MB_H264_16s8u_C1R(
    int16_t** ppSrcCoeff, uint8_t* pSrcDst, int32_t srcDstStep, const uint32_t* pIntraModes, uint32_t cbp,
    int32_t QP, uint8_t edgeFlags, const int16_t* pLevelScale, uint8_t bypass) KEL_NOEXCEPT;
KEL_API Status keliReconstructLumaIntra8x8MB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                            int32_t srcDstStep, const uint32_t* pIntraModes,
                                                            uint32_t cbp, int32_t QP, uint8_t edgeFlags,
                                                            const int16_t* pLevelScale,
                                                            uint8_t bypass) KEL_NOEXCEPT;
KEL_API Status keliReconstructLumaIntraHalf8x8MB_H264_16s8u_C1R(
    int16_t** ppSrcCoeff, uint8_t* pSrcDst, int32_t srcDstStep, const uint32_t* pIntraModes, uint32_t cbp,
    int32_t QP, uint8_t edgeFlags, const int16_t* pLevelScale, uint8_t bypass) KEL_NOEXCEPT;
KEL_API Status keliReconstructLumaIntra16x16MB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                              int32_t srcDstStep, uint32_t mode, uint32_t cbp,
                                                              int32_t QP, uint8_t edgeFlags) KEL_NOEXCEPT;
KEL_API Status keliReconstructLumaIntra_16x16MB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                               int32_t srcDstStep, uint32_t mode,
                                                               uint32_t cbp, int32_t QP, uint8_t edgeFlags,
                                                               const int16_t* pLevelScale,
                                                               uint8_t bypass) KEL_NOEXCEPT;
/** @} */

/**
 * @name Intra macroblocks: chroma
 *
 * Predict both 8x8 chroma blocks of a 4:2:0 macroblock and add their residual, as the chroma operations for
 * inter macroblocks below do.
 *
 * | operation              | neighbours at the left | scaling                         |
 * |------------------------|------------------------|---------------------------------|
 * | IntraMB                | one macroblock         | default, one quantiser          |
 * | Intra4x4MB             | one macroblock         | level-scale, a quantiser each   |
 * | IntraHalfsMB, Halves   | of each half           | default, one quantiser          |
 * | IntraHalfs4x4MB        | of each half           | level-scale, a quantiser each   |
 * | IntraHalves4x4MB       | of each half           | default, a quantiser each       |
 *
 * The forms for halves are for macroblocks whose halves have different neighbours at the left: the upper four
 * rows are predicted with the left availability of `edgeFlagsUpper`, the lower four with that of
 * `edgeFlagsLower`; for the top the flags of the upper half count. Only DC prediction is possible there.
 * keliReconstructChromaIntraHalvesMB_H264_16s8u_P2R() is another name of
 * keliReconstructChromaIntraHalfsMB_H264_16s8u_P2R().
 *
 * @param ppSrcCoeff     packed coefficients; moved behind those of the macroblock, but left as they are with
 *                       any error
 * @param pSrcDstCb      top left Cb sample of the macroblock
 * @param pSrcDstCr      top left Cr sample of the macroblock
 * @param srcDstStep     distance in bytes between rows of both planes; may be negative
 * @param mode           chroma mode, numbered as for the prediction operation above
 * @param cbp            coded blocks
 * @param QPc            quantiser QP'C of both components, 0..39
 * @param QPcb           quantiser of Cb, 0..39
 * @param QPcr           quantiser of Cr, 0..39
 * @param edgeFlags      missing neighbours, as for luma
 * @param edgeFlagsUpper missing neighbours of the upper half
 * @param edgeFlagsLower missing neighbours of the lower half; only bit 0x01 counts
 * @param pLevelScaleCb  level-scale table of Cb, 16 factors
 * @param pLevelScaleCr  level-scale table of Cr, 16 factors
 * @param bypass         lossless transform bypass, of each component whose quantiser is 0 (in the standard
 *                       QP'Y decides for chroma too: pass 0 for both if it is 0)
 *
 * @retval StatusOk           reconstructed
 * @retval StatusNullPointer  a pointer or `*ppSrcCoeff` is null
 * @retval StatusBadStep      `srcDstStep` is 0 (Halfs4x4MB, Halves4x4MB: below 1)
 * @retval StatusOutOfRange   a quantiser is outside 0..39, or else the mode is above 3 (but not for halves).
 *                            HalfsMB and HalvesMB refuse quantisers of 40..51 last, when the prediction is
 *                            written
 * @retval StatusBadIntraMode the mode needs a missing neighbour; for halves: the mode is not DC
 * @{
 */
KEL_API Status keliReconstructChromaIntraMB_H264_16s8u_P2R(int16_t** ppSrcCoeff, uint8_t* pSrcDstCb,
                                                           uint8_t* pSrcDstCr, int32_t srcDstStep,
                                                           uint32_t mode, uint32_t cbp, int32_t QPc,
                                                           uint8_t edgeFlags) KEL_NOEXCEPT;
KEL_API Status keliReconstructChromaIntra4x4MB_H264_16s8u_P2R(
    int16_t** ppSrcCoeff, uint8_t* pSrcDstCb, uint8_t* pSrcDstCr, int32_t srcDstStep, uint32_t mode,
    uint32_t cbp, int32_t QPcb, int32_t QPcr, uint8_t edgeFlags, const int16_t* pLevelScaleCb,
    const int16_t* pLevelScaleCr, uint8_t bypass) KEL_NOEXCEPT;
KEL_API Status keliReconstructChromaIntraHalfsMB_H264_16s8u_P2R(int16_t** ppSrcCoeff, uint8_t* pSrcDstCb,
                                                                uint8_t* pSrcDstCr, int32_t srcDstStep,
                                                                uint32_t mode, uint32_t cbp, int32_t QPc,
                                                                uint8_t edgeFlagsUpper,
                                                                uint8_t edgeFlagsLower) KEL_NOEXCEPT;
KEL_API Status keliReconstructChromaIntraHalvesMB_H264_16s8u_P2R(int16_t** ppSrcCoeff, uint8_t* pSrcDstCb,
                                                                 uint8_t* pSrcDstCr, int32_t srcDstStep,
                                                                 uint32_t mode, uint32_t cbp, int32_t QPc,
                                                                 uint8_t edgeFlagsUpper,
                                                                 uint8_t edgeFlagsLower) KEL_NOEXCEPT;
KEL_API Status keliReconstructChromaIntraHalfs4x4MB_H264_16s8u_P2R(
    int16_t** ppSrcCoeff, uint8_t* pSrcDstCb, uint8_t* pSrcDstCr, int32_t srcDstStep, uint32_t mode,
    uint32_t cbp, int32_t QPcb, int32_t QPcr, uint8_t edgeFlagsUpper, uint8_t edgeFlagsLower,
    const int16_t* pLevelScaleCb, const int16_t* pLevelScaleCr, uint8_t bypass) KEL_NOEXCEPT;
KEL_API Status keliReconstructChromaIntraHalves4x4MB_H264_16s8u_P2R(int16_t** ppSrcCoeff, uint8_t* pSrcDstCb,
                                                                    uint8_t* pSrcDstCr, int32_t srcDstStep,
                                                                    uint32_t mode, uint32_t cbp, int32_t QPcb,
                                                                    int32_t QPcr, uint8_t edgeFlagsUpper,
                                                                    uint8_t edgeFlagsLower) KEL_NOEXCEPT;
/** @} */

/**
 * @name Inter macroblocks
 *
 * Add the residual to the prediction that the caller has formed in the picture (8.5). Blocks that are not
 * coded stay as predicted. LumaInterMB and ChromaInterMB use the default scaling, the others level-scale
 * tables and the lossless transform bypass, all as described for intra macroblocks. There is no 8x8 form with
 * default scaling: pass 16 times normAdjust8x8.
 *
 * The DC coefficients c of a chroma component are transformed, f = c0 + c1 + c2 + c3, c0 - c1 + c2 - c3,
 * c0 + c1 - c2 - c3, c0 - c1 - c2 + c3, and scaled: (f * v(m, 0) << q) >> 1 by default,
 * ((f * L[0]) << q) >> 5 with a level-scale table. They take the place of coefficient 0 of the component's
 * four blocks, which need not be coded themselves.
 *
 * @param ppSrcCoeff    packed coefficients; moved behind those of the macroblock, but left as they are with
 *                      any error
 * @param pSrcDst       top left luma sample of the macroblock
 * @param pSrcDstCb     top left Cb sample of the macroblock
 * @param pSrcDstCr     top left Cr sample of the macroblock
 * @param srcDstStep    distance in bytes between rows; may be negative
 * @param cbp           coded blocks; if it has none of the operation's bits, nothing is done
 * @param QP            quantiser QP'Y, 0..51
 * @param QPc           quantiser QP'C of both components, 0..39
 * @param QPcb          quantiser of Cb, 0..39
 * @param QPcr          quantiser of Cr, 0..39
 * @param pLevelScale   level-scale table, 16 factors for 4x4 and 64 for 8x8 blocks
 * @param pLevelScaleCb level-scale table of Cb, 16 factors
 * @param pLevelScaleCr level-scale table of Cr, 16 factors
 * @param bypass        lossless transform bypass, of each component whose quantiser is 0
 *
 * @retval StatusOk          reconstructed
 * @retval StatusNullPointer a pointer or `*ppSrcCoeff` is null
 * @retval StatusBadStep     `srcDstStep` is 0; not checked by keliReconstructLumaInterMB_H264_16s8u_C1R()
 * @retval StatusOutOfRange  a quantiser is outside its range
 * @{
 */
KEL_API Status keliReconstructLumaInterMB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                         int32_t srcDstStep, uint32_t cbp,
                                                         int32_t QP) KEL_NOEXCEPT;
KEL_API Status keliReconstructLumaInter4x4MB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                            int32_t srcDstStep, uint32_t cbp, int32_t QP,
                                                            const int16_t* pLevelScale,
                                                            uint8_t bypass) KEL_NOEXCEPT;
KEL_API Status keliReconstructLumaInter8x8MB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                            int32_t srcDstStep, uint32_t cbp, int32_t QP,
                                                            const int16_t* pLevelScale,
                                                            uint8_t bypass) KEL_NOEXCEPT;
KEL_API Status keliReconstructChromaInterMB_H264_16s8u_P2R(int16_t** ppSrcCoeff, uint8_t* pSrcDstCb,
                                                           uint8_t* pSrcDstCr, int32_t srcDstStep,
                                                           uint32_t cbp, int32_t QPc) KEL_NOEXCEPT;
KEL_API Status keliReconstructChromaInter4x4MB_H264_16s8u_P2R(int16_t** ppSrcCoeff, uint8_t* pSrcDstCb,
                                                              uint8_t* pSrcDstCr, int32_t srcDstStep,
                                                              uint32_t cbp, int32_t QPcb, int32_t QPcr,
                                                              const int16_t* pLevelScaleCb,
                                                              const int16_t* pLevelScaleCr,
                                                              uint8_t bypass) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_H264_RESIDUAL_H */
