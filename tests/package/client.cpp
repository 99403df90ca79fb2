// A client of the installed library in C++20: arrays, aligned memory and a refused argument.
#include <kelvcpx.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

int main()
{
    constexpr int length = 100;
    const std::unique_ptr<uint8_t, void (*)(void*) noexcept> copy(kelsMalloc_8u(length), kelsFree);
    std::array<uint8_t, length> source{};
    for (int i = 0; i < length; i++)
        source[static_cast<std::size_t>(i)] = static_cast<uint8_t>(i);

    const Status copied = kelsCopy_8u(source.data(), copy.get(), length);
    const bool same = std::equal(source.begin(), source.end(), copy.get());
    const Status refused = kelsCopy_8u(source.data(), nullptr, length);

    std::printf("copied: status %d, same: %d; null pointer: status %d\n", copied, same, refused);
    return copied == StatusOk && same && refused == StatusNullPointer ? 0 : 1;
}
