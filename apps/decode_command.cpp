#include "decode_command.h"

#include "codecs.h"
#include "common/console.h"
#include "common/damage_log.h"
#include "common/demuxer.h"
#include "common/errors.h"
#include "common/md5_output.h"
#include "common/png_output.h"

#include <fmt/format.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

namespace kelvcpx::app {

namespace {

using Outputs = std::vector<std::unique_ptr<PictureOutput>>;

void check(const DecodeOptions& options)
{
    if (options.md5 && options.output == OutputFile::standardOutput)
        throw UsageError("--md5 and -o - both want standard output");
    std::error_code notThere; // which is fine: then it is not the input
    if (!options.output.empty() && std::filesystem::equivalent(options.input, options.output, notThere))
        throw UsageError(fmt::format("{} is the input: it will not be overwritten", options.output));
}

Outputs makeOutputs(const DecodeOptions& options)
{
    Outputs outputs;
    if (!options.output.empty())
        outputs.push_back(std::make_unique<PlanarOutput>(
            options.output, options.format.value_or(planarFormatOf(options.output))));
    if (options.md5)
        outputs.push_back(std::make_unique<Md5Output>(std::string(OutputFile::standardOutput)));
    if (!options.pngFolder.empty())
        outputs.push_back(std::make_unique<PngOutput>(options.pngFolder));
    return outputs;
}

// Decodes one stream from its first packet to its last, or to as many pictures as were asked for.
class DecodeRun
{
public:
    explicit DecodeRun(const DecodeOptions& options)
        : options_(options), damage_(console_), demuxer_(options.input),
          decoder_(makeDecoder(demuxer_.stream(), damage_)), outputs_(makeOutputs(options))
    {}

    int execute()
    {
        const PictureSink sink = [this](const PictureView& picture) { take(picture); };
        while (!done()) {
            const auto packet = readPacket();
            if (!packet)
                break;
            decoder_->decode(packet->data, sink);
        }
        if (!done())
            decoder_->flush(sink);
        for (const auto& output : outputs_)
            output->finish();
        return conclude();
    }

private:
    bool done() const { return options_.frames && pictures_ >= *options_.frames; }

    // A file that breaks off is damaged, but what came before is still worth showing.
    std::optional<Packet> readPacket()
    {
        try {
            auto packet = demuxer_.read();
            if (packet && packet->damaged)
                damage_.damaged(fmt::format("the container lost data near picture {}", pictures_));
            return packet;
        } catch (const InputError& error) {
            damage_.damaged(error.what());
            return std::nullopt;
        }
    }

    void take(PictureView picture)
    {
        if (done())
            return;
        // What the stream leaves open, the container may know.
        if (picture.format.frameRate.numerator == 0)
            picture.format.frameRate = demuxer_.stream().frameRate;
        if (picture.format.sampleAspect.numerator == 0)
            picture.format.sampleAspect = demuxer_.stream().sampleAspect;
        for (const auto& output : outputs_)
            output->write(picture);
        pictures_++;
        if (console_.progressIsDue())
            console_.progress(summary());
    }

    std::string summary() const
    {
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start_;
        return fmt::format("{} picture{} in {:.2f} s, {:.1f} a second", pictures_, pictures_ == 1 ? "" : "s",
                           elapsed.count(), static_cast<double>(pictures_) / elapsed.count());
    }

    int conclude()
    {
        damage_.summarise();
        if (pictures_ == 0) {
            console_.message(fmt::format("{}: no picture could be decoded", options_.input));
            return exitFailure;
        }
        if (outputs_.empty() || console_.isTerminal())
            console_.message(summary());
        return damage_.count() > 0 ? exitFailure : exitOk;
    }

    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    const DecodeOptions& options_;
    Console console_;
    DamageLog damage_;
    Demuxer demuxer_;
    std::unique_ptr<VideoDecoder> decoder_;
    Outputs outputs_;
    int64_t pictures_ = 0;
};

} // namespace

int runDecode(const DecodeOptions& options)
{
    check(options);
    return DecodeRun(options).execute();
}

} // namespace kelvcpx::app
