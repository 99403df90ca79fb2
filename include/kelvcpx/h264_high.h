/**
 * @file
 * H.264 (ITU-T H.264 | ISO/IEC 14496-10): the reconstruction of intra and inter macroblocks of pictures with
 * more than 8 bits, or with 4:2:2 chroma, or both (High 10, High 4:2:2 and the profiles above them). Clause
 * and table numbers are those of ITU-T H.264.
 *
 * The operations do what those of h264_residual.h do for 8-bit 4:2:0 pictures, which is the place to read
 * first: the order of calls for a macroblock, packed coefficients, block order, modes, edge flags, the rules
 * of scaling with level-scale tables and the lossless transform bypass are the same. Here is what differs.
 *
 * @par Which operation
 *
 * | pictures           | luma                        | chroma                                            |
 * |--------------------|-----------------------------|---------------------------------------------------|
 * | 8 bits, 4:2:2      | those of h264_residual.h    | `..._H264High_16s8u_IP2R`, `...422_H264_16s8u_P2R`|
 * | more bits, 4:2:0   | `..._H264High_32s16u_IP1R`  | `Chroma..._H264High_32s16u_IP2R`                  |
 * | more bits, 4:2:2   | `..._H264High_32s16u_IP1R`  | `Chroma422..._H264High_32s16u_IP2R`               |
 *
 * @par Records
 * The `IP1R` operations take a record that describes one component of a macroblock, the `IP2R` operations an
 * array of two pointers to such records, Cb first. Each component is reconstructed from its own record, but
 * the bit depth of both is that of the Cb record.
 *
 * Each record has a stream of packed coefficients. The two records of a pair may lead to the same one (the
 * same `ppSrcCoeff`): it is consumed in the order of the syntax, the DC of Cb, the DC of Cr, the blocks of
 * Cb, the blocks of Cr, as by the operations that take one stream. With any error the streams stay where they
 * are. No operation changes a record.
 *
 * @par Coefficients
 * Of samples with more than 8 bits coefficients have 32 bits, as the `1u32s` CAVLC operations produce them.
 * All that h264_residual.h does with 16 bits is done with 32; what exceeds them is cut off. The stream must
 * be aligned for its type.
 *
 * @par Samples of more than 8 bits
 * are 16-bit elements, and steps count elements. With d bits, 2^(d - 1) takes the place of missing
 * neighbours, a residual is first limited to 1 - 2^d..2^d - 1, and all results are clipped to 0..2^d - 1. A
 * bit depth below 1 or above 16 counts as 1 or 16; the standard has 8..14.
 *
 * @par Quantisers
 * QP is QP'Y or QP'C, which includes the offset for the bit depth d: 0..51 + 6 * (d - 8) for luma,
 * 0..39 + 6 * (d - 8) for chroma. `pLevelScale` belongs to QP % 6. In the standard the lossless transform
 * bypass of chroma too depends on QP'Y: where that is 0 pass 0 for chroma with `bypass`.
 *
 * @par 4:2:2
 * A component is 8 samples wide and 16 high. Its eight 4x4 blocks are numbered in raster order of their 2x4
 * grid. Its DC coefficients are an array of the same shape in raster order, which takes 8 places in the
 * stream: index 2 * row + column, as keliDecodeCAVLCChroma422DcCoeffs_H264_1u16s() and its 32-bit form store
 * it (a decoder of CABAC puts coefficient i at 0, 2, 1, 4, 6, 3, 5, 7 for i = 0..7, 8.5.11.1).
 *
 * The DC array is transformed (8.5.11.1: four points down, two across) and scaled with a quantiser of its
 * own, QPdc = QP + 3. `dcScale` is LevelScale4x4(QPdc % 6, 0, 0) of the component, and with q = QPdc / 6:
 *
 * | q          | DC coefficient                                   |
 * |------------|--------------------------------------------------|
 * | 0..5       | (f * dcScale + 2^(5-q)) >> (6-q)                 |
 * | 6 and more | (f * dcScale) << (q-6)                           |
 *
 * The blocks are scaled with QP and `pLevelScale` as ever. Intra prediction is that of 8.3.4 for an 8x16
 * block, with the modes and the refusals of 4:2:0.
 *
 * @par Coded blocks
 *
 * | operations                             | bits of `cbp`                                                |
 * |----------------------------------------|--------------------------------------------------------------|
 * | luma                                   | as for the operations of h264_residual.h                     |
 * | chroma 4:2:0                           | likewise, of which each record uses those of its component:  |
 * |                                        | 17, 19..22 of the Cb record, 18, 23..26 of the Cr record     |
 * | chroma 4:2:2 with records              | 0: DC of the component; 1..8: AC of its blocks 0..7          |
 * | chroma 4:2:2 with one stream           | `cbpLow` 17: Cb DC; 18: Cr DC; 19..26: Cb AC of blocks 0..7; |
 * |                                        | 27..31: Cr AC of blocks 0..4; `cbpHigh` 0..2: of 5..7        |
 *
 * All other bits are ignored.
 */
