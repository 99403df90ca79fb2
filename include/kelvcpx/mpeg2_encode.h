/**
 * @file
 * Encoding MPEG-1 and MPEG-2 blocks (ISO/IEC 11172-2, ISO/IEC 13818-2): scanning, quantisation, and the
 * writing of run-level codes. Clause numbers are those of ISO/IEC 13818-2.
 *
 * @par One block
 * After the forward DCT, keliQuantIntra_MPEG2_16s_C1I() or keliQuant_MPEG2_16s_C1I() quantises the
 * coefficients and counts those that are left; keliPutIntraBlock() or keliPutNonIntraBlock() writes them with
 * a table that keliCreateRLEncodeTable() has built once.
 */
#ifndef KELVCPX_MPEG2_ENCODE_H
#define KELVCPX_MPEG2_ENCODE_H

#include <kelvcpx/types.h>

/**
 * @name Scanning a block
 *
 * Reorder the 64 coefficients of a block between raster order (8 * row + column) and the order of a scan
 * (7.3). `scanType` is 1 for the alternate scan (alternate-vertical in ISO/IEC 14496-2), 2 for its transpose
 * (alternate-horizontal), and anything else for the zigzag scan.
 *
 * keliScanFwd_16s_C1() stops when it has met `countNonZero` coefficients that are not zero; those behind
 * count as zero. From 20 on the whole block is reordered, whatever it holds. keliScanInv_16s_C1() ignores
 * what is behind `lastIndex`.
 *
 * @param pSrc         64 coefficients in raster order (`Fwd`), or in scan order, of which the first
 *                     `lastIndex` + 1 are read (`Inv`)
 * @param pDst         receives 64 coefficients in the other order; must not overlap `pSrc`
 * @param countNonZero number of coefficients that are not zero, 1..64
 * @param lastIndex    scan position of the last coefficient that is not zero, 0..63
 * @param scanType     scan
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst` is null
 * @retval StatusOutOfRange  `countNonZero` is outside 1..64, or `lastIndex` outside 0..63
 * @{
 */
KEL_API Status keliScanFwd_16s_C1(const int16_t* pSrc, int16_t* pDst, int32_t countNonZero,
                                  int32_t scanType) KEL_NOEXCEPT;
KEL_API Status keliScanInv_16s_C1(const int16_t* pSrc, int16_t* pDst, int32_t lastIndex,
                                  int32_t scanType) KEL_NOEXCEPT;
/** @} */

/**
 * @name Quantising a block of coefficients in place
 *
 * Quantise the 64 coefficients of a block in place, in single precision, truncating towards zero:
 *
 * | operation                       | coefficients                  | result                            |
 * |---------------------------------|-------------------------------|-----------------------------------|
 * | keliQuantIntra_MPEG2_16s_C1I()  | 1..63; the DC stays as it is  | ((16 * c) * (1 / QP)) * w         |
 * | keliQuant_MPEG2_16s_C1I()       | 0..63                         | the same, or c * (1 / QP) without |
 * |                                 |                               | a matrix                          |
 *
 * Results are clipped to -2047..2047.
 *
 * @param pSrcDst     64 coefficients in raster order, replaced by levels
 * @param QP          quantiser scale as a multiplier (7.4.2.2), not 0
 * @param pQMatrixInv 64 reciprocals w of the weights in raster order; null for the default intra matrix
 *                    (`Intra`) or for the flat matrix of 16
 * @param pCount      receives the number of levels that are not zero, the DC of an intra block left aside
 *
 * @retval StatusOk           done
 * @retval StatusNullPointer  `pSrcDst` or `pCount` is null
 * @retval StatusDivideByZero `QP` is 0
 * @{
 */
KEL_API Status keliQuantIntra_MPEG2_16s_C1I(int16_t* pSrcDst, int32_t QP, const float* pQMatrixInv,
                                            int32_t* pCount) KEL_NOEXCEPT;
