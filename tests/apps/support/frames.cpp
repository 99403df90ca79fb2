#include "apps/support/frames.h"

#include "apps/support/process.h"

#include "codecs.h"
#include "common/demuxer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace kelvcpx::test {

using namespace kelvcpx::app;

namespace {

// "420jpeg", "422p10", "mono": the chroma format and the depth of a Y4M colour space.
void parseColourSpace(std::string_view name, VideoFormat& format)
{
    constexpr std::pair<std::string_view, ChromaFormat> formats[] = {{"mono", ChromaFormat::monochrome},
                                                                     {"411", ChromaFormat::yuv411},
                                                                     {"420", ChromaFormat::yuv420},
                                                                     {"422", ChromaFormat::yuv422},
                                                                     {"444", ChromaFormat::yuv444}};
    const auto* entry = std::find_if(std::begin(formats), std::end(formats), [&](const auto& candidate) {
        return name.starts_with(candidate.first);
    });
    if (entry == std::end(formats))
        throw std::runtime_error("unknown Y4M colour space " + std::string(name));
    format.chroma = entry->second;
    name.remove_prefix(entry->first.size());
    if (name.starts_with('p') && name != "paldv")
        name.remove_prefix(1);
    if (!name.empty() && name.front() >= '0' && name.front() <= '9')
        format.bitDepth = std::stoi(std::string(name));
}

Rational parseRatio(const std::string& text)
{
    const std::size_t colon = text.find(':');
    return {std::stoll(text.substr(0, colon)), std::stoll(text.substr(colon + 1))};
}

VideoFormat parseHeader(const std::string& header)
{
    VideoFormat format;
    for (const std::string& word : words(header)) {
        const std::string value = word.substr(1);
        switch (word[0]) {
        case 'W':
            format.width = std::stoi(value);
            break;
        case 'H':
            format.height = std::stoi(value);
            break;
        case 'F':
            format.frameRate = parseRatio(value);
            break;
        case 'A':
            format.sampleAspect = parseRatio(value);
            break;
        case 'I':
            format.fieldOrder = value == "t"   ? FieldOrder::topFirst
                                : value == "b" ? FieldOrder::bottomFirst
                                               : FieldOrder::progressive;
            break;
        case 'C':
            parseColourSpace(value, format);
            break;
        default:
            break;
        }
    }
    return format;
}

std::size_t planeBytes(const VideoFormat& format, int plane)
{
    return static_cast<std::size_t>(planeWidth(format, plane)) *
           static_cast<std::size_t>(planeHeight(format, plane)) *
           static_cast<std::size_t>(format.bytesPerSample());
}

// Samples of a plane, whatever their depth.
class Samples
{
public:
    Samples(const Frame& frame, std::size_t plane)
        : bytes_(frame.planes[plane]), wide_(frame.format.bytesPerSample() == 2)
    {}

    std::size_t size() const { return wide_ ? bytes_.size() / 2 : bytes_.size(); }
    int operator[](std::size_t i) const { return wide_ ? bytes_[2 * i] | bytes_[2 * i + 1] << 8 : bytes_[i]; }

private:
    const std::vector<uint8_t>& bytes_;
    bool wide_;
};

double planePsnr(const Frame& frame, const Frame& reference, std::size_t plane)
{
    const Samples a(frame, plane);
    const Samples b(reference, plane);
    double squares = 0;
    for (std::size_t i = 0; i < a.size(); i++)
        squares += static_cast<double>((a[i] - b[i]) * (a[i] - b[i]));
    if (squares == 0)
        return std::numeric_limits<double>::infinity();
    const double peak = (1 << frame.format.bitDepth) - 1;
    return 10 * std::log10(peak * peak * static_cast<double>(a.size()) / squares);
}

void describeDifference(const Frame& frame, const Frame& expected, std::size_t plane, std::ostream& out)
{
    const Samples a(frame, plane);
    const Samples b(expected, plane);
    const auto width = static_cast<std::size_t>(planeWidth(frame.format, static_cast<int>(plane)));
    std::size_t count = 0;
    for (std::size_t i = 0; i < a.size(); i++) {
        if (a[i] == b[i])
            continue;
        if (count++ == 0)
            out << "plane " << plane << " at (" << i % width << ", " << i / width << "): " << a[i]
                << ", expected " << b[i];
    }
    if (count > 0)
        out << "; " << count << " of " << a.size() << " samples differ\n";
}

// Collects what a decoder has to show and to say.
class Collector : public DamageListener
{
public:
    explicit Collector(const VideoStream& stream, const DecoderSettings& settings = {})
        : decoder_(makeDecoder(stream, *this, settings))
    {}

