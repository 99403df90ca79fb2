// The operations of the library for the reconstruction of macroblocks under one name for samples of 8 and of
// more bits.
#pragma once

#include <kelvcpx/h264_high.h>
#include <kelvcpx/h264_residual.h>

#include <array>
#include <cstdint>
#include <type_traits>

namespace kelvcpx::app::h264 {

template <class Sample>
using CoefficientOf = std::conditional_t<sizeof(Sample) == 1, int16_t, int32_t>;

// One component of a macroblock.
template <class Sample>
struct ComponentRecord {
    CoefficientOf<Sample>** coefficients;
    Sample* samples;
    int32_t step; // samples
    uint64_t codedBlocks;
    int32_t qp;
    const int16_t* scale;
    int16_t dcScale; // of the chroma DCs of 4:2:2
    bool bypass;
    bool flat; // flat scaling lists and no bypass: the default scaling does
    int bitDepth;
};

// Luma. For halves of macroblocks `modes` and the coded blocks are those of the half.

inline BlockReconParams toRecord(const ComponentRecord<uint16_t>& r, uint64_t codedBlocks)
{
    return {r.coefficients, r.samples,          r.step,    static_cast<uint32_t>(codedBlocks), r.qp,
            r.scale,        r.bypass ? 1u : 0u, r.bitDepth};
}

inline BlockReconParams8u toRecord(const ComponentRecord<uint8_t>& r, uint64_t codedBlocks)
{
    return {r.coefficients, r.samples,          r.step,    static_cast<uint32_t>(codedBlocks), r.qp,
            r.scale,        r.bypass ? 1u : 0u, r.bitDepth};
}

inline Status reconstructIntra4x4(const ComponentRecord<uint8_t>& r, const uint32_t* modes, uint8_t edges)
{
    const auto cbp = static_cast<uint32_t>(r.codedBlocks);
    return r.flat ? keliReconstructLumaIntraMB_H264_16s8u_C1R(r.coefficients, r.samples, r.step, modes, cbp,
                                                              r.qp, edges)
                  : keliReconstructLumaIntra4x4MB_H264_16s8u_C1R(r.coefficients, r.samples, r.step, modes,
                                                                 cbp, r.qp, edges, r.scale, r.bypass ? 1 : 0);
}

inline Status reconstructIntra4x4(const ComponentRecord<uint16_t>& r, const uint32_t* modes, uint8_t edges)
{
    const BlockReconParams params = toRecord(r, r.codedBlocks);
    return keliReconstructLumaIntra4x4_H264High_32s16u_IP1R(&params, modes, edges);
}

inline Status reconstructIntraHalf4x4(const ComponentRecord<uint8_t>& r, const uint32_t* modes, uint8_t edges)
{
    const auto cbp = static_cast<uint32_t>(r.codedBlocks);
    return r.flat ? keliReconstructLumaIntraHalfMB_H264_16s8u_C1R(r.coefficients, r.samples, r.step, modes,
                                                                  cbp, r.qp, edges)
                  : keliReconstructLumaIntraHalf4x4MB_H264_16s8u_C1R(r.coefficients, r.samples, r.step, modes,
                                                                     cbp, r.qp, edges, r.scale,
                                                                     r.bypass ? 1 : 0);
}

inline Status reconstructIntraHalf4x4(const ComponentRecord<uint16_t>& r, const uint32_t* modes,
                                      uint8_t edges)
{
    const BlockReconParams params = toRecord(r, r.codedBlocks);
    return keliReconstructLumaIntraHalf4x4_H264High_32s16u_IP1R(&params, modes, edges);
}

inline Status reconstructIntra8x8(const ComponentRecord<uint8_t>& r, const uint32_t* modes, uint8_t edges)
{
    return keliReconstructLumaIntra8x8MB_H264_16s8u_C1R(r.coefficients, r.samples, r.step, modes,
                                                        static_cast<uint32_t>(r.codedBlocks), r.qp, edges,
                                                        r.scale, r.bypass ? 1 : 0);
}

inline Status reconstructIntra8x8(const ComponentRecord<uint16_t>& r, const uint32_t* modes, uint8_t edges)
{
    const BlockReconParams params = toRecord(r, r.codedBlocks);
    return keliReconstructLumaIntra8x8_H264High_32s16u_IP1R(&params, modes, edges);
}

inline Status reconstructIntraHalf8x8(const ComponentRecord<uint8_t>& r, const uint32_t* modes, uint8_t edges)
{
    return keliReconstructLumaIntraHalf8x8MB_H264_16s8u_C1R(r.coefficients, r.samples, r.step, modes,
                                                            static_cast<uint32_t>(r.codedBlocks), r.qp, edges,
                                                            r.scale, r.bypass ? 1 : 0);
}

inline Status reconstructIntraHalf8x8(const ComponentRecord<uint16_t>& r, const uint32_t* modes,
                                      uint8_t edges)
{
    const BlockReconParams params = toRecord(r, r.codedBlocks);
    return keliReconstructLumaIntraHalf8x8_H264High_32s16u_IP1R(&params, modes, edges);
}

inline Status reconstructIntra16x16(const ComponentRecord<uint8_t>& r, uint32_t mode, uint8_t edges)
{
    const auto cbp = static_cast<uint32_t>(r.codedBlocks);
    return r.flat ? keliReconstructLumaIntra16x16MB_H264_16s8u_C1R(r.coefficients, r.samples, r.step, mode,
                                                                   cbp, r.qp, edges)
                  : keliReconstructLumaIntra_16x16MB_H264_16s8u_C1R(
                        r.coefficients, r.samples, r.step, mode, cbp, r.qp, edges, r.scale, r.bypass ? 1 : 0);
}

inline Status reconstructIntra16x16(const ComponentRecord<uint16_t>& r, uint32_t mode, uint8_t edges)
{
    const BlockReconParams params = toRecord(r, r.codedBlocks);
    return keliReconstructLumaIntra16x16_H264High_32s16u_IP1R(&params, mode, edges);
}

inline Status addLuma4x4(const ComponentRecord<uint8_t>& r)
{
    const auto cbp = static_cast<uint32_t>(r.codedBlocks);
    return r.flat ? keliReconstructLumaInterMB_H264_16s8u_C1R(r.coefficients, r.samples, r.step, cbp, r.qp)
                  : keliReconstructLumaInter4x4MB_H264_16s8u_C1R(r.coefficients, r.samples, r.step, cbp, r.qp,
                                                                 r.scale, r.bypass ? 1 : 0);
}

inline Status addLuma4x4(const ComponentRecord<uint16_t>& r)
{
    const BlockReconParams params = toRecord(r, r.codedBlocks);
    return keliReconstructLumaInter4x4_H264High_32s16u_IP1R(&params);
}

inline Status addLuma8x8(const ComponentRecord<uint8_t>& r)
{
    return keliReconstructLumaInter8x8MB_H264_16s8u_C1R(r.coefficients, r.samples, r.step,
                                                        static_cast<uint32_t>(r.codedBlocks), r.qp, r.scale,
                                                        r.bypass ? 1 : 0);
}

inline Status addLuma8x8(const ComponentRecord<uint16_t>& r)
{
    const BlockReconParams params = toRecord(r, r.codedBlocks);
    return keliReconstructLumaInter8x8_H264High_32s16u_IP1R(&params);
}

// Records of both chroma components as the operations take them.
template <class Sample>
class RecordPair
{
public:
    RecordPair(const ComponentRecord<Sample>& cb, const ComponentRecord<Sample>& cr, uint64_t codedBlocksCb,
               uint64_t codedBlocksCr)
        : records_{toRecord(cb, codedBlocksCb), toRecord(cr, codedBlocksCr)}
    {}
    RecordPair(const RecordPair&) = delete;
    RecordPair& operator=(const RecordPair&) = delete;

