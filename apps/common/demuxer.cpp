#include "common/demuxer.h"

#include "common/errors.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/pixdesc.h>
}

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace kelvcpx::app {

namespace {

std::string reason(int error)
{
    if (error == AVERROR_INVALIDDATA || error == AVERROR_EOF)
        return "not a video file of a known kind, or not a whole one";
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(error, text.data(), text.size());
    return text.data();
}

std::string nameOf(const std::string& path)
{
    return path == "-" ? "standard input" : path;
}

// A path is never to be taken for an address of another protocol, even if it contains a colon.
std::string addressOf(const std::string& path)
{
    return path == "-" ? "pipe:0" : "file:" + path;
}

struct CloseInput {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};

struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

using FormatContext = std::unique_ptr<AVFormatContext, CloseInput>;

FormatContext open(const std::string& path)
{
    av_log_set_level(AV_LOG_QUIET);
    AVFormatContext* context = nullptr;
    // A list of allowed decoders without a known name: what is found out about the streams comes from the
    // container and from parsing the headers alone.
    AVDictionary* options = nullptr;
    av_dict_set(&options, "codec_whitelist", "none", 0);
    const int opened = avformat_open_input(&context, addressOf(path).c_str(), nullptr, &options);
    av_dict_free(&options);
    if (opened < 0)
        throw InputError(fmt::format("cannot read {}: {}", nameOf(path), reason(opened)));
    FormatContext result(context);
    if (const int found = avformat_find_stream_info(context, nullptr); found < 0)
        throw InputError(fmt::format("cannot read {}: {}", nameOf(path), reason(found)));
    return result;
}

// A cover picture beside a piece of music is not a video.
int findVideo(AVFormatContext* context, const std::string& path)
{
    const int index = av_find_best_stream(context, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0 || (context->streams[index]->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0)
        throw InputError(fmt::format("{} has no video stream", nameOf(path)));
    for (unsigned i = 0; i < context->nb_streams; i++)
        context->streams[i]->discard = static_cast<int>(i) == index ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    return index;
}

Rational rational(AVRational value)
{
    return value.num > 0 && value.den > 0 ? Rational{value.num, value.den} : Rational{0, 1};
}

// Some containers name the format of the samples, in others it follows from the tag.
AVPixelFormat pixelFormatOf(const AVCodecParameters& codec)
{
    if (codec.format != AV_PIX_FMT_NONE)
        return static_cast<AVPixelFormat>(codec.format);
    for (const AVPixelFormat known :
         {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUV411P, AV_PIX_FMT_GRAY8})
        if (codec.codec_tag == avcodec_pix_fmt_to_codec_tag(known))
            return known;
    return AV_PIX_FMT_NONE;
}

// The format of uncompressed pictures, if it is one of those that VideoFormat can express.
std::optional<VideoFormat> rawFormat(const AVCodecParameters& codec)
{
    const AVPixelFormat pixelFormat = pixelFormatOf(codec);
    const AVPixFmtDescriptor* const pixels = av_pix_fmt_desc_get(pixelFormat);
    constexpr uint64_t unwanted = AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_ALPHA | AV_PIX_FMT_FLAG_PAL |
                                  AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_BE | AV_PIX_FMT_FLAG_FLOAT;
    if (codec.codec_id != AV_CODEC_ID_RAWVIDEO || pixels == nullptr || (pixels->flags & unwanted) != 0 ||
        av_pix_fmt_count_planes(pixelFormat) != pixels->nb_components)
        return std::nullopt;
    VideoFormat format;
    format.width = codec.width;
    format.height = codec.height;
    format.bitDepth = pixels->comp[0].depth;
    format.chroma = ChromaFormat::monochrome;
    if (pixels->nb_components == 3) {
        constexpr std::array candidates{ChromaFormat::yuv420, ChromaFormat::yuv422, ChromaFormat::yuv444,
                                        ChromaFormat::yuv411};
        const auto* const match =
            std::find_if(candidates.begin(), candidates.end(), [=](ChromaFormat candidate) {
                return chromaShiftX(candidate) == pixels->log2_chroma_w &&
                       chromaShiftY(candidate) == pixels->log2_chroma_h;
            });
        if (match == candidates.end())
            return std::nullopt;
        format.chroma = *match;
    }
    if (codec.field_order == AV_FIELD_TT || codec.field_order == AV_FIELD_TB)
        format.fieldOrder = FieldOrder::topFirst;
    if (codec.field_order == AV_FIELD_BB || codec.field_order == AV_FIELD_BT)
        format.fieldOrder = FieldOrder::bottomFirst;
    if (codec.chroma_location == AVCHROMA_LOC_CENTER)
        format.chromaSiting = ChromaSiting::centre;
    if (codec.chroma_location == AVCHROMA_LOC_TOPLEFT)
        format.chromaSiting = ChromaSiting::topLeft;
    return format;
}

VideoStream describe(AVFormatContext* context, AVStream* stream)
{
    const AVCodecParameters& codec = *stream->codecpar;
    VideoStream result;
    result.container = context->iformat->long_name;
    result.codec = avcodec_get_name(codec.codec_id);
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(codec.codec_id);
    result.codecTitle =
        descriptor != nullptr && descriptor->long_name != nullptr ? descriptor->long_name : result.codec;
    if (const char* profile = avcodec_profile_name(codec.codec_id, codec.profile))
        result.profile = profile;
    if (codec.extradata_size > 0)
        result.extradata.assign(codec.extradata, codec.extradata + codec.extradata_size);
    result.width = codec.width;
    result.height = codec.height;
    result.frameRate = rational(stream->avg_frame_rate);
    result.sampleAspect = rational(av_guess_sample_aspect_ratio(context, stream, nullptr));
    result.raw = rawFormat(codec);
    // An elementary stream has no clock: a duration guessed from the bit rate of its header is often far off.
    if (context->duration > 0 && context->duration_estimation_method != AVFMT_DURATION_FROM_BITRATE) {
        result.duration = static_cast<double>(context->duration) / AV_TIME_BASE;
        if (context->bit_rate > 0)
            result.bitRate = context->bit_rate;
    }
    return result;
}

} // namespace

struct Demuxer::Context {
    FormatContext format;
    std::unique_ptr<AVPacket, FreePacket> packet{av_packet_alloc()};
    int index = -1;
};

Demuxer::Demuxer(const std::string& path) : context_(std::make_unique<Context>())
{
    context_->format = open(path);
    context_->index = findVideo(context_->format.get(), path);
    stream_ = describe(context_->format.get(), context_->format->streams[context_->index]);
}

Demuxer::~Demuxer() = default;

std::optional<Packet> Demuxer::read()
{
    AVPacket* packet = context_->packet.get();
    do {
        av_packet_unref(packet);
        const int result = av_read_frame(context_->format.get(), packet);
        if (result == AVERROR_EOF)
            return std::nullopt;
        if (result < 0)
            throw InputError(fmt::format("reading stopped: {}", reason(result)));
    } while (packet->stream_index != context_->index);

    return Packet{{packet->data, static_cast<std::size_t>(packet->size)},
                  (packet->flags & AV_PKT_FLAG_CORRUPT) != 0};
}

} // namespace kelvcpx::app
