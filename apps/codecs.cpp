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
    if (!stream.extradata.empty()) {
        std::vector<uint8_t> headers = stream.extradata;
        headers.resize(headers.size() + Demuxer::padding);
        decoder->decode(std::span(headers).first(stream.extradata.size()), [](const PictureView&) {});
    }
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

using MakeEncoder = std::unique_ptr<VideoEncoder> (*)(const VideoFormat&, const EncoderSettings&);

struct EncoderEntry {
    std::string_view name;
    MakeEncoder make;
};

constexpr EncoderEntry encoders[] = {
    {"h261", h261::makeEncoder},   {"h263", h263::makeEncoder},   {"h264", h264::makeEncoder},
    {"mpeg2", mpeg2::makeEncoder}, {"mpeg4", mpeg4::makeEncoder},
};

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
    for (const EncoderEntry& encoder : encoders)
        names.emplace_back(encoder.name);
    return names;
}

std::unique_ptr<VideoEncoder> makeEncoder(const std::string& name, const VideoFormat& format,
                                          const EncoderSettings& settings)
{
    for (const EncoderEntry& encoder : encoders)
        if (encoder.name == name)
            return encoder.make(format, settings);
    throw UsageError(fmt::format("there is no encoder {}", name));
}

} // namespace kelvcpx::app
