#include "info_command.h"

#include "codecs.h"
#include "common/demuxer.h"
#include "common/errors.h"
#include "common/output_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace kelvcpx::app {

namespace {

// Damage is for `kelvcpx decode` to report.
class Silence : public DamageListener
{
public:
    void damaged(const std::string&) override {}
};

std::string formatDuration(double seconds)
{
    const auto hundredths = std::llround(seconds * 100);
    return fmt::format("{}:{:02}:{:02}.{:02}", hundredths / 360000, hundredths / 6000 % 60,
                       hundredths / 100 % 60, hundredths % 100);
}

std::string formatRate(const Rational& rate)
{
    const double value = static_cast<double>(rate.numerator) / static_cast<double>(rate.denominator);
    if (rate.denominator == 1)
        return fmt::format("{} pictures a second", rate.numerator);
    return fmt::format("{:.3f} pictures a second ({}/{})", value, rate.numerator, rate.denominator);
}

std::string formatBitRate(double bitsPerSecond)
{
    if (bitsPerSecond >= 1e6)
        return fmt::format("{:.2f} Mbit/s", bitsPerSecond / 1e6);
    return fmt::format("{:.0f} kbit/s", bitsPerSecond / 1e3);
}

void describeStream(const VideoStream& stream, std::vector<Property>& lines)
{
    lines.emplace_back("Container", stream.container);
    lines.emplace_back("Codec", stream.codecTitle);
    if (!stream.profile.empty())
        lines.emplace_back("Profile", stream.profile);
    if (stream.width > 0)
        lines.emplace_back("Size", fmt::format("{}x{}", stream.width, stream.height));
    if (stream.sampleAspect.numerator > 0)
        lines.emplace_back("Sample aspect", fmt::format("{}:{}", stream.sampleAspect.numerator,
                                                        stream.sampleAspect.denominator));
    if (stream.frameRate.numerator > 0)
        lines.emplace_back("Frame rate", formatRate(stream.frameRate));
    if (stream.duration)
        lines.emplace_back("Duration", formatDuration(*stream.duration));
    if (stream.bitRate)
        lines.emplace_back("Bit rate", formatBitRate(static_cast<double>(*stream.bitRate)) + " (whole file)");
}

// What has been read of the stream.
struct Length {
    int64_t pictures = 0;
    int64_t bytes = 0;

    void add(const Packet& packet)
    {
        pictures++;
        bytes += static_cast<int64_t>(packet.data.size());
    }
};

// An elementary stream does not say how long it is: count its pictures.
void describeLength(Demuxer& demuxer, Length length, std::vector<Property>& lines)
{
    while (const auto packet = demuxer.read())
        length.add(*packet);
    lines.emplace_back("Coded pictures", fmt::format("{}", length.pictures));
    const Rational rate = demuxer.stream().frameRate;
    if (rate.numerator == 0 || length.pictures == 0)
        return;
    const double seconds =
        static_cast<double>(length.pictures * rate.denominator) / static_cast<double>(rate.numerator);
    lines.emplace_back("Duration", formatDuration(seconds));
    lines.emplace_back("Bit rate", formatBitRate(static_cast<double>(length.bytes) * 8 / seconds));
}

// What the stream's own headers say goes for what the container says about the same thing.
void merge(const std::vector<Property>& properties, std::vector<Property>& lines)
{
    for (const Property& property : properties) {
        const auto same = std::find_if(lines.begin(), lines.end(),
                                       [&](const Property& line) { return line.first == property.first; });
        if (same == lines.end())
            lines.push_back(property);
        else
            same->second = property.second;
    }
}

// What there is to say of uncompressed pictures.
void describeSamples(Demuxer& demuxer, std::vector<Property>& lines)
{
    const VideoFormat& format = *demuxer.stream().raw;
    lines.emplace_back("Chroma", nameOf(format.chroma));
    lines.emplace_back("Bit depth", fmt::format("{}", format.bitDepth));
    if (!demuxer.stream().duration)
        describeLength(demuxer, {}, lines);
}

void describeHeaders(Demuxer& demuxer, std::vector<Property>& lines)
{
    Silence silence;
    const auto decoder = makeDecoder(demuxer.stream(), silence);
    Length length;
    bool decoded = false;
    // The headers come before the first picture; a stream that begins in the middle has them a little later.
    constexpr int64_t patience = 100;
    while (!decoded && length.pictures < patience) {
        const auto packet = demuxer.read();
        if (!packet)
            break;
        length.add(*packet);
        decoder->decode(packet->data, [&](const PictureView&) { decoded = true; });
    }
    if (!demuxer.stream().duration)
        describeLength(demuxer, length, lines);
    merge(decoder->describe(), lines);
}

std::string aligned(const std::vector<Property>& lines)
{
    std::size_t width = 0;
    for (const auto& [label, value] : lines)
        width = std::max(width, label.size());
    std::string text;
    for (const auto& [label, value] : lines)
        text += fmt::format("{:<{}}  {}\n", label, width, value);
    return text;
}

void print(const std::vector<Property>& lines)
{
    OutputFile output{std::string(OutputFile::standardOutput)};
    output.write(aligned(lines));
    output.close();
}

} // namespace

int runInfo(const std::string& input)
{
    Demuxer demuxer(input);
    std::vector<Property> lines;
    describeStream(demuxer.stream(), lines);
    try {
        if (demuxer.stream().raw)
            describeSamples(demuxer, lines);
        else
            describeHeaders(demuxer, lines);
    } catch (const std::runtime_error&) { // what is known is worth showing all the same
        print(lines);
        throw;
    }
    print(lines);
    return exitOk;
}

} // namespace kelvcpx::app