    void damaged(const std::string& message) override { result_.damage.push_back(message); }
    void decode(std::span<const uint8_t> packet) { decoder_->decode(packet, sink_); }

    DecodedStream finish()
    {
        decoder_->flush(sink_);
        return std::move(result_);
    }

private:
    DecodedStream result_;
    const PictureSink sink_ = [this](const PictureView& picture) {
        result_.frames.push_back(copyOf(picture));
    };
    const std::unique_ptr<VideoDecoder> decoder_;
};

} // namespace

int planeWidth(const VideoFormat& format, int plane)
{
    const int shift = plane > 0 ? chromaShiftX(format.chroma) : 0;
    return (format.width + (1 << shift) - 1) >> shift;
}

int planeHeight(const VideoFormat& format, int plane)
{
    const int shift = plane > 0 ? chromaShiftY(format.chroma) : 0;
    return (format.height + (1 << shift) - 1) >> shift;
}

Frame copyOf(const PictureView& picture)
{
    Frame frame{picture.format, {}};
    const auto bytesPerSample = static_cast<std::size_t>(picture.format.bytesPerSample());
    for (std::size_t p = 0; p < static_cast<std::size_t>(picture.format.planeCount()); p++) {
        const PlaneView& plane = picture.planes[p];
        for (int y = 0; y < plane.height; y++) {
            const uint8_t* row = plane.samples + y * plane.step;
            frame.planes[p].insert(frame.planes[p].end(), row,
                                   row + static_cast<std::size_t>(plane.width) * bytesPerSample);
        }
    }
    return frame;
}

PictureView viewOf(const Frame& frame)
{
    PictureView picture{frame.format, {}};
    for (int p = 0; p < frame.format.planeCount(); p++) {
        const int width = planeWidth(frame.format, p);
        picture.planes[static_cast<std::size_t>(p)] = {frame.planes[static_cast<std::size_t>(p)].data(),
                                                       std::ptrdiff_t{width} * frame.format.bytesPerSample(),
                                                       width, planeHeight(frame.format, p)};
    }
    return picture;
}

std::vector<Frame> parseY4m(const std::string& bytes)
{
    std::size_t at = bytes.find('\n');
    if (!bytes.starts_with("YUV4MPEG2 ") || at == std::string::npos)
        throw std::runtime_error("not a Y4M stream");
    const VideoFormat format = parseHeader(bytes.substr(0, at++).substr(10));
    std::vector<Frame> frames;
    while (at < bytes.size()) {
        const std::size_t end = bytes.find('\n', at);
        if (bytes.compare(at, 5, "FRAME") != 0 || end == std::string::npos)
            throw std::runtime_error("a Y4M frame header is missing");
        at = end + 1;
        Frame frame{format, {}};
        for (int p = 0; p < format.planeCount(); p++) {
            const std::size_t size = planeBytes(format, p);
            if (bytes.size() - at < size)
                throw std::runtime_error("a Y4M frame is incomplete");
            const auto* first = reinterpret_cast<const uint8_t*>(bytes.data() + at);
            frame.planes[static_cast<std::size_t>(p)].assign(first, first + size);
            at += size;
        }
        frames.push_back(std::move(frame));
    }
    return frames;
}

DecodedStream decodeInProcess(const std::filesystem::path& path, const app::DecoderSettings& settings)
{
    Demuxer demuxer(path.string());
    Collector collector(demuxer.stream(), settings);
    while (const auto packet = demuxer.read())
        collector.decode(packet->data);
    return collector.finish();
}

DecodedStream decodeInProcess(const std::string& codec, std::span<const uint8_t> bytes)
{
    VideoStream stream;
    stream.codec = codec;
    Collector collector(stream);
    collector.decode(bytes);
    return collector.finish();
}

std::array<double, 3> psnr(const Frame& frame, const Frame& reference)
{
    if (!sameShape(frame.format, reference.format))
        throw std::runtime_error("pictures of different size or kind of samples");
    return {planePsnr(frame, reference, 0), planePsnr(frame, reference, 1), planePsnr(frame, reference, 2)};
}

std::string differences(const Frame& frame, const Frame& expected)
{
    if (!sameShape(frame.format, expected.format))
        return "different size or kind of samples";
    std::ostringstream out;
    for (std::size_t plane = 0; plane < 3; plane++)
        describeDifference(frame, expected, plane, out);
    return out.str();
}

} // namespace kelvcpx::test
