// How near two pictures must be.
#pragma once

namespace conformance {

/// What a case may differ from its reference by. `why` says what leaves the freedom; empty for the usual
/// bounds.
struct Bounds {
    int level = 2;         // largest difference of a channel that does not count
    double share = 0.005;  // share of the pixels that may differ by more
    int reach = 1;         // a pixel that differs must have one of its colour this near in the other picture
    int color = 24;        // how near that colour must be, per channel
    const char* why = "";
    int border = 0;  // so many pixels along the picture's edges are not compared
    // Above 0: a pixel does not count when each of its channels lies between those of the pixels so near in the
    // other picture, widened by `level`, both ways. For pictures that are read exactly between two texels.
    int ties = 0;
};

}  // namespace conformance
