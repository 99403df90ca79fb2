/**
 * @file
 * Differences and metrics of blocks, for encoders: what remains of a block after prediction, and how much
 * that is. They serve motion search and mode decisions of every standard.
 *
 * @par Samples
 * Blocks of 8-bit samples, in a few operations of signed 16-bit elements. Rows are a step in bytes apart,
 * which is not checked and may be negative. 16-bit elements must be aligned for their type; samples need no
 * alignment. No block is modified but those that are results.
 *
 * @par Half-sample positions
 * A reference block may lie half a sample to the right or down, or both. `mcType` says so, and the prediction
 * is that of block.h, where the table at the top gives both: bit 3 (8) half a sample to the right, bit 2 (4)
 * half a sample down; other bits are ignored. The metrics have no argument for the rounding control: it is 0.
 * With two references, the forward and the backward one, the prediction is the average (pF + pB + 1) >> 1 of
 * their predictions.
 */
#ifndef KELVCPX_METRICS_H
#define KELVCPX_METRICS_H

#include <kelvcpx/types.h>

/**
 * @name Prediction differences
 *
 * The difference between the current block and its prediction from one reference or two (`B`): what an
 * encoder transforms and what the decoder adds to the same prediction (block.h). The size of the block is in
 * the name.
 *
 * @param pSrcCur          top left sample of the current block
 * @param srcCurStep       distance in bytes between its rows
 * @param pSrcRef          reference sample at the place of the top left predicted sample
 * @param srcRefStep       distance in bytes between rows of the reference
 * @param pRefF            the same of the forward reference
 * @param refStepF         distance in bytes between rows of the forward reference
 * @param mcTypeF          half-sample position in the forward reference
 * @param pRefB            the same of the backward reference
 * @param refStepB         distance in bytes between rows of the backward reference
 * @param mcTypeB          half-sample position in the backward reference
 * @param pDstDiff         top left element of the difference; a block is written
 * @param dstDiffStep      distance in bytes between its rows
 * @param pDstPredictor    top left element of the prediction, which is written as 16-bit elements, or null
 * @param dstPredictorStep distance in bytes between its rows
 * @param mcType           half-sample position in the reference; the 4x4 operation knows only the full one
 * @param rounding         rounding control in bit 0; other bits ignored
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer a pointer other than `pDstPredictor` is null
 * @{
 */
KEL_API Status keliGetDiff16x16_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pSrcRef,
                                         int32_t srcRefStep, int16_t* pDstDiff, int32_t dstDiffStep,
                                         int16_t* pDstPredictor, int32_t dstPredictorStep, int32_t mcType,
                                         int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliGetDiff16x8_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pSrcRef,
                                        int32_t srcRefStep, int16_t* pDstDiff, int32_t dstDiffStep,
                                        int16_t* pDstPredictor, int32_t dstPredictorStep, int32_t mcType,
                                        int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliGetDiff8x16_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pSrcRef,
                                        int32_t srcRefStep, int16_t* pDstDiff, int32_t dstDiffStep,
                                        int16_t* pDstPredictor, int32_t dstPredictorStep, int32_t mcType,
                                        int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliGetDiff8x8_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pSrcRef,
                                       int32_t srcRefStep, int16_t* pDstDiff, int32_t dstDiffStep,
                                       int16_t* pDstPredictor, int32_t dstPredictorStep, int32_t mcType,
                                       int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliGetDiff8x4_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pSrcRef,
                                       int32_t srcRefStep, int16_t* pDstDiff, int32_t dstDiffStep,
                                       int16_t* pDstPredictor, int32_t dstPredictorStep, int32_t mcType,
                                       int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliGetDiff4x4_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pSrcRef,
                                       int32_t srcRefStep, int16_t* pDstDiff,
                                       int32_t dstDiffStep) KEL_NOEXCEPT;
KEL_API Status keliGetDiff16x16B_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pRefF,
                                          int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                                          int32_t refStepB, int32_t mcTypeB, int16_t* pDstDiff,
                                          int32_t dstDiffStep, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliGetDiff16x8B_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pRefF,
                                         int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                                         int32_t refStepB, int32_t mcTypeB, int16_t* pDstDiff,
                                         int32_t dstDiffStep, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliGetDiff8x16B_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pRefF,
                                         int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                                         int32_t refStepB, int32_t mcTypeB, int16_t* pDstDiff,
                                         int32_t dstDiffStep, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliGetDiff8x8B_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pRefF,
                                        int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                                        int32_t refStepB, int32_t mcTypeB, int16_t* pDstDiff,
                                        int32_t dstDiffStep, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliGetDiff8x4B_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pRefF,
                                        int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                                        int32_t refStepB, int32_t mcTypeB, int16_t* pDstDiff,
                                        int32_t dstDiffStep, int32_t rounding) KEL_NOEXCEPT;
/** @} */

