#include "preview_command.h"

#include "common/console.h"
#include "common/contact_sheet.h"
#include "common/damage_log.h"
#include "common/errors.h"
#include "common/output_file.h"
#include "common/video_source.h"

#include <fmt/format.h>

#include <cstdint>

namespace kelvcpx::app {

namespace {

// Where the video does not say.
constexpr double assumedFrameRate = 25;

double secondsOf(int64_t pictures, const Rational& rate)
{
    if (rate.numerator == 0)
        return static_cast<double>(pictures) / assumedFrameRate;
    return static_cast<double>(pictures) * static_cast<double>(rate.denominator) /
           static_cast<double>(rate.numerator);
}

} // namespace

int runPreview(const PreviewOptions& options)
{
    refuseToOverwrite(options.input, options.output);
    Console console;
    DamageLog damage(console);
    VideoSource source(options.input, damage);
    ContactSheet sheet(options.scale);
    int64_t pictures = 0;
    double next = 0; // seconds
    const PictureSink sink = [&](const PictureView& picture) {
        if (secondsOf(pictures++, picture.format.frameRate) < next)
            return;
        sheet.add(picture);
        next += options.every;
    };
    while (source.read(sink)) {
    }
    damage.summarise();
    if (sheet.count() == 0) {
        console.message(fmt::format("{}: there is no picture to show at that size", options.input));
        return exitFailure;
    }
    sheet.write(options.output);
    return damage.count() > 0 ? exitFailure : exitOk;
}

} // namespace kelvcpx::app
