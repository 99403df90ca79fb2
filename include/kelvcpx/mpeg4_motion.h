/**
 * @file
 * Prediction tools of MPEG-4 Part 2 beyond the half-sample copies of block.h: quarter-sample prediction,
 * overlapped block motion compensation, sprites and global motion compensation.
 */
#ifndef KELVCPX_MPEG4_MOTION_H
#define KELVCPX_MPEG4_MOTION_H

#include <kelvcpx/types.h>

/** A rectangle of a picture, in samples. */
typedef struct RoiRect {
    int32_t x;      /**< left column */
    int32_t y;      /**< upper row */
    int32_t width;  /**< columns */
    int32_t height; /**< rows */
} RoiRect;

/** Motion vector, in half or quarter samples. */
typedef struct MotionVector {
    int16_t x; /**< to the right */
    int16_t y; /**< down */
} MotionVector;

/**
 * @name Copy a block at a quarter-sample position
 *
 * dst = prediction from a reference at a quarter-sample position (ISO/IEC 14496-2 7.6.2.2), for streams with
 * quarter_sample set.
 *
 * A half sample between the fourth and the fifth of eight samples p0..p7 of a row or column is
 *
 *     (160 * (p3 + p4) - 48 * (p2 + p5) + 24 * (p1 + p6) - 8 * (p0 + p7) + 128 - r) >> 8
 *
 * clipped to 0..255, where r is the rounding control. A quarter sample is the average (a + b + 1 - r) >> 1 of
 * the half sample and the nearest full one. Rows are interpolated first, then columns of the result.
 *
 * The filter sees the samples of the block alone: as many columns and rows as the block has, and one column
 * more if the position is not at a whole column, one row more if it is not at a whole row. Beyond them it
 * takes their mirror image, in which the sample at the border is repeated: the k-th sample outside is the
 * k-th one inside. Nothing else is read. (A predicted macroblock of four vectors is therefore not the same as
 * one of a single vector, even if the four are equal.)
 *
 * @param pSrc     reference sample at the place of the top left predicted sample
 * @param srcStep  distance in bytes between rows of the reference; not checked
 * @param pDst     top left destination sample; the block is written, and must not overlap the reference
 * @param dstStep  distance in bytes between rows of the destination; not checked
 * @param acc      quarter-sample position: bits 0 and 1 quarter samples to the right, bits 2 and 3 quarter
 *                 samples down; other bits ignored
 * @param rounding rounding control in bit 0 (vop_rounding_type); other bits ignored
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst` is null
 * @{
 */
KEL_API Status keliCopy8x8QP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                          int32_t dstStep, int32_t acc, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliCopy16x8QP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                           int32_t dstStep, int32_t acc, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliCopy16x16QP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                            int32_t dstStep, int32_t acc, int32_t rounding) KEL_NOEXCEPT;
/** @} */

/**
 * @name Overlapped block motion compensation
 *
 * Predicts a block as the weighted sum of three predictions (ISO/IEC 14496-2 7.6.6):
 *
 *     dst = (w0 * p0 + w1 * p1 + w2 * p2 + 4) >> 3
 *
 * p0 is made with the block's own vector; p1 with the vector of the left neighbour in the left half and with
 * that of the right one in the right half; p2 with that of the neighbour above in the upper half and with
 * that of the one below in the lower half. The weights are those of the standard for 8x8 samples; in the
 * 16x16 form each serves a square of 2x2 samples. The three weights of a sample add up to 8.
 *
 * Vectors are in half samples (`HP`), where the predictions are those of keliCopy8x8HP_8u_C1R(), or in
 * quarter samples (`QP`), where they are those of keliCopy8x8QP_MPEG4_8u_C1R(). A quarter-sample prediction
 * sees the samples of the half block alone, 4x8 or 8x4, unless the neighbour's vector is the block's own:
 * then it is the part of p0 at its place.
 *
 * Where a neighbour is missing or has no vector of its own, the caller passes the vector that the standard
 * prescribes for it.
 *
 * @param pSrc     reference sample at the place of the block
 * @param srcStep  distance in bytes between rows of the reference; not checked. What each vector points to
 *                 must be there.
 * @param pDst     top left destination sample; the block is written, and must not overlap the reference
 * @param dstStep  distance in bytes between rows of the destination; not checked
 * @param pMVCur   vector of the block itself; none of the vectors is checked for null
 * @param pMVLeft  vector of the left neighbour
 * @param pMVRight vector of the right neighbour
 * @param pMVAbove vector of the neighbour above
 * @param pMVBelow vector of the neighbour below
 * @param rounding rounding control of the predictions in bit 0; other bits ignored
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst` is null
 * @{
 */
