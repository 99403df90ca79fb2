#include "dv/segment_decoder.h"

#include <kelvcpx/block.h>
#include <kelvcpx/convert.h>
#include <kelvcpx/dv.h>

#include <algorithm>
#include <cstring>
#include <optional>

namespace kelvcpx::app::dv {
namespace {

using Convert = Status (*)(const int16_t**, uint8_t**, int32_t) noexcept;
using ConvertEdge = Status (*)(const int16_t*, uint8_t*, int32_t) noexcept;

// The forms for a row of the picture have no step.
template <Status (*convert)(const int16_t**, uint8_t**) noexcept>
Status withoutStep(const int16_t** ppSrc, uint8_t** ppDst, int32_t) noexcept
{
    return convert(ppSrc, ppDst);
}

// By the logarithm of the zoom.
constexpr Convert convert411[] = {keliYCrCb411ToYCbCr422_5MBDV_16s8u_P3C2R,
                                  keliYCrCb411ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R,
                                  keliYCrCb411ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R,
                                  withoutStep<keliYCrCb411ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R>};
constexpr ConvertEdge convertEdge411[] = {
    keliYCrCb411ToYCbCr422_EdgeDV_16s8u_P3C2R, keliYCrCb411ToYCbCr422_ZoomOut2_EdgeDV_16s8u_P3C2R,
    keliYCrCb411ToYCbCr422_ZoomOut4_EdgeDV_16s8u_P3C2R, keliYCrCb411ToYCbCr422_ZoomOut8_EdgeDV_16s8u_P3C2R};
constexpr Convert convert420[] = {
    keliYCrCb420ToYCbCr422_5MBDV_16s8u_P3C2R, keliYCrCb420ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R,
    keliYCrCb420ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R, keliYCrCb420ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R};
constexpr Convert convert422[] = {keliYCrCb422ToYCbCr422_5MBDV_16s8u_P3C2R,
                                  keliYCrCb422ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R,
                                  keliYCrCb422ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R,
                                  withoutStep<keliYCrCb422ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R>};

int logarithm(int zoom)
{
    return zoom == 1 ? 0 : zoom == 2 ? 1 : zoom == 4 ? 2 : 3;
}

constexpr uint32_t notDecoded = ~0U; // no info word has its upper bits set

// True if all coefficients of a transposed 8x8 block are zero but those of the frequencies 0..3.
bool hasLowFrequenciesOnly(const int16_t* block)
{
    uint64_t others = 0;
    for (int u = 0; u < 8; u++) {
        std::array<uint64_t, 2> row;
        std::memcpy(row.data(), block + 8 * u, sizeof row);
        others |= row[1] | (u < 4 ? 0 : row[0]);
    }
    return others == 0;
}

// Scan positions to tell the inverse DCT which coefficients may be other than zero.
constexpr int32_t withinLowFrequencies = 9;
constexpr int32_t anywhere = 63;

} // namespace

SegmentDecoder::SegmentDecoder(const System& system, const AcTable& table)
    : system_(system), table_(table), dequantiser_(system)
{
    for (Macroblock& macroblock : macroblocks_)
        for (Block& block : macroblock)
            block.fill(0);
}

bool SegmentDecoder::isChroma(std::size_t block) const
{
    return block % system_.blocksPerMacroblock() >= 4;
}

bool SegmentDecoder::decode(const uint8_t* segment, const SegmentPlaces& places, const PackedPicture& picture)
{
    const bool sound = decodeCodes(segment);
    // A code that goes astray keeps the blocks behind it from being decoded at all. But blocks that only lack
    // their end are worth showing.
    const std::size_t blocks = macroblocksPerSegment * system_.blocksPerMacroblock();
    if (info_[blocks - 1] == notDecoded)
        return false;
    if (system_.isHd())
        showHd(places, picture);
    else
        showSd(places, picture);
    return sound;
}

bool SegmentDecoder::decodeCodes(const uint8_t* segment)
{
    for (Block& block : coefficients_)
        block.fill(0);
    info_.fill(notDecoded);
    const auto decode =
        system_.isHd() ? keliHuffmanDecodeSegment_DV100_8u16s : keliHuffmanDecodeSegment_DV_8u16s;
    return decode(segment, dequantiser_.scans(), table_.get(), coefficients_[0].data(), info_.data()) ==
           StatusOk;
}

// Dequantises and transforms a block.
void SegmentDecoder::reconstruct(std::size_t block, int zoom, int16_t* samples)
{
    int16_t* const coefficients = coefficients_[block].data();
    const BlockInfo info{info_[block]};
    if (zoom == 8) { // the mean is all that will be shown
        samples[0] = static_cast<int16_t>((coefficients[0] / 128 + 1) >> 1);
        return;
    }
    if (zoom == 1)
        dequantiser_.dequantise(coefficients, info, isChroma(block));
    else
        dequantiser_.dequantiseRoughly(coefficients, info, isChroma(block));
    if (info.mode() != 0 && !system_.isHd()) {
        keliDCT2x4x8Inv_16s_C1I(coefficients);
        std::copy_n(coefficients, 64, samples);
        return;
    }
    constexpr int32_t rowBytes = 8 * sizeof(int16_t);
    keliDCT8x8Inv_AANTransposed_16s_C1R(coefficients, samples, rowBytes,
                                        hasLowFrequenciesOnly(coefficients) ? withinLowFrequencies
                                                                            : anywhere);
}

void SegmentDecoder::showSd(const SegmentPlaces& places, const PackedPicture& picture)
{
    const bool is422 = system_.sampling == Sampling::yuv422;
    std::array<const int16_t*, macroblocksPerSegment> sources;
    std::array<uint8_t*, macroblocksPerSegment> destinations;
    for (std::size_t m = 0; m < places.size(); m++) {
        sources[m] = macroblocks_[m][0].data();
        destinations[m] = picture.at(places[m].x, places[m].y);
        for (std::size_t b = 0; b < 6; b++)
            if (!is422 || (b != 1 && b != 3)) // which hold no picture
                reconstruct(6 * m + b, picture.zoom, macroblocks_[m][b].data());
    }

    const int log = logarithm(picture.zoom);
    if (is422) {
        convert422[log](sources.data(), destinations.data(), picture.step);
    } else if (system_.sampling == Sampling::yuv420) {
        convert420[log](sources.data(), destinations.data(), picture.step);
    } else if (places.back().shape == Shape::row) {
        convert411[log](sources.data(), destinations.data(), picture.step);
    } else { // the last macroblock is one of those at the right edge
        convertEdge411[log](sources.back(), destinations.back(), picture.step);
        sources.back() = nullptr;
        destinations.back() = nullptr;
        convert411[log](sources.data(), destinations.data(), picture.step);
    }
}

namespace {

// Collects macroblocks of 16x8 pixels with the same step and converts them five at a time.
class Converter422
{
public:
    Converter422(int zoom, int32_t step) : convert_(convert422[logarithm(zoom)]), step_(step) {}