#ifndef KELVCPX_H264_HIGH_H
#define KELVCPX_H264_HIGH_H

#include <kelvcpx/types.h>

/** One component of a macroblock with samples of more than 8 bits. */
typedef struct BlockReconParams {
    int32_t** ppSrcCoeff;       /**< packed coefficients; moved behind those of the component */
    uint16_t* pSrcDst;          /**< top left sample of the macroblock or half in the plane */
    int32_t srcDstStep;         /**< distance in samples between rows of the plane */
    uint32_t cbp;               /**< coded blocks */
    int32_t QP;                 /**< quantiser */
    const int16_t* pLevelScale; /**< level-scale table, 16 factors for 4x4 and 64 for 8x8 blocks */
    uint32_t bypass;            /**< not 0: lossless transform bypass if QP is 0 */
    int32_t bitDepth;           /**< bit depth of the samples */
} BlockReconParams;

/** One chroma component of a macroblock with samples of 8 bits. */
typedef struct BlockReconParams8u {
    int16_t** ppSrcCoeff;       /**< packed coefficients; moved behind those of the component */
    uint8_t* pSrcDst;           /**< top left sample of the macroblock in the plane */
    int32_t srcDstStep;         /**< distance in bytes between rows of the plane */
    uint32_t cbp;               /**< coded blocks */
    int32_t QP;                 /**< quantiser */
    const int16_t* pLevelScale; /**< level-scale table, 16 factors */
    uint32_t bypass;            /**< not 0: lossless transform bypass if QP is 0 */
    int32_t bitDepth;           /**< not used */
} BlockReconParams8u;

/**
 * @name Luma of more than 8 bits
 *
 * Reconstruct the luma of a macroblock, or of half of one (Half).
 *
 * | operation     | the same for 8 bits                               |
 * |---------------|---------------------------------------------------|
 * | Intra16x16    | keliReconstructLumaIntra_16x16MB_H264_16s8u_C1R() |
 * | Intra4x4      | keliReconstructLumaIntra4x4MB_H264_16s8u_C1R()    |
 * | Intra8x8      | keliReconstructLumaIntra8x8MB_H264_16s8u_C1R()    |
 * | IntraHalf4x4  | keliReconstructLumaIntraHalf4x4MB_H264_16s8u_C1R()|
 * | IntraHalf8x8  | keliReconstructLumaIntraHalf8x8MB_H264_16s8u_C1R()|
 * | Inter4x4      | keliReconstructLumaInter4x4MB_H264_16s8u_C1R()    |
 * | Inter8x8      | keliReconstructLumaInter8x8MB_H264_16s8u_C1R()    |
 *
 * They serve the Cb and Cr of 4:4:4 pictures too, which are coded as luma is.
 *
 * @param pParams     the macroblock
 * @param mode        mode of Intra_16x16
 * @param pIntraModes one mode for each block in block order
 * @param edgeFlags   missing neighbours
 *
 * @retval StatusOk              reconstructed
 * @retval StatusWarnNoNeighbour reconstructed; an Intra_4x4 block was predicted with 2^(bitDepth - 1) in
 *                               place of a missing neighbour
 * @retval StatusNullPointer     the record, a pointer in it, `*ppSrcCoeff` or `pIntraModes` is null
 * @retval StatusBadStep         `srcDstStep` is below 1
 * @retval StatusOutOfRange      QP is outside its range, or else a mode is above 8 (Intra_16x16: above 3).
 *                               The modes of 4x4 and 8x8 blocks are checked when their turn comes: the blocks
 *                               before a wrong one are reconstructed
 * @retval StatusBadIntraMode    `mode` needs a missing neighbour
 * @{
 */
KEL_API Status keliReconstructLumaIntra16x16_H264High_32s16u_IP1R(const BlockReconParams* pParams,
                                                                  uint32_t mode,
                                                                  uint8_t edgeFlags) KEL_NOEXCEPT;
KEL_API Status keliReconstructLumaIntra4x4_H264High_32s16u_IP1R(const BlockReconParams* pParams,
                                                                const uint32_t* pIntraModes,
                                                                uint8_t edgeFlags) KEL_NOEXCEPT;
KEL_API Status keliReconstructLumaIntra8x8_H264High_32s16u_IP1R(const BlockReconParams* pParams,
                                                                const uint32_t* pIntraModes,
                                                                uint8_t edgeFlags) KEL_NOEXCEPT;
KEL_API Status keliReconstructLumaIntraHalf4x4_H264High_32s16u_IP1R(const BlockReconParams* pParams,
                                                                    const uint32_t* pIntraModes,
                                                                    uint8_t edgeFlags) KEL_NOEXCEPT;
