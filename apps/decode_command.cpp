#include "decode_command.h"

#include "common/console.h"
#include "common/damage_log.h"
#include "common/errors.h"
#include "common/md5_output.h"
#include "common/png_output.h"
#include "common/progress.h"
#include "common/rotation.h"
#include "common/video_source.h"

#include <fmt/format.h>

#include <memory>
#include <vector>

namespace kelvcpx::app {

namespace {

using Outputs = std::vector<std::unique_ptr<PictureOutput>>;

void check(const DecodeOptions& options)
{
    if (options.md5)
        refuseToMix(options.output, std::string(OutputFile::standardOutput));
    refuseToOverwrite(options.input, options.output);
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
        : options_(options), damage_(console_), source_(options.input, damage_, options.settings),
          outputs_(makeOutputs(options))
    {
        if (options.rotation)
            rotation_.emplace(*options.rotation);
    }

    int execute()
    {
        const PictureSink sink = [this](const PictureView& picture) { take(picture); };
        while (!done() && source_.read(sink)) {
        }
        for (const auto& output : outputs_)
            output->finish();
        return conclude();
    }

private:
    bool done() const { return options_.frames && progress_.pictures() >= *options_.frames; }

    void take(PictureView picture)
    {
        if (done())
            return;
        if (rotation_)
            picture = rotation_->apply(picture);
        for (const auto& output : outputs_)
            output->write(picture);
        progress_.count();
        if (console_.progressIsDue())
            console_.progress(progress_.summary());
    }

    int conclude()
    {
        damage_.summarise();
        if (progress_.pictures() == 0) {
            console_.message(fmt::format("{}: no picture could be decoded", options_.input));
            return exitFailure;
        }
        if (outputs_.empty() || console_.isTerminal())
            console_.message(progress_.summary());
        return damage_.count() > 0 ? exitFailure : exitOk;
    }

    const DecodeOptions& options_;
    Console console_;
    DamageLog damage_;
    VideoSource source_;
    Outputs outputs_;
    std::optional<Rotation> rotation_;
    Progress progress_;
};

} // namespace

int runDecode(const DecodeOptions& options)
{
    check(options);
    return DecodeRun(options).execute();
}

} // namespace kelvcpx::app
