// Pictures beside each other, for people to look at.
#pragma once

#include <string>
#include <vector>

#include "conformance/picture.h"

namespace conformance {

/// An empty sheet.
Picture Blank(unsigned width, unsigned height);

/// Copies `from` to `left`, `top`, each pixel `scale` wide; what lies outside is left out. `alpha` shows the
/// alpha channel as grey in place of the colours.
void Blit(Picture& to, unsigned left, unsigned top, const Picture& from, unsigned scale, bool alpha = false);

/// Letters (capitals, whatever the case), digits and ". _ % : -", each 3 x 5 pixels, enlarged `scale` times.
void Write(Picture& to, unsigned left, unsigned top, const std::string& text, unsigned scale);

/// How far two pictures of one size differ, eight times over, in every channel.
Picture Amplified(const Picture& ours, const Picture& golden);

/// One picture beside the other and their difference, the alpha of each beneath.
bool WriteComparison(const std::string& path, const Picture& ours, const Picture& golden);

struct Pair {
    std::string title;
    Picture ours, golden;
};

/// Ours, golden and their difference in a row under a title; the rows in two columns.
bool WritePairs(const std::string& path, const std::vector<Pair>& pairs);

}  // namespace conformance