KEL_API Status keliReconstructLumaIntraHalf8x8_H264High_32s16u_IP1R(const BlockReconParams* pParams,
                                                                    const uint32_t* pIntraModes,
                                                                    uint8_t edgeFlags) KEL_NOEXCEPT;
KEL_API Status keliReconstructLumaInter4x4_H264High_32s16u_IP1R(const BlockReconParams* pParams) KEL_NOEXCEPT;
KEL_API Status keliReconstructLumaInter8x8_H264High_32s16u_IP1R(const BlockReconParams* pParams) KEL_NOEXCEPT;
/** @} */

/**
 * @name Chroma described by records
 *
 * Reconstruct both chroma components of a macroblock of 4:2:0 (`Chroma`) or 4:2:2 (`Chroma422`): `Inter` adds
 * the residual to a prediction in the picture, `Intra` predicts before that, `IntraHalf` predicts where the
 * halves of the macroblock have different neighbours at the left: rows above the middle of a component with
 * the left availability of `edgeFlagsUpper`, the others with that of `edgeFlagsLower`; for the top the flags
 * of the upper half count. Only DC prediction is possible there.
 *
 * @param ppParams       two records, of Cb and of Cr
 * @param mode           chroma mode: 0 DC, 1 horizontal, 2 vertical, 3 plane
 * @param edgeFlags      missing neighbours
 * @param edgeFlagsUpper missing neighbours of the upper half
 * @param edgeFlagsLower missing neighbours of the lower half; only bit 0x01 counts
 * @param dcScaleCb      factor of the DC coefficients of Cb, LevelScale4x4((QP + 3) % 6, 0, 0)
 * @param dcScaleCr      factor of the DC coefficients of Cr
 *
 * @retval StatusOk           reconstructed
 * @retval StatusNullPointer  the array, a record, a pointer in one or a `*ppSrcCoeff` is null
 * @retval StatusBadStep      a `srcDstStep` is below 1
 * @retval StatusOutOfRange   a quantiser is outside its range, or else the mode is above 3 (but not
 *                            IntraHalf)
 * @retval StatusBadIntraMode the mode needs a missing neighbour; IntraHalf: the mode is not DC
 * @{
 */
KEL_API Status keliReconstructChromaIntra4x4_H264High_32s16u_IP2R(const BlockReconParams* const* ppParams,
                                                                  uint32_t mode,
                                                                  uint8_t edgeFlags) KEL_NOEXCEPT;
KEL_API Status keliReconstructChromaIntraHalf4x4_H264High_32s16u_IP2R(const BlockReconParams* const* ppParams,
                                                                      uint32_t mode, uint8_t edgeFlagsUpper,
                                                                      uint8_t edgeFlagsLower) KEL_NOEXCEPT;
KEL_API Status keliReconstructChromaInter4x4_H264High_32s16u_IP2R(const BlockReconParams* const* ppParams)
    KEL_NOEXCEPT;

KEL_API Status keliReconstructChroma422Intra4x4_H264High_16s8u_IP2R(const BlockReconParams8u* const* ppParams,
                                                                    uint32_t mode, uint8_t edgeFlags,
                                                                    int16_t dcScaleCb,
                                                                    int16_t dcScaleCr) KEL_NOEXCEPT;
KEL_API Status keliReconstructChroma422IntraHalf4x4_H264High_16s8u_IP2R(
    const BlockReconParams8u* const* ppParams, uint32_t mode, uint8_t edgeFlagsUpper, uint8_t edgeFlagsLower,
    int16_t dcScaleCb, int16_t dcScaleCr) KEL_NOEXCEPT;
KEL_API Status keliReconstructChroma422Inter4x4_H264High_16s8u_IP2R(const BlockReconParams8u* const* ppParams,
                                                                    int16_t dcScaleCb,
                                                                    int16_t dcScaleCr) KEL_NOEXCEPT;

KEL_API Status keliReconstructChroma422Intra4x4_H264High_32s16u_IP2R(const BlockReconParams* const* ppParams,
                                                                     uint32_t mode, uint8_t edgeFlags,
                                                                     int16_t dcScaleCb,
                                                                     int16_t dcScaleCr) KEL_NOEXCEPT;
KEL_API Status keliReconstructChroma422IntraHalf4x4_H264High_32s16u_IP2R(
    const BlockReconParams* const* ppParams, uint32_t mode, uint8_t edgeFlagsUpper, uint8_t edgeFlagsLower,
    int16_t dcScaleCb, int16_t dcScaleCr) KEL_NOEXCEPT;
KEL_API Status keliReconstructChroma422Inter4x4_H264High_32s16u_IP2R(const BlockReconParams* const* ppParams,
                                                                     int16_t dcScaleCb,
                                                                     int16_t dcScaleCr) KEL_NOEXCEPT;
