// The macroblock that is being decoded, as all steps of its decoding see it.
#pragma once

#include "h264/neighbourhood.h"

namespace kelvcpx::app::h264 {

// The mode of its pair, if the picture has pairs, must be known.
struct CurrentMacroblock {
    CurrentMacroblock(const SliceContext& slice, int macroblockAddress, Macroblock& coded)
        : address(macroblockAddress), x(address % slice.picture.widthInMbs),
          y(address / slice.picture.widthInMbs), place(slice.picture.placeOf(address)),
          isFieldOfPair(slice.picture.hasPairs && place.isField()),
          around(slice.picture, slice.number, address), references(slice.referencesOf(place)),
          info(slice.picture.at(address)), macroblock(coded)
    {}

    int address;
    int x; // in macroblocks, of its slot in the motion field
    int y;
    Place place;
    bool isFieldOfPair;
    Neighbourhood around;
    const References& references;
    MbInfo& info;
    Macroblock& macroblock;
};

} // namespace kelvcpx::app::h264
