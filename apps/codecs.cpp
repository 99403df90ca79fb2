#include "codecs.h"

#include "common/errors.h"
#include "dv/decoder.h"
#include "h261/decoder.h"
#include "h261/encoder.h"
#include "h263/decoder.h"
#include "h263/encoder.h"
#include "h264/decoder.h"
#include "h264/encoder/encoder.h"
#include "mpeg2/decoder.h"
#include "mpeg2/encoder/encoder.h"
#include "mpeg4/decoder.h"
#include "mpeg4/encoder/encoder.h"

#include <fmt/format.h>

#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvcpx::app {

namespace {

using OpenStream = std::unique_ptr<VideoDecoder> (*)(const VideoStream&, DamageListener&,
                                                     const DecoderSettings&);

// What a decoder can be asked for.
enum class Settings { none, conversion, postprocess };

void refuseOthers(const DecoderSettings& settings, Settings known)
{
    if (known != Settings::conversion && (settings.zoom != 1 || settings.deinterlaceWeight))
        throw UsageError("only DV can be decoded to reduced or deinterlaced pictures");
    if (known != Settings::postprocess && settings.postprocess)
        throw UsageError("only pictures of MPEG-4 Part 2 and H.263 can be post-processed");
}

// For codecs whose headers come in start-code units, in the packets or in front of them: nothing of a picture
// is in the extradata.
template <MakeDecoder make>
std::unique_ptr<VideoDecoder> headersFirst(const VideoStream& stream, DamageListener& listener,
                                           const DecoderSettings& settings)
{
    std::unique_ptr<VideoDecoder> decoder = make(listener, settings);
    if (!stream.extradata.empty())
        decoder->decode(stream.extradata, [](const PictureView&) {});
    return decoder;
}

std::unique_ptr<VideoDecoder> openDv(const VideoStream&, DamageListener& listener,
                                     const DecoderSettings& settings)
{
    return dv::makeDecoder(listener, settings);
}

std::unique_ptr<VideoDecoder> openH264(const VideoStream& stream, DamageListener& listener,
                                       const DecoderSettings&)
{
    return h264::makeDecoder(stream.extradata, listener);
}

struct Codec {
    std::string_view name; // VideoStream::codec
    OpenStream open;
    Settings settings = Settings::none;
};

constexpr Codec codecs[] = {
    {"dvvideo", openDv, Settings::conversion},
    {"h261", headersFirst<h261::makeDecoder>},
    {"h263", headersFirst<h263::makeDecoder>, Settings::postprocess},
    {"h263p", headersFirst<h263::makeDecoder>, Settings::postprocess},
    {"h264", openH264},
    {"mpeg1video", headersFirst<mpeg2::makeDecoder>},
    {"mpeg2video", headersFirst<mpeg2::makeDecoder>},
    {"mpeg4", headersFirst<mpeg4::makeDecoder>, Settings::postprocess},
};

struct Range {
    int64_t least = 0;
    int64_t most = 0;
};

struct Encoder {
    std::string_view name;
    MakeEncoder make;
    Range quantisers;
    Range groupSizes;
    Range bitRates = {}; // none: there is no rate control
    Range bFrames = {};
    bool hasHigh = false;
};

// A macroblock has to be intra at least once in so many pictures (H.263 4.4).
constexpr int64_t refreshPeriod = 132;

constexpr Encoder encoders[] = {
    {.name = "h261", .make = h261::makeEncoder, .quantisers = {1, 31}, .groupSizes = {1, refreshPeriod}},
    {.name = "h263", .make = h263::makeEncoder, .quantisers = {1, 31}, .groupSizes = {1, refreshPeriod}},
    {.name = "h264",
     .make = h264::makeEncoder,
     .quantisers = {0, 51},
     .groupSizes = {1, std::numeric_limits<int>::max()},
     .hasHigh = true},
    {.name = "mpeg2",
     .make = mpeg2::makeEncoder,
     .quantisers = {1, 31},
     .groupSizes = {1, 1000}, // temporal_reference has 10 bits
     .bitRates = {1000, 80'000'000},
     .bFrames = {0, 16}},
    {.name = "mpeg4", .make = mpeg4::makeEncoder, .quantisers = {1, 31}, .groupSizes = {1, refreshPeriod}},
};

void checkRange(const Encoder& encoder, std::string_view option, std::optional<int64_t> value,
                const Range& range)
{
    if (value && (*value < range.least || *value > range.most))
        throw UsageError(fmt::format("{} {} is outside {}..{} for {}", option, *value, range.least,
                                     range.most, encoder.name));
}

void check(const Encoder& encoder, const EncoderSettings& settings)
{
    if (settings.bitRate && encoder.bitRates.most == 0)
        throw UsageError(fmt::format(
            "{} is encoded with a constant quantiser: give --qp instead of --bitrate", encoder.name));
    if (settings.bFrames.value_or(0) != 0 && encoder.bFrames.most == 0)
        throw UsageError(fmt::format("{} is encoded without B pictures: leave --bframes out", encoder.name));
    if (settings.high && !encoder.hasHigh)
        throw UsageError(fmt::format("{} has no High profile here: leave --high out", encoder.name));
    checkRange(encoder, "--qp", settings.qp, encoder.quantisers);
    checkRange(encoder, "--gop", settings.groupSize, encoder.groupSizes);
    checkRange(encoder, "--bitrate", settings.bitRate, encoder.bitRates);
    checkRange(encoder, "--bframes", settings.bFrames, encoder.bFrames);
}

std::string knownCodecs()
{
    std::string names;
    for (const Codec& codec : codecs)
        names += fmt::format("{}{}", names.empty() ? "" : ", ", codec.name);
    return names;
}

} // namespace

std::unique_ptr<VideoDecoder> makeDecoder(const VideoStream& stream, DamageListener& listener,
                                          const DecoderSettings& settings)
{
    for (const Codec& codec : codecs)
        if (codec.name == stream.codec) {
            refuseOthers(settings, codec.settings);
            return codec.open(stream, listener, settings);
        }
    throw UnsupportedStream(fmt::format("there is no decoder for {} ({}), only for {}", stream.codec,
                                        stream.codecTitle, knownCodecs()));
}

std::vector<std::string> encoderNames()
{
    std::vector<std::string> names;
    for (const Encoder& encoder : encoders)
        names.emplace_back(encoder.name);
    return names;
}

std::unique_ptr<VideoEncoder> makeEncoder(const std::string& name, const VideoFormat& format,
                                          const EncoderSettings& settings)
{
    for (const Encoder& encoder : encoders)
        if (encoder.name == name) {
            check(encoder, settings);
            if (format.chroma != ChromaFormat::yuv420 || format.bitDepth != 8)
                throw UnsupportedStream(fmt::format(
                    "{} is encoded from 4:2:0 pictures of 8 bits only, these are {}", name, shapeOf(format)));
            return encoder.make(format, settings);
        }
    throw UsageError(fmt::format("there is no encoder {}", name));
}

} // namespace kelvcpx::app
