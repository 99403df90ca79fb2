// Damages streams as failing disks and transmissions do, and as nobody ever did, and decodes them.
#pragma once

#include "support/random.h"

#include "common/decoder.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace kelvcpx::test {

// A copy with a few faults: bits flipped, bytes overwritten, inserted, taken out or repeated, the end cut
// off. Bytes before `intact` stay as they are.
std::vector<uint8_t> damagedCopy(std::span<const uint8_t> stream, std::size_t intact, Random& random);

// Decodes damaged copies of streams: a decoder may report damage or call a stream unsupported, and has to
// hand over what it can.
class DamageSearch : private app::DamageListener
{
public:
    // Makes a damaged copy, by its number in a sequence that is always the same, and decodes it.
    using Trial = std::function<void(int64_t number, Random&, app::DamageListener&, const app::PictureSink&)>;

    struct Outcome {
        int64_t pictures = 0;
        int64_t reports = 0;
        int64_t unsupported = 0;
        int64_t failures = 0; // exceptions that decoders do not document
        double slowest = 0;   // seconds
    };

    explicit DamageSearch(Trial trial);

    void run(int64_t first, int64_t count);
    const Outcome& outcome() const { return outcome_; }

private:
    void damaged(const std::string&) override { outcome_.reports++; }
    void tryCopy(int64_t number);

    Trial trial_;
    Outcome outcome_;
};

// Hands over a stream whole, or in packets that end anywhere.
void decodeInPackets(app::VideoDecoder& decoder, std::span<const uint8_t> stream, Random& random,
                     const app::PictureSink& sink);

// The main function of a program for searches, which are best made with sanitizers:
//
//     PROGRAM [COUNT [FIRST [FILE...]]]
//
// tries the copies FIRST, FIRST + 1, ... `count` is how many there are by default.
int searchForFaults(int argc, char** argv, int64_t count, const DamageSearch::Trial& trial);

// Damages a stream and decodes it.
using StreamTrial = std::function<void(std::span<const uint8_t> stream, Random&, app::DamageListener&,
                                       const app::PictureSink&)>;

// The same with the elementary streams in the files, one after the other, or those that are made where no
// file is given.
int searchForFaults(int argc, char** argv, int64_t count,
                    const std::function<std::vector<std::vector<uint8_t>>()>& makeStreams,
                    const StreamTrial& trial);

} // namespace kelvcpx::test