KEL_API Status keliOBMC8x8HP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                          int32_t dstStep, const MotionVector* pMVCur,
                                          const MotionVector* pMVLeft, const MotionVector* pMVRight,
                                          const MotionVector* pMVAbove, const MotionVector* pMVBelow,
                                          int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliOBMC16x16HP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                            int32_t dstStep, const MotionVector* pMVCur,
                                            const MotionVector* pMVLeft, const MotionVector* pMVRight,
                                            const MotionVector* pMVAbove, const MotionVector* pMVBelow,
                                            int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliOBMC8x8QP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                          int32_t dstStep, const MotionVector* pMVCur,
                                          const MotionVector* pMVLeft, const MotionVector* pMVRight,
                                          const MotionVector* pMVAbove, const MotionVector* pMVBelow,
                                          int32_t rounding) KEL_NOEXCEPT;
/** @} */

/**
 * Describes how a picture is warped: a record in a buffer of the caller, made by keliWarpInit_MPEG4(). It is
 * read-only from then on, may be shared by threads, may not be moved, and needs nothing to be freed but its
 * buffer.
 */
typedef struct WarpSpec WarpSpec;

/**
 * @name Describe a warping
 *
 * Sprites and global motion compensation (GMC) predict a picture by warping a reference: the sprite, or the
 * previous picture. The mapping follows from the displacements of up to four warping points, the corners of
 * the VOP in the order top left, top right, bottom left, bottom right (ISO/IEC 14496-2 7.8.4): no point means
 * no motion, one a translation, two rotation and zoom too, three an affine mapping, four a perspective one.
 *
 * `keliWarpGetSize_MPEG4` gives the size of the buffer, `keliWarpInit_MPEG4` derives the mapping and keeps it
 * in the buffer. Coordinates, sizes and displacements are to be within -32768..32767.
 *
 * @param pSpecSize        receives the size of the buffer in bytes: 276
 * @param pSpec            the buffer, at any address, cast to the type of the record
 * @param pDU              horizontal displacement of each point in half samples: that of the first corner,
 *                         then what the second and the third are displaced more than the first, then what the
 *                         fourth is displaced more than these together (du of the standard's
 *                         warping_mv_code); not read, and may be null, without points
 * @param pDV              vertical displacement of each point likewise
 * @param numWarpingPoints number of points (no_of_sprite_warping_points), 0..4; 4 for static sprites only
 * @param spriteType       1 static sprite, other values (2 in the standard) GMC
 * @param warpingAccuracy  sprite_warping_accuracy: 0..3, positions are exact to 1/2, 1/4, 1/8 or 1/16 sample
 * @param roundingType     rounding control in bit 0 (vop_rounding_type); 0 for static sprites, whatever it is
 * @param quarterSample    not 0: keliCalcGlobalMV_MPEG4() gives vectors in quarter samples
 * @param fcode            vop_fcode_forward, 1..7: global vectors are within -(16 << fcode)..(16 << fcode) -
 *                         1
 * @param pSpriteRect      the reference: its luma is at these coordinates of the picture; its chroma at half
 *                         of them, towards zero, with half the size, rounded up
 * @param pVopRect         the VOP whose corners the points are
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSpecSize`, `pSpec`, `pSpriteRect` or `pVopRect` is null; after the other
 *                           checks, `pDU` or `pDV` is null and there is a point. The buffer is left as it is.
 * @retval StatusOutOfRange  `numWarpingPoints` is outside 0..4, or 4 and `spriteType` is not 1;
 *                           `warpingAccuracy` is outside 0..3 or `fcode` outside 1..7
 * @retval StatusBadSize     the width or the height of `pSpriteRect` or `pVopRect` is below 1
 * @{
 */
KEL_API Status keliWarpGetSize_MPEG4(int32_t* pSpecSize) KEL_NOEXCEPT;
KEL_API Status keliWarpInit_MPEG4(WarpSpec* pSpec, const int32_t* pDU, const int32_t* pDV,
                                  int32_t numWarpingPoints, int32_t spriteType, int32_t warpingAccuracy,
                                  int32_t roundingType, int32_t quarterSample, int32_t fcode,
                                  const RoiRect* pSpriteRect, const RoiRect* pVopRect) KEL_NOEXCEPT;
/** @} */

