// What becomes of units of a stream that cannot be decoded.
#pragma once

#include "common/decoder.h"

#include <kelvcpx/types.h>

#include <stdexcept>

namespace kelvcpx::app {

// The stream breaks the standard's syntax: the unit that is being read is lost from here on.
class DamagedUnit : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// What an operation of the library that reads a block returns.
inline void checkBlock(Status status)
{
    if (status != StatusOk)
        throw DamagedUnit("a block has an invalid code");
}

// Decodes a unit, and reports if it is damaged. UnsupportedStream gets through only while nothing has been
// decoded: after that, a bit error has made the stream look like one of another kind.
template <class Decode, class HasDecoded, class Report>
void decodeTolerantly(Decode decode, HasDecoded hasDecoded, Report report)
{
    try {
        decode();
    } catch (const DamagedUnit& damage) {
        report(damage.what());
    } catch (const UnsupportedStream& unsupported) {
        if (!hasDecoded())
            throw;
        report(unsupported.what());
    }
}

} // namespace kelvcpx::app
