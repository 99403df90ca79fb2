// Code lists, the textual form of a code table that decoding and encoding tables are built from (mpeg2.h).
#pragma once

#include <cstdint>

namespace kelvcpx::huffman {

struct Code {
    uint32_t bits;
    int32_t length;
    const int32_t* values; // what follows the code in its entry
};

// Calls visit(Code) for the entries behind the head of a list, in their order, until it returns false. False
// if it did.
template <class Visit>
bool forEachEntry(const int32_t* groups, int32_t wordsPerEntry, Visit visit)
{
    const int32_t* word = groups;
    for (int32_t length = 1; *word >= 0; length++) {
        const int32_t count = *word++;
        for (int32_t i = 0; i < count; i++, word += wordsPerEntry)
            if (!visit(Code{static_cast<uint32_t>(word[0]), length, word + 1}))
                return false;
    }
    return true;
}

} // namespace kelvcpx::huffman