/**
 * @name Predict by warping
 *
 * Predicts a rectangle of luma, or of both chroma components, from the reference (ISO/IEC 14496-2 7.8.5,
 * 7.8.6). Each sample is mapped to a position in the reference, rounded to the accuracy, and interpolated
 * between the four samples round it:
 *
 *     ((16 - ry) * ((16 - rx) * a + rx * b) + ry * ((16 - rx) * c + rx * d) + 128 - r) >> 8
 *
 * with rx and ry in 1/16 sample and r the rounding control, rounding_control << (3 - warpingAccuracy). What
 * lies outside the reference has the value of its nearest sample; nothing outside is read.
 *
 * With one to three points halves of the accuracy's steps are rounded upwards, as in the standard. With four
 * the mapping is evaluated in double precision, and halves are rounded away from zero.
 *
 * @param pSrc      luma of the reference: the sample at the top left of `pSpriteRect` of the warping
 * @param srcStep   distance in bytes between rows of the reference; not checked
 * @param pSrcCb    Cb of the reference, likewise; `pSrcCr` is Cr
 * @param srcStepCb distance in bytes between rows of it; not checked
 * @param pSrcCr    Cr of the reference
 * @param srcStepCr distance in bytes between rows of it; not checked
 * @param pDst      destination of the rectangle's top left sample; the rectangle is written, and must not
 *                  overlap the reference
 * @param dstStep   distance in bytes between rows of the destination; not checked
 * @param pDstCb    destination of Cb, likewise; `pDstCr` is that of Cr
 * @param dstStepCb distance in bytes between rows of it; not checked
 * @param pDstCr    destination of Cr
 * @param dstStepCr distance in bytes between rows of it; not checked
 * @param pDstRect  the rectangle, in luma samples of the picture, or in chroma samples of it; if it is empty,
 *                  nothing is written
 * @param pSpec     the warping
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer a pointer is null
 * @retval StatusBadContext  `pSpec` is not a warping
 * @{
 */
KEL_API Status keliWarpLuma_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                         const RoiRect* pDstRect, const WarpSpec* pSpec) KEL_NOEXCEPT;
KEL_API Status keliWarpChroma_MPEG4_8u_P2R(const uint8_t* pSrcCb, int32_t srcStepCb, const uint8_t* pSrcCr,
                                           int32_t srcStepCr, uint8_t* pDstCb, int32_t dstStepCb,
                                           uint8_t* pDstCr, int32_t dstStepCr, const RoiRect* pDstRect,
                                           const WarpSpec* pSpec) KEL_NOEXCEPT;
/** @} */

/**
 * @name Global motion vector of a macroblock
 *
 * The mean displacement of the 256 luma samples of a macroblock by a warping, rounded to half or quarter
 * samples, halves away from zero, and clipped to the range of vectors (ISO/IEC 14496-2 7.8.7): what a GMC
 * macroblock has for a vector in the prediction of its neighbours' vectors. With one point it is that point's
 * position itself, relative to the origin of the picture; without one it is 0.
 *
 * @param x     left column of the macroblock in the picture
 * @param y     its upper row
 * @param pMV   receives the vector, in the units that `quarterSample` of the warping says
 * @param pSpec the warping
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pMV` or `pSpec` is null
 * @retval StatusBadContext  `pSpec` is not a warping
 * @{
 */
KEL_API Status keliCalcGlobalMV_MPEG4(int32_t x, int32_t y, MotionVector* pMV,
                                      const WarpSpec* pSpec) KEL_NOEXCEPT;
/** @} */

/**
 * @name Change the brightness of a sprite
 *
 * Multiplies the luma of a static sprite by 1 + change / 100 (ISO/IEC 14496-2 brightness_change_factor): each
 * sample p becomes (p * factor + 520) >> 10, clipped to 0..255, with factor = (1024 * change + 50) / 100 +
 * 1024 for a change that is not negative and (1024 * change - 50) / 100 + 1024 for one that is, both divided
 * towards zero.
 *
 * @param pSrcDst    top left sample
 * @param srcDstStep distance in bytes between rows; not checked
 * @param width      samples in a row; nothing is written if it is below 1
 * @param height     rows; nothing is written if it is below 1
 * @param change     change in hundredths (brightness_change_factor), -112..1648; 0 leaves everything as it is
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrcDst` is null
 * @retval StatusOutOfRange  `change` is outside -112..1648
 * @{
 */
KEL_API Status keliChangeSpriteBrightness_MPEG4_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep, int32_t width,
                                                        int32_t height, int32_t change) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_MPEG4_MOTION_H */
