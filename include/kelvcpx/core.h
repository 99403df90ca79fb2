/**
 * @file
 * Services of the library: version, aligned memory, plain copy and zero; the two bit-stream cursors are
 * described here for all operations that take one.
 *
 * @par The word cursor
 * `ppBitStream` points to the caller's pointer into an array of 32-bit words in the machine's own byte order,
 * most significant bit first; a byte-ordered stream on a little-endian machine is byte-swapped word by word
 * beforehand. `pBitOffset` points to the index, 0..31, of the next unread bit in that word: 31 is the most
 * significant bit and the offset of a fresh word. Writers use the same pair, but their offset counts the free
 * bits at the low end of the word, 1..32, and the free bits of the current word and all words after it must
 * be zero. A reader may load one word beyond the one that holds the last bit of the coded data: it must be
 * readable. No cursor carries an end, so a caller that reads untrusted data appends zero words; the headers
 * of the operations say how many.
 *
 * @par The byte cursor
 * `ppBitStream` points to the caller's pointer into an array of bytes, `pBitOffset` to the number of bits,
 * 0..7, of the current byte that are used, that is, already read or written, counted from the most
 * significant end. Readers may load up to four bytes beyond the last bit of the coded data. 8 zero bytes
 * behind the data keep every read of a block that begins within the data inside the buffer, whatever the data
 * is: no code of H.261, H.263 and MPEG-4 is all zeros. Writers keep the bits before the offset, store every
 * byte that the code reaches, leave the unused bits of the last one zero, and need no cleared buffer.
 */
#ifndef KELVCPX_CORE_H
#define KELVCPX_CORE_H

#include <kelvcpx/types.h>

/** The library's version: constant, of static storage duration. */
typedef struct LibraryVersion {
    int32_t versionMajor;    /**< 5 */
    int32_t versionMinor;    /**< 1 */
    int32_t buildMajor;      /**< 133 */
    int32_t buildNumber;     /**< 226 */
    char targetCode[4];      /**< "px" and two zero bytes: code for any processor */
    const char* libraryName; /**< name of the library file */
    const char* versionText; /**< "5.1.1" */
    const char* buildDate;   /**< date of the interface's build */
} LibraryVersion;

/**
 * Tells the version of the library.
 *
 * @return the version record, the same on every call; never null
 */
KEL_API const LibraryVersion* kelvcGetLibVersion(void) KEL_NOEXCEPT;

/**
 * @name Aligned memory
 *
 * Blocks whose address is a multiple of 32, taken from `malloc`.
 *
 * @param len    length of the block in bytes
 * @param pBlock block of kelsMalloc_8u() or kelsMalloc_8s(), to be released once; null does nothing
 * @return the block, uninitialised; null if `len` is below 1, if `len` and the bookkeeping (32 bytes and a
 * pointer) do not fit a signed 32-bit length, or if no memory is left
 * @{
 */
KEL_API uint8_t* kelsMalloc_8u(int32_t len) KEL_NOEXCEPT;
KEL_API int8_t* kelsMalloc_8s(int32_t len) KEL_NOEXCEPT;
KEL_API void kelsFree(void* pBlock) KEL_NOEXCEPT;
/** Does exactly what kelsFree() does. */
KEL_API void keliFree(void* pBlock) KEL_NOEXCEPT;
/** @} */

/**
 * @name Zero and copy arrays
 *
 * Elements are copied first byte first, so a destination that overlaps the end of its source repeats the
 * source's beginning; a destination that overlaps its beginning receives a plain copy.
 *
 * @param pSrc first source element
 * @param pDst first destination element; `len` elements are written
 * @param len  number of elements, at least 1
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst` is null
 * @retval StatusBadSize     `len` is below 1
 * @{
 */
KEL_API Status kelsZero_16s(int16_t* pDst, int32_t len) KEL_NOEXCEPT;
KEL_API Status kelsCopy_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len) KEL_NOEXCEPT;
KEL_API Status kelsCopy_16s(const int16_t* pSrc, int16_t* pDst, int32_t len) KEL_NOEXCEPT;
/** @} */

/**
 * @name Copy a region
 *
 * Copies a region of bytes row by row, top to bottom, each row first byte first.
 *
 * @param pSrc    top left source byte
 * @param srcStep distance in bytes between rows of the source; not checked, may be 0 or negative
 * @param pDst    top left destination byte; `roiSize.width` bytes in each of `roiSize.height` rows are
 *                written
 * @param dstStep distance in bytes between rows of the destination; not checked, may be 0 or negative
 * @param roiSize width and height of the region in bytes and rows, each at least 1
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst` is null
 * @retval StatusBadSize     the width or the height is below 1
 * @{
 */
KEL_API Status keliCopy_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                               RoiSize roiSize) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_CORE_H */
