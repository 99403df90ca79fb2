#include "h261/decoder.h"

#include "h261/gob_decoder.h"

#include <fmt/format.h>

#include <array>
#include <string>
#include <utility>

namespace kelvcpx::app::h261 {
namespace {

constexpr uint8_t grey = 128;
constexpr std::size_t startCodeZeros = 15; // GBSC, and PSC, which is one with the GOB number 0
constexpr int32_t startCodeLength = 16;
constexpr int gobCount = 12; // their numbers start at 1

class Decoder : public VideoDecoder
{
public:
    explicit Decoder(DamageListener& listener) : listener_(listener) {}

    void decode(std::span<const uint8_t> packet, const PictureSink& sink) override;
    void flush(const PictureSink&) override {}
    std::vector<Property> describe() const override;

private:
    void startPicture(CodeReader& reader);
    void decodeGob(CodeReader& reader, int number);
    void finishPicture(const PictureSink& sink);
    void prepareFrames();
    bool isCif() const { return format_.width == 352; }
    bool hasGob(int number) const { return isCif() || (number % 2 == 1 && number <= 5); }
    void report(const std::string& message);

    DamageListener& listener_;
    PaddedBytes bytes_;
    VideoFormat format_;
    int64_t pictureCount_ = 0;
    bool decoding_ = false;
    std::array<bool, gobCount + 1> present_{}; // by GOB number
    std::unique_ptr<PaddedFrame> reference_;   // the picture before; null if there is none
    std::unique_ptr<PaddedFrame> target_;
};

// Start codes are not aligned to bytes.
void Decoder::decode(std::span<const uint8_t> packet, const PictureSink& sink)
{
    bytes_.assign(packet);
    const std::size_t end = 8 * bytes_.size();
    std::size_t at = findZeros(bytes_, 0, end, startCodeZeros);
    if (at == end && !packet.empty())
        report("there is no picture in a packet");
    while (at < end) {
        const std::size_t next = findZeros(bytes_, at + startCodeLength, end, startCodeZeros);
        CodeReader reader(bytes_, at + startCodeLength, next);
        try {
            const int number = reader.readInt(4);
            if (number == 0) {
                finishPicture(sink);
                startPicture(reader);
            } else if (decoding_) {
                decodeGob(reader, number);
            }
        } catch (const DamagedUnit& damage) {
            report(damage.what());
        }
        at = next;
    }
    finishPicture(sink);
}

// 4.2.1.
void Decoder::startPicture(CodeReader& reader)
{
    pictureCount_++;
    reader.skip(5); // TR
    reader.skip(3); // split screen, document camera, freeze picture release
    const bool cif = reader.readFlag();
    reader.skip(2);           // still image mode, spare
    while (reader.readFlag()) // PEI, PSPARE
        reader.skip(8);
    if (reader.pastEnd())
        throw DamagedUnit("a picture header is cut off");
    format_.width = cif ? 352 : 176;
    format_.height = cif ? 288 : 144;
    format_.sampleAspect = {12, 11};
    format_.chromaSiting = ChromaSiting::centre;
    prepareFrames();
    present_.fill(false);
    decoding_ = true;
}

void Decoder::decodeGob(CodeReader& reader, int number)
{
    if (number > gobCount || !hasGob(number))
        throw DamagedUnit("a GOB lies outside of the picture");
    present_[static_cast<std::size_t>(number)] = true;
    GobDecoder(*reference_, *target_).decode(reader, number);
}

void Decoder::finishPicture(const PictureSink& sink)
{
    if (!std::exchange(decoding_, false))
        return;
    int missing = 0;
    for (int number = 1; number <= gobCount; number++)
        if (hasGob(number) && !present_[static_cast<std::size_t>(number)]) {
            missing++;
            GobDecoder(*reference_, *target_).copy(number, 0, macroblocksInGob);
        }
    if (missing > 0)
        report(fmt::format("{} of {} groups of blocks are missing and were concealed", missing,
                           isCif() ? gobCount : 3));
    target_->expand();
    sink(target_->view());
    std::swap(reference_, target_);
}

void Decoder::prepareFrames()
{
    if (target_ == nullptr || target_->format().width != format_.width)
        target_ = std::make_unique<PaddedFrame>(format_);
    if (reference_ != nullptr && reference_->format().width == format_.width)
        return;
    reference_ = std::make_unique<PaddedFrame>(format_); // no picture says whether it refers to another one
    reference_->fill(grey);
}

std::vector<Property> Decoder::describe() const
{
    if (format_.width == 0)
        return {};
    return {{"Standard", "H.261 (ITU-T H.261)"},
            {"Size", fmt::format("{}x{}", format_.width, format_.height)},
            {"Format", isCif() ? "CIF" : "QCIF"}};
}

void Decoder::report(const std::string& message)
{
    listener_.damaged(fmt::format("coded picture {}: {}", pictureCount_, message));
}

} // namespace

std::unique_ptr<VideoDecoder> makeDecoder(DamageListener& listener, const DecoderSettings&)
{
    return std::make_unique<Decoder>(listener);
}

} // namespace kelvcpx::app::h261