KEL_API Status keliQuant_MPEG2_16s_C1I(int16_t* pSrcDst, int32_t QP, const float* pQMatrixInv,
                                       int32_t* pCount) KEL_NOEXCEPT;
/** @} */

/**
 * Builds an encoding table from a run-level code list, the same list that
 * keliHuffmanRunLevelTableInitAlloc_32s() takes (see mpeg2.h): one (code, run, level) entry for each run and
 * signed level, the sign bit part of the code, levels of a run without gaps from -m to m; run 255 stands for
 * the escape code and run 254 for the end of block.
 *
 * The table is one aligned block of 32-bit words, which kelsFree() releases. It is read-only once it is
 * built, so that any number of threads may share it:
 *
 * | word                           | content                                                             |
 * |--------------------------------|---------------------------------------------------------------------|
 * | 0                              | bits 0..9: escape code * 16 + its length; bits 10..19: the same of  |
 * |                                | the end of block; bits 20..31: the largest run R                    |
 * | 1 .. R + 1                     | byte offset of the centre word of runs 0..R                         |
 * | a run's centre word            | m, the largest level of the run; -1 if it has none                  |
 * | centre word + level            | code << 16 or code length                                           |
 *
 * A list with gaps gives a table that lacks the levels beyond them; nothing is written outside of it.
 *
 * @param pCodeList code list
 * @param ppTable   receives the table; unchanged with any error
 *
 * @retval StatusOk          the table is built
 * @retval StatusNullPointer `pCodeList` or `ppTable` is null
 * @retval StatusOutOfMemory the allocation failed, or the list is too long for a block of kelsMalloc_8u()
 */
KEL_API Status keliCreateRLEncodeTable(const int32_t* pCodeList, int32_t** ppTable) KEL_NOEXCEPT;

/**
 * @name Encoding a block of levels
 *
 * Write the quantised levels of one block at a word cursor in its writer form (see core.h): the runs and
 * levels in the order of the scan, each by its code or, if the table has none, by the escape code 000001, 6
 * bits of run and the low 12 bits of the level (7.2.2.3), then the end of block.
 *
 * keliPutIntraBlock() first writes the DC: the code of dct_dc_size and so many bits of the difference from
 * the prediction (7.2.1). keliPutNonIntraBlock() writes a first coefficient, at index 0, of +1 or -1 as 10
 * or 11 (table B.14, note 3).
 *
 * At most the coefficient at scan position 63 is the last: a `count` larger than the block has ends there.
 *
 * @param ppBitStream  word cursor (see core.h): current word; advanced past the block
 * @param pBitOffset   word cursor of a writer: free bits of it, 1..32
 * @param pSrcBlock    64 levels
 * @param pDCPred      prediction of the DC; receives the DC of this block
 * @param pDCSizeTable pairs of (code, length) by dct_dc_size, as many as the differences need: 12 for DCs of
 *                     11 bits
 * @param pACTable     table of keliCreateRLEncodeTable()
 * @param pScan        index into the block of each scan position, 64 entries of 0..63; the first is not read
 * @param eobLength    length of the end-of-block code, 1..32
 * @param eobCode      end-of-block code
 * @param count        number of levels to write that are not zero: of the AC coefficients (intra), of all
 *                     (non-intra)
 *
 * @retval StatusOk          written
 * @retval StatusNullPointer a pointer, or the stream pointer, is null
 * @{
 */
KEL_API Status keliPutIntraBlock(uint32_t** ppBitStream, int32_t* pBitOffset, const int16_t* pSrcBlock,
                                 int32_t* pDCPred, const int32_t* pDCSizeTable, const int32_t* pACTable,
                                 const int32_t* pScan, int32_t eobLength, int32_t eobCode,
                                 int32_t count) KEL_NOEXCEPT;
KEL_API Status keliPutNonIntraBlock(uint32_t** ppBitStream, int32_t* pBitOffset, const int16_t* pSrcBlock,
                                    const int32_t* pACTable, const int32_t* pScan, int32_t eobLength,
                                    int32_t eobCode, int32_t count) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_MPEG2_ENCODE_H */