/** @} */

/**
 * @name Chroma 4:2:2 of 8 bits from one stream
 *
 * The same for both components in planes of the same step, with all coefficients in one stream in the order
 * of the syntax.
 *
 * keliReconstructChromaIntraHalfs4x4MB422_H264_16s8u_P2R() and
 * keliReconstructChromaIntraHalfs4x4MB444_H264_16s8u_P2R() are reserved: they check their pointers and do
 * nothing else. For macroblocks of 4:2:2 whose halves have different neighbours at the left use
 * keliReconstructChroma422IntraHalf4x4_H264High_16s8u_IP2R().
 *
 * @param ppSrcCoeff     packed coefficients; moved behind those of the macroblock, but left as they are with
 *                       any error
 * @param pSrcDstCb      top left Cb sample of the macroblock
 * @param pSrcDstCr      top left Cr sample of the macroblock
 * @param srcDstStep     distance in bytes between rows of both planes
 * @param mode           chroma mode: 0 DC, 1 horizontal, 2 vertical, 3 plane
 * @param cbpLow         coded blocks, the lower 32 bits
 * @param cbpHigh        coded blocks, the upper 32 bits
 * @param QPcb           quantiser of Cb, 0..39
 * @param QPcr           quantiser of Cr, 0..39
 * @param dcScaleCb      factor of the DC coefficients of Cb, LevelScale4x4((QPcb + 3) % 6, 0, 0)
 * @param dcScaleCr      factor of the DC coefficients of Cr
 * @param edgeFlags      missing neighbours
 * @param edgeFlagsUpper missing neighbours of the upper half
 * @param edgeFlagsLower missing neighbours of the lower half
 * @param pLevelScaleCb  level-scale table of Cb, 16 factors
 * @param pLevelScaleCr  level-scale table of Cr, 16 factors
 * @param bypass         lossless transform bypass, of each component whose quantiser is 0
 *
 * @retval StatusOk           reconstructed; reserved: pointers are valid
 * @retval StatusNullPointer  a pointer or `*ppSrcCoeff` is null
 * @retval StatusBadStep      `srcDstStep` is below 1
 * @retval StatusOutOfRange   a quantiser is outside 0..39, or else the mode is above 3
 * @retval StatusBadIntraMode the mode needs a missing neighbour
 * @{
 */
KEL_API Status keliReconstructChromaIntra4x4MB422_H264_16s8u_P2R(
    int16_t** ppSrcCoeff, uint8_t* pSrcDstCb, uint8_t* pSrcDstCr, int32_t srcDstStep, uint32_t mode,
    uint32_t cbpLow, uint32_t cbpHigh, int32_t QPcb, int32_t QPcr, int16_t dcScaleCb, int16_t dcScaleCr,
    uint8_t edgeFlags, const int16_t* pLevelScaleCb, const int16_t* pLevelScaleCr,
    uint8_t bypass) KEL_NOEXCEPT;
KEL_API Status keliReconstructChromaInter4x4MB422_H264_16s8u_P2R(
    int16_t** ppSrcCoeff, uint8_t* pSrcDstCb, uint8_t* pSrcDstCr, int32_t srcDstStep, uint32_t cbpLow,
    uint32_t cbpHigh, int32_t QPcb, int32_t QPcr, int16_t dcScaleCb, int16_t dcScaleCr,
    const int16_t* pLevelScaleCb, const int16_t* pLevelScaleCr, uint8_t bypass) KEL_NOEXCEPT;
KEL_API Status keliReconstructChromaIntraHalfs4x4MB422_H264_16s8u_P2R(
    int16_t** ppSrcCoeff, uint8_t* pSrcDstCb, uint8_t* pSrcDstCr, int32_t srcDstStep, uint32_t mode,
    uint32_t cbpLow, uint32_t cbpHigh, int32_t QPcb, int32_t QPcr, int16_t dcScaleCb, int16_t dcScaleCr,
    uint8_t edgeFlagsUpper, uint8_t edgeFlagsLower, const int16_t* pLevelScaleCb,
    const int16_t* pLevelScaleCr, uint8_t bypass) KEL_NOEXCEPT;
KEL_API Status keliReconstructChromaIntraHalfs4x4MB444_H264_16s8u_P2R(
    int16_t** ppSrcCoeff, uint8_t* pSrcDstCb, uint8_t* pSrcDstCr, int32_t srcDstStep, uint32_t mode,
    uint32_t cbpLow, uint32_t cbpHigh, int32_t QPcb, int32_t QPcr, int16_t dcScaleCb, int16_t dcScaleCr,
    uint8_t edgeFlagsUpper, uint8_t edgeFlagsLower, const int16_t* pLevelScaleCb,
    const int16_t* pLevelScaleCr, uint8_t bypass) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_H264_HIGH_H */
