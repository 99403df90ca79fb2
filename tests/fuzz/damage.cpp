#include "fuzz/damage.h"

#include <algorithm>

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

} // namespace kelvcpx::test
