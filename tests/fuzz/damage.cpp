#include "fuzz/damage.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

namespace kelvcpx::test {
namespace {

using Bytes = std::vector<uint8_t>;

// A place in the bytes, and how many from there on: mostly few.
struct Range {
    std::ptrdiff_t first;
    std::ptrdiff_t count;
};

// Anywhere, or shortly behind a start code, where headers are.
std::ptrdiff_t randomPlace(const Bytes& bytes, std::size_t intact, Random& random)
{
    const auto anywhere =
        random.uniform<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(intact), std::ssize(bytes) - 1);
    if (!random.oneIn(3))
        return anywhere;
    constexpr uint8_t prefix[] = {0, 0, 1};
    const auto found =
        std::search(bytes.begin() + anywhere, bytes.end(), std::begin(prefix), std::end(prefix));
    const std::ptrdiff_t place = found - bytes.begin() + random.uniform(0, 20);
    return std::min(place, std::ssize(bytes) - 1);
}

Range randomRange(const Bytes& bytes, std::size_t intact, Random& random)
{
    const std::ptrdiff_t first = randomPlace(bytes, intact, random);
    const auto longest = std::min<std::ptrdiff_t>(random.oneIn(8) ? 4000 : 8, std::ssize(bytes) - first);
    return {first, random.uniform<std::ptrdiff_t>(1, longest)};
}

uint8_t randomByte(Random& random)
{
    return random.extreme<uint8_t>();
}

void flipBits(Bytes& bytes, Range range, Random& random)
{
    for (int flips = random.uniform(1, 4); flips > 0; flips--) {
        const auto at = static_cast<std::size_t>(range.first + random.uniform(0, range.count - 1));
        bytes[at] = static_cast<uint8_t>(bytes[at] ^ 1 << random.uniform(0, 7));
    }
}

void overwrite(Bytes& bytes, Range range, Random& random)
{
    std::generate_n(bytes.begin() + range.first, range.count, [&] { return randomByte(random); });
}

void insert(Bytes& bytes, Range range, Random& random)
{
    Bytes inserted(static_cast<std::size_t>(range.count));
    std::generate(inserted.begin(), inserted.end(), [&] { return randomByte(random); });
    bytes.insert(bytes.begin() + range.first, inserted.begin(), inserted.end());
}

void repeat(Bytes& bytes, Range range)
{
    const auto first = bytes.begin() + range.first;
    const Bytes repeated(first, first + range.count);
    bytes.insert(bytes.begin() + range.first, repeated.begin(), repeated.end());
}

// Looks at every sample, so that sanitizers see it if a picture is not what its format says.
uint32_t sumOf(const app::PictureView& picture)
{
    uint32_t sum = 0;
    for (const app::PlaneView& plane : picture.planes)
        for (int y = 0; y < plane.height; y++)
            for (int x = 0; x < plane.width * picture.format.bytesPerSample(); x++)
                sum += plane.samples[y * plane.step + x];
    return sum;
}

std::vector<Bytes> streamsInFiles(int argc, char** argv)
{
    std::vector<Bytes> streams;
    for (int i = 3; i < argc; i++) {
        std::ifstream in(argv[i], std::ios::binary);
        streams.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    return streams;
}

} // namespace

Bytes damagedCopy(std::span<const uint8_t> stream, std::size_t intact, Random& random)
{
    Bytes bytes(stream.begin(), stream.end());
    for (int faults = random.uniform(1, 4); faults > 0 && bytes.size() > intact; faults--) {
        const Range range = randomRange(bytes, intact, random);
        switch (random.uniform(0, 8)) {
        case 0:
            overwrite(bytes, range, random);
            break;
        case 1:
            insert(bytes, range, random);
            break;
        case 2:
            repeat(bytes, range);
            break;
        case 3:
            bytes.erase(bytes.begin() + range.first, bytes.begin() + range.first + range.count);
            break;
        case 4:
            bytes.resize(static_cast<std::size_t>(range.first));
            break;
        default:
            flipBits(bytes, range, random);
            break;
        }
    }
    return bytes;
}

DamageSearch::DamageSearch(Trial trial) : trial_(std::move(trial)) {}

void DamageSearch::run(int64_t first, int64_t count)
{
    for (int64_t number = first; number < first + count; number++) {
        if (number % 1000 == 0 && number > first) // tells where to start again after a crash
            std::fprintf(stderr, "copy %lld\n", static_cast<long long>(number));
        tryCopy(number);
    }
}

void DamageSearch::tryCopy(int64_t number)
{
    using Clock = std::chrono::steady_clock;
    volatile uint32_t looked = 0;
    const app::PictureSink sink = [&](const app::PictureView& picture) {
        looked = looked + sumOf(picture);
        outcome_.pictures++;
    };
    Random random(static_cast<uint32_t>(number));
    const auto start = Clock::now();
    try {
        trial_(number, random, *this, sink);
    } catch (const app::UnsupportedStream&) {
        outcome_.unsupported++;
    } catch (const std::exception& failure) {
        outcome_.failures++;
        std::printf("copy %lld: %s\n", static_cast<long long>(number), failure.what());
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    outcome_.slowest = std::max(outcome_.slowest, seconds);
}

void decodeInPackets(app::VideoDecoder& decoder, std::span<const uint8_t> stream, Random& random,
                     const app::PictureSink& sink)
{
    const bool whole = random.oneIn(2);
    while (!stream.empty()) {
        const auto size =
            whole ? stream.size() : std::min(stream.size(), random.uniform<std::size_t>(1, 4000));
        decoder.decode(stream.first(size), sink);
        stream = stream.subspan(size);
    }
    decoder.flush(sink);
}

int searchForFaults(int argc, char** argv, int64_t count, const DamageSearch::Trial& trial)
{
    DamageSearch search(trial);
    if (argc > 1)
        count = std::atoll(argv[1]);
    search.run(argc > 2 ? std::atoll(argv[2]) : 0, count);
    const DamageSearch::Outcome& outcome = search.outcome();
    std::printf("%lld copies: %lld pictures, %lld reports of damage, %lld streams called unsupported, "
                "%lld failures; slowest copy %.3f s\n",
                static_cast<long long>(count), static_cast<long long>(outcome.pictures),
                static_cast<long long>(outcome.reports), static_cast<long long>(outcome.unsupported),
                static_cast<long long>(outcome.failures), outcome.slowest);
    return outcome.failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

int searchForFaults(int argc, char** argv, int64_t count,
                    const std::function<std::vector<Bytes>()>& makeStreams, const StreamTrial& trial)
{
    std::vector<Bytes> streams = streamsInFiles(argc, argv);
    if (streams.empty())
        streams = makeStreams();
    return searchForFaults(
        argc, argv, count, [&](int64_t number, Random& random, auto& listener, auto& sink) {
            trial(streams[static_cast<std::size_t>(number) % streams.size()], random, listener, sink);
        });
}

} // namespace kelvcpx::test