    void add(const int16_t* source, uint8_t* destination)
    {
        sources_[count_] = source;
        destinations_[count_] = destination;
        if (++count_ == sources_.size())
            flush();
    }

    // Makes up the five by repeating one.
    void flush()
    {
        if (count_ == 0)
            return;
        std::fill(sources_.begin() + static_cast<std::ptrdiff_t>(count_), sources_.end(), sources_[0]);
        std::fill(destinations_.begin() + static_cast<std::ptrdiff_t>(count_), destinations_.end(),
                  destinations_[0]);
        convert_(sources_.data(), destinations_.data(), step_);
        count_ = 0;
    }

private:
    Convert convert_;
    int32_t step_;
    std::size_t count_ = 0;
    std::array<const int16_t*, macroblocksPerSegment> sources_;
    std::array<uint8_t*, macroblocksPerSegment> destinations_;
};

} // namespace

// A macroblock of eight blocks, four of luma, two of Cr, two of Cb, is two of 4:2:2: one above the other, or
// one in the lines of each field, or side by side in the last row of 1080 lines.
void SegmentDecoder::showHd(const SegmentPlaces& places, const PackedPicture& picture)
{
    Converter422 frame(picture.zoom, picture.step);
    Converter422 fields(picture.zoom, 2 * picture.step);
    for (std::size_t m = 0; m < places.size(); m++) {
        const Place& place = places[m];
        const bool byFields =
            system_.height == 1080 && place.shape == Shape::square && BlockInfo{info_[8 * m]}.mode() != 0;
        for (std::size_t half = 0; half < 2; half++) {
            Macroblock& macroblock = macroblocks_[2 * m + half];
            reconstruct(8 * m + 2 * half, picture.zoom, macroblock[0].data());
            reconstruct(8 * m + 2 * half + 1, picture.zoom, macroblock[2].data());
            reconstruct(8 * m + 4 + half, picture.zoom, macroblock[4].data());
            reconstruct(8 * m + 6 + half, picture.zoom, macroblock[5].data());

            const int second = static_cast<int>(half);
            const int16_t* const source = macroblock[0].data();
            if (byFields)
                fields.add(source, picture.at(place.x, place.y) + second * picture.step);
            else if (place.shape == Shape::row)
                frame.add(source, picture.at(place.x + 2 * second, place.y));
            else
                frame.add(source, picture.at(place.x, place.y + second));
        }
    }
    frame.flush();
    fields.flush();
}

} // namespace kelvcpx::app::dv
