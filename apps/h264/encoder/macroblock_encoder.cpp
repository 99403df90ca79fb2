#include "h264/encoder/macroblock_encoder.h"

#include "h264/encoder/bits.h"
#include "h264/encoder/intra_coder.h"
#include "h264/encoder/picture_state.h"

#include <kelvcpx/metrics.h>

#include <algorithm>
#include <limits>

namespace kelvcpx::app::h264::encoder {
namespace {

// What a macroblock layer may take (A.3.1), 128 bits beside the samples.
constexpr int mostBits = 128 + pcmBits;

} // namespace

MacroblockEncoder::MacroblockEncoder(const Task& task, BitWriter& bits)
    : task_(task), bits_(bits), lambda_(task.qp), residual_(task.qp)
{}

void MacroblockEncoder::encode(int address)
{
    address_ = address;
    samples_.emplace(task_.source, task_.picture.target, address % task_.picture.widthInMbs,
                     address / task_.picture.widthInMbs);
    bestCost_ = std::numeric_limits<double>::infinity();
    if (isP())
        tryInter();
    else
        tryIntra(std::numeric_limits<int>::max());
    if (lambda_.cost(0, pcmBits) < bestCost_)
        writePcm();
    else
        write();
}

void MacroblockEncoder::tryInter()
{
    const InterCoder coder(task_.picture, *task_.reference, lambda_, address_, *samples_);
    if (std::optional<CodedMacroblock> macroblock = coder.skipMotion()) {
        if (!tryMotion(coder, *macroblock)) {
            // Nothing can be better than to skip what needs no residual.
            macroblock->skipped = true;
            consider(*macroblock);
            return;
        }
        macroblock->skipped = true;
        coder.predictLuma(*macroblock);
        coder.predictChroma(*macroblock);
        consider(*macroblock);
    }
    const InterCoder::Choice whole = coder.chooseWhole();
    tryMotion(coder, whole.macroblock);
    const InterCoder::Choice parts = coder.chooseParts(whole.macroblock.vectors[0]);
    if (parts.cost < whole.cost)
        tryMotion(coder, parts.macroblock);
    tryIntra(std::min(whole.cost, parts.cost));
}

// Codes the residual of the motion. False if there is none.
bool MacroblockEncoder::tryMotion(const InterCoder& coder, CodedMacroblock macroblock)
{
    coder.predictChroma(macroblock);
    if (!residual_.codeChroma(*samples_, macroblock))
        return true;
    coder.predictLuma(macroblock);
    if (residual_.codeInter4x4(*samples_, macroblock)) {
        consider(macroblock);
        if (macroblock.codedBlockPattern() == 0)
            return false;
    }
    if (!task_.transform8x8)
        return true;
    coder.predictLuma(macroblock);
    if (residual_.codeInter8x8(*samples_, macroblock) && macroblock.lumaPattern != 0)
        consider(macroblock);
    return true;
}

// `costToBeat` is that of the best motion. The prediction of the whole is often twice as far off as that of
// small blocks.
void MacroblockEncoder::tryIntra(int costToBeat)
{
    const IntraCoder coder(task_.picture, residual_, lambda_, address_, *samples_);
    CodedMacroblock macroblock;
    macroblock.kind = MbKind::intra16x16;
    const int difference = coder.predict16x16(macroblock);
    if (difference / 2 > costToBeat)
        return;
    coder.predictChroma(macroblock);
    if (!residual_.codeChroma(*samples_, macroblock))
        return;
    if (coder.code16x16(macroblock))
        consider(macroblock);
    macroblock.kind = MbKind::intra4x4;
    if (coder.code4x4(macroblock))
        consider(macroblock);
    if (!task_.transform8x8)
        return;
    macroblock.kind = MbKind::intra8x8;
    macroblock.transform8x8 = true;
    if (coder.code8x8(macroblock))
        consider(macroblock);
}

// The picture holds what the macroblock is reconstructed as.
void MacroblockEncoder::consider(const CodedMacroblock& macroblock)
{
    BitCounter counter;
    if (!macroblock.skipped) {
        if (isP())
            putUe(counter, 0); // mb_skip_run
        putMacroblock(counter, layerContext(), address_, macroblock);
    }
    if (counter.bits() > mostBits)
        return;
    const double cost = lambda_.cost(squaredError(), counter.bits());
    if (cost >= bestCost_)
        return;
    bestCost_ = cost;
    best_ = macroblock;
    bestSamples_.save(samples_->picture);
}

int64_t MacroblockEncoder::squaredError() const
{
    const auto& source = samples_->source;
    const auto& picture = samples_->picture;
    int32_t luma = 0;
    keliSqrDiff16x16_8u32s(source[0].samples, source[0].step, picture[0].samples, picture[0].step, 0, &luma);
    int64_t sum = luma;
    for (std::size_t i = 1; i < 3; i++) {
        int32_t chroma = 0;
        keliSSD8x8_8u32s_C1R(source[i].samples, source[i].step, picture[i].samples, picture[i].step, &chroma,
                             0);
        sum += chroma;
    }
    return sum;
}

void MacroblockEncoder::write()
{
    bestSamples_.restore(samples_->picture);
    BlockCounts counts{};
    if (best_.skipped) {
        skipRun_++;
    } else {
        endSkipRun();
        counts = putMacroblock(bits_, layerContext(), address_, best_);
    }
    remember(task_.picture, address_, best_, counts, task_.qp);
}

void MacroblockEncoder::writePcm()
{
    endSkipRun();
    putPcmHeader(bits_, isP());
    for (std::size_t i = 0; i < 3; i++) {
        const int size = i == 0 ? 16 : 8;
        for (int y = 0; y < size; y++)
            for (int x = 0; x < size; x++) {
                const uint8_t sample = *samples_->source[i].at(x, y).samples;
                bits_.put(sample, 8);
                *samples_->picture[i].at(x, y).samples = sample;
            }
    }
    CodedMacroblock macroblock;
    macroblock.kind = MbKind::pcm;
    BlockCounts counts;
    counts.fill(16);
    remember(task_.picture, address_, macroblock, counts, task_.qp);
}

// mb_skip_run comes before every macroblock of P slices that is not skipped.
void MacroblockEncoder::endSkipRun()
{
    if (isP())
        putUe(bits_, skipRun_);
    skipRun_ = 0;
}

void MacroblockEncoder::finish()
{
    if (skipRun_ > 0)
        endSkipRun();
}

} // namespace kelvcpx::app::h264::encoder
