/**
 * @file
 * Types, status codes and calling conventions shared by every operation of kelvcpx.
 *
 * @par Calling conventions
 * Every operation is a stateless C function over buffers of the caller. It checks its arguments before it
 * reads or writes anything: pointers first (::StatusNullPointer; the stream pointer behind a
 * pointer-to-pointer is tested too), then numbers. The errors of an operation are listed in the order of its
 * checks: the first that fails is returned, and nothing has been written, unless the error says otherwise.
 * What is not listed is not checked, but a guarantee of the caller. The results of operations that write
 * through several pointers must not overlap, nor overlap what is read, unless the operation allows it.
 *
 * Unless stated otherwise a row step is the distance in bytes between the starts of two consecutive rows, for
 * 16-bit coefficients and residuals too; of samples with more than 8 bits it counts samples. It may be
 * negative where it is not checked. Any operation may run on any number of threads at once as long as the
 * written buffers do not overlap.
 *
 * @par Names
 * `keli` marks operations on blocks and images, `kels` on one-dimensional arrays, `kelvc` services of the
 * library. The data suffix gives the element types read and written (`1u` a bit-stream, `8u`, `16u`, `32u`
 * unsigned and `8s`, `16s`, `32s` signed integers; two types are source, then destination) and the layout:
 * `C1` one channel, `C2` two interleaved channels, `P2`, `P3` separate planes, `R` a region with row steps,
 * `I` in place, `S` saturating. `B` after a block size marks the bidirectional form, `HP` and `QP` half- and
 * quarter-sample forms, `UV` two interleaved chroma components.
 */
#ifndef KELVCPX_TYPES_H
#define KELVCPX_TYPES_H

#include <stdint.h>

/**
 * @def KEL_EXPORT
 * Makes a symbol of the library visible to its clients.
 */
#if defined(__GNUC__)
#define KEL_EXPORT __attribute__((visibility("default")))
#else
#define KEL_EXPORT
#endif

/**
 * @def KEL_API
 * Declares an operation: C linkage, exported. Followed by a return type and a declarator.
 */
/**
 * @def KEL_NOEXCEPT
 * Ends an operation's declarator: no operation throws.
 */
#ifdef __cplusplus
#define KEL_API extern "C" KEL_EXPORT
#define KEL_NOEXCEPT noexcept
#else
#define KEL_API extern KEL_EXPORT
#define KEL_NOEXCEPT
#endif

/**
 * Result of every operation that can fail, one of ::StatusCode: 0 is success, negative values are errors,
 * positive values warnings. A signed 32-bit integer in C, an enumeration with the same representation in C++.
 */
#ifdef __cplusplus
enum Status : int32_t
#else
typedef int32_t Status;
/** The values of ::Status; in C++ they belong to that type. */
enum StatusCode
#endif
{
    StatusOk = 0, /**< success */
    StatusWarnNoNeighbour =
        11, /**< warning: an intra prediction used the mid-level value for a missing neighbour */
    StatusWarnOddSize = 35,    /**< warning: odd width or height; the last column or row is not converted */
    StatusNotSupported = -2,   /**< the operation is not provided and does nothing */
    StatusBadArgument = -5,    /**< an argument outside its allowed set */
    StatusBadSize = -6,        /**< a length, width or height below 1 or outside the allowed set */
    StatusNullPointer = -8,    /**< a required pointer, or the stream pointer behind one, is null */
    StatusOutOfMemory = -9,    /**< an allocation made by the operation failed */
    StatusDivideByZero = -10,  /**< a quantiser value to divide by is 0 */
    StatusOutOfRange = -11,    /**< a count, index, mode or parameter outside its range */
    StatusLevelTooLarge = -13, /**< a forward H.264 quantisation produced a level magnitude above 2063 */
    StatusBadStep = -14,       /**< a row step too small for the operation */
    StatusBadContext = -17,    /**< a record that the operation's Init did not make */
    StatusBadInterpolation = -22, /**< an unknown interpolation mode */
    StatusBadResizeFactor = -23,  /**< an unknown reduction factor */
    StatusBadHuffmanCode =
        -74, /**< the bits at a word cursor match no code, or a run-level walk left the block */
    StatusBadIntraMode = -117, /**< an H.264 intra mode needs a missing neighbour or is not allowed here */
    StatusBadVlcCode = -191, /**< a byte-stream code that the standard forbids or that overflows the block */
    StatusBadQuantizer = -192, /**< a quantiser outside its range, or a weight that is 0 */
    StatusBadBitOffset = -193  /**< a byte-cursor bit offset outside 0..7 */
};

/** Size of a region in elements. */
typedef struct RoiSize {
    int32_t width;  /**< elements in a row */
    int32_t height; /**< rows */
} RoiSize;

/**
 * The address of a pointer as an unsigned integer of pointer width. Not an exported symbol.
 */
#ifdef __cplusplus
inline uintptr_t KEL_INT_PTR(const volatile void* pointer) noexcept
{
    return reinterpret_cast<uintptr_t>(pointer);
}
#else
#define KEL_INT_PTR(pointer) ((uintptr_t)(const volatile void*)(pointer))
#endif

#endif /* KELVCPX_TYPES_H */
