// The `kelvcpx` command: its command line and its exit codes.
#include "codecs.h"
#include "common/console.h"
#include "common/errors.h"
#include "common/output_file.h"
#include "decode_command.h"
#include "encode_command.h"
#include "info_command.h"
#include "preview_command.h"

#include <kelvcpx/core.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <charconv>
#include <csignal>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace {

using namespace kelvcpx::app;

using Command = std::function<int()>;

constexpr auto exitCodes =
    "Exit codes: 0 everything went well, without damage in the input, 1 damage was concealed or the\n"
    "command failed, 2 the command line is wrong.";

constexpr auto inputHelp = "Elementary stream or container with a video stream; - is standard input";

// The number that the whole text is, if it is one.
template <class Number>
std::optional<Number> numberIn(const std::string& text)
{
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isNumber = error == std::errc() && end == text.data() + text.size();
    return isNumber ? std::optional(number) : std::nullopt;
}

// Says what is wrong with a number of pictures, or nothing.
std::string checkCount(const std::string& text)
{
    return numberIn<int64_t>(text) > 0 ? "" : fmt::format("{} is not a whole number above 0", text);
}

// Says what is wrong with a number of seconds, or nothing.
std::string checkSeconds(const std::string& text)
{
    return numberIn<double>(text) >= 0.0 ? "" : fmt::format("{} is not a number of seconds", text);
}

// Replaces a rate with a unit, 1500k or 1.5M, by whole bits a second. Says what is wrong with it, or nothing.
std::string readRate(std::string& text)
{
    double rate = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, rate);
    const std::string_view unit(end, static_cast<std::size_t>(last - end));
    const double factor = unit.empty() ? 1 : unit == "k" ? 1e3 : unit == "M" ? 1e6 : 0;
    constexpr double most = 1e12;
    if (error != std::errc() || factor == 0 || !(rate > 0) || rate * factor > most)
        return fmt::format("{} is not a number of bits a second", text);
    text = fmt::format("{:.0f}", rate * factor);
    return "";
}

void addInfo(CLI::App& app, Command& command)
{
    CLI::App* info = app.add_subcommand("info", "Say what a video file contains");
    auto input = std::make_shared<std::string>();
    info->add_option("INPUT", *input, inputHelp)->required()->type_name("");
    info->callback([&command, input] { command = [input] { return runInfo(*input); }; });
}

void addDecode(CLI::App& app, Command& command)
{
    CLI::App* decode = app.add_subcommand(
        "decode", "Decode a video stream; without an output, only tell how long that takes");
    auto options = std::make_shared<DecodeOptions>();
    auto format = std::make_shared<std::string>();
    decode->add_option("INPUT", options->input, inputHelp)->required()->type_name("");
    decode->add_option("-o,--output", options->output, "File for the decoded video; - is standard output")
        ->type_name("FILE");
    decode->add_option("--format", *format, "y4m (YUV4MPEG2) or yuv (planes only); default by FILE's name")
        ->check(CLI::IsMember({"y4m", "yuv"}).description(""))
        ->type_name("FORMAT");
    decode->add_option("--frames", options->frames, "Stop after N pictures")
        ->check(checkCount)
        ->type_name("N");
    decode->add_flag("--md5", options->md5, "Print the number and the MD5 of every picture");
    decode->add_option("--png", options->pngFolder, "Write every picture as DIR/picture-NNNNN.png")
        ->type_name("DIR");
    decode
        ->add_option("--rotate", options->rotation,
                     "Turn pictures of 4:2:2 clockwise by DEGREES and write 4:2:0")
        ->check(CLI::IsMember({0, 90, 180, 270}).description(""))
        ->type_name("DEGREES");
    decode->add_flag("--postprocess", options->settings.postprocess,
                     "H.263, MPEG-4: smooth block edges and ringing in what is shown");
    decode->add_option("--zoom", options->settings.zoom, "DV: pictures of 1/2, 1/4 or 1/8 of the size")
        ->check(CLI::IsMember({2, 4, 8}).description(""))
        ->type_name("2|4|8");
    decode
        ->add_option("--deinterlace", options->settings.deinterlaceWeight,
                     "DV: mix lines with their neighbours; WEIGHT of 256 is left of the line itself")
        ->check(CLI::Range(0, 256).description(""))
        ->type_name("WEIGHT");
    decode->callback([&command, options, format] {
        if (!format->empty())
            options->format = *format == "yuv" ? PlanarFormat::yuv : PlanarFormat::y4m;
        command = [options] { return runDecode(*options); };
    });
}

