#include "encode_command.h"

#include "codecs.h"
#include "common/console.h"
#include "common/damage_log.h"
#include "common/errors.h"
#include "common/planar_output.h"
#include "common/progress.h"
#include "common/video_source.h"

#include <fmt/format.h>

#include <memory>

namespace kelvcpx::app {
namespace {

void check(const EncodeOptions& options)
{
    if (options.settings.qp && options.settings.bitRate)
        throw UsageError("--qp and --bitrate exclude each other");
    refuseToMix(options.output, options.reconstruction);
    refuseToOverwrite(options.input, options.output);
    refuseToOverwrite(options.input, options.reconstruction);
}

// Encodes one video from its first picture to its last, or as many pictures as were asked for.
class EncodeRun
{
public:
    explicit EncodeRun(const EncodeOptions& options)
        : options_(options), damage_(console_), source_(options.input, damage_)
    {
        output_.bytes = [this](std::span<const uint8_t> bytes) { write(bytes); };
        if (options.reconstruction.empty())
            return;
        reconstruction_.emplace(options.reconstruction, planarFormatOf(options.reconstruction));
        output_.reconstruction = [this](const PictureView& picture) { reconstruction_->write(picture); };
    }

    int execute()
    {
        const PictureSink sink = [this](const PictureView& picture) { take(picture); };
        while (!done() && source_.read(sink)) {
        }
        if (encoder_ == nullptr) {
            console_.message(fmt::format("{}: there is no picture to encode", options_.input));
            return exitFailure;
        }
        finish();
        damage_.summarise();
        if (console_.isTerminal())
            console_.message(summary());
        return damage_.count() > 0 ? exitFailure : exitOk;
    }

private:
    bool done() const { return options_.frames && progress_.pictures() >= *options_.frames; }

    void take(const PictureView& picture)
    {
        if (done())
            return;
        if (encoder_ == nullptr) {
            format_ = picture.format;
            encoder_ = makeEncoder(options_.codec, format_, options_.settings);
            file_.emplace(options_.output);
        }
        if (!sameShape(picture.format, format_)) {
            finish();
            throw InputError(fmt::format("the pictures change from {} to {}, which one stream cannot hold; "
                                         "those before the change are encoded",
                                         shapeOf(format_), shapeOf(picture.format)));
        }
        encoder_->encode(picture, output_);
        progress_.count();
        if (console_.progressIsDue())
            console_.progress(summary());
    }

    void finish()
    {
        encoder_->flush(output_);
        file_->close();
        if (reconstruction_)
            reconstruction_->finish();
    }

    void write(std::span<const uint8_t> bytes)
    {
        file_->write(bytes);
        bytes_ += bytes.size();
    }

    std::string summary() const { return fmt::format("{}, {} bytes", progress_.summary(), bytes_); }

    const EncodeOptions& options_;
    Console console_;
    DamageLog damage_;
    VideoSource source_;
    VideoFormat format_;
    std::unique_ptr<VideoEncoder> encoder_; // made when the first picture comes
    EncoderOutput output_;
    std::optional<OutputFile> file_;
    std::optional<PlanarOutput> reconstruction_;
    Progress progress_;
    std::size_t bytes_ = 0;
};

} // namespace

int runEncode(const EncodeOptions& options)
{
    check(options);
    return EncodeRun(options).execute();
}

} // namespace kelvcpx::app