    auto get() const { return pointers_.data(); }

private:
    using Record = decltype(toRecord(ComponentRecord<Sample>(), 0));

    std::array<Record, 2> records_;
    std::array<const Record*, 2> pointers_{&records_[0], &records_[1]};
};

// Chroma of 4:2:0. Both components have the same stream of coefficients and coded blocks.

inline bool shareDefaultScaling(const ComponentRecord<uint8_t>& cb, const ComponentRecord<uint8_t>& cr)
{
    return cb.flat && cr.flat && cb.qp == cr.qp;
}

inline Status reconstructIntra420(const ComponentRecord<uint8_t>& cb, const ComponentRecord<uint8_t>& cr,
                                  uint32_t mode, uint8_t edges)
{
    const auto cbp = static_cast<uint32_t>(cb.codedBlocks);
    return shareDefaultScaling(cb, cr)
               ? keliReconstructChromaIntraMB_H264_16s8u_P2R(cb.coefficients, cb.samples, cr.samples, cb.step,
                                                             mode, cbp, cb.qp, edges)
               : keliReconstructChromaIntra4x4MB_H264_16s8u_P2R(cb.coefficients, cb.samples, cr.samples,
                                                                cb.step, mode, cbp, cb.qp, cr.qp, edges,
                                                                cb.scale, cr.scale, cb.bypass ? 1 : 0);
}

inline Status reconstructIntra420(const ComponentRecord<uint16_t>& cb, const ComponentRecord<uint16_t>& cr,
                                  uint32_t mode, uint8_t edges)
{
    const RecordPair pair(cb, cr, cb.codedBlocks, cr.codedBlocks);
    return keliReconstructChromaIntra4x4_H264High_32s16u_IP2R(pair.get(), mode, edges);
}

inline Status reconstructIntraHalves420(const ComponentRecord<uint8_t>& cb,
                                        const ComponentRecord<uint8_t>& cr, uint32_t mode, uint8_t upper,
                                        uint8_t lower)
{
    const auto cbp = static_cast<uint32_t>(cb.codedBlocks);
    return shareDefaultScaling(cb, cr)
               ? keliReconstructChromaIntraHalfsMB_H264_16s8u_P2R(cb.coefficients, cb.samples, cr.samples,
                                                                  cb.step, mode, cbp, cb.qp, upper, lower)
               : keliReconstructChromaIntraHalfs4x4MB_H264_16s8u_P2R(
                     cb.coefficients, cb.samples, cr.samples, cb.step, mode, cbp, cb.qp, cr.qp, upper, lower,
                     cb.scale, cr.scale, cb.bypass ? 1 : 0);
}

inline Status reconstructIntraHalves420(const ComponentRecord<uint16_t>& cb,
                                        const ComponentRecord<uint16_t>& cr, uint32_t mode, uint8_t upper,
                                        uint8_t lower)
{
    const RecordPair pair(cb, cr, cb.codedBlocks, cr.codedBlocks);
    return keliReconstructChromaIntraHalf4x4_H264High_32s16u_IP2R(pair.get(), mode, upper, lower);
}

inline Status addChroma420(const ComponentRecord<uint8_t>& cb, const ComponentRecord<uint8_t>& cr)
{
    const auto cbp = static_cast<uint32_t>(cb.codedBlocks);
    return shareDefaultScaling(cb, cr)
               ? keliReconstructChromaInterMB_H264_16s8u_P2R(cb.coefficients, cb.samples, cr.samples, cb.step,
                                                             cbp, cb.qp)
               : keliReconstructChromaInter4x4MB_H264_16s8u_P2R(cb.coefficients, cb.samples, cr.samples,
                                                                cb.step, cbp, cb.qp, cr.qp, cb.scale,
                                                                cr.scale, cb.bypass ? 1 : 0);
}

inline Status addChroma420(const ComponentRecord<uint16_t>& cb, const ComponentRecord<uint16_t>& cr)
{
    const RecordPair pair(cb, cr, cb.codedBlocks, cr.codedBlocks);
    return keliReconstructChromaInter4x4_H264High_32s16u_IP2R(pair.get());
}

// Chroma of 4:2:2. The records have bits of their own for the DCs and the 8 blocks of a component.

template <class Sample>
uint64_t codedBlocks422(const ComponentRecord<Sample>& r, unsigned component)
{
    return (r.codedBlocks >> (17 + component) & 1) | (r.codedBlocks >> (19 + 8 * component) & 0xFF) << 1;
}

inline Status reconstructIntra422(const ComponentRecord<uint8_t>& cb, const ComponentRecord<uint8_t>& cr,
                                  uint32_t mode, uint8_t edges)
{
    return keliReconstructChromaIntra4x4MB422_H264_16s8u_P2R(
        cb.coefficients, cb.samples, cr.samples, cb.step, mode, static_cast<uint32_t>(cb.codedBlocks),
        static_cast<uint32_t>(cb.codedBlocks >> 32), cb.qp, cr.qp, cb.dcScale, cr.dcScale, edges, cb.scale,
        cr.scale, cb.bypass ? 1 : 0);
}

inline Status reconstructIntra422(const ComponentRecord<uint16_t>& cb, const ComponentRecord<uint16_t>& cr,
                                  uint32_t mode, uint8_t edges)
{
    const RecordPair pair(cb, cr, codedBlocks422(cb, 0), codedBlocks422(cr, 1));
    return keliReconstructChroma422Intra4x4_H264High_32s16u_IP2R(pair.get(), mode, edges, cb.dcScale,
                                                                 cr.dcScale);
}

inline Status reconstructIntraHalves422(const ComponentRecord<uint8_t>& cb,
                                        const ComponentRecord<uint8_t>& cr, uint32_t mode, uint8_t upper,
                                        uint8_t lower)
{
    const RecordPair pair(cb, cr, codedBlocks422(cb, 0), codedBlocks422(cr, 1));
    return keliReconstructChroma422IntraHalf4x4_H264High_16s8u_IP2R(pair.get(), mode, upper, lower,
                                                                    cb.dcScale, cr.dcScale);
}

inline Status reconstructIntraHalves422(const ComponentRecord<uint16_t>& cb,
                                        const ComponentRecord<uint16_t>& cr, uint32_t mode, uint8_t upper,
                                        uint8_t lower)
{
    const RecordPair pair(cb, cr, codedBlocks422(cb, 0), codedBlocks422(cr, 1));
    return keliReconstructChroma422IntraHalf4x4_H264High_32s16u_IP2R(pair.get(), mode, upper, lower,
                                                                     cb.dcScale, cr.dcScale);
}

inline Status addChroma422(const ComponentRecord<uint8_t>& cb, const ComponentRecord<uint8_t>& cr)
{
    return keliReconstructChromaInter4x4MB422_H264_16s8u_P2R(
        cb.coefficients, cb.samples, cr.samples, cb.step, static_cast<uint32_t>(cb.codedBlocks),
        static_cast<uint32_t>(cb.codedBlocks >> 32), cb.qp, cr.qp, cb.dcScale, cr.dcScale, cb.scale, cr.scale,
        cb.bypass ? 1 : 0);
}

inline Status addChroma422(const ComponentRecord<uint16_t>& cb, const ComponentRecord<uint16_t>& cr)
{
    const RecordPair pair(cb, cr, codedBlocks422(cb, 0), codedBlocks422(cr, 1));
    return keliReconstructChroma422Inter4x4_H264High_32s16u_IP2R(pair.get(), cb.dcScale, cr.dcScale);
}

} // namespace kelvcpx::app::h264