void addEncode(CLI::App& app, Command& command)
{
    CLI::App* encode = app.add_subcommand("encode", "Encode a video; what is compressed is decoded first");
    auto options = std::make_shared<EncodeOptions>();
    EncoderSettings& settings = options->settings;
    encode
        ->add_option("INPUT", options->input, "Y4M file or another container with video; - is standard input")
        ->required()
        ->type_name("");
    encode->add_option("-c,--codec", options->codec, "What to encode to")
        ->required()
        ->check(CLI::IsMember(encoderNames()))
        ->type_name("CODEC");
    encode->add_option("-o,--output", options->output, "File for the elementary stream; - is standard output")
        ->required()
        ->type_name("FILE");
    encode->add_option("--qp", settings.qp, "Constant quantiser, in the units of the standard")
        ->type_name("N");
    encode->add_option("--bitrate", settings.bitRate, "Bits a second to keep to: 1500000, 1500k or 1.5M")
        ->transform(CLI::Validator(readRate, ""))
        ->type_name("B");
    encode
        ->add_option("--gop,--intra-period", settings.groupSize,
                     "Pictures from one intra picture to the next")
        ->check(checkCount)
        ->type_name("N");
    encode->add_option("--bframes", settings.bFrames, "B pictures in a row")->type_name("N");
    encode->add_flag("--high", settings.high, "H.264: High profile, with the 8x8 transform");
    encode->add_option("--frames", options->frames, "Stop after N pictures")
        ->check(checkCount)
        ->type_name("N");
    encode->add_option("--recon", options->reconstruction, "File for the pictures as a decoder will see them")
        ->type_name("FILE");
    encode->callback([&command, options] { command = [options] { return runEncode(*options); }; });
}

void addPreview(CLI::App& app, Command& command)
{
    CLI::App* preview = app.add_subcommand("preview", "Draw a contact sheet of a video");
    auto options = std::make_shared<PreviewOptions>();
    preview->add_option("INPUT", options->input, inputHelp)->required()->type_name("");
    preview->add_option("-o,--output", options->output, "PNG file for the sheet; - is standard output")
        ->required()
        ->type_name("FILE");
    preview->add_option("--every", options->every, "Show a picture every so many seconds (1)")
        ->check(checkSeconds)
        ->type_name("SECONDS");
    preview->add_option("--scale", options->scale, "Pictures of 1/2, 1/4 (default) or 1/8 of the size")
        ->check(CLI::IsMember({2, 4, 8}).description(""))
        ->type_name("2|4|8");
    preview->callback([&command, options] { command = [options] { return runPreview(*options); }; });
}

int report(const std::string& message, int exitCode)
{
    Console().message(message);
    return exitCode;
}

// Finds the command in the arguments and runs it.
int run(int argc, char** argv)
{
    CLI::App app("Decodes and encodes video with the primitives of the kelvcpx library.", "kelvcpx");
    app.footer(exitCodes);
    app.require_subcommand(1);
    app.set_version_flag("--version", fmt::format("kelvcpx {}", kelvcGetLibVersion()->versionText));
    Command command;
    addInfo(app, command);
    addDecode(app, command);
    addEncode(app, command);
    addPreview(app, command);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? exitOk : exitUsage;
    }
    return command();
}

} // namespace

int main(int argc, char** argv)
{
    // A reader that goes away is noticed by the write that fails.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return run(argc, argv);
    } catch (const OutputClosed&) {
        return exitFailure;
    } catch (const UsageError& error) {
        return report(error.what(), exitUsage);
    } catch (const std::bad_alloc&) {
        return report("there is not enough memory for this video", exitFailure);
    } catch (const std::exception& error) {
        return report(error.what(), exitFailure);
    }
}