/**
 * @name Differences of blocks
 *
 * The first block minus the second, and of the last operation also the sum of the absolute differences.
 *
 * @param pSrc1    top left sample of the first block
 * @param src1Step distance in bytes between its rows
 * @param pSrc2    top left sample of the second block
 * @param src2Step distance in bytes between its rows
 * @param pDst     top left element of the difference; a block is written
 * @param dstStep  distance in bytes between its rows
 * @param pSAD     receives the sum of the absolute differences
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer a pointer is null
 * @{
 */
KEL_API Status keliSub8x8_8u16s_C1R(const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2,
                                    int32_t src2Step, int16_t* pDst, int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliSub16x16_8u16s_C1R(const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2,
                                      int32_t src2Step, int16_t* pDst, int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliSubSAD8x8_8u16s_C1R(const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2,
                                       int32_t src2Step, int16_t* pDst, int32_t dstStep,
                                       int32_t* pSAD) KEL_NOEXCEPT;
/** @} */

/**
 * @name Sums of absolute and of squared differences
 *
 * With s a sample of the block and p its prediction: SAD is the sum of |s - p|, SSD and SqrDiff that of
 * (s - p)^2. The size of the block is in the name. The operations without `mcType` take the reference at its
 * full position.
 *
 * @param pSrc     top left sample of the block
 * @param srcStep  distance in bytes between its rows
 * @param pRef     reference sample at the place of the top left predicted sample
 * @param refStep  distance in bytes between rows of the reference
 * @param mcType   half-sample position in the reference
 * @param pRefF    reference sample in the forward reference
 * @param refStepF distance in bytes between rows of the forward reference
 * @param mcTypeF  half-sample position in the forward reference
 * @param pRefB    reference sample in the backward reference
 * @param refStepB distance in bytes between rows of the backward reference
 * @param mcTypeB  half-sample position in the backward reference
 * @param pSAD     receives the sum of the absolute differences
 * @param pSSD     receives the sum of the squared differences
 * @param pSqrDiff receives the sum of the squared differences
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer a pointer is null
 * @{
 */
KEL_API Status keliSAD8x8_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef,
                                    int32_t refStep, int32_t* pSAD, int32_t mcType) KEL_NOEXCEPT;
KEL_API Status keliSAD16x8_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef,
                                     int32_t refStep, int32_t* pSAD, int32_t mcType) KEL_NOEXCEPT;
KEL_API Status keliSAD16x16_8u32s(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef, int32_t refStep,
                                  int32_t* pSAD, int32_t mcType) KEL_NOEXCEPT;
KEL_API Status keliSAD4x4_8u32s(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef, int32_t refStep,
                                int32_t* pSAD) KEL_NOEXCEPT;
KEL_API Status keliSSD8x8_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef,
                                    int32_t refStep, int32_t* pSSD, int32_t mcType) KEL_NOEXCEPT;
KEL_API Status keliSSD4x4_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef,
                                    int32_t refStep, int32_t* pSSD, int32_t mcType) KEL_NOEXCEPT;
KEL_API Status keliSqrDiff16x16_8u32s(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef,
                                      int32_t refStep, int32_t mcType, int32_t* pSqrDiff) KEL_NOEXCEPT;
KEL_API Status keliSqrDiff16x16B_8u32s(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRefF,
                                       int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                                       int32_t refStepB, int32_t mcTypeB, int32_t* pSqrDiff) KEL_NOEXCEPT;
/** @} */

/**
 * @name Sums of absolute differences of the parts of a macroblock
 *
 * Those of each 8x8 or 4x4 block of 16x16 samples, in raster order of the blocks, the reference being at its
 * full position.
 *
 * @param pSrc    top left sample of the macroblock
 * @param srcStep distance in bytes between its rows
 * @param pRef    top left sample of the reference
 * @param refStep distance in bytes between its rows
 * @param pDstSAD receives 4 (`Blocks8x8`) or 16 (`Blocks4x4`) sums
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer a pointer is null
 * @{
 */
KEL_API Status keliSAD16x16Blocks8x8_8u16u(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef,
                                           int32_t refStep, uint16_t* pDstSAD) KEL_NOEXCEPT;
KEL_API Status keliSAD16x16Blocks4x4_8u16u(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef,
                                           int32_t refStep, uint16_t* pDstSAD) KEL_NOEXCEPT;
/** @} */

