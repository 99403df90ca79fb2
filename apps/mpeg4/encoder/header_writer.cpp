#include "mpeg4/encoder/header_writer.h"

#include "common/decoder.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace kelvcpx::app::mpeg4 {
namespace {

constexpr Rational usualFrameRate{25, 1};
constexpr int64_t largestResolution = 65535;
constexpr uint32_t videoObjectStart = 0x00;
constexpr int startBits = 24;

// profile_and_level_indication of the levels of Simple Profile (annex G), by what fits into a VOP.
struct Level {
    uint32_t indication;
    int macroblocks;
};
constexpr Level levels[] = {{1, 99}, {3, 396}, {4, 1200}, {5, 1620}};
constexpr uint32_t largestLevel = 6;

uint32_t levelOf(const VideoObjectLayer& layer)
{
    const auto* const found = std::find_if(std::begin(levels), std::end(levels), [&](const Level& level) {
        return layer.macroblockCount() <= level.macroblocks;
    });
    return found == std::end(levels) ? largestLevel : found->indication;
}

void putStart(CodeWriter& writer, uint32_t value)
{
    writer.put(1, startBits);
    writer.put(value, 8);
}

void put(CodeWriter& writer, int value, int bits)
{
    writer.put(static_cast<uint32_t>(value), bits);
}

void putMarker(CodeWriter& writer)
{
    writer.put(1, 1);
}

// 6.3.3: 1 for square samples, 15 for a ratio of its own.
void putAspect(CodeWriter& writer, const Rational& aspect)
{
    constexpr int64_t largest = 255;
    const bool fits = aspect.numerator > 0 && aspect.denominator > 0 && aspect.numerator <= largest &&
                      aspect.denominator <= largest;
    if (!fits || aspect == Rational{1, 1}) {
        writer.put(1, 4);
        return;
    }
    writer.put(15, 4);
    put(writer, static_cast<int>(aspect.numerator), 8);
    put(writer, static_cast<int>(aspect.denominator), 8);
}

void writeLayer(CodeWriter& writer, const VideoObjectLayer& layer)
{
    putStart(writer, firstVideoObjectLayerStart);
    writer.put(0, 1); // random_accessible_vol
    writer.put(1, 8); // video_object_type_indication: Simple
    writer.put(0, 1); // is_object_layer_identifier
    putAspect(writer, layer.sampleAspect);
    writer.put(1, 1); // vol_control_parameters
    writer.put(1, 2); // 4:2:0
    writer.put(*layer.lowDelay ? 1 : 0, 1);
    writer.put(0, 1); // vbv_parameters
    writer.put(0, 2); // rectangular
    putMarker(writer);
    put(writer, layer.timeIncrementResolution, 16);
    putMarker(writer);
    writer.put(layer.fixedTimeIncrement > 0 ? 1 : 0, 1);
    if (layer.fixedTimeIncrement > 0)
        put(writer, layer.fixedTimeIncrement, layer.timeIncrementBits());
    putMarker(writer);
    put(writer, layer.width, 13);
    putMarker(writer);
    put(writer, layer.height, 13);
    putMarker(writer);
    writer.put(0, 1); // interlaced
    writer.put(1, 1); // obmc_disable
    writer.put(0, 1); // sprite_enable
    writer.put(0, 1); // not_8_bit
    writer.put(0, 1); // quant_type: the second method
    writer.put(1, 1); // complexity_estimation_disable
    writer.put(1, 1); // resync_marker_disable
    writer.put(0, 1); // data_partitioned
    writer.put(0, 1); // scalability
    stuff(writer);
}

} // namespace

VideoObjectLayer describeLayer(const VideoFormat& format)
{
    constexpr int largestSize = (1 << 13) - 1;
    if (format.width > largestSize || format.height > largestSize ||
        format.width * format.height > mostSamples)
        throw UnsupportedStream(
            fmt::format("MPEG-4 is encoded from pictures of at most {} columns and rows, and {} samples",
                        largestSize, mostSamples));
    const Rational rate = format.frameRate.numerator > 0 ? format.frameRate : usualFrameRate;
    VideoObjectLayer layer;
    layer.isSimple = true;
    layer.sampleAspect = format.sampleAspect;
    layer.lowDelay = true;
    layer.timeIncrementResolution = static_cast<int>(std::min<int64_t>(rate.numerator, largestResolution));
    if (rate.numerator <= largestResolution && rate.denominator < rate.numerator)
        layer.fixedTimeIncrement = static_cast<int>(rate.denominator);
    layer.width = format.width;
    layer.height = format.height;
    return layer;
}

int64_t timeOfPicture(const VideoObjectLayer& layer, const VideoFormat& format, int64_t number)
{
    const Rational rate = format.frameRate.numerator > 0 ? format.frameRate : usualFrameRate;
    return number * layer.timeIncrementResolution * rate.denominator / rate.numerator;
}

void writeSequence(CodeWriter& writer, const VideoObjectLayer& layer)
{
    putStart(writer, visualObjectSequenceStart);
    writer.put(levelOf(layer), 8);
    putStart(writer, visualObjectStart);
    writer.put(0, 1); // is_visual_object_identifier
    writer.put(1, 4); // video
    writer.put(0, 1); // video_signal_type
    stuff(writer);
    putStart(writer, videoObjectStart);
    writeLayer(writer, layer);
}

void writeVop(CodeWriter& writer, const VideoObjectLayer& layer, const Vop& vop)
{
    putStart(writer, vopStart);
    put(writer, static_cast<int>(vop.type), 2);
    for (int second = 0; second < vop.seconds; second++)
        writer.put(1, 1);
    writer.put(0, 1);
    putMarker(writer);
    put(writer, vop.increment, layer.timeIncrementBits());
    putMarker(writer);
    writer.put(1, 1); // vop_coded
    if (vop.type == VopType::predicted)
        put(writer, vop.rounding, 1);
    writer.put(0, 3); // intra_dc_vlc_thr: the intra DC always has a code of its own
    put(writer, vop.quant, 5);
    if (vop.type == VopType::predicted)
        put(writer, vop.fcode[0], 3);
}

void stuff(CodeWriter& writer)
{
    writer.put(0, 1);
    while (!writer.isAligned())
        writer.put(1, 1);
}

} // namespace kelvcpx::app::mpeg4
