// Random prefix-free codes, and a word stream made of them.
#pragma once

#include "core/word_cursor.h"
#include "support/bits.h"
#include "support/random.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kelvcpx::test {

// Splits the code space at random. One in `gaps` of the codes is left out, so that some bits match nothing.
inline std::vector<std::string> randomPrefixCode(Random& random, std::size_t longest, int gaps)
{
    std::vector<std::string> codes;
    std::vector<std::string> open{"0", "1"};
    while (!open.empty()) {
        const std::string prefix = open.back();
        open.pop_back();
        if (prefix.size() < longest && !random.oneIn(3)) {
            open.push_back(prefix + "0");
            open.push_back(prefix + "1");
        } else if (!random.oneIn(gaps)) {
            codes.push_back(prefix);
        }
    }
    return codes;
}

// A stream under construction: 0 and 1 as text in, words with some zero words behind them out.
class BitText
{
public:
    void put(const std::string& bits) { text_ += bits; }

    void put(uint32_t value, int length) { put(binary(value, length)); }

    std::size_t size() const { return text_.size(); }

    std::vector<uint32_t> words() const
    {
        std::vector<uint32_t> words(text_.size() / 32 + 17, 0);
        for (std::size_t i = 0; i < text_.size(); i++)
            if (text_[i] == '1')
                words[i / 32] |= uint32_t{1} << (31 - i % 32);
        return words;
    }

private:
    std::string text_;
};

// A cursor of the caller on a stream.
struct Position {
    const uint32_t* word;
    int32_t offset = 31;

    std::size_t bitsFrom(const std::vector<uint32_t>& words) const
    {
        return static_cast<std::size_t>(32 * (word - words.data()) + 31 - offset);
    }
};

} // namespace kelvcpx::test