/**
 * @name Variance and mean
 *
 * With S the sum and Q the sum of the squares of the samples or elements x of a block, and divisions that
 * round towards 0:
 *
 * - Variance16x16 gives Q - S^2 / 256, which is 256 times the variance, exact for every block.
 * - VarMean8x8 gives the variance Q / 64 - (S / 64)^2, without its fraction, and S, which is 64 times the
 *   mean. For the variance S and Q are rounded to single precision, which makes a difference only for 16-bit
 *   elements; the rest is computed in double precision.
 * - MeanAbsDev16x16 gives the sum of |x - (S + 128) / 256|, which is 256 times the mean absolute deviation.
 * - VarMeanDiff is about the difference between a block and its prediction. The caller has the sums S of the
 *   8x8 blocks, from keliVarMean8x8_8u32s_C1R(), since they serve many references. With P the sum of the
 *   prediction of an 8x8 block and D that of the squared differences, it gives m = (S - P) / 8, which is 8
 *   times the mean of the difference, and (D - m^2) / 64, its variance, or 0 if m^2 is not below D.
 *
 * @param pSrc    top left sample or element of the block
 * @param srcStep distance in bytes between its rows
 * @param pRef    reference sample at the place of the top left predicted sample
 * @param refStep distance in bytes between rows of the reference
 * @param pSrcSum sums of the samples of the 8x8 blocks of the current block, in raster order: 4 values, or 2
 *                for 16x8
 * @param pVar    receives the variance; of VarMeanDiff 4 values, or 2 for 16x8
 * @param pMean   receives the mean times 64 (VarMean8x8), or 4 or 2 means of the difference times 8
 *                (VarMeanDiff)
 * @param pMAD    receives the mean absolute deviation times 256
 * @param mcType  half-sample position in the reference
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer a pointer is null
 * @{
 */
KEL_API Status keliVariance16x16_8u32s(const uint8_t* pSrc, int32_t srcStep, int32_t* pVar) KEL_NOEXCEPT;
KEL_API Status keliVarMean8x8_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, int32_t* pVar,
                                        int32_t* pMean) KEL_NOEXCEPT;
KEL_API Status keliVarMean8x8_16s32s_C1R(const int16_t* pSrc, int32_t srcStep, int32_t* pVar,
                                         int32_t* pMean) KEL_NOEXCEPT;
KEL_API Status keliVarMeanDiff16x16_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef,
                                              int32_t refStep, const int32_t* pSrcSum, int32_t* pVar,
                                              int32_t* pMean, int32_t mcType) KEL_NOEXCEPT;
KEL_API Status keliVarMeanDiff16x8_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef,
                                             int32_t refStep, const int32_t* pSrcSum, int32_t* pVar,
                                             int32_t* pMean, int32_t mcType) KEL_NOEXCEPT;
KEL_API Status keliMeanAbsDev16x16_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep,
                                             int32_t* pMAD) KEL_NOEXCEPT;
/** @} */

/**
 * Tells whether a block of 16x16 samples has edges. Of the first 15 samples of the first 15 rows, those count
 * that differ by more than `edgeThreshold` from their right neighbour or from the sample below.
 *
 * @param pSrc           top left sample of the block
 * @param srcStep        distance in bytes between its rows
 * @param edgeThreshold  difference that is no edge yet
 * @param edgeCountLimit number of such samples that makes no edge yet
 * @param pEdge          receives 1 if more than `edgeCountLimit` samples count, else 0
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer a pointer is null
 */
KEL_API Status keliEdgesDetect16x16_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t edgeThreshold,
                                           uint8_t edgeCountLimit, uint8_t* pEdge) KEL_NOEXCEPT;

/**
 * @name Sums of differences
 *
 * The sum of the differences between a block and its prediction for each of its 4x4 blocks, which is the DC
 * coefficient of the core transform of H.264, and the differences as the transforms of h264_encode.h take
 * them.
 *
 * @param pSrc     top left sample of the block, 16x16 or 8x8
 * @param srcStep  distance in bytes between its rows
 * @param pPred    top left sample of the prediction
 * @param predStep distance in bytes between its rows
 * @param pSums    receives the sums in raster order of the 4x4 blocks: 16 or 4 values
 * @param pDiff    receives the differences, 16 in raster order for each 4x4 block: 256 or 64 values; or null
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer a pointer other than `pDiff` is null
 * @{
 */
KEL_API Status keliSumsDiff16x16Blocks4x4_8u16s_C1(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pPred,
                                                   int32_t predStep, int16_t* pSums,
                                                   int16_t* pDiff) KEL_NOEXCEPT;
KEL_API Status keliSumsDiff8x8Blocks4x4_8u16s_C1(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pPred,
                                                 int32_t predStep, int16_t* pSums,
                                                 int16_t* pDiff) KEL_NOEXCEPT;
/** @} */

/**
 * @name Activity of frame and fields
 *
 * The sums of the absolute differences between neighbouring rows of a macroblock, 16x16 samples or elements:
 * of the frame, rows y and y + 1 within the upper and within the lower 8 rows (14 pairs), and of the fields,
 * rows y and y + 2 (14 pairs). A frame sum that is larger speaks for coding by fields.
 *
 * @param pSrc      top left sample or element of the macroblock, or of its residual
 * @param srcStep   distance in bytes between its rows
 * @param pFrameSAD receives the sum of the frame
 * @param pFieldSAD receives the sum of the fields
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer a pointer is null
 * @{
 */
KEL_API Status keliFrameFieldSAD16x16_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, int32_t* pFrameSAD,
                                                int32_t* pFieldSAD) KEL_NOEXCEPT;
KEL_API Status keliFrameFieldSAD16x16_16s32s_C1R(const int16_t* pSrc, int32_t srcStep, int32_t* pFrameSAD,
                                                 int32_t* pFieldSAD) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_METRICS_H */
